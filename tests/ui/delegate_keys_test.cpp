// The keyboard and the wheel.

#include <QApplication>
#include <QClipboard>
#include <QScreen>
#include <QWheelEvent>

#include "tests/ui/delegate_test.h"
#include "tests/ui/painted_region.h"

namespace talvane {
namespace {

using test::Lines;

class KeysTest : public DelegateTest {
 protected:
  /// To where the keyboard is.
  void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QWidget* focus = QApplication::focusWidget();
    QTest::keyClick(focus != nullptr ? focus : panel(), key, modifiers);
    turnEventLoop();
  }
  static std::string focus() {
    const QWidget* widget = QApplication::focusWidget();
    return widget == nullptr ? "" : widget->objectName().toStdString();
  }
  int top() { return panel()->y() - QGuiApplication::primaryScreen()->geometry().y(); }
  static int screenHeight() { return QGuiApplication::primaryScreen()->geometry().height(); }
};

TEST_F(KeysTest, EscapeClosesWhereNothingIsToCancel) {
  store("Mail");
  for (const char* prefix : {"tv", "cv", "rv", "hv"}) {
    show(prefix);
    press(Qt::Key_Escape);
    EXPECT_FALSE(app().isOpen()) << prefix;
  }
}

TEST_F(KeysTest, EscapeCancelsWhereThatIsPossible) {
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  const std::pair<const char*, const char*> ways[] = {
      {"av", "tv"}, {"mv", "av"}, {"eva", "av"}, {"evgi", "av"}, {"evgu", "av"}};
  for (const auto& [from, to] : ways) {
    show(from);
    press(Qt::Key_Escape);
    EXPECT_EQ(openView(), to) << from;
  }
}

TEST_F(KeysTest, ReturnInAFieldOfManualEntryIsOk) {
  show("mv");
  QTest::keyClicks(find<QLineEdit>("mvdesc"), QStringLiteral("Mail"));
  QTest::keyClicks(find<QLineEdit>("mvseed"), QString::fromLatin1(seed1));
  find<QLineEdit>("mvseed")->setFocus();
  press(Qt::Key_Return);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
}

TEST_F(KeysTest, ReturnInANameSavesAndLeadsHome) {
  store("Mail");
  show("cv");
  ASSERT_EQ(QApplication::focusWidget(), fields()[0]);
  fields()[0]->selectAll();
  QTest::keyClicks(fields()[0], QStringLiteral("Bank"));
  press(Qt::Key_Return);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Bank"}));
}

TEST_F(KeysTest, ReturnOnTheResponseIsOk) {
  show("rv");
  press(Qt::Key_Return);
  EXPECT_EQ(openView(), "tv");
}

TEST_F(KeysTest, FirstCopyButtonHasTheFocusAndReturnCopies) {
  test::clock_time = 45;
  storeMany(2);
  show("tv");
  EXPECT_EQ(QApplication::focusWidget(), copyButtons()[0]);
  press(Qt::Key_Return);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("263420"));
  EXPECT_FALSE(app().isOpen());
}

TEST_F(KeysTest, WithoutTokensAddHasTheFocus) {
  show("tv");
  EXPECT_EQ(focus(), "tvadd");
}

TEST_F(KeysTest, DigitCopiesTheRowOfItsNumber) {
  test::clock_time = 45;
  store("Other", seed2);
  store("Mail", seed1);
  show("tv");
  press(Qt::Key_2);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("263420"));
  EXPECT_FALSE(app().isOpen());
}

TEST_F(KeysTest, DigitWithoutARowDoesNothing) {
  store("Mail");
  show("tv");
  QGuiApplication::clipboard()->setText(QStringLiteral("before"));
  for (const Qt::Key key : {Qt::Key_0, Qt::Key_2, Qt::Key_9, Qt::Key_A}) press(key);
  press(Qt::Key_1, Qt::ControlModifier);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("before"));
}

TEST_F(KeysTest, ArrowsGoFromRowToRowAndStayAtTheEnds) {
  storeMany(3);
  show("tv");
  press(Qt::Key_Up);
  EXPECT_EQ(QApplication::focusWidget(), copyButtons()[0]);
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), copyButtons()[1]);
  press(Qt::Key_Down);
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), copyButtons()[2]);
}

TEST_F(KeysTest, ArrowsGoFromNameToName) {
  storeMany(2);
  show("cv");
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), fields()[1]);
}

TEST_F(KeysTest, TabFollowsTheEyeInTheTokenView) {
  storeMany(2);
  show("tv");
  press(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), copyButtons()[1]);
  // Then the toolbar, left to right, once round.
  Lines order;
  for (int i = 0; i < 3; ++i) {
    press(Qt::Key_Tab);
    if (QApplication::focusWidget() == closeButton()) press(Qt::Key_Tab);
    order.push_back(focus());
  }
  EXPECT_EQ(order, (Lines{"tvconfig", "tvhelp", "tvadd"}));
}

TEST_F(KeysTest, TabFollowsTheEyeInTheManagementView) {
  storeMany(2);
  show("cv");
  const QWidget* order[] = {checkboxes()[0],   fields()[1],      checkboxes()[1],
                            button("cvtrash"), button("cvhome"), button("cvadd")};
  for (const QWidget* next : order) {
    press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), next);
  }
}

TEST_F(KeysTest, TabReachesEveryControlOfEveryView) {
  store("Mail");
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  for (const char* prefix : {"tv", "cv", "av", "mv", "rv", "hv", "eva", "evgu"}) {
    show(prefix);
    std::set<QWidget*> wanted;
    for (QWidget* widget : panel()->findChildren<QWidget*>()) {
      if (widget->isVisible() && widget->isEnabled() &&
          (widget->focusPolicy() & Qt::TabFocus) != 0) {
        wanted.insert(widget);
      }
    }
    std::set<QWidget*> reached;
    for (std::size_t i = 0; i < 2 * wanted.size(); ++i) {
      press(Qt::Key_Tab);
      reached.insert(QApplication::focusWidget());
    }
    EXPECT_EQ(reached, wanted) << prefix;
    EXPECT_TRUE(wanted.contains(closeButton())) << prefix;
  }
}

TEST_F(KeysTest, EveryControlHasAnAccessibleName) {
  store("Mail");
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  for (const char* prefix : {"tv", "cv", "av", "mv", "rv", "hv", "eva", "evgu"}) {
    show(prefix);
    for (const QWidget* widget : panel()->findChildren<QWidget*>()) {
      if (!widget->isVisible() || (widget->focusPolicy() & Qt::TabFocus) == 0) continue;
      const auto* pressed = qobject_cast<const QAbstractButton*>(widget);
      const QString caption = pressed != nullptr ? pressed->text() : QString();
      EXPECT_FALSE(widget->accessibleName().isEmpty() && caption.isEmpty())
          << prefix << ' ' << widget->objectName().toStdString();
    }
  }
}

TEST_F(KeysTest, PanelThatIsTooHighScrollsToItsEndAndBack) {
  storeMany(32);
  show("tv");
  EXPECT_EQ(top(), 22);
  for (int i = 0; i < 10; ++i) press(Qt::Key_PageDown);
  EXPECT_EQ(top(), screenHeight() - 2388);
  for (int i = 0; i < 10; ++i) press(Qt::Key_PageUp);
  EXPECT_EQ(top(), 22);
}

TEST_F(KeysTest, RowsBeyondTheScreenArePaintedOnceTheyComeOntoIt) {
  test::clock_time = 0;
  storeMany(32);
  show("tv");
  app().tv_timer();
  turnEventLoop();
  EXPECT_TRUE(rows().front()->updatesEnabled());
  EXPECT_FALSE(rows().back()->updatesEnabled());

  // The passcodes change while the last row cannot be seen.
  test::clock_time = 30;
  app().tv_timer();
  turnEventLoop();
  test::PaintedRegion painted(*passcodes().back());
  for (int i = 0; i < 10; ++i) press(Qt::Key_PageDown);
  turnEventLoop();
  EXPECT_TRUE(rows().back()->updatesEnabled());
  EXPECT_FALSE(rows().front()->updatesEnabled());
  EXPECT_EQ(painted.region.boundingRect().height(),
            rows().back()->height() - passcodes().back()->y());
}

TEST_F(KeysTest, RowThatGetsTheFocusComesOntoTheScreen) {
  storeMany(32);
  show("tv");
  for (int i = 0; i < 31; ++i) press(Qt::Key_Down);
  const Frame last = frameInPanel(rows()[31]);
  EXPECT_LE(top() + last.y + last.height, screenHeight());
  EXPECT_GE(top() + last.y, 22);
  for (int i = 0; i < 31; ++i) press(Qt::Key_Up);
  EXPECT_GE(top() + frameInPanel(rows()[0]).y, 22);
}

TEST_F(KeysTest, PanelThatFitsDoesNotScroll) {
  store("Mail");
  show("tv");
  press(Qt::Key_PageDown);
  EXPECT_EQ(top(), 22);
}

TEST_F(KeysTest, WheelScrollsARowANotch) {
  storeMany(32);
  show("tv");
  const auto turn = [this](int notches) {
    QWheelEvent event(QPointF(130, 100), QPointF(130, 100), QPoint(), QPoint(0, 120 * notches),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(panel(), &event);
  };
  turn(-1);
  EXPECT_EQ(top(), 22 - 72);
  turn(1);
  EXPECT_EQ(top(), 22);
}

}  // namespace
}  // namespace talvane
