#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "config/ini.h"
#include "engine/soft_token_info.h"
#include "store/problem.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"
#include "ui/kit/buttons.h"
#include "ui/kit/fields.h"
#include "ui/kit/flipped_view.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui/views/response_view.h"
#include "ui/views/shell.h"
#include "ui_management_view.h"

namespace talvane {

/// The stored tokens, each with an editable name, a check box for deletion and, if it has one, a
/// button for its response code.
class ManagementView final : public View {
 public:
  /// Borrows all; `response` shows a token's response code.
  ManagementView(Panel& panel, Shell& shell, const Ini& ini, TokenStore& store,
                 ResponseView& response);

  void cv_init();
  void cv_trashclicked();
  void cv_homeclicked();
  void cv_addclicked();

  [[nodiscard]] bool showsTokens() const override { return true; }
  [[nodiscard]] int height() override;
  void init() override { cv_init(); }
  /// Saves the typed names. After that has failed once, they are lost.
  bool mayLeave() override { return save_failed_ || saveTypedNames(); }
  void closed() override { takeOff(cvview); }
  void released() override { clearRows(); }
  [[nodiscard]] QAbstractButton* accepting() const override { return form_.cvhome; }
  /// None after names could not be saved, so that Escape still leads out.
  [[nodiscard]] QAbstractButton* cancelling() const override {
    return save_failed_ ? nullptr : form_.cvhome;
  }
  [[nodiscard]] std::vector<QWidget*> rows() const override;
  /// Alt with Up or Down moves the token of the row that has the keyboard.
  bool keyPressed(const QKeyEvent& event) override;

 private:
  /// What the user has done to a token's row and not saved.
  struct Draft {
    SoftTokenInfo token;
    QString name;
    bool typed = false;
    bool checked = false;
  };
  enum class Keep : std::uint8_t { names, names_and_checks };

  void clearRows();
  void addRow(int index);
  void addObstacleRow(int index, const Obstacle& obstacle);
  void addCheckbox(int index, const QString& name);
  void addResponseButton(int index, const QString& name);
  void showResponse(std::size_t row);
  void moveRow(int step);
  void setTabOrder();
  [[nodiscard]] std::size_t slotOf(std::size_t row) const;
  [[nodiscard]] TokenStore::Selection selection() const;
  [[nodiscard]] QString deletionQuestion(const TokenStore::Selection& selected) const;
  [[nodiscard]] std::vector<TokenStore::Rename> typedNames() const;
  bool saveNames();
  bool saveTypedNames();
  [[nodiscard]] std::vector<Draft> drafts(Keep keep) const;
  void restore(const std::vector<Draft>& drafts);
  void refreshLater();
  void tell(const Problem& problem);

  Panel& panel_;
  Shell& shell_;
  const Ini& ini_;
  TokenStore& store_;
  ResponseView& response_;
  Ui::ManagementView form_;
  FlippedView* cvview = nullptr;
  std::vector<PanelField*> cvdesc;
  std::vector<PanelCheckbox*> cvdelete;  // the last one is that of the obstacle, if there is one
  std::vector<PanelButton*> response_buttons_;  // null for a token without a response code
  PanelField* cvobstacle = nullptr;
  bool save_failed_ = false;  // and nothing was typed since
};

}  // namespace talvane
