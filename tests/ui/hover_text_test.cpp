#include "ui/kit/hover_text.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QHelpEvent>
#include <QTest>
#include <QToolTip>

#include "ui/kit/buttons.h"

namespace talvane {
namespace {

class HoverTextTest : public testing::Test {
 protected:
  HoverTextTest() {
    widget.setAccessibleName(QStringLiteral("Delete: Mail"));
    widget.resize(80, 20);
    widget.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&widget));
  }
  ~HoverTextTest() override { QToolTip::hideText(); }

  /// The toolkit's own text for a label, which may hold markup, where the pointer rests.
  QString shown() {
    QToolTip::hideText();
    EXPECT_TRUE(QTest::qWaitFor([] { return !QToolTip::isVisible(); }));
    QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), QPoint(5, 5));
    QApplication::sendEvent(&widget, &event);
    return QToolTip::text();
  }

  PanelButton widget;
};

TEST_F(HoverTextTest, IsShownAsItStands) {
  setHoverText(widget, QStringLiteral("R&D \"east\""));
  EXPECT_EQ(shown(), QStringLiteral("R&D \"east\""));
  setHoverText(widget, QStringLiteral("1 < 2"));
  EXPECT_EQ(shown(), QStringLiteral("1 < 2"));
}

TEST_F(HoverTextTest, IsNeverTakenForMarkup) {
  setHoverText(widget, QStringLiteral("<b>R&D</b>"));
  EXPECT_TRUE(shown().contains(QStringLiteral("&lt;b&gt;R&amp;D&lt;/b&gt;")))
      << shown().toStdString();
}

TEST_F(HoverTextTest, GoesWithAnEmptyText) {
  setHoverText(widget, QStringLiteral("Mail"));
  EXPECT_EQ(hoverText(widget), QStringLiteral("Mail"));
  ASSERT_EQ(shown(), QStringLiteral("Mail"));
  setHoverText(widget, QString());
  EXPECT_EQ(hoverText(widget), QString());
  EXPECT_EQ(shown(), QString());
}

TEST_F(HoverTextTest, IsNoDescription) {
  setHoverText(widget, QStringLiteral("Delete: Mail"));
  static_cast<void>(shown());
  const QAccessibleInterface* told = QAccessible::queryAccessibleInterface(&widget);
  EXPECT_EQ(told->text(QAccessible::Name), QStringLiteral("Delete: Mail"));
  EXPECT_EQ(told->text(QAccessible::Description), QString());
}

}  // namespace
}  // namespace talvane
