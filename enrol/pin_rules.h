#pragma once

// The rules for a new PIN and for the answers to secret questions. Characters are UTF-16 units.

#include <array>
#include <optional>
#include <string>

#include "engine/cleared.h"
#include "enrol/ta_enrol_client.h"

namespace talvane {

/// Whether the PIN has the server's length and enough upper- and lower-case letters; true if the
/// server asks for no PIN. Writes the PIN to the trace log in clear.
bool checkPIN(const TaEnrolClient& client, const std::string& pin);

/// Why a PIN that passed `checkPIN` is too weak; nullopt if it is not. Refuses only runs through
/// the whole PIN.
std::optional<std::string> checkPINAdvanced(const TaEnrolClient& client, const std::string& pin);

/// What a PIN lacks as far as it is typed, in a few words for the user; nullopt if it is neither
/// against the server's rules nor too weak. Writes nothing to the trace log.
std::optional<std::string> pinProblem(const TaEnrolClient& client, const std::string& pin);

/// What is wrong with the answers; nullopt if nothing is. The third counts only when the server
/// sent a third list of questions.
std::optional<std::string> checkAnswers(const TaEnrolClient& client,
                                        const std::array<Cleared<std::string>, 3>& answers);

}  // namespace talvane
