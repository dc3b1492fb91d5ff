#pragma once

// The keychains that this system offers, by kind: "secret-service" and "vault" on Linux, "keychain"
// on macOS.

#include <memory>
#include <string>
#include <vector>

#include "platform/keychain_service.h"
#include "platform/user_defaults.h"

namespace talvane {

std::vector<std::string> keychainKinds();

/// The user default that names the kind of the keychain that holds a user's tokens.
inline constexpr const char* keychain_choice_key = "Keychain";

/// A keychain of one of `keychainKinds()`. If it cannot be loaded, every call returns
/// not_available.
std::unique_ptr<KeychainService> makeKeychain(const std::string& kind, MayAsk may_ask = MayAsk::no);

/// The kind for a user without a remembered one: a keychain that already holds tokens, else the
/// desktop's own if it has one. `status` (may be null) gets the result of the first look at that
/// keychain; ok if none was needed.
std::string keychainKindForNewUser(KeychainStatus* status = nullptr);

/// The keychain that holds a user's tokens. The choice is made once and remembered in the user
/// defaults before the first token is stored. From then on it is that keychain or an error, never
/// another one. Once it is remembered, each reading and each change follows a move of the tokens.
struct UserKeychain {
  std::unique_ptr<KeychainService> service;  // null: see `error`
  std::string kind;
  bool remembered = false;
  std::string error;  // for the user, with what to do
};

/// `wish` is a kind, or empty. Refuses a wish that contradicts the remembered kind. The result
/// borrows `defaults`.
UserKeychain openUserKeychain(UserDefaults& defaults, const std::string& wish);

/// The user's keychain, opened on first use. If it cannot be opened, a call returns not_available
/// with the reason as message, and the next call tries again. Borrows `defaults`.
std::unique_ptr<KeychainService> makeLazyUserKeychain(UserDefaults& defaults, MayAsk may_ask);

}  // namespace talvane
