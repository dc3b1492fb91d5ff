#include "ui/kit/fields.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tests/support/memory_search.h"
#include "tests/ui/drawn.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

using test::drawn;

TEST(PanelFieldTest, FocusIsSeen) {
  QWidget window;
  window.resize(200, 60);
  PanelField field(&window);
  field.setGeometry(10, 10, 180, 20);
  QWidget other(&window);
  other.setFocusPolicy(Qt::StrongFocus);
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  other.setFocus();
  const QImage idle = drawn(field);
  field.setFocus();
  const QImage focused = drawn(field);
  EXPECT_NE(focused, idle);
  // The ring, whatever the style draws.
  EXPECT_EQ(focused.pixelColor(90, 1), paint::focus);
}

TEST(SeedFieldTest, TakesOutWhiteSpaceAndDashesAndKeepsThePlace) {
  SeedField field;
  QTest::keyClicks(&field, QStringLiteral(" GEZD-GNBV"));
  EXPECT_EQ(field.text(), QStringLiteral("GEZDGNBV"));
  EXPECT_EQ(field.cursorPosition(), 8);
  field.setCursorPosition(4);
  field.insert(QString::fromUtf8("A B\t\u00a0C\u2013\u00ad\u2212D"));
  EXPECT_EQ(field.text(), QStringLiteral("GEZDABCDGNBV"));
  EXPECT_EQ(field.cursorPosition(), 8);
  field.insert(QStringLiteral(" "));
  EXPECT_EQ(field.text(), QStringLiteral("GEZDABCDGNBV"));
  EXPECT_EQ(field.cursorPosition(), 8);
}

TEST(SeedFieldTest, LeavesOtherCharactersAndAnyLength) {
  SeedField field;
  const QString typed = QStringLiteral("_GEZD!GNBV.GY3T=QOJQ0189");
  QTest::keyClicks(&field, typed);
  EXPECT_EQ(field.text(), typed);
}

// How often the text is in memory after it was typed into a field and forgotten.
std::size_t copiesLeft(const test::Secret& secret, QLineEdit::EchoMode mode) {
  QWidget window;
  PanelField field(&window);
  field.setEchoMode(mode);
  window.show();
  for (std::size_t i = 0; i < secret.size(); ++i) QTest::keyClick(&field, secret.at(i));
  QCoreApplication::processEvents();
  EXPECT_GE(secret.copies(), 1U) << "the search finds what is there";
  EXPECT_EQ(secretIn(field), secret.text());
  forget(field);
  EXPECT_FALSE(field.isUndoAvailable());
  field.undo();
  EXPECT_EQ(field.text(), QString());
  return secret.copies();
}

TEST(ForgetTest, NothingThatWasTypedIsLeftInMemory) {
  if (!test::Secret::canSearch()) GTEST_SKIP() << "freed memory stays as it was";
  constexpr test::Secret shown[] = {test::Secret("9QK5zTpy2Rw7BvLd"),
                                    test::Secret("6Wn2JcXr8Ms5KtDg"),
                                    test::Secret("4Hd7PbYf3Vq9ZkSx")};
  constexpr test::Secret hidden[] = {test::Secret("3Xm8GhVs6Cj4NqFe"),
                                     test::Secret("7Rk4TbLw9Pz2HyJd"),
                                     test::Secret("5Gv9QnCs2Mx8WfKr")};
  const auto leastLeft = [](const auto& secrets, QLineEdit::EchoMode mode) {
    std::size_t least = SIZE_MAX;
    for (const test::Secret& secret : secrets) least = std::min(least, copiesLeft(secret, mode));
    return least;
  };
  // Several, as the toolkit copies the text when the font or the theme happens to change.
  EXPECT_EQ(leastLeft(shown, QLineEdit::Normal), 0U);
  EXPECT_EQ(leastLeft(hidden, QLineEdit::Password), 0U);
}

TEST(ForgetTest, TextThatOthersShareStaysTheirs) {
  QLineEdit field;
  QTest::keyClicks(&field, QStringLiteral("shared"));
  const QString shared = field.text();
  forget(field);
  EXPECT_EQ(shared, QStringLiteral("shared"));
}

TEST(SecretTextTest, IsUtf8) {
  EXPECT_EQ(secretText(QStringLiteral("B\u00fcro \U0001F511")), "B\xc3\xbcro \xf0\x9f\x94\x91");
  EXPECT_EQ(secretText(QString()), "");
}

TEST(PanelCheckboxTest, FocusIsSeenAndSpaceTurnsIt) {
  QWidget window;
  window.resize(200, 60);
  PanelCheckbox checkbox(&window);
  checkbox.setGeometry(10, 10, 180, 20);
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
  checkbox.clearFocus();
  const QImage idle = drawn(checkbox);
  checkbox.setFocus();
  EXPECT_NE(drawn(checkbox), idle);
  QTest::keyClick(&checkbox, Qt::Key_Space);
  EXPECT_TRUE(checkbox.isChecked());
}

}  // namespace
}  // namespace talvane
