#include "cli/first_token.h"

#include <fmt/core.h>

#include <string>

#include "cli/exit_codes.h"
#include "cli/failure.h"
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
  if (knows_server) {
    ways += "  softtoken-cli enrol                      asks your enrolment server for one\n";
  }
  if (settings.bAllowManual) {
    ways +=
        "  softtoken-cli add \"Work mail\"            asks for the 13- or 16-character seed\n"
        "  softtoken-cli import                     reads an otpauth:// URL that you type or pipe "
        "in\n"
        "  softtoken-cli import image.png           reads the QR code in an image\n";
  }
  if (settings.bAllowTaEnrol && !knows_server) {
    ways +=
        "  softtoken-cli enrol https://server       asks the enrolment server at that address\n";
  }
  std::string text = "There are no tokens yet.\n";
  if (!ways.empty()) text += "To add one, use one of these commands:\n" + ways;
  if (!settings.bAllowManual && !knows_server) {
    text += fmt::format(
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
