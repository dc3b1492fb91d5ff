// What keys do in each view; what they do in all of them, panel_test.cpp says.

#include <QApplication>
#include <QClipboard>
#include <QScreen>

#include "tests/ui/app_test.h"
#include "tests/ui/painted_region.h"

namespace talvane {
namespace {

using test::Lines;

class KeysTest : public AppTest {
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
  static std::vector<QWidget*> copyButtons() { return all<QWidget>("tvcopy"); }
  static std::vector<QWidget*> fields() { return all<QWidget>("cvdesc"); }
  static std::vector<QWidget*> checkboxes() { return all<QWidget>("cvdelete"); }
  static std::vector<QWidget*> rows() { return all<QWidget>("tvtoken"); }
  int top() { return panel()->y() - QGuiApplication::primaryScreen()->geometry().y(); }
  static int screenHeight() { return QGuiApplication::primaryScreen()->geometry().height(); }
};

TEST_F(KeysTest, EscapeLeadsHomeAndASecondOneCloses) {
  store("Mail");
  const auto expectHomeThenClosed = [this](const std::string& from) {
    press(Qt::Key_Escape);
    EXPECT_EQ(openView(), "tv") << from;
    press(Qt::Key_Escape);
    EXPECT_EQ(openView(), "") << from;
  };
  for (const char* name : {"cv", "hv"}) {
    show(name);
    expectHomeThenClosed(name);
  }
  showResponse();
  expectHomeThenClosed("rv");
}

TEST_F(KeysTest, EscapeLeadsOutOfAFormThatCannotBeSaved) {
  store("Mail");
  show("cv");
  type("cvdesc", "");
  press(Qt::Key_Escape);
  EXPECT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(openView(), "cv");
  press(Qt::Key_Escape);
  EXPECT_EQ(openView(), "");
  show("cv");
  type("cvdesc", "");
  press(Qt::Key_Escape);
  type("cvdesc", "Bank");
  press(Qt::Key_Escape);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Bank"}));
}

TEST_F(KeysTest, TokenJustAddedHasTheFocus) {
  storeMany(30);
  show("mv");
  type("mvdesc", "Mail");
  type("mvseed", seed1);
  click("mvok");
  ASSERT_EQ(openView(), "tv");
  ASSERT_TRUE(QTest::qWaitForWindowActive(panel()));
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(30));
  const Frame row = frameInPanel(rows().at(30));
  EXPECT_GE(row.y, band_height);
  EXPECT_LE(row.y + row.height, panel()->height() - band_height);
  // Once.
  show("tv");
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(0));
}

TEST_F(KeysTest, TokenJustAddedHasTheFocusAfterItsResponse) {
  store("Mail");
  showResponse();
  press(Qt::Key_Return);
  ASSERT_TRUE(QTest::qWaitForWindowActive(panel()));
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(1));
  show("tv");
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(0));
}

TEST_F(KeysTest, TokenOfALinkHasTheFocusToo) {
  storeMany(2);
  app();
  alerts.answers.push_back(test::AlertUser::press("YES"));
  app().importLink(QStringLiteral("otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ"));
  ASSERT_TRUE(QTest::qWaitForWindowActive(panel()));
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(2));
}

TEST_F(KeysTest, SwitchingTheLoginItemsLeavesTheFocus) {
  show("hv");
  for (int i = 0; i < 3; ++i) press(Qt::Key_Down);
  ASSERT_EQ(focus(), "hvlaunch");
  press(Qt::Key_Space);
  EXPECT_EQ(caption("hvlaunch"), "Remove from \"Login Items\"");
  EXPECT_EQ(focus(), "hvlaunch");
  press(Qt::Key_Space);
  EXPECT_EQ(caption("hvlaunch"), "Add to \"Login Items\"");
  EXPECT_EQ(focus(), "hvlaunch");
  show("hv");
  EXPECT_EQ(focus(), "hvgs");
}

TEST_F(KeysTest, EscapeCancelsWhereThatIsPossible) {
  const std::pair<const char*, const char*> ways[] = {{"av", "tv"}, {"mv", "av"}, {"evgu", "av"}};
  for (const auto& [from, to] : ways) {
    show(from);
    press(Qt::Key_Escape);
    EXPECT_EQ(openView(), to) << from;
  }
}

TEST_F(KeysTest, EscapeCancelsTheSignIn) {
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  show("eva");
  press(Qt::Key_Escape);
  EXPECT_EQ(openView(), "av");
}

TEST_F(KeysTest, ReturnInAFieldOfManualEntryIsOk) {
  show("mv");
  type("mvdesc", "Mail");
  type("mvseed", seed1);
  find<QLineEdit>("mvseed")->setFocus();
  press(Qt::Key_Return);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Mail"}));
}

TEST_F(KeysTest, ReturnGoesToTheNextEmptyFieldFirst) {
  show("mv");
  ASSERT_EQ(focus(), "mvdesc");
  type("mvdesc", "Mail");
  press(Qt::Key_Return);
  EXPECT_EQ(focus(), "mvseed");
  EXPECT_EQ(openView(), "mv");
  EXPECT_EQ(alerts.texts(), Lines());
  // With nothing empty below, it is OK.
  find<QLineEdit>("mvdesc")->clear();
  type("mvseed", seed1);
  press(Qt::Key_Return);
  EXPECT_EQ(alerts.texts(), Lines{"Enter a description"});
}

TEST_F(KeysTest, ReturnInANameSavesAndLeadsHome) {
  store("Mail");
  show("cv");
  ASSERT_EQ(focus(), "cvdesc");
  type("cvdesc", "Bank");
  press(Qt::Key_Return);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), (Lines{"Mail|Bank"}));
}

TEST_F(KeysTest, ReturnOnTheResponseIsOk) {
  showResponse();
  press(Qt::Key_Return);
  EXPECT_EQ(openView(), "tv");
}

TEST_F(KeysTest, FirstCopyButtonHasTheFocusAndReturnCopies) {
  clock = 45;
  storeMany(2);
  show("tv");
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(0));
  press(Qt::Key_Return);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("263420"));
  EXPECT_EQ(openView(), "");
}

TEST_F(KeysTest, WithoutTokensAddHasTheFocus) {
  show("tv");
  EXPECT_EQ(focus(), "tvadd");
}

TEST_F(KeysTest, DigitCopiesTheRowOfItsNumber) {
  clock = 45;
  store("Other", seed2);
  store("Mail", seed1);
  show("tv");
  press(Qt::Key_2);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("263420"));
  EXPECT_EQ(openView(), "");
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
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(0));
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(1));
  press(Qt::Key_Down);
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(2));
}

TEST_F(KeysTest, ArrowsGoFromNameToName) {
  storeMany(2);
  show("cv");
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), fields().at(1));
}

TEST_F(KeysTest, TabFollowsTheEyeInTheTokenView) {
  storeMany(2);
  show("tv");
  press(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), copyButtons().at(1));
  // Then the toolbar, left to right, once round.
  Lines order;
  for (int i = 0; i < 3; ++i) {
    press(Qt::Key_Tab);
    if (QApplication::focusWidget() == button("close")) press(Qt::Key_Tab);
    order.push_back(focus());
  }
  EXPECT_EQ(order, (Lines{"tvconfig", "tvhelp", "tvadd"}));
}

TEST_F(KeysTest, TabFollowsTheEyeInTheManagementView) {
  storeMany(2);
  show("cv");
  const QWidget* order[] = {checkboxes().at(0), fields().at(1),   checkboxes().at(1),
                            button("cvtrash"),  button("cvhome"), button("cvadd")};
  for (const QWidget* next : order) {
    press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), next);
  }
}

class EveryControlTest : public KeysTest {
 protected:
  void expectReachedByTab() {
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
    EXPECT_EQ(reached, wanted) << openView();
    EXPECT_TRUE(wanted.contains(button("close"))) << openView();
  }
  /// From what has the focus at first: from the top, and left to right in a line.
  void expectTabFollowsTheEye() {
    const QWidget* before = QApplication::focusWidget();
    const QWidget* first = before;
    for (int i = 0; i < 20; ++i) {
      press(Qt::Key_Tab);
      const QWidget* now = QApplication::focusWidget();
      if (now == button("close")) continue;
      if (now == first) return;
      const QPoint from = before->mapTo(panel(), before->rect().center());
      const QPoint to = now->mapTo(panel(), now->rect().center());
      const bool is_in_line = std::abs(from.y() - to.y()) < 10;
      EXPECT_TRUE(is_in_line ? to.x() > from.x() : to.y() > from.y())
          << before->objectName().toStdString() << ", then " << now->objectName().toStdString();
      before = now;
    }
    FAIL() << openView();
  }
  static void expectNamed() {
    for (const QWidget* widget : panel()->findChildren<QWidget*>()) {
      if (!widget->isVisible() || (widget->focusPolicy() & Qt::TabFocus) == 0) continue;
      const auto* pressed = qobject_cast<const QAbstractButton*>(widget);
      const QString caption = pressed != nullptr ? pressed->text() : QString();
      EXPECT_FALSE(widget->accessibleName().isEmpty() && caption.isEmpty())
          << openView() << ' ' << widget->objectName().toStdString();
    }
  }
};

TEST_F(EveryControlTest, IsReachedByTabAndHasAnAccessibleName) {
  store("Mail");
  for (const char* name : {"tv", "cv", "av", "mv", "hv", "evgu"}) {
    show(name);
    expectNamed();
    expectReachedByTab();
  }
  showResponse();
  expectNamed();
  expectReachedByTab();
}

TEST_F(EveryControlTest, IsReachedInTheOrderOfTheEye) {
  storeMany(2);
  for (const char* name : {"tv", "cv", "av", "mv", "hv", "evgu"}) {
    show(name);
    expectTabFollowsTheEye();
  }
}

TEST_F(EveryControlTest, IsReachedByTabInTheSignInToo) {
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  network.answer("RESULT:OK\r\nVERSION:7100\r\nPASSWORD:True\r\n");
  show("eva");
  ASSERT_TRUE(QTest::qWaitFor([] { return find<QLineEdit>("eva_password")->isVisible(); }));
  expectNamed();
  expectTabFollowsTheEye();
  expectReachedByTab();
}

TEST_F(KeysTest, RowsOutOfViewArePaintedOnceTheyComeIntoIt) {
  storeMany(32);
  show("tv");
  QWidget* last_passcode = all<QWidget>("tvpasscode").back();
  test::PaintedRegion painted(*last_passcode);
  // The passcodes change while the last row cannot be seen.
  tick(30);
  EXPECT_TRUE(painted.region.isEmpty());
  press(Qt::Key_End);
  EXPECT_EQ(painted.region.boundingRect().height(), rows().back()->height() - last_passcode->y());
}

TEST_F(KeysTest, TheLastOf32IsCopiedWithTwoKeys) {
  storeMany(32);
  show("tv");
  press(Qt::Key_End);
  press(Qt::Key_Return);
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(QApplication::clipboard()->text().size(), 6);
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

}  // namespace
}  // namespace talvane
