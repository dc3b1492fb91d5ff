#pragma once

// The Secret Service's collections and items. No request but `showPrompt` makes the daemon ask the
// user anything; an offered prompt is dismissed.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/keychain_service.h"
#include "platform/linux/secret_service/handles.h"
#include "platform/linux/secret_service/link.h"
#include "platform/linux/secret_service/round.h"
#include "platform/linux/secret_service/status.h"

namespace talvane::secret_service {

/// Object paths of items.
using Paths = std::vector<std::string>;

struct Matches {
  Paths unlocked;
  Paths locked;
};

struct Collection {
  std::string path;  // empty if there is no such collection
  std::string label;
  bool locked = false;
};

/// The secret of one item. cannot_decode means that it is not base64 text.
struct ItemSecret {
  KeychainStatus status = KeychainStatus::ok;
  SecretBytes bytes;
};

/// Call these only in a round in which `link.reach` has succeeded. They open a session if needed.
class Items {
 public:
  explicit Items(Link& link) : link_(link) {}

  /// Our items of the account; of one service unless `service` is null.
  std::shared_ptr<Answer> sendSearch(Round& round, const std::string* service,
                                     const std::string& account);
  static Outcome receiveSearch(Round& round, const Answer& answer, Matches* matches);

  /// The collection for new items.
  Outcome defaultCollection(Round& round, Collection* collection);

  /// Unlocks the collections that need no password: a daemon does not unlock one with an empty
  /// password by itself. `*any` tells whether there were any.
  Outcome unlockFreely(Round& round, const Paths& collections, bool* any);

  /// Unlocks the collections. `*prompt` gets the path of the prompt by which the user must agree;
  /// empty if they are unlocked.
  Outcome unlock(Round& round, const Paths& collections, std::string* prompt);
  Outcome showPrompt(Round& round, const std::string& prompt);
  Outcome dismissPrompt(Round& round, const std::string& prompt);

  /// The item that changed last; the first if several did. `paths` must not be empty.
  Outcome newest(Round& round, const Paths& paths, std::string* path);

  /// The items' secrets, by path, without those that the daemon withholds. If `services` is not
  /// null it gets the items' services, by path, without items that have none or belong to another
  /// account.
  Outcome read(Round& round, const Paths& paths, const std::string& account,
               std::map<std::string, ItemSecret>* secrets,
               std::map<std::string, std::string>* services);

  /// Stores an item. `replace` overwrites, in one step, an item of the collection that has the same
  /// service and account. `*path` gets the stored item.
  Outcome create(Round& round, const std::string& collection, const std::string& service,
                 const std::string& account, const SecretBytes& secret, bool replace,
                 std::string* path);

  /// Deletes the items, up to the first that the daemon fails to delete. An item that is already
  /// gone is no failure.
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

/// The path of the item's collection; "/" if it has none.
std::string collectionOf(const std::string& item);

}  // namespace talvane::secret_service
