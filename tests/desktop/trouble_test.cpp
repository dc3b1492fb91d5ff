#include <gtest/gtest.h>

#include <csignal>
#include <map>

#include "tests/desktop/desktop.h"
#include "tests/secret_service/bus_client.h"

namespace talvane::test {
namespace {

using talvane::testing::BusClient;

// The user's tokens are in the desktop's keyring.
class TroubleTest : public DesktopTest {
 protected:
  TroubleTest() {
    session_.startDaemon("open sesame");
    const Ended ended =
        commandLine({"--keychain", "secret-service", "add", "Mail"}, seed_16 + std::string("\n"));
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
  }

  void lock() {
    BusClient client;
    client.lock(client.defaultCollection());
  }

  // What is stored and remembered, by file.
  using Files = std::map<std::string, std::string>;
  [[nodiscard]] Files files() const {
    Files result;
    for (const char* folder : {"data", "config"}) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(path(folder))) {
        if (entry.is_regular_file()) result[entry.path()] = readFile(entry.path());
      }
    }
    return result;
  }

  // Opens the panel and expects these words in the place of the tokens, in time.
  void expectWords(const std::string& words) {
    const auto before = std::chrono::steady_clock::now();
    openPanel();
    EXPECT_TRUE(comesToSay(words));
    const std::chrono::duration<double> lasted = std::chrono::steady_clock::now() - before;
    RecordProperty("seconds", std::to_string(lasted.count()));
    std::printf("The panel with its words came after %.2f s.\n", lasted.count());
    // Two seconds for a keyring that does not answer, and some for the panel.
    EXPECT_LT(lasted.count(), 2.5);
    EXPECT_EQ(codes(), Strings());
    EXPECT_FALSE(button("Edit").isEnabled());
  }

  // Tries to add a token and expects to be told why that cannot be.
  void expectAddingFails(const std::string& words) {
    EXPECT_EQ(startAgain({"otpauth://totp/Work?secret=" + std::string(other_seed_16)}).exit_code,
              0);
    EXPECT_TRUE(until([&] { return alert().find(words) != std::string::npos; })) << alert();
    clickInAlert("OK");
    EXPECT_TRUE(alertGoes());
  }
};

TEST_F(TroubleTest, WithoutTroubleTheTokensShow) {
  start();
  openPanel();
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  EXPECT_TRUE(showsPasscode(0, seed_16, 30));
}

TEST_F(TroubleTest, ALockedKeyringIsTold) {
  lock();
  const Files before = files();
  start();
  expectWords("The keychain is locked");
  expectAddingFails("The keychain is locked");
  EXPECT_EQ(files(), before);
}

TEST_F(TroubleTest, OnceUnlockedTheTokensShowAtTheNextOpening) {
  lock();
  start();
  expectWords("The keychain is locked");
  clickIcon();
  ASSERT_TRUE(closes());
  BusClient client;
  client.unlock(client.defaultCollection(), "open sesame");
  openPanel();
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
}

TEST_F(TroubleTest, OnceUnlockedTheTokensShowInTheOpenPanel) {
  lock();
  start();
  expectWords("The keychain is locked");
  BusClient client;
  client.unlock(client.defaultCollection(), "open sesame");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  EXPECT_TRUE(focusComesTo("Copy: Mail"));
}

// The desktop's own prompt, whose window belongs to another program.
class PromptTest : public TroubleTest {
 protected:
  PromptTest() {
    prompter_ = Program({"/usr/libexec/gcr-prompter"}, environment(), path("prompter.log"));
    lock();
    start();
    expectWords("The keychain is locked");
  }
  [[nodiscard]] static bool asks() {
    return until([] { return !screen().windowsOf("gcr-prompter").empty(); });
  }
  [[nodiscard]] static bool asksNoMore() {
    return until([] { return screen().windowsOf("gcr-prompter").empty(); });
  }
  void pressUnlock() {
    EXPECT_TRUE(focusComesTo("Unlock"));
    screen().key("Return");
    ASSERT_TRUE(asks());
  }

  Program prompter_;
};

TEST_F(PromptTest, ThePasswordBringsTheTokens) {
  pressUnlock();
  screen().type("open sesame");
  screen().key("Return");
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  EXPECT_TRUE(asksNoMore());
}

TEST_F(PromptTest, ClosingThePanelTakesThePromptAway) {
  pressUnlock();
  // The prompt has mouse and keyboard.
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  EXPECT_TRUE(closes());
  EXPECT_TRUE(asksNoMore());
}

TEST_F(TroubleTest, AKeyringLockedBehindAnOpenPanelDeletesNothing) {
  start();
  openPanel();
  clickButton("Edit");
  const Thing box = thing(Role::check_box, "Delete: Mail");
  screen().click(box.place.x + 8, box.place.y + box.place.height / 2);
  lock();
  const Files before = files();
  clickButton("Delete");
  clickInAlert("YES");
  EXPECT_TRUE(until([&] { return alert().find("locked") != std::string::npos; })) << alert();
  clickInAlert("OK");
  EXPECT_EQ(files(), before);
}

TEST_F(TroubleTest, AnAbsentKeyringIsTold) {
  session_.killDaemon();
  const Files before = files();
  start();
  expectWords("start a keychain service");
  expectAddingFails("start a keychain service");
  EXPECT_EQ(files(), before);
}

TEST_F(TroubleTest, AKeyringThatComesLaterIsFound) {
  session_.killDaemon();
  start();
  expectWords("start a keychain service");
  clickIcon();
  ASSERT_TRUE(closes());
  session_.startDaemon("open sesame");
  openPanel();
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
}

TEST_F(TroubleTest, AHungKeyringIsTold) {
  start();
  session_.daemon().signal(SIGSTOP);
  const Files before = files();
  expectWords("did not answer");
  EXPECT_EQ(files(), before);
  session_.daemon().signal(SIGCONT);
  clickIcon();
  ASSERT_TRUE(closes());
  openPanel();
  EXPECT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
}

TEST_F(TroubleTest, AHungKeyringAddsNothing) {
  start();
  session_.daemon().signal(SIGSTOP);
  const Files before = files();
  expectAddingFails("did not answer");
  EXPECT_EQ(files(), before);
}

class DamageTest : public DesktopTest {};

TEST_F(DamageTest, AVaultThatIsNoneIsToldAndLeftAlone) {
  add("Mail");
  const std::string vault = path("data/softtoken/vault");
  writeFile(vault, std::string(4096, 'x'));
  start();
  openPanel();
  EXPECT_TRUE(until([&] {
    for (const std::string& label : names(Role::label)) {
      if (label.size() > 20) return true;
    }
    return false;
  }));
  EXPECT_EQ(codes(), Strings());
  EXPECT_EQ(readFile(vault), std::string(4096, 'x'));
}

}  // namespace
}  // namespace talvane::test
