#include "tests/desktop/bus_service.h"

#include <stdexcept>
#include <utility>

namespace talvane::test {
namespace {

constexpr int patience_milliseconds = 5000;

void called(GDBusConnection* /*bus*/, const gchar* sender, const gchar* /*path*/,
            const gchar* /*interface*/, const gchar* method, GVariant* parameters,
            GDBusMethodInvocation* invocation, gpointer functions) {
  static_cast<const BusService::Functions*>(functions)->called(sender, method, parameters,
                                                               invocation);
}

GVariant* property(GDBusConnection* /*bus*/, const gchar* /*sender*/, const gchar* /*path*/,
                   const gchar* /*interface*/, const gchar* name, GError** /*error*/,
                   gpointer functions) {
  return static_cast<const BusService::Functions*>(functions)->property(name);
}

gboolean quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_REMOVE;
}

}  // namespace

BusService::BusService(const std::string& session_bus, const char* description, Functions functions)
    : functions_(std::move(functions)),
      bus_(testing::connectToBus(session_bus)),
      context_(g_main_context_new()),
      loop_(g_main_loop_new(context_, FALSE)),
      node_(g_dbus_node_info_new_for_xml(description, nullptr)) {}

BusService::~BusService() {
  if (thread_.joinable()) {
    // Within the loop, which may not have begun yet.
    GSource* end = g_idle_source_new();
    g_source_set_callback(end, quit, loop_, nullptr);
    g_source_attach(end, context_);
    g_source_unref(end);
    thread_.join();
  }
  g_main_loop_unref(loop_);
  g_main_context_unref(context_);
  g_dbus_node_info_unref(node_);
  g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
}

void BusService::offer(const char* path, std::size_t interface) {
  static const GDBusInterfaceVTable with_properties = {called, property, nullptr, {}};
  static const GDBusInterfaceVTable without = {called, nullptr, nullptr, {}};
  g_main_context_push_thread_default(context_);
  g_dbus_connection_register_object(bus_.get(), path, node_->interfaces[interface],
                                    functions_.property ? &with_properties : &without, &functions_,
                                    nullptr, nullptr);
  g_main_context_pop_thread_default(context_);
}

void BusService::serve(const char* name) {
  const Variant taken =
      call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
           g_variant_new("(su)", name, 4U));
  if (taken == nullptr) throw std::runtime_error(std::string("cannot serve ") + name);
  thread_ = std::thread([this] { g_main_loop_run(loop_); });
}

Variant BusService::call(const char* name, const char* path, const char* interface,
                         const char* method, GVariant* parameters) const {
  return Variant(g_dbus_connection_call_sync(bus_.get(), name, path, interface, method, parameters,
                                             nullptr, G_DBUS_CALL_FLAGS_NONE, patience_milliseconds,
                                             nullptr, nullptr));
}

void BusService::signal(const char* receiver, const char* path, const char* interface,
                        const char* name, GVariant* parameters) const {
  g_dbus_connection_emit_signal(bus_.get(), receiver, path, interface, name, parameters, nullptr);
}

}  // namespace talvane::test
