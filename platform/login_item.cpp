#include "platform/login_item.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/login_items_list.h"

namespace talvane {

talibobjc_LoginItem::talibobjc_LoginItem() : talibobjc_LoginItem(systemLoginItems(), std::nullopt) {
  app_url_ = login_items_->ownTarget();
}

talibobjc_LoginItem::talibobjc_LoginItem(std::unique_ptr<LoginItemsList> list,
                                         std::optional<std::string> app_url)
    : app_url_(std::move(app_url)) {
  setLoginItems(std::move(list));
}

talibobjc_LoginItem::~talibobjc_LoginItem() {
  setLoginItems(nullptr);
}

void talibobjc_LoginItem::setLoginItems(std::unique_ptr<LoginItemsList> list) {
  if (login_items_) login_items_->setChangeCallback(nullptr);
  login_items_ = std::move(list);
  if (!login_items_) return;
  login_items_->setChangeCallback([this] {
    willChange();
    didChange();
  });
}

void talibobjc_LoginItem::observeLaunchAtLogin(Observer will_change, Observer did_change) {
  will_change_ = std::move(will_change);
  did_change_ = std::move(did_change);
}

LoginItemHandle talibobjc_LoginItem::findItemWithURL(const std::optional<std::string>& url,
                                                     LoginItemsList* list) {
  if (!url || list == nullptr) return nullptr;
  for (const LoginItemHandle& item : list->snapshot()) {
    if (list->resolve(*item) == url) return item;
  }
  return nullptr;
}

bool talibobjc_LoginItem::willLaunchAtLogin(const std::optional<std::string>& url) const {
  return findItemWithURL(url, login_items_.get()) != nullptr;
}

void talibobjc_LoginItem::setLaunchAtLogin(bool launch, const std::optional<std::string>& url) {
  if (!url || !login_items_) return;
  const LoginItemHandle item = findItemWithURL(url, login_items_.get());
  if (launch && !item) {
    login_items_->insertAtHead(*url);
  } else if (!launch && item) {
    login_items_->remove(*item);
  }
}

bool talibobjc_LoginItem::launchAtLogin() const {
  return willLaunchAtLogin(app_url_);
}

void talibobjc_LoginItem::setLaunchAtLogin(bool launch) {
  willChange();
  setLaunchAtLogin(launch, app_url_);
  didChange();
}

void talibobjc_LoginItem::willChange() const {
  if (will_change_) will_change_(launch_at_login_key);
}

void talibobjc_LoginItem::didChange() const {
  if (did_change_) did_change_(launch_at_login_key);
}

}  // namespace talvane
