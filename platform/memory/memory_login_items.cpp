#include "platform/memory/memory_login_items.h"

#include <algorithm>
#include <utility>

namespace talvane {
namespace {

class MemoryLoginItem final : public LoginItem {
 public:
  explicit MemoryLoginItem(std::optional<std::string> target) : target_(std::move(target)) {}

  [[nodiscard]] const std::optional<std::string>& target() const { return target_; }

 private:
  std::optional<std::string> target_;
};

std::optional<std::string> targetOf(const LoginItem& item) {
  const auto* own = dynamic_cast<const MemoryLoginItem*>(&item);
  return own != nullptr ? own->target() : std::nullopt;
}

}  // namespace

std::vector<std::optional<std::string>> MemoryLoginItems::targets() const {
  std::vector<std::optional<std::string>> result;
  for (const LoginItemHandle& item : items_) result.push_back(targetOf(*item));
  return result;
}

void MemoryLoginItems::append(std::optional<std::string> target) {
  items_.push_back(std::make_shared<MemoryLoginItem>(std::move(target)));
  tellChange();
}

void MemoryLoginItems::clear() {
  items_.clear();
  tellChange();
}

std::vector<LoginItemHandle> MemoryLoginItems::snapshot() {
  return items_;
}

std::optional<std::string> MemoryLoginItems::resolve(const LoginItem& item) {
  return targetOf(item);
}

void MemoryLoginItems::insertAtHead(const std::string& target) {
  ++insertions;
  if (!writable) return;
  items_.insert(items_.begin(), std::make_shared<MemoryLoginItem>(target));
  tellChange();
}

void MemoryLoginItems::remove(const LoginItem& item) {
  ++removals;
  const auto found = std::find_if(items_.begin(), items_.end(),
                                  [&](const LoginItemHandle& own) { return own.get() == &item; });
  if (!writable || found == items_.end()) return;
  items_.erase(found);
  tellChange();
}

void MemoryLoginItems::setChangeCallback(std::function<void()> callback) {
  callback_ = std::move(callback);
}

void MemoryLoginItems::tellChange() const {
  const std::function<void()> callback = callback_;  // it may destroy this
  if (callback) callback();
}

}  // namespace talvane
