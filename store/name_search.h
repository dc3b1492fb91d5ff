#pragma once

// Searching for tokens by their names, case and accents aside.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvane {

enum class NameMatch : std::uint8_t {
  none,
  inside,  // the name holds every word of the query
  begins,  // and a word of it begins with the first
  whole    // the name is the query
};

/// How the name answers the query: words with white space between them. A query without a word
/// matches nothing.
NameMatch matchName(std::string_view name, std::string_view query);

/// The names that match, the best first; otherwise in their order, each once.
std::vector<std::string> matchingNames(const std::vector<std::string>& names,
                                       std::string_view query);

}  // namespace talvane
