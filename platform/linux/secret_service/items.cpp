#include "platform/linux/secret_service/items.h"

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/cleared.h"
#include "platform/keychain_service.h"
#include "platform/linux/secret_service/handles.h"
#include "platform/linux/secret_service/round.h"
#include "platform/linux/secret_service/status.h"
#include "platform/linux/secret_service/text.h"

namespace talvane::secret_service {
namespace {

constexpr const char* service_path = "/org/freedesktop/secrets";
constexpr const char* service_interface = "org.freedesktop.Secret.Service";
constexpr const char* collection_interface = "org.freedesktop.Secret.Collection";
constexpr const char* item_interface = "org.freedesktop.Secret.Item";
constexpr const char* prompt_interface = "org.freedesktop.Secret.Prompt";

// The attributes that identify our items. Their names are stored on disk: do not change them.
constexpr const char* schema_attribute = "xdg:schema";
constexpr const char* schema_name = "org.talvane.SoftToken";
constexpr const char* service_attribute = "service";
constexpr const char* account_attribute = "account";

GVariant* attributes(const std::string* service, const std::string& account) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
  g_variant_builder_add(&builder, "{ss}", schema_attribute, schema_name);
  g_variant_builder_add(&builder, "{ss}", account_attribute, account.c_str());
  if (service != nullptr) {
    g_variant_builder_add(&builder, "{ss}", service_attribute, service->c_str());
  }
  return g_variant_builder_end(&builder);
}

GVariant* objectPaths(const Paths& paths) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("ao"));
  for (const std::string& path : paths) g_variant_builder_add(&builder, "o", path.c_str());
  return g_variant_builder_end(&builder);
}

Paths takePaths(GVariantIter* iterator) {
  Paths paths;
  const char* path = nullptr;
  while (g_variant_iter_next(iterator, "&o", &path) != FALSE) paths.emplace_back(path);
  g_variant_iter_free(iterator);
  return paths;
}

std::string textAt(GVariant* dictionary, const char* key) {
  const char* text = nullptr;
  return g_variant_lookup(dictionary, key, "&s", &text) != FALSE ? text : std::string();
}

// Do not repeat a request that changes something, unless it certainly had no effect.
Outcome changing(Outcome outcome) {
  if (outcome.retry == Outcome::Retry::unless_changing) outcome.retry = Outcome::Retry::no;
  return outcome;
}

bool isNoObject(std::string_view path) {
  return path == "/";
}

}  // namespace

std::string collectionOf(const std::string& item) {
  const std::size_t last_slash = item.rfind('/');
  return last_slash == 0 ? "/" : item.substr(0, last_slash);
}

std::shared_ptr<Answer> Items::sendSearch(Round& round, const std::string* service,
                                          const std::string& account) {
  return link_.send(round, {service_path, service_interface, "SearchItems",
                            g_variant_new("(@a{ss})", attributes(service, account)), "(aoao)"});
}

Outcome Items::receiveSearch(Round& round, const Answer& answer, Matches* matches) {
  VariantHandle reply;
  Outcome outcome = Link::receive(round, answer, &reply);
  if (!outcome.good()) return outcome;
  GVariantIter* unlocked = nullptr;
  GVariantIter* locked = nullptr;
  g_variant_get(reply.get(), "(aoao)", &unlocked, &locked);
  matches->unlocked = takePaths(unlocked);
  matches->locked = takePaths(locked);
  return outcome;
}

std::shared_ptr<Answer> Items::sendProperty(Round& round, const std::string& path,
                                            const char* interface, const char* name) {
  return link_.send(round, {path.c_str(), "org.freedesktop.DBus.Properties", "Get",
                            g_variant_new("(ss)", interface, name), "(v)"});
}

Outcome Items::receiveProperty(Round& round, const Answer& answer, const char* type,
                               VariantHandle* value) {
  VariantHandle reply;
  Outcome outcome = Link::receive(round, answer, &reply);
  if (!outcome.good()) return outcome;
  GVariant* inner = nullptr;
  g_variant_get(reply.get(), "(v)", &inner);
  value->reset(inner);
  if (g_variant_is_of_type(inner, G_VARIANT_TYPE(type)) == FALSE) {
    return failure("the service answered with a value of another type");
  }
  return outcome;
}

Outcome Items::defaultCollection(Round& round, Collection* collection) {
  VariantHandle reply;
  Outcome outcome = link_.call(
      round, {service_path, service_interface, "ReadAlias", g_variant_new("(s)", "default"), "(o)"},
      &reply);
  if (!outcome.good()) return outcome;
  const char* path = nullptr;
  g_variant_get(reply.get(), "(&o)", &path);
  *collection = {};
  if (isNoObject(path)) return outcome;

  const auto locked_answer = sendProperty(round, path, collection_interface, "Locked");
  const auto label_answer = sendProperty(round, path, collection_interface, "Label");
  VariantHandle locked;
  VariantHandle label;
  outcome = receiveProperty(round, *locked_answer, "b", &locked);
  if (!outcome.good()) return outcome;
  outcome = receiveProperty(round, *label_answer, "s", &label);
  if (!outcome.good()) return outcome;
  *collection = {path, g_variant_get_string(label.get(), nullptr),
                 g_variant_get_boolean(locked.get()) != FALSE};
  return outcome;
}

Outcome Items::unlockFreely(Round& round, const Paths& collections, bool* any) {
  *any = false;
  VariantHandle reply;
  Outcome outcome = link_.call(round,
                               {service_path, service_interface, "Unlock",
                                g_variant_new("(@ao)", objectPaths(collections)), "(aoo)"},
                               &reply);
  if (!outcome.good()) {
    const bool refused =
        outcome.retry == Outcome::Retry::no && outcome.status != KeychainStatus::not_responding;
    return refused ? Outcome() : outcome;
  }
  GVariantIter* unlocked = nullptr;
  const char* prompt = nullptr;
  g_variant_get(reply.get(), "(ao&o)", &unlocked, &prompt);
  *any = !takePaths(unlocked).empty();
  if (!isNoObject(prompt)) static_cast<void>(refusePrompt(round, prompt));
  return {};
}

Outcome Items::unlock(Round& round, const Paths& collections, std::string* prompt) {
  prompt->clear();
  VariantHandle reply;
  Outcome outcome = link_.call(round,
                               {service_path, service_interface, "Unlock",
                                g_variant_new("(@ao)", objectPaths(collections)), "(aoo)"},
                               &reply);
  if (!outcome.good()) return outcome;
  const char* path = nullptr;
  g_variant_get_child(reply.get(), 1, "&o", &path);
  if (!isNoObject(path)) *prompt = path;
  return outcome;
}

Outcome Items::showPrompt(Round& round, const std::string& prompt) {
  VariantHandle reply;
  // No window of ours is named: the panel is above all others anyway.
  return link_.call(
      round, {prompt.c_str(), prompt_interface, "Prompt", g_variant_new("(s)", ""), "()"}, &reply);
}

Outcome Items::dismissPrompt(Round& round, const std::string& prompt) {
  VariantHandle reply;
  return link_.call(round, {prompt.c_str(), prompt_interface, "Dismiss", nullptr, "()"}, &reply);
}

Outcome Items::newest(Round& round, const Paths& paths, std::string* path) {
  *path = paths.front();
  if (paths.size() == 1) return {};
  std::vector<std::shared_ptr<Answer>> answers;
  for (const std::string& item : paths) {
    answers.push_back(sendProperty(round, item, item_interface, "Modified"));
  }
  guint64 latest = 0;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    VariantHandle modified;
    Outcome outcome = receiveProperty(round, *answers[i], "t", &modified);
    if (!outcome.good()) return outcome;
    const guint64 time = g_variant_get_uint64(modified.get());
    if (time <= latest) continue;
    latest = time;
    *path = paths[i];
  }
  return {};
}

Outcome Items::openSession(Round& round) {
  return link_.finishSession(round, link_.startSession(round));
}

Outcome Items::decode(GVariant* secrets_by_path, std::map<std::string, ItemSecret>* secrets) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, secrets_by_path);
  const char* path = nullptr;
  GVariant* encoded = nullptr;
  while (g_variant_iter_next(&iterator, "{&o@(oayays)}", &path, &encoded) != FALSE) {
    const VariantHandle owned(encoded);
    const SecretHandle value(secret_service_decode_dbus_secret(link_.session(), encoded));
    if (value == nullptr) return failure("a secret could not be decrypted");
    gsize size = 0;
    const char* text = secret_value_get(value.get(), &size);
    ItemSecret& secret = (*secrets)[path];
    if (!readSecretText({text, size}, &secret.bytes)) secret.status = KeychainStatus::cannot_decode;
  }
  return {};
}

Outcome Items::read(Round& round, const Paths& paths, const std::string& account,
                    std::map<std::string, ItemSecret>* secrets,
                    std::map<std::string, std::string>* services) {
  // Send everything that does not need the session while it is negotiated.
  const auto session_answer = link_.startSession(round);
  std::vector<std::shared_ptr<Answer>> answers;
  if (services != nullptr) {
    for (const std::string& path : paths) {
      answers.push_back(sendProperty(round, path, item_interface, "Attributes"));
    }
  }
  Outcome outcome = link_.finishSession(round, session_answer);
  if (!outcome.good()) return outcome;
  const auto secrets_answer =
      link_.send(round, {service_path, service_interface, "GetSecrets",
                         g_variant_new("(@aoo)", objectPaths(paths),
                                       secret_service_get_session_dbus_path(link_.session())),
                         "(a{o(oayays)})"});

  for (std::size_t i = 0; i < answers.size(); ++i) {
    VariantHandle found;
    outcome = receiveProperty(round, *answers[i], "a{ss}", &found);
    if (outcome.retry == Outcome::Retry::yes) continue;  // another process has just deleted it
    if (!outcome.good()) return outcome;
    const std::string service = textAt(found.get(), service_attribute);
    if (service.empty() || textAt(found.get(), account_attribute) != account) continue;
    services->emplace(paths[i], service);
  }

  VariantHandle reply;
  outcome = Link::receive(round, *secrets_answer, &reply);
  if (!outcome.good()) return outcome;
  const VariantHandle secrets_by_path(g_variant_get_child_value(reply.get(), 0));
  return decode(secrets_by_path.get(), secrets);
}

Outcome Items::refusePrompt(Round& round, const std::string& prompt) {
  // The daemon's answer does not change the result.
  static_cast<void>(dismissPrompt(round, prompt));
  return outcomeOf(KeychainStatus::interaction_not_allowed);
}

Outcome Items::create(Round& round, const std::string& collection, const std::string& service,
                      const std::string& account, const SecretBytes& secret, bool replace,
                      std::string* path) {
  Outcome outcome = openSession(round);
  if (!outcome.good()) return outcome;
  const Cleared<std::string> text = secretText(secret);
  const SecretHandle value(
      secret_value_new(text->data(), static_cast<gssize>(text->size()), "text/plain"));
  GVariant* encoded = secret_service_encode_dbus_secret(link_.session(), value.get());
  if (encoded == nullptr) return failure("the secret could not be encrypted");

  GVariantBuilder properties;
  g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
  const std::string label = "Talvane Soft Token: " + service;
  g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Label",
                        g_variant_new_string(label.c_str()));
  g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Attributes",
                        attributes(&service, account));
  VariantHandle reply;
  outcome = changing(link_.call(
      round,
      {collection.c_str(), collection_interface, "CreateItem",
       g_variant_new("(a{sv}@(oayays)b)", &properties, encoded, static_cast<gboolean>(replace)),
       "(oo)"},
      &reply));
  if (!outcome.good()) return outcome;
  const char* item = nullptr;
  const char* prompt = nullptr;
  g_variant_get(reply.get(), "(&o&o)", &item, &prompt);
  if (!isNoObject(prompt)) return refusePrompt(round, prompt);
  *path = item;
  return outcome;
}

Outcome Items::remove(Round& round, const Paths& paths) {
  for (const std::string& path : paths) {
    VariantHandle reply;
    Outcome outcome = changing(
        link_.call(round, {path.c_str(), item_interface, "Delete", nullptr, "(o)"}, &reply));
    const bool gone =
        outcome.status == KeychainStatus::io_error && outcome.retry == Outcome::Retry::yes;
    if (gone) continue;
    if (!outcome.good()) return outcome;
    const char* prompt = nullptr;
    g_variant_get(reply.get(), "(&o)", &prompt);
    if (!isNoObject(prompt)) return refusePrompt(round, prompt);
  }
  return {};
}

}  // namespace talvane::secret_service
