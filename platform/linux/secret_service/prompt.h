#pragma once

// The user's answer to a prompt of the daemon.

#include <functional>
#include <memory>
#include <string>

#include "platform/linux/secret_service/handles.h"
#include "platform/linux/secret_service/link.h"

namespace talvane::secret_service {

/// Listens for the end of a prompt from its construction on: construct it, within a round in which
/// `link.reach` has succeeded, before the prompt is shown.
class PromptAnswer {
 public:
  PromptAnswer(const Link& link, const std::string& prompt);
  ~PromptAnswer();
  PromptAnswer(const PromptAnswer&) = delete;
  PromptAnswer& operator=(const PromptAnswer&) = delete;

  enum class End { agreed, dismissed, given_up, daemon_gone };
  /// Waits for it, outside of a round; `context` is that of the round. Asks `given_up` ten times a
  /// second.
  End await(GMainContext* context, const std::function<bool()>& given_up);

 private:
  struct Heard {
    bool completed = false;
    bool dismissed = false;
    bool gone = false;
  };
  static void complete(GDBusConnection*, const char*, const char*, const char*, const char*,
                       GVariant* parameters, gpointer heard);
  static void turnOver(GDBusConnection*, const char*, const char*, const char*, const char*,
                       GVariant* parameters, gpointer heard);
  static void release(gpointer heard);

  ObjectHandle<GDBusConnection> connection_;
  std::shared_ptr<Heard> heard_;
  guint completed_ = 0;
  guint owner_changed_ = 0;
};

}  // namespace talvane::secret_service
