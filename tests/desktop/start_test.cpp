#include <gtest/gtest.h>

#include <csignal>

#include "tests/desktop/desktop.h"
#include "tests/support/core_limit.h"
#include "tests/support/sanitized.h"

namespace talvane::test {
namespace {

constexpr const char* first_question = "Add to \"Login Items\"?";

class FirstStartTest : public DesktopTest {
 protected:
  FirstStartTest() { forgetAnswers(); }

  [[nodiscard]] bool rememberedTheAnswer() const {
    return until([&] {
      return readFile(path("config/softtoken/defaults.conf")).find("LoginItemPromptDone=YES") !=
             std::string::npos;
    });
  }
};

TEST_F(FirstStartTest, TheFirstStartAsksAndReturnAnswersNo) {
  start();
  answerByKey(first_question, "NO", "Return");
  EXPECT_TRUE(rememberedTheAnswer());
  EXPECT_EQ(autostartEntries(), Strings());
}

TEST_F(FirstStartTest, TheProgramCanBeEndedWhileItAsks) {
  start();
  ASSERT_TRUE(comesToShow(Role::push_button, "YES"));
  quit();
  EXPECT_EQ(autostartEntries(), Strings());
}

TEST_F(FirstStartTest, YesMakesTheProgramStartAtLogIn) {
  start();
  answer(first_question, "YES");
  EXPECT_TRUE(rememberedTheAnswer());
  const Strings entries = autostartEntries();
  ASSERT_EQ(entries.size(), 1U);
  const std::string entry = readFile(entries.front());
  EXPECT_NE(entry.find(SOFTTOKEN), std::string::npos) << entry;
  EXPECT_NE(entry.find("--no-console-log"), std::string::npos) << entry;
}

class StartTest : public DesktopTest {};

TEST_F(StartTest, AClickOpensAndTheNextCloses) {
  start();
  clickIcon();
  EXPECT_TRUE(opens());
  clickIcon();
  EXPECT_TRUE(closes());
  EXPECT_TRUE(program_.runs());
}

TEST_F(StartTest, NoCoreDumpIsLeftUnlessDebugIsOn) {
  if (!WithCoreDumps::arePossible()) GTEST_SKIP() << "core dumps are forbidden here";
  if (sanitized) GTEST_SKIP() << "the sanitizer forbids core dumps";
  const WithCoreDumps some;
  start();
  EXPECT_EQ(coreLimitOf(program_.id()), 0U);
  quit();
  setSettings("Debug=yes\n");
  start();
  EXPECT_EQ(coreLimitOf(program_.id()), WithCoreDumps::limit);
}

TEST_F(StartTest, WhatCountsIsTheRelease) {
  start();
  const Rectangle place = icon()->place;
  screen().press(place.x + place.width / 2, place.y + place.height / 2);
  EXPECT_FALSE(until([&] { return panel().has_value(); }, std::chrono::milliseconds(300)));
  screen().release();
  EXPECT_TRUE(opens());
}

TEST_F(StartTest, ASecondStartOpensThePanelOfTheFirst) {
  start();
  Ended ended = startAgain();
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_TRUE(opens());
  EXPECT_TRUE(program_.runs());
  ended = startAgain();
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_TRUE(closes());
}

TEST_F(StartTest, TwoStartsAtOnceAreOneProgram) {
  launch();
  Program other({SOFTTOKEN, "--no-console-log"}, environment(), path("program.log"));
  // Whichever came second asked the other to open its panel.
  ASSERT_TRUE(until([&] { return !program_.runs() || !other.runs(); }));
  const bool first_runs = program_.runs();
  EXPECT_NE(first_runs, other.runs());
  EXPECT_EQ((first_runs ? other : program_).end(), 0);
  EXPECT_TRUE(opens());
  EXPECT_TRUE((first_runs ? program_ : other).runs());
}

TEST_F(StartTest, ToggleOpensAndCloses) {
  start();
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  EXPECT_TRUE(opens());
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  EXPECT_TRUE(closes());
}

TEST_F(StartTest, ToggleAsTheFirstStartOpensThePanel) {
  launch({"--toggle"});
  EXPECT_TRUE(opens());
}

TEST_F(StartTest, QuitEndsTheProgram) {
  start();
  openPanel();
  quit();
  EXPECT_TRUE(until([&] { return !icon() && !panel(); }));
}

TEST_F(StartTest, QuitWithoutAProgramDoesNothing) {
  const Ended ended = startAgain({"--quit"});
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.out + ended.err, "");
}

TEST_F(StartTest, WhatAKilledProgramLeftDoesNotBlock) {
  start();
  program_.signal(SIGKILL);
  ASSERT_EQ(program_.end(), -SIGKILL);
  ASSERT_TRUE(until([&] { return !icon(); }));
  ASSERT_TRUE(exists(path("run/softtoken/instance" + screen().name() + ".socket")));
  start();
  openPanel();
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  EXPECT_TRUE(closes());
}

TEST_F(StartTest, ADisplayThatIsNotThereIsTold) {
  Strings other = environment();
  for (std::string& variable : other) {
    if (variable.starts_with("DISPLAY=")) variable = "DISPLAY=:65000";
  }
  const Ended ended = runProcess({SOFTTOKEN}, other, {}, std::chrono::seconds(20));
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_NE(ended.err.find(":65000"), std::string::npos) << ended.err;
  EXPECT_NE(ended.err.find("softtoken-cli"), std::string::npos) << ended.err;
}

}  // namespace
}  // namespace talvane::test
