// Help, version, and lines that make no sense.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"
#include "tests/support/failing_call.h"
#include "tests/support/in_child.h"
#include "tests/support/sanitized.h"

namespace talvane::test {
namespace {

const Strings commands = {"list",   "code",   "watch",    "add",   "import",
                          "rename", "delete", "settings", "doctor"};

bool has(const std::string& text, std::string_view part) {
  return text.find(part) != std::string::npos;
}

TEST(Usage, HelpNamesEveryCommandAndTheExitCodes) {
  const CliHome home;
  for (const char* option : {"--help", "-h"}) {
    const Ended ended = home.run({option});
    expectSuccess(ended);
    for (const std::string& command : commands) {
      EXPECT_TRUE(has(ended.out, "\n  " + command + ' ')) << command << '\n' << ended.out;
    }
    EXPECT_TRUE(has(ended.out, "Exit codes"));
  }
}

TEST(Usage, ProgramThatCannotFindItselfEnds) {
  if (sanitized) GTEST_SKIP() << "the sanitizer writes a warning";
  const CliHome home;
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_readlink, SYS_readlinkat}, EACCES));
    expectFailure(home.run({"list"}), 1, "does not tell where this program is");
  });
}

TEST(Usage, EveryCommandHasHelp) {
  const CliHome home;
  for (const std::string& command : commands) {
    for (const char* option : {"--help", "-h"}) {
      const Ended ended = home.run({command, option});
      expectSuccess(ended);
      EXPECT_TRUE(has(ended.out, "softtoken-cli " + command)) << ended.out;
      EXPECT_TRUE(has(ended.out, "Exit codes"));
    }
  }
}

TEST(Usage, HelpNeedsNoHomeAndMakesNothing) {
  CliHome home;
  const auto before = home.files();
  home.environment = {"PATH=/usr/bin:/bin"};
  expectSuccess(home.run({"--help"}));
  expectSuccess(home.run({"add", "--help"}));
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Usage, VersionIsOneLine) {
  const CliHome home;
  const Ended ended = home.run({"--version"});
  expectSuccess(ended);
  EXPECT_TRUE(ended.out.starts_with("softtoken-cli ")) << ended.out;
  EXPECT_EQ(std::count(ended.out.begin(), ended.out.end(), '\n'), 1);
}

TEST(Usage, LinesThatMakeNoSense) {
  CliHome home;
  home.keychain.clear();
  const auto before = home.files();
  const std::set<std::string> helped(commands.begin(), commands.end());
  for (const Strings& arguments : {Strings{},
                                   {""},
                                   {"frobnicate"},
                                   {"LIST"},
                                   {"--frobnicate"},
                                   {"-x"},
                                   {"list", "list"},
                                   {"list", "--frobnicate"},
                                   {"list", "extra"},
                                   {"watch", "extra"},
                                   {"settings", "Debug"},
                                   {"doctor", "--fix"},
                                   {"code", "A", "--nxt"},
                                   {"--keychain"},
                                   {"--keychain", "vault"},
                                   {"--"},
                                   {"list", "--json=maybe"},
                                   {"\x1b[31m\n"},
                                   {"\xFF"}}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const bool has_command = !arguments.empty() && helped.contains(arguments.front());
    expectFailure(home.run(arguments), 2,
                  has_command ? "; see `softtoken-cli " + arguments.front() + " --help`"
                              : "; see `softtoken-cli --help`");
  }
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Usage, CommandsAreNotAbbreviated) {
  const CliHome home;
  for (const std::string& command : commands) {
    expectFailure(home.run({command.substr(0, command.size() - 1)}), 2, "");
  }
}

TEST(Usage, KeychainMayBeGivenBehindTheCommandToo) {
  CliHome home;
  home.add("A");
  home.keychain.clear();
  expectSuccess(home.run({"list", "--keychain", "vault"}));
}

TEST(Usage, HomeThatIsNotThereIsAFailureNotACrash) {
  CliHome home;
  home.environment = {"HOME=" + home.path("missing"), "PATH=/usr/bin:/bin"};
  const Ended ended = home.run({"list"});
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_FALSE(exists(home.path("missing")));
}

TEST(Usage, RelativeFoldersInTheEnvironmentAreIgnored) {
  CliHome home;
  for (std::string& entry : home.environment) {
    if (entry.starts_with("XDG_DATA_HOME=")) entry = "XDG_DATA_HOME=relative";
  }
  home.add("A");
  EXPECT_TRUE(exists(home.path("home/.local/share/softtoken/vault")));
}

}  // namespace
}  // namespace talvane::test
