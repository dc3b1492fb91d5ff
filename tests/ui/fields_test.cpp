#include "ui/kit/fields.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>

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
