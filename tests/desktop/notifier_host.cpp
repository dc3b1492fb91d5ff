#include "tests/desktop/notifier_host.h"

#include <gio/gio.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace talvane::test {
namespace {

constexpr const char* watcher_name = "org.kde.StatusNotifierWatcher";
constexpr const char* item_interface = "org.kde.StatusNotifierItem";
constexpr int patience_milliseconds = 5000;

constexpr const char* description = R"(<node><interface name="org.kde.StatusNotifierWatcher">
<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
<method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
<property name="RegisteredStatusNotifierItems" type="as" access="read"/>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
<property name="ProtocolVersion" type="i" access="read"/>
<signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
<signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
<signal name="StatusNotifierHostRegistered"/>
</interface></node>)";

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, Unref>;

}  // namespace

struct NotifierHost::Service {
  std::unique_ptr<GDBusConnection, Unref> bus;
  GMainContext* context = g_main_context_new();
  GMainLoop* loop = g_main_loop_new(context, FALSE);
  GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(description, nullptr);
  std::thread thread;
  mutable std::mutex mutex;
  std::string item;

  ~Service() {
    g_main_loop_quit(loop);
    if (thread.joinable()) thread.join();
    g_main_loop_unref(loop);
    g_main_context_unref(context);
    g_dbus_node_info_unref(node);
    if (bus != nullptr) g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
  }

  static void called(GDBusConnection* /*bus*/, const gchar* sender, const gchar* /*path*/,
                     const gchar* /*interface*/, const gchar* method, GVariant* /*parameters*/,
                     GDBusMethodInvocation* invocation, gpointer self) {
    if (std::string(method) == "RegisterStatusNotifierItem") {
      auto* service = static_cast<Service*>(self);
      const std::lock_guard lock(service->mutex);
      service->item = sender;
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
  }

  static GVariant* property(GDBusConnection* /*bus*/, const gchar* /*sender*/,
                            const gchar* /*path*/, const gchar* /*interface*/, const gchar* name,
                            GError** /*error*/, gpointer self) {
    const std::string wanted = name;
    if (wanted == "IsStatusNotifierHostRegistered") return g_variant_new_boolean(TRUE);
    if (wanted == "ProtocolVersion") return g_variant_new_int32(0);
    const auto* service = static_cast<const Service*>(self);
    const std::lock_guard lock(service->mutex);
    const char* items[] = {service->item.c_str()};
    return g_variant_new_strv(items, service->item.empty() ? 0 : 1);
  }

  // Whether the name has become ours.
  bool serve() {
    static const GDBusInterfaceVTable functions = {called, property, nullptr, {}};
    g_main_context_push_thread_default(context);
    g_dbus_connection_register_object(bus.get(), "/StatusNotifierWatcher", node->interfaces[0],
                                      &functions, this, nullptr, nullptr);
    g_main_context_pop_thread_default(context);
    const Variant taken(g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", watcher_name, 4U), nullptr, G_DBUS_CALL_FLAGS_NONE,
        patience_milliseconds, nullptr, nullptr));
    return taken != nullptr;
  }

  [[nodiscard]] Variant call(const char* interface, const char* method, GVariant* parameters,
                             const char* path = "/StatusNotifierItem") const {
    std::string name;
    {
      const std::lock_guard lock(mutex);
      name = item;
    }
    return Variant(g_dbus_connection_call_sync(bus.get(), name.c_str(), path, interface, method,
                                               parameters, nullptr, G_DBUS_CALL_FLAGS_NONE,
                                               patience_milliseconds, nullptr, nullptr));
  }

  [[nodiscard]] Variant get(const char* property) const {
    const Variant answer = call("org.freedesktop.DBus.Properties", "Get",
                                g_variant_new("(ss)", item_interface, property));
    if (answer == nullptr) return nullptr;
    GVariant* value = nullptr;
    g_variant_get(answer.get(), "(v)", &value);
    return Variant(value);
  }
};

NotifierHost::NotifierHost(const std::string& session_bus) : service_(std::make_unique<Service>()) {
  service_->bus.reset(g_dbus_connection_new_for_address_sync(
      session_bus.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr));
  if (service_->bus == nullptr || !service_->serve()) throw std::runtime_error("no notifier host");
  service_->thread = std::thread([this] { g_main_loop_run(service_->loop); });
}

NotifierHost::~NotifierHost() = default;

std::string NotifierHost::item() const {
  const std::lock_guard lock(service_->mutex);
  return service_->item;
}

std::string NotifierHost::text(const char* property) const {
  const Variant value = service_->get(property);
  return value == nullptr ? std::string() : g_variant_get_string(value.get(), nullptr);
}

std::string NotifierHost::toolTip() const {
  const Variant value = service_->get("ToolTip");
  if (value == nullptr) return {};
  // Icon name, pictures, title and text.
  const Variant title(g_variant_get_child_value(value.get(), 2));
  return g_variant_get_string(title.get(), nullptr);
}

std::vector<int> NotifierHost::imageWidths() const {
  const Variant value = service_->get("IconPixmap");
  std::vector<int> widths;
  if (value == nullptr) return widths;
  for (gsize index = 0; index < g_variant_n_children(value.get()); ++index) {
    // Width, height and pixels.
    const Variant image(g_variant_get_child_value(value.get(), index));
    gint32 width = 0;
    g_variant_get_child(image.get(), 0, "i", &width);
    widths.push_back(width);
  }
  std::sort(widths.begin(), widths.end());
  return widths;
}

std::vector<std::string> NotifierHost::menu() const {
  const Variant path(service_->get("Menu"));
  std::vector<std::string> texts;
  if (path == nullptr) return texts;
  const Variant answer =
      service_->call("com.canonical.dbusmenu", "GetLayout", g_variant_new("(iias)", 0, -1, nullptr),
                     g_variant_get_string(path.get(), nullptr));
  if (answer == nullptr) return texts;
  GVariantIter* entries = nullptr;
  g_variant_get(answer.get(), "(u(ia{sv}av))", nullptr, nullptr, nullptr, &entries);
  GVariant* entry = nullptr;
  while (g_variant_iter_loop(entries, "v", &entry) != FALSE) {
    const Variant properties(g_variant_get_child_value(entry, 1));
    const char* text = nullptr;
    if (g_variant_lookup(properties.get(), "label", "&s", &text) != FALSE) texts.emplace_back(text);
  }
  g_variant_iter_free(entries);
  return texts;
}

bool NotifierHost::activate() const {
  return service_->call(item_interface, "Activate", g_variant_new("(ii)", 0, 0)) != nullptr;
}

}  // namespace talvane::test
