#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace talvane {

/// The number that a desktop's settings, as the property _XSETTINGS_SETTINGS holds them, have under
/// this name; nullopt if there is none, or only before damage. (The format: XSETTINGS protocol of
/// freedesktop.org, version 0.5.)
std::optional<std::int32_t> numberInXSettings(std::span<const std::uint8_t> settings,
                                              std::string_view name);

}  // namespace talvane
