#include "tests/desktop/notification_host.h"

#include <mutex>
#include <thread>

#include "tests/desktop/bus_service.h"

namespace talvane::test {
namespace {

constexpr const char* name = "org.freedesktop.Notifications";

constexpr const char* description = R"(<node><interface name="org.freedesktop.Notifications">
<method name="Notify"><arg type="s" direction="in"/><arg type="u" direction="in"/>
<arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
<arg type="as" direction="in"/><arg type="a{sv}" direction="in"/><arg type="i" direction="in"/>
<arg type="u" direction="out"/></method>
</interface></node>)";

}  // namespace

struct NotificationHost::Service {
  Service(const std::string& session_bus, std::chrono::milliseconds delay)
      : bus(session_bus, description,
            {[this, delay](const char* /*sender*/, const std::string& /*method*/,
                           GVariant* parameters, GDBusMethodInvocation* invocation) {
              note(parameters);
              std::this_thread::sleep_for(delay);
              g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", 1U));
            }}) {
    bus.offer("/org/freedesktop/Notifications");
    bus.serve(name);
  }

  void note(GVariant* parameters) {
    const char* texts[4] = {};
    g_variant_get(parameters, "(&su&s&s&sasa{sv}i)", &texts[0], nullptr, &texts[1], &texts[2],
                  &texts[3], nullptr, nullptr, nullptr);
    const std::lock_guard lock(mutex);
    seen.push_back({texts[0], texts[1], texts[2], texts[3]});
  }

  mutable std::mutex mutex;
  std::vector<Notification> seen;
  BusService bus;  // last, as its thread uses the others
};

NotificationHost::NotificationHost(const std::string& session_bus, std::chrono::milliseconds delay)
    : service_(std::make_unique<Service>(session_bus, delay)) {}

NotificationHost::~NotificationHost() = default;

std::vector<NotificationHost::Notification> NotificationHost::seen() const {
  const std::lock_guard lock(service_->mutex);
  return service_->seen;
}

}  // namespace talvane::test
