#pragma once

// The token engine. Invariants of the store:
//  - tokens are in slots 0 to 31, contiguous from 0; reading stops at the first slot that cannot be
//    read, so a damaged or foreign record hides those after it until it is deleted or overwritten;
//  - a seed is stored sealed with the device key, followed by its hash; it does not load under
//    another key;
//  - the engine keeps no token; every call reads the keychain through the gateway.
// All calls share the device key, the map table and the identity cache: main thread only.

#include <fmt/core.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "engine/cleared.h"
#include "engine/gateway.h"
#include "engine/log.h"
#include "engine/soft_token_info.h"

namespace talvane {

/// Red, green and blue, each 0 to 1; always opaque.
struct Colour {
  float red = 0;
  float green = 0;
  float blue = 0;
  friend bool operator==(const Colour&, const Colour&) = default;
};

/// Why an otpauth URL is refused.
enum class AuthUrlProblem : std::uint8_t {
  none,
  invalid_scheme,
  invalid_type,
  no_seed,
  invalid_period
};

class vane {
 public:
  static constexpr std::int32_t max_tokens = 32;
  /// Slot values of WriteToken besides 0 to 31.
  static constexpr std::int32_t first_free_slot = -1;
  static constexpr std::int32_t slot_of_same_name = -2;

  using TokenArray = std::array<std::unique_ptr<SoftTokenInfo>, max_tokens>;

  /// The name of a slot's record in the keychain.
  static std::string recordName(std::uint32_t index);

  /// Sets the gateway, which the caller keeps alive, and forgets the device identity. Null means no
  /// keychain, no identifiers and no log.
  static void SetInterface(Gateway* gateway);
  static Gateway* interface();
  /// The device identity is asked for again when it is next needed. Every read ends so; a write
  /// does not.
  static void clearIdentityCache();

  // Passcodes (RFC 4226 over a counter of whole periods, as RFC 6238).

  /// Six digits from the first ten bytes of the decoded seed; a shorter key is padded with zeros.
  /// nullopt if the seed is not ASCII or not base32.
  static std::optional<std::string> GeneratePasscode(std::string_view seed, std::int64_t counter);
  /// The same, with nothing written to the log.
  static std::optional<std::string> unloggedPasscode(std::string_view seed, std::int64_t counter);
  static std::string HOTP_getPasscode(std::span<const std::uint8_t> key, std::uint64_t counter);

  // The device key.

  /// The 16 key bytes and a NUL, in a buffer that the next call overwrites.
  static const std::uint8_t* GetKey();

  // Seed hash and expansion.

  /// Eight base32 characters; nullopt if the seed has neither 13 nor 16 characters, or if one of
  /// its two passcodes is 000000 or cannot be computed.
  static std::optional<std::string> GenerateSeedHash(std::string_view seed, std::int32_t c1,
                                                     std::int32_t c2);
  /// A permutation of 0 to n − 1 in the first n of 16 entries, the rest 0xFF: entry[slot] = i means
  /// that item i goes to position `slot`. The next call overwrites it. 1 ≤ n ≤ 16.
  static const std::uint8_t* GetMapTable(std::span<const std::uint8_t> key, std::int32_t n);
  /// The full 16-character seed of a token whose seed has 13, bound to this device; `suffix` (may
  /// be null) gets its last 20 bits. nullopt if the seed is not 13 base32 characters.
  static std::optional<Cleared<std::string>> ExpandSeed(const SoftTokenInfo& token,
                                                        std::uint32_t* suffix);

  // The token store.

  /// Reads one slot. With a null `token`, only tests that a record exists. On failure `*token` is
  /// null.
  static bool ReadToken(std::uint32_t index, std::unique_ptr<SoftTokenInfo>* token);
  /// Reads slots 0, 1, … until one fails; returns how many. The element after the last is null.
  static std::int32_t ReadAllTokens(TokenArray& tokens);
  /// Writes to slot `*index` (0 to 31, `first_free_slot` or `slot_of_same_name`, the slot whose
  /// creation name is the token's, else the first free one), and sets `*index` to the slot used. A
  /// record that the keychain refuses still counts as written: ask the gateway. Returns false if
  /// there is no free slot (`*index` is then 32) or the seed has no hash.
  static bool WriteToken(std::int32_t* index, const SoftTokenInfo& token);
  static void DeleteToken(std::uint32_t index);
  /// Deletes the tokens at the positions whose flag is set and moves the later ones down. Stops
  /// early, and leaves the rest in place, if a token cannot be written to its new slot or the
  /// keychain does not answer.
  static void DeleteTokens(std::span<const std::uint8_t, max_tokens> selected);

  // Token creation.

  /// Checks a new token and stores it (`dummy`: does not store it) where WriteToken puts
  /// `slot_of_same_name`. A 13-character seed sets `*response`, the code that tells the server how
  /// the seed was completed; a 16-character one leaves it alone. `index` (may be null) gets the
  /// slot: 32 when the store is full, −2 after a dummy run. Returns nullopt, or the text to show
  /// the user.
  static std::optional<std::string> NewToken(const SoftTokenInfo& token,
                                             std::optional<std::string>* response,
                                             std::int32_t* index, bool dummy);
  /// Reads an otpauth://totp/ URL into a new token, whose seed is not checked yet. On failure
  /// leaves `*token` unchanged, and `problem` (may be null) says what is wrong with the URL.
  static bool ParseAuthUrl(std::string_view url, std::unique_ptr<SoftTokenInfo>* token,
                           AuthUrlProblem* problem = nullptr);

  // Colours.

  /// Builds the two colour tables; call once at launch.
  static void InitColors();
  /// The countdown's and the passcode's colour, by seconds elapsed in a 30-second cycle, 0 to 29;
  /// an index outside reads as the nearest end.
  static const Colour& ColorForValue(std::int32_t index);
  static const Colour& ColorForValue2(std::int32_t index);
  /// Returns false if a token before the first null has a period of exactly 30.
  static bool bAllTokensArePeriod60(std::span<const std::unique_ptr<SoftTokenInfo>> tokens);
  /// The index for ColorForValue2; negative in the first half of a 60-second token's minute when
  /// the countdown runs on 60 seconds.
  static std::int32_t GetPasscodeColorForToken(const SoftTokenInfo& token,
                                               bool WithCountdownPeriod60, std::int64_t WithTime);

  // Login string.

  /// Percent-encodes all but ASCII letters, digits and "-._~" (RFC 3986, section 2.3).
  static std::string URLEncodedString(std::string_view text);
  /// The scrambled login string in hexadecimal. `Passcode2` has at least six characters; a shorter
  /// one counts as filled up with NULs.
  static std::string GenerateFlickpassQrcodeWithUsername(std::string_view Username,
                                                         std::string_view Pin,
                                                         std::string_view Passcode1,
                                                         std::string_view Passcode2);

  // Log.

  /// Passes a line to the gateway. Formats nothing if nobody listens.
  template <typename... Args>
  static void log(fmt::format_string<Args...> format, Args&&... args) {
    EngineLog::line(format, std::forward<Args>(args)...);
  }

 private:
  enum class Saved : std::uint8_t { yes, refused, no_hash };

  static std::uint32_t deviceId();
  static bool readRecord(const Record& record, SoftTokenInfo* token);
  static Saved saveToken(std::int32_t index, const SoftTokenInfo& token);
  static bool inTrouble();
  static std::int32_t slotOfSameName(const SoftTokenInfo& token);
  static std::int32_t firstFreeSlot();

  static Gateway* gateway_;
};

}  // namespace talvane
