#pragma once

namespace talvane::demo {

/// Answers both HTTP and HTTPS on one loopback port: forwards each connection to one of two other
/// ports, by its first byte.
class Front {
 public:
  /// Binds the port; 0 picks a free one.
  Front(int port, int http_port, int https_port);
  ~Front();
  Front(const Front&) = delete;
  Front& operator=(const Front&) = delete;

  /// The bound port; negative if it is in use.
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
