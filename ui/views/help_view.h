#pragma once

#include <QSocketNotifier>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/ini.h"
#include "platform/login_item.h"
#include "platform/shortcut.h"
#include "ui/desktop/shortcut_choice.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui/views/shell.h"
#include "ui_help_view.h"

namespace talvane {

/// Help, the program's version, launch at login, the shortcut, and Exit.
class HelpView final : public View {
 public:
  struct Parts {
    std::function<std::unique_ptr<talibobjc_LoginItem>()> make_login_item;
    /// Opens a web page.
    std::function<void(const QString& address)> open_url;
    /// Null: there is none to choose.
    ShortcutChoice* shortcut = nullptr;
  };
  /// Borrows everything but the parts, and the shortcut.
  HelpView(Panel& panel, Shell& shell, const Ini& ini, Parts parts);

  ~HelpView() override;

  void hv_init();
  void hv_gsclicked();
  void hv_manageclicked();
  void hv_aboutclicked();
  void hv_launchclicked();
  void hv_exitclicked();
  void hv_homeclicked();

  void init() override { hv_init(); }
  void closed() override;
  [[nodiscard]] QAbstractButton* cancelling() const override { return form_.hvhome; }
  [[nodiscard]] std::vector<QWidget*> rows() const override;

 private:
  void showLoginItem();
  void followLoginItems();
  void openPage(const std::string& address);
  void offerShortcut();
  void showShortcut();
  void chooseShortcut(const std::optional<Shortcut>& shortcut);

  Panel& panel_;
  Shell& shell_;
  const Ini& ini_;
  Parts parts_;
  Ui::HelpView form_;
  QWidget* focus_ = nullptr;  // keeps the keyboard when the view is filled again
  bool is_filled_ = false;
  std::unique_ptr<talibobjc_LoginItem> watched_login_item_;  // while the view shows its state
  std::unique_ptr<QSocketNotifier> login_items_notifier_;
};

}  // namespace talvane
