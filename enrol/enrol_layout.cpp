#include "enrol/enrol_layout.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "config/ini.h"
#include "engine/vane.h"
#include "enrol/ta_enrol_client.h"
#include "platform/translation.h"

namespace talvane {
namespace {

constexpr std::int64_t version_with_choices = 7200;
constexpr int one_line = 20;
constexpr int three_lines = 60;

// Each placeholder is there once; languages other than English leave its article out.
void fillIn(std::string* text, std::string_view placeholder, const std::string& value) {
  const std::size_t place = text->find(placeholder);
  if (place != std::string::npos) text->replace(place, placeholder.size(), value);
}

bool hasCaseRule(const TaEnrolClient& client) {
  return client.UPPERCASE != 0 || client.LOWERCASE != 0;
}

}  // namespace

AuthenticationLayout authenticationLayout(const Ini& ini, const TaEnrolClient* client,
                                          bool pleasewait, const std::string& message,
                                          bool userid_is_empty) {
  using Mode = AuthenticationLayout::Mode;
  using Field = AuthenticationLayout::Field;
  AuthenticationLayout layout;
  layout.message_is_error = !message.empty();
  const bool challenge = client != nullptr && client->bChallenge;
  if (layout.message_is_error) {
    layout.message = message;
  } else if (pleasewait) {
    layout.message = ini.StrPleaseWait;
  } else {
    layout.message = challenge ? client->PROMPT : ini.StrEnrolPrompt;
  }
  if (pleasewait || client == nullptr) return layout;
  if (challenge) {
    vane::log("EVA: layout: challenge mode");
    layout.mode = Mode::challenge;
    layout.shows_passcode = client->bPASSCODE;
    layout.passcode_row = 0;
    layout.focus = layout.shows_passcode ? Field::passcode : Field::submit;
    return layout;
  }
  layout.mode = client->bPASSWORD ? Mode::all_fields : Mode::no_password;
  vane::log("{}",
            client->bPASSWORD ? "EVA: layout: all fields mode" : "EVA: layout: no password mode");
  layout.shows_userid = true;
  layout.shows_password = client->bPASSWORD;
  layout.shows_passcode = client->VERSION != version_with_choices || client->bPASSCODE;
  layout.passcode_row = client->bPASSWORD ? 2 : 1;
  // The focus must not go to a hidden field: Return would then press Cancel.
  layout.focus = Field::userid;
  if (!userid_is_empty && layout.shows_password) {
    layout.focus = Field::password;
  } else if (!userid_is_empty && layout.shows_passcode) {
    layout.focus = Field::passcode;
  }
  return layout;
}

GetInfoState getInfoState(const TaEnrolClient& client) {
  if (client.bUSERCREATEPIN) {
    return client.bENROL ? GetInfoState::pin_and_questions : GetInfoState::pin_only;
  }
  return client.bENROL ? GetInfoState::questions_only : GetInfoState::nothing;
}

const char* nameOf(GetInfoState state) {
  switch (state) {
    case GetInfoState::pin_and_questions:
      return "showing PIN and ENROL";
    case GetInfoState::pin_only:
      return "showing PIN only";
    case GetInfoState::questions_only:
      return "showing QUESTIONS only";
    case GetInfoState::nothing:
      break;
  }
  return "";
}

int getInfoHeight(const TaEnrolClient& client) {
  const bool three = client.QUESTIONS3.has_value();
  switch (getInfoState(client)) {
    case GetInfoState::pin_and_questions:
      return three ? 460 : 380;
    case GetInfoState::pin_only:
      return 270;
    case GetInfoState::questions_only:
      return three ? 320 : 270;
    case GetInfoState::nothing:
      break;
  }
  return 500;
}

std::string pinPrompt(const TaEnrolClient& client) {
  std::string prompt =
      translated("Please choose $EN_INDEFINITE_ARTICLE$ $PINLENGTH$-character PIN. ");
  // The rule covers no other number that begins with a vowel.
  fillIn(&prompt, "$EN_INDEFINITE_ARTICLE$", client.PINLENGTH == 8 ? "an" : "a");
  fillIn(&prompt, "$PINLENGTH$", std::to_string(client.PINLENGTH));
  if (!hasCaseRule(client)) return prompt;
  prompt = translatedWith(
      "{} (Must contain at least $UPPERCASE$ uppercase and at least $LOWERCASE$ lowercase "
      "characters).",
      prompt);
  fillIn(&prompt, "$UPPERCASE$", std::to_string(client.UPPERCASE));
  fillIn(&prompt, "$LOWERCASE$", std::to_string(client.LOWERCASE));
  return prompt;
}

int pinPromptHeight(const TaEnrolClient& client) {
  return hasCaseRule(client) ? three_lines : one_line;
}

GetInfoPlaces getInfoPlaces(const TaEnrolClient& client, int height) {
  GetInfoPlaces places;
  const GetInfoState state = getInfoState(client);
  if (state == GetInfoState::nothing) return places;
  if (state != GetInfoState::questions_only) {
    places.pin_label = height - 40 - pinPromptHeight(client);
    places.pin = height - 130;
    places.pin_again = *places.pin - 26;  // between the PIN and the questions
  }
  if (state == GetInfoState::pin_only) return places;
  const int top = state == GetInfoState::pin_and_questions ? height - 180 : height - 60;
  places.question_label = top;
  const std::size_t count = client.QUESTIONS3 ? 3 : 2;
  for (std::size_t i = 0; i < count; ++i) {
    places.questions[i] = top - 40 - 70 * static_cast<int>(i);
    places.answers[i] = *places.questions[i] - 30;
  }
  return places;
}

bool hasEarlierAnswers(const TaEnrolClient& client) {
  return client.bENROL && client.VERSION >= version_with_choices && !client.QUESTION1.empty() &&
         !client.QUESTION2.empty();
}

std::size_t distinctQuestion(const std::vector<TaEnrolClient::Questions>& lists,
                             const std::vector<std::size_t>& selected, std::size_t sender) {
  const auto title = [&](std::size_t list) -> std::string {
    return selected[list] < lists[list].size() ? lists[list][selected[list]] : std::string();
  };
  const std::size_t current = selected[sender];
  if (lists.size() == 2) {
    if (title(0) != title(1)) {
      vane::log("EVGI: questionselected: no clash (2)");
      return current;
    }
    if (current == 0) {
      vane::log("EVGI: questionselected: nugding up");
      return lists[sender].size() > 1 ? 1 : 0;
    }
    vane::log("EVGI: questionselected: nugding down");
    return current - 1;
  }
  vane::log("EVGI: questionselected: tag: {}", sender + 1);
  std::vector<std::string> others;
  for (std::size_t list = 0; list < lists.size(); ++list) {
    if (list != sender) others.push_back(title(list));
  }
  const auto clashes = [&](const std::string& text) {
    return std::find(others.begin(), others.end(), text) != others.end();
  };
  if (!clashes(title(sender))) {
    vane::log("EVGI: questionselected: no clash (3)");
    return current;
  }
  const auto& titles = lists[sender];
  const auto free_title = std::find_if_not(titles.begin(), titles.end(), clashes);
  if (free_title == titles.end()) return current;
  vane::log("EVGI: questionselected: ok");
  return static_cast<std::size_t>(free_title - titles.begin());
}

}  // namespace talvane
