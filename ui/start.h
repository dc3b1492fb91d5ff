#pragma once

#include <QString>

#include <string>

namespace talvane {

/// The requests that a start of the program can make to the running one.
namespace request {
inline constexpr const char* start = "start";    // no option given: toggles the running program
inline constexpr const char* toggle = "toggle";  // open the panel or close it
inline constexpr const char* quit = "quit";
inline constexpr const char* background = "background";  // serve the desktop's search
inline constexpr const char* open = "open ";             // followed by a link
}  // namespace request

struct StartOptions {
  QString request = QLatin1String(request::start);
  bool console = true;
  /// Text to print instead of starting; the problem with the command line if `failed`.
  std::string output;
  bool failed = false;
};

StartOptions readOptions(int argc, char** argv);

}  // namespace talvane
