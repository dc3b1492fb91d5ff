#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <iostream>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/terminal.h"
#include "engine/text.h"

namespace talvane {
namespace {

constexpr const char* footer =
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 no such token, 4 keychain unavailable or "
    "locked.\nEach command explains itself with --help; the manual is softtoken-cli(1).";

int fail(ExitCode code, std::string_view text) {
  const std::string line = "softtoken-cli: " + printable(withoutLineEnds(text)) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
  return code;
}

// A file that is opened later must not get the number of a closed stream and be written into. What
// stands in can be read to its end at once, and not written.
void fillClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_RDONLY));
  }
}

int outputWritten() {
  std::cout.flush();
  if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    return fail(exit_failed, "Standard output cannot be written");
  }
  return exit_ok;
}

int run(int argc, char** argv) {
  CLI::App line("Talvane Soft Token on the command line: one-time passcodes from your keychain.",
                "softtoken-cli");
  line.footer(footer);
  line.set_version_flag("--version", "softtoken-cli " SOFTTOKEN_VERSION);
  line.require_subcommand(1);
  line.fallthrough();  // options of the line may also follow the command
  line.set_help_flag("-h,--help", "Show this help and end");
  SessionOptions options;
  line.add_option("--keychain", options.keychain,
                  "Keychain for the first token: secret-service or vault; later it is remembered")
      ->check(CLI::IsMember(keychainKinds()))
      ->type_name("KIND");
  line.add_flag("--console-log", options.console_log,
                "Write the log, which holds seeds, to standard error");

  std::vector<std::unique_ptr<Command>> commands;
  std::vector<CLI::App*> parsers;
  for (const auto make : {makeListCommand, makeCodeCommand, makeWatchCommand, makeAddCommand,
                          makeImportCommand, makeEnrolCommand, makeRenameCommand, makeDeleteCommand,
                          makeSettingsCommand, makeDoctorCommand}) {
    commands.push_back(make());
    parsers.push_back(commands.back()->addTo(line));
  }
  try {
    line.parse(argc, argv);
  } catch (const CLI::ExtrasError&) {
    // What there was too much of is not repeated: it may be a seed.
    return fail(exit_usage, "More was given than the command takes; see: softtoken-cli --help");
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      return fail(exit_usage, std::string(error.what()) + "; see: softtoken-cli --help");
    }
    line.exit(error);  // prints the help or the version
    return outputWritten();
  }
  Session session(options);
  for (std::size_t i = 0; i < commands.size(); ++i) {
    if (parsers[i]->parsed()) commands[i]->run(session);
  }
  return outputWritten();
}

}  // namespace
}  // namespace talvane

int main(int argc, char** argv) {
  talvane::fillClosedStreams();
  try {
    return talvane::run(argc, argv);
  } catch (const talvane::Failure& failure) {
    return talvane::fail(failure.code(), failure.what());
  } catch (const std::exception& error) {
    return talvane::fail(talvane::exit_failed, std::string("Unexpected error: ") + error.what());
  }
}
