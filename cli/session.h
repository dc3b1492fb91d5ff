#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/ini.h"
#include "engine/vane.h"
#include "platform/keychains.h"
#include "platform/store_change.h"
#include "platform/vaneinterface.h"

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

  /// The tokens from slot 0 on. What keeps those after them from being read, if anything does, is
  /// in `problem`; a keychain that could not be read at all throws Failure.
  struct Tokens {
    std::vector<std::unique_ptr<SoftTokenInfo>> list;
    std::string problem;
    std::size_t problem_slot = 0;  // with a problem: what to delete, by slot, to be rid of it
  };
  Tokens readTokens();
  /// As above, and looks behind the last token for others that a gap hides.
  Tokens readTokensAndGaps();

  /// The token with this name (the current one, else the one it was created with), slot number, or
  /// unique beginning of a name. Throws Failure when there is none, or more than one.
  static std::size_t find(const Tokens& tokens, const std::string& wanted);

 private:
  void describeProblem(Tokens& tokens, std::size_t slot);

  SessionOptions options_;
  std::unique_ptr<UserDefaults> defaults_;
  std::unique_ptr<DeviceIdentifiers> identifiers_;
  std::optional<Ini> settings_;
  UserKeychain keychain_;
  std::optional<vaneinterface> gateway_;
};

/// A change of the store that throws Failure when it cannot be begun or is not kept.
class SessionChange {
 public:
  explicit SessionChange(Session& session);
  void finish();

 private:
  StoreChange change_;
};

}  // namespace talvane
