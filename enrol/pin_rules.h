#pragma once

// What a new PIN and the answers to secret questions must be like. Characters are UTF-16 units.

#include <array>
#include <optional>
#include <string>

#include "enrol/ta_enrol_client.h"

namespace talvane {

/// Whether the PIN has the server's length and enough upper- and lower-case letters; true when the
/// server asks for none. The PIN goes into the trace log in clear.
bool checkPIN(const TaEnrolClient& client, const std::string& pin);

/// Why a PIN that passed `checkPIN` is too weak; nullopt: it is not. Only a run through the whole
/// PIN is refused.
std::optional<std::string> checkPINAdvanced(const TaEnrolClient& client, const std::string& pin);

/// What is wrong with the answers; nullopt: nothing. The third counts only when the server sent a
/// third list of questions.
std::optional<std::string> checkAnswers(const TaEnrolClient& client,
                                        const std::array<std::string, 3>& answers);

}  // namespace talvane
