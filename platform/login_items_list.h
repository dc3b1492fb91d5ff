#pragma once

// The programs that the system starts when the user logs in: an ordered list that other programs
// change too. Main thread only. No call waits for the user, and none reports an error: a change
// that fails leaves the list as it was.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvane {

/// One item as it was when the snapshot was taken. Only the list that it came from knows what is in
/// it.
class LoginItem {
 public:
  LoginItem(const LoginItem&) = delete;
  LoginItem& operator=(const LoginItem&) = delete;
  virtual ~LoginItem() = default;

 protected:
  LoginItem() = default;
};
using LoginItemHandle = std::shared_ptr<const LoginItem>;

/// What an item starts is its target, a text by which targets compare: on Linux the absolute path
/// of the program's file, all symbolic links resolved; on macOS the absolute URL of the bundle.
class LoginItemsList {
 public:
  LoginItemsList() = default;
  LoginItemsList(const LoginItemsList&) = delete;
  LoginItemsList& operator=(const LoginItemsList&) = delete;
  virtual ~LoginItemsList() = default;

  /// The items, first to last. They may outlive changes of the list and the list itself.
  [[nodiscard]] virtual std::vector<LoginItemHandle> snapshot() = 0;
  /// The target; nullopt when it is missing or the item starts nothing in this session.
  [[nodiscard]] virtual std::optional<std::string> resolve(const LoginItem& item) = 0;
  /// Adds an item for the target before all others, whatever is in the list. The target must be
  /// there.
  virtual void insertAtHead(const std::string& target) = 0;
  /// Removes an item of one of this list's snapshots; nothing when it is gone already.
  virtual void remove(const LoginItem& item) = 0;

  /// The running program as a target; nullopt when that cannot be told.
  [[nodiscard]] virtual std::optional<std::string> ownTarget() = 0;

  /// Called after every change of the list, by whomever; several changes may share a call. Null:
  /// nobody. The callback may destroy the list.
  virtual void setChangeCallback(std::function<void()> callback) = 0;

  /// How changes by others are noticed. A list with a descriptor wants `readChanges` whenever that
  /// is readable, and calls back from there, at most once a call. One without (-1) calls back by
  /// itself from the main run loop, or cannot notice. The descriptor stays the list's.
  [[nodiscard]] virtual int watchDescriptor() const { return -1; }
  virtual void readChanges() {}
};

/// The system's own list of the current user; never null.
std::unique_ptr<LoginItemsList> systemLoginItems();

}  // namespace talvane
