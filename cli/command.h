#pragma once

#include <CLI/CLI.hpp>

#include <memory>

#include "cli/session.h"

namespace talvane {

/// One command of the command line.
class Command {
 public:
  virtual ~Command() = default;
  /// Adds the command and its options to the command line's parser.
  virtual CLI::App* addTo(CLI::App& line) = 0;
  /// Runs the command. Throws Failure.
  virtual void run(Session& session) = 0;
};

std::unique_ptr<Command> makeListCommand();
std::unique_ptr<Command> makeCodeCommand();
std::unique_ptr<Command> makeWatchCommand();
std::unique_ptr<Command> makeAddCommand();
std::unique_ptr<Command> makeImportCommand();
std::unique_ptr<Command> makeEnrolCommand();
std::unique_ptr<Command> makeRenameCommand();
std::unique_ptr<Command> makeMoveCommand();
std::unique_ptr<Command> makeDeleteCommand();
std::unique_ptr<Command> makeResponseCommand();
std::unique_ptr<Command> makeSettingsCommand();
std::unique_ptr<Command> makeDoctorCommand();
std::unique_ptr<Command> makeKeychainCommand();
std::unique_ptr<Command> makeReportCommand();

}  // namespace talvane
