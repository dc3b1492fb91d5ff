// Start-up, the status item, the common alert, and where adding a token leads.

#include "tests/ui/app_test.h"

namespace talvane {
namespace {

using test::AlertUser;
using test::Lines;

class ShellTest : public AppTest {
 protected:
  using Targets = std::vector<std::optional<std::string>>;

  void launchForTheFirstTime(std::function<void(QMessageBox&)> answer) {
    defaults.values.clear();
    alerts.answers.push_back(std::move(answer));
    launch();
  }
  [[nodiscard]] std::string promptDone() { return defaults.values["LoginItemPromptDone"]; }
};

TEST_F(ShellTest, FirstRunAsksForTheLoginItemOnce) {
  launchForTheFirstTime(AlertUser::press("NO"));
  ASSERT_EQ(alerts.seen.size(), 1U);
  const AlertUser::Seen& prompt = alerts.seen[0];
  EXPECT_EQ(prompt.title, "Talvane Soft Token");
  EXPECT_EQ(prompt.text, "Add to \"Login Items\"?");
  EXPECT_EQ(std::set<std::string>(prompt.buttons.begin(), prompt.buttons.end()),
            (std::set<std::string>{"NO", "YES"}));
  EXPECT_EQ(prompt.buttons.size(), 2U);
  EXPECT_EQ(prompt.default_button, "NO");
  EXPECT_EQ(prompt.escape_button, "NO");
  AlertUser::expectIcon(prompt);
  launch();
  EXPECT_EQ(alerts.seen.size(), 1U);
}

TEST_F(ShellTest, NoIsRememberedAsAsked) {
  launchForTheFirstTime(AlertUser::press("NO"));
  EXPECT_EQ(promptDone(), "YES");
  EXPECT_EQ(login_items.list.insertions, 0U);
  EXPECT_EQ(traced({"APP: "}),
            (Lines{"APP: checking for LoginItemPromptDone user preference...",
                   "APP: LoginItemPromptDone:  not found", "APP: add to login items?  NO"}));
}

TEST_F(ShellTest, YesAddsTheProgram) {
  launchForTheFirstTime(AlertUser::press("YES"));
  EXPECT_EQ(promptDone(), "YES");
  EXPECT_EQ(login_items.list.targets(), (Targets{"/opt/softtoken/bin/softtoken"}));
  EXPECT_EQ(traced({"APP: "}),
            (Lines{"APP: checking for LoginItemPromptDone user preference...",
                   "APP: LoginItemPromptDone:  not found", "APP: add to login items?  YES"}));
}

TEST_F(ShellTest, ReturnAnswersNo) {
  launchForTheFirstTime(AlertUser::pressReturn);
  EXPECT_EQ(traced({"APP: add"}), (Lines{"APP: add to login items?  NO"}));
  EXPECT_EQ(login_items.list.insertions, 0U);
}

TEST_F(ShellTest, EscapeAnswersNo) {
  launchForTheFirstTime(AlertUser::pressEscape);
  EXPECT_EQ(traced({"APP: add"}), (Lines{"APP: add to login items?  NO"}));
  EXPECT_EQ(login_items.list.insertions, 0U);
}

TEST_F(ShellTest, QuestionThatEndsWithoutAnAnswerIsRememberedAsAsked) {
  launchForTheFirstTime(AlertUser::closeWithoutAnswer);
  EXPECT_EQ(traced({"APP: add"}), (Lines{"APP: add to login items?  unexpected response"}));
  EXPECT_EQ(login_items.list.insertions, 0U);
  EXPECT_EQ(promptDone(), "YES");
}

// Before there is a trace.
TEST_F(ShellTest, LaunchIsLoggedFirst) {
  console = true;
  testing::internal::CaptureStderr();
  launch();
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(log.starts_with("APP: launching...\n\n")) << log;
}

TEST_F(ShellTest, SecondRunDoesNotAsk) {
  launch();
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(traced({"APP: "}), (Lines{"APP: checking for LoginItemPromptDone user preference...",
                                      "APP: LoginItemPromptDone:  value:YES"}));
}

TEST_F(ShellTest, AnswerThatCannotBeReadIsNotAskedForAnew) {
  defaults.readable = false;
  launch();
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(defaults.stored, 0U);
  EXPECT_EQ(traced({"APP: "}), (Lines{"APP: checking for LoginItemPromptDone user preference...",
                                      "APP: LoginItemPromptDone:  not found"}));
}

TEST_F(ShellTest, AdministratorAddsTheProgramWithoutAQuestion) {
  setSettings("LoginItems=on\n");
  defaults.values.clear();
  launch();
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(login_items.list.targets(), (Targets{"/opt/softtoken/bin/softtoken"}));
  EXPECT_EQ(traced({"APP: "}), (Lines{"APP: LoginItems: on"}));
  EXPECT_EQ(promptDone(), "") << "the user was not asked";
  launch();
  EXPECT_EQ(login_items.list.insertions, 1U);
}

TEST_F(ShellTest, AdministratorRemovesTheProgramWithoutAQuestion) {
  setSettings("LoginItems=off\n");
  defaults.values.clear();
  login_items.list.insertAtHead("/opt/softtoken/bin/softtoken");
  launch();
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(login_items.list.targets(), Targets());
}

TEST_F(ShellTest, AdministratorMayLeaveItToTheUser) {
  setSettings("LoginItems=ask\n");
  launchForTheFirstTime(AlertUser::press("NO"));
  EXPECT_EQ(alerts.seen.size(), 1U);
}

TEST_F(ShellTest, PromptHasTheTextOfTheSettings) {
  setSettings("StrStartupAdd=Start at login\n");
  launchForTheFirstTime(AlertUser::press("NO"));
  EXPECT_EQ(alerts.texts(), (Lines{"Start at login?"}));
}

TEST_F(ShellTest, StatusItemIsThereBeforeTheQuestion) {
  int shown = 0;
  launchForTheFirstTime([&](QMessageBox& box) {
    shown = status_items_shown;
    AlertUser::pressEscape(box);
  });
  EXPECT_EQ(shown, 1);
  EXPECT_EQ(status_items_shown, 1);
}

TEST_F(ShellTest, TraceBeginsWithTheBanner) {
  launch();
  const std::string line(64, '-');
  EXPECT_EQ(traced({"---", "Debug"}), (Lines{line, "Debug started", line}));
}

TEST_F(ShellTest, NoPanelOpensAtStart) {
  launch();
  turnEventLoop();
  app();
  turnEventLoop();
  for (const QWidget* window : QApplication::topLevelWidgets()) EXPECT_FALSE(window->isVisible());
}

TEST_F(ShellTest, ClickIsWorkedOffATurnLater) {
  app().iconClicked();
  EXPECT_EQ(openView(), "");
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
}

TEST_F(ShellTest, TwoQuickClicksOpenAndCloseWithTheRoll) {
  store("Mail");
  app();
  clearTrace();
  app().iconClicked();
  app().iconClicked();
  turnEventLoop();
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(traced({"APP: Icon", "APP: openWindow: begin", "APP: openWindow: rolling",
                    "APP: openWindow: end", "APP: closeWindow: "}),
            (Lines{"APP: Icon clicked: begin", "APP: Icon clicked: end", "APP: Icon clicked: begin",
                   "APP: Icon clicked: end", "APP: openWindow: begin (x:-1 y:-1 roll:1)",
                   "APP: openWindow: rolling (steps:10 chunk:15)...", "APP: openWindow: end",
                   "APP: closeWindow: begin (roll:1)",
                   "APP: closeWindow: rolling (steps:10 chunk:15)...", "APP: closeWindow: end"}));
}

TEST_F(ShellTest, ClickClosesWhicheverViewShows) {
  store("Mail");
  for (const char* name : {"tv", "cv", "av", "mv", "hv", "evgu"}) {
    show(name);
    clickIcon();
    EXPECT_EQ(openView(), "") << name;
  }
}

TEST_F(ShellTest, ClickWhileAnAlertIsOpenChangesNothing) {
  show("hv");
  bool still_open = false;
  alerts.answers.push_back([&](QMessageBox& box) {
    app().iconClicked();
    turnEventLoop();
    still_open = openView() == "hv" && box.isVisible();
    AlertUser::pressEscape(box);
  });
  app().simpleMessageBox(QStringLiteral("text"));
  EXPECT_TRUE(still_open);
}

// The status item's menu, and its double click.

TEST_F(ShellTest, MenuOpensAndCloses) {
  app().menuOpen();
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  app().menuOpen();
  turnEventLoop();
  EXPECT_EQ(openView(), "");
}

TEST_F(ShellTest, MenuAddsInTheWaysThatTheSettingsAllow) {
  const std::pair<const char*, const char*> rows[] = {
      {"AllowManual=1\nAllowTaEnrol=1\n", "av"},
      {"AllowManual=1\nAllowTaEnrol=0\n", "mv"},
      {"AllowManual=0\nAllowTaEnrol=1\nEnrolURL=https://enrol.invalid\n", "eva"},
      {"AllowManual=0\nAllowTaEnrol=0\n", ""}};
  for (const auto& [settings, view] : rows) {
    setSettings(settings);
    launch();
    app().menuAdd();
    turnEventLoop();
    EXPECT_EQ(openView(), view) << settings;
    end();
  }
}

TEST_F(ShellTest, MenuLeadsFromAnOpenPanel) {
  setSettings("AllowManual=1\nAllowTaEnrol=0\n");
  show("tv");
  app().menuHelp();
  turnEventLoop();
  EXPECT_EQ(openView(), "hv");
  app().menuAdd();
  turnEventLoop();
  EXPECT_EQ(openView(), "mv");
}

TEST_F(ShellTest, MenuWaitsForTheAnswerToAnAlert) {
  show("hv");
  bool still_open = false;
  alerts.answers.push_back([&](QMessageBox& box) {
    app().menuOpen();
    app().menuAdd();
    turnEventLoop();
    still_open = openView() == "hv" && box.isVisible();
    AlertUser::pressEscape(box);
  });
  app().simpleMessageBox(QStringLiteral("text"));
  EXPECT_TRUE(still_open);
}

TEST_F(ShellTest, DoubleClickLeavesThePanelOpen) {
  app().iconClicked();
  app().iconDoubleClicked();
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  app().iconClicked();
  app().iconDoubleClicked();
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
}

TEST_F(ShellTest, SimpleMessageBox) {
  alerts.answers.push_back(AlertUser::press("OK"));
  app().simpleMessageBox(QStringLiteral("100 % <b>done</b>"));
  ASSERT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(alerts.seen[0].title, "Talvane Soft Token");
  EXPECT_EQ(alerts.seen[0].text, "100 % <b>done</b>");
  EXPECT_EQ(alerts.seen[0].buttons, (Lines{"OK"}));
  EXPECT_EQ(alerts.seen[0].default_button, "OK");
  AlertUser::expectIcon(alerts.seen[0]);
}

TEST_F(ShellTest, ReturnAndEscapeCloseTheMessage) {
  alerts.answers.push_back(AlertUser::pressReturn);
  app().simpleMessageBox(QStringLiteral("one"));
  alerts.answers.push_back(AlertUser::pressEscape);
  app().simpleMessageBox(QStringLiteral("two"));
  EXPECT_EQ(alerts.texts(), (Lines{"one", "two"}));
}

TEST_F(ShellTest, AddOffersTheChoiceWhereBothWaysAreAllowed) {
  setSettings("AllowManual=1\nAllowTaEnrol=1\n");
  show("tv");
  click("tvadd");
  EXPECT_EQ(openView(), "av");
}

TEST_F(ShellTest, AddLeadsStraightToManualEntryWhereOnlyThatIsAllowed) {
  setSettings("AllowManual=1\nAllowTaEnrol=0\n");
  show("tv");
  click("tvadd");
  EXPECT_EQ(openView(), "mv");
}

TEST_F(ShellTest, AddLeadsStraightToEnrolmentWhereOnlyThatIsAllowed) {
  setSettings("AllowManual=0\nAllowTaEnrol=1\nEnrolURL=https://srv\n");
  show("tv");
  click("tvadd");
  EXPECT_EQ(openView(), "eva");
}

TEST_F(ShellTest, AddStaysWhereNothingIsAllowed) {
  setSettings("AllowManual=0\nAllowTaEnrol=0\n");
  show("tv");
  clearTrace();
  click("tvadd");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(
      traced({"APP: ", "TV : "}),
      (Lines{"TV : addclicked: begin", "APP: addclicked: unexpected", "TV : addclicked: end"}));
}

TEST_F(ShellTest, AddFromTheManagementView) {
  store("Mail");
  show("cv");
  click("cvadd");
  EXPECT_EQ(openView(), "av");
}

}  // namespace
}  // namespace talvane
