// Any bytes as a settings file's text, and the three kinds of look-up with keys from it.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "config/ta_settings.h"
#include "engine/text.h"

namespace {

using talvane::TaSettings;

const talvane::SettingsFolders nowhere{"/nowhere", "/nowhere", "/nowhere"};

void require(bool condition) {
  if (!condition) std::abort();
}

std::string withCarriageReturns(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\n') result += '\r';
    result += c;
  }
  return result;
}

// The keys that the text may hold, the first ones of them.
std::vector<std::string_view> keysIn(std::string_view text) {
  constexpr std::size_t most = 16;
  std::vector<std::string_view> keys;
  for (const std::string_view line : talvane::split(text, '\n')) {
    if (keys.size() == most) break;
    const std::string_view key = talvane::withoutLineEnds(line).substr(0, line.find('='));
    if (!key.empty()) keys.push_back(key);
  }
  return keys;
}

// The three kinds of look-up agree with each other.
void lookUp(const TaSettings& settings, std::string_view key) {
  const bool yes = settings.readbool(key, true);
  const bool no = settings.readbool(key, false);
  require(yes || !no);  // a default only ever makes the difference its way
  const std::string kept = settings.readstr(key, "default", false);
  require(settings.readstr(key, "default", true) == (kept.empty() ? "default" : kept));
  require(!kept.empty() || settings.readint(key, 7) == 7);
  const std::string upper = talvane::upperCase(key);
  require(settings.readstr(upper, "default", false) == kept ||
          talvane::lowerCase(upper) != talvane::lowerCase(key));
}

std::string valuesOf(const TaSettings& settings, const std::vector<std::string_view>& keys) {
  std::string all;
  for (const std::string_view key : keys) {
    const std::string* value = settings.value(key);
    all += value == nullptr ? "-" : *value;
    all += '|';
  }
  return all;
}

// A line more at the end is read exactly when the reading came that far.
void readLonger(const TaSettings& settings, std::string_view text, int result) {
  TaSettings longer(nowhere);
  require(longer.readtext(std::string(text) + "\nOne Line More=1\n") == result);
  if (settings.value("one line more") == nullptr) {
    require((longer.value("one line more") != nullptr) == (result == TaSettings::read_whole));
  }
}

// Line ends of either kind mean the same.
void readOtherEnds(const TaSettings& settings, std::string_view text, int result) {
  const auto keys = keysIn(text);
  TaSettings other_ends(nowhere);
  require(other_ends.readtext(withCarriageReturns(text)) == result);
  require(valuesOf(other_ends, keys) == valuesOf(settings, keys));
}

// A text that cannot be read leaves the table as it was.
void readUnreadable(TaSettings& settings, std::string_view text) {
  const auto keys = keysIn(text);
  const std::string values = valuesOf(settings, keys);
  require(settings.readtext(std::string(text) + "\n=\xFF") == TaSettings::unreadable);
  require(valuesOf(settings, keys) == values);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte says what is tried with the rest.
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  TaSettings settings(nowhere);
  const int result = settings.readtext(text);
  require((result == TaSettings::unreadable) == !talvane::isUtf8(text));
  switch (data[0] % 4) {
    case 0:
      for (const std::string_view key : keysIn(text)) lookUp(settings, key);
      break;
    case 1:
      readLonger(settings, text, result);
      break;
    case 2:
      readOtherEnds(settings, text, result);
      break;
    default:
      readUnreadable(settings, text);
      break;
  }
  return 0;
}
