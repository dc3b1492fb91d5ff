#pragma once

#include <string>

#include "config/ini.h"

namespace talvane {

/// Tells a user without tokens how to add one, under these settings.
std::string firstTokenHelp(const Ini& settings);

/// Throws a Failure that names the setting, unless users may add tokens by hand.
void requireManual(const Ini& settings);

}  // namespace talvane
