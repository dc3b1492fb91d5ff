#include "tests/enrol/loopback_server.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "engine/text.h"

namespace talvane::test {
namespace {

int listenOn(bool version_6, std::uint16_t* port) {
  const int listener = socket(version_6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0) return -1;
  sockaddr_in6 address_6{};
  address_6.sin6_family = AF_INET6;
  address_6.sin6_addr = in6addr_loopback;
  sockaddr_in address_4{};
  address_4.sin_family = AF_INET;
  address_4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  void* place = version_6 ? static_cast<void*>(&address_6) : static_cast<void*>(&address_4);
  auto* address = static_cast<sockaddr*>(place);
  socklen_t length = version_6 ? sizeof(address_6) : sizeof(address_4);
  if (bind(listener, address, length) != 0 || listen(listener, 64) != 0 ||
      getsockname(listener, address, &length) != 0) {
    close(listener);
    return -1;
  }
  *port = ntohs(version_6 ? address_6.sin6_port : address_4.sin_port);
  return listener;
}

/// Waits for the socket or the stop, and tells what of the two is there.
std::array<bool, 2> waitFor(int socket, short events, int stop) {
  std::array<pollfd, 2> waiting{{{socket, events, 0}, {stop, POLLIN, 0}}};
  poll(waiting.data(), waiting.size(), -1);
  return {waiting[0].revents != 0, waiting[1].revents != 0};
}

/// False once the server stops and nothing is left to read.
bool readable(int socket, int stop) {
  return waitFor(socket, POLLIN, stop)[0];
}

}  // namespace

bool LoopbackServer::Connection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto [writable, stopping] = waitFor(socket_, POLLOUT, stop_);
    if (stopping) return false;
    if (!writable) continue;
    const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool LoopbackServer::Connection::readSome(std::string* bytes) {
  std::array<char, 16384> buffer;
  if (!readable(socket_, stop_)) return false;
  const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
  if (count <= 0) return false;
  bytes->append(buffer.data(), static_cast<std::size_t>(count));
  return true;
}

void LoopbackServer::Connection::hang() {
  std::string ignored;
  while (readSome(&ignored)) {
  }
}

void LoopbackServer::Connection::reset() {
  const linger at_once{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
}

std::string LoopbackServer::Connection::readRequest() {
  std::string request;
  std::size_t head = std::string::npos;
  while ((head = request.find("\r\n\r\n")) == std::string::npos) {
    if (!readSome(&request) || request[0] < 'A' || request[0] > 'Z') return request;
  }
  const std::string length = headerOf(request, "content-length");
  const std::size_t body = length == "(none)" ? 0 : std::stoul(length);
  while (request.size() < head + 4 + body) {
    if (!readSome(&request)) break;
  }
  return request;
}

std::string LoopbackServer::Connection::readRest() {
  std::string rest;
  shutdown(socket_, SHUT_WR);
  while (readSome(&rest)) {
  }
  return rest;
}

LoopbackServer::LoopbackServer(Handler handler, bool version_6)
    : handler_(std::move(handler)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      listener_(listenOn(version_6, &port_)) {
  if (running()) acceptor_ = std::thread([this] { accept(); });
}

LoopbackServer::LoopbackServer(std::string answer)
    : LoopbackServer([answer = std::move(answer)](Connection& connection, const std::string&) {
        connection.send(answer);
      }) {}

LoopbackServer::~LoopbackServer() {
  finish();
  close(stop_);
}

std::string LoopbackServer::url(const std::string& path, const std::string& host) const {
  return "http://" + host + ':' + std::to_string(port_) + path;
}

std::vector<std::string> LoopbackServer::requests() const {
  const std::lock_guard guard(mutex_);
  return requests_;
}

std::vector<std::string> LoopbackServer::finish() {
  if (acceptor_.joinable()) {
    eventfd_write(stop_, 1);
    acceptor_.join();
    for (std::thread& connection : connections_) connection.join();
    close(listener_);
  }
  return requests();
}

void LoopbackServer::accept() {
  while (readable(listener_, stop_)) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket >= 0) connections_.emplace_back([this, socket] { serve(socket); });
  }
}

void LoopbackServer::serve(int socket) {
  Connection connection(socket, stop_);
  const std::string request = connection.readRequest();
  if (!request.empty()) {
    std::size_t place = 0;
    {
      const std::lock_guard guard(mutex_);
      place = requests_.size();
      requests_.push_back(request);
    }
    handler_(connection, request);
    const std::string rest = connection.readRest();
    const std::lock_guard guard(mutex_);
    requests_[place] += rest;
  }
  close(socket);
}

std::string response(const std::string& status, const std::string& body,
                     const std::string& headers) {
  return "HTTP/1.1 " + status + "\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

std::string headerOf(const std::string& request, const std::string& name) {
  const std::string head = request.substr(0, request.find("\r\n\r\n"));
  for (const std::string_view line : split(head, '\n')) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || lowerCase(line.substr(0, colon)) != name) continue;
    return std::string(trimmed(line.substr(colon + 1)));
  }
  return "(none)";
}

std::vector<std::string> headerNames(const std::string& request) {
  std::vector<std::string> names;
  const std::string head = request.substr(0, request.find("\r\n\r\n"));
  const auto lines = split(head, '\n');
  for (std::size_t i = 1; i < lines.size(); ++i) {
    names.push_back(lowerCase(lines[i].substr(0, lines[i].find(':'))));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string bodyOf(const std::string& request) {
  const std::size_t head = request.find("\r\n\r\n");
  return head == std::string::npos ? std::string() : request.substr(head + 4);
}

std::string lineOf(const std::string& request) {
  return request.substr(0, request.find(" HTTP/"));
}

}  // namespace talvane::test
