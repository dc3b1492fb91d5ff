#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/failure.h"
#include "config/ini.h"
#include "engine/vane.h"
#include "platform/keychains.h"
#include "platform/vaneinterface.h"
#include "store/token_store.h"

namespace talvane {

/// What every command is given on its line.
struct SessionOptions {
  std::string keychain;  // a kind, or empty
  bool console_log = false;
};

/// One run of the command line: the user's settings and, once asked for, the keychain and the
/// engine on it. Not copied or moved: the engine points into it.
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

  /// The user's keychain; opened on first use. Throws Failure when it cannot be had.
  UserKeychain& keychain();
  vaneinterface& gateway();

  /// Seconds since the epoch.
  std::int64_t now() { return gateway().CurrentTime(); }

  TokenStore& store();

  /// Throws Failure when the keychain cannot be read.
  StoredTokens readTokens();

  /// Reads the tokens and hands them to the change, again for as long as another program changed
  /// them in between. Throws Failure when it comes to nothing.
  void changeTokens(const std::function<Result<void>(const StoredTokens&)>& change,
                    InputFrom from = InputFrom::elsewhere);

  /// The token with this name (the current one, else the one it was created with), slot number, or
  /// unique beginning of a name. Throws Failure when there is none, or more than one.
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
