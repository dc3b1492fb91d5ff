#include "ui/kit/alert.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace talvane {
namespace {

class AlertTest : public testing::Test {
 protected:
  /// The open alert's button; null if there is none.
  static QAbstractButton* button(const QString& text) {
    const auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr) return nullptr;
    for (QAbstractButton* candidate : box->buttons()) {
      if (candidate->text() == text) return candidate;
    }
    return nullptr;
  }
  static QString shown(const QString& text) {
    QString found;
    QTimer::singleShot(0, [&] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      found = box->informativeText();
      box->reject();
    });
    Alert::tell({}, text);
    return found;
  }
};

TEST_F(AlertTest, YesCanBePressedAfterAMoment) {
  QElapsedTimer since;
  qint64 enabled_after = -1;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&] {
    QAbstractButton* yes = button(QStringLiteral("YES"));
    if (yes == nullptr) return;
    if (!since.isValid()) {
      since.start();
      EXPECT_FALSE(yes->isEnabled());
      EXPECT_TRUE(button(QStringLiteral("NO"))->isEnabled());
    }
    QTest::mouseClick(yes, Qt::LeftButton);  // of no effect while it is disabled
    QTest::keyClick(yes, Qt::Key_Space);
    enabled_after = since.elapsed();
  });
  timer.start(5);
  EXPECT_EQ(Alert::ask({}, QStringLiteral("text")), Alert::Result::alternate_return);
  EXPECT_GE(enabled_after, 600) << "0.7 s after it appeared, which is a little before it was seen";
}

TEST_F(AlertTest, NoCanBePressedAtOnce) {
  QElapsedTimer since;
  since.start();
  QTimer::singleShot(0, [] { QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Escape); });
  EXPECT_EQ(Alert::ask({}, QStringLiteral("text")), Alert::Result::default_return);
}

TEST_F(AlertTest, TextCannotDeceive) {
  EXPECT_EQ(shown(QStringLiteral("one\n\ntwo")), QStringLiteral("one\n\ntwo"));
  EXPECT_EQ(shown(QStringLiteral("a\u202Eb\u200B\u2028\rc")),
            QStringLiteral("a\uFFFDb\uFFFD\uFFFD\uFFFDc"));
}

}  // namespace
}  // namespace talvane
