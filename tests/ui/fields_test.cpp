#include "ui/kit/fields.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>

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

void type(QLineEdit& field, const test::Secret& secret) {
  for (std::size_t i = 0; i < secret.size(); ++i) QTest::keyClick(&field, secret.at(i));
}

TEST(ForgetTest, NothingThatWasTypedIsLeftInMemory) {
  if (!test::Secret::canSearch()) GTEST_SKIP() << "freed memory stays as it was";
  constexpr test::Secret normal("9QK5zTpy2Rw7BvLd");
  constexpr test::Secret hidden("3Xm8GhVs6Cj4NqFe");
  QWidget window;
  PanelField fields[] = {PanelField(&window), PanelField(&window)};
  fields[1].setEchoMode(QLineEdit::Password);
  window.show();
  type(fields[0], normal);
  type(fields[1], hidden);
  QCoreApplication::processEvents();
  EXPECT_GE(normal.copies(), 1U) << "the search finds what is there";
  EXPECT_GE(hidden.copies(), 1U);
  EXPECT_EQ(secretIn(fields[0]), normal.text());
  EXPECT_EQ(secretIn(fields[1]), hidden.text());
  for (QLineEdit& field : fields) {
    forget(field);
    EXPECT_FALSE(field.isUndoAvailable());
    field.undo();
    EXPECT_EQ(field.text(), QString());
  }
  EXPECT_EQ(normal.copies(), 0U);
  EXPECT_EQ(hidden.copies(), 0U);
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
