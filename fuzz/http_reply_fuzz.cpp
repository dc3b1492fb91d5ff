// Any bytes as what a server sends over its connections: status, headers, cookies, redirects, body.
// No network is touched: whatever the loader connects to is a pair of sockets that holds the bytes.

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/url_loading.h"

extern "C" talvane::UrlLoader* softtoken_make_url_loader(const talvane::UrlLoaderLimits* limits);

namespace {

constexpr std::string_view mark = "\n--\n";  // between what the connections send
constexpr const char* url = "http://127.0.0.1/taenrol/enrol.exe";

std::string_view rest;
std::vector<int> servers;  // the other ends

void require(bool condition) {
  if (!condition) std::abort();
}

std::string_view nextAnswer() {
  const std::size_t end = rest.find(mark);
  const std::string_view answer = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + mark.size());
  return answer;
}

// What the program sent over the last connection.
std::string lastRequest() {
  std::string request(4096, '\0');
  const ssize_t size = recv(servers.back(), request.data(), request.size(), MSG_DONTWAIT);
  request.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return request;
}

void closeServers() {
  for (const int server : servers) close(server);
  servers.clear();
}

}  // namespace

// In place of the C library's.
extern "C" int connect(int descriptor, const sockaddr* /*address*/, socklen_t /*length*/) {
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) == 0);
  require(dup2(ends[0], descriptor) >= 0);
  close(ends[0]);
  const std::string_view answer = nextAnswer();
  static_cast<void>(!write(ends[1], answer.data(), answer.size()));
  shutdown(ends[1], SHUT_WR);
  servers.push_back(ends[1]);
  return 0;
}

// Every name is this computer's: nobody is asked.
extern "C" int getaddrinfo(const char* /*name*/, const char* /*service*/, const addrinfo* hints,
                           addrinfo** list) {
  static sockaddr_in address = [] {
    sockaddr_in here{};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return here;
  }();
  auto* entry = static_cast<addrinfo*>(std::calloc(1, sizeof(addrinfo)));
  entry->ai_family = AF_INET;
  entry->ai_socktype = hints == nullptr ? SOCK_STREAM : hints->ai_socktype;
  entry->ai_addrlen = sizeof address;
  entry->ai_addr = reinterpret_cast<sockaddr*>(&address);
  *list = entry;
  return 0;
}
extern "C" void freeaddrinfo(addrinfo* list) {
  std::free(list);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const talvane::UrlLoaderLimits limits{
      .silence = std::chrono::seconds(5), .body = 1024, .headers = 512, .redirects = 1};
  const std::unique_ptr<talvane::UrlLoader> loader(softtoken_make_url_loader(&limits));
  rest = {reinterpret_cast<const char*>(data), size};
  const bool asks_again = size % 8 == 0;

  const talvane::UrlResponse response = loader->load({url, "userid=ann"});
  require(response.body.has_value() != response.error.has_value());
  require(!response.body || (*response.body)->size() <= limits.body);
  require(!response.date || *response.date >= 0);
  require(servers.size() <= 2);
  closeServers();
  if (asks_again) {
    loader->deleteCookies(url);
    const talvane::UrlResponse again = loader->load({url, {}});
    const std::string request = servers.empty() ? "" : lastRequest();
    // A redirect may lead to where others are right.
    const bool is_first = servers.size() == 1;
    require(!is_first || request.find("\r\nCookie:") == std::string::npos);
    closeServers();
  }
  return 0;
}
