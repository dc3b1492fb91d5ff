// The add, manual entry and response views.

#include "tests/ui/delegate_test.h"

namespace talvane {
namespace {

using test::Lines;

class ManualTest : public DelegateTest {
 protected:
  void type(const std::string& description, const std::string& seed) {
    for (const auto& [name, text] : {std::pair("mvdesc", description), std::pair("mvseed", seed)}) {
      auto* field = find<QLineEdit>(name);
      field->clear();
      QTest::keyClicks(field, QString::fromStdString(text));
    }
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
  for (const char* name : {"mvdesclabel", "mvseedlabel"}) {
    const auto* label = dynamic_cast<TextLabel*>(find<QLabel>(name));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->textColour(), QColor(Qt::white));
  }
  EXPECT_TRUE(find<QLineEdit>("mvdesc")->hasFocus());
  type("Mail", seed1);
  show("mv");
  expectStays("", "");
}

TEST_F(ManualTest, UndoDoesNotBringTheSeedBack) {
  show("mv");
  type("Mail", seed1);
  click("mvok");
  ASSERT_EQ(storedNames(), Lines{"Mail"});
  EXPECT_FALSE(find<QLineEdit>("mvseed")->isUndoAvailable());
  show("mv");
  type("Mail", seed1);
  click("mvcancel");
  show("mv");
  EXPECT_FALSE(find<QLineEdit>("mvseed")->isUndoAvailable());
  find<QLineEdit>("mvseed")->undo();
  expectStays("", "");
}

TEST_F(ManualTest, EmptyDescriptionIsRefusedWithItsPrompt) {
  show("mv");
  clearTrace();
  type("", seed1);
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
    type("Mail", seed);
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

TEST_F(ManualTest, LengthCountsAsTyped) {
  show("mv");
  type("Mail", std::string(seed1) + " ");
  click("mvok");
  EXPECT_EQ(alerts.texts(), (Lines{"Enter your 13 or 16 character key"}));
}

TEST_F(ManualTest, PromptsOfTheSettings) {
  setSettings("AllowManual=1\nStrManualDesc=Name?\nStrManualSeed=Key?\n");
  show("mv");
  EXPECT_EQ(find<QLabel>("mvdesclabel")->text(), QStringLiteral("Name?"));
  click("mvok");
  type("Mail", "short");
  click("mvok");
  EXPECT_EQ(alerts.texts(), (Lines{"Name?", "Key?"}));
}

TEST_F(ManualTest, SixteenCharactersLeadHome) {
  test::clock_time = 45;
  show("mv");
  clearTrace();
  type("Mail", seed1);
  click("mvok");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  ASSERT_EQ(passcodes().size(), 1U);
  EXPECT_EQ(passcodes()[0]->text(), QStringLiteral("263420"));
  EXPECT_EQ(token(0)->period, 30);
  EXPECT_EQ(traced({"MV : "}),
            (Lines{"MV : okclicked: begin",
                   "MV : okclicked: NewToken success: 16 digit seed, returning to tv",
                   "MV : okclicked: end"}));
  EXPECT_EQ(find<QLineEdit>("mvseed")->text(), QString());
}

TEST_F(ManualTest, ThirteenCharactersLeadToTheResponse) {
  test::clock_time = 1974055557;
  show("mv");
  clearTrace();
  type("Mail", "UH7XKZFDVCTPT");
  click("mvok");
  EXPECT_EQ(openView(), "rv");
  EXPECT_EQ(find<QLineEdit>("rvcode")->text(), QStringLiteral("ERYLAECA"));
  EXPECT_TRUE(find<QLineEdit>("rvcode")->isReadOnly());
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
  EXPECT_EQ(traced({"MV : ", "RV : "}),
            (Lines{"MV : okclicked: begin", "MV : okclicked: response: ERYLAECA",
                   "RV : init: begin", "RV : init: end", "MV : okclicked: end"}));
}

TEST_F(ManualTest, ResponseLeadsHome) {
  show("rv");
  clearTrace();
  click("rvok");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(traced({"RV : "}), (Lines{"RV : okclicked: begin", "RV : okclicked: end"}));
}

TEST_F(ManualTest, LowerCaseSeedIsAccepted) {
  show("mv");
  type("Mail", "gezdgnbvgy3tqojq");
  click("mvok");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(passcodes().size(), 1U);
}

TEST_F(ManualTest, CharacterThatIsNoBase32IsRefused) {
  show("mv");
  clearTrace();
  type("Mail", "GEZDGNBVGY3TQOJ!");
  click("mvok");
  expectStays("Mail", "GEZDGNBVGY3TQOJ!");
  EXPECT_EQ(alerts.texts(), (Lines{"Invalid character in seed"}));
  EXPECT_EQ(traced({"MV : okclicked: NewToken"}),
            (Lines{"MV : okclicked: NewToken returned error: Invalid character in seed"}));
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ManualTest, NameOfBarsAloneIsRefused) {
  show("mv");
  type("||", seed1);
  click("mvok");
  expectStays("||", seed1);
  EXPECT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ManualTest, TokenOfTheSameNameIsReplacedInItsSlot) {
  store("Mail", seed2);
  store("Bank", seed2);
  test::clock_time = 45;
  show("mv");
  type("Mail", seed1);
  click("mvok");
  EXPECT_EQ(storedNames(), (Lines{"Mail", "Bank"}));
  EXPECT_EQ(passcodes()[0]->text(), QStringLiteral("263420"));
}

TEST_F(ManualTest, FullStoreIsToldAndLosesNothing) {
  storeMany(32);
  const auto before = keychain.memory.items.size();
  show("mv");
  type("One more", seed2);
  click("mvok");
  expectStays("One more", seed2);
  EXPECT_EQ(alerts.texts(), (Lines{"All 32 slots hold tokens; delete one first"}));
  EXPECT_EQ(keychain.memory.items.size(), before);
  EXPECT_EQ(storedNames().size(), 32U);
}

TEST_F(ManualTest, KeychainThatDoesNotTakeTheTokenIsTold) {
  store("Mail");
  show("mv");
  type("Bank", seed2);
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
  type("Bank", seed2);
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
