#pragma once

// A keychain: secret bytes by service and account. What is behind it (a Secret Service, the
// embedded vault, the system's own keychain, memory) is a backend's affair. Main thread only.
//
// A missing item is told apart from every other failure, always. No call waits for an answer longer
// than two seconds, none asks the user anything, and none falls back to another keychain.

#include <cstdint>
#include <memory>
#include <string>

#include "engine/cleared.h"
#include "engine/gateway.h"

namespace talvane {

using SecretBytes = Cleared<Bytes>;

/// Result codes, with the numbers that the macOS Security framework gives them (SecBase.h,
/// MacErrors.h). Backends translate their native errors to these and to no others; the macOS
/// backend passes the system's own through.
enum class KeychainStatus : std::int32_t {
  ok = 0,
  disk_full = -34,                   // no room to store; nothing was changed
  io_error = -36,                    // the keychain failed in another way; the message says how
  write_permission = -61,            // it can be read but not written
  not_available = -25291,            // there is no such keychain here, or it cannot be reached
  no_default_keychain = -25307,      // it is there but holds no collection to store into
  interaction_not_allowed = -25308,  // locked; the user must unlock it first
  duplicate_item = -25299,
  item_not_found = -25300,
  cannot_decode = -26275,     // the item is there but its content is damaged
  invalid_keychain = -25295,  // the keychain's own file is damaged or is something else
  not_responding = -67585,    // no answer within two seconds
};

/// What doctor tells about a keychain.
struct KeychainDescription {
  std::string name;      // "Secret Service", "embedded vault", ...
  std::string location;  // a path, a bus name, a collection's label; may be empty
  KeychainStatus status = KeychainStatus::ok;  // ok: readable now
};

class KeychainService {
 public:
  virtual ~KeychainService() = default;

  /// Finds the item and, unless `secret` is null, its secret. On failure `*secret` is untouched.
  [[nodiscard]] virtual KeychainStatus find(const std::string& service, const std::string& account,
                                            SecretBytes* secret) = 0;
  /// Adds an item; duplicate_item when there is one.
  [[nodiscard]] virtual KeychainStatus add(const std::string& service, const std::string& account,
                                           const SecretBytes& secret) = 0;
  /// Replaces the whole item, in one step where the keychain can: an interruption then leaves the
  /// old item or the new one. item_not_found when there is none.
  [[nodiscard]] virtual KeychainStatus replace(const std::string& service,
                                               const std::string& account,
                                               const SecretBytes& secret) = 0;
  /// Deletes the item; item_not_found when there is none.
  [[nodiscard]] virtual KeychainStatus remove(const std::string& service,
                                              const std::string& account) = 0;

  /// One sentence for the user, what happened and what to do, without a final full stop.
  virtual std::string message(KeychainStatus status) = 0;

  virtual KeychainDescription describe() = 0;

  /// Between the two, `find` may answer from one look at the account's items, taken after the
  /// begin. An add, replace or remove in between is seen by the finds after it.
  virtual void beginReading(const std::string& account) { static_cast<void>(account); }
  virtual void endReading() {}

  /// Between the two, all changes take effect together where the keychain can do that: an
  /// interruption leaves all or none. endChange reports whether they were kept. Calls do not nest.
  [[nodiscard]] virtual KeychainStatus beginChange() { return KeychainStatus::ok; }
  [[nodiscard]] virtual KeychainStatus endChange() { return KeychainStatus::ok; }
  /// In place of endChange: what was done since beginChange is undone where the keychain can.
  virtual void abandonChange() {}
};

}  // namespace talvane
