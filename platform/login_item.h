#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/login_items_list.h"

namespace talvane {

/// Tells and sets whether the system starts this program at login. No call reports an error: after
/// a failed change, the next `launchAtLogin` still returns the old value. Main thread only.
///
/// A URL is a target as in `LoginItemsList`; nullopt means none and equals nothing.
class talibobjc_LoginItem {
 public:
  /// The key that observers get.
  static constexpr std::string_view launch_at_login_key = "launchAtLogin";
  using Observer = std::function<void(std::string_view key)>;

  /// The system's list and the running program.
  talibobjc_LoginItem();
  talibobjc_LoginItem(std::unique_ptr<LoginItemsList> list, std::optional<std::string> app_url);
  talibobjc_LoginItem(const talibobjc_LoginItem&) = delete;
  talibobjc_LoginItem& operator=(const talibobjc_LoginItem&) = delete;
  ~talibobjc_LoginItem();

  /// The list in use, or null; this object owns it. The event loop gets its `watchDescriptor` here.
  [[nodiscard]] LoginItemsList* loginItems() const { return login_items_.get(); }
  /// Takes over another list, or none, and observes it from now on.
  void setLoginItems(std::unique_ptr<LoginItemsList> list);

  /// Called before and after `setLaunchAtLogin(bool)` changes the list, and both after any noticed
  /// change of the list by anyone. Neither may destroy this object. Null means no observer.
  void observeLaunchAtLogin(Observer will_change, Observer did_change);

  [[nodiscard]] const std::optional<std::string>& appURL() const { return app_url_; }

  /// The first item that resolves to the URL; null without such an item, a URL, or a list.
  [[nodiscard]] static LoginItemHandle findItemWithURL(const std::optional<std::string>& url,
                                                       LoginItemsList* list);
  [[nodiscard]] bool willLaunchAtLogin(const std::optional<std::string>& url) const;
  /// Adds the URL at the head of the list unless it is there, or removes its first item. Observers
  /// are called as for any other change of the list.
  void setLaunchAtLogin(bool launch, const std::optional<std::string>& url);

  /// The same for this program.
  [[nodiscard]] bool launchAtLogin() const;
  void setLaunchAtLogin(bool launch);

 private:
  void willChange() const;
  void didChange() const;

  std::unique_ptr<LoginItemsList> login_items_;
  std::optional<std::string> app_url_;
  Observer will_change_;
  Observer did_change_;
};

}  // namespace talvane
