#include "store/enrolled_at.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/text.h"
#include "engine/vane.h"
#include "platform/user_defaults.h"

namespace talvane {
namespace {

constexpr const char* key = "EnrolledAt";

// The value is a list of NAME@SERVER, both percent-encoded, with a space between two entries.
using Entries = std::vector<std::string>;

std::string startOf(std::string_view name) {
  return vane::URLEncodedString(name) + '@';
}

std::optional<Entries> readEntries(UserDefaults* defaults) {
  Entries entries;
  std::string value;
  if (defaults == nullptr) return entries;
  switch (defaults->string(key, &value)) {
    case UserDefaults::Found::no:
      return entries;
    case UserDefaults::Found::unreadable:
      return std::nullopt;
    case UserDefaults::Found::yes:
      break;
  }
  for (const std::string_view entry : split(value, ' ')) {
    if (!entry.empty()) entries.emplace_back(entry);
  }
  return entries;
}

bool write(UserDefaults& defaults, const Entries& entries) {
  std::string value;
  for (const std::string& entry : entries) value += (value.empty() ? "" : " ") + entry;
  return defaults.setString(key, value);
}

}  // namespace

bool EnrolledAt::isFrom(std::string_view server, std::string_view name) const {
  const auto entries = readEntries(defaults_);
  return entries && std::find(entries->begin(), entries->end(),
                              startOf(name) + vane::URLEncodedString(server)) != entries->end();
}

void EnrolledAt::note(std::string_view server, std::string_view name) {
  auto entries = readEntries(defaults_);
  if (defaults_ == nullptr || !entries || isFrom(server, name)) return;
  const std::string start = startOf(name);
  std::erase_if(*entries, [&](const std::string& entry) { return entry.starts_with(start); });
  entries->push_back(start + vane::URLEncodedString(server));
  static_cast<void>(write(*defaults_, *entries));
}

bool EnrolledAt::forget(std::string_view name) {
  auto entries = readEntries(defaults_);
  if (!entries) return false;
  const std::string start = startOf(name);
  const auto forgotten =
      std::erase_if(*entries, [&](const std::string& entry) { return entry.starts_with(start); });
  return forgotten == 0 || write(*defaults_, *entries);
}

}  // namespace talvane
