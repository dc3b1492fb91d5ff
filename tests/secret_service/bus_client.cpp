#include "tests/secret_service/bus_client.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace talvane::testing {
namespace {

constexpr const char* service_name = "org.freedesktop.secrets";
constexpr const char* service_path = "/org/freedesktop/secrets";
constexpr const char* bus = "org.freedesktop.DBus";

GVariant* plainSecret(const std::string& session, const std::string& text) {
  return g_variant_new(
      "(o@ay@ays)", session.c_str(), g_variant_new_array(G_VARIANT_TYPE_BYTE, nullptr, 0),
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1), "text/plain");
}

GVariant* ourAttributes(const std::string& service, const std::string& account) {
  return g_variant_new_parsed(
      "{'xdg:schema': 'org.talvane.SoftToken', 'service': %s, 'account': %s}", service.c_str(),
      account.c_str());
}

std::string textOf(const Variant& tuple) {
  const Variant child(g_variant_get_child_value(tuple.get(), 0));
  return g_variant_get_string(child.get(), nullptr);
}

}  // namespace

Connection connectToBus(const std::string& address) {
  GError* error = nullptr;
  Connection connection(g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error));
  if (error != nullptr) {
    const std::string words = error->message;
    g_error_free(error);
    throw std::runtime_error(words);
  }
  return connection;
}

Connection connectToBus() {
  return connectToBus(std::getenv("DBUS_SESSION_BUS_ADDRESS"));
}

BusClient::BusClient() : connection_(connectToBus()) {}

Variant BusClient::call(const std::string& destination, const std::string& path,
                        const std::string& interface, const std::string& method,
                        GVariant* parameters) {
  GError* error = nullptr;
  Variant reply(g_dbus_connection_call_sync(
      connection_.get(), destination.c_str(), path.c_str(), interface.c_str(), method.c_str(),
      parameters, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, 10000, nullptr, &error));
  if (error != nullptr) {
    const std::string words = method + ": " + error->message;
    g_error_free(error);
    throw std::runtime_error(words);
  }
  return reply;
}

Variant BusClient::callService(const std::string& method, GVariant* parameters) {
  return call(service_name, service_path, "org.freedesktop.Secret.Service", method, parameters);
}

bool BusClient::serviceRuns() {
  const Variant reply =
      call(bus, "/org/freedesktop/DBus", bus, "NameHasOwner", g_variant_new("(s)", service_name));
  gboolean runs = FALSE;
  g_variant_get(reply.get(), "(b)", &runs);
  return runs != FALSE;
}

std::string BusClient::defaultCollection() {
  return textOf(callService("ReadAlias", g_variant_new("(s)", "default")));
}

void BusClient::setDefault(const std::string& collection) {
  callService("SetAlias", g_variant_new("(so)", "default", collection.c_str()));
}

Variant BusClient::property(const std::string& path, const std::string& interface,
                            const std::string& name) {
  const Variant reply = call(service_name, path, "org.freedesktop.DBus.Properties", "Get",
                             g_variant_new("(ss)", interface.c_str(), name.c_str()));
  GVariant* value = nullptr;
  g_variant_get(reply.get(), "(v)", &value);
  return Variant(value);
}

bool BusClient::isLocked(const std::string& collection) {
  const Variant locked = property(collection, "org.freedesktop.Secret.Collection", "Locked");
  return g_variant_get_boolean(locked.get()) != FALSE;
}

void BusClient::lock(const std::string& collection) {
  callService("Lock", g_variant_new_parsed("([%o],)", collection.c_str()));
}

void BusClient::unlock(const std::string& collection, const std::string& password) {
  call(service_name, service_path, "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface",
       "UnlockWithMasterPassword",
       g_variant_new("(o@(oayays))", collection.c_str(), plainSecret(session(), password)));
}

std::string BusClient::makeCollection(const std::string& label, const std::string& password) {
  return textOf(call(
      service_name, service_path, "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface",
      "CreateWithMasterPassword",
      g_variant_new(
          "(@a{sv}@(oayays))",
          g_variant_new_parsed("{'org.freedesktop.Secret.Collection.Label': <%s>}", label.c_str()),
          plainSecret(session(), password))));
}

const std::string& BusClient::session() {
  if (session_.empty()) {
    const Variant reply = callService("OpenSession", g_variant_new_parsed("('plain', <''>)"));
    const Variant path(g_variant_get_child_value(reply.get(), 1));
    session_ = g_variant_get_string(path.get(), nullptr);
  }
  return session_;
}

std::string BusClient::addItem(const std::string& collection, const std::string& service,
                               const std::string& account, const std::string& text) {
  const std::string& session_path = session();
  return textOf(call(
      service_name, collection, "org.freedesktop.Secret.Collection", "CreateItem",
      g_variant_new("(@a{sv}@(oayays)b)",
                    g_variant_new_parsed("{'org.freedesktop.Secret.Item.Label': <'another'>,"
                                         " 'org.freedesktop.Secret.Item.Attributes': <%@a{ss}>}",
                                         ourAttributes(service, account)),
                    plainSecret(session_path, text), FALSE)));
}

std::vector<std::string> BusClient::findItems(const std::string& service,
                                              const std::string& account) {
  const Variant reply =
      callService("SearchItems", g_variant_new("(@a{ss})", ourAttributes(service, account)));
  std::vector<std::string> paths;
  for (const gsize list : {0U, 1U}) {
    const Variant found(g_variant_get_child_value(reply.get(), list));
    for (gsize i = 0; i < g_variant_n_children(found.get()); ++i) {
      const Variant path(g_variant_get_child_value(found.get(), i));
      paths.emplace_back(g_variant_get_string(path.get(), nullptr));
    }
  }
  return paths;
}

std::string BusClient::itemText(const std::string& path) {
  const Variant reply = call(service_name, path, "org.freedesktop.Secret.Item", "GetSecret",
                             g_variant_new("(o)", session().c_str()));
  const Variant secret(g_variant_get_child_value(reply.get(), 0));
  const Variant value(g_variant_get_child_value(secret.get(), 2));
  gsize size = 0;
  const void* text = g_variant_get_fixed_array(value.get(), &size, 1);
  return size == 0 ? std::string() : std::string(static_cast<const char*>(text), size);
}

BusMonitor::BusMonitor() : connection_(connectToBus()), marker_(connectToBus()) {
  g_dbus_connection_add_filter(connection_.get(), look, this, nullptr);
  const Variant reply(g_dbus_connection_call_sync(
      connection_.get(), bus, "/org/freedesktop/DBus", "org.freedesktop.DBus.Monitoring",
      "BecomeMonitor", g_variant_new_parsed("(@as [], @u 0)"), nullptr, G_DBUS_CALL_FLAGS_NONE,
      10000, nullptr, nullptr));
  if (reply == nullptr) throw std::runtime_error("the bus cannot be watched");
}

BusMonitor::~BusMonitor() {
  // Waits for the connection's thread, which may be in look().
  g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

GDBusMessage* BusMonitor::look(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                               gpointer self) {
  if (incoming == FALSE) return message;
  auto* monitor = static_cast<BusMonitor*>(self);
  gsize size = 0;
  guchar* blob = g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
  const std::scoped_lock lock(monitor->mutex_);
  if (blob != nullptr) monitor->contents_.append(reinterpret_cast<const char*>(blob), size);
  g_free(blob);
  if (g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
    ++monitor->calls_[g_dbus_message_get_member(message)];
  }
  // A monitor has no answers to give; the replies to its own calls go their way.
  const char* destination = g_dbus_message_get_destination(message);
  const char* own_name = g_dbus_connection_get_unique_name(monitor->connection_.get());
  if (destination != nullptr && own_name != nullptr && std::string(destination) == own_name) {
    return message;
  }
  g_object_unref(message);
  return nullptr;
}

void BusMonitor::catchUp() {
  // The bus shows messages in their order: with the marker, everything before it has been seen.
  const std::string marker = "Marker" + std::to_string(++markers_);
  const Variant reply(g_dbus_connection_call_sync(
      marker_.get(), bus, "/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", marker.c_str(),
      nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, nullptr));
  for (int i = 0; i < 5000; ++i) {
    {
      const std::scoped_lock lock(mutex_);
      if (calls_.contains(marker)) return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  throw std::runtime_error("the monitor sees nothing");
}

int BusMonitor::calls(const std::string& method) {
  catchUp();
  const std::scoped_lock lock(mutex_);
  const auto found = calls_.find(method);
  return found == calls_.end() ? 0 : found->second;
}

bool BusMonitor::saw(const std::string& text) {
  catchUp();
  const std::scoped_lock lock(mutex_);
  return contents_.find(text) != std::string::npos;
}

}  // namespace talvane::testing
