#pragma once

// The one door through which the interface, the enrolment and the command line read and change a
// user's tokens. Invariants:
//  - every change holds the per-user lock from its first look at the keychain to its last write,
//    looks again at what is stored, and takes effect as a whole where the keychain can do that; a
//    call that fails has then changed nothing;
//  - a record that does not load is never written over: it goes only when its slot is deleted;
//  - success is said only of what the keychain has said it keeps.
// Main thread only. No call waits longer than the keychain and the lock allow.

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "platform/keychain_service.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {

class TokenStore {
 public:
  /// Borrows both. `gateway` is the engine's (vane::SetInterface), and works on `keychain`.
  /// `patience`: how long a change waits for that of another program.
  TokenStore(vaneinterface& gateway, KeychainService& keychain,
             std::chrono::milliseconds patience = std::chrono::seconds(10));

  /// Reads the tokens and looks behind the last one. A keychain that does not answer is a Problem,
  /// never an empty list.
  [[nodiscard]] Result<StoredTokens> read();

  /// What adding a token would do.
  struct Plan {
    std::int32_t slot = 0;
    std::optional<std::string> replaces{};  // the present name of the token that would go
  };
  /// Checks the token's names and seed and finds its place, without a change and without the lock.
  [[nodiscard]] Result<Plan> plan(const SoftTokenInfo& token);

  /// Whether a token under a name of its own could be stored now, as `plan` tells of a given one.
  [[nodiscard]] Result<void> checkRoom();

  struct Added {
    std::int32_t slot = 0;
    std::optional<std::string> response{};  // the response code of a 13-character seed
  };
  enum class SameName : std::uint8_t { refuse, replace };
  /// Stores the token where a token created under the same name is (`replace`), else in the first
  /// empty slot, and reads it back. `refuse`: such a token is a Problem with Next::confirm.
  [[nodiscard]] Result<Added> add(const SoftTokenInfo& token, SameName same_name);
  /// The same (`replace`) for a token that a server has issued: it knows the response code already,
  /// and there is none here.
  [[nodiscard]] Result<Added> addIssued(const SoftTokenInfo& token);

  struct Rename {
    std::int32_t slot = 0;
    const SoftTokenInfo* seen = nullptr;  // the token as the user saw it
    std::string name;                     // as SoftTokenInfo::updateDescription takes it
  };
  /// Renames all of them or none; a name that a token has already is left alone. A slot that holds
  /// another token by now: Next::look_again.
  [[nodiscard]] Result<void> rename(std::span<const Rename> renames);

  using Selection = std::array<std::uint8_t, vane::max_tokens>;
  /// Deletes the slots whose flag is set, which may be that of the obstacle, and moves the later
  /// tokens down. `seen` is what the user saw: a selected slot that holds something else by now is
  /// Next::look_again, and nothing is deleted.
  [[nodiscard]] Result<void> remove(const Selection& selected, const StoredTokens& seen);

 private:
  enum class Creation : std::uint8_t { here, issued };

  Result<Added> store(const SoftTokenInfo& token, SameName same_name, Creation creation);

  vaneinterface& gateway_;
  KeychainService& keychain_;
  std::chrono::milliseconds patience_;
};

}  // namespace talvane
