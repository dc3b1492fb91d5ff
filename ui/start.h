#pragma once

#include <QString>
#include <string>

namespace talvane {

/// What one start of the program can ask of the one that runs.
namespace request {
inline constexpr const char* start = "start";    // nothing said: toggles what runs already
inline constexpr const char* toggle = "toggle";  // open the panel or close it
inline constexpr const char* quit = "quit";
inline constexpr const char* open = "open ";  // followed by a link
}  // namespace request

struct StartOptions {
  QString request = QLatin1String(request::start);
  bool console = true;
  /// To be printed instead of starting; `failed`: it says what is wrong with the command line.
  std::string output;
  bool failed = false;
};

StartOptions readOptions(int argc, char** argv);

}  // namespace talvane
