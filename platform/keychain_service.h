#pragma once

// A keychain: secret bytes by service and account. Backends store them in a Secret Service, the
// vault, the system's own keychain, or memory. Main thread only.
//
// A missing item is always told apart from every other failure. No call waits longer than two
// seconds for an answer, or asks the user anything, unless the keychain was made with MayAsk::yes;
// only `unlock` does, always. None falls back to another keychain.

#include <cstdint>
#include <functional>
#include <string>

#include "engine/cleared.h"
#include "engine/gateway.h"

namespace talvane {

using SecretBytes = Cleared<Bytes>;

/// Result codes, with the numbers that the macOS Security framework gives them (SecBase.h,
/// MacErrors.h). Backends translate their native errors to these and no others; the macOS backend
/// passes the system's codes through.
enum class KeychainStatus : std::int32_t {
  ok = 0,
  disk_full = -34,                   // the disk is full; nothing was changed
  io_error = -36,                    // the keychain failed in another way; the message says how
  write_permission = -61,            // it can be read but not written
  not_available = -25291,            // no such keychain here, or it cannot be reached
  no_default_keychain = -25307,      // it has no collection for new items
  interaction_not_allowed = -25308,  // locked; the user must unlock it first
  duplicate_item = -25299,
  item_not_found = -25300,
  cannot_decode = -26275,     // the item exists but its content is damaged
  invalid_keychain = -25295,  // the keychain's own file is damaged or not a keychain
  not_responding = -67585,    // no answer within two seconds
};

/// Whether the system's keychain may ask the user to unlock it or to allow the access, and wait for
/// the answer. Only macOS's asks.
enum class MayAsk : bool { no, yes };

/// What the doctor command reports about a keychain.
struct KeychainDescription {
  std::string name;      // "Secret Service", "vault", ...
  std::string location;  // a path, a bus name, a collection's label; may be empty
  KeychainStatus status = KeychainStatus::ok;  // ok: readable now
};

class KeychainService {
 public:
  virtual ~KeychainService() = default;

  /// Finds the item and, unless `secret` is null, reads its secret. Leaves `*secret` unchanged on
  /// failure.
  [[nodiscard]] virtual KeychainStatus find(const std::string& service, const std::string& account,
                                            SecretBytes* secret) = 0;
  /// Adds an item. duplicate_item if it exists.
  [[nodiscard]] virtual KeychainStatus add(const std::string& service, const std::string& account,
                                           const SecretBytes& secret) = 0;
  /// Replaces the whole item, atomically if the keychain supports that: an interruption then leaves
  /// the old item or the new one. item_not_found if it does not exist.
  [[nodiscard]] virtual KeychainStatus replace(const std::string& service,
                                               const std::string& account,
                                               const SecretBytes& secret) = 0;
  /// Deletes the item. item_not_found if it does not exist.
  [[nodiscard]] virtual KeychainStatus remove(const std::string& service,
                                              const std::string& account) = 0;

  /// One sentence for the user that says what happened and what to do, without a full stop; on
  /// macOS the system's own text, unchanged.
  virtual std::string message(KeychainStatus status) = 0;

  virtual KeychainDescription describe() = 0;

  /// Whether `unlock` can ask the user. Where not, the keychain is never locked or asks by itself.
  [[nodiscard]] virtual bool canUnlock() { return false; }
  /// Asks the user, by the keychain's own prompt, to unlock the account's items, and waits for the
  /// answer as long as it takes, or until `given_up` says so: it is asked ten times a second, and
  /// the prompt goes away then. interaction_not_allowed if they stay locked.
  [[nodiscard]] virtual KeychainStatus unlock(const std::string& /*account*/,
                                              const std::function<bool()>& /*given_up*/) {
    return KeychainStatus::interaction_not_allowed;
  }

  /// Between the two, `find` may answer from one snapshot of the account's items, taken after
  /// beginReading. Later finds see an add, replace or remove in between.
  virtual void beginReading(const std::string& account) { static_cast<void>(account); }
  virtual void endReading() {}

  /// Between the two, all changes take effect together if the keychain supports that
  /// (keepsChangesTogether): an interruption leaves all or none. endChange reports whether they
  /// were stored. Calls do not nest.
  [[nodiscard]] virtual KeychainStatus beginChange() { return KeychainStatus::ok; }
  [[nodiscard]] virtual KeychainStatus endChange() { return KeychainStatus::ok; }
  /// Instead of endChange: undoes the changes since beginChange if the keychain can.
  virtual void abandonChange() {}
  /// Whether it supports that.
  [[nodiscard]] virtual bool keepsChangesTogether() { return false; }
};

}  // namespace talvane
