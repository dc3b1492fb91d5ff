#pragma once

// One running program per user and display. The first one holds a lock while it runs, and listens;
// a later one passes its request to it. The lock of a program that died is free. The channel is in
// a folder that only the user can enter. A connection that makes no request within a few seconds is
// closed. SIGPIPE must be ignored.

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_descriptor.h"
#include "platform/running_program.h"

class QSocketNotifier;

namespace talvane {

class InstanceChannel : public QObject {
 public:
  /// `display` tells the sessions of one user apart.
  explicit InstanceChannel(const std::string& display);
  ~InstanceChannel() override;

  /// Whether this program is the first one. If it returns false and sets `error`, this is unknown.
  bool becomeFirst();
  /// From now on, calls `received` from the event loop with every request.
  void listen();
  std::function<void(const QString& request)> received;

  /// Leaves word about this program, if it is the first, for the command line. May be called again.
  void tell(const ProgramFacts& facts) const;

  /// Passes the request to the first program. Returns false if that program does not accept it.
  [[nodiscard]] bool send(const QString& request) const;

  [[nodiscard]] const std::string& error() const { return error_; }

  /// Takes no more requests.
  void close();

 private:
  // A program that makes a request. None holds up another, or this program.
  struct Peer;

  void accept();
  void readFrom(const std::shared_ptr<Peer>& peer);
  void drop(const std::shared_ptr<Peer>& peer);

  std::string lock_path_;
  std::string socket_path_;
  std::string facts_path_;
  std::string error_;
  FileDescriptor lock_;
  FileDescriptor listening_;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::vector<std::shared_ptr<Peer>> peers_;  // the oldest first
};

/// The display of this program, as part of a file name.
std::string displayName();

}  // namespace talvane
