#pragma once

// What a running desktop program tells of itself, for the command line: lines NAME=VALUE in a file
// beside its socket, in a folder that only the user can enter. No secrets.

#include <map>
#include <string>
#include <vector>

namespace talvane {

using ProgramFacts = std::map<std::string, std::string>;

/// The name of a fact about a setting begins so; its key in lower case follows.
inline constexpr const char* setting_fact = "setting ";

/// The file for the program of this display (`displayName`).
std::string programFactsPath(const std::string& display);
/// Writes the file. A failure is silent. Line ends in values become spaces.
void writeProgramFacts(const std::string& path, const ProgramFacts& facts);

/// The facts of each desktop program of this user that runs and takes requests; empty for one that
/// tells none.
std::vector<ProgramFacts> runningPrograms();

}  // namespace talvane
