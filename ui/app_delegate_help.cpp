#include <QSocketNotifier>

#include "ui/app_delegate.h"
#include "ui/kit/product.h"

namespace talvane {

void SoftTokenOSXAppDelegate::hv_init() {
  vane::log("HV : init: begin");
  positionToolbarLeft(hvhome);
  hvgs->setText(QString::fromStdString(ini.StrGettingStarted));
  hvmanage->setText(QString::fromStdString(ini.StrManage));
  hvexit->setText(QString::fromStdString(ini.StrMenuExit));
  hvhome->setText(QString::fromStdString(ini.StrButtonHome));
  showLoginItem();
  followLoginItems();
  hvgs->setFocus();
  vane::log("HV : init: end");
}

void SoftTokenOSXAppDelegate::showLoginItem() {
  const bool launches = parts_.make_login_item()->launchAtLogin();
  hvlaunch->setText(QString::fromStdString(launches ? ini.StrStartupRemove : ini.StrStartupAdd));
  vane::log("HV : init: launch at login {}", launches);
}

// An entry that another program adds or removes shows at once.
void SoftTokenOSXAppDelegate::followLoginItems() {
  login_items_notifier_.reset();
  watched_login_item_ = parts_.make_login_item();
  watched_login_item_->observeLaunchAtLogin(nullptr, [this](std::string_view /*key*/) {
    if (ow == hv) showLoginItem();
  });
  LoginItemsList* list = watched_login_item_->loginItems();
  const int descriptor = list == nullptr ? -1 : list->watchDescriptor();
  if (descriptor < 0) return;
  login_items_notifier_ = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
  connect(login_items_notifier_.get(), &QSocketNotifier::activated, this,
          [list] { list->readChanges(); });
}

void SoftTokenOSXAppDelegate::hv_gsclicked() {
  vane::log("HV : gsclicked: begin");
  parts_.open_url(QString::fromStdString(ini.GettingStartedURL));
  vane::log("HV : gsclicked: end");
}

void SoftTokenOSXAppDelegate::hv_manageclicked() {
  vane::log("HV : manageclicked: begin");
  const std::string address = ini.tidyEnrolURL();
  if (address.empty()) {
    simpleMessageBox(QStringLiteral("No enrol URL configured"));
  } else {
    parts_.open_url(QString::fromStdString(address));
  }
  vane::log("HV : manageclicked: end");
}

void SoftTokenOSXAppDelegate::hv_aboutclicked() {
  vane::log("HV : aboutclicked: begin");
  simpleMessageBox(QStringLiteral("Version %1\n\n%2\n\n%3")
                       .arg(QLatin1String(product::version), QLatin1String(product::maker),
                            QLatin1String(product::address)));
  vane::log("HV : aboutclicked: end");
}

void SoftTokenOSXAppDelegate::hv_launchclicked() {
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
  refreshView(hv);
  vane::log("HV : launchclicked: end");
}

void SoftTokenOSXAppDelegate::hv_exitclicked() {
  vane::log("HV : exitclicked: begin");
  menuExit();
  vane::log("HV : exitclicked: end");
}

void SoftTokenOSXAppDelegate::hv_homeclicked() {
  vane::log("HV : cancelclicked: begin");
  switchViewfrom(hv, tv);
  vane::log("HV : cancelclicked: end");
}

}  // namespace talvane
