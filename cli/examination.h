#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/session.h"
#include "config/ini.h"

namespace talvane {

struct Finding {
  std::string subject;
  bool good = true;
  std::string text;
};

struct Examination {
  std::vector<Finding> findings;
  bool keychain_good = false;

  [[nodiscard]] bool good() const;
};

/// Who reads it: the help desk gets no identifiers of the computer.
enum class Reader : std::uint8_t { user, help_desk };

/// Looks at the keychain, the device identifiers, the settings, the running desktop program, the
/// clock, the enrolment server and the files. Changes nothing but what reading changes: others'
/// rights to the vault are taken away.
Examination examine(Session& session, Reader reader);

/// The settings that a running desktop program has otherwise than the files say now, as a sentence
/// for each such program; empty if there is none.
std::vector<std::string> olderSettings(const Ini& settings);

}  // namespace talvane
