#include "ui/views/help_view.h"

#include <QPointer>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/text.h"
#include "engine/url.h"
#include "engine/vane.h"
#include "platform/login_items_list.h"
#include "platform/shortcut.h"
#include "platform/translation.h"
#include "ui/desktop/shortcut_choice.h"
#include "ui/kit/buttons.h"
#include "ui/kit/product.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"
#include "ui/views/shell.h"

namespace talvane {

HelpView::HelpView(Panel& panel, Shell& shell, const Ini& ini, Parts parts)
    : View("hv", help_view_height),
      panel_(panel),
      shell_(shell),
      ini_(ini),
      parts_(std::move(parts)) {
  load(form_);
  setTitle(uiText("Help"));
  for (PanelButton* button :
       {form_.hvgs, form_.hvmanage, form_.hvabout, form_.hvlaunch, form_.hvexit}) {
    button->setDress(PanelButton::Dress::tile);
  }
  onClick(form_.hvgs, [this] { hv_gsclicked(); });
  onClick(form_.hvmanage, [this] { hv_manageclicked(); });
  onClick(form_.hvabout, [this] { hv_aboutclicked(); });
  onClick(form_.hvlaunch, [this] { hv_launchclicked(); });
  onClick(form_.hvexit, [this] { hv_exitclicked(); });
  onClick(form_.hvhome, [this] { hv_homeclicked(); });
  form_.hvshortcut->hide();
  form_.hvshortcut->turned = [this](bool recording) { parts_.shortcut->setPaused(recording); };
  form_.hvshortcut->chosen = [this](const std::optional<Shortcut>& shortcut) {
    // An alert may follow, which the key's event must not wait for.
    QMetaObject::invokeMethod(
        window(), [this, shortcut] { chooseShortcut(shortcut); }, Qt::QueuedConnection);
  };
}

// The form goes after what it calls.
HelpView::~HelpView() {
  form_.hvshortcut->turned = nullptr;
  form_.hvshortcut->chosen = nullptr;
}

std::vector<QWidget*> HelpView::rows() const {
  return {form_.hvgs, form_.hvmanage, form_.hvabout, form_.hvlaunch, form_.hvexit};
}

void HelpView::hv_init() {
  vane::log("HV : init: begin");
  panel_.positionToolbarLeft(form_.hvhome);
  form_.hvgs->setText(QString::fromStdString(ini_.StrGettingStarted));
  form_.hvmanage->setText(QString::fromStdString(ini_.StrManage));
  form_.hvexit->setText(QString::fromStdString(ini_.StrMenuExit));
  form_.hvhome->setText(QString::fromStdString(ini_.StrButtonHome));
  showLoginItem();
  followLoginItems();
  is_filled_ = true;
  offerShortcut();
  (focus_ != nullptr ? focus_ : form_.hvgs)->setFocus();
  vane::log("HV : init: end");
}

void HelpView::closed() {
  is_filled_ = false;
  form_.hvshortcut->stop();
  form_.hvshortcut->hide();
  login_items_notifier_.reset();
  watched_login_item_.reset();
}

void HelpView::showLoginItem() {
  const bool launches = parts_.make_login_item()->launchAtLogin();
  form_.hvlaunch->setText(
      QString::fromStdString(launches ? ini_.StrStartupRemove : ini_.StrStartupAdd));
  form_.hvlaunch->setEnabled(ini_.atLogin() == Ini::AtLogin::ask);
  vane::log("HV : init: launch at login {}", launches);
}

// Show at once an entry that another program adds or removes.
void HelpView::followLoginItems() {
  login_items_notifier_.reset();
  watched_login_item_ = parts_.make_login_item();
  watched_login_item_->observeLaunchAtLogin(nullptr, [this](std::string_view /*key*/) {
    if (panel_.openPanel() == window()) showLoginItem();
  });
  LoginItemsList* list = watched_login_item_->loginItems();
  const int descriptor = list == nullptr ? -1 : list->watchDescriptor();
  if (descriptor < 0) return;
  login_items_notifier_ = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
  QObject::connect(login_items_notifier_.get(), &QSocketNotifier::activated, window(),
                   [list] { list->readChanges(); });
}

// Only where the desktop has shortcuts for programs.
void HelpView::offerShortcut() {
  if (parts_.shortcut == nullptr) return;
  parts_.shortcut->askWhetherPossible([this, alive = QPointer<QWidget>(window())](bool possible) {
    if (alive.isNull() || !possible || !is_filled_) return;
    panel_.positionToolbarWide(form_.hvshortcut);
    showShortcut();
  });
}

void HelpView::showShortcut() {
  const ShortcutChoice& shortcut = *parts_.shortcut;
  QString text = uiText("Shortcut: none");
  QString brief;
  if (!shortcut.problem().empty()) {
    const std::string wished = shortcut.wished();
    brief = uiText("Shortcut does not work");
    text =
        wished.empty() ? brief : QString::fromStdString(translatedWith("{} does not work", wished));
  } else if (!shortcut.shown().empty()) {
    text = QString::fromStdString(translatedWith("Shortcut: {}", shortcut.shown()));
    brief = QString::fromStdString(shortcut.shown());
  }
  form_.hvshortcut->showText(text, brief);
  form_.hvshortcut->setAccessibleDescription(QString::fromStdString(shortcut.problem()));
}

void HelpView::chooseShortcut(const std::optional<Shortcut>& shortcut) {
  parts_.shortcut->choose(shortcut,
                          [this, alive = QPointer<QWidget>(window())](const std::string& problem) {
                            if (alive.isNull()) return;
                            showShortcut();
                            if (!problem.empty())
                              shell_.simpleMessageBox(QString::fromStdString(problem));
                          });
}

void HelpView::hv_gsclicked() {
  vane::log("HV : gsclicked: begin");
  openPage(ini_.GettingStartedURL);
  vane::log("HV : gsclicked: end");
}

void HelpView::hv_manageclicked() {
  vane::log("HV : manageclicked: begin");
  const std::string address = ini_.tidyEnrolURL();
  if (address.empty()) {
    shell_.simpleMessageBox(uiText("No enrol URL configured"));
  } else {
    openPage(address);
  }
  vane::log("HV : manageclicked: end");
}

// Any other address could start a program.
void HelpView::openPage(const std::string& address) {
  if (isWebAddress(address)) {
    parts_.open_url(QString::fromStdString(address));
  } else {
    shell_.simpleMessageBox(QString::fromStdString(translatedWith(
        "The address \"{}\" is not opened, because it does not begin with http:// or https://; ask "
        "your administrator to correct the settings",
        shownName(address))));
  }
}

void HelpView::hv_aboutclicked() {
  vane::log("HV : aboutclicked: begin");
  const std::string version = translatedWith("Version {}", product::version);
  shell_.simpleMessageBox(QStringLiteral("%1\n\n%2\n\n%3")
                              .arg(QString::fromStdString(version), uiText(product::maker),
                                   QLatin1String(product::address)));
  vane::log("HV : aboutclicked: end");
}

void HelpView::hv_launchclicked() {
  vane::log("HV : launchclicked: begin");
  {
    const auto item = parts_.make_login_item();
    if (item->launchAtLogin()) {
      vane::log("HV : launchclicked: removing from launch items...");
      item->setLaunchAtLogin(false);
    } else {
      vane::log("HV : launchclicked: adding to launch items...");
      item->setLaunchAtLogin(true);
    }
  }
  focus_ = window()->focusWidget();
  panel_.refreshView(window());
  focus_ = nullptr;
  vane::log("HV : launchclicked: end");
}

void HelpView::hv_exitclicked() {
  vane::log("HV : exitclicked: begin");
  shell_.menuExit();
  vane::log("HV : exitclicked: end");
}

void HelpView::hv_homeclicked() {
  vane::log("HV : cancelclicked: begin");
  panel_.switchViewfrom(window(), panel_.window("tv"));
  vane::log("HV : cancelclicked: end");
}

}  // namespace talvane
