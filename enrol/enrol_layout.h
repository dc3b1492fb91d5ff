#pragma once

// What the enrolment views show in each state of the conversation. Knows no widget.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "config/ini.h"
#include "enrol/ta_enrol_client.h"

namespace talvane {

/// The sign-in view. Rows count from the top: user name, password, passcode.
struct AuthenticationLayout {
  enum class Mode : std::uint8_t { busy, challenge, all_fields, no_password };
  enum class Field : std::uint8_t { none, userid, password, passcode, submit };
  Mode mode = Mode::busy;
  bool shows_userid = false;
  bool shows_password = false;
  bool shows_passcode = false;
  int passcode_row = 2;  // 0, 1 or 2
  Field focus = Field::none;
  std::string message;
  bool message_is_error = false;
};

/// `message` is the text that the flow has set; `client` may be null while busy.
AuthenticationLayout authenticationLayout(const Ini& ini, const TaEnrolClient* client,
                                          bool pleasewait, const std::string& message,
                                          bool userid_is_empty);

/// The get-info view.
enum class GetInfoState : std::uint8_t { pin_and_questions, pin_only, questions_only, nothing };
GetInfoState getInfoState(const TaEnrolClient& client);
/// "showing PIN and ENROL" and so on, for the trace log.
const char* nameOf(GetInfoState state);
/// The height of the view, in points.
int getInfoHeight(const TaEnrolClient& client);
/// The rules for the PIN, in words, and the height of these words in points.
std::string pinPrompt(const TaEnrolClient& client);
int pinPromptHeight(const TaEnrolClient& client);
/// Lower edges, measured upwards from the lower edge of a view that is `height` high; nullopt if
/// not shown.
struct GetInfoPlaces {
  std::optional<int> pin_label;
  std::optional<int> pin;
  std::optional<int> pin_again;
  std::optional<int> question_label;
  std::array<std::optional<int>, 3> questions;
  std::array<std::optional<int>, 3> answers;
};
GetInfoPlaces getInfoPlaces(const TaEnrolClient& client, int height);

/// Whether the server sent earlier answers to show.
bool hasEarlierAnswers(const TaEnrolClient& client);

/// Keeps the chosen questions distinct. `lists` holds the titles of the two or three pop-ups,
/// `selected` their selected items, of which `sender` (0 to 2) has just changed. Returns the item
/// that the sender must select: its own if nothing clashes, or if every item does.
std::size_t distinctQuestion(const std::vector<TaEnrolClient::Questions>& lists,
                             const std::vector<std::size_t>& selected, std::size_t sender);

}  // namespace talvane
