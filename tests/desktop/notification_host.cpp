#include "tests/desktop/notification_host.h"

#include <gio/gio.h>

#include <mutex>
#include <stdexcept>
#include <thread>

namespace talvane::test {
namespace {

constexpr const char* name = "org.freedesktop.Notifications";
constexpr int patience_milliseconds = 5000;

constexpr const char* description = R"(<node><interface name="org.freedesktop.Notifications">
<method name="Notify"><arg type="s" direction="in"/><arg type="u" direction="in"/>
<arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
<arg type="as" direction="in"/><arg type="a{sv}" direction="in"/><arg type="i" direction="in"/>
<arg type="u" direction="out"/></method>
</interface></node>)";

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};

}  // namespace

struct NotificationHost::Service {
  std::unique_ptr<GDBusConnection, Unref> bus;
  std::chrono::milliseconds delay{};
  GMainContext* context = g_main_context_new();
  GMainLoop* loop = g_main_loop_new(context, FALSE);
  GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(description, nullptr);
  std::thread thread;
  mutable std::mutex mutex;
  std::vector<Notification> seen;

  ~Service() {
    g_main_loop_quit(loop);
    if (thread.joinable()) thread.join();
    g_main_loop_unref(loop);
    g_main_context_unref(context);
    g_dbus_node_info_unref(node);
    if (bus != nullptr) g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
  }

  static void called(GDBusConnection* /*bus*/, const gchar* /*sender*/, const gchar* /*path*/,
                     const gchar* /*interface*/, const gchar* /*method*/, GVariant* parameters,
                     GDBusMethodInvocation* invocation, gpointer self) {
    auto* service = static_cast<Service*>(self);
    const char* texts[4] = {};
    g_variant_get(parameters, "(&su&s&s&sasa{sv}i)", &texts[0], nullptr, &texts[1], &texts[2],
                  &texts[3], nullptr, nullptr, nullptr);
    {
      const std::lock_guard lock(service->mutex);
      service->seen.push_back({texts[0], texts[1], texts[2], texts[3]});
    }
    std::this_thread::sleep_for(service->delay);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", 1U));
  }

  // Whether the name has become ours.
  bool serve() {
    static const GDBusInterfaceVTable functions = {called, nullptr, nullptr, {}};
    g_main_context_push_thread_default(context);
    g_dbus_connection_register_object(bus.get(), "/org/freedesktop/Notifications",
                                      node->interfaces[0], &functions, this, nullptr, nullptr);
    g_main_context_pop_thread_default(context);
    const std::unique_ptr<GVariant, Unref> taken(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name, 4U), nullptr, G_DBUS_CALL_FLAGS_NONE,
        patience_milliseconds, nullptr, nullptr));
    return taken != nullptr;
  }
};

NotificationHost::NotificationHost(const std::string& session_bus, std::chrono::milliseconds delay)
    : service_(std::make_unique<Service>()) {
  service_->delay = delay;
  service_->bus.reset(g_dbus_connection_new_for_address_sync(
      session_bus.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr));
  if (service_->bus == nullptr || !service_->serve()) {
    throw std::runtime_error("no notification host");
  }
  service_->thread = std::thread([this] { g_main_loop_run(service_->loop); });
}

NotificationHost::~NotificationHost() = default;

std::vector<NotificationHost::Notification> NotificationHost::seen() const {
  const std::lock_guard lock(service_->mutex);
  return service_->seen;
}

}  // namespace talvane::test
