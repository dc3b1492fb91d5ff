// What is asked on a terminal: seeds and URLs unseen, and whether to delete.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

void expectPasscode(const CliHome& home, const std::string& name) {
  const auto [ended, time] = inOneStep(30, [&] { return home.run({"code", name}); });
  EXPECT_EQ(ended.out, oathPasscode(seed_16, 30, time) + '\n');
}

// Who types as soon as asked must neither be seen nor lose what was typed.
TEST(Prompt, SeedMayBeTypedAsSoonAsItIsAskedFor) {
  for (int round = 0; round < 20; ++round) {
    const CliHome home;
    const auto terminal = home.runOnTerminal({"add", "Mail"});
    ASSERT_TRUE(terminal->await("Seed")) << terminal->shown();
    EXPECT_FALSE(terminal->echoes()) << "asked for while typing is still shown";
    terminal->type(std::string(seed_16) + '\n');
    const Ended ended = terminal->finish(std::chrono::seconds(3));
    EXPECT_EQ(ended.exit_code, 0) << ended.out;
    EXPECT_EQ(ended.out.find(seed_16), std::string::npos) << ended.out;
    if (HasFailure()) break;
  }
}

TEST(Prompt, SeedIsAskedForAndNotShown) {
  const CliHome home;
  const auto terminal = home.runOnTerminal({"add", "Mail"});
  ASSERT_TRUE(terminal->await("Seed")) << terminal->shown();
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type(std::string(seed_16) + '\n');
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.exit_code, 0) << ended.out;
  EXPECT_NE(ended.out.find("Stored \"Mail\" in slot 0.\r\n"), std::string::npos) << ended.out;
  EXPECT_EQ(ended.out.find(std::string_view(seed_16).substr(0, 4)), std::string::npos) << ended.out;
  EXPECT_TRUE(terminal->isOrdinary());
  expectPasscode(home, "Mail");
}

TEST(Prompt, MistypedCharacterCanBeTakenBack) {
  const CliHome home;
  const auto terminal = home.runOnTerminal({"add", "Mail"});
  ASSERT_TRUE(terminal->await("Seed"));
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type(std::string(seed_16) + "X\x7F\n");
  EXPECT_EQ(terminal->finish().exit_code, 0) << terminal->shown();
  expectPasscode(home, "Mail");
}

TEST(Prompt, UrlIsAskedForAndNotShown) {
  const CliHome home;
  const auto terminal = home.runOnTerminal({"import"});
  ASSERT_TRUE(terminal->await("URL")) << terminal->shown();
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type("otpauth://totp/Mail?secret=JBSWY3DPEHPK3PXP\n");
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.exit_code, 0) << ended.out;
  EXPECT_EQ(ended.out.find(seed_16), std::string::npos) << ended.out;
  EXPECT_TRUE(terminal->isOrdinary());
  expectPasscode(home, "Mail");
}

TEST(Prompt, WithoutAllowManualNothingIsAsked) {
  const CliHome home;
  home.setSettings("AllowManual=no\n");
  for (const Strings& arguments : {Strings{"add", "Mail"}, {"import"}}) {
    const auto terminal = home.runOnTerminal(arguments);
    const Ended ended = terminal->finish();
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.out.find("AllowManual"), std::string::npos) << ended.out;
  }
}

TEST(Prompt, WrongSeedLeavesTheTerminalAsItWas) {
  const CliHome home;
  const auto terminal = home.runOnTerminal({"add", "Mail"});
  ASSERT_TRUE(terminal->await("Seed"));
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type("ABC\n");
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_NE(ended.out.find("13 or 16"), std::string::npos) << ended.out;
  EXPECT_TRUE(terminal->isOrdinary());
}

TEST(Prompt, EndOfInputIsUsage) {
  const CliHome home;
  const auto terminal = home.runOnTerminal({"add", "Mail"});
  ASSERT_TRUE(terminal->await("Seed"));
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type("\x04");
  EXPECT_EQ(terminal->finish().exit_code, 2) << terminal->shown();
  EXPECT_TRUE(terminal->isOrdinary());
  EXPECT_EQ(home.names(), Strings{});
}

TEST(Prompt, InterruptionLeavesTheTerminalAsItWas) {
  for (const int signal : {SIGINT, SIGTERM, SIGQUIT, SIGHUP}) {
    const CliHome home;
    const auto terminal = home.runOnTerminal({"add", "Mail"});
    ASSERT_TRUE(terminal->await("Seed"));
    ASSERT_TRUE(terminal->awaitUnseen());
    if (signal == SIGINT) {
      terminal->type("\x03");
    } else {
      terminal->sendSignal(signal);
    }
    const Ended ended = terminal->finish();
    EXPECT_FALSE(ended.timed_out) << signal;
    EXPECT_NE(ended.exit_code, 0) << signal;
    EXPECT_TRUE(terminal->echoes()) << "typing stays unseen after signal " << signal;
    EXPECT_EQ(home.names(), Strings{});
  }
}

class DeleteQuestion : public testing::Test {
 protected:
  DeleteQuestion() {
    for (const char* name : {"A", "B", "C"}) home.add(name);
  }

  // Runs delete, answers its question, and returns what the terminal showed.
  Ended answer(const Strings& tokens, const std::string& keys) const {
    Strings arguments = {"delete"};
    arguments.insert(arguments.end(), tokens.begin(), tokens.end());
    const auto terminal = home.runOnTerminal(arguments);
    EXPECT_TRUE(terminal->await("[y/N]")) << terminal->shown();
    terminal->type(keys);
    Ended ended = terminal->finish();
    EXPECT_FALSE(ended.timed_out) << "the answer was not taken";
    EXPECT_TRUE(terminal->isOrdinary());
    return ended;
  }

  CliHome home;
};

TEST_F(DeleteQuestion, NamesTheTokens) {
  const Ended ended = answer({"A", "2"}, "n\n");
  EXPECT_NE(ended.out.find("\"A\""), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("\"C\""), std::string::npos) << ended.out;
  EXPECT_EQ(ended.out.find("\"B\""), std::string::npos) << ended.out;
}

TEST_F(DeleteQuestion, YesDeletes) {
  for (const char* keys : {"y\n", "YES\n"}) {
    const Ended ended = answer({"0"}, keys);
    EXPECT_EQ(ended.exit_code, 0) << ended.out;
    EXPECT_NE(ended.out.find("Deleted"), std::string::npos) << ended.out;
  }
  EXPECT_EQ(home.names(), Strings{"C"});
}

TEST_F(DeleteQuestion, AnythingElseDoesNot) {
  for (const char* keys : {"n\n", "\n", "no\n", "yesterday\n", " y\n", "\x04"}) {
    const Ended ended = answer({"A"}, keys);
    EXPECT_EQ(ended.out.find("Deleted"), std::string::npos) << ended.out;
  }
  EXPECT_EQ(home.names(), (Strings{"A", "B", "C"}));
}

TEST_F(DeleteQuestion, InterruptionDoesNot) {
  const auto terminal = home.runOnTerminal({"delete", "A"});
  ASSERT_TRUE(terminal->await("[y/N]"));
  terminal->type("\x03");
  EXPECT_NE(terminal->finish().exit_code, 0);
  EXPECT_TRUE(terminal->isOrdinary());
  EXPECT_EQ(home.names(), (Strings{"A", "B", "C"}));
}

TEST_F(DeleteQuestion, IsNotAskedForUnknownTokens) {
  const auto terminal = home.runOnTerminal({"delete", "A", "X"});
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.exit_code, 3);
  EXPECT_EQ(ended.out.find("[y/N]"), std::string::npos);
}

TEST_F(DeleteQuestion, IsNotAskedWithYes) {
  const auto terminal = home.runOnTerminal({"delete", "--yes", "A"});
  EXPECT_EQ(terminal->finish().exit_code, 0);
  EXPECT_EQ(home.names(), (Strings{"B", "C"}));
}

TEST_F(DeleteQuestion, AnswerCountsOnlyForTheTokensThatItNamed) {
  const auto terminal = home.runOnTerminal({"delete", "0"});
  ASSERT_TRUE(terminal->await("[y/N]"));
  // Other programs are not held up while the question stands.
  expectSuccess(home.run({"delete", "--yes", "A"}));
  terminal->type("y\n");
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.exit_code, 1) << ended.out;
  EXPECT_EQ(home.names(), (Strings{"B", "C"}));
}

TEST_F(DeleteQuestion, NamesInItDoNotSteerTheTerminal) {
  home.plant("\x1b[2Jwiped\x07", 3);
  const Ended ended = answer({"3"}, "n\n");
  EXPECT_EQ(ended.out.find("\x1b["), std::string::npos);
  EXPECT_EQ(ended.out.find('\x07'), std::string::npos);
  EXPECT_NE(ended.out.find("wiped"), std::string::npos);
}

}  // namespace
}  // namespace talvane::test
