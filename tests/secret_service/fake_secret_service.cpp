#include "tests/secret_service/fake_secret_service.h"

#include <stdexcept>

namespace talvane::testing {

FakeSecretService::Handler replying(const std::string& tuple) {
  return [tuple](GDBusMessage* call) {
    GDBusMessage* reply = g_dbus_message_new_method_reply(call);
    g_dbus_message_set_body(reply,
                            g_variant_parse(nullptr, tuple.c_str(), nullptr, nullptr, nullptr));
    return reply;
  };
}

FakeSecretService::Handler failing(const std::string& name, const std::string& words) {
  return [name, words](GDBusMessage* call) {
    return g_dbus_message_new_method_error_literal(call, name.c_str(), words.c_str());
  };
}

FakeSecretService::FakeSecretService(Taking taking) : connection_(connectToBus()) {
  const Handler open_session = [](GDBusMessage* call) {
    const Variant algorithm(g_variant_get_child_value(g_dbus_message_get_body(call), 0));
    const bool plain = std::string(g_variant_get_string(algorithm.get(), nullptr)) == "plain";
    return plain ? replying(std::string("(<''>, objectpath '") + session + "')")(call)
                 : failing("org.freedesktop.DBus.Error.NotSupported", "only plain")(call);
  };
  on("OpenSession", open_session);
  on("SearchItems", replying("(@ao [], @ao [])"));
  on("ReadAlias", replying(std::string("(objectpath '") + collection + "',)"));
  on("Locked", replying("(<false>,)"));
  on("Label", replying("(<'Fake'>,)"));
  on("CreateItem", replying(std::string("(objectpath '") + item + "', objectpath '/')"));
  on("Delete", replying("(objectpath '/',)"));
  on("Unlock", replying(std::string("(@ao [], objectpath '") + prompt + "')"));
  on("Dismiss", replying("()"));
  g_dbus_connection_add_filter(connection_.get(), answer, this, nullptr);
  const guint allow_replacement = 1;
  const guint replace = 2;
  const guint do_not_queue = 4;
  const Variant reply(g_dbus_connection_call_sync(
      connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName",
      g_variant_new("(su)", "org.freedesktop.secrets",
                    allow_replacement | do_not_queue | (taking == Taking::over ? replace : 0U)),
      nullptr, G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, nullptr));
  if (reply == nullptr) throw std::runtime_error("the service's name is taken");
}

FakeSecretService::~FakeSecretService() {
  leave();
}

void FakeSecretService::leave() {
  g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void FakeSecretService::on(const std::string& method, Handler handler) {
  const std::scoped_lock lock(mutex_);
  handlers_[method] = std::move(handler);
}

int FakeSecretService::calls(const std::string& method) {
  const std::scoped_lock lock(mutex_);
  return calls_[method];
}

void FakeSecretService::completePrompt(bool dismissed) {
  g_dbus_connection_emit_signal(
      connection_.get(), nullptr, prompt, "org.freedesktop.Secret.Prompt", "Completed",
      g_variant_new("(bv)", static_cast<gboolean>(dismissed),
                    g_variant_new_array(G_VARIANT_TYPE_OBJECT_PATH, nullptr, 0)),
      nullptr);
}

GDBusMessage* FakeSecretService::answer(GDBusConnection* connection, GDBusMessage* message,
                                        gboolean incoming, gpointer self) {
  if (incoming == FALSE ||
      g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
    return message;
  }
  auto* fake = static_cast<FakeSecretService*>(self);
  std::string method = g_dbus_message_get_member(message);
  if (method == "Get") {
    const Variant name(g_variant_get_child_value(g_dbus_message_get_body(message), 1));
    method = g_variant_get_string(name.get(), nullptr);
  }
  Handler handler;
  {
    const std::scoped_lock lock(fake->mutex_);
    ++fake->calls_[method];
    const auto found = fake->handlers_.find(method);
    if (found == fake->handlers_.end()) return message;
    handler = found->second;
  }
  GDBusMessage* reply = handler(message);
  if (reply != nullptr) {
    g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                   nullptr);
    g_object_unref(reply);
  }
  g_object_unref(message);
  return nullptr;
}

}  // namespace talvane::testing
