#pragma once

// Moves a user's records from the keychain that holds them to another one, under the store's lock.
// In this order, so that a kill at any moment leaves all of them in the keychain that is chosen:
//  1. note in the user defaults that the other keychain holds copies from now on;
//  2. copy every record, byte for byte, and read all copies back;
//  3. choose the other keychain, and note in the same step that the first one holds leftovers;
//  4. delete those, and then the note.
// The same call again finishes what was cut short.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/keychain_service.h"
#include "platform/keychains.h"
#include "platform/user_defaults.h"
#include "store/problem.h"

namespace talvane {

class KeychainMove {
 public:
  /// Makes a keychain of a kind.
  using Make = std::function<std::unique_ptr<KeychainService>(const std::string& kind)>;

  /// Borrows the defaults. `account` is the login name that the records are filed under.
  KeychainMove(
      UserDefaults& defaults, std::string account,
      std::chrono::milliseconds patience = std::chrono::seconds(2),
      Make make = [](const std::string& kind) { return makeKeychain(kind); });

  struct Done {
    std::size_t moved = 0;  // records
    std::string leftovers;  // why the old ones could not be deleted, for the user; empty: they are
  };
  /// Moves the records from `from`, where they are unless the defaults know better, to `to`. If the
  /// Problem comes, all records are where they were. If they are in `to` already, it only deletes
  /// what an earlier move has left. Refuses to write over other records in `to`.
  [[nodiscard]] Result<Done> move(const std::string& from, const std::string& to);

  /// A move that was cut short.
  struct Unfinished {
    enum class Step : std::uint8_t { copying, deleting };
    Step step = Step::copying;
    std::string kind;  // the keychain that holds copies or leftovers
  };
  [[nodiscard]] std::optional<Unfinished> unfinished();

 private:
  UserDefaults& defaults_;
  std::string account_;
  std::chrono::milliseconds patience_;
  Make make_;
};

/// The number of records in the keychain, readable or not; nullopt if it does not answer.
std::optional<std::size_t> countRecords(KeychainService& keychain, const std::string& account);

}  // namespace talvane
