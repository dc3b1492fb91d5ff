#pragma once

#include <nlohmann/json.hpp>

namespace talvane {

/// Keeps keys in the order of insertion.
using Json = nlohmann::ordered_json;

/// Prints the value, indented and in ASCII alone, and a line end to standard output.
void print(const Json& value);

}  // namespace talvane
