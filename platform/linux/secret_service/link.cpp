#include "platform/linux/secret_service/link.h"

#include <cstdlib>
#include <memory>
#include <string>

#include "platform/keychain_service.h"
#include "platform/linux/secret_service/handles.h"
#include "platform/linux/secret_service/round.h"
#include "platform/linux/secret_service/status.h"

namespace talvane::secret_service {
namespace {

constexpr const char* service_name = "org.freedesktop.secrets";
constexpr const char* service_path = "/org/freedesktop/secrets";
constexpr const char* service_interface = "org.freedesktop.Secret.Service";
constexpr const char* bus_name = "org.freedesktop.DBus";

// SecretService's own constructor binds every object to the process's shared bus connection, which
// cannot be replaced when its bus dies, and to the service's well-known name. This class leaves
// both to its creator.
void initSessionClass(gpointer session_class, gpointer) {
  const auto* proxy_class = static_cast<GObjectClass*>(g_type_class_peek(G_TYPE_DBUS_PROXY));
  static_cast<GObjectClass*>(session_class)->constructor = proxy_class->constructor;
}

GType sessionType() {
  static const GType type = g_type_register_static_simple(
      SECRET_TYPE_SERVICE, "TalvaneSecretSession", sizeof(SecretServiceClass), initSessionClass,
      sizeof(SecretService), nullptr, GTypeFlags{});
  return type;
}

// Do not use GLib's search for the address: it may start a new bus.
std::string busAddress() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') return address;
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder == nullptr || *folder == '\0') return {};
  const std::string path = std::string(folder) + "/bus";
  if (g_file_test(path.c_str(), G_FILE_TEST_EXISTS) == FALSE) return {};
  gchar* escaped = g_dbus_address_escape_value(path.c_str());
  std::string result = std::string("unix:path=") + escaped;
  g_free(escaped);
  return result;
}

Request busRequest(const char* method, GVariant* parameters, const char* reply_type) {
  return {"/org/freedesktop/DBus", bus_name, method, parameters, reply_type};
}

// Waits for the answer to a method call.
Outcome take(Round& round, const Answer& answer, Outcome (*translate)(const GError&),
             VariantHandle* reply) {
  if (!round.wait(answer)) return outcomeOf(KeychainStatus::not_responding);
  GError* error = nullptr;
  reply->reset(g_dbus_connection_call_finish(G_DBUS_CONNECTION(answer.source.get()),
                                             answer.result.get(), &error));
  if (error == nullptr) return {};
  return translate(*ErrorHandle(error));
}

}  // namespace

Outcome Link::connect(Round& round) {
  const std::string address = busAddress();
  if (address.empty()) return outcomeOf(KeychainStatus::not_available);
  const auto answer = round.expect();
  g_dbus_connection_new_for_address(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, round.cancellable(), Round::arrived, Round::ticketFor(answer));
  if (!round.wait(*answer)) return outcomeOf(KeychainStatus::not_responding);
  GError* error = nullptr;
  connection_.reset(g_dbus_connection_new_for_address_finish(answer->result.get(), &error));
  if (error == nullptr) return {};
  return outcomeOfConnecting(*ErrorHandle(error));
}

Outcome Link::findOwner(Round& round) {
  VariantHandle reply;
  const auto answer = sendTo(round, bus_name,
                             busRequest("GetNameOwner", g_variant_new("(s)", service_name), "(s)"));
  Outcome outcome = receive(round, *answer, &reply);
  if (!outcome.good()) return outcome;
  const char* owner = nullptr;
  g_variant_get(reply.get(), "(&s)", &owner);
  if (owner_ != owner) session_.reset();
  owner_ = owner;
  return outcome;
}

Outcome Link::reach(Round& round) {
  if (connection_ == nullptr) {
    Outcome outcome = connect(round);
    if (!outcome.good()) return outcome;
  }
  Outcome outcome = findOwner(round);
  const bool has_no_owner =
      outcome.status == KeychainStatus::not_available && outcome.retry == Outcome::Retry::yes;
  if (!has_no_owner) return outcome;

  VariantHandle reply;
  const auto answer =
      sendTo(round, bus_name,
             busRequest("StartServiceByName", g_variant_new("(su)", service_name, 0U), "(u)"));
  outcome = take(round, *answer, outcomeOfConnecting, &reply);
  if (outcome.good()) return findOwner(round);
  outcome.retry = Outcome::Retry::no;
  return outcome;
}

std::shared_ptr<Answer> Link::sendTo(Round& round, const char* name, const Request& request) {
  auto answer = round.expect();
  g_dbus_connection_call(connection_.get(), name, request.path, request.interface, request.method,
                         request.parameters, G_VARIANT_TYPE(request.reply_type),
                         G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, round.cancellable(), Round::arrived,
                         Round::ticketFor(answer));
  return answer;
}

std::shared_ptr<Answer> Link::send(Round& round, const Request& request) {
  return sendTo(round, owner_.c_str(), request);
}

Outcome Link::receive(Round& round, const Answer& answer, VariantHandle* reply) {
  return take(round, answer, outcomeOf, reply);
}

Outcome Link::call(Round& round, const Request& request, VariantHandle* reply) {
  const auto answer = send(round, request);
  return receive(round, *answer, reply);
}

std::shared_ptr<Answer> Link::startSession(Round& round) {
  if (session_ != nullptr) return nullptr;
  auto answer = round.expect();
  g_async_initable_new_async(
      sessionType(), G_PRIORITY_DEFAULT, round.cancellable(), Round::arrived,
      Round::ticketFor(answer), "g-connection", connection_.get(), "g-name", owner_.c_str(),
      "g-object-path", service_path, "g-interface-name", service_interface, "g-flags",
      G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES | G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS |
          G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START,
      "flags", SECRET_SERVICE_OPEN_SESSION, nullptr);
  return answer;
}

Outcome Link::finishSession(Round& round, const std::shared_ptr<Answer>& answer) {
  if (answer == nullptr) return {};
  if (!round.wait(*answer)) return outcomeOf(KeychainStatus::not_responding);
  GError* error = nullptr;
  GObject* session = g_async_initable_new_finish(G_ASYNC_INITABLE(answer->source.get()),
                                                 answer->result.get(), &error);
  if (error != nullptr) return outcomeOf(*ErrorHandle(error));
  session_.reset(SECRET_SERVICE(session));
  return {};
}

void Link::drop() {
  session_.reset();
  owner_.clear();
  connection_.reset();
}

}  // namespace talvane::secret_service
