#pragma once

// The Secret Service's collections and items, as far as a keychain needs them. No request here
// makes the daemon ask the user anything; a prompt that it offers is dismissed.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/secret_service/link.h"

namespace talvane::secret_service {

/// Object paths of items.
using Paths = std::vector<std::string>;

struct Matches {
  Paths unlocked;
  Paths locked;
};

struct Collection {
  std::string path;  // empty: there is no such collection
  std::string label;
  bool locked = false;
};

/// The secret of one item. cannot_decode: it is there but is no base64 text.
struct ItemSecret {
  KeychainStatus status = KeychainStatus::ok;
  SecretBytes bytes;
};

/// Every call belongs to a round in which `link.reach` was good, and starts a session as needed.
class Items {
 public:
  explicit Items(Link& link) : link_(link) {}

  /// Our items of the account; of one service unless `service` is null.
  std::shared_ptr<Answer> sendSearch(Round& round, const std::string* service,
                                     const std::string& account);
  static Outcome receiveSearch(Round& round, const Answer& answer, Matches* matches);

  /// The collection that new items go into.
  Outcome defaultCollection(Round& round, Collection* collection);

  /// Unlocks those of the collections that need no password, such as one of an empty password,
  /// which a daemon does not unlock by itself. `*any` tells whether there were such.
  Outcome unlockFreely(Round& round, const Paths& collections, bool* any);

  /// The item changed last, the first of several; `paths` is not empty.
  Outcome newest(Round& round, const Paths& paths, std::string* path);

  /// The items' secrets, by path; one that the daemon does not give is missing. If `services` is
  /// not null it gets the items' services, by path; an item that has none or is of another account
  /// is missing there.
  Outcome read(Round& round, const Paths& paths, const std::string& account,
               std::map<std::string, ItemSecret>* secrets,
               std::map<std::string, std::string>* services);

  /// Stores an item. With `replace`, one that has the same service and account in the collection is
  /// overwritten in one step. `*path` is the item stored.
  Outcome create(Round& round, const std::string& collection, const std::string& service,
                 const std::string& account, const SecretBytes& secret, bool replace,
                 std::string* path);

  /// Deletes the items, up to the first that the daemon fails to delete; one that is gone is no
  /// failure.
  Outcome remove(Round& round, const Paths& paths);

 private:
  std::shared_ptr<Answer> sendProperty(Round& round, const std::string& path, const char* interface,
                                       const char* name);
  static Outcome receiveProperty(Round& round, const Answer& answer, const char* type,
                                 VariantHandle* value);
  Outcome openSession(Round& round);
  Outcome decode(GVariant* secrets_by_path, std::map<std::string, ItemSecret>* secrets);
  Outcome refusePrompt(Round& round, const std::string& prompt);

  Link& link_;
};

/// The path of the collection in which the item lies; "/" for an item that lies in none.
std::string collectionOf(const std::string& item);

}  // namespace talvane::secret_service
