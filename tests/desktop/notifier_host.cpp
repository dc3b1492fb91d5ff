#include "tests/desktop/notifier_host.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "tests/desktop/bus_service.h"

namespace talvane::test {
namespace {

constexpr const char* watcher_name = "org.kde.StatusNotifierWatcher";
constexpr const char* item_interface = "org.kde.StatusNotifierItem";

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

}  // namespace

struct NotifierHost::Service {
  explicit Service(const std::string& session_bus)
      : bus(session_bus, description,
            {[this](const char* sender, const std::string& method, GVariant* /*parameters*/,
                    GDBusMethodInvocation* invocation) {
               if (method == "RegisterStatusNotifierItem") {
                 const std::lock_guard lock(mutex);
                 item = sender;
               }
               g_dbus_method_invocation_return_value(invocation, nullptr);
             },
             [this](const std::string& name) { return property(name); }}) {
    bus.offer("/StatusNotifierWatcher");
    bus.serve(watcher_name);
  }

  GVariant* property(const std::string& name) const {
    if (name == "IsStatusNotifierHostRegistered") return g_variant_new_boolean(TRUE);
    if (name == "ProtocolVersion") return g_variant_new_int32(0);
    const std::lock_guard lock(mutex);
    const char* items[] = {item.c_str()};
    return g_variant_new_strv(items, item.empty() ? 0 : 1);
  }

  [[nodiscard]] Variant call(const char* interface, const char* method, GVariant* parameters,
                             const char* path = "/StatusNotifierItem") const {
    std::string name;
    {
      const std::lock_guard lock(mutex);
      name = item;
    }
    return bus.call(name.c_str(), path, interface, method, parameters);
  }

  [[nodiscard]] Variant get(const char* property) const {
    const Variant answer = call("org.freedesktop.DBus.Properties", "Get",
                                g_variant_new("(ss)", item_interface, property));
    if (answer == nullptr) return nullptr;
    GVariant* value = nullptr;
    g_variant_get(answer.get(), "(v)", &value);
    return Variant(value);
  }

  mutable std::mutex mutex;
  std::string item;
  BusService bus;  // last, as its thread uses the others
};

NotifierHost::NotifierHost(const std::string& session_bus)
    : service_(std::make_unique<Service>(session_bus)) {}

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
