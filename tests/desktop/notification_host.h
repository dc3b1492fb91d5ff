#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace talvane::test {

/// A desktop's notifications (org.freedesktop.Notifications), on a session bus.
class NotificationHost {
 public:
  /// It takes so long to answer.
  explicit NotificationHost(const std::string& session_bus,
                            std::chrono::milliseconds delay = std::chrono::milliseconds(0));
  ~NotificationHost();
  NotificationHost(const NotificationHost&) = delete;
  NotificationHost& operator=(const NotificationHost&) = delete;

  struct Notification {
    std::string program;
    std::string icon;
    std::string summary;
    std::string body;
  };
  /// Those that came so far.
  [[nodiscard]] std::vector<Notification> seen() const;

 private:
  struct Service;
  std::unique_ptr<Service> service_;
};

}  // namespace talvane::test
