#pragma once

// One running program per user and display. The first one holds a lock for as long as it lives and
// listens; a later one hands it what it was asked to do. A program that died holds nothing. The
// channel lies in a folder that only the user can enter. SIGPIPE has to be ignored.

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class QSocketNotifier;

namespace talvane {

class InstanceChannel : public QObject {
 public:
  /// Where the channel lies; `display` tells sessions of one user apart.
  explicit InstanceChannel(const std::string& display);
  ~InstanceChannel() override;

  /// Whether this program is the first one. False with `error` set: neither first nor can the first
  /// one be found out.
  bool becomeFirst();
  /// Calls `received` with every request from then on, by the event loop.
  void listen();
  std::function<void(const QString& request)> received;

  /// Hands the request to the first program. False: it does not take it.
  [[nodiscard]] bool send(const QString& request) const;

  [[nodiscard]] const std::string& error() const { return error_; }

 private:
  void accept();
  [[nodiscard]] QByteArray takeRequest() const;

  std::string lock_path_;
  std::string socket_path_;
  std::string error_;
  int lock_ = -1;
  int listening_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
};

/// The display that this program shows itself on, as part of a file name.
std::string displayName();

}  // namespace talvane
