#include "demo/front.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <utility>

namespace talvane::demo {
namespace {

// RFC 8446, section 5.1: a TLS connection begins with a record of type handshake.
constexpr unsigned char tls_handshake = 22;

class Socket {
 public:
  explicit Socket(int descriptor) : descriptor_(descriptor) {}
  ~Socket() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  Socket& operator=(Socket&&) = delete;
  [[nodiscard]] int get() const { return descriptor_; }

 private:
  int descriptor_;
};

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

const sockaddr* asGeneral(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

bool sendAll(int to, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t sent = send(to, bytes, count, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes += sent;
    count -= static_cast<std::size_t>(sent);
  }
  return true;
}

// Forwards the received data. Returns false at the end of the connection.
bool passOn(int from, int to) {
  std::array<char, 16384> bytes{};
  const ssize_t count = recv(from, bytes.data(), bytes.size(), 0);
  if (count > 0 && sendAll(to, bytes.data(), static_cast<std::size_t>(count))) return true;
  shutdown(to, SHUT_WR);
  return false;
}

void relay(const Socket& client, int http_port, int https_port) {
  unsigned char first = 0;
  if (recv(client.get(), &first, 1, MSG_PEEK) != 1) return;
  const Socket server(socket(AF_INET, SOCK_STREAM, 0));
  const sockaddr_in address = loopback(first == tls_handshake ? https_port : http_port);
  if (connect(server.get(), asGeneral(address), sizeof(address)) != 0) return;

  std::array<pollfd, 2> ends{pollfd{client.get(), POLLIN, 0}, pollfd{server.get(), POLLIN, 0}};
  while (ends[0].fd >= 0 || ends[1].fd >= 0) {
    if (poll(ends.data(), ends.size(), -1) < 0) return;
    if (ends[0].revents != 0 && !passOn(client.get(), server.get())) ends[0].fd = -1;
    if (ends[1].revents != 0 && !passOn(server.get(), client.get())) ends[1].fd = -1;
  }
}

}  // namespace

Front::Front(int port, int http_port, int https_port)
    : socket_(socket(AF_INET, SOCK_STREAM, 0)), http_port_(http_port), https_port_(https_port) {
  const int on = 1;
  setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  sockaddr_in address = loopback(port);
  socklen_t size = sizeof(address);
  if (bind(socket_, asGeneral(address), size) != 0 || ::listen(socket_, SOMAXCONN) != 0) return;
  if (getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0) return;
  port_ = ntohs(address.sin_port);
}

Front::~Front() {
  close(socket_);
}

void Front::listen() const {
  for (;;) {
    Socket client(accept(socket_, nullptr, nullptr));
    if (client.get() < 0) {
      // Perhaps too many at once.
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      continue;
    }
    std::thread([held = std::move(client), http = http_port_, https = https_port_] {
      relay(held, http, https);
    }).detach();
  }
}

}  // namespace talvane::demo
