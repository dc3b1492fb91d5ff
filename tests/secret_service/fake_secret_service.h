#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "tests/secret_service/bus_client.h"

namespace talvane::testing {

/// A Secret Service that behaves as it is told. It speaks plain sessions only, and has one unlocked
/// default collection without items.
class FakeSecretService {
 public:
  /// Makes the answer to a call; null leaves the call without one.
  using Handler = std::function<GDBusMessage*(GDBusMessage* call)>;

  enum class Taking { free_name, over };

  /// Takes the service's name, which a later fake may take over.
  explicit FakeSecretService(Taking taking = Taking::free_name);
  ~FakeSecretService();

  /// Answers the method so from now on. Properties are answered under their names.
  void on(const std::string& method, Handler handler);
  int calls(const std::string& method);
  /// Tells everybody that the prompt has ended.
  void completePrompt(bool dismissed);
  /// Leaves the bus at once, without answering what is under way.
  void leave();

  static constexpr const char* collection = "/org/freedesktop/secrets/collection/fake";
  static constexpr const char* item = "/org/freedesktop/secrets/collection/fake/1";
  static constexpr const char* session = "/org/freedesktop/secrets/session/fake";
  static constexpr const char* prompt = "/org/freedesktop/secrets/prompt/fake";

 private:
  static GDBusMessage* answer(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                              gpointer self);

  std::mutex mutex_;
  std::map<std::string, Handler> handlers_;
  std::map<std::string, int> calls_;
  Connection connection_;
};

/// A handler that answers with the text of a tuple, as g_variant_new_parsed takes it.
FakeSecretService::Handler replying(const std::string& tuple);
/// A handler that answers with an error.
FakeSecretService::Handler failing(const std::string& name, const std::string& words);

}  // namespace talvane::testing
