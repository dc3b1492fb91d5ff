#pragma once

#include <nlohmann/json.hpp>

namespace talvane {

/// Keeps the order in which keys are given.
using Json = nlohmann::ordered_json;

/// Prints the value to standard output, indented, with a final line end.
void print(const Json& value);

}  // namespace talvane
