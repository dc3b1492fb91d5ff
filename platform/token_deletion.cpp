#include "platform/token_deletion.h"

#include <fmt/core.h>

namespace talvane {

std::optional<std::string> deleteStoredTokens(
    vaneinterface& gateway, std::span<const std::uint8_t, vane::max_tokens> selected) {
  gateway.forgetOutcomes();
  const bool all_gone = vane::DeleteTokens(selected);
  for (const auto* outcome : {&gateway.lastDelete(), &gateway.lastSave()}) {
    if (outcome->status != KeychainStatus::ok) return outcome->words();
  }
  // A damaged record stays where it is, and those behind it too; a keychain that did not answer may
  // have left a gap.
  if (all_gone && gateway.lastLoad().answered()) return std::nullopt;
  return fmt::format("The tokens could not be deleted: {}", gateway.lastLoad().words());
}

}  // namespace talvane
