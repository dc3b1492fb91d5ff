#pragma once

// The programs that the system starts at login: an ordered list that other programs change too.
// Main thread only. No call waits for the user or reports an error: a failed change leaves the list
// as it was.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvane {

/// One item at the time of the snapshot. Only its list knows its content.
class LoginItem {
 public:
  LoginItem(const LoginItem&) = delete;
  LoginItem& operator=(const LoginItem&) = delete;
  virtual ~LoginItem() = default;

 protected:
  LoginItem() = default;
};
using LoginItemHandle = std::shared_ptr<const LoginItem>;

/// An item starts its target, a text that can be compared: on Linux the absolute path of the
/// program's file, with all symbolic links resolved; on macOS the absolute URL of the bundle.
class LoginItemsList {
 public:
  LoginItemsList() = default;
  LoginItemsList(const LoginItemsList&) = delete;
  LoginItemsList& operator=(const LoginItemsList&) = delete;
  virtual ~LoginItemsList() = default;

  /// The items, first to last. They may outlive changes of the list and the list itself.
  [[nodiscard]] virtual std::vector<LoginItemHandle> snapshot() = 0;
  /// The target; nullopt if it is missing or if the item starts nothing in this session.
  [[nodiscard]] virtual std::optional<std::string> resolve(const LoginItem& item) = 0;
  /// Adds an item for the target before all others, even if the list has one. The target must
  /// exist.
  virtual void insertAtHead(const std::string& target) = 0;
  /// Removes an item from one of this list's snapshots; does nothing if it is already gone.
  virtual void remove(const LoginItem& item) = 0;

  /// The running program as a target; nullopt if unknown.
  [[nodiscard]] virtual std::optional<std::string> ownTarget() = 0;

  /// Called after every change of the list by anyone; several changes may share a call. May be
  /// null. The callback may destroy the list.
  virtual void setChangeCallback(std::function<void()> callback) = 0;

  /// How to notice changes by other programs. If the list has a descriptor, call `readChanges`
  /// whenever it is readable; it calls back at most once per call. If it has none (-1), it calls
  /// back from the main run loop or notices nothing. The list owns the descriptor.
  [[nodiscard]] virtual int watchDescriptor() const { return -1; }
  virtual void readChanges() {}
};

/// The system's own list of the current user; never null.
std::unique_ptr<LoginItemsList> systemLoginItems();

}  // namespace talvane
