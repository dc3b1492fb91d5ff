#pragma once

#include <cstddef>

#include "platform/login_items_list.h"

namespace talvane {

/// Login items in memory, for tests and trials. Changes are told at once. Set `writable` to false
/// and every change fails.
class MemoryLoginItems final : public LoginItemsList {
 public:
  bool writable = true;
  std::optional<std::string> own_target;
  std::size_t insertions = 0;  // asked for, done or not
  std::size_t removals = 0;

  /// What the items stand for, first to last; nullopt is an item that does not resolve.
  [[nodiscard]] std::vector<std::optional<std::string>> targets() const;
  /// As another program changes the list: adds an item at its end, empties it.
  void append(std::optional<std::string> target);
  void clear();

  [[nodiscard]] std::vector<LoginItemHandle> snapshot() override;
  [[nodiscard]] std::optional<std::string> resolve(const LoginItem& item) override;
  void insertAtHead(const std::string& target) override;
  void remove(const LoginItem& item) override;
  [[nodiscard]] std::optional<std::string> ownTarget() override { return own_target; }
  void setChangeCallback(std::function<void()> callback) override;

 private:
  void tellChange() const;

  std::vector<LoginItemHandle> items_;
  std::function<void()> callback_;
};

}  // namespace talvane
