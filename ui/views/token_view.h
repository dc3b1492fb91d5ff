#pragma once

#include <QPoint>
#include <QString>
#include <QTimer>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "config/ini.h"
#include "engine/gateway.h"
#include "ui/kit/buttons.h"
#include "ui/kit/countdown.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/text_label.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui/views/shell.h"
#include "ui_token_view.h"

namespace talvane {

/// The home view: a row for each token with its current passcode, and a bar that shows the time
/// left. Code, bar and colour come from one reading of the clock.
class TokenView final : public View {
 public:
  /// Borrows all. The gateway has the clock.
  TokenView(Panel& panel, Shell& shell, const Ini& ini, Gateway& gateway);

  void tv_init();
  void tv_timer();
  void tv_update();
  /// Copies the passcode of the row. `next`: the one that comes next, if the row shows it.
  void tv_copyclicked(const QAbstractButton* sender, bool next = false);
  void tv_editclicked();
  void tv_helpclicked();
  void tv_addclicked();

  [[nodiscard]] bool showsTokens() const override { return true; }
  [[nodiscard]] int height() override;
  void init() override { tv_init(); }
  void closed() override;
  void released() override { clearRows(); }
  [[nodiscard]] std::vector<QWidget*> rows() const override;
  /// A digit key copies the passcode in the shown row with that number, with Shift the next one.
  /// Other characters narrow the rows down to those whose names hold what is typed.
  bool keyPressed(const QKeyEvent& event) override;
  /// Shows all rows again.
  bool takesEscape() override;
  [[nodiscard]] bool takesText() const override { return !tvtoken.empty(); }
  [[nodiscard]] QString takenText() const override { return typed_; }
  void takeText(const QInputMethodEvent& event) override;

 private:
  [[nodiscard]] int troubleHeight() const;
  [[nodiscard]] int noticeHeight() const;
  [[nodiscard]] QString hint() const;
  void showTrouble();
  void showHint();
  void awaitUnlocking();
  void unlock();
  void clearRows();
  void addTokenRow(int index);
  void startCountdown();
  void setTabOrder();
  bool copyByKey(const QKeyEvent& event);
  bool copyRow(int number, bool next);
  void find(const QString& typed);
  [[nodiscard]] bool isWanted(std::size_t row) const;
  void announceFound();
  void showNext(std::size_t row);
  void spellPasscode(std::size_t row);

  Panel& panel_;
  Shell& shell_;
  const Ini& ini_;
  Gateway& gateway_;
  Ui::TokenView form_;
  FlippedView* tvview = nullptr;
  Countdown* tvcountdown = nullptr;
  std::vector<FlippedImageView*> tvtoken;
  std::vector<TextLabel*> tvdesc;
  std::vector<TextLabel*> tvpasscode;
  std::vector<PanelButton*> tvcopy;
  std::vector<TextLabel*> next_;    // what comes next; hidden except at the end of a period
  QString typed_;                   // to find a token
  std::vector<std::size_t> found_;  // the rows that are shown
  std::vector<QPoint> row_places_;  // of all rows
  TextLabel* none_found_ = nullptr;
  std::int64_t shown_time_ = 0;  // when the passcodes were made
  QTimer* timer = nullptr;
  QTimer* lock_timer_ = nullptr;  // while the keychain is locked
};

}  // namespace talvane
