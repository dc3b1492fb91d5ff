#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "engine/cleared.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "enrol/ta_enrol_client.h"

namespace talvane {
namespace {

constexpr const char* parse_error = "ERR Response parse error";
constexpr std::string_view line_end = "\r\n";
constexpr std::int64_t version_without_passcode = 7200;

bool isTrue(std::string_view text) {
  return text == "True";
}

}  // namespace

std::optional<std::string> TaEnrolClient::processEnrolResponse(const char* body,
                                                               std::string_view parseline) {
  const LineParser parser = parseline == get_parser ? &TaEnrolClient::parseLineAuthGetResponse
                                                    : &TaEnrolClient::parseLineAuthPostResponse;
  std::string_view rest = body == nullptr ? "" : body;
  bool more = body != nullptr && isUtf8(rest);
  bMessage = false;
  while (more) {
    const std::size_t end = rest.find(line_end);
    more = end != std::string_view::npos;
    const std::string_view text = trimmed(rest.substr(0, end));
    if (more) rest.remove_prefix(end + line_end.size());
    vane::log("TaEnrolClient: ProcessEnrolResponse:   line:{}", text);
    if (text.empty()) {
      vane::log("TaEnrolClient: ProcessEnrolResponse:     blank line ignored");
      continue;
    }
    if (text.starts_with('#')) {
      vane::log("TaEnrolClient: ProcessEnrolResponse:     comment- ignored");
      continue;
    }
    if (bMessage) {
      MESSAGE.append(line_end).append(text);
      continue;
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
      vane::log("TaEnrolClient: ProcessEnrolResponse:     malformed attr:value line");
      return parse_error;
    }
    Line line{text.substr(0, colon), text.substr(colon + 1), {}};
    if (line.attribute == "MESSAGE") {
      MESSAGE.append(line.value);
      bMessage = true;
      continue;
    }
    if (line.attribute == "INPUT") {
      if (const std::size_t equals = line.value.find('='); equals != std::string_view::npos) {
        line.parameter = line.value.substr(equals + 1);
        line.value = line.value.substr(0, equals);
      }
    }
    if (auto error = (this->*parser)(line)) {
      vane::log("TaEnrolClient: ProcessEnrolResponse: parseline return err {}", *error);
      return error;
    }
  }
  vane::log("TaEnrolClient: ProcessEnrolResponse: POST: {}", orNil(post));
  vane::log("TaEnrolClient: ProcessEnrolResponse: OK");
  return std::nullopt;
}

std::optional<std::string> TaEnrolClient::parseLineAuthGetResponse(const Line& line) {
  if (line.attribute == "RESULT") {
    if (line.value == "OK") return std::nullopt;
    if (line.value == "REDIRECTHTTPS") {
      vane::log("pTaEnrolClient: arseLineAuthPostResponse: redirect to https required");
    }
    return std::string(line.value);
  }
  if (line.attribute == "VERSION") {
    VERSION = leadingInteger(line.value);
    if (VERSION == version_without_passcode) bPASSCODE = false;
    return std::nullopt;
  }
  if (line.attribute == "PASSWORD") {
    bPASSWORD = isTrue(line.value);
    return std::nullopt;
  }
  if (line.attribute == "INPUT") {
    vane::log("TaEnrolClient: parseLineAuthPostResponse: unexpected input tag");
  } else {
    vane::log("TaEnrolClient: parseLineAuthPostResponse: unexpected tag");
  }
  return parse_error;
}

std::optional<std::string> TaEnrolClient::parseLineAuthPostResponse(const Line& line) {
  if (line.attribute == "RESULT") {
    constexpr std::array<std::pair<std::string_view, Result>, 3> results{
        {{"OK,GETINFO", Result::get_info},
         {"OK,DENIED", Result::denied},
         {"OK,CHALLENGE", Result::challenge}}};
    const auto* const found = std::find_if(results.begin(), results.end(), [&](const auto& result) {
      return result.first == line.value;
    });
    RESULT = found == results.end() ? Result::error : found->second;
    bChallenge = RESULT == Result::challenge;
    if (RESULT == Result::error) return std::string(line.value);
    return std::nullopt;
  }
  if (line.attribute == "PASSCODE") {
    bPASSCODE = isTrue(line.value);
    vane::log("TaEnrolClient: parseLineAuthPostResponse: Passcode: {}",
              bPASSCODE ? "True" : "False");
    return std::nullopt;
  }
  if (line.attribute == "INPUT") return parseInput(line);
  if (parseText(line)) return std::nullopt;
  bool is_number = false;
  auto error = parseNumber(line, &is_number);
  if (is_number) return error;
  vane::log("parseLineAuthPostResponse: unexpected attribute");
  return parse_error;
}

std::optional<std::string> TaEnrolClient::parseInput(const Line& line) {
  if (line.value == "ENROL") bENROL = isTrue(line.parameter);
  if (line.value == "USERCREATEPIN") bUSERCREATEPIN = isTrue(line.parameter);
  if (line.value == "GETMBNUMBER") bGETMBNUMBER = isTrue(line.parameter);
  if (line.value == "PIN") PIN = line.parameter;
  if (line.value == "SOFTTOKENURL") {
    SOFTTOKENURL = line.parameter;
    SOFTTOKEN.reset();
    if (!vane::ParseAuthUrl(SOFTTOKENURL.get(), &SOFTTOKEN))
      return "ERR Soft token URL parse error";
  }
  addToPOST(line.value, line.parameter);
  return std::nullopt;
}

bool TaEnrolClient::parseText(const Line& line) {
  const std::array<std::pair<std::string_view, std::string*>, 4> texts{{{"PROMPT", &PROMPT},
                                                                        {"QUESTION1", &QUESTION1},
                                                                        {"QUESTION2", &QUESTION2},
                                                                        {"QUESTION3", &QUESTION3}}};
  for (const auto& [name, text] : texts) {
    if (line.attribute != name) continue;
    *text = line.value;
    return true;
  }
  const std::array<std::pair<std::string_view, Cleared<std::string>*>, 3> answers{
      {{"ANSWER1", &ANSWER1}, {"ANSWER2", &ANSWER2}, {"ANSWER3", &ANSWER3}}};
  for (const auto& [name, answer] : answers) {
    if (line.attribute != name) continue;
    *answer = line.value;
    return true;
  }
  if (line.attribute == "QUESTIONS1") {
    QUESTIONS1 = parseQuestions(line.value);
  } else if (line.attribute == "QUESTIONS2") {
    QUESTIONS2 = parseQuestions(line.value);
  } else if (line.attribute == "QUESTIONS3") {
    if (!line.value.empty()) QUESTIONS3 = parseQuestions(line.value);
  } else {
    return false;
  }
  return true;
}

std::optional<std::string> TaEnrolClient::parseNumber(const Line& line, bool* known) {
  struct Number {
    std::string_view name;
    std::int64_t* number;
    bool may_be_empty;
    const char* complaint;
  };
  const std::array<Number, 3> numbers{
      {{"PINLENGTH", &PINLENGTH, false,
        "TaEnrolClient: parseLineAuthPostResponse: err pinlength 0"},
       {"UPPERCASE", &UPPERCASE, true, "TaEnrolClient: parseLineAuthPostResponse: err uppercase 0"},
       {"LOWERCASE", &LOWERCASE, true,
        "TaEnrolClient: parseLineAuthPostResponse: err lowercase 0"}}};
  for (const Number& number : numbers) {
    if (line.attribute != number.name) continue;
    *known = true;
    *number.number = leadingInteger(line.value);
    if (*number.number != 0 || (number.may_be_empty && line.value.empty())) return std::nullopt;
    vane::log("{}", number.complaint);
    return parse_error;
  }
  return std::nullopt;
}

TaEnrolClient::Questions TaEnrolClient::parseQuestions(std::string_view text) {
  Questions questions;
  for (const std::string_view piece : split(text, ',')) {
    const std::string_view question = trimmed(piece);
    if (!question.empty()) questions.emplace_back(question);
  }
  return questions;
}

}  // namespace talvane
