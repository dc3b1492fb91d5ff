#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/login_items_list.h"

namespace talvane {

/// Whether the system starts this program when the user logs in, and the switch for it. Nothing
/// reports an error: after a change that failed, the next read of `launchAtLogin` shows the truth.
/// Main thread only.
///
/// A URL is a target as `LoginItemsList` has it; nullopt is none and equals nothing.
class talibobjc_LoginItem {
 public:
  /// The key that observers are told.
  static constexpr std::string_view launch_at_login_key = "launchAtLogin";
  using Observer = std::function<void(std::string_view key)>;

  /// The system's list and the running program.
  talibobjc_LoginItem();
  talibobjc_LoginItem(std::unique_ptr<LoginItemsList> list, std::optional<std::string> app_url);
  talibobjc_LoginItem(const talibobjc_LoginItem&) = delete;
  talibobjc_LoginItem& operator=(const talibobjc_LoginItem&) = delete;
  ~talibobjc_LoginItem();

  /// The list in use, which stays this object's; null when there is none. The event loop takes its
  /// `watchDescriptor` from here.
  [[nodiscard]] LoginItemsList* loginItems() const { return login_items_.get(); }
  /// Takes another list, or none, and observes that one from now on.
  void setLoginItems(std::unique_ptr<LoginItemsList> list);

  /// Told before and after `setLaunchAtLogin(bool)` changes the list, and both after any change of
  /// the list that is noticed, by whomever. Neither may destroy this object. Null: nobody.
  void observeLaunchAtLogin(Observer will_change, Observer did_change);

  [[nodiscard]] const std::optional<std::string>& appURL() const { return app_url_; }

  /// The first item that resolves to the URL; null when there is none, or no URL, or no list.
  [[nodiscard]] static LoginItemHandle findItemWithURL(const std::optional<std::string>& url,
                                                       LoginItemsList* list);
  [[nodiscard]] bool willLaunchAtLogin(const std::optional<std::string>& url) const;
  /// Adds the URL at the head of the list unless it is there, or removes its first item. Observers
  /// hear of it as of any other change of the list.
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
