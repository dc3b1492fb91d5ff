#pragma once

// The link to the daemon: a private connection to the session bus, the unique name of the process
// that owns the service's name, and a session that encrypts secrets. Requests go to the unique
// name, so that a new daemon never receives what was meant for the old one.

#include <memory>
#include <string>

#include "platform/linux/secret_service/handles.h"
#include "platform/linux/secret_service/round.h"
#include "platform/linux/secret_service/status.h"

namespace talvane::secret_service {

/// One method call; `parameters` may be floating.
struct Request {
  const char* path;
  const char* interface;
  const char* method;
  GVariant* parameters;
  const char* reply_type;
};

class Link {
 public:
  /// Finds the daemon; connects, and has the bus start it, if needed. Forgets the state of an
  /// earlier daemon. Call it first in every round.
  Outcome reach(Round& round);

  /// Sends without waiting. receive() takes the answer, once.
  std::shared_ptr<Answer> send(Round& round, const Request& request);
  static Outcome receive(Round& round, const Answer& answer, VariantHandle* reply);
  Outcome call(Round& round, const Request& request, VariantHandle* reply);

  /// Begins to open a session unless one is open; finishSession() waits for it.
  std::shared_ptr<Answer> startSession(Round& round);
  Outcome finishSession(Round& round, const std::shared_ptr<Answer>& answer);
  /// The session; null before finishSession().
  SecretService* session() { return session_.get(); }

  /// For signals of the daemon; null and empty before reach().
  [[nodiscard]] GDBusConnection* connection() const { return connection_.get(); }
  [[nodiscard]] const std::string& owner() const { return owner_; }

  /// Forgets connection, daemon and session.
  void drop();

 private:
  Outcome connect(Round& round);
  Outcome findOwner(Round& round);
  std::shared_ptr<Answer> sendTo(Round& round, const char* name, const Request& request);

  ObjectHandle<GDBusConnection> connection_;
  std::string owner_;
  ObjectHandle<SecretService> session_;
};

}  // namespace talvane::secret_service
