#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/login_items_list.h"

namespace talvane {

/// Login items in memory, for tests; no program links them. Calls back at once. If `writable` is
/// false, every change fails.
class MemoryLoginItems final : public LoginItemsList {
 public:
  bool writable = true;
  std::optional<std::string> own_target;
  std::size_t insertions = 0;  // attempts, successful or not
  std::size_t removals = 0;

  /// The items' targets, first to last; nullopt for an item that does not resolve.
  [[nodiscard]] std::vector<std::optional<std::string>> targets() const {
    std::vector<std::optional<std::string>> result;
    for (const LoginItemHandle& item : items_) result.push_back(targetOf(*item));
    return result;
  }

  /// Changes by another program: adds an item at the end; empties the list.
  void append(std::optional<std::string> target) {
    items_.push_back(std::make_shared<Item>(std::move(target)));
    tellChange();
  }
  void clear() {
    items_.clear();
    tellChange();
  }

  [[nodiscard]] std::vector<LoginItemHandle> snapshot() override { return items_; }

  [[nodiscard]] std::optional<std::string> resolve(const LoginItem& item) override {
    return targetOf(item);
  }

  void insertAtHead(const std::string& target) override {
    ++insertions;
    if (!writable) return;
    items_.insert(items_.begin(), std::make_shared<Item>(target));
    tellChange();
  }

  void remove(const LoginItem& item) override {
    ++removals;
    const auto found = std::find_if(items_.begin(), items_.end(),
                                    [&](const LoginItemHandle& own) { return own.get() == &item; });
    if (!writable || found == items_.end()) return;
    items_.erase(found);
    tellChange();
  }

  [[nodiscard]] std::optional<std::string> ownTarget() override { return own_target; }

  void setChangeCallback(std::function<void()> callback) override {
    callback_ = std::move(callback);
  }

 private:
  struct Item final : public LoginItem {
    explicit Item(std::optional<std::string> item_target) : target(std::move(item_target)) {}
    const std::optional<std::string> target;
  };

  static std::optional<std::string> targetOf(const LoginItem& item) {
    const auto* own = dynamic_cast<const Item*>(&item);
    return own != nullptr ? own->target : std::nullopt;
  }

  void tellChange() const {
    const std::function<void()> callback = callback_;  // it may destroy this
    if (callback) callback();
  }

  std::vector<LoginItemHandle> items_;
  std::function<void()> callback_;
};

}  // namespace talvane
