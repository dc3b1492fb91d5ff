#pragma once

namespace talvane::demo {

/// Lets one port of loopback answer both HTTP and HTTPS, as a site's name does with its two usual
/// ports: passes each connection on to one of two other ports, by the first byte that comes.
class Front {
 public:
  /// Binds the port; 0: a free one.
  Front(int port, int http_port, int https_port);
  ~Front();
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  /// The bound port; negative when it is taken.
  [[nodiscard]] int port() const { return port_; }
  /// Serves until the process ends.
  [[noreturn]] void listen() const;

 private:
  int socket_ = -1;
  int port_ = -1;
  int http_port_;
  int https_port_;
};

}  // namespace talvane::demo
