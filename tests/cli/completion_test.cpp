// The completions at work in the shells they are for.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

Strings linesOf(const std::string& text) {
  Strings lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

Strings sorted(Strings strings) {
  std::sort(strings.begin(), strings.end());
  return strings;
}

std::string completionFile(const std::string& name) {
  return std::string(CLI_COMPLETIONS) + '/' + name;
}

const Strings commands = {"add",  "code", "delete", "doctor", "enrol",    "import",   "keychain",
                          "list", "move", "rename", "report", "response", "settings", "watch"};

// The long options behind each command.
const std::vector<std::pair<std::string, Strings>> options = {
    {"", {"--console-log", "--help", "--keychain", "--version"}},
    {"list", {"--help", "--json", "--names"}},
    {"code", {"--copy", "--help", "--json", "--next"}},
    {"watch", {"--help"}},
    {"add", {"--help", "--period", "--replace"}},
    {"enrol", {"--help", "--replace"}},
    {"import", {"--help", "--replace"}},
    {"rename", {"--help"}},
    {"move", {"--help"}},
    {"delete", {"--help", "--yes"}},
    {"response", {"--help", "--json"}},
    {"settings", {"--check", "--help", "--json"}},
    {"doctor", {"--help", "--json"}},
    {"keychain", {"--help", "--json"}},
    {"report", {"--help", "--output"}}};

// A user with the program in the PATH and some tokens.
class Completion : public testing::Test {
 protected:
  Completion() {
    const std::string program = SOFTTOKEN_CLI;
    for (std::string& entry : home.environment) {
      if (entry.starts_with("PATH=")) {
        entry = "PATH=" + program.substr(0, program.find_last_of('/')) + ":/usr/bin:/bin";
      }
    }
    for (const std::string& name : tokens) home.add(name);
    // These are not offered: one would be taken for an option, the others cannot be typed and could
    // control the terminal.
    home.add("-dash");
    home.plant("new\nline", static_cast<std::int32_t>(tokens.size()) + 1);
    home.plant("Work\xE2\x80\xAE", static_cast<std::int32_t>(tokens.size()) + 2);
    home.plant("Work\x1B[2J", static_cast<std::int32_t>(tokens.size()) + 3);
  }

  [[nodiscard]] Ended shell(const Strings& command) const {
    return runProcess(command, home.environment);
  }
  void requireShell(const std::string& name) const {
    if (shell({"sh", "-c", "command -v " + name}).exit_code != 0) {
      GTEST_SKIP() << name << " is not installed";
    }
  }

  const Strings tokens = {
      "$cash", "Talvane:bob@example.com", "Work \"q\"", "Work mail", "back\\sl", "it's", "Ärger"};
  CliHome home;
};

class BashCompletionAtWork : public Completion {
 protected:
  // What bash would put in place of the last word.
  [[nodiscard]] Strings complete(const std::string& line, const std::string& prelude = {}) const {
    const std::string script =
        prelude + "source '" + completionFile("softtoken-cli.bash") +
        "' || exit; COMP_LINE=$1 COMP_POINT=${#1} COMP_TYPE=9 COMP_KEY=9; "
        "read -ra COMP_WORDS <<<\"$1\"; [[ $1 == *' ' ]] && COMP_WORDS+=(''); "
        "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
        "_softtoken_cli softtoken-cli \"${COMP_WORDS[COMP_CWORD]}\"; "
        "printf '%s\\n' \"${COMPREPLY[@]}\"";
    const Ended ended = shell({"bash", "--norc", "-c", script, "bash", line});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.err, "");
    return sorted(linesOf(ended.out));
  }
};

TEST_F(BashCompletionAtWork, IsRegistered) {
  const Ended ended =
      shell({"bash", "--norc", "-c",
             "source '" + completionFile("softtoken-cli.bash") + "'; complete -p softtoken-cli"});
  EXPECT_NE(ended.out.find("-F _softtoken_cli softtoken-cli"), std::string::npos) << ended.out;
}

TEST_F(BashCompletionAtWork, Commands) {
  EXPECT_EQ(complete("softtoken-cli "), commands);
  EXPECT_EQ(complete("softtoken-cli d"), (Strings{"delete", "doctor"}));
  EXPECT_EQ(complete("softtoken-cli --keychain vault "), commands);
  EXPECT_EQ(complete("softtoken-cli --keychain=vault --console-log li"), Strings{"list"});
  EXPECT_EQ(complete("softtoken-cli zzz"), Strings{});
}

TEST_F(BashCompletionAtWork, Options) {
  for (const auto& [command, expected] : options) {
    EXPECT_EQ(complete("softtoken-cli " + command + (command.empty() ? "--" : " --")), expected);
  }
  EXPECT_EQ(complete("softtoken-cli code Work\\ mail --n"), Strings{"--next"});
}

TEST_F(BashCompletionAtWork, Values) {
  EXPECT_EQ(complete("softtoken-cli --keychain "), (Strings{"secret-service", "vault"}));
  EXPECT_EQ(complete("softtoken-cli --keychain=v"), Strings{"vault"});
  EXPECT_EQ(complete("softtoken-cli add --period "), (Strings{"30", "60"}));
  EXPECT_EQ(complete("softtoken-cli keychain "), (Strings{"secret-service", "vault"}));
  EXPECT_EQ(complete("softtoken-cli add --period=6"), Strings{"60"});
}

TEST_F(BashCompletionAtWork, TokenNamesAreQuoted) {
  const Strings quoted = sorted({"\\$cash", "Talvane:bob@example.com", "Work\\ \\\"q\\\"",
                                 "Work\\ mail", "back\\\\sl", "it\\'s", "Ärger"});
  for (const char* command : {"code", "rename", "delete", "code --next", "delete it\\'s"}) {
    EXPECT_EQ(complete(std::string("softtoken-cli ") + command + ' '), quoted) << command;
  }
}

TEST_F(BashCompletionAtWork, BeginningsInAnyQuotes) {
  EXPECT_EQ(complete("softtoken-cli code Work\\ m"), Strings{"Work\\ mail"});
  EXPECT_EQ(complete("softtoken-cli code \"Work m"), Strings{"Work mail"});
  EXPECT_EQ(complete("softtoken-cli code 'Work "), (Strings{"Work \"q\"", "Work mail"}));
  EXPECT_EQ(complete("softtoken-cli code \"Work \\\""), Strings{"Work \\\"q\\\"\""});
  EXPECT_EQ(complete("softtoken-cli code 'it"), Strings{"it'\\''s"});
  EXPECT_EQ(complete("softtoken-cli code \"\\$"), Strings{"\\$cash"});
  EXPECT_EQ(complete("softtoken-cli code Ä"), Strings{"Ärger"});
  EXPECT_EQ(complete("softtoken-cli code work"), Strings{});
}

TEST_F(BashCompletionAtWork, WordBreaksInNames) {
  // Readline replaces only what is behind the break.
  EXPECT_EQ(complete("softtoken-cli code Talvane:b"), Strings{"bob@example.com"});
  EXPECT_EQ(complete("softtoken-cli code Talvane:bob@"), Strings{"example.com"});
  EXPECT_EQ(complete("softtoken-cli code 'Talvane:b"), Strings{"Talvane:bob@example.com"});
}

TEST_F(BashCompletionAtWork, OnlyWhereATokenBelongs) {
  EXPECT_EQ(complete("softtoken-cli code it\\'s "), Strings{});
  EXPECT_EQ(complete("softtoken-cli rename it\\'s "), Strings{});
  EXPECT_EQ(complete("softtoken-cli add "), Strings{});
  EXPECT_EQ(complete("softtoken-cli watch "), Strings{});
}

TEST_F(BashCompletionAtWork, NamesWithAHyphenFollowTwoHyphens) {
  EXPECT_EQ(complete("softtoken-cli code -- -"), Strings{"-dash"});
}

TEST_F(BashCompletionAtWork, Pictures) {
  std::filesystem::create_directory(home.path("pictures"));
  for (const char* name : {"a.png", "b.JPG", "c c.jpeg", "d.txt"}) {
    writeFile(home.path("pictures/") + name, "");
  }
  std::filesystem::create_directory(home.path("pictures/more"));
  const std::string folder = home.path("pictures/");
  EXPECT_EQ(complete("softtoken-cli import " + folder),
            (Strings{folder + "a.png", folder + "b.JPG", folder + "c c.jpeg", folder + "more"}));
}

TEST_F(BashCompletionAtWork, NeedsNoOtherProgram) {
  const std::string program = SOFTTOKEN_CLI;
  const std::string only_ours = "PATH='" + program.substr(0, program.find_last_of('/')) + "'; ";
  EXPECT_EQ(complete("softtoken-cli code It", only_ours), Strings{});
  EXPECT_EQ(complete("softtoken-cli code it", only_ours), Strings{"it\\'s"});
}

TEST_F(BashCompletionAtWork, FailingProgramOffersNothing) {
  writeFile(home.vault(), "garbage");
  EXPECT_EQ(complete("softtoken-cli code "), Strings{});
}

TEST_F(BashCompletionAtWork, AtAPrompt) {
  home.environment.push_back("PS1=ready> ");
  TerminalProcess terminal({"/bin/bash", "--norc", "--noprofile", "-i"}, home.environment);
  ASSERT_TRUE(terminal.await("ready> "));
  terminal.type("source '" + completionFile("softtoken-cli.bash") + "'\n");
  for (const auto& [typed, renamed] : {std::pair<std::string, std::string>("Work\\ m\t", "one"),
                                       {"Talvane:b\t", "two"},
                                       {"'it\t", "three"},
                                       {"\"Work \\\"\t", "four"},
                                       {"\\$c\t", "five"},
                                       {"ba\t", "six"}}) {
    terminal.type("softtoken-cli rename " + typed + renamed + "\n");
    EXPECT_TRUE(terminal.await("is now \"" + renamed, std::chrono::seconds(10)))
        << typed << '\n'
        << terminal.shown();
  }
  terminal.type("exit\n");
  EXPECT_FALSE(terminal.finish().timed_out);
  EXPECT_EQ(home.names(), (Strings{"five", "two", "four", "one", "six", "three", "Ärger", "-dash",
                                   "new\nline", "Work\xE2\x80\xAE", "Work\x1B[2J"}));
}

class FishCompletionAtWork : public Completion {
 protected:
  void SetUp() override { requireShell("fish"); }

  [[nodiscard]] Strings complete(const std::string& line) const {
    const Ended ended = shell(
        {"fish", "--no-config", "-c",
         "source '" + completionFile("softtoken-cli.fish") + "'; complete -C $argv[1]", line});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.err, "");
    Strings candidates = linesOf(ended.out);
    // Behind a tab stands what it is.
    for (std::string& candidate : candidates) candidate = candidate.substr(0, candidate.find('\t'));
    return sorted(candidates);
  }
};

TEST_F(FishCompletionAtWork, Commands) {
  EXPECT_EQ(complete("softtoken-cli "), commands);
  EXPECT_EQ(complete("softtoken-cli --keychain vault "), commands);
  EXPECT_EQ(complete("softtoken-cli --keychain=vault do"), Strings{"doctor"});
}

TEST_F(FishCompletionAtWork, Options) {
  for (const auto& [command, expected] : options) {
    Strings found = complete("softtoken-cli " + command + (command.empty() ? "--" : " --"));
    for (std::string& option : found) option = option.substr(0, option.find('='));
    EXPECT_EQ(found, expected) << command;
  }
}

TEST_F(FishCompletionAtWork, Values) {
  EXPECT_EQ(complete("softtoken-cli --keychain "), (Strings{"secret-service", "vault"}));
  EXPECT_EQ(complete("softtoken-cli add --period "), (Strings{"30", "60"}));
  EXPECT_EQ(complete("softtoken-cli keychain "), (Strings{"secret-service", "vault"}));
}

TEST_F(FishCompletionAtWork, TokenNames) {
  for (const char* command :
       {"code", "rename", "delete", "delete -- it\\'s", "delete Work\\ mail"}) {
    Strings expected = tokens;
    if (std::string_view(command).find("--") != std::string_view::npos) expected.push_back("-dash");
    EXPECT_EQ(complete(std::string("softtoken-cli ") + command + ' '), sorted(expected)) << command;
  }
  EXPECT_EQ(complete("softtoken-cli code Work\\ m"), Strings{"Work mail"});
  EXPECT_EQ(complete("softtoken-cli code Talvane:b"), Strings{"Talvane:bob@example.com"});
  EXPECT_EQ(complete("softtoken-cli code it\\'s "), Strings{});
  EXPECT_EQ(complete("softtoken-cli rename it\\'s "), Strings{});
  EXPECT_EQ(complete("softtoken-cli add "), Strings{});
}

TEST_F(FishCompletionAtWork, Pictures) {
  writeFile(home.path("a.png"), "");
  EXPECT_EQ(complete("softtoken-cli import " + home.path("a.")), Strings{home.path("a.png")});
}

class ZshCompletionAtWork : public Completion {
 protected:
  void SetUp() override { requireShell("zsh"); }
};

TEST_F(ZshCompletionAtWork, AtAPrompt) {
  home.environment.push_back("PS1=ready> ");
  TerminalProcess terminal({"/usr/bin/zsh", "-f", "-i"}, home.environment, 24, 200);
  ASSERT_TRUE(terminal.await("ready> "));
  // Says "loaded" only when it has been, not when it is typed.
  terminal.type("fpath=('" + std::string(CLI_COMPLETIONS) +
                "' $fpath); autoload -Uz compinit; compinit -u -D; echo load''ed\n");
  ASSERT_TRUE(terminal.await("loaded")) << terminal.shown();
  for (const auto& [typed, renamed] :
       {std::pair<std::string, std::string>("ren\tWork\\ m\t", "one"),
        {"rename Talvane:b\t", "two"},
        {"--keychain va\tren\t'it\t", "three"},
        {"rename \\$c\t", "four"},
        {"rename ba\t", "five"},
        {"rename -- -d\t", "six"}}) {
    terminal.type("softtoken-cli " + typed + renamed + "\n");
    EXPECT_TRUE(terminal.await("is now \"" + renamed, std::chrono::seconds(10)))
        << typed << '\n'
        << terminal.shown();
  }
  terminal.type("softtoken-cli delete --y\t Wo\t\n");
  EXPECT_TRUE(terminal.await("Deleted", std::chrono::seconds(10))) << terminal.shown();
  terminal.type("exit\n");
  EXPECT_FALSE(terminal.finish().timed_out);
  EXPECT_EQ(home.names(), (Strings{"four", "two", "one", "five", "three", "Ärger", "six",
                                   "new\nline", "Work\xE2\x80\xAE", "Work\x1B[2J"}));
}

}  // namespace
}  // namespace talvane::test
