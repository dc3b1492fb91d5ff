#pragma once

#include <string_view>

#include "config/ini.h"

namespace talvane {

/// The application's start-up sequence: traces to `path` while it reads the settings, and
/// afterwards only if "Debug" is on; a banner opens that part. "Debug" also allows core dumps.
void readSettingsWithTrace(Ini& ini, std::string_view path);

/// For short-lived programs: reads the settings without a trace, then traces to `path`, with the
/// banner, if "Debug" is on; that allows core dumps too.
void readSettingsQuietly(Ini& ini, std::string_view path);

/// The user's trace file.
inline constexpr const char* trace_path = "~/softtoken.txt";

}  // namespace talvane
