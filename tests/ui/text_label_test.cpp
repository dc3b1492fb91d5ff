#include "ui/kit/text_label.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include "tests/ui/drawn.h"
#include "ui/kit/hover_text.h"

namespace talvane {
namespace {

using test::drawn;

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
  EXPECT_EQ(hoverText(label), QString());
  EXPECT_GT(rightmostInk(), 5);
  EXPECT_LT(rightmostInk(), 100);
}

TEST_F(TextLabelTest, LongTextIsCutAndShownWholeInATip) {
  const QString text = QString(200, QLatin1Char('W'));
  label.showText(text);
  EXPECT_EQ(label.text(), text);
  EXPECT_EQ(hoverText(label), text);
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
  EXPECT_TRUE(hoverText(label).startsWith(QStringLiteral("<b>&W")));
}

TEST_F(TextLabelTest, HiddenCharactersAreShownAsSuch) {
  label.showText(QStringLiteral("a\u202Eb\tc\nd"));
  EXPECT_EQ(label.text(), QStringLiteral("a\uFFFDb\uFFFDc\nd"));
}

TEST_F(TextLabelTest, TipGoesWithTheLongText) {
  label.showText(QString(200, QLatin1Char('W')));
  label.showText(QStringLiteral("Mail"));
  EXPECT_EQ(hoverText(label), QString());
}

TEST_F(TextLabelTest, MarginsCountForTheCut) {
  const QString text = QStringLiteral("123456");
  label.setFixedWidth(label.fontMetrics().horizontalAdvance(text));
  label.showText(text);
  EXPECT_EQ(hoverText(label), QString());
  label.showText(QString());
  label.setContentsMargins(6, 0, 6, 0);
  label.showText(text);
  EXPECT_EQ(hoverText(label), text);
}

TEST_F(TextLabelTest, SeveralLinesAreNotCut) {
  label.setWordWrap(true);
  label.resize(100, 200);
  label.showText(QStringLiteral("several words that need several lines to be seen"));
  EXPECT_EQ(hoverText(label), QString());
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

}  // namespace
}  // namespace talvane
