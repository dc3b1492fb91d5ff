#include "engine/soft_token_info.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/log.h"
#include "engine/text.h"

namespace talvane {
namespace {

std::optional<std::string> piece(const std::optional<std::string>& description, std::size_t index) {
  if (!description) return std::nullopt;
  const auto pieces = split(*description, '|');
  return pieces.size() < 2 ? *description : std::string(pieces[index]);
}

}  // namespace

std::optional<std::string> SoftTokenInfo::originalDescription() const {
  return piece(description, 0);
}

std::optional<std::string> SoftTokenInfo::currentDescription() const {
  return piece(description, 1);
}

void SoftTokenInfo::updateDescription(std::string_view name) {
  EngineLog::line("    SoftTokenInfo: changeDesc: olddesc:{} newdesc:{}", orNil(description), name);
  std::string new_name(name);
  std::erase(new_name, '|');
  if (new_name.empty()) {
    EngineLog::line("    SoftTokenInfo: changeDesc: length 0, aborted");
    return;
  }
  new_name = percentDecoded(new_name);
  std::replace(new_name.begin(), new_name.end(), '+', ' ');
  const auto creation_name = originalDescription();
  description = creation_name ? *creation_name + '|' + new_name : new_name;
  EngineLog::line("    SoftTokenInfo: changeDesc: desc is now:{}", *description);
}

std::int64_t SoftTokenInfo::counterAt(std::int64_t time) const {
  return period > 0 ? time / period : 0;
}

}  // namespace talvane
