// Finding a token by a part of its name, the passcode that comes next, and what follows a copy.

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "tests/desktop/desktop.h"
#include "tests/desktop/notification_host.h"

namespace talvane::test {
namespace {

class DailyTest : public DesktopTest {
 protected:
  void openWithTokens() {
    add("Bank");
    add("Work mail", other_seed_16);
    start();
    openPanel();
    ASSERT_TRUE(focusComesTo("Copy: Bank"));
  }
  // Not across a change of the passcode.
  static void awaitSecond(int first, int last) {
    ASSERT_TRUE(until(
        [&] {
          const auto second = std::time(nullptr) % 30;
          return second >= first && second <= last;
        },
        std::chrono::seconds(31)));
  }
  // What other programs find on the clipboard; empty where nothing is.
  [[nodiscard]] std::string onClipboard() const {
    return runProcess({"xclip", "-selection", "clipboard", "-o"}, environment()).out;
  }
  [[nodiscard]] std::string bus() const { return "unix:path=" + path("run/bus"); }
};

TEST_F(DailyTest, TwoKeysCopyThePasscodeOfAName) {
  openWithTokens();
  awaitSecond(0, 22);
  const std::string wanted = passcodeOf(other_seed_16, 30, std::time(nullptr));
  screen().type("w");
  ASSERT_TRUE(comesToShow(Role::label, "w"));
  ASSERT_TRUE(focusComesTo("Copy: Work mail"));
  EXPECT_FALSE(shows(Role::push_button, "Copy: Bank"));
  screen().key("Return");
  EXPECT_TRUE(closes());
  EXPECT_EQ(clipboard(), wanted);
}

TEST_F(DailyTest, EscapeShowsAllThenCloses) {
  openWithTokens();
  screen().type("work m");
  ASSERT_TRUE(comesToShow(Role::label, "work m"));
  screen().key("Escape");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Bank"));
  EXPECT_TRUE(panel().has_value());
  screen().key("Escape");
  EXPECT_TRUE(closes());
}

TEST_F(DailyTest, DigitOfTheNumericKeypadCopies) {
  openWithTokens();
  awaitSecond(0, 22);
  const std::string wanted = passcodeOf(other_seed_16, 30, std::time(nullptr));
  screen().key("Num_Lock");
  screen().key("KP_2");
  EXPECT_TRUE(closes());
  screen().key("Num_Lock");
  EXPECT_EQ(clipboard(), wanted);
}

TEST_F(DailyTest, ShiftAndADigitCopyWhatComesNext) {
  openWithTokens();
  awaitSecond(25, 26);
  const std::string next = passcodeOf(seed_16, 30, (std::time(nullptr) / 30 + 1) * 30);
  ASSERT_TRUE(comesToShow(Role::label, "Next\n" + next));
  screen().key("shift+1");
  EXPECT_TRUE(closes());
  EXPECT_EQ(clipboard(), next);
}

TEST_F(DailyTest, DesktopSaysWhatWasCopiedWithoutTheDigits) {
  const NotificationHost host(bus());
  openWithTokens();
  screen().key("2");
  EXPECT_TRUE(closes());
  ASSERT_TRUE(until([&] { return !host.seen().empty(); }));
  const NotificationHost::Notification seen = host.seen().front();
  EXPECT_EQ(seen.summary, "Passcode for Work mail copied");
  EXPECT_EQ(seen.body, "");
  EXPECT_EQ(seen.program, "Talvane Soft Token");
  EXPECT_EQ(seen.icon, "softtoken");
  EXPECT_EQ(host.seen().size(), 1U);
}

TEST_F(DailyTest, NobodyWaitsForASlowDesktop) {
  const NotificationHost host(bus(), std::chrono::seconds(3));
  openWithTokens();
  const auto begin = std::chrono::steady_clock::now();
  screen().key("1");
  EXPECT_TRUE(closes());
  openPanel();
  EXPECT_TRUE(focusComesTo("Copy: Bank"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
}

TEST_F(DailyTest, ClipboardIsClearedAfterAWhile) {
  setSettings("AllowManual=yes\nClipboardSeconds=2\n");
  openWithTokens();
  screen().key("1");
  EXPECT_TRUE(closes());
  EXPECT_EQ(onClipboard().size(), 6U);
  // Asked once: the toolkit remarks on a request that crosses with the clearing.
  std::this_thread::sleep_for(std::chrono::milliseconds(3500));
  EXPECT_EQ(onClipboard(), "");
}

TEST_F(DailyTest, WhatAnotherProgramCopiedMeanwhileStays) {
  setSettings("AllowManual=yes\nClipboardSeconds=2\n");
  openWithTokens();
  screen().key("1");
  EXPECT_TRUE(closes());
  Program other({"xclip", "-selection", "clipboard", "-i", "-quiet", path("home/tasofttoken.ini")},
                environment(), path("xclip.log"));
  ASSERT_TRUE(until([&] { return onClipboard().starts_with("AllowManual"); }));
  EXPECT_FALSE(until([&] { return onClipboard().empty(); }, std::chrono::seconds(3)));
}

TEST_F(DailyTest, QuittingClearsTheClipboard) {
  openWithTokens();
  screen().key("1");
  EXPECT_TRUE(closes());
  EXPECT_EQ(onClipboard().size(), 6U);
  quit();
  EXPECT_EQ(onClipboard(), "");
}

}  // namespace
}  // namespace talvane::test
