#include "enrol/pin_rules.h"

#include <fmt/core.h>
#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/cleared.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "enrol/ta_enrol_client.h"
#include "platform/translation.h"

namespace talvane {
namespace {

constexpr std::size_t shortest_answer = 3;
constexpr std::size_t longest_answer = 13;

// One weakness: the pairs of neighbours that form it, and its messages.
struct Weakness {
  bool (*applies)(int first, int second);
  const char* checking;  // the last words of the trace line
  const char* found;
  const char* verdict;
  const char* message;
  const char* short_message;
};

constexpr std::array<Weakness, 3> weaknesses{
    {{[](int first, int second) { return second == first + 1; }, "raising sequence",
      "pin.raising sequence found", "pin.pin must not be raising sequence",
      marked("Pin must not be a raising sequence, this is too weak"),
      marked("Too weak: a rising sequence")},
     {[](int first, int second) { return first == second + 1; }, "falling sequence",
      "pin.raising falling found", "pin.pin must not be falling sequence",
      marked("Pin must not be a falling sequence, this is too weak"),
      marked("Too weak: a falling sequence")},
     {[](int first, int second) { return first == second; }, "being the same", "pin.same",
      "pin.pin must not use all the same characters",
      marked("Pin must not use all the same characters, this is too weak"),
      marked("Too weak: all characters are the same")}}};

enum class Traced : std::uint8_t { no, yes };

void trace(Traced traced, const char* words) {
  if (traced == Traced::yes) vane::log("{}", words);
}

std::int16_t countPairs(std::u16string_view pin, const Weakness& weakness, Traced traced) {
  std::int64_t count = 0;
  for (std::size_t i = 1; i < pin.size(); ++i) {
    if (traced == Traced::yes) {
      vane::log("pin.checking {} and {} for {}", static_cast<int>(pin[i - 1]),
                static_cast<int>(pin[i]), weakness.checking);
    }
    if (!weakness.applies(pin[i - 1], pin[i])) continue;
    trace(traced, weakness.found);
    ++count;
  }
  return static_cast<std::int16_t>(count);
}

// The first that applies to the whole PIN; null if none does.
const Weakness* weaknessOf(std::u16string_view pin, std::int64_t length, Traced traced) {
  for (const Weakness& weakness : weaknesses) {
    if (std::int64_t{countPairs(pin, weakness, traced)} + 1 != length) continue;
    trace(traced, weakness.verdict);
    return &weakness;
  }
  return nullptr;
}

struct Counts {
  std::int64_t all = 0;  // UTF-16 units
  std::int64_t upper = 0;
  std::int64_t lower = 0;
};

Counts countsOf(std::u16string_view pin) {
  Counts counts;
  counts.all = static_cast<std::int64_t>(pin.size());
  for (const char16_t unit : pin) {
    switch (utf8proc_category(unit)) {
      case UTF8PROC_CATEGORY_LU:
      case UTF8PROC_CATEGORY_LT:  // title case counts as upper
        ++counts.upper;
        break;
      case UTF8PROC_CATEGORY_LL:
        ++counts.lower;
        break;
      default:
        break;
    }
  }
  return counts;
}

}  // namespace

bool checkPIN(const TaEnrolClient& client, const std::string& pin) {
  if (!client.bUSERCREATEPIN) return true;
  const Cleared<std::u16string> units(utf16(pin));
  const Counts counts = countsOf(units.get());
  const bool good = counts.upper >= client.UPPERCASE && counts.lower >= client.LOWERCASE &&
                    counts.all == client.PINLENGTH;
  vane::log("EVGI: checkpin: {} returning {}", pin, good ? "YES" : "NO");
  return good;
}

std::optional<std::string> checkPINAdvanced(const TaEnrolClient& client, const std::string& pin) {
  const Cleared<std::u16string> units(utf16(pin));
  const Weakness* weakness = weaknessOf(units.get(), client.PINLENGTH, Traced::yes);
  if (weakness == nullptr) return std::nullopt;
  return translated(weakness->message);
}

std::optional<std::string> pinProblem(const TaEnrolClient& client, const std::string& pin) {
  if (!client.bUSERCREATEPIN) return std::nullopt;
  const Cleared<std::u16string> units(utf16(pin));
  const Counts counts = countsOf(units.get());
  if (counts.all < client.PINLENGTH) {
    return translatedCount("{} more character", "{} more characters",
                           static_cast<std::uint64_t>(client.PINLENGTH - counts.all));
  }
  if (counts.all > client.PINLENGTH) {
    // No subtraction: the server may have sent any length.
    return translated("Too long");
  }
  if (counts.upper < client.UPPERCASE) {
    return translatedCount("At least {} uppercase letter", "At least {} uppercase letters",
                           static_cast<std::uint64_t>(client.UPPERCASE));
  }
  if (counts.lower < client.LOWERCASE) {
    return translatedCount("At least {} lowercase letter", "At least {} lowercase letters",
                           static_cast<std::uint64_t>(client.LOWERCASE));
  }
  if (const Weakness* weakness = weaknessOf(units.get(), client.PINLENGTH, Traced::no)) {
    return translated(weakness->short_message);
  }
  return std::nullopt;
}

std::optional<std::string> checkAnswers(const TaEnrolClient& client,
                                        const std::array<Cleared<std::string>, 3>& answers) {
  const auto asked = answers.begin() + (client.QUESTIONS3 ? 3 : 2);
  const auto too_short = [](const Cleared<std::string>& answer) {
    return utf16Length(answer.get()) < shortest_answer;
  };
  const auto too_long = [](const Cleared<std::string>& answer) {
    return utf16Length(answer.get()) > longest_answer;
  };
  if (std::any_of(answers.begin(), asked, too_short)) {
    return translated("Answer to secret questions must be at least 3 characters long.");
  }
  if (std::any_of(answers.begin(), asked, too_long)) {
    return translated("Answer to secret questions must be no longer than 13 characters.");
  }
  return std::nullopt;
}

}  // namespace talvane
