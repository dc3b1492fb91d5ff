#pragma once

// The interface, the enrolment and the command line read and change a user's tokens only through
// this class. Invariants:
//  - every change holds the per-user lock from its first look at the keychain to its last write,
//    reads the stored tokens again, and is atomic if the keychain supports that; a call that fails
//    has then changed nothing, or says what;
//  - an interrupted change loses no token: at worst one stands twice, until the next change;
//  - a record that does not load is never overwritten; only deleting its slot removes it;
//  - a call succeeds only when the keychain has confirmed the change.
// Main thread only. No call waits longer than the keychain and the lock allow.

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "engine/soft_token_info.h"
#include "platform/keychain_service.h"
#include "platform/user_defaults.h"
#include "platform/vaneinterface.h"
#include "store/enrolled_at.h"
#include "store/problem.h"
#include "store/slot_deletion.h"
#include "store/store_change.h"
#include "store/stored_tokens.h"

namespace talvane {

class TokenStore {
 public:
  /// Borrows all. `gateway` is the engine's (vane::SetInterface) and uses `keychain`. `defaults`
  /// (may be null) remember at which server tokens were enrolled. A change waits up to `patience`
  /// for another program's change, within `blocking` if it is not empty.
  TokenStore(vaneinterface& gateway, KeychainService& keychain, UserDefaults* defaults = nullptr,
             std::chrono::milliseconds patience = std::chrono::seconds(2), Blocking blocking = {});

  /// Reads the tokens, and checks for records after the last one. A keychain that does not answer
  /// is a Problem, never an empty list.
  [[nodiscard]] Result<StoredTokens> read();

  /// Whether the keychain can ask the user to unlock it.
  [[nodiscard]] bool canUnlock() { return keychain_.canUnlock(); }
  /// Asks the user to unlock the keychain, by its own prompt. Returns, as soon as they have
  /// answered or left, whether it is unlocked.
  [[nodiscard]] bool unlock();

  /// What adding a token would do.
  struct Plan {
    std::int32_t slot = 0;
    std::optional<std::string> replaces{};  // the current name of the token that it would replace
    bool from_same_server = false;          // the replaced token was enrolled at the given server
  };
  /// Checks the token's names and seed and finds its slot. Changes nothing and takes no lock.
  /// `server` is the server that issues the token, if one does.
  [[nodiscard]] Result<Plan> plan(const SoftTokenInfo& token, const std::string& server = "");

  /// Whether a token with an unused name could be stored now; `plan` answers this for a given
  /// token.
  [[nodiscard]] Result<void> checkRoom();

  struct Added {
    std::int32_t slot = 0;
    std::optional<std::string> response{};  // the response code of a 13-character seed
  };
  enum class SameName : std::uint8_t { refuse, replace };
  /// Stores the token and reads it back. `replace` puts it in place of a token created under the
  /// same name; `refuse` reports such a token as a Problem with Next::confirm. Otherwise it goes to
  /// the first empty slot.
  [[nodiscard]] Result<Added> add(const SoftTokenInfo& token, SameName same_name);
  /// The same for a token that a server has issued (`server` as originOf makes it, or empty), which
  /// is remembered. `refuse` still replaces a token that was enrolled at the same server. Returns
  /// no response code: the server has it already.
  [[nodiscard]] Result<Added> addIssued(const SoftTokenInfo& token, const std::string& server,
                                        SameName same_name);

  /// Whether the token's seed was completed on this computer from 13 characters, so that it has a
  /// response code. The record does not keep that; its end gives it away. Of a million other seeds,
  /// one ends as if it had been.
  [[nodiscard]] bool hasResponse(const SoftTokenInfo& token);
  /// The response code of a stored token, made with its present passcode.
  [[nodiscard]] Result<std::string> response(const SoftTokenInfo& token);

  struct Rename {
    std::int32_t slot = 0;
    const SoftTokenInfo* seen = nullptr;  // the token as the user saw it
    std::string name;                     // as SoftTokenInfo::updateDescription takes it
  };
  /// Renames all of them or none. A name that a token already has is no change. If a slot now holds
  /// another token, the Problem is Next::look_again.
  [[nodiscard]] Result<void> rename(std::span<const Rename> renames);

  /// Moves the token in slot `from` to slot `to`; those between move by one slot. `seen` is what
  /// the user saw: if those slots now hold other tokens, the Problem is Next::look_again. Needs an
  /// empty slot after the last token, unless the keychain keeps changes together.
  [[nodiscard]] Result<void> move(std::int32_t from, std::int32_t to, const StoredTokens& seen);

  using Selection = SelectedSlots;
  /// Deletes the slots whose flag is set, the obstacle's included, and moves later tokens down.
  /// `seen` is what the user saw: if a selected slot now holds something else, the Problem is
  /// Next::look_again and nothing is deleted.
  [[nodiscard]] Result<void> remove(const Selection& selected, const StoredTokens& seen);

 private:
  /// Without a `server`, the token was not issued by one.
  Result<Added> store(const SoftTokenInfo& token, SameName same_name,
                      const std::optional<std::string>& server);

  vaneinterface& gateway_;
  KeychainService& keychain_;
  std::chrono::milliseconds patience_;
  Blocking blocking_;
  EnrolledAt enrolled_at_;
};

}  // namespace talvane
