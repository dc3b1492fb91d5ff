#include "platform/curl/cookie.h"

#include <cstddef>
#include <string>
#include <string_view>

#include "engine/text.h"

namespace talvane {
namespace {

// As libcurl compares it: without quotes and without a "/" at its end; one that does not begin with
// "/" is the root.
std::string plainPath(std::string path) {
  if (path.starts_with('"')) path.erase(0, 1);
  if (path.ends_with('"')) path.pop_back();
  if (!path.starts_with('/')) return {};
  if (path.ends_with('/')) path.pop_back();
  return path;
}

}  // namespace

std::string cookieHost(std::string host) {
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  return lowerCase(host);
}

Cookie::Cookie(std::string_view line) {
  for (const std::string_view field : split(line, '\t')) fields_.emplace_back(field);
}

bool Cookie::isSentTo(const std::string& scheme, const std::string& host,
                      const std::string& path) const {
  if (fields_.size() < 7) return false;
  std::string domain = fields_[0];
  if (constexpr std::string_view http_only = "#HttpOnly_"; domain.starts_with(http_only)) {
    domain.erase(0, http_only.size());
  }
  if (domain.starts_with('.')) domain.erase(0, 1);
  const bool below = fields_[1] == "TRUE" && host.ends_with("." + domain);
  if (host != domain && !below) return false;
  // libcurl treats this computer itself as secure.
  const bool secure =
      scheme == "https" || host == "localhost" || host == "127.0.0.1" || host == "::1";
  if (fields_[3] == "TRUE" && !secure) return false;
  const std::string wanted = plainPath(fields_[2]);
  return path.starts_with(wanted) && (path.size() == wanted.size() || path[wanted.size()] == '/');
}

std::string Cookie::expired() const {
  std::string line;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    // A path that is none is left out, which means the root: it might be read as the flag behind
    // it.
    if (i == 2 && !fields_[i].starts_with('/') && !fields_[i].starts_with("\"/")) continue;
    if (i != 0) line += '\t';
    line += i == 4 ? "1" : fields_[i];
  }
  return line;
}

}  // namespace talvane
