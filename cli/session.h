#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cli/failure.h"
#include "config/ini.h"
#include "config/ta_settings.h"
#include "platform/device_identifiers.h"
#include "platform/keychains.h"
#include "platform/user_defaults.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"

namespace talvane {

/// The options that every command takes.
struct SessionOptions {
  std::string keychain;  // a kind, or empty
  bool console_log = false;
  SettingsFolders folders = SettingsFolders::ofThisSystem();
};

/// One run of the command line: the user's settings and, on first use, the keychain and the engine.
/// Cannot be copied or moved: the engine points into it.
class Session {
 public:
  explicit Session(SessionOptions options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// The settings, read once.
  Ini& settings();
  UserDefaults& defaults() { return *defaults_; }
  DeviceIdentifiers& identifiers() { return *identifiers_; }

  /// The user's keychain, opened on first use. Throws Failure when it cannot be opened.
  UserKeychain& keychain();
  /// The kind of that keychain; empty if none can be opened.
  std::string keychainKind();
  vaneinterface& gateway();

  /// Seconds since the epoch.
  std::int64_t now() { return gateway().CurrentTime(); }

  TokenStore& store();

  /// Throws Failure when the keychain cannot be read.
  StoredTokens readTokens();

  /// Reads the tokens and passes them to `change`; tries again a few times when another program
  /// changed them in between. Throws Failure when the change fails.
  void changeTokens(const std::function<Result<void>(const StoredTokens&)>& change,
                    InputFrom from = InputFrom::elsewhere);

  /// Finds a token by its name, else by the name it was created with, else by its slot number, else
  /// by a beginning of its name that no other shares. Throws Failure when none or several match.
  static std::size_t find(const StoredTokens& tokens, const std::string& wanted);

 private:
  SessionOptions options_;
  std::unique_ptr<UserDefaults> defaults_;
  std::unique_ptr<DeviceIdentifiers> identifiers_;
  std::optional<Ini> settings_;
  UserKeychain keychain_;
  std::optional<vaneinterface> gateway_;
  std::optional<TokenStore> store_;
};

}  // namespace talvane
