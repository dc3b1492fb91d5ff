#pragma once

// What storing a new token can come to beyond what the engine itself says of it, in words for the
// user.

#include <cstdint>
#include <optional>
#include <string>

#include "engine/vane.h"
#include "platform/vaneinterface.h"

namespace talvane {

inline constexpr const char* all_slots_taken = "All 32 slots hold tokens; delete one first";

/// Why the names of a token cannot be stored; nullopt: they can.
std::optional<std::string> problemWithNames(const SoftTokenInfo& token);

/// What is wrong with an otpauth URL, for the user.
std::string wordsFor(AuthUrlProblem problem);

/// What came of storing a new token.
struct NewTokenResult {
  enum class Kind : std::uint8_t {
    stored,
    refused,   // by the engine: `error` is its text
    full,      // all slots hold tokens
    keychain,  // the keychain did not take it
    unsealed   // its seed cannot be sealed on this computer
  };
  Kind kind = Kind::stored;
  std::string error;                    // unless stored
  std::int32_t slot = -1;               // when stored
  std::optional<std::string> response;  // the response code, for a 13-character seed
};

/// Stores the token through the engine, whose gateway is `gateway`, where a token created under the
/// same name is, else in the first free slot, and makes sure that it can be read back. Call it
/// within a StoreChange.
NewTokenResult storeNewToken(vaneinterface& gateway, const SoftTokenInfo& token);

}  // namespace talvane
