// The manual, the completions and --help tell of the same commands and options.

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

using Names = std::set<std::string>;

// What the expression's first group matches, wherever it does.
Names allMatches(const std::string& text, const std::string& expression) {
  const std::regex pattern(expression);
  Names names;
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
    names.insert((*match)[1]);
  }
  return names;
}

Names longOptions(const std::string& help) {
  return allMatches(help, "--([a-z][a-z-]*)");
}

Names operator|(Names names, const Names& more) {
  names.insert(more.begin(), more.end());
  return names;
}

// What --help says: the commands, and the long options of each; those of the program under "".
class Help {
 public:
  Help() {
    const CliHome home;
    const std::string text = home.run({"--help"}).out;
    const std::size_t list = text.find("Subcommands:\n");
    const std::size_t end = text.find("\n\n", list);
    EXPECT_NE(list, std::string::npos) << text;
    options[""] = longOptions(text.substr(0, list));
    exit_codes = text.substr(text.find("Exit codes"));
    commands = allMatches(text.substr(list, end - list), "\n  ([a-z]+) ");
    for (const std::string& command : commands) {
      options[command] = longOptions(home.run({command, "--help"}).out);
    }
    EXPECT_EQ(commands.size(), 10U);
  }

  [[nodiscard]] Names allOptions() const {
    Names all;
    for (const auto& [command, names] : options) all = all | names;
    return all;
  }

  Names commands;
  std::map<std::string, Names> options;
  std::string exit_codes;
};

std::string manual() {
  std::string text = readFile(CLI_MANUAL);
  EXPECT_FALSE(text.empty()) << CLI_MANUAL;
  return text;
}

std::string section(const std::string& name) {
  const std::string text = manual();
  const std::size_t begin = text.find("\n.Sh " + name + "\n");
  EXPECT_NE(begin, std::string::npos) << name;
  return text.substr(begin + 1, text.find("\n.Sh ", begin + 1) - begin);
}

Names optionsIn(const std::string& manual_text) {
  return allMatches(manual_text, "Fl -([a-z][a-z-]*)");
}

std::string completion(const std::string& name) {
  std::string text = readFile(std::string(CLI_COMPLETIONS) + '/' + name);
  EXPECT_FALSE(text.empty()) << name;
  return text;
}

bool isInstalled(const std::string& program) {
  return runProcess({"sh", "-c", "command -v " + program}, {"PATH=/usr/bin:/bin"}).exit_code == 0;
}

TEST(Manual, DescribesEveryCommand) {
  EXPECT_EQ(allMatches(section("COMMANDS"), "\n\\.It Cm ([a-z]+)"), Help().commands);
}

TEST(Manual, DescribesEveryOptionOfTheProgram) {
  EXPECT_EQ(optionsIn(section("DESCRIPTION")), Help().options.at(""));
  EXPECT_TRUE(optionsIn(section("SYNOPSIS")) == Help().options.at(""));
}

TEST(Manual, DescribesEveryOptionOfEachCommand) {
  const Help help;
  const std::string text = section("COMMANDS");
  for (const auto& [command, options] : help.options) {
    if (command.empty()) continue;
    const std::size_t begin = text.find("\n.It Cm " + command);
    ASSERT_NE(begin, std::string::npos) << command;
    const std::size_t end =
        std::min(text.find("\n.It Cm ", begin + 1), text.find("\n.El\n.Pp", begin));
    const std::string entry = text.substr(begin, end - begin);
    const std::string first_line = entry.substr(1, entry.find('\n', 1));
    // --help is told of once, for all of them.
    EXPECT_EQ(optionsIn(first_line) | Names{"help"}, options) << command;
    EXPECT_EQ(optionsIn(entry) | Names{"help"}, options) << command;
  }
}

TEST(Manual, ExitCodesAreThoseOfTheHelp) {
  const Names codes = {"0", "1", "2", "3", "4"};
  EXPECT_EQ(allMatches(section("EXIT STATUS"), "\n\\.It ([0-9]+)\n"), codes);
  const std::string help = Help().exit_codes;
  EXPECT_EQ(allMatches(help.substr(0, help.find(".\n")), "\\b([0-9]+) "), codes);
}

TEST(Manual, TellsOfTheSettingThatAllowsToAdd) {
  EXPECT_NE(section("SETTINGS").find("AllowManual"), std::string::npos);
}

TEST(Manual, IsFreeOfWarnings) {
  Ended ended;
  if (isInstalled("mandoc")) {
    ended = runProcess({"mandoc", "-T", "lint", "-W", "warning", CLI_MANUAL},
                       {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"});
  } else if (isInstalled("man") && isInstalled("groff")) {
    ended = runProcess({"man", "--warnings", "-l", CLI_MANUAL},
                       {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8", "MANWIDTH=80", "PAGER=cat"});
    ended.out.clear();
  } else {
    GTEST_SKIP() << "neither mandoc nor man is installed";
  }
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.out + ended.err, "");
}

TEST(BashCompletion, HoldsEveryCommandAndOption) {
  const Help help;
  const std::string text = completion("softtoken-cli.bash");
  EXPECT_EQ(longOptions(text), help.allOptions());
  const std::size_t begin = text.find(":*) __softtoken_cli_offer ");
  ASSERT_NE(begin, std::string::npos);
  const std::string line = text.substr(begin + 25, text.find(';', begin) - begin - 25);
  EXPECT_EQ(allMatches(line, "([a-z]+) "), help.commands);
}

TEST(ZshCompletion, HoldsEveryCommandAndOption) {
  const Help help;
  const std::string text = completion("_softtoken-cli");
  EXPECT_TRUE(text.starts_with("#compdef softtoken-cli\n"));
  EXPECT_EQ(longOptions(text), help.allOptions());
  EXPECT_EQ(allMatches(text, "\n    ['\"]([a-z]+):"), help.commands);
  // One branch for each set of commands: "list | settings)", their options, ";;".
  Names branches;
  const std::regex branch("\n    ([a-z |]+)\\)\n([^;]*);;");
  for (std::sregex_iterator match(text.begin(), text.end(), branch), end; match != end; ++match) {
    for (const std::string& command : allMatches((*match)[1], "([a-z]+)")) {
      branches.insert(command);
      ASSERT_TRUE(help.options.contains(command)) << command;
      EXPECT_EQ(longOptions((*match)[2]) | Names{"help"}, help.options.at(command)) << command;
    }
  }
  EXPECT_EQ(branches, help.commands);
}

TEST(FishCompletion, HoldsEveryCommandAndOption) {
  const Help help;
  const std::string text = completion("softtoken-cli.fish");
  EXPECT_EQ(allMatches(text, "\ncomplete -c softtoken-cli[^\n]* -l ([a-z][a-z-]*)"),
            help.allOptions());
  EXPECT_EQ(allMatches(text, "needs_command -a ([a-z]+) "), help.commands);
}

}  // namespace
}  // namespace talvane::test
