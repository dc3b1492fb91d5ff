#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/cleared.h"

namespace talvane {

/// A URL's parts (RFC 3986, appendix B), read as the platform's URL class reads them: scheme, host
/// and query as written; the path with percent escapes decoded and without a trailing "/". A part
/// that the URL lacks is nullopt; the path is then empty.
struct UrlParts {
  std::optional<std::string> scheme;
  std::optional<std::string> host;
  std::optional<std::string> path;
  std::optional<Cleared<std::string>> query;  // a token's holds its seed
};

/// A text without a scheme has no parts.
UrlParts urlParts(std::string_view url);

/// The server of an http or https URL: scheme, host and port, in lower case, as "https://host:443".
/// Empty for any other URL, and for one whose host part holds a user name or unusual characters.
std::string originOf(std::string_view url);

/// Whether a browser may open it: it begins with "http://" or "https://", in either case.
bool isWebAddress(std::string_view url);

}  // namespace talvane
