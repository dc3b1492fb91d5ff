#include <gtest/gtest.h>

#include <ctime>

#include "tests/desktop/desktop.h"

namespace talvane::test {
namespace {

class PasscodeTest : public DesktopTest {};

TEST_F(PasscodeTest, TheDigitsAreThoseOfTheSeedAndTheSecond) {
  add("Thirty");
  add("Sixty", other_seed_16, 60);
  start();
  openPanel();
  EXPECT_TRUE(showsPasscode(0, seed_16, 30));
  EXPECT_TRUE(showsPasscode(1, other_seed_16, 60));
  EXPECT_EQ(codes().size(), 2U);
  EXPECT_TRUE(shows(Role::label, "Thirty"));
  EXPECT_TRUE(shows(Role::label, "Sixty"));
}

TEST_F(PasscodeTest, TheDigitsChangeWithinASecondOfTheirStep) {
  add("Thirty");
  start();
  openPanel();
  ASSERT_TRUE(showsPasscode(0, seed_16, 30));
  const std::int64_t next = (std::time(nullptr) / 30 + 1) * 30;
  const std::string wanted = passcodeOf(seed_16, 30, next);
  ASSERT_NE(codes().front(), wanted);
  ASSERT_TRUE(until([&] { return std::time(nullptr) >= next; }, std::chrono::seconds(31)));
  EXPECT_TRUE(until([&] { return codes() == Strings{wanted}; }, std::chrono::seconds(1)));
}

TEST_F(PasscodeTest, ATokenAddedElsewhereShowsAtTheNextOpening) {
  add("One");
  start();
  openPanel();
  clickIcon();
  ASSERT_TRUE(closes());
  add("Two", other_seed_16);
  openPanel();
  EXPECT_TRUE(showsPasscode(1, other_seed_16, 30));
}

class CopyTest : public DesktopTest {
 protected:
  CopyTest() {
    add("First");
    add("Second", other_seed_16);
    start();
    openPanel();
  }

  // Copies as `copy` does, and expects what the row then shows, and nothing else, on the clipboard.
  template <typename Copy>
  void expectCopied(std::size_t row, Copy copy) {
    // Not across a change of the passcode.
    ASSERT_TRUE(until([] { return std::time(nullptr) % 30 < 27; }));
    ASSERT_TRUE(showsPasscode(row, row == 0 ? seed_16 : other_seed_16, 30));
    const std::string shown = codes()[row];
    copy();
    EXPECT_TRUE(closes());
    EXPECT_EQ(clipboard(), shown);
    EXPECT_EQ(clipboard("x-kde-passwordManagerHint"), "secret");
    EXPECT_TRUE(program_.runs());
  }
};

TEST_F(CopyTest, ByTheMouse) {
  expectCopied(1, [&] { clickButton("Copy: Second"); });
}

TEST_F(CopyTest, ByReturn) {
  ASSERT_TRUE(focusComesTo("Copy: First"));
  expectCopied(0, [] { screen().key("Return"); });
}

class LinkTest : public DesktopTest {
 protected:
  static std::string link() {
    return "otpauth://totp/Work?secret=" + std::string(other_seed_16) + "&period=60";
  }
  static constexpr const char* question =
      "Add the token \"Work\", with a new passcode every 60 seconds?";
};

TEST_F(LinkTest, ASecondStartWithALinkAsksAndYesStores) {
  start();
  EXPECT_EQ(startAgain({link()}).exit_code, 0);
  answer(question, "YES");
  EXPECT_TRUE(opens());
  EXPECT_TRUE(showsPasscode(0, other_seed_16, 60));
  EXPECT_EQ(storedNames(), Strings{"Work"});
}

TEST_F(LinkTest, TheFirstStartTakesALinkToo) {
  launch({link()});
  answer(question, "YES");
  EXPECT_TRUE(opens());
  EXPECT_EQ(storedNames(), Strings{"Work"});
}

}  // namespace
}  // namespace talvane::test
