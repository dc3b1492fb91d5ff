#include "tests/desktop/shortcuts_portal.h"

#include <algorithm>
#include <mutex>

#include "tests/desktop/bus_service.h"

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

std::string textIn(GVariant* dictionary, const char* key) {
  const char* text = "";
  g_variant_lookup(dictionary, key, "&s", &text);
  return text;
}

}  // namespace

struct ShortcutsPortal::Service {
  explicit Service(const std::string& session_bus)
      : bus(session_bus, description,
            {[this](const char* sender, const std::string& method, GVariant* parameters,
                    GDBusMethodInvocation* invocation) {
               called(sender, method, parameters, invocation);
             },
             [](const std::string& /*version*/) { return g_variant_new_uint32(1); }}) {
    bus.offer(portal_path);
    bus.serve(portal_name);
  }

  // The path of the object that answers, or of a session: after the caller and its word.
  static std::string pathFor(const char* kind, std::string sender, const std::string& word) {
    sender.erase(0, 1);
    std::replace(sender.begin(), sender.end(), '.', '_');
    return std::string(portal_path) + '/' + kind + '/' + sender + '/' + word;
  }

  void respond(const std::string& request, guint response, GVariant* results) const {
    bus.signal(client.c_str(), request.c_str(), "org.freedesktop.portal.Request", "Response",
               g_variant_new("(u@a{sv})", response, results));
  }

  std::string makeSession(const char* sender, GVariant* options) {
    client = sender;
    session = pathFor("session", sender, textIn(options, "session_handle_token"));
    ++sessions;
    bus.offer(session.c_str(), 1);
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

  void called(const char* sender, const std::string& method, GVariant* parameters,
              GDBusMethodInvocation* invocation) {
    const std::lock_guard lock(mutex);
    if (method == "Close") {
      --sessions;
      g_dbus_method_invocation_return_value(invocation, nullptr);
      return;
    }
    const Variant options(
        g_variant_get_child_value(parameters, g_variant_n_children(parameters) - 1));
    std::string request;
    if (method == "CreateSession") {
      request = makeSession(sender, options.get());
    } else {
      const Variant wishes(g_variant_get_child_value(parameters, 1));
      request = bind(sender, wishes.get(), options.get());
    }
    // A portal may answer before it returns.
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", request.c_str()));
  }

  mutable std::mutex mutex;
  bool refuses = false;
  std::string trigger;
  std::string session;
  std::string client;
  int sessions = 0;
  BusService bus;  // last, as its thread uses the others
};

ShortcutsPortal::ShortcutsPortal(const std::string& session_bus)
    : service_(std::make_unique<Service>(session_bus)) {}

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
  service_->bus.signal(service_->client.c_str(), portal_path, shortcuts, "Activated",
                       g_variant_new("(ost@a{sv})", service_->session.c_str(), "toggle", guint64{1},
                                     g_variant_builder_end(&options)));
}

}  // namespace talvane::test
