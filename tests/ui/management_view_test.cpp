// The management view: deleting and renaming.

#include <QCheckBox>
#include <QLineEdit>
#include <QScreen>
#include <QWindow>

#include "tests/ui/app_test.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

using test::AlertUser;
using test::Lines;

class ManagementTest : public AppTest {
 protected:
  static std::vector<QLineEdit*> fields() { return all<QLineEdit>("cvdesc"); }
  static std::vector<QCheckBox*> checkboxes() { return all<QCheckBox>("cvdelete"); }
  static void check(std::size_t index) { QTest::keyClick(checkboxes().at(index), Qt::Key_Space); }
  static void rename(std::size_t index, const std::string& text) { type(fields().at(index), text); }
  void deleteAndAnswer(const std::string& answer) {
    alerts.answers.push_back(AlertUser::press(answer));
    click("cvtrash");
  }
  static Lines shownNames() {
    Lines names;
    for (const QLineEdit* field : fields()) names.push_back(field->text().toStdString());
    return names;
  }
  void failOn(test::FaultyKeychain::Call failing, KeychainStatus status) {
    fault = [failing, status](test::FaultyKeychain::Call call) {
      const bool fails = failing == test::FaultyKeychain::Call::add
                             ? call == failing || call == test::FaultyKeychain::Call::replace
                             : call == failing;
      return fails ? status : KeychainStatus::ok;
    };
  }
};

TEST_F(ManagementTest, QuestionLeavesTheRowsInSight) {
  store("Mail");
  show("cv");
  check(0);
  alerts.answers.push_back([](QMessageBox& box) {
    const QRect rows = panel()->geometry();
    const QRect question(box.windowHandle()->framePosition(), box.frameSize());
    EXPECT_FALSE(question.intersects(rows));
    EXPECT_EQ(question.top(), rows.top());
    EXPECT_TRUE(panel()->screen()->geometry().contains(question));
    EXPECT_TRUE(box.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    AlertUser::pressEscape(box);
  });
  click("cvtrash");
  EXPECT_EQ(alerts.seen.size(), 1U);
}

TEST_F(ManagementTest, RowsStandWhereTheyShould) {
  storeMany(3);
  show("cv");
  const auto* list = find<QWidget>("cvview");
  EXPECT_EQ(frameInPanel(list), withoutBands({0, 0, 260, managementViewHeight(3)}));
  ASSERT_EQ(fields().size(), 3U);
  ASSERT_EQ(checkboxes().size(), 3U);
  for (int row = 0; row < 3; ++row) {
    const auto i = static_cast<std::size_t>(row);
    EXPECT_EQ(frameOf(fields()[i]->geometry()), managementFieldFrame(row));
    EXPECT_EQ(frameOf(checkboxes()[i]->geometry()), managementCheckboxFrame(row));
    EXPECT_EQ(fields()[i]->parentWidget(), list);
    EXPECT_EQ(checkboxes()[i]->parentWidget(), list);
    EXPECT_TRUE(fields()[i]->isVisible());
    EXPECT_TRUE(checkboxes()[i]->isVisible());
  }
}

TEST_F(ManagementTest, OpeningIsTraced) {
  storeMany(2);
  show("tv");
  clearTrace();
  click("tvconfig");
  const QRect screen = QGuiApplication::primaryScreen()->geometry();
  const Place place = defaultPlace({screen.height(), screen.width()}, 146, false);
  EXPECT_EQ(traced({"APP: openWindow", "CV : "}),
            (Lines{"APP: openWindow: begin (x:-1 y:-1 roll:0)",
                   "APP: openWindow: reading tokens...", "APP: openWindow: found 2 tokens",
                   "APP: openWindow: token[00] d:Token 0 s:GEZDGNBVGY3TQOJQ",
                   "APP: openWindow: token[01] d:Token 1 s:GEZDGNBVGY3TQOJQ",
                   "APP: openWindow: calculated cv height: 146",
                   "APP: openWindow: calculated x:" + std::to_string(place.x) +
                       " y:" + std::to_string(place.y),
                   "CV : init: begin", "CV : init: loop start [0]", "CV : init: loop start [1]",
                   "CV : init: end", "APP: openWindow: end"}));
}

TEST_F(ManagementTest, RowsShowTheCurrentNamesAndNothingChecked) {
  store("Mail|Work mail");
  store("<b>Bank</b>", seed2);
  show("cv");
  EXPECT_EQ(shownNames(), (Lines{"Work mail", "<b>Bank</b>"}));
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(fields()[i]->alignment(), Qt::AlignCenter);
    EXPECT_FALSE(fields()[i]->isReadOnly());
    EXPECT_FALSE(checkboxes()[i]->isChecked());
    EXPECT_EQ(checkboxes()[i]->text(), QString());
  }
}

TEST_F(ManagementTest, TitlesOfTheToolbar) {
  store("Mail");
  show("cv");
  EXPECT_EQ(caption("cvtrash"), "Delete");
  EXPECT_EQ(caption("cvhome"), "Home");
  EXPECT_EQ(caption("cvadd"), "Add");
}

TEST_F(ManagementTest, TitlesOfTheSettings) {
  setSettings("StrButtonDelete=D\nStrButtonHome=H\nStrButtonAdd=A\n");
  store("Mail");
  show("cv");
  EXPECT_EQ(caption("cvtrash"), "D");
  EXPECT_EQ(caption("cvhome"), "H");
  EXPECT_EQ(caption("cvadd"), "A");
}

TEST_F(ManagementTest, DeletingNothingAsksForAChoiceAndForNothingElse) {
  storeMany(2);
  show("cv");
  clearTrace();
  click("cvtrash");
  ASSERT_EQ(alerts.texts(), (Lines{"Please select a token to delete"}));
  EXPECT_EQ(alerts.seen[0].buttons, (Lines{"OK"}));
  EXPECT_EQ(storedNames().size(), 2U);
  EXPECT_EQ(traced({"CV : "}),
            (Lines{"CV : trashclicked: begin", "CV : trashclicked: cvdelete item count:2",
                   "CV : trashclicked: [00] off\n", "CV : trashclicked: [01] off\n",
                   "CV : trashclicked: end"}));
}

TEST_F(ManagementTest, DeletingAsksFirst) {
  storeMany(2);
  show("cv");
  check(1);
  deleteAndAnswer("NO");
  ASSERT_EQ(alerts.seen.size(), 1U);
  const AlertUser::Seen& question = alerts.seen[0];
  EXPECT_EQ(question.title, "Talvane Soft Token");
  EXPECT_EQ(question.text, "Are you sure you want to delete these tokens?");
  EXPECT_EQ(std::set<std::string>(question.buttons.begin(), question.buttons.end()),
            (std::set<std::string>{"NO", "YES"}));
  EXPECT_EQ(question.default_button, "NO");
  EXPECT_EQ(question.escape_button, "NO");
  AlertUser::expectIcon(question);
}

TEST_F(ManagementTest, QuestionsOfTheSettings) {
  setSettings("StrDeletePleaseSelect=Select\nStrDeleteAreYouSure=Sure\n");
  store("Mail");
  show("cv");
  click("cvtrash");
  check(0);
  deleteAndAnswer("NO");
  EXPECT_EQ(alerts.texts(), (Lines{"Select", "Sure"}));
}

TEST_F(ManagementTest, YesDeletesWhatIsChecked) {
  storeMany(3);
  show("cv");
  clearTrace();
  check(0);
  check(2);
  deleteAndAnswer("YES");
  EXPECT_EQ(storedNames(), (Lines{"Token 1"}));
  EXPECT_EQ(openView(), "cv");
  EXPECT_EQ(shownNames(), (Lines{"Token 1"}));
  EXPECT_EQ(traced({"CV : trash"}),
            (Lines{"CV : trashclicked: begin", "CV : trashclicked: cvdelete item count:3",
                   "CV : trashclicked: [00] on\n", "CV : trashclicked: [01] off\n",
                   "CV : trashclicked: [02] on\n",
                   "CV : trashclicked: delete tokens confirmation returned YES",
                   "CV : trashclicked: end"}));
}

TEST_F(ManagementTest, NoDeletesNothing) {
  storeMany(2);
  show("cv");
  check(0);
  clearTrace();
  deleteAndAnswer("NO");
  EXPECT_EQ(storedNames().size(), 2U);
  EXPECT_TRUE(checkboxes()[0]->isChecked());
  EXPECT_EQ(traced({"CV : trashclicked: delete"}),
            (Lines{"CV : trashclicked: delete tokens confirmation returned NO"}));
}

TEST_F(ManagementTest, ReturnAnswersNo) {
  store("Mail");
  show("cv");
  check(0);
  alerts.answers.emplace_back(AlertUser::pressReturn);
  click("cvtrash");
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  EXPECT_EQ(traced({"CV : trashclicked: delete"}),
            (Lines{"CV : trashclicked: delete tokens confirmation returned NO"}));
}

TEST_F(ManagementTest, EscapeAnswersNo) {
  store("Mail");
  show("cv");
  check(0);
  alerts.answers.emplace_back(AlertUser::pressEscape);
  click("cvtrash");
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  EXPECT_EQ(openView(), "cv");
}

TEST_F(ManagementTest, ConfirmationThatEndsWithoutAnAnswerDeletesNothing) {
  store("Mail");
  show("cv");
  check(0);
  alerts.answers.emplace_back(AlertUser::closeWithoutAnswer);
  click("cvtrash");
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  EXPECT_EQ(traced({"CV : trashclicked: delete"}),
            (Lines{"CV : trashclicked: delete tokens confirmation returned unexpected value:2"}));
}

TEST_F(ManagementTest, CheckboxInAnyOtherStateSelectsNothing) {
  store("Mail");
  show("cv");
  checkboxes()[0]->setCheckState(Qt::PartiallyChecked);
  clearTrace();
  click("cvtrash");
  EXPECT_EQ(alerts.texts(), (Lines{"Please select a token to delete"}));
  EXPECT_EQ(traced({"CV : trashclicked: ["}), (Lines{"CV : trashclicked: [00] unknown state\n"}));
}

TEST_F(ManagementTest, DeletingTheLastTokenLeadsHome) {
  store("Mail");
  show("cv");
  check(0);
  deleteAndAnswer("YES");
  turnEventLoop();
  EXPECT_EQ(storedNames(), Lines());
  EXPECT_EQ(openView(), "tv");
}

TEST_F(ManagementTest, AllOf32CanBeDeletedAtOnce) {
  storeMany(32);
  show("cv");
  for (QCheckBox* checkbox : checkboxes()) checkbox->setChecked(true);
  deleteAndAnswer("YES");
  turnEventLoop();
  EXPECT_EQ(keychain.memory.items.size(), 0U);
  EXPECT_EQ(openView(), "tv");
}

TEST_F(ManagementTest, NothingIsDeletedWhenAnotherProgramMovedTheTokens) {
  storeMany(3);
  show("cv");
  check(1);
  alerts.answers.push_back([this](QMessageBox& box) {
    deleteStored(0);
    AlertUser::press("YES")(box);
  });
  click("cvtrash");
  EXPECT_EQ(storedNames(), (Lines{"Token 1", "Token 2"}));
  EXPECT_EQ(
      alerts.texts(),
      (Lines{
          "Are you sure you want to delete these tokens?",
          "The tokens changed in the meantime and nothing was deleted; check them and try again"}));
  EXPECT_EQ(shownNames(), (Lines{"Token 1", "Token 2"}));
}

TEST_F(ManagementTest, TokenThatAnotherProgramRenamedIsStillDeleted) {
  storeMany(2);
  show("cv");
  check(0);
  renameStored(0, "Elsewhere");
  deleteAndAnswer("YES");
  EXPECT_EQ(storedNames(), (Lines{"Token 1"}));
}

TEST_F(ManagementTest, KeychainThatRefusesToRemoveIsToldAndKeepsTheToken) {
  storeMany(1);
  show("cv");
  check(0);
  failOn(test::FaultyKeychain::Call::remove, KeychainStatus::write_permission);
  deleteAndAnswer("YES");
  fault = nullptr;
  EXPECT_EQ(storedNames(), (Lines{"Token 0"}));
  EXPECT_EQ(alerts.texts(),
            (Lines{"Are you sure you want to delete these tokens?", "words for -61 [-61]"}));
}

TEST_F(ManagementTest, FailedDeletionLeavesTheSelectionAndTheTypedNames) {
  storeMany(2);
  show("cv");
  rename(0, "Bank");
  check(1);
  failOn(test::FaultyKeychain::Call::remove, KeychainStatus::write_permission);
  deleteAndAnswer("YES");
  fault = nullptr;
  turnEventLoop();
  ASSERT_EQ(alerts.seen.size(), 2U);
  EXPECT_EQ(shownNames(), (Lines{"Bank", "Token 1"}));
  EXPECT_FALSE(checkboxes()[0]->isChecked());
  EXPECT_TRUE(checkboxes()[1]->isChecked());
  deleteAndAnswer("YES");
  EXPECT_EQ(storedNames(), Lines{"Token 0"});
}

TEST_F(ManagementTest, KeychainThatRefusesToMoveATokenLosesNone) {
  storeMany(3);
  show("cv");
  check(0);
  failOn(test::FaultyKeychain::Call::add, KeychainStatus::disk_full);
  deleteAndAnswer("YES");
  fault = nullptr;
  for (const char* slot : {"TalvaneSoftToken5021", "TalvaneSoftToken5022"}) {
    EXPECT_TRUE(keychain.memory.items.contains({slot, "ada"})) << slot;
  }
  ASSERT_EQ(alerts.seen.size(), 2U);
  EXPECT_EQ(alerts.seen[1].text, "words for -34 [-34]");
}

TEST_F(ManagementTest, LockedKeychainDeletesNothing) {
  storeMany(2);
  show("cv");
  check(0);
  fault = [](test::FaultyKeychain::Call /*call*/) {
    return KeychainStatus::interaction_not_allowed;
  };
  deleteAndAnswer("YES");
  fault = nullptr;
  EXPECT_EQ(storedNames().size(), 2U);
  EXPECT_EQ(alerts.seen.size(), 2U);
}

TEST_F(ManagementTest, HomeSavesNewNamesBesideTheFirstOnes) {
  storeMany(2);
  show("cv");
  clearTrace();
  rename(1, "Bank");
  click("cvhome");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 1|Bank"}));
  EXPECT_EQ(all<QLabel>("tvdesc").at(1)->text(), QStringLiteral("Bank"));
  EXPECT_EQ(writes(), 1U);
  EXPECT_EQ(traced({"CV : "}),
            (Lines{"CV : homeclicked: begin", "CV : homeclicked: [0] nothing to do",
                   "CV : homeclicked: [1] updating desc...", "CV : homeclicked: [2] not found",
                   "CV : homeclicked: end"}));
}

TEST_F(ManagementTest, SecondRenameReplacesTheFirst) {
  store("Mail|Work");
  show("cv");
  rename(0, "Post");
  click("cvhome");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Post"}));
}

TEST_F(ManagementTest, RenamingToTheSameTextWritesNothing) {
  store("Mail|Work");
  show("cv");
  rename(0, "Work");
  click("cvhome");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(writes(), 0U);
  EXPECT_EQ(storedNames(), (Lines{"Mail|Work"}));
}

TEST_F(ManagementTest, RenamedTokenKeepsItsSeedAndPeriod) {
  store("Mail", seed1, 60);
  clock = 65;
  show("cv");
  rename(0, "Post");
  click("cvhome");
  EXPECT_EQ(codes(), (Lines{"263420"}));
}

TEST_F(ManagementTest, NameGivenElsewhereMeanwhileIsNotUndone) {
  store("Mail");
  show("cv");
  renameStored(0, "Elsewhere");
  click("cvhome");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Elsewhere"}));
  EXPECT_EQ(writes(), 0U);
}

TEST_F(ManagementTest, NameTypedHereCountsAgainstOneGivenElsewhere) {
  store("Mail");
  show("cv");
  renameStored(0, "Elsewhere");
  rename(0, "Here");
  click("cvhome");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Here"}));
}

TEST_F(ManagementTest, NameIsNotGivenToATokenThatMovedIntoTheSlot) {
  storeMany(2);
  show("cv");
  rename(0, "Bank");
  deleteStored(0);
  click("cvhome");
  EXPECT_EQ(
      alerts.texts(),
      (Lines{
          "The tokens changed in the meantime and nothing was renamed; check them and try again"}));
  EXPECT_EQ(storedNames(), (Lines{"Token 1"}));
  EXPECT_EQ(openView(), "cv");
  EXPECT_EQ(shownNames(), (Lines{"Token 1"}));
}

TEST_F(ManagementTest, NameThatCannotBeGivenIsToldAndStaysInItsField) {
  storeMany(2);
  show("cv");
  rename(0, "Bank");
  rename(1, "");
  click("cvhome");
  ASSERT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(openView(), "cv");
  EXPECT_EQ(shownNames(), (Lines{"Bank", ""}));
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 1"}));
}

TEST_F(ManagementTest, KeychainThatRefusesANameIsToldAndTheTextStays) {
  store("Mail");
  show("cv");
  rename(0, "Bank");
  failOn(test::FaultyKeychain::Call::add, KeychainStatus::disk_full);
  click("cvhome");
  fault = nullptr;
  EXPECT_EQ(alerts.texts(), (Lines{"words for -34 [-34]"}));
  EXPECT_EQ(openView(), "cv");
  EXPECT_EQ(shownNames(), (Lines{"Bank"}));
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
}

TEST_F(ManagementTest, StoreThatCannotBeChangedKeepsTheViewAndTheText) {
  store("Mail");
  show("cv");
  const std::string file = home.root() + "/file";
  test::writeFile(file, "");
  home.environment.set("XDG_DATA_HOME", file);
  rename(0, "Bank");
  click("cvhome");
  EXPECT_EQ(openView(), "cv");
  EXPECT_EQ(shownNames(), (Lines{"Bank"}));
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  EXPECT_EQ(alerts.seen.size(), 1U);
}

TEST_F(ManagementTest, HomeNeedsTheStoreOnlyForTypedNames) {
  store("Mail");
  show("cv");
  const std::string file = home.root() + "/file";
  test::writeFile(file, "");
  home.environment.set("XDG_DATA_HOME", file);
  std::size_t calls = 0;
  fault = [&](test::FaultyKeychain::Call /*call*/) {
    if (openView() == "cv") ++calls;
    return KeychainStatus::ok;
  };
  click("cvhome");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(calls, 0U);
}

TEST_F(ManagementTest, TypedNamesSurviveTheDeletionOfAnotherRow) {
  storeMany(3);
  show("cv");
  rename(0, "Bank");
  rename(1, "Goes");
  rename(2, "Post");
  check(1);
  deleteAndAnswer("YES");
  turnEventLoop();
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 2"}));
  EXPECT_EQ(shownNames(), (Lines{"Bank", "Post"}));
  EXPECT_FALSE(checkboxes()[0]->isChecked());
  EXPECT_FALSE(checkboxes()[1]->isChecked());
  click("cvhome");
  EXPECT_EQ(storedNames(), (Lines{"Token 0|Bank", "Token 2|Post"}));
}

TEST_F(ManagementTest, EscapeSavesTypedNamesAsHomeDoes) {
  storeMany(2);
  show("cv");
  rename(1, "Bank");
  QTest::keyClick(fields()[1], Qt::Key_Escape);
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 1|Bank"}));
}

TEST_F(ManagementTest, EveryWayOutOfThePanelSavesTypedNames) {
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"Close", [this] { click("close"); }}, {"Icon", [this] { clickIcon(); }}, {"Window", [] {
                                                                                   panel()->close();
                                                                                 }}};
  store("Mail");
  for (const auto& [name, leave] : ways) {
    show("cv");
    rename(0, name);
    leave();
    turnEventLoop();
    EXPECT_EQ(openView(), "") << name;
    EXPECT_EQ(storedNames(), Lines{std::string("Mail|") + name});
  }
  show("cv");
  rename(0, "Menu");
  app().menuHelp();
  turnEventLoop();
  EXPECT_EQ(openView(), "hv");
  EXPECT_EQ(storedNames(), Lines{"Mail|Menu"});
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(ManagementTest, NameThatCannotBeSavedKeepsThePanelOpenOnce) {
  store("Mail");
  const std::function<void()> ways[] = {[this] { click("close"); }, [this] { clickIcon(); },
                                        [] { panel()->close(); }};
  for (const auto& leave : ways) {
    show("cv");
    rename(0, "");
    alerts.seen.clear();
    leave();
    turnEventLoop();
    EXPECT_EQ(alerts.seen.size(), 1U);
    EXPECT_EQ(openView(), "cv");
    EXPECT_EQ(shownNames(), Lines{""});
    leave();
    turnEventLoop();
    EXPECT_EQ(alerts.seen.size(), 1U);
    EXPECT_EQ(openView(), "");
  }
  EXPECT_EQ(storedNames(), Lines{"Mail"});
}

TEST_F(ManagementTest, TokenFromALinkComesAfterTheTypedNames) {
  setSettings("AllowManual=1\n");
  store("Mail");
  show("cv");
  rename(0, "Bank");
  alerts.answers.push_back(AlertUser::press("YES"));
  app().perform(QStringLiteral("open otpauth://totp/VPN?secret=JBSWY3DPEHPK3PXP"));
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Bank", "VPN"}));
}

TEST_F(ManagementTest, NameThatCannotBeSavedDoesNotHoldUpTheEnd) {
  store("Mail");
  show("cv");
  rename(0, "");
  QTimer::singleShot(0, panel(), [this] { app().perform(QStringLiteral("quit")); });
  QTimer::singleShot(5000, panel(), [] { FAIL(); });
  QApplication::exec();
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(ManagementTest, AddSavesTypedNamesFirst) {
  store("Mail");
  show("cv");
  rename(0, "");
  click("cvadd");
  EXPECT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(openView(), "cv");
  rename(0, "Bank");
  click("cvadd");
  EXPECT_EQ(openView(), "av");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Bank"}));
}

TEST_F(ManagementTest, AddIsTraced) {
  store("Mail");
  show("cv");
  clearTrace();
  click("cvadd");
  EXPECT_EQ(traced({"CV : "}), (Lines{"CV : addclicked: begin", "CV : addclicked: end"}));
}

class MoveTest : public ManagementTest {
 protected:
  static void press(QWidget* widget, Qt::Key key, Qt::KeyboardModifiers modifiers) {
    widget->setFocus();
    QTest::keyClick(widget, key, modifiers);
    turnEventLoop();
  }
};

TEST_F(MoveTest, AltWithAnArrowMovesTheToken) {
  storeMany(3);
  show("cv");
  press(fields()[0], Qt::Key_Down, Qt::AltModifier);
  EXPECT_EQ(storedNames(), (Lines{"Token 1", "Token 0", "Token 2"}));
  EXPECT_EQ(shownNames(), (Lines{"Token 1", "Token 0", "Token 2"}));
  EXPECT_EQ(panel()->focusWidget(), fields()[1]);
  press(fields()[1], Qt::Key_Down, Qt::AltModifier | Qt::KeypadModifier);
  EXPECT_EQ(storedNames(), (Lines{"Token 1", "Token 2", "Token 0"}));
  press(fields()[2], Qt::Key_Up, Qt::AltModifier);
  EXPECT_EQ(storedNames(), (Lines{"Token 1", "Token 0", "Token 2"}));
  EXPECT_EQ(panel()->focusWidget(), fields()[1]);
}

TEST_F(MoveTest, QuickKeysMoveOneToken) {
  storeMany(4);
  show("cv");
  fields()[0]->setFocus();
  QTest::keyClick(fields()[0], Qt::Key_Down, Qt::AltModifier);
  QTest::keyClick(fields()[0], Qt::Key_Down, Qt::AltModifier);
  turnEventLoop();
  EXPECT_EQ(storedNames(), (Lines{"Token 1", "Token 2", "Token 0", "Token 3"}));
  EXPECT_EQ(panel()->focusWidget(), fields()[2]);
}

TEST_F(MoveTest, TypedNamesAndChecksMoveWithTheirTokens) {
  storeMany(3);
  show("cv");
  rename(1, "Bank");
  check(1);
  press(checkboxes()[1], Qt::Key_Up, Qt::AltModifier);
  EXPECT_EQ(storedNames(), (Lines{"Token 1", "Token 0", "Token 2"}));
  EXPECT_EQ(shownNames(), (Lines{"Bank", "Token 0", "Token 2"}));
  EXPECT_TRUE(checkboxes()[0]->isChecked());
  EXPECT_FALSE(checkboxes()[1]->isChecked());
  EXPECT_EQ(panel()->focusWidget(), checkboxes()[0]);
  click("cvhome");
  EXPECT_EQ(storedNames(), (Lines{"Token 1|Bank", "Token 0", "Token 2"}));
}

TEST_F(MoveTest, NothingMovesBeyondTheEnds) {
  storeMany(2);
  show("cv");
  press(fields()[0], Qt::Key_Up, Qt::AltModifier);
  press(fields()[1], Qt::Key_Down, Qt::AltModifier);
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 1"}));
  EXPECT_EQ(writes(), 0U);
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(MoveTest, ArrowsAloneMoveNothing) {
  storeMany(2);
  show("cv");
  press(fields()[0], Qt::Key_Down, Qt::NoModifier);
  EXPECT_EQ(panel()->focusWidget(), fields()[1]);
  EXPECT_EQ(writes(), 0U);
}

TEST_F(MoveTest, NothingMovesWhenAnotherProgramMovedTheTokens) {
  storeMany(3);
  show("cv");
  deleteStored(0);
  press(fields()[1], Qt::Key_Down, Qt::AltModifier);
  turnEventLoop();
  EXPECT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(storedNames(), (Lines{"Token 1", "Token 2"}));
  EXPECT_EQ(shownNames(), (Lines{"Token 1", "Token 2"}));
}

TEST_F(MoveTest, FailureIsToldAndKeepsTheOrder) {
  storeMany(2);
  show("cv");
  failOn(test::FaultyKeychain::Call::add, KeychainStatus::disk_full);
  press(fields()[0], Qt::Key_Down, Qt::AltModifier);
  fault = nullptr;
  EXPECT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 1"}));
}

class ResponseButtonTest : public ManagementTest {};

TEST_F(ResponseButtonTest, ShowsTheResponseCodeAgain) {
  clock = 1974055557;
  store("Mail");
  showResponse();
  const QString code = find<QLineEdit>("rvcode")->text();
  show("cv");
  QAbstractButton* shows = button("cvresponse");
  ASSERT_NE(shows, nullptr);
  EXPECT_EQ(frameOf(shows->geometry()), managementResponseFrame(1));
  EXPECT_EQ(shows->accessibleName(), QStringLiteral("Response code: Response"));
  clock += 2;  // still in the same period
  click("cvresponse");
  EXPECT_EQ(openView(), "rv");
  EXPECT_EQ(find<QLineEdit>("rvcode")->text(), code);
  EXPECT_EQ(code, QStringLiteral("ERYLAECA"));
  click("rvok");
  EXPECT_EQ(openView(), "tv");
}

TEST_F(ResponseButtonTest, TypedNamesAreSavedFirst) {
  showResponse();
  show("cv");
  rename(0, "Bank");
  click("cvresponse");
  EXPECT_EQ(openView(), "rv");
  EXPECT_EQ(storedNames(), (Lines{"Response|Bank"}));
}

TEST_F(ResponseButtonTest, OtherTokensHaveNone) {
  store("Mail");
  show("cv");
  EXPECT_TRUE(all<QAbstractButton>("cvresponse").empty());
}

class ObstacleTest : public ManagementTest {
 protected:
  SecretBytes& item(int slot) {
    return keychain.memory.items[{"TalvaneSoftToken502" + std::to_string(slot), "ada"}];
  }
};

TEST_F(ObstacleTest, RecordThatDoesNotLoadIsDeletedByItsRow) {
  storeMany(3);
  item(1) = Bytes{1, 2, 3};
  show("cv");
  EXPECT_EQ(shownNames(), Lines{"Token 0"});
  const auto* obstacle = find<QLineEdit>("cvobstacle");
  EXPECT_EQ(obstacle->text(), QStringLiteral("Slot 1: unreadable"));
  EXPECT_TRUE(obstacle->isReadOnly());
  EXPECT_EQ(frameOf(obstacle->geometry()), managementFieldFrame(1));
  ASSERT_EQ(checkboxes().size(), 2U);
  check(1);
  deleteAndAnswer("YES");
  EXPECT_EQ(alerts.texts(), (Lines{"Are you sure you want to delete these tokens?\n\nThe record in "
                                   "slot 1 is damaged and hides the token after it. Deleting it "
                                   "cannot be undone."}));
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 2"}));
  QCoreApplication::processEvents();
  EXPECT_EQ(shownNames(), (Lines{"Token 0", "Token 2"}));
  EXPECT_EQ(all<QLineEdit>("cvobstacle").size(), 0U);
}

TEST_F(ObstacleTest, GapIsClosedByItsRow) {
  storeMany(4);
  keychain.memory.items.erase({"TalvaneSoftToken5021", "ada"});
  keychain.memory.items.erase({"TalvaneSoftToken5022", "ada"});
  show("cv");
  EXPECT_EQ(find<QLineEdit>("cvobstacle")->text(), QStringLiteral("Slot 1: empty"));
  check(1);
  deleteAndAnswer("YES");
  EXPECT_EQ(alerts.texts(),
            (Lines{"Are you sure you want to delete these tokens?\n\nSlot 1 is empty and hides the "
                   "token after it. Deleting it closes the gap and loses no token."}));
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 3"}));
}

TEST_F(ObstacleTest, EditOpensForItAlone) {
  store("Mail");
  item(0) = Bytes{1, 2, 3};
  show("tv");
  EXPECT_TRUE(find<QAbstractButton>("tvconfig")->isEnabled());
  click("tvconfig");
  EXPECT_EQ(shownNames(), Lines{});
  ASSERT_EQ(checkboxes().size(), 1U);
  check(0);
  deleteAndAnswer("YES");
  EXPECT_EQ(keychain.memory.items.size(), 0U);
}

TEST_F(ObstacleTest, NamesAreTypedBesideIt) {
  storeMany(2);
  item(1) = Bytes{1, 2, 3};
  show("cv");
  rename(0, "New");
  click("cvhome");
  EXPECT_EQ(find<QLabel>("tvdesc")->text(), QStringLiteral("New"));
}

}  // namespace
}  // namespace talvane
