#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace talvane {

/// A URL's host as in cookies: in lower case, without the brackets of an address.
std::string cookieHost(std::string host);

/// One line of libcurl's cookie list (the Netscape cookie file format, fields between tabs).
class Cookie {
 public:
  explicit Cookie(std::string_view line);

  /// Whether libcurl sends it with a request for the URL of these parts, `host` as `cookieHost` has
  /// it. False for a line that is no cookie.
  [[nodiscard]] bool isSentTo(const std::string& scheme, const std::string& host,
                              const std::string& path) const;

  /// The line of the same cookie, expired long ago: setting it deletes it.
  [[nodiscard]] std::string expired() const;

 private:
  std::vector<std::string> fields_;
};

}  // namespace talvane
