#include "platform/linux/secret_service/round.h"

#include <algorithm>
#include <memory>

namespace talvane::secret_service {
namespace {

// In total less than the two seconds that a call may take.
constexpr guint time_limit_milliseconds = 1800;
constexpr gint64 cancelling_limit_microseconds = 100'000;

gboolean setTrue(gpointer flag) {
  *static_cast<bool*>(flag) = true;
  return G_SOURCE_REMOVE;
}

}  // namespace

void runPending(GMainContext* context) {
  for (int i = 0; i < 1000 && g_main_context_iteration(context, FALSE) != FALSE; ++i) {
  }
}

Round::Round(GMainContext* context)
    : context_(context),
      cancellable_(g_cancellable_new()),
      timer_(g_timeout_source_new(time_limit_milliseconds)) {
  g_main_context_push_thread_default(context_);
  g_source_set_callback(timer_, setTrue, &time_is_up_, nullptr);
  g_source_attach(timer_, context_);
  runPending(context_);  // for example late answers
}

Round::~Round() {
  g_source_destroy(timer_);
  g_source_unref(timer_);
  const auto under_way = [this] {
    return std::any_of(answers_.begin(), answers_.end(),
                       [](const auto& answer) { return answer->result == nullptr; });
  };
  if (under_way()) {
    g_cancellable_cancel(cancellable_.get());
    const gint64 end = g_get_monotonic_time() + cancelling_limit_microseconds;
    while (under_way() && g_get_monotonic_time() < end) {
      if (g_main_context_iteration(context_, FALSE) == FALSE) g_usleep(1000);
    }
  }
  answers_.clear();
  g_main_context_pop_thread_default(context_);
}

std::shared_ptr<Answer> Round::expect() {
  return answers_.emplace_back(std::make_shared<Answer>());
}

gpointer Round::ticketFor(const std::shared_ptr<Answer>& answer) {
  return new std::shared_ptr<Answer>(answer);
}

void Round::arrived(GObject* source, GAsyncResult* result, gpointer ticket) {
  const std::unique_ptr<std::shared_ptr<Answer>> answer(
      static_cast<std::shared_ptr<Answer>*>(ticket));
  (*answer)->source.reset(source != nullptr ? G_OBJECT(g_object_ref(source)) : nullptr);
  (*answer)->result.reset(G_ASYNC_RESULT(g_object_ref(result)));
}

bool Round::wait(const Answer& answer) {
  while (answer.result == nullptr && !time_is_up_) g_main_context_iteration(context_, TRUE);
  return answer.result != nullptr;
}

}  // namespace talvane::secret_service
