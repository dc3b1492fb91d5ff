#include "cli/first_token.h"

#include <fmt/core.h>

#include <string>
#include <string_view>

#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/terminal.h"
#include "config/ini.h"
#include "engine/text.h"
#include "platform/translation.h"

namespace talvane {
namespace {

// The file for a line that switches a setting on.
std::string settingsFile(const Ini& settings) {
  return settings.file().empty() ? "~/tasofttoken.ini" : printable(settings.file());
}

}  // namespace

std::string firstTokenHelp(const Ini& settings) {
  const bool knows_server = settings.bAllowTaEnrol && !settings.EnrolURL.empty();
  std::string ways;
  const auto add = [&ways](std::string_view command, const std::string& what) {
    ways += fmt::format("  {}{}\n", inColumns(command, 41), what);
  };
  if (knows_server) {
    add("softtoken-cli enrol", translated("asks your enrolment server for one"));
  }
  if (settings.bAllowManual) {
    add("softtoken-cli add \"Work mail\"", translated("asks for the 13- or 16-character seed"));
    add("softtoken-cli import", translated("reads an otpauth:// URL that you type or pipe in"));
    add("softtoken-cli import image.png", translated("reads the QR code in an image"));
  }
  if (settings.bAllowTaEnrol && !knows_server) {
    add("softtoken-cli enrol https://server",
        translated("asks the enrolment server at that address"));
  }
  std::string text = translated("There are no tokens yet.\n");
  if (!ways.empty()) text += translated("To add one, use one of these commands:\n") + ways;
  if (!settings.bAllowManual && !knows_server) {
    text += translatedWith(
        "Adding tokens by hand is switched off. To allow it, put this line into {}:\n"
        "  AllowManual=true\n",
        settingsFile(settings));
  }
  return text;
}

void requireManual(const Ini& settings) {
  if (settings.bAllowManual) return;
  throw Failure(exit_failed,
                translatedWith("The setting AllowManual does not allow adding tokens by hand; put "
                               "AllowManual=true into {} to allow it",
                               settingsFile(settings)));
}

}  // namespace talvane
