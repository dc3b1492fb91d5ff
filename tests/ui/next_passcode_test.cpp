// What the token view says of the passcode that comes next, and how it is taken.

#include <QApplication>
#include <QClipboard>
#include <QLabel>

#include "tests/ui/app_test.h"
#include "ui/kit/hover_text.h"

namespace talvane {
namespace {

using test::Lines;

// Passcodes of seed1, by counter (RFC 4226 over its first ten bytes).
constexpr const char* code0 = "891490";
constexpr const char* code1 = "263420";

class NextPasscodeTest : public AppTest {
 protected:
  /// What the rows say comes next; empty where they say nothing.
  static Lines next() {
    Lines result;
    for (const QLabel* label : all<QLabel>("tvnext")) {
      result.push_back(label->isVisible() ? label->text().toStdString() : "");
    }
    return result;
  }
  static std::string copied() { return QGuiApplication::clipboard()->text().toStdString(); }
  static QWidget* copyButton() { return all<QWidget>("tvcopy").front(); }
  /// A key as the X server describes it.
  static void press(int key, Qt::KeyboardModifiers modifiers, unsigned code, const char* text) {
    QKeyEvent event(QEvent::KeyPress, key, modifiers, code, 0, 0, QString::fromUtf8(text));
    QApplication::sendEvent(QApplication::focusWidget(), &event);
    turnEventLoop();
  }
};

TEST_F(NextPasscodeTest, ShowsInTheLastFiveSecondsOfTheTokensOwnPeriod) {
  store("Short", seed1, 30);
  store("Long", seed1, 60);
  clock = 24;
  show("tv");
  EXPECT_EQ(next(), (Lines{"", ""}));
  for (const std::int64_t second : {25, 29}) {
    tick(second);
    EXPECT_EQ(next(), (Lines{std::string("Next\n") + code1, ""})) << second;
    EXPECT_EQ(codes(), (Lines{code0, code0})) << second;
  }
  tick(30);
  EXPECT_EQ(next(), (Lines{"", ""}));
  EXPECT_EQ(codes(), (Lines{code1, code0}));
  tick(55);
  EXPECT_EQ(next(), (Lines{"Next\n092045", std::string("Next\n") + code1}));
}

TEST_F(NextPasscodeTest, IsSmallAndApartFromTheOther) {
  store("Mail");
  clock = 25;
  show("tv");
  const auto* label = find<QLabel>("tvnext");
  EXPECT_LE(2 * label->font().pixelSize(), find<QLabel>("tvpasscode")->font().pixelSize());
  // The digits of the other stand in the middle of the row.
  const QFontMetrics digits(find<QLabel>("tvpasscode")->font());
  EXPECT_LT(label->x() + label->width(),
            (212 - digits.horizontalAdvance(QStringLiteral("888888"))) / 2 + 4);
  EXPECT_LE(label->y() + label->height(), 60);
  EXPECT_LE(QFontMetrics(label->font()).horizontalAdvance(QStringLiteral("888888")),
            label->width());
}

TEST_F(NextPasscodeTest, AddsNothingToTheTrace) {
  store("Mail");
  clock = 24;
  show("tv");
  clearTrace();
  tick(25);
  EXPECT_EQ(traced({"timer: ", "  vane: "}),
            (Lines{"timer: token [00] d:Mail s:GEZDGNBVGY3TQOJQ",
                   "  vane: gp: begin: \"GEZDGNBVGY3TQOJQ\" 0",
                   "timer: token [00] period:30 , using color index:25"}));
}

TEST_F(NextPasscodeTest, ShiftWithCopyTakesIt) {
  store("Mail");
  clock = 25;
  show("tv");
  QTest::mouseClick(copyButton(), Qt::LeftButton, Qt::ShiftModifier);
  turnEventLoop();
  EXPECT_EQ(copied(), code1);
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(notifications, Lines{"Next passcode for Mail copied"});
}

TEST_F(NextPasscodeTest, ShiftWithReturnTakesIt) {
  store("Mail");
  clock = 25;
  show("tv");
  QTest::keyClick(copyButton(), Qt::Key_Return, Qt::ShiftModifier);
  turnEventLoop();
  EXPECT_EQ(copied(), code1);
}

TEST_F(NextPasscodeTest, ShiftWithADigitTakesIt) {
  store("Other", seed2);
  store("Mail");
  clock = 25;
  show("tv");
  press(Qt::Key_At, Qt::ShiftModifier, 11, "@");
  EXPECT_EQ(copied(), code1);
}

TEST_F(NextPasscodeTest, DigitThatNeedsShiftTakesTheOneOfNow) {
  store("Mail");
  clock = 25;
  show("tv");
  press(Qt::Key_1, Qt::ShiftModifier, 10, "1");
  EXPECT_EQ(copied(), code0);
}

TEST_F(NextPasscodeTest, WithoutShiftTheOneOfNowIsTaken) {
  store("Mail");
  clock = 25;
  show("tv");
  QTest::keyClick(copyButton(), Qt::Key_Return);
  turnEventLoop();
  EXPECT_EQ(copied(), code0);
  EXPECT_EQ(notifications, Lines{"Passcode for Mail copied"});
}

TEST_F(NextPasscodeTest, BeforeItShowsShiftMakesNoDifference) {
  store("Mail");
  clock = 24;
  show("tv");
  QTest::keyClick(copyButton(), Qt::Key_Return, Qt::ShiftModifier);
  turnEventLoop();
  EXPECT_EQ(copied(), code0);
  show("tv");
  press(Qt::Key_Exclam, Qt::ShiftModifier, 10, "!");
  EXPECT_EQ(copied(), code0);
  EXPECT_EQ(notifications, Lines(2, "Passcode for Mail copied"));
}

TEST_F(NextPasscodeTest, SaysHowItIsTaken) {
  store("Mail");
  clock = 25;
  show("tv");
  const auto* next = find<QLabel>("tvnext");
  EXPECT_TRUE(hoverText(*next).contains(QStringLiteral("Shift")));
  EXPECT_EQ(next->accessibleDescription(), hoverText(*next));
}

}  // namespace
}  // namespace talvane
