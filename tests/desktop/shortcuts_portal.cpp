#include "tests/desktop/shortcuts_portal.h"

#include <gio/gio.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace talvane::test {
namespace {

constexpr const char* portal_name = "org.freedesktop.portal.Desktop";
constexpr const char* portal_path = "/org/freedesktop/portal/desktop";
constexpr const char* shortcuts = "org.freedesktop.portal.GlobalShortcuts";

constexpr const char* description = R"xml(<node>
<interface name="org.freedesktop.portal.GlobalShortcuts">
<method name="CreateSession"><arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method>
<method name="BindShortcuts"><arg type="o" direction="in"/><arg type="a(sa{sv})" direction="in"/>
<arg type="s" direction="in"/><arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method>
<property name="version" type="u" access="read"/>
</interface>
<interface name="org.freedesktop.portal.Session"><method name="Close"/></interface>
</node>)xml";

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, Unref>;

std::string textIn(GVariant* dictionary, const char* key) {
  const char* text = "";
  g_variant_lookup(dictionary, key, "&s", &text);
  return text;
}

}  // namespace

struct ShortcutsPortal::Service {
  std::unique_ptr<GDBusConnection, Unref> bus;
  GMainContext* context = g_main_context_new();
  GMainLoop* loop = g_main_loop_new(context, FALSE);
  GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(description, nullptr);
  std::thread thread;
  mutable std::mutex mutex;
  bool refuses = false;
  std::string trigger;
  std::string session;
  std::string client;
  int sessions = 0;

  ~Service() {
    g_main_loop_quit(loop);
    if (thread.joinable()) thread.join();
    g_main_loop_unref(loop);
    g_main_context_unref(context);
    g_dbus_node_info_unref(node);
    if (bus != nullptr) g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
  }

  // The path of the object that answers, or of a session: after the caller and its word.
  static std::string pathFor(const char* kind, std::string sender, const std::string& word) {
    sender.erase(0, 1);
    std::replace(sender.begin(), sender.end(), '.', '_');
    return std::string(portal_path) + '/' + kind + '/' + sender + '/' + word;
  }

  void respond(const std::string& request, guint response, GVariant* results) const {
    g_dbus_connection_emit_signal(bus.get(), client.c_str(), request.c_str(),
                                  "org.freedesktop.portal.Request", "Response",
                                  g_variant_new("(u@a{sv})", response, results), nullptr);
  }

  std::string makeSession(const char* sender, GVariant* options) {
    client = sender;
    session = pathFor("session", sender, textIn(options, "session_handle_token"));
    ++sessions;
    static const GDBusInterfaceVTable functions = {called, nullptr, nullptr, {}};
    g_main_context_push_thread_default(context);
    g_dbus_connection_register_object(bus.get(), session.c_str(), node->interfaces[1], &functions,
                                      this, nullptr, nullptr);
    g_main_context_pop_thread_default(context);
    const std::string request = pathFor("request", sender, textIn(options, "handle_token"));
    GVariantBuilder results;
    g_variant_builder_init(&results, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&results, "{sv}", "session_handle",
                          g_variant_new_string(session.c_str()));
    respond(request, 0, g_variant_builder_end(&results));
    return request;
  }

  std::string bind(const char* sender, GVariant* wishes, GVariant* options) {
    const std::string request = pathFor("request", sender, textIn(options, "handle_token"));
    const char* id = "";
    GVariant* properties = nullptr;
    g_variant_get_child(wishes, 0, "(&s@a{sv})", &id, &properties);
    const Variant owned(properties);
    trigger = textIn(properties, "preferred_trigger");
    GVariantBuilder bound;
    g_variant_builder_init(&bound, G_VARIANT_TYPE("a(sa{sv})"));
    if (!refuses) {
      GVariantBuilder about;
      g_variant_builder_init(&about, G_VARIANT_TYPE_VARDICT);
      g_variant_builder_add(&about, "{sv}", "trigger_description",
                            g_variant_new_string("Press Ctrl+Alt+T"));
      g_variant_builder_add(&bound, "(s@a{sv})", id, g_variant_builder_end(&about));
    }
    GVariantBuilder results;
    g_variant_builder_init(&results, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&results, "{sv}", "shortcuts", g_variant_builder_end(&bound));
    respond(request, refuses ? 1 : 0, g_variant_builder_end(&results));
    return request;
  }

  static void called(GDBusConnection* /*bus*/, const gchar* sender, const gchar* /*path*/,
                     const gchar* /*interface*/, const gchar* method, GVariant* parameters,
                     GDBusMethodInvocation* invocation, gpointer self) {
    auto* service = static_cast<Service*>(self);
    const std::lock_guard lock(service->mutex);
    const std::string name = method;
    const gsize last = g_variant_n_children(parameters);
    const Variant options(last == 0 ? nullptr : g_variant_get_child_value(parameters, last - 1));
    if (name == "Close") {
      --service->sessions;
      g_dbus_method_invocation_return_value(invocation, nullptr);
      return;
    }
    std::string request;
    if (name == "CreateSession") {
      request = service->makeSession(sender, options.get());
    } else {
      const Variant wishes(g_variant_get_child_value(parameters, 1));
      request = service->bind(sender, wishes.get(), options.get());
    }
    // A portal may answer before it returns.
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", request.c_str()));
  }

  static GVariant* property(GDBusConnection* /*bus*/, const gchar* /*sender*/,
                            const gchar* /*path*/, const gchar* /*interface*/,
                            const gchar* /*name*/, GError** /*error*/, gpointer /*self*/) {
    return g_variant_new_uint32(1);
  }

  bool serve() {
    static const GDBusInterfaceVTable functions = {called, property, nullptr, {}};
    g_main_context_push_thread_default(context);
    g_dbus_connection_register_object(bus.get(), portal_path, node->interfaces[0], &functions, this,
                                      nullptr, nullptr);
    g_main_context_pop_thread_default(context);
    const Variant taken(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", portal_name, 4U), nullptr, G_DBUS_CALL_FLAGS_NONE,
        5000, nullptr, nullptr));
    return taken != nullptr;
  }
};

ShortcutsPortal::ShortcutsPortal(const std::string& session_bus)
    : service_(std::make_unique<Service>()) {
  service_->bus.reset(g_dbus_connection_new_for_address_sync(
      session_bus.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr));
  if (service_->bus == nullptr || !service_->serve()) throw std::runtime_error("no portal");
  service_->thread = std::thread([this] { g_main_loop_run(service_->loop); });
}

ShortcutsPortal::~ShortcutsPortal() = default;

void ShortcutsPortal::refuse() {
  const std::lock_guard lock(service_->mutex);
  service_->refuses = true;
}

std::string ShortcutsPortal::trigger() const {
  const std::lock_guard lock(service_->mutex);
  return service_->trigger;
}

int ShortcutsPortal::openSessions() const {
  const std::lock_guard lock(service_->mutex);
  return service_->sessions;
}

void ShortcutsPortal::press() const {
  const std::lock_guard lock(service_->mutex);
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  g_dbus_connection_emit_signal(service_->bus.get(), service_->client.c_str(), portal_path,
                                shortcuts, "Activated",
                                g_variant_new("(ost@a{sv})", service_->session.c_str(), "toggle",
                                              guint64{1}, g_variant_builder_end(&options)),
                                nullptr);
}

}  // namespace talvane::test
