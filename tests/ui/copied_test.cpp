// What happens after a passcode was copied: the desktop says so, and the clipboard is cleared.

#include <QApplication>
#include <QClipboard>

#include "tests/ui/app_test.h"

namespace talvane {
namespace {

using test::Lines;

class CopiedTest : public AppTest {
 protected:
  CopiedTest() { clock = 5; }

  void copy() {
    show("tv");
    QTest::keyClick(panel()->focusWidget(), Qt::Key_Return);
    turnEventLoop();
    ASSERT_EQ(openView(), "");
    ASSERT_EQ(held(), "891490");
  }
  static std::string held() { return QGuiApplication::clipboard()->text().toStdString(); }
  static bool isCleared(int patience) {
    return QTest::qWaitFor([] { return held().empty(); }, patience);
  }
};

TEST_F(CopiedTest, DesktopSaysWhichWithoutTheDigits) {
  store("Mail|Work mail");
  copy();
  EXPECT_EQ(notifications, Lines{"Passcode for Work mail copied"});
}

TEST_F(CopiedTest, NameCannotFakeAnotherLine) {
  store("Mail\nYour bank asks you to call");
  copy();
  EXPECT_EQ(notifications, Lines{"Passcode for Mail\uFFFDYour bank asks you to call copied"});
}

TEST_F(CopiedTest, DesktopIsToldOnceThePanelHasClosed) {
  store("Mail");
  show("tv");
  QTest::keyClick(panel()->focusWidget(), Qt::Key_Return);
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(notifications, Lines());
  turnEventLoop();
  EXPECT_EQ(notifications.size(), 1U);
}

TEST_F(CopiedTest, ClipboardIsClearedAfterTheTimeOfTheSettings) {
  setSettings("AllowManual=1\nClipboardSeconds=1\n");
  store("Mail");
  copy();
  QTest::qWait(600);
  EXPECT_EQ(held(), "891490");
  EXPECT_TRUE(isCleared(2000));
}

TEST_F(CopiedTest, WhatWasCopiedSinceThenStays) {
  setSettings("AllowManual=1\nClipboardSeconds=1\n");
  store("Mail");
  copy();
  QGuiApplication::clipboard()->setText(QStringLiteral("a letter"));
  EXPECT_FALSE(isCleared(1500));
  // Also if it reads the same: it is not the program's.
  copy();
  QGuiApplication::clipboard()->setText(QStringLiteral("891490"));
  EXPECT_FALSE(isCleared(1500));
}

TEST_F(CopiedTest, SecondCopyHasItsOwnTime) {
  setSettings("AllowManual=1\nClipboardSeconds=1\n");
  store("Mail");
  copy();
  QTest::qWait(700);
  copy();
  QTest::qWait(600);
  EXPECT_EQ(held(), "891490");
  EXPECT_TRUE(isCleared(2000));
}

TEST_F(CopiedTest, WithoutATimeItStays) {
  setSettings("AllowManual=1\nClipboardSeconds=0\n");
  store("Mail");
  copy();
  EXPECT_FALSE(isCleared(500));
  end();
  EXPECT_EQ(held(), "891490");
}

TEST_F(CopiedTest, EndOfTheProgramClears) {
  store("Mail");
  copy();
  end();
  EXPECT_EQ(held(), "");
}

TEST_F(CopiedTest, EndOfTheProgramLeavesWhatIsNotItsOwn) {
  store("Mail");
  copy();
  QGuiApplication::clipboard()->setText(QStringLiteral("a letter"));
  end();
  EXPECT_EQ(held(), "a letter");
}

TEST_F(CopiedTest, QuittingClearsAlsoWhereNothingIsDestroyed) {
  store("Mail");
  copy();
  QMetaObject::invokeMethod(qApp, "aboutToQuit");
  EXPECT_EQ(held(), "");
}

}  // namespace
}  // namespace talvane
