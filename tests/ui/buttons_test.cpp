#include "ui/kit/buttons.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QHelpEvent>
#include <QImage>
#include <QSignalSpy>
#include <QTest>
#include <QToolTip>
#include <memory>

#include "tests/ui/drawn.h"

namespace talvane {
namespace {

using test::drawn;

template <typename Button>
class Pressing : public testing::Test {
 protected:
  Pressing() {
    window.resize(100, 60);
    button = new Button(&window);
    button->setGeometry(10, 10, 80, 32);
    window.show();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    button->setFocus();
    spy = std::make_unique<QSignalSpy>(button, &QAbstractButton::clicked);
  }

  QWidget window;
  Button* button = nullptr;
  std::unique_ptr<QSignalSpy> spy;
};

using Buttons = testing::Types<PanelButton, CloseButton>;
TYPED_TEST_SUITE(Pressing, Buttons);

TYPED_TEST(Pressing, ReturnPresses) {
  QTest::keyClick(this->button, Qt::Key_Return);
  EXPECT_EQ(this->spy->count(), 1);
}

TYPED_TEST(Pressing, EnterPresses) {
  QTest::keyClick(this->button, Qt::Key_Enter);
  EXPECT_EQ(this->spy->count(), 1);
}

TYPED_TEST(Pressing, SpacePresses) {
  QTest::keyClick(this->button, Qt::Key_Space);
  EXPECT_EQ(this->spy->count(), 1);
}

TYPED_TEST(Pressing, LeftClickPresses) {
  QTest::mouseClick(this->button, Qt::LeftButton);
  EXPECT_EQ(this->spy->count(), 1);
}

TYPED_TEST(Pressing, OtherMouseButtonsDoNot) {
  QTest::mouseClick(this->button, Qt::RightButton);
  QTest::mouseClick(this->button, Qt::MiddleButton);
  EXPECT_EQ(this->spy->count(), 0);
}

TYPED_TEST(Pressing, ReleaseOutsideDoesNot) {
  QTest::mousePress(this->button, Qt::LeftButton, Qt::NoModifier, QPoint(5, 5));
  QTest::mouseRelease(this->button, Qt::LeftButton, Qt::NoModifier, QPoint(-5, -5));
  EXPECT_EQ(this->spy->count(), 0);
}

TYPED_TEST(Pressing, OtherKeysDoNot) {
  for (const Qt::Key key : {Qt::Key_A, Qt::Key_1, Qt::Key_Escape, Qt::Key_Tab}) {
    QTest::keyClick(this->button, key);
  }
  EXPECT_EQ(this->spy->count(), 0);
}

TYPED_TEST(Pressing, WhatIsDisabledIsNotPressed) {
  this->button->setEnabled(false);
  QTest::keyClick(this->button, Qt::Key_Return);
  QTest::keyClick(this->button, Qt::Key_Space);
  QTest::mouseClick(this->button, Qt::LeftButton);
  EXPECT_EQ(this->spy->count(), 0);
}

TYPED_TEST(Pressing, FocusIsSeen) {
  const QImage focused = drawn(*this->button);
  this->button->clearFocus();
  EXPECT_NE(drawn(*this->button), focused);
}

TYPED_TEST(Pressing, HoverIsSeen) {
  this->button->clearFocus();
  const QImage idle = drawn(*this->button);
  this->button->setAttribute(Qt::WA_UnderMouse, true);
  EXPECT_NE(drawn(*this->button), idle);
}

TEST(PanelButtonTest, CaptionThatDoesNotFitIsInTheTip) {
  PanelButton button;
  button.resize(80, 32);
  const auto tipOf = [&button](const QString& text) {
    button.setText(text);
    QToolTip::hideText();
    EXPECT_TRUE(QTest::qWaitFor([] { return !QToolTip::isVisible(); }));
    QEvent asked(QEvent::ToolTip);
    QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), QPoint(5, 5));
    QApplication::sendEvent(&button, &event);
    return QToolTip::text();
  };
  EXPECT_EQ(tipOf(QStringLiteral("Add")), QString());
  EXPECT_EQ(tipOf(QString(60, QLatin1Char('W'))), QString(60, QLatin1Char('W')));
  EXPECT_EQ(tipOf(QStringLiteral("Add")), QString());
}

TEST(PanelButtonTest, EveryDressShowsBeingDown) {
  for (const auto dress :
       {PanelButton::Dress::toolbar, PanelButton::Dress::tile, PanelButton::Dress::light}) {
    PanelButton button;
    button.resize(80, 32);
    button.setDress(dress);
    button.setText(QStringLiteral("Add"));
    const QImage up = drawn(button);
    button.setDown(true);
    EXPECT_NE(drawn(button), up) << static_cast<int>(dress);
  }
}

}  // namespace
}  // namespace talvane
