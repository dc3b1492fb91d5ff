#include "ui/view_kit.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <memory>

namespace talvane {
namespace {

/// On a ground of its own colour.
QImage drawn(QWidget& widget) {
  QImage image(widget.size(), QImage::Format_RGB32);
  image.fill(Qt::magenta);
  widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
  return image;
}

/// 8 by 5, every pixel of its own colour.
QPixmap pattern() {
  QImage image(8, 5, QImage::Format_RGB32);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 8; ++x) image.setPixel(x, y, qRgb(10 + 20 * x, 10 + 40 * y, 99));
  }
  return QPixmap::fromImage(image);
}

QRgb patternAt(int x, int y) {
  return qRgb(10 + 20 * (x % 8), 10 + 40 * (y % 5), 99);
}

TEST(FlippedViewTest, ChildAtTheTopTouchesTheTop) {
  FlippedView view({0, 0, 40, 30});
  QWidget child(&view);
  child.setGeometry(5, 0, 20, 3);
  child.setAutoFillBackground(true);
  QPalette red;
  red.setColor(QPalette::Window, Qt::red);
  child.setPalette(red);
  const QImage image = drawn(view);
  for (int y = 0; y < 30; ++y) {
    EXPECT_EQ(image.pixelColor(10, y) == QColor(Qt::red), y < 3) << y;
  }
  EXPECT_NE(image.pixelColor(4, 0), QColor(Qt::red));
  EXPECT_NE(image.pixelColor(25, 0), QColor(Qt::red));
}

TEST(FlippedViewTest, TakesItsFrame) {
  const FlippedView view({36, 84, 212, 60});
  EXPECT_EQ(frameOf(view.geometry()), (Frame{36, 84, 212, 60}));
}

TEST(FlippedImageViewTest, PictureStandsAtTheUpperLeftCorner) {
  FlippedImageView view({0, 0, 20, 20}, pattern(), nullptr);
  const QImage image = drawn(view);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 8; ++x) ASSERT_EQ(image.pixel(x, y), patternAt(x, y)) << x << ',' << y;
  }
  EXPECT_NE(image.pixel(8, 0), patternAt(0, 0)) << "it is repeated";
  EXPECT_NE(image.pixel(0, 5), patternAt(0, 0)) << "it is repeated";
}

TEST(TiledImageViewTest, RepeatsFromItsOrigin) {
  TiledImageView view({0, 34, 37, 23}, nullptr);
  view.setImage(pattern());
  const QImage image = drawn(view);
  for (int y = 0; y < 23; ++y) {
    for (int x = 0; x < 37; ++x) ASSERT_EQ(image.pixel(x, y), patternAt(x, y)) << x << ',' << y;
  }
}

TEST(TiledImageViewTest, StripThatIsRedrawnStaysAligned) {
  TiledImageView view({0, 0, 37, 23}, nullptr);
  view.setImage(pattern());
  const QRect strip(3, 7, 21, 4);
  QImage image(view.size(), QImage::Format_RGB32);
  image.fill(Qt::magenta);
  view.render(&image, strip.topLeft(), strip, QWidget::RenderFlags());
  for (int y = 0; y < 23; ++y) {
    for (int x = 0; x < 37; ++x) {
      const QRgb expected = strip.contains(x, y) ? patternAt(x, y) : QColor(Qt::magenta).rgb();
      ASSERT_EQ(image.pixel(x, y), expected) << x << ',' << y;
    }
  }
}

TEST(TiledImageViewTest, MissingImageDrawsNothing) {
  TiledImageView view({0, 0, 10, 10}, nullptr);
  view.setImage(QPixmap());
  EXPECT_FALSE(drawn(view).isNull());
}

TEST(PictureTest, OfTheScreensSharpness) {
  const QWidget widget;
  EXPECT_EQ(picture(QStringLiteral("logo260x34.png"), widget).size(), QSize(260, 34));
  EXPECT_EQ(picture(QStringLiteral("bluebar260x34.png"), widget).size(), QSize(260, 34));
  EXPECT_EQ(picture(QStringLiteral("blue.png"), widget).size(), QSize(212, 60));
  EXPECT_FALSE(picture(QStringLiteral("bgtile.png"), widget).isNull());
}

TEST(PictureTest, MissingOneIsEmpty) {
  EXPECT_TRUE(picture(QStringLiteral("none.png"), QWidget()).isNull());
}

class TextLabelTest : public testing::Test {
 protected:
  TextLabelTest() { label.resize(100, 20); }

  /// The last column in which something is drawn, also beyond the label.
  [[nodiscard]] int rightmostInk() {
    QImage image(200, 20, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    label.render(&painter, QPoint(), QRegion(), QWidget::RenderFlags());
    painter.end();
    for (int x = 199; x >= 0; --x) {
      for (int y = 0; y < 20; ++y) {
        if (image.pixel(x, y) != QColor(Qt::black).rgb()) return x;
      }
    }
    return -1;
  }

  TextLabel label;
};

TEST_F(TextLabelTest, ShortTextHasNoToolTip) {
  label.showText(QStringLiteral("Mail"));
  EXPECT_EQ(label.text(), QStringLiteral("Mail"));
  EXPECT_EQ(label.toolTip(), QString());
  EXPECT_GT(rightmostInk(), 5);
  EXPECT_LT(rightmostInk(), 100);
}

TEST_F(TextLabelTest, LongTextIsCutAndShownWholeInATip) {
  const QString text = QString(200, QLatin1Char('W'));
  label.showText(text);
  EXPECT_EQ(label.text(), text);
  EXPECT_EQ(label.toolTip(), text);
  EXPECT_LT(rightmostInk(), 100);
}

TEST_F(TextLabelTest, CutTextEndsInAnEllipsis) {
  label.showText(QString(200, QLatin1Char('W')));
  const QImage cut = drawn(label);
  label.showText(label.fontMetrics().elidedText(QString(200, QLatin1Char('W')), Qt::ElideRight,
                                                label.contentsRect().width()));
  EXPECT_TRUE(label.text().endsWith(QChar(0x2026)));
  EXPECT_EQ(drawn(label), cut);
}

TEST_F(TextLabelTest, TipOfMarkupIsPlainText) {
  label.showText(QStringLiteral("<b>&") + QString(200, QLatin1Char('W')));
  EXPECT_TRUE(label.toolTip().startsWith(QStringLiteral("&lt;b&gt;&amp;W")));
}

TEST_F(TextLabelTest, TipGoesWithTheLongText) {
  label.showText(QString(200, QLatin1Char('W')));
  label.showText(QStringLiteral("Mail"));
  EXPECT_EQ(label.toolTip(), QString());
}

TEST_F(TextLabelTest, MarginsCountForTheCut) {
  const QString text = QStringLiteral("123456");
  label.setFixedWidth(label.fontMetrics().horizontalAdvance(text));
  label.showText(text);
  EXPECT_EQ(label.toolTip(), QString());
  label.showText(QString());
  label.setContentsMargins(6, 0, 6, 0);
  label.showText(text);
  EXPECT_EQ(label.toolTip(), text);
}

TEST_F(TextLabelTest, SeveralLinesAreNotCut) {
  label.setWordWrap(true);
  label.resize(100, 200);
  label.showText(QStringLiteral("several words that need several lines to be seen"));
  EXPECT_EQ(label.toolTip(), QString());
  const QImage image = drawn(label);
  int inked_rows = 0;
  for (int y = 0; y < image.height(); ++y) {
    bool inked = false;
    for (int x = 0; x < 100; ++x) inked = inked || image.pixelColor(x, y) != QColor(Qt::magenta);
    inked_rows += inked;
  }
  EXPECT_GT(inked_rows, 2 * label.fontMetrics().xHeight());
  EXPECT_GT(label.fontMetrics().horizontalAdvance(label.text()), 200);
}

TEST_F(TextLabelTest, DrawsInItsColour) {
  label.setTextColour(QColor(0xcc, 0, 0));
  label.setFontSize(24);
  label.resize(100, 40);
  label.showText(QStringLiteral("888"));
  EXPECT_EQ(label.textColour(), QColor(0xcc, 0, 0));
  const QImage image = drawn(label);
  int inked = 0;
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 100; ++x) inked += image.pixel(x, y) == qRgb(0xcc, 0, 0);
  }
  EXPECT_GT(inked, 20);
}

TEST_F(TextLabelTest, FontSizeIsInPointsOfThePanel) {
  label.setFontSize(24, true);
  EXPECT_EQ(label.font().pixelSize(), 24);
  EXPECT_TRUE(label.font().bold());
  label.setFontSize(13);
  EXPECT_EQ(label.font().pixelSize(), 13);
  EXPECT_FALSE(label.font().bold());
}

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
    QEvent asked(QEvent::ToolTip);
    QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), QPoint(5, 5));
    QApplication::sendEvent(&button, &event);
    return button.toolTip();
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
