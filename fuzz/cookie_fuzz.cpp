// Any line as one of libcurl's cookie list, and any URL parts that it may be sent to.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "engine/text.h"
#include "platform/curl/cookie.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto lines = talvane::split(text, '\n');
  if (lines.size() != 3) return 0;
  const std::string host = talvane::cookieHost(std::string(lines[0]));
  require(talvane::cookieHost(host).size() <= host.size());
  const std::string path = '/' + std::string(lines[1]);
  const talvane::Cookie cookie(lines[2]);
  const bool over_http = cookie.isSentTo("http", host, path);
  const bool over_https = cookie.isSentTo("https", host, path);
  require(!over_http || over_https);
  // What is below a path that gets it gets it too.
  if (over_https && !path.ends_with('/')) require(cookie.isSentTo("https", host, path + "/below"));
  if (!over_https) return 0;

  const std::string expired = cookie.expired();
  const auto before = talvane::split(lines[2], '\t');
  const auto after = talvane::split(expired, '\t');
  require(after.size() == before.size() || after.size() + 1 == before.size());
  require(after.front() == before.front() && after.back() == before.back());
  require(after[before.size() == after.size() ? 4 : 3] == "1");
  // Only the root goes without its path.
  if (after.size() < before.size()) require(cookie.isSentTo("https", host, "/"));
  return 0;
}
