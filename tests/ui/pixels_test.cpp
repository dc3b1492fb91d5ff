// What can be stated of the look in pixels: text in the middle of its band, whole focus rings,
// equal margins, disabled text that differs from enabled text, alerts that are alike.

#include <QApplication>
#include <QCheckBox>
#include <QFontDatabase>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QToolTip>
#include <cmath>
#include <set>

#include "tests/ui/app_test.h"
#include "tests/ui/contrast.h"
#include "ui/kit/buttons.h"
#include "ui/kit/look.h"
#include "ui/kit/text_label.h"
#include "ui/views/shortcut_button.h"

namespace talvane {
namespace {

using test::AlertUser;
using test::contrast;

constexpr QRgb ground = 0xffff00ff;

/// The widget with this many pixels a point, on a ground of its own colour.
QImage drawnAt(QWidget& widget, double scale) {
  QImage image((QSizeF(widget.size()) * scale).toSize(), QImage::Format_RGB32);
  image.setDevicePixelRatio(scale);
  image.fill(ground);
  widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
  return image;
}

QImage grabbed(QWidget& widget) {
  return widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
}

/// The least rectangle around the pixels that `is_wanted` takes.
template <typename Wanted>
QRect bounds(const QImage& image, Wanted is_wanted) {
  QRect result;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      if (is_wanted(x, y)) result |= QRect(x, y, 1, 1);
    }
  }
  return result;
}

/// Where text covers at least half of a pixel.
QRect inkOf(const QImage& image, QRgb text) {
  const auto near = [text](QRgb pixel) {
    const auto far = [](QRgb a, QRgb b) {
      return std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
             std::abs(qBlue(a) - qBlue(b));
    };
    return far(pixel, text) < far(pixel, ground);
  };
  return bounds(image, [&](int x, int y) { return near(image.pixel(x, y)); });
}

double middle(const QRect& area) {
  return area.top() + area.height() / 2.0;
}

class PixelsTest : public AppTest {
 protected:
  PixelsTest() {
    setSettings("AllowManual=1\nEnrolURL=https://srv\n");
    QCursor::setPos(0, 0);  // away from every control
  }

  /// Fonts whose letters stand higher or lower in their lines; those that are here.
  static std::set<QString> families() {
    const QStringList here = QFontDatabase::families();
    std::set<QString> result{QFontDatabase::systemFont(QFontDatabase::GeneralFont).family()};
    for (const char* family : {"DejaVu Sans", "DejaVu Serif", "Noto Sans", "Cantarell", "Ubuntu",
                               "Nimbus Sans", "URW Gothic", "P052", "Z003"}) {
      if (here.contains(QLatin1String(family))) result.insert(QLatin1String(family));
    }
    return result;
  }

  /// Expects the capitals and digits of `text` within a pixel of the middle of the widget's part
  /// from `top` to `bottom`, in each font, at each scale.
  template <typename Widget>
  static void expectCentred(Widget& widget, const QString& text, QRgb colour, double top,
                            double bottom) {
    const QFont before = widget.font();
    widget.setText(text);
    for (const QString& family : families()) {
      QFont font(family);
      font.setPixelSize(before.pixelSize());
      widget.setFont(font);
      for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
        const QRect ink = inkOf(drawnAt(widget, scale), colour);
        ASSERT_FALSE(ink.isNull()) << family.toStdString();
        EXPECT_NEAR(middle(ink), scale * (top + bottom) / 2, 1.0)
            << widget.objectName().toStdString() << " in " << family.toStdString() << " at "
            << scale;
      }
    }
    widget.setFont(before);
  }
};

TEST_F(PixelsTest, NamesAndDigitsStandInTheMiddleOfTheirBands) {
  store("Mail");
  clock = 25;
  show("tv");
  auto* row = find<QWidget>("tvtoken");
  // The bands as they are painted: the deep blue strip, and the light part below.
  const QImage art = drawnAt(*row, 1);
  const auto isLight = [&](int y) { return qGreen(art.pixel(70, y)) > 200; };
  int split = 1;
  while (split < 59 && !isLight(split)) ++split;
  ASSERT_LT(split, 59);
  auto* name = dynamic_cast<TextLabel*>(find<QLabel>("tvdesc"));
  expectCentred(*name, QStringLiteral("HEX"), qRgb(255, 255, 255), -name->y(), split - name->y());
  auto* digits = dynamic_cast<TextLabel*>(find<QLabel>("tvpasscode"));
  digits->setTextColour(Qt::black);
  expectCentred(*digits, QStringLiteral("081245"), qRgb(0, 0, 0), split - digits->y(),
                60 - digits->y());
  auto* next = dynamic_cast<TextLabel*>(find<QLabel>("tvnext"));
  expectCentred(*next, QStringLiteral("NEXT\n081245"), paint::dark_text.rgb(), split - next->y(),
                60 - next->y());
}

TEST_F(PixelsTest, NextPasscodeIsClearOfTheDigits) {
  store("Mail");
  clock = 25;
  show("tv");
  auto* next = dynamic_cast<TextLabel*>(find<QLabel>("tvnext"));
  auto* digits = dynamic_cast<TextLabel*>(find<QLabel>("tvpasscode"));
  next->setText(QStringLiteral("Next\n888888"));
  digits->setText(QStringLiteral("888888"));
  digits->setTextColour(Qt::black);
  const QRect small = inkOf(drawnAt(*next, 1), paint::dark_text.rgb()).translated(next->pos());
  const QRect large = inkOf(drawnAt(*digits, 1), qRgb(0, 0, 0)).translated(digits->pos());
  const QRect copy = button("tvcopy")->geometry();
  EXPECT_GE(large.left() - small.right(), 6);
  EXPECT_GE(copy.left() - large.right(), 6);
  EXPECT_EQ(next->x(), 212 - (copy.x() + copy.width()));
}

TEST_F(PixelsTest, CaptionsStandInTheMiddleOfTheirButtons) {
  store("Mail");
  show("tv");
  for (const char* name : {"tvcopy", "tvhelp"}) {
    auto* shown = button(name);
    shown->clearFocus();
    const QRgb colour = name == std::string("tvcopy") ? paint::dark_text.rgb() : paint::text.rgb();
    const QString caption = shown->text();
    shown->setText(QString());
    const QImage empty = drawnAt(*shown, 1);
    shown->setText(QStringLiteral("HE"));
    const QImage full = drawnAt(*shown, 1);
    const QRect ink = bounds(full, [&](int x, int y) {
      return full.pixel(x, y) != empty.pixel(x, y) && contrast(full.pixel(x, y), colour) < 1.8;
    });
    EXPECT_NEAR(middle(ink), shown->height() / 2.0, 1.0) << name;
    EXPECT_NEAR(ink.left() + ink.width() / 2.0, shown->width() / 2.0, 1.0) << name;
    shown->setText(caption);
  }
}

TEST_F(PixelsTest, MarginsAreEqual) {
  const auto around = [](const std::vector<const char*>& names) {
    QRect area;
    for (const char* name : names) {
      const Frame frame = frameInPanel(find<QWidget>(name));
      area |= rectangle(frame);
    }
    return area;
  };
  const auto expectEqual = [](const QRect& area, const QImage& picture, const char* view) {
    EXPECT_EQ(area.left(), panel_width - area.right() - 1) << view;
    const int above = area.top() - band_height;
    const int below = picture.height() - band_height - area.bottom() - 1;
    EXPECT_NEAR(above, below, 1) << view;
  };
  show("hv");
  expectEqual(around({"hvgs", "hvmanage", "hvabout", "hvlaunch", "hvexit"}), grabbed(*panel()),
              "hv");
  show("av");
  expectEqual(around({"avenrol", "avmanual"}), grabbed(*panel()), "av");
  show("mv");
  QRect area = around({"mvdesc", "mvseed"});
  // From the top of the capitals.
  QWidget* label = find<QLabel>("mvdesclabel");
  const QRect ink = inkOf(drawnAt(*label, 1), paint::text.rgb());
  area.setTop(frameInPanel(label).y + ink.top());
  expectEqual(area, grabbed(*panel()), "mv");
  const Frame desc = frameInPanel(find<QWidget>("mvdesc"));
  const Frame seed = frameInPanel(find<QWidget>("mvseed"));
  EXPECT_EQ(desc.y - frameInPanel(label).y, seed.y - frameInPanel(find<QWidget>("mvseedlabel")).y);
}

/// What the focus changes in the panel.
class RingTest : public PixelsTest {
 protected:
  static void expectWholeRing(QWidget& widget) {
    const std::string name = openView() + ": " + widget.objectName().toStdString();
    const QImage with = grabbed(*panel());
    // Buttons on rows have their own.
    const bool is_light = with.pixel(0, 0) != 0 && widget.objectName() == QLatin1String("tvcopy");
    const QRgb colour = (is_light ? paint::focus_on_light : paint::focus).rgb();
    const auto isRing = [colour](QRgb pixel) { return contrast(pixel, colour) < 1.3; };
    // A check box is at the left of its widget.
    const bool is_box = qobject_cast<QCheckBox*>(&widget) != nullptr;
    const QSize size(is_box ? 18 : widget.width(), widget.height());
    const QRect near = QRect(widget.mapTo(panel(), QPoint(0, 0)), size).adjusted(-4, -4, 4, 4);
    const QRect ring =
        bounds(with, [&](int x, int y) { return near.contains(x, y) && isRing(with.pixel(x, y)); });
    ASSERT_FALSE(ring.isNull()) << name;
    const QPoint centre = ring.center();
    const QPoint sides[][2] = {{QPoint(centre.x(), ring.top()), QPoint(0, 1)},
                               {QPoint(centre.x(), ring.bottom()), QPoint(0, -1)},
                               {QPoint(ring.left(), centre.y()), QPoint(1, 0)},
                               {QPoint(ring.right(), centre.y()), QPoint(-1, 0)}};
    for (const auto& [place, inwards] : sides) {
      for (int depth = 0; depth < 2; ++depth) {
        EXPECT_TRUE(isRing(with.pixel(place + depth * inwards)))
            << name << " at " << place.x() << ", " << place.y() << ", " << depth;
      }
    }
  }

  /// Tab by Tab, until the first has the keyboard again.
  static void walk() {
    std::set<QWidget*> seen;
    for (QWidget* focus = QApplication::focusWidget();
         focus != nullptr && seen.insert(focus).second; focus = QApplication::focusWidget()) {
      expectWholeRing(*focus);
      QTest::keyClick(focus, Qt::Key_Tab);
      turnEventLoop();
    }
    EXPECT_GE(seen.size(), 2U) << openView();
  }
};

TEST_F(RingTest, IsWholeAtEveryControl) {
  store("Mail");
  showResponse();
  walk();
  for (const char* view : {"tv", "cv", "av", "mv", "hv"}) {
    show(view);
    walk();
  }
}

TEST_F(RingTest, IsWholeWhereTheServerAsks) {
  network.answer("RESULT:OK\r\nVERSION:7200\r\nPASSWORD:False\r\n");
  show("eva");
  ASSERT_TRUE(QTest::qWaitFor([] { return find<QLineEdit>("eva_userid")->isVisible(); }));
  walk();
  type("eva_userid", "ada");
  network.answer(
      "RESULT:OK,GETINFO\r\nINPUT:USERCREATEPIN=True\r\nPINLENGTH:4\r\nINPUT:ENROL=True\r\n"
      "QUESTIONS1:Pet,Song\r\nQUESTIONS2:Pet,Song\r\n"
      "INPUT:SOFTTOKENURL=otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&period=30\r\n");
  click("eva_submit");
  ASSERT_EQ(openView(), "evgi");
  walk();
}

TEST_F(RingTest, IsAroundTheCloseButton) {
  show("hv");
  QAbstractButton* close = button("close");
  const QImage without = grabbed(*panel());
  close->setFocus();
  const QImage with = grabbed(*panel());
  const QRect changed = bounds(with, [&](int x, int y) {
    return y < band_height && with.pixel(x, y) != without.pixel(x, y);
  });
  const QRect itself = rectangle(close_button_frame);
  EXPECT_EQ(frameOf(changed), frameOf(itself.adjusted(-3, -3, 3, 3)));
  button("hvgs")->setFocus();
  close->clearFocus();
  EXPECT_EQ(all<QWidget>("closering").size(), 0U);
}

TEST_F(RingTest, IsAroundTheBox) {
  showResponse();
  show("cv");
  auto* box = find<QCheckBox>("cvdelete");
  const QPoint place = box->mapTo(panel(), QPoint(0, 0));
  const QRect area(place, QSize(panel_width - place.x(), box->height()));
  const QImage without = grabbed(*panel()).copy(area);
  box->setFocus(Qt::TabFocusReason);
  const QImage with = grabbed(*panel()).copy(area);
  const QRect ring =
      bounds(with, [&](int x, int y) { return with.pixel(x, y) == paint::focus.rgb(); });
  const QRect white =
      bounds(without, [&](int x, int y) { return qGreen(without.pixel(x, y)) > 0xf0 && x < 20; });
  EXPECT_NEAR(white.left() - ring.left(), ring.right() - white.right(), 1);
  EXPECT_NEAR(white.top() - ring.top(), ring.bottom() - white.bottom(), 1);
  EXPECT_GE(white.left() - ring.left(), 3);
  EXPECT_LT(place.x() + ring.right(), frameInPanel(button("cvresponse")).x);
}

TEST_F(PixelsTest, DisabledTextDiffersFromEnabledText) {
  show("tv");
  auto* edit = button("tvconfig");
  ASSERT_FALSE(edit->isEnabled());
  const auto brightest = [](QWidget& widget) {
    const QImage image = grabbed(widget);
    double best = 1;
    for (int y = 4; y < image.height() - 4; ++y) {
      for (int x = 4; x < image.width() - 4; ++x) {
        best = std::max(best, contrast(image.pixel(x, y), qRgb(0, 0, 0)));
      }
    }
    return best;
  };
  const double disabled = brightest(*edit);
  edit->setEnabled(true);
  EXPECT_GE(brightest(*edit) / disabled, 1.8);
}

TEST_F(PixelsTest, AlertsHaveTheSameGaps) {
  app();
  std::set<std::pair<int, int>> gaps;
  std::set<int> tops;
  for (const char* text : {"Short", "Version 1\n\nMade by\n\nsomebody",
                           "A text that is so long that it needs more than one line, and more than "
                           "two of them if the alert is as narrow as it is"}) {
    alerts.answers.push_back([&](QMessageBox& box) {
      const auto* title = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
      const auto* words = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"));
      const int lower = box.buttons().front()->mapTo(&box, QPoint(0, 0)).y();
      gaps.insert({words->y() - title->y(), lower - words->y() - words->height()});
      tops.insert(title->y());
      EXPECT_LE(std::abs(words->height() - words->heightForWidth(words->width())), 1) << text;
      AlertUser::pressEscape(box);
    });
    app().simpleMessageBox(QString::fromLatin1(text));
  }
  EXPECT_EQ(gaps.size(), 1U);
  EXPECT_EQ(tops.size(), 1U);
}

class ShortcutTextTest : public testing::Test {
 protected:
  ShortcutTextTest() {
    button.resize(165, 32);
    button.setFont(panelFont(12));
  }
  QString tip() {
    QToolTip::hideText();
    EXPECT_TRUE(QTest::qWaitFor([] { return !QToolTip::isVisible(); }));
    QHelpEvent asks(QEvent::ToolTip, QPoint(1, 1), QPoint(1, 1));
    QApplication::sendEvent(&button, &asks);
    return QToolTip::text();
  }
  QRect ink() {
    const QImage image = drawnAt(button, 1);
    return bounds(image, [&](int x, int y) {
      return y > 6 && y < 26 && image.pixel(x, y) == paint::text.rgb();
    });
  }
  ShortcutButton button;
};

TEST_F(ShortcutTextTest, ShortTextIsShownAsItIs) {
  button.showText(QStringLiteral("Shortcut: Ctrl+K"), QStringLiteral("Ctrl+K"));
  EXPECT_EQ(button.text(), QStringLiteral("Shortcut: Ctrl+K"));
  EXPECT_EQ(tip(), QString());
}

TEST_F(ShortcutTextTest, LongTextGivesWayToTheKeysAlone) {
  const QString keys = QStringLiteral("Ctrl+Alt+Shift+Super+Print");
  button.showText(QStringLiteral("Shortcut: ") + keys, keys);
  EXPECT_EQ(button.text(), keys);
  EXPECT_EQ(tip(), QStringLiteral("Shortcut: ") + keys);
  EXPECT_EQ(button.accessibleName(), QStringLiteral("Shortcut: ") + keys);
  const QRect shown = ink();
  EXPECT_GE(shown.left(), 2);
  EXPECT_LE(shown.right(), 162);
}

TEST_F(ShortcutTextTest, WhatIsStillTooLongIsCutAndTold) {
  const QString keys = QStringLiteral("Ctrl+Alt+Shift+Super+XF86AudioLowerVolume");
  button.showText(keys);
  EXPECT_EQ(tip(), keys);
  EXPECT_LE(ink().right(), 164);
}

}  // namespace
}  // namespace talvane
