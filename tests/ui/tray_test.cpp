// Clicks on an icon that a status area embeds.

#include "ui/desktop/tray.h"

#include <gtest/gtest.h>
#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>

#include <string>
#include <thread>

namespace talvane::test {
namespace {

class TrayClicksTest : public testing::Test {
 protected:
  TrayClicksTest() {
    icon_.setObjectName(QStringLiteral("QSystemTrayIconSys"));
    tray_.show({}, true);
  }

  void click(unsigned long time) {
    QMouseEvent event(QEvent::MouseButtonRelease, {5, 5}, icon_.mapToGlobal(QPointF(5, 5)),
                      Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    event.setTimestamp(time);
    QApplication::sendEvent(&icon_, &event);
  }

  void press(int key) {
    for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
      QKeyEvent event(type, key, Qt::NoModifier);
      QApplication::sendEvent(&icon_, &event);
    }
  }

  std::string clicks;

 private:
  Tray tray_{QIcon(), {[this] { clicks += '1'; }, [this] { clicks += '2'; }, {}, {}, {}, {}}};
  QWidget icon_;
};

TEST_F(TrayClicksTest, TheSecondWithinAQuarterOfASecondMakesADoubleClick) {
  click(10'000);
  click(10'249);
  EXPECT_EQ(clicks, "12");
  click(10'300);
  EXPECT_EQ(clicks, "121");
}

TEST_F(TrayClicksTest, LaterOnesAreClicks) {
  for (const unsigned long time : {10'000UL, 10'250UL, 11'000UL, 4UL}) click(time);
  EXPECT_EQ(clicks, "1111");
}

TEST_F(TrayClicksTest, WithoutATimeTheOwnClockCounts) {
  click(0);
  EXPECT_EQ(clicks, "1");
  std::this_thread::sleep_for(Tray::double_click);
  click(0);
  EXPECT_EQ(clicks, "11");
  click(0);
  EXPECT_EQ(clicks, "112");
}

TEST_F(TrayClicksTest, KeysThatChooseAreClicks) {
  for (const int key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space}) press(key);
  EXPECT_EQ(clicks, "111");
  for (const int key : {Qt::Key_Escape, Qt::Key_Tab, Qt::Key_A}) press(key);
  EXPECT_EQ(clicks, "111");
}

}  // namespace
}  // namespace talvane::test
