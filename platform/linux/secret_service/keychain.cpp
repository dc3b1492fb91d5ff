// The keychain in the user's Secret Service, as a loadable module: programs whose tokens are
// elsewhere never load libsecret.

#include <dlfcn.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "platform/keychain_service.h"
#include "platform/linux/secret_service/items.h"
#include "platform/linux/secret_service/link.h"
#include "platform/linux/secret_service/prompt.h"
#include "platform/linux/secret_service/round.h"
#include "platform/linux/secret_service/status.h"

namespace talvane {
namespace secret_service {
namespace {

bool isText(const std::string& text) {
  return g_utf8_validate_len(text.data(), text.size(), nullptr) != FALSE;
}

/// A snapshot of the account's items.
struct Snapshot {
  KeychainStatus failure = KeychainStatus::ok;  // if not ok, there are no entries
  std::map<std::string, ItemSecret> entries;    // by service
  // The status of any other item; unset if only another search can tell.
  std::optional<KeychainStatus> missing;
};

/// The result of a search, with the requested facts about the default collection.
struct Survey {
  Matches matches;
  Collection collection;

  [[nodiscard]] bool foundNothing() const {
    return matches.unlocked.empty() && matches.locked.empty();
  }
  /// The status of an item that is not among the unlocked ones. Some services cannot search locked
  /// items.
  [[nodiscard]] KeychainStatus missing() const {
    return matches.locked.empty() && !collection.locked ? KeychainStatus::item_not_found
                                                        : KeychainStatus::interaction_not_allowed;
  }
};

/// Several items with one service and account count as one: reading takes the newest, replacing
/// leaves one, removing deletes all. They arise when two processes add at the same time, or when
/// the default collection changes.
class SecretServiceKeychain final : public KeychainService {
 public:
  SecretServiceKeychain() : context_(g_main_context_new()), items_(link_) {}
  ~SecretServiceKeychain() override;

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override;
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override;
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override;
  KeychainStatus remove(const std::string& service, const std::string& account) override;
  std::string message(KeychainStatus status) override { return messageOf(status, words_); }
  KeychainDescription describe() override;
  bool canUnlock() override { return true; }
  KeychainStatus unlock(const std::string& account, const std::function<bool()>& given_up) override;
  void beginReading(const std::string& account) override;
  void endReading() override;

 private:
  using Work = std::function<Outcome(Round&)>;
  using Change = std::function<Outcome(Round&, const Survey&)>;
  enum class DefaultCollection { if_nothing_found, always };

  KeychainStatus perform(const Work& work);
  KeychainStatus change(const std::string& service, const std::string& account,
                        const SecretBytes* secret, DefaultCollection wanted, const Change& work);
  Outcome search(Round& round, const std::string* service, const std::string& account,
                 Matches* matches);
  Outcome openDefault(Round& round, Collection* collection, bool* unlocked);
  Outcome survey(Round& round, const std::string* service, const std::string& account,
                 DefaultCollection wanted, Survey* survey);
  KeychainStatus findAfresh(const std::string& service, const std::string& account,
                            SecretBytes* secret);
  Outcome fetch(Round& round, const std::string& service, const std::string& account,
                SecretBytes* secret);
  Outcome look(Round& round, const std::string& account, Snapshot* snapshot);

  ContextHandle context_;  // must outlive its users
  Link link_;
  Items items_;
  std::string words_;  // of the last failure
  std::optional<std::string> reading_account_;
  std::optional<Snapshot> snapshot_;
};

SecretServiceKeychain::~SecretServiceKeychain() {
  link_.drop();
  runPending(context_.get());  // GLib frees some dropped objects there
}

/// Runs the work in one round. If the daemon or the connection has gone, tries once more from the
/// start, over a new connection.
KeychainStatus SecretServiceKeychain::perform(const Work& work) {
  Round round(context_.get());
  const auto attempt = [&] {
    Outcome outcome = link_.reach(round);
    return outcome.good() ? work(round) : outcome;
  };
  Outcome outcome = attempt();
  if (outcome.retry != Outcome::Retry::no) {
    link_.drop();
    outcome = attempt();
  }
  if (outcome.retry != Outcome::Retry::no || outcome.status == KeychainStatus::not_responding) {
    link_.drop();
  }
  words_ = std::move(outcome.words);
  return outcome.status;
}

Outcome SecretServiceKeychain::search(Round& round, const std::string* service,
                                      const std::string& account, Matches* matches) {
  const auto answer = items_.sendSearch(round, service, account);
  return Items::receiveSearch(round, *answer, matches);
}

/// The default collection, unlocked if that needs no password; `*unlocked` tells whether this call
/// unlocked it.
Outcome SecretServiceKeychain::openDefault(Round& round, Collection* collection, bool* unlocked) {
  *unlocked = false;
  Outcome outcome = items_.defaultCollection(round, collection);
  if (!outcome.good() || !collection->locked) return outcome;
  outcome = items_.unlockFreely(round, {collection->path}, unlocked);
  if (*unlocked) collection->locked = false;
  return outcome;
}

Outcome SecretServiceKeychain::survey(Round& round, const std::string* service,
                                      const std::string& account, DefaultCollection wanted,
                                      Survey* survey) {
  *survey = {};
  if (!isText(account) || (service != nullptr && !isText(*service))) {
    return failure("the item's name is not valid text");
  }
  Outcome outcome = search(round, service, account, &survey->matches);
  if (!outcome.good()) return outcome;
  bool unlocked = false;
  if (!survey->matches.locked.empty()) {
    std::set<std::string> collections;
    for (const std::string& item : survey->matches.locked) collections.insert(collectionOf(item));
    outcome = items_.unlockFreely(round, {collections.begin(), collections.end()}, &unlocked);
    if (outcome.good() && unlocked) outcome = search(round, service, account, &survey->matches);
    if (!outcome.good()) return outcome;
  }
  if (wanted == DefaultCollection::always || survey->foundNothing()) {
    outcome = openDefault(round, &survey->collection, &unlocked);
    if (outcome.good() && unlocked) outcome = search(round, service, account, &survey->matches);
  }
  return outcome;
}

Outcome SecretServiceKeychain::fetch(Round& round, const std::string& service,
                                     const std::string& account, SecretBytes* secret) {
  Survey here;
  Outcome outcome = survey(round, &service, account, DefaultCollection::if_nothing_found, &here);
  if (!outcome.good()) return outcome;
  const Paths& paths = here.matches.unlocked;
  if (paths.empty()) return outcomeOf(here.missing());
  if (secret == nullptr) return outcome;
  std::string path;
  outcome = items_.newest(round, paths, &path);
  if (!outcome.good()) return outcome;
  std::map<std::string, ItemSecret> secrets;
  outcome = items_.read(round, {path}, account, &secrets, nullptr);
  if (!outcome.good()) return outcome;
  const auto found = secrets.find(path);
  if (found == secrets.end()) {
    // Deleted or locked since the search: only another search can tell.
    outcome = failure("the service did not give the item's secret");
    outcome.retry = Outcome::Retry::yes;
    return outcome;
  }
  if (found->second.status == KeychainStatus::ok) *secret = std::move(found->second.bytes);
  return outcomeOf(found->second.status);
}

KeychainStatus SecretServiceKeychain::findAfresh(const std::string& service,
                                                 const std::string& account, SecretBytes* secret) {
  return perform([&](Round& round) { return fetch(round, service, account, secret); });
}

Outcome SecretServiceKeychain::look(Round& round, const std::string& account, Snapshot* snapshot) {
  *snapshot = {};
  Survey here;
  Outcome outcome = survey(round, nullptr, account, DefaultCollection::always, &here);
  if (!outcome.good()) return outcome;
  const Paths& unlocked = here.matches.unlocked;
  // The owner of a locked item is unknown.
  if (here.matches.locked.empty()) snapshot->missing = here.missing();
  if (unlocked.empty()) return outcome;

  std::map<std::string, ItemSecret> secrets;
  std::map<std::string, std::string> services;
  outcome = items_.read(round, unlocked, account, &secrets, &services);
  if (!outcome.good()) return outcome;
  if (services.size() != unlocked.size()) snapshot->missing.reset();
  std::map<std::string, Paths> paths_by_service;
  for (const std::string& path : unlocked) {
    const auto service = services.find(path);
    if (service != services.end()) paths_by_service[service->second].push_back(path);
  }
  for (const auto& [service, paths] : paths_by_service) {
    std::string path;
    outcome = items_.newest(round, paths, &path);
    if (!outcome.good()) return outcome;
    const auto found = secrets.find(path);
    if (found == secrets.end()) {
      snapshot->missing.reset();
    } else {
      snapshot->entries.emplace(service, std::move(found->second));
    }
  }
  return outcome;
}

KeychainStatus SecretServiceKeychain::find(const std::string& service, const std::string& account,
                                           SecretBytes* secret) {
  if (reading_account_ != account) return findAfresh(service, account, secret);
  if (!snapshot_) {
    Snapshot snapshot;
    const KeychainStatus looked =
        perform([&](Round& round) { return look(round, account, &snapshot); });
    snapshot.failure = looked;
    snapshot_ = std::move(snapshot);
  }
  if (snapshot_->failure != KeychainStatus::ok) return snapshot_->failure;
  const auto entry = snapshot_->entries.find(service);
  if (entry != snapshot_->entries.end()) {
    if (secret == nullptr) return KeychainStatus::ok;
    if (entry->second.status == KeychainStatus::ok) *secret = entry->second.bytes;
    return entry->second.status;
  }
  if (snapshot_->missing) return *snapshot_->missing;
  const KeychainStatus status = findAfresh(service, account, secret);
  // Wait only once for all the finds of a reading.
  if (status == KeychainStatus::not_responding) snapshot_->failure = status;
  return status;
}

/// `secret` is the content of the service's item after the change; null if it was deleted.
KeychainStatus SecretServiceKeychain::change(const std::string& service, const std::string& account,
                                             const SecretBytes* secret, DefaultCollection wanted,
                                             const Change& work) {
  const KeychainStatus status = perform([&](Round& round) {
    Survey here;
    Outcome outcome = survey(round, &service, account, wanted, &here);
    return outcome.good() ? work(round, here) : outcome;
  });
  if (!snapshot_ || reading_account_ != account) return status;
  if (status != KeychainStatus::ok || snapshot_->failure != KeychainStatus::ok) {
    snapshot_.reset();  // the next find searches again
  } else if (secret != nullptr) {
    snapshot_->entries[service] = {KeychainStatus::ok, *secret};
  } else {
    snapshot_->entries.erase(service);
  }
  return status;
}

KeychainStatus SecretServiceKeychain::add(const std::string& service, const std::string& account,
                                          const SecretBytes& secret) {
  const Change work = [&](Round& round, const Survey& here) {
    if (!here.matches.unlocked.empty()) return outcomeOf(KeychainStatus::duplicate_item);
    if (here.missing() != KeychainStatus::item_not_found) return outcomeOf(here.missing());
    if (here.collection.path.empty()) return outcomeOf(KeychainStatus::no_default_keychain);
    // Do not replace: another process may have added an item since the search.
    std::string path;
    return items_.create(round, here.collection.path, service, account, secret, false, &path);
  };
  return change(service, account, &secret, DefaultCollection::always, work);
}

KeychainStatus SecretServiceKeychain::replace(const std::string& service,
                                              const std::string& account,
                                              const SecretBytes& secret) {
  const Change work = [&](Round& round, const Survey& here) {
    if (here.matches.unlocked.empty()) return outcomeOf(here.missing());
    std::string path;
    Outcome outcome = items_.newest(round, here.matches.unlocked, &path);
    if (!outcome.good()) return outcome;
    const std::string collection = collectionOf(path);
    outcome = items_.create(round, collection, service, account, secret, true, &path);
    if (!outcome.good()) return outcome;
    Paths others = here.matches.unlocked;
    others.erase(std::remove(others.begin(), others.end(), path), others.end());
    return items_.remove(round, others);
  };
  return change(service, account, &secret, DefaultCollection::if_nothing_found, work);
}

KeychainStatus SecretServiceKeychain::remove(const std::string& service,
                                             const std::string& account) {
  const Change work = [&](Round& round, const Survey& here) {
    // If any are locked, delete none: the locked ones would reappear when unlocked.
    if (!here.matches.locked.empty() || here.matches.unlocked.empty()) {
      return outcomeOf(here.missing());
    }
    return items_.remove(round, here.matches.unlocked);
  };
  return change(service, account, nullptr, DefaultCollection::if_nothing_found, work);
}

KeychainStatus SecretServiceKeychain::unlock(const std::string& account,
                                             const std::function<bool()>& given_up) {
  std::string prompt;
  std::optional<PromptAnswer> answer;
  const KeychainStatus asked = perform([&](Round& round) {
    prompt.clear();
    answer.reset();
    Survey here;
    Outcome outcome = survey(round, nullptr, account, DefaultCollection::always, &here);
    if (!outcome.good()) return outcome;
    std::set<std::string> collections;
    for (const std::string& item : here.matches.locked) collections.insert(collectionOf(item));
    if (here.collection.locked) collections.insert(here.collection.path);
    if (collections.empty()) return outcome;
    outcome = items_.unlock(round, {collections.begin(), collections.end()}, &prompt);
    if (!outcome.good() || prompt.empty()) return outcome;
    answer.emplace(link_, prompt);
    return items_.showPrompt(round, prompt);
  });
  if (asked != KeychainStatus::ok || !answer) return asked;
  switch (answer->await(context_.get(), given_up)) {
    case PromptAnswer::End::agreed:
      return KeychainStatus::ok;
    case PromptAnswer::End::dismissed:
      break;
    case PromptAnswer::End::given_up:
      static_cast<void>(perform([&](Round& round) { return items_.dismissPrompt(round, prompt); }));
      break;
    case PromptAnswer::End::daemon_gone:
      return KeychainStatus::not_available;
  }
  return KeychainStatus::interaction_not_allowed;
}

KeychainDescription SecretServiceKeychain::describe() {
  KeychainDescription description;
  description.name = "Secret Service";
  description.status = perform([&](Round& round) {
    Collection collection;
    bool unlocked = false;
    Outcome outcome = openDefault(round, &collection, &unlocked);
    if (!outcome.good()) return outcome;
    description.location = collection.label;
    if (collection.path.empty()) return outcomeOf(KeychainStatus::no_default_keychain);
    return outcomeOf(collection.locked ? KeychainStatus::interaction_not_allowed
                                       : KeychainStatus::ok);
  });
  return description;
}

void SecretServiceKeychain::beginReading(const std::string& account) {
  reading_account_ = account;
  snapshot_.reset();
}

void SecretServiceKeychain::endReading() {
  reading_account_.reset();
  snapshot_.reset();
}

}  // namespace
}  // namespace secret_service
}  // namespace talvane

/// A new keychain, owned by the caller.
extern "C" __attribute__((visibility("default"))) talvane::KeychainService*
softtoken_make_keychain() {
  // GLib keeps the types that this module and libsecret register until the process ends, so their
  // code must stay loaded.
  Dl_info here;
  if (dladdr(reinterpret_cast<void*>(&softtoken_make_keychain), &here) != 0) {
    static_cast<void>(dlopen(here.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE));
  }
  return new talvane::secret_service::SecretServiceKeychain();
}
