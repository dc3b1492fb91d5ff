// The add, manual entry and response views.

#include "ui/views/manual_view.h"
#include "platform/memory/memory_keychain.h"
#include "tests/support/fake_gateway.h"
#include "tests/ui/app_test.h"
#include "ui/views/response_view.h"

namespace talvane {
namespace {

using test::Lines;

class ManualTest : public AppTest {
 protected:
  using AppTest::type;
  void fillIn(const std::string& description, const std::string& seed) {
    type("mvdesc", description);
    type("mvseed", seed);
  }
  /// What is typed into the view is there after a failure.
  void expectStays(const std::string& description, const std::string& seed) {
    EXPECT_EQ(openView(), "mv");
    EXPECT_EQ(find<QLineEdit>("mvdesc")->text().toStdString(), description);
    EXPECT_EQ(find<QLineEdit>("mvseed")->text().toStdString(), seed);
  }
};

TEST_F(ManualTest, AddViewLeadsToItsThreeViews) {
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  show("av");
  clearTrace();
  click("avenrol");
  EXPECT_EQ(openView(), "eva");
  show("av");
  click("avmanual");
  EXPECT_EQ(openView(), "mv");
  show("av");
  click("avcancel");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(traced({"AV : "}),
            (Lines{"AV : enrolclicked: begin", "AV : enrolclicked: end", "AV : init: begin",
                   "AV : init: end", "AV : manualclicked: begin", "AV : manualclicked: end",
                   "AV : init: begin", "AV : init: end", "AV : cancelclicked: begin",
                   "AV : cancelclicked: end"}));
}

TEST_F(ManualTest, LabelsAndEmptyFields) {
  show("mv");
  EXPECT_EQ(find<QLabel>("mvdesclabel")->text(), QStringLiteral("Enter a description"));
  EXPECT_EQ(find<QLabel>("mvseedlabel")->text(),
            QStringLiteral("Enter your 13 or 16 character key"));
  EXPECT_EQ(colourOf("mvdesclabel"), QColor(Qt::white));
  EXPECT_EQ(colourOf("mvseedlabel"), QColor(Qt::white));
  EXPECT_TRUE(find<QLineEdit>("mvdesc")->hasFocus());
  fillIn("Mail", seed1);
  show("mv");
  expectStays("", "");
}

TEST_F(ManualTest, UndoDoesNotBringTheSeedBack) {
  show("mv");
  fillIn("Mail", seed1);
  click("mvok");
  ASSERT_EQ(storedNames(), Lines{"Mail"});
  EXPECT_FALSE(find<QLineEdit>("mvseed")->isUndoAvailable());
  show("mv");
  fillIn("Mail", seed1);
  click("mvcancel");
  show("mv");
  EXPECT_FALSE(find<QLineEdit>("mvseed")->isUndoAvailable());
  find<QLineEdit>("mvseed")->undo();
  expectStays("", "");
}

TEST_F(ManualTest, FieldsAreEmptiedWhenTheirViewCloses) {
  show("mv");
  fillIn("Mail", seed1);
  clickIcon();
  for (const char* name : {"mvdesc", "mvseed"}) {
    EXPECT_EQ(find<QLineEdit>(name)->text(), QString()) << name;
    EXPECT_FALSE(find<QLineEdit>(name)->isUndoAvailable()) << name;
  }
  showResponse();
  EXPECT_EQ(find<QLineEdit>("rvcode")->text().size(), 8);
  clickIcon();
  EXPECT_EQ(find<QLineEdit>("rvcode")->text(), QString());
}

TEST_F(ManualTest, EmptyDescriptionIsRefusedWithItsPrompt) {
  show("mv");
  clearTrace();
  fillIn("", seed1);
  click("mvok");
  expectStays("", seed1);
  EXPECT_EQ(alerts.texts(), (Lines{"Enter a description"}));
  EXPECT_EQ(traced({"MV : "}),
            (Lines{"MV : okclicked: begin", "MV : okclicked: aborted :desc empty",
                   "MV : okclicked: end"}));
}

TEST_F(ManualTest, SeedsOfOtherLengthsAreRefusedWithTheirPrompt) {
  show("mv");
  for (const std::size_t length : {0U, 1U, 12U, 14U, 15U, 17U, 26U}) {
    clearTrace();
    alerts.seen.clear();
    const std::string seed(length, 'A');
    fillIn("Mail", seed);
    click("mvok");
    expectStays("Mail", seed);
    EXPECT_EQ(alerts.texts(), (Lines{"Enter your 13 or 16 character key"}));
    EXPECT_EQ(traced({"MV : "}),
              (Lines{"MV : okclicked: begin",
                     "MV : okclicked: aborted :seed length wrong: (" + std::to_string(length) + ")",
                     "MV : okclicked: end"}));
  }
  EXPECT_EQ(writes(), 0U);
}

TEST_F(ManualTest, SpacesAndDashesInTheSeedAreTakenOut) {
  show("mv");
  fillIn("Mail", "GEZD GNBV-GY3T QOJQ ");
  expectStays("Mail", seed1);
  click("mvok");
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
}

TEST_F(ManualTest, OtherCharactersCountAsTyped) {
  show("mv");
  fillIn("Mail", std::string(seed1) + "_");
  click("mvok");
  expectStays("Mail", std::string(seed1) + "_");
  EXPECT_EQ(alerts.texts(), (Lines{"Enter your 13 or 16 character key"}));
}

TEST_F(ManualTest, PromptsOfTheSettings) {
  setSettings("AllowManual=1\nStrManualDesc=Name?\nStrManualSeed=Key?\n");
  show("mv");
  EXPECT_EQ(find<QLabel>("mvdesclabel")->text(), QStringLiteral("Name?"));
  click("mvok");
  fillIn("Mail", "short");
  click("mvok");
  EXPECT_EQ(alerts.texts(), (Lines{"Name?", "Key?"}));
}

TEST_F(ManualTest, SixteenCharactersLeadHome) {
  clock = 45;
  show("mv");
  clearTrace();
  fillIn("Mail", seed1);
  click("mvok");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  EXPECT_EQ(codes(), (Lines{"263420"}));
  EXPECT_EQ(traced({"MV : "}),
            (Lines{"MV : okclicked: begin",
                   "MV : okclicked: NewToken success: 16 digit seed, returning to tv",
                   "MV : okclicked: end"}));
  EXPECT_EQ(find<QLineEdit>("mvseed")->text(), QString());
}

TEST_F(ManualTest, ThirteenCharactersLeadToTheResponse) {
  clock = 1974055557;
  show("mv");
  clearTrace();
  fillIn("Mail", "UH7XKZFDVCTPT");
  click("mvok");
  EXPECT_EQ(openView(), "rv");
  EXPECT_EQ(find<QLineEdit>("rvcode")->text(), QStringLiteral("ERYLAECA"));
  EXPECT_TRUE(find<QLineEdit>("rvcode")->isReadOnly());
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  EXPECT_EQ(traced({"MV : ", "RV : "}),
            (Lines{"MV : okclicked: begin", "MV : okclicked: response: ERYLAECA",
                   "RV : init: begin", "RV : init: end", "MV : okclicked: end"}));
}

// No seed of 13 characters is stored without a response.
TEST(ManualViewTest, MissingResponseIsTracedAndTheViewStays) {
  class QuietShell final : public Shell {
    void addclicked(SoftTokenWindow* /*from*/) override {}
    void simpleMessageBox(const QString& /*text*/) override { ADD_FAILURE(); }
    void menuExit() override {}
    void copyPasscode(const PasscodeToCopy& /*passcode*/) override { ADD_FAILURE(); }
  };
  const test::PrivateHome home;
  test::MemoryUserDefaults defaults;
  const Ini ini(defaults, SettingsFolders{home.home(), home.home(), home.home()});
  MemoryKeychain keychain;
  test::NoIdentifiers identifiers;
  vaneinterface gateway(keychain, identifiers);
  TokenStore store(gateway, keychain);
  QuietShell shell;
  Panel panel(ini, store);
  auto& rv = panel.add(std::make_unique<ResponseView>(panel));
  auto& mv = panel.add(std::make_unique<ManualView>(panel, shell, ini, store, rv));
  panel.openWindow(mv.window(), -1, -1, false);
  test::FakeGateway log;
  vane::SetInterface(&log);
  mv.mv_created(13, {});
  vane::SetInterface(nullptr);
  EXPECT_EQ(log.lines, Lines{"MV : okclicked: response nil!"});
  EXPECT_EQ(panel.openPanel(), mv.window());
}

TEST_F(ManualTest, ResponseLeadsHome) {
  showResponse();
  clearTrace();
  click("rvok");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(traced({"RV : "}), (Lines{"RV : okclicked: begin", "RV : okclicked: end"}));
}

TEST_F(ManualTest, LowerCaseSeedIsAccepted) {
  show("mv");
  fillIn("Mail", "gezdgnbvgy3tqojq");
  click("mvok");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(codes().size(), 1U);
}

TEST_F(ManualTest, CharacterThatIsNoBase32IsRefused) {
  show("mv");
  clearTrace();
  fillIn("Mail", "GEZDGNBVGY3TQOJ!");
  click("mvok");
  expectStays("Mail", "GEZDGNBVGY3TQOJ!");
  EXPECT_EQ(alerts.texts(), (Lines{"Invalid character in seed"}));
  EXPECT_EQ(traced({"MV : okclicked: NewToken"}),
            (Lines{"MV : okclicked: NewToken returned error: Invalid character in seed"}));
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ManualTest, NameOfBarsAloneIsRefused) {
  show("mv");
  fillIn("||", seed1);
  click("mvok");
  expectStays("||", seed1);
  EXPECT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ManualTest, TokenOfTheSameNameIsReplacedInItsSlot) {
  store("Mail", seed2);
  store("Bank", seed2);
  clock = 45;
  show("mv");
  fillIn("Mail", seed1);
  alerts.answers.push_back(test::AlertUser::press("YES"));
  click("mvok");
  EXPECT_EQ(alerts.texts(),
            (Lines{"Replace the stored token \"Mail\"? It will be deleted.\n\n"
                   "The new token is \"Mail\", with a new passcode every 30 seconds."}));
  EXPECT_EQ(alerts.seen[0].default_button, "NO");
  EXPECT_EQ(storedNames(), (Lines{"Mail", "Bank"}));
  EXPECT_EQ(codes().front(), "263420");
}

TEST_F(ManualTest, NoReplacesNothing) {
  store("Mail|Work", seed2);
  show("mv");
  fillIn("Mail", seed1);
  alerts.answers.push_back(test::AlertUser::press("NO"));
  click("mvok");
  expectStays("Mail", seed1);
  ASSERT_EQ(alerts.seen.size(), 1U);
  EXPECT_NE(alerts.seen[0].text.find("\"Work\""), std::string::npos);
  EXPECT_EQ(storedNames(), (Lines{"Mail|Work"}));
  EXPECT_EQ(writes(), 0U);
}

TEST_F(ManualTest, SeedThatCannotWorkIsRefusedWithoutTheQuestion) {
  store("Mail", seed2);
  show("mv");
  for (const char* seed : {"GEZDGNBVGY3TQO", "GEZDGNBVGY3TQOJ!"}) {
    fillIn("Mail", seed);
    click("mvok");
    expectStays("Mail", seed);
  }
  EXPECT_EQ(alerts.texts(),
            (Lines{"Enter your 13 or 16 character key", "Invalid character in seed"}));
}

TEST_F(ManualTest, TokenThatCameDuringTheCheckIsNotReplaced) {
  store("Mail", seed2);
  const auto items = std::exchange(keychain.memory.items, {});
  show("mv");
  fillIn("Mail", seed1);
  // The check looks once at each slot.
  std::size_t finds = 0;
  fault = [&](test::FaultyKeychain::Call call) {
    if (call == test::FaultyKeychain::Call::find && ++finds == 33) keychain.memory.items = items;
    return KeychainStatus::ok;
  };
  click("mvok");
  fault = nullptr;
  expectStays("Mail", seed1);
  ASSERT_EQ(alerts.seen.size(), 1U);
  EXPECT_NE(alerts.seen[0].text.find("already holds the token \"Mail\""), std::string::npos);
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
}

TEST_F(ManualTest, FullStoreIsToldAndLosesNothing) {
  storeMany(32);
  const auto before = keychain.memory.items.size();
  show("mv");
  fillIn("One more", seed2);
  click("mvok");
  expectStays("One more", seed2);
  EXPECT_EQ(alerts.texts(), (Lines{"All 32 slots hold tokens; delete one first"}));
  EXPECT_EQ(keychain.memory.items.size(), before);
  EXPECT_EQ(storedNames().size(), 32U);
}

TEST_F(ManualTest, KeychainThatDoesNotTakeTheTokenIsTold) {
  store("Mail");
  show("mv");
  fillIn("Bank", seed2);
  fault = [](test::FaultyKeychain::Call call) {
    return call == test::FaultyKeychain::Call::add ? KeychainStatus::disk_full : KeychainStatus::ok;
  };
  click("mvok");
  expectStays("Bank", seed2);
  EXPECT_EQ(alerts.texts(), (Lines{"words for -34 [-34]"}));
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
}

TEST_F(ManualTest, LockedKeychainIsNotWrittenOver) {
  store("Mail");
  show("mv");
  fillIn("Bank", seed2);
  fault = [](test::FaultyKeychain::Call call) {
    return call == test::FaultyKeychain::Call::find ? KeychainStatus::interaction_not_allowed
                                                    : KeychainStatus::ok;
  };
  click("mvok");
  fault = nullptr;
  expectStays("Bank", seed2);
  EXPECT_EQ(alerts.texts(), (Lines{"words for -25308 [-25308]"}));
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
}

TEST_F(ManualTest, CancelLeadsToTheChoiceWhereEnrolmentIsAllowed) {
  setSettings("AllowManual=1\nAllowTaEnrol=1\n");
  show("mv");
  clearTrace();
  click("mvcancel");
  EXPECT_EQ(openView(), "av");
  EXPECT_EQ(traced({"MV : "}), (Lines{"MV : cancelclicked: begin", "MV : cancelclicked: end"}));
}

TEST_F(ManualTest, CancelLeadsHomeWhereEnrolmentIsNotAllowed) {
  setSettings("AllowManual=1\nAllowTaEnrol=0\n");
  show("mv");
  click("mvcancel");
  EXPECT_EQ(openView(), "tv");
}

}  // namespace
}  // namespace talvane
