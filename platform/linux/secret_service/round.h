#pragma once

// One call of the keychain: its asynchronous requests, and one deadline for all of them.

#include <memory>
#include <vector>

#include "platform/linux/secret_service/handles.h"

namespace talvane::secret_service {

/// The result of an asynchronous function; both are null until it arrives.
struct Answer {
  ObjectHandle<GObject> source;
  ObjectHandle<GAsyncResult> result;
};

/// While it exists, its context is the thread's default: answers arrive there, and nothing else of
/// the program runs. One at a time.
class Round {
 public:
  /// The context must outlive the round.
  explicit Round(GMainContext* context);
  /// Cancels pending requests and drops later answers.
  ~Round();
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;

  /// The last three arguments of an asynchronous function: cancellable(), arrived,
  /// ticketFor(answer).
  std::shared_ptr<Answer> expect();
  GCancellable* cancellable() { return cancellable_.get(); }
  static void arrived(GObject* source, GAsyncResult* result, gpointer ticket);
  static gpointer ticketFor(const std::shared_ptr<Answer>& answer);

  /// Waits for the answer. Returns false if the deadline passes first.
  [[nodiscard]] bool wait(const Answer& answer);

 private:
  GMainContext* context_;
  ObjectHandle<GCancellable> cancellable_;
  GSource* timer_;
  bool time_is_up_ = false;
  std::vector<std::shared_ptr<Answer>> answers_;
};

/// Handles the events that have arrived at the context, without waiting for more.
void runPending(GMainContext* context);

}  // namespace talvane::secret_service
