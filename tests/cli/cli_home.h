#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tests/cli/process.h"
#include "tests/cli/terminal_process.h"
#include "tests/support/now.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {

/// 16 and 13 characters; their passcodes in the tests come from another program.
inline constexpr const char* seed_16 = "JBSWY3DPEHPK3PXP";
inline constexpr const char* other_seed_16 = "GEZDGNBVGY3TQOJQ";
inline constexpr const char* seed_13 = "MFRGGZDFMZTWQ";

using Strings = std::vector<std::string>;

/// A user of the command line without a past: own home, own folders, no bus, no desktop. Tokens may
/// be added by hand, and the vault is asked for.
class CliHome {
 public:
  CliHome();
  CliHome(const CliHome&) = delete;
  CliHome& operator=(const CliHome&) = delete;

  /// Runs softtoken-cli with these arguments.
  [[nodiscard]] Ended run(const Strings& arguments, std::string_view input = {}) const;
  [[nodiscard]] Ended run(const Strings& arguments, const Streams& streams) const;
  /// The same on a terminal.
  [[nodiscard]] std::unique_ptr<TerminalProcess> runOnTerminal(const Strings& arguments,
                                                               unsigned short rows = 24,
                                                               unsigned short columns = 80) const;
  /// The whole command line, for programs that start it.
  [[nodiscard]] Strings command(const Strings& arguments) const;

  /// Adds a token and expects that to work. Returns what was printed.
  std::string add(const std::string& name, const std::string& seed = seed_16,
                  int period = 30) const;
  /// Puts a token into the slot, also of a name that `add` would refuse.
  void plant(const std::string& name, std::int32_t slot) const;
  /// The same as another computer does it, which this one cannot read.
  void plantForeign(const std::string& name, std::int32_t slot) const;
  /// `list --json`; expects it to work without a word on standard error.
  [[nodiscard]] nlohmann::json list() const;
  /// The names in it, in the order of their slots.
  [[nodiscard]] Strings names() const;

  /// The settings file's text.
  void setSettings(std::string_view text) const;
  [[nodiscard]] std::string settingsFile() const { return folder_ / "home/tasofttoken.ini"; }
  [[nodiscard]] std::string vault() const { return dataFolder() + "/vault"; }
  [[nodiscard]] std::string dataFolder() const { return folder_ / "data/softtoken"; }
  [[nodiscard]] std::string traceFile() const { return folder_ / "home/softtoken.txt"; }
  /// What the program remembers of the choice of keychain.
  [[nodiscard]] std::string choiceFile() const {
    return folder_ / "config/softtoken/defaults.conf";
  }
  /// Overwrites the record in the slot with one that cannot be read.
  void damage(int slot) const;
  /// Removes the record in the slot, and leaves those behind it where they are.
  void remove(int slot) const;

  /// Every file below the home with its content.
  using Files = std::map<std::string, std::string>;
  [[nodiscard]] Files files() const;
  /// Which of them have come, gone, or another content now, and from how many bytes to how many.
  [[nodiscard]] Strings changedSince(const Files& before) const;

  /// A place for a test's own files.
  [[nodiscard]] std::string path(std::string_view name) const { return folder_ / name; }
  [[nodiscard]] const std::string& root() const { return folder_.path(); }

  Strings environment;
  std::string keychain = "vault";  // as --keychain says; empty: not said

 private:
  TemporaryFolder folder_;
};

/// Expects the exit code and, on standard error, one line that begins with the program's name,
/// holds `words`, and has nothing that steers a terminal; standard output is empty.
void expectFailure(const Ended& ended, int exit_code, std::string_view words);

/// Expects exit code 0 and nothing on standard error.
void expectSuccess(const Ended& ended);

/// The passcode by oathtool(1).
std::string oathPasscode(const std::string& seed, int period, std::int64_t time);

/// What `command` returns while one step of `period` seconds lasts, and a second within that step.
template <typename Command>
auto inOneStep(int period, Command command) {
  for (;;) {
    const std::int64_t before = now();
    auto result = command();
    if (before / period == now() / period) return std::pair(std::move(result), before);
  }
}

}  // namespace talvane::test
