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

/// A keychain of one of `keychainKinds()`; one that cannot be loaded answers every call with
/// not_available.
std::unique_ptr<KeychainService> makeKeychain(const std::string& kind);

/// The kind for a user of whom nothing is remembered: one that already holds tokens, else the
/// desktop's own where there is one.
/// `status` (may be null) gets what a first look at that keychain came to, ok when none was needed.
std::string keychainKindForNewUser(KeychainStatus* status = nullptr);

/// The keychain that holds a user's tokens. It is decided once, and remembered in the user defaults
/// before the first token is stored; from then on it is that one or an error, never another.
struct UserKeychain {
  std::unique_ptr<KeychainService> service;  // null: see `error`
  std::string kind;
  bool remembered = false;
  std::string error;  // for the user, with what to do
};

/// `wish` is a kind, or empty; one that contradicts what is remembered is refused. The result
/// borrows `defaults`.
UserKeychain openUserKeychain(UserDefaults& defaults, const std::string& wish);

/// The user's keychain, opened when first used; one that cannot be had answers not_available, with
/// the reason as its message, and is tried again by the next call. Borrows `defaults`.
std::unique_ptr<KeychainService> makeLazyUserKeychain(UserDefaults& defaults);

}  // namespace talvane
