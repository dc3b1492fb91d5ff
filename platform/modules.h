#pragma once

#include <string>

namespace talvane {

/// The function `symbol` of the loadable module `name`, which stays loaded; null and `*error` set
/// when it cannot be had.
void* moduleFunction(const std::string& name, const char* symbol, std::string* error);

}  // namespace talvane
