#pragma once

#include <string_view>
#include "config/ini.h"

namespace talvane {

/// The application's start-up sequence: traces to `path` while the settings are read, then only
/// when "Debug" is on, and opens that part with a banner.
void readSettingsWithTrace(Ini& ini, std::string_view path);

/// For programs that run for a moment: reads the settings without a trace, then traces to `path`,
/// with the banner, when "Debug" is on.
void readSettingsQuietly(Ini& ini, std::string_view path);

/// The user's trace file.
inline constexpr const char* trace_path = "~/softtoken.txt";

}  // namespace talvane
