#include <gtest/gtest.h>

#include <ctime>
#include <regex>

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

TEST_F(PasscodeTest, AnEmptyStoreHasNothingToEdit) {
  start();
  openPanel();
  EXPECT_FALSE(button("Edit").isEnabled());
  EXPECT_TRUE(button("Help").isEnabled());
  EXPECT_TRUE(button("Add").isEnabled());
  EXPECT_EQ(codes(), Strings());
  EXPECT_EQ(panel()->place.height, 128);
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

TEST_F(CopyTest, ByReturnInTheSecondRow) {
  ASSERT_TRUE(focusComesTo("Copy: First"));
  screen().key("Down");
  ASSERT_TRUE(focusComesTo("Copy: Second"));
  expectCopied(1, [] { screen().key("Return"); });
}

TEST_F(CopyTest, BySpace) {
  ASSERT_TRUE(focusComesTo("Copy: First"));
  expectCopied(0, [] { screen().key("space"); });
}

TEST_F(CopyTest, ByTheDigit) {
  ASSERT_TRUE(focusComesTo("Copy: First"));
  expectCopied(1, [] { screen().key("2"); });
}

TEST_F(CopyTest, ADigitWithoutATokenDoesNothing) {
  ASSERT_TRUE(focusComesTo("Copy: First"));
  screen().key("3");
  screen().key("Down");
  EXPECT_TRUE(focusComesTo("Copy: Second"));
  EXPECT_TRUE(panel());
}

TEST_F(CopyTest, TheSettingsThatHaveNoEffectHaveNone) {
  quit();
  setSettings("AllowManual=true\nCopyButton=no\nCloseOnCopy=no\n");
  start();
  openPanel();
  expectCopied(0, [&] { clickButton("Copy: First"); });
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

TEST_F(LinkTest, NoStoresNothing) {
  start();
  EXPECT_EQ(startAgain({link()}).exit_code, 0);
  answer(question, "NO");
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(LinkTest, ReturnIsNo) {
  start();
  EXPECT_EQ(startAgain({link()}).exit_code, 0);
  answerByKey(question, "NO", "Return");
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(LinkTest, TheFirstStartTakesALinkToo) {
  launch({link()});
  answer(question, "YES");
  EXPECT_TRUE(opens());
  EXPECT_EQ(storedNames(), Strings{"Work"});
}

TEST_F(LinkTest, ALinkThatReplacesATokenSaysSo) {
  add("Work");
  start();
  EXPECT_EQ(startAgain({link()}).exit_code, 0);
  answer(std::string(question) + "\n\nThis replaces the token of that name.", "YES");
  EXPECT_TRUE(opens());
  EXPECT_TRUE(showsPasscode(0, other_seed_16, 60));
  EXPECT_EQ(storedNames(), Strings{"Work"});
}

TEST_F(LinkTest, ALinkOf13CharactersShowsItsResponse) {
  start();
  EXPECT_EQ(startAgain({"otpauth://totp/Short?secret=" + std::string(seed_13)}).exit_code, 0);
  answer("Add the token \"Short\", with a new passcode every 30 seconds?", "YES");
  EXPECT_TRUE(comesToSay("Your response code"));
  EXPECT_TRUE(std::regex_match(textIn("Your response code"), std::regex("[A-Z2-7]{8}")));
}

TEST_F(LinkTest, LinksAreRefusedWhereTokensMayNotBeAddedByHand) {
  setSettings("AllowManual=no\n");
  start();
  EXPECT_EQ(startAgain({link()}).exit_code, 0);
  EXPECT_NE(alert().find("AllowManual"), std::string::npos);
  clickInAlert("OK");
  EXPECT_TRUE(alertGoes());
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(LinkTest, ABadLinkIsRefusedWithItsReason) {
  start();
  const std::pair<std::string, const char*> bad[] = {
      {"https://example.org/", "This is not an otpauth:// URL"},
      {"otpauth://hotp/Work?secret=" + std::string(seed_16), "another type of token"},
      {"otpauth://totp/Work?period=30", "has no secret"},
      {"otpauth://totp/Work?secret=" + std::string(seed_16) + "&period=45", "neither 30 nor 60"}};
  for (const auto& [text, reason] : bad) {
    EXPECT_EQ(startAgain({text}).exit_code, 0);
    EXPECT_NE(alert().find(reason), std::string::npos) << text;
    clickInAlert("OK");
    ASSERT_TRUE(alertGoes());
  }
  EXPECT_EQ(storedNames(), Strings());
}

TEST_F(LinkTest, ALinkWithAShortSecretIsRefused) {
  start();
  EXPECT_EQ(startAgain({"otpauth://totp/Work?secret=MFRGGZDF"}).exit_code, 0);
  EXPECT_TRUE(until([&] { return alert().starts_with("Invalid seed length"); }));
  clickInAlert("OK");
  EXPECT_TRUE(alertGoes());
  EXPECT_EQ(storedNames(), Strings());
}

}  // namespace
}  // namespace talvane::test
