#include "cli/live_table.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "cli/terminal.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/translation.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

constexpr std::size_t widest_name = 40;
constexpr std::size_t narrowest_name = 6;
constexpr const char* plain = "\x1b[0m";
constexpr const char* faint = "\x1b[2m";
constexpr std::int64_t last_seconds = 5;  // in which the next passcode shows

// Columns of a row without the name, with one that stays empty, and of the next passcode.
constexpr std::size_t row_columns = 24;
constexpr std::size_t next_columns = 11;  // and its word

std::size_t nameColumns(std::size_t columns, std::size_t others) {
  return std::clamp(columns, others + narrowest_name, others + widest_name) - others;
}

std::string_view environment(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr ? value : "";
}

std::string passcodeOf(const SoftTokenInfo& token, std::int64_t now) {
  return vane::GeneratePasscode(token.seed32->get(), token.counterAt(now)).value_or("------");
}

std::int64_t secondsLeft(const SoftTokenInfo& token, std::int64_t now) {
  return token.period - now % token.period;
}

int byteOf(float part) {
  return static_cast<int>(std::lround(part * 255));
}

std::string bright(const Colour& colour, ColourDepth depth) {
  if (depth == ColourDepth::none) return {};
  if (depth == ColourDepth::all) {
    return fmt::format("\x1b[38;2;{};{};{}m", byteOf(colour.red), byteOf(colour.green),
                       byteOf(colour.blue));
  }
  if (colour.green < 0.3F) return "\x1b[31m";
  return colour.red < 0.5F ? "\x1b[32m" : "\x1b[33m";
}

// The passcode's colours run from black to red, for a light background. On a terminal, its own text
// colour replaces black, which would be invisible on a dark background, and any red is bright red.
std::string textColour(const Colour& colour, ColourDepth depth) {
  if (depth == ColourDepth::none) return {};
  return colour.red > 0 ? "\x1b[1;91m" : "\x1b[1m";
}

std::string bar(const StoredTokens& tokens, std::int64_t now, std::size_t columns,
                ColourDepth depth) {
  const std::int64_t period = vane::bAllTokensArePeriod60(tokens.list) ? 60 : 30;
  const std::int64_t elapsed = now % period;
  const auto length = static_cast<std::int64_t>(std::clamp<std::size_t>(columns, 20, 70) - 12);
  const std::int64_t gone = elapsed * length / (period - 1);
  const auto colour_index =
      static_cast<std::int32_t>(period == 30 ? elapsed : std::max<std::int64_t>(elapsed - 30, 0));
  std::string text = bright(vane::ColorForValue(colour_index), depth);
  for (std::int64_t i = gone; i < length; ++i) text += "█";
  if (depth != ColourDepth::none) text += plain;
  for (std::int64_t i = 0; i < gone; ++i) text += "·";
  return fmt::format("  {} {:2} s", text, period - elapsed);
}

std::string spaced(const std::string& passcode) {
  return passcode.substr(0, 3) + ' ' + passcode.substr(3);
}

}  // namespace

ColourDepth colourDepth() {
  if (!environment("NO_COLOR").empty() || isDumbTerminal()) return ColourDepth::none;
  const auto wide = environment("COLORTERM");
  return wide == "truecolor" || wide == "24bit" ? ColourDepth::all : ColourDepth::sixteen;
}

std::string plainTable(const StoredTokens& tokens, std::int64_t now,
                       std::optional<std::size_t> columns) {
  const std::string slot = translated("SLOT");
  const std::string passcode = translated("PASSCODE");
  const std::string valid = translated("VALID");
  const std::size_t slot_columns = std::max<std::size_t>(4, columnsOf(slot));
  const std::size_t passcode_columns = std::max<std::size_t>(8, columnsOf(passcode));
  const std::size_t others =
      slot_columns + passcode_columns + std::max<std::size_t>(4, columnsOf(valid)) + 7;
  const std::size_t name_columns = columns ? nameColumns(*columns, others) : widest_name;
  std::string text = fmt::format("{}  {}  {}  {}\n", inColumns(slot, slot_columns),
                                 inColumns(translated("NAME"), name_columns),
                                 inColumns(passcode, passcode_columns), valid);
  for (std::size_t i = 0; i < tokens.list.size(); ++i) {
    const SoftTokenInfo& token = *tokens.list[i];
    text +=
        fmt::format("{:{}}  {}  {}  {:2} s\n", i, slot_columns,
                    inColumns(printable(token.currentDescription().value_or("")), name_columns),
                    inColumns(passcodeOf(token, now), passcode_columns), secondsLeft(token, now));
  }
  return text;
}

std::string colouredTable(const StoredTokens& tokens, std::int64_t now, std::size_t columns,
                          ColourDepth depth) {
  const bool countdown_60 = vane::bAllTokensArePeriod60(tokens.list);
  // The names keep their width, whether the next passcodes show or not.
  const std::string next = translated("next");
  const std::size_t room_of_next = next_columns + columnsOf(next);
  const bool has_room = columns >= row_columns + room_of_next + 2 * narrowest_name;
  const std::size_t name_columns =
      nameColumns(columns, row_columns + (has_room ? room_of_next : 0));
  std::string text;
  for (std::size_t i = 0; i < tokens.list.size(); ++i) {
    const SoftTokenInfo& token = *tokens.list[i];
    const std::int32_t index = vane::GetPasscodeColorForToken(token, countdown_60, now);
    const std::string colour = textColour(vane::ColorForValue2(index), depth);
    text += fmt::format("  {:2}  {}   {}{}{}   {:2} s", i,
                        inColumns(printable(token.currentDescription().value_or("")), name_columns),
                        colour, spaced(passcodeOf(token, now)), colour.empty() ? "" : plain,
                        secondsLeft(token, now));
    if (has_room && secondsLeft(token, now) <= last_seconds) {
      text +=
          fmt::format("   {}{} {}{}", colour.empty() ? "" : faint, next,
                      spaced(passcodeOf(token, now + token.period)), colour.empty() ? "" : plain);
    }
    text += '\n';
  }
  return text + '\n' + bar(tokens, now, columns, depth) + '\n';
}

}  // namespace talvane
