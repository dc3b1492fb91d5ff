#pragma once

// One call of the keychain: the asynchronous requests that it makes and the deadline over them all.

#include <memory>
#include <vector>

#include "platform/linux/secret_service/handles.h"

namespace talvane::secret_service {

/// What an asynchronous function brings in the end; both null until then.
struct Answer {
  ObjectHandle<GObject> source;
  ObjectHandle<GAsyncResult> result;
};

/// While it lives, its context is the thread's default, so that answers arrive there and nothing
/// else of the program runs. One at a time.
class Round {
 public:
  /// The context outlives the round.
  explicit Round(GMainContext* context);
  /// Cancels what is still under way. An answer that comes even after that is dropped.
  ~Round();
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;

  /// For an asynchronous function's last three arguments: cancellable(), arrived,
  /// ticketFor(answer).
  std::shared_ptr<Answer> expect();
  GCancellable* cancellable() { return cancellable_.get(); }
  static void arrived(GObject* source, GAsyncResult* result, gpointer ticket);
  static gpointer ticketFor(const std::shared_ptr<Answer>& answer);

  /// Waits until the answer is there; false when the round's time ended before.
  [[nodiscard]] bool wait(const Answer& answer);

 private:
  GMainContext* context_;
  ObjectHandle<GCancellable> cancellable_;
  GSource* timer_;
  bool time_is_up_ = false;
  std::vector<std::shared_ptr<Answer>> answers_;
};

/// Handles what has arrived at the context, without waiting for more.
void runPending(GMainContext* context);

}  // namespace talvane::secret_service
