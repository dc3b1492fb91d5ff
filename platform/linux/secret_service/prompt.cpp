#include "platform/linux/secret_service/prompt.h"

#include <functional>
#include <memory>
#include <string>

#include "platform/linux/secret_service/handles.h"
#include "platform/linux/secret_service/link.h"

namespace talvane::secret_service {
namespace {

constexpr guint tick_milliseconds = 100;

gboolean goOn(gpointer /*nothing*/) {
  return G_SOURCE_CONTINUE;
}

}  // namespace

PromptAnswer::PromptAnswer(const Link& link, const std::string& prompt)
    : connection_(G_DBUS_CONNECTION(g_object_ref(link.connection()))),
      heard_(std::make_shared<Heard>()) {
  const auto ticket = [this] { return new std::shared_ptr<Heard>(heard_); };
  completed_ = g_dbus_connection_signal_subscribe(
      connection_.get(), link.owner().c_str(), "org.freedesktop.Secret.Prompt", "Completed",
      prompt.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE, complete, ticket(), release);
  owner_changed_ = g_dbus_connection_signal_subscribe(
      connection_.get(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
      "/org/freedesktop/DBus", link.owner().c_str(), G_DBUS_SIGNAL_FLAGS_NONE, turnOver, ticket(),
      release);
}

PromptAnswer::~PromptAnswer() {
  g_dbus_connection_signal_unsubscribe(connection_.get(), completed_);
  g_dbus_connection_signal_unsubscribe(connection_.get(), owner_changed_);
}

void PromptAnswer::complete(GDBusConnection* /*connection*/, const char* /*sender*/,
                            const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                            GVariant* parameters, gpointer heard) {
  Heard& here = **static_cast<std::shared_ptr<Heard>*>(heard);
  here.completed = true;
  here.dismissed = true;
  if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(bv)")) == FALSE) return;
  gboolean dismissed = TRUE;
  g_variant_get_child(parameters, 0, "b", &dismissed);
  here.dismissed = dismissed != FALSE;
}

void PromptAnswer::turnOver(GDBusConnection* /*connection*/, const char* /*sender*/,
                            const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                            GVariant* /*parameters*/, gpointer heard) {
  // A unique name is never taken again.
  (*static_cast<std::shared_ptr<Heard>*>(heard))->gone = true;
}

void PromptAnswer::release(gpointer heard) {
  delete static_cast<std::shared_ptr<Heard>*>(heard);
}

PromptAnswer::End PromptAnswer::await(GMainContext* context,
                                      const std::function<bool()>& given_up) {
  GSource* tick = g_timeout_source_new(tick_milliseconds);
  g_source_set_callback(tick, goOn, nullptr, nullptr);
  g_source_attach(tick, context);
  End end = End::agreed;
  while (!heard_->completed) {
    if (heard_->gone || g_dbus_connection_is_closed(connection_.get()) != FALSE) {
      end = End::daemon_gone;
      break;
    }
    if (given_up && given_up()) {
      end = End::given_up;
      break;
    }
    g_main_context_iteration(context, TRUE);
  }
  g_source_destroy(tick);
  g_source_unref(tick);
  if (heard_->completed) return heard_->dismissed ? End::dismissed : End::agreed;
  return end;
}

}  // namespace talvane::secret_service
