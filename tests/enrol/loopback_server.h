#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace talvane::test {

/// A server on 127.0.0.1 that answers each connection's first request with whatever bytes it is
/// told, and records what came, byte for byte.
class LoopbackServer {
 public:
  class Connection {
   public:
    Connection(int socket, int stop) : socket_(socket), stop_(stop) {}
    /// False when the other side is gone.
    bool send(std::string_view bytes);
    /// Says nothing more until the other side goes or the server stops.
    void hang();
    /// Closes as a program does that dies with unread data: the other side sees a reset.
    void reset();
    /// Bytes that do not begin as a request are taken as they come.
    std::string readRequest();
    std::string readRest();

   private:
    bool readSome(std::string* bytes);
    int socket_;
    int stop_;
  };
  /// Called on a thread of the connection's own with the request (head and body).
  using Handler = std::function<void(Connection& connection, const std::string& request)>;

  explicit LoopbackServer(Handler handler, bool version_6 = false);
  /// Answers every request with these bytes.
  explicit LoopbackServer(std::string answer);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// Whether it could be started (there may be no IPv6).
  [[nodiscard]] bool running() const { return listener_ >= 0; }
  [[nodiscard]] std::uint16_t port() const { return port_; }
  /// "http://HOST:PORT/PATH".
  [[nodiscard]] std::string url(const std::string& path = "/",
                                const std::string& host = "127.0.0.1") const;
  /// Those that came so far.
  [[nodiscard]] std::vector<std::string> requests() const;
  /// Ends the server and tells all that came, with what the other side sent after the request.
  std::vector<std::string> finish();

 private:
  void accept();
  void serve(int socket);

  Handler handler_;
  std::uint16_t port_ = 0;
  int stop_;  // readable once the server stops
  int listener_;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::vector<std::thread> connections_;
  std::thread acceptor_;
};

/// A response with the right Content-Length. `headers` end in "\r\n" each.
std::string response(const std::string& status, const std::string& body,
                     const std::string& headers = "");

/// The value of a request's header, or "(none)".
std::string headerOf(const std::string& request, const std::string& name);
/// Names of all headers, in lower case and sorted.
std::vector<std::string> headerNames(const std::string& request);
std::string bodyOf(const std::string& request);
/// "GET /path".
std::string lineOf(const std::string& request);

}  // namespace talvane::test
