#include "ui/views/help_view.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/text.h"
#include "engine/url.h"
#include "engine/vane.h"
#include "platform/login_items_list.h"
#include "ui/kit/buttons.h"
#include "ui/kit/product.h"
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
  (focus_ != nullptr ? focus_ : form_.hvgs)->setFocus();
  vane::log("HV : init: end");
}

void HelpView::closed() {
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

void HelpView::hv_gsclicked() {
  vane::log("HV : gsclicked: begin");
  openPage(ini_.GettingStartedURL);
  vane::log("HV : gsclicked: end");
}

void HelpView::hv_manageclicked() {
  vane::log("HV : manageclicked: begin");
  const std::string address = ini_.tidyEnrolURL();
  if (address.empty()) {
    shell_.simpleMessageBox(QStringLiteral("No enrol URL configured"));
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
    shell_.simpleMessageBox(QString::fromStdString(
        "The address \"" + shownName(address) +
        "\" is not opened, because it does not begin with http:// or https://; ask your "
        "administrator to correct the settings"));
  }
}

void HelpView::hv_aboutclicked() {
  vane::log("HV : aboutclicked: begin");
  shell_.simpleMessageBox(QStringLiteral("Version %1\n\n%2\n\n%3")
                              .arg(QLatin1String(product::version), QLatin1String(product::maker),
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
