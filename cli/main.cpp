#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/session.h"
#include "engine/text.h"
#include "platform/core_dumps.h"
#include "platform/folders.h"
#include "platform/keychains.h"
#include "platform/translation.h"
#include "store/problem.h"

namespace talvane {
namespace {

constexpr const char* footer = marked(
    "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 no such token, 4 keychain unavailable "
    "or locked.\nFor help on a command, add --help to it. The manual page is "
    "softtoken-cli(1).");

// The parser's own names.
constexpr const char* options_group = marked("Options");
constexpr const char* commands_group = marked("Subcommands");

// What a command says of itself and its options; the commands give it in English.
void translateHelp(CLI::App& parser) {
  parser.description(translated(parser.get_description()));
  for (CLI::Option* option : parser.get_options()) {
    option->description(translated(option->get_description()));
    if (option->get_group() == options_group) option->group(translated(options_group));
  }
  for (CLI::App* command : parser.get_subcommands([](CLI::App*) { return true; })) {
    translateHelp(*command);
    command->group(translated(commands_group));
  }
}

// The parser speaks English. The first form that fits counts.
constexpr std::array parser_errors{
    marked("A subcommand is required"),
    marked("{} is required"),
    marked("{}: Value {} not in range {} to {}"),
    marked("{}: {} not in {}"),
    marked("{} excludes {}"),
    marked("{}: {} required {} missing"),
    marked("Could not convert: {} = {}"),
};

void translateHeadings(CLI::App& line) {
  for (const char* label : {marked("Usage"), marked("OPTIONS"), marked("SUBCOMMAND"),
                            marked("Positionals"), marked("REQUIRED"), marked("Excludes")}) {
    line.get_formatter()->label(label, translated(label));
  }
}

int fail(ExitCode code, std::string_view text) {
  const std::string line = "softtoken-cli: " + printable(withoutLineEnds(text)) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
  return code;
}

// Opens /dev/null in place of each closed stream, so that a file opened later does not get its
// number and our output.
void fillClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_RDONLY));
  }
}

int outputWritten() {
  std::cout.flush();
  if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    return fail(exit_failed,
                translated("Cannot write to standard output; check the disk or the pipe that it "
                           "goes to"));
  }
  return exit_ok;
}

// What an exception that nobody expected means for the user.
int failUnexpectedly(const std::exception& error) {
  // Output that cannot be written is told by an exception too.
  if (const int code = outputWritten(); code != exit_ok) return code;
  return fail(exit_failed, translatedWith("Unexpected error: {}", error.what()));
}

int failWithoutMemory() {
  std::fprintf(stderr, "softtoken-cli: %s\n", translated(not_enough_memory).c_str());
  return exit_failed;
}

// How to get help on the command that the line names.
std::string helpFor(const CLI::App& line) {
  std::string command = line.get_name();
  const auto parsed = line.get_subcommands();
  if (!parsed.empty()) command += ' ' + parsed.front()->get_name();
  return '`' + command + " --help`";
}

int run(int argc, char** argv) {
  CLI::App line(
      marked("Talvane Soft Token on the command line: one-time passcodes from your keychain."),
      "softtoken-cli");
  line.footer(translated(footer));
  line.set_version_flag("--version", "softtoken-cli " SOFTTOKEN_VERSION,
                        "Print the version and exit");
  line.require_subcommand(1);
  line.fallthrough();  // the options above may also follow the command
  line.set_help_flag("-h,--help", "Print this help and exit");
  SessionOptions options;
  line.add_option("--keychain", options.keychain,
                  "Keychain for the first token; the program remembers it")
      ->check(CLI::IsMember(keychainKinds()))
      ->type_name("KIND");
  line.add_flag("--console-log", options.console_log,
                "Write the log to standard error; it holds seeds");

  std::vector<std::unique_ptr<Command>> commands;
  std::vector<CLI::App*> parsers;
  for (const auto make : {makeListCommand, makeCodeCommand, makeWatchCommand, makeAddCommand,
                          makeImportCommand, makeEnrolCommand, makeRenameCommand, makeMoveCommand,
                          makeDeleteCommand, makeResponseCommand, makeSettingsCommand,
                          makeDoctorCommand, makeKeychainCommand, makeReportCommand}) {
    commands.push_back(make());
    parsers.push_back(commands.back()->addTo(line));
  }
  if (!userLanguage().empty()) {
    translateHelp(line);
    translateHeadings(line);
  }
  try {
    line.parse(argc, argv);
  } catch (const CLI::ExtrasError&) {
    // The message does not repeat the arguments: one may be a seed.
    return fail(exit_usage,
                translatedWith("Unknown option or too many arguments; see {}", helpFor(line)));
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      return fail(
          exit_usage,
          translatedWith("{}; see {}", translatedAs(parser_errors, error.what()), helpFor(line)));
    }
    line.exit(error);  // prints the help or the version
    return outputWritten();
  }
  if (executablePath().empty()) return fail(exit_failed, own_path_unknown);
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
  talvane::forbidCoreDumps();
  try {
    return talvane::run(argc, argv);
  } catch (const talvane::Failure& failure) {
    return talvane::fail(failure.code(), talvane::translated(failure.what()));
  } catch (const std::bad_alloc&) {
    return talvane::failWithoutMemory();
  } catch (const std::exception& error) {
    return talvane::failUnexpectedly(error);
  }
}
