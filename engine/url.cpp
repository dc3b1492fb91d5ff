#include "engine/url.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "engine/text.h"

namespace talvane {
namespace {

bool isSchemeCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
         c == '-' || c == '.';
}

bool isServerCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == ':' || c == '[' || c == ']';
}

// The host of "user@host:port"; brackets of an address are not part of it.
std::string hostOf(std::string_view authority) {
  authority.remove_prefix(authority.rfind('@') + 1);
  if (authority.starts_with('[')) {
    return std::string(authority.substr(1, authority.find(']') - 1));
  }
  return std::string(authority.substr(0, authority.find(':')));
}

}  // namespace

bool isWebAddress(std::string_view url) {
  const std::string start = lowerCase(url.substr(0, 8));
  return start.starts_with("http://") || start == "https://";
}

std::string originOf(std::string_view url) {
  if (!isWebAddress(url)) return {};
  const std::string scheme = lowerCase(url.substr(0, url.find(':')));
  std::string_view authority = url.substr(scheme.size() + 3);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  if (authority.empty() || !std::all_of(authority.begin(), authority.end(), isServerCharacter)) {
    return {};
  }
  std::string_view port;
  const std::size_t colon = authority.rfind(':');
  if (colon != std::string_view::npos && !authority.ends_with(']')) {
    port = authority.substr(colon + 1);
    authority = authority.substr(0, colon);
  }
  if (port.empty()) port = scheme == "https" ? "443" : "80";
  return scheme + "://" + lowerCase(authority) + ':' + std::string(port);
}

UrlParts urlParts(std::string_view url) {
  UrlParts parts;
  const std::size_t colon = url.find(':');
  const std::string_view scheme = url.substr(0, colon);
  if (colon == std::string_view::npos || colon == 0 ||
      !std::all_of(scheme.begin(), scheme.end(), isSchemeCharacter)) {
    return parts;
  }
  parts.scheme = scheme;
  std::string_view rest = url.substr(colon + 1);
  rest = rest.substr(0, rest.find('#'));
  if (const std::size_t question = rest.find('?'); question != std::string_view::npos) {
    parts.query = rest.substr(question + 1);
    rest = rest.substr(0, question);
  }
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    parts.host = hostOf(rest.substr(0, slash));
    rest.remove_prefix(slash);
  }
  if (rest.size() > 1 && rest.ends_with('/')) rest.remove_suffix(1);
  parts.path = percentDecoded(rest);
  return parts;
}

}  // namespace talvane
