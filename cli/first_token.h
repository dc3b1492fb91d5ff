#pragma once

#include <string>

#include "config/ini.h"

namespace talvane {

/// What a user who has no token yet can do, under these settings.
std::string firstTokenHelp(const Ini& settings);

/// Throws Failure, naming the setting, unless tokens may be added by hand.
void requireManual(const Ini& settings);

}  // namespace talvane
