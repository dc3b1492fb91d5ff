#pragma once

#include <string>

namespace talvane {

/// The function `symbol` of the loadable module `name`, which stays loaded. Returns null and sets
/// `*error` on failure.
void* moduleFunction(const std::string& name, const char* symbol, std::string* error);

}  // namespace talvane
