// Any bytes as a settings file, and the three kinds of look-up with keys from it.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "config/ta_settings.h"
#include "engine/text.h"

namespace {

using talvane::TaSettings;

// A file in memory that holds the text, until the next one.
std::string fileOf(std::string_view text) {
  static const int descriptor = memfd_create("settings", MFD_CLOEXEC);
  if (descriptor < 0 || ftruncate(descriptor, 0) != 0 ||
      pwrite(descriptor, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
    std::abort();
  }
  return "/proc/self/fd/" + std::to_string(descriptor);
}

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

// What the table says about each key that the text may hold.
std::string lookUps(const TaSettings& settings, std::string_view text) {
  std::string all;
  std::size_t count = 0;
  for (const std::string_view line : talvane::split(text, '\n')) {
    if (++count > 64) break;
    const std::string_view key = talvane::withoutLineEnds(line).substr(0, line.find('='));
    const bool yes = settings.readbool(key, true);
    const bool no = settings.readbool(key, false);
    require(yes || !no);  // a default only ever makes the difference its way
    all += yes ? 'y' : 'n';
    all += no ? 'y' : 'n';
    all += std::to_string(settings.readint(key, 7));
    const std::string kept = settings.readstr(key, "default", false);
    const std::string filled = settings.readstr(key, "default", true);
    require(filled == (kept.empty() ? "default" : kept));
    require(settings.readstr(talvane::upperCase(key), "default", false) == kept ||
            talvane::lowerCase(talvane::upperCase(key)) != talvane::lowerCase(key));
    all += kept + '|';
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const talvane::SettingsFolders nowhere{"/nowhere", "/nowhere", "/nowhere"};

  TaSettings settings(nowhere);
  const int result = settings.readfile(fileOf(text));
  require(result == (talvane::isUtf8(text) ? result == 1 ? 1 : 255 : 0));
  const std::string values = lookUps(settings, text);

  // A line more at the end is read exactly when the reading came that far.
  TaSettings longer(nowhere);
  require(longer.readfile(fileOf(std::string(text) + "\nOne Line More=1\n")) == result);
  if (settings.value("one line more") == nullptr) {
    require((longer.value("one line more") != nullptr) == (result == 1));
  }

  // Line ends of either kind mean the same.
  TaSettings other_ends(nowhere);
  require(other_ends.readfile(fileOf(withCarriageReturns(text))) == result);
  require(lookUps(other_ends, text) == values);

  // A file that cannot be read leaves the table as it was.
  require(settings.readfile(fileOf(std::string(text) + "\n=\xFF")) == 0);
  require(lookUps(settings, text) == values);
  return 0;
}
