#include "ui/kit/icns.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QPixmap>
#include <QtEndian>
#include <vector>

namespace talvane {
namespace {

QByteArray png(int size) {
  QImage image(size, size, QImage::Format_RGB32);
  image.fill(Qt::red);
  QByteArray bytes;
  QBuffer buffer(&bytes);
  EXPECT_TRUE(image.save(&buffer, "PNG"));
  return bytes;
}

QByteArray number(quint32 value) {
  const quint32 big_endian = qToBigEndian(value);
  return {reinterpret_cast<const char*>(&big_endian), 4};
}

QByteArray entry(const char* kind, const QByteArray& content) {
  return kind + number(static_cast<quint32>(content.size()) + 8) + content;
}

QByteArray file(const QByteArray& entries) {
  return "icns" + number(static_cast<quint32>(entries.size()) + 8) + entries;
}

QByteArray ownFile() {
  QFile own(QStringLiteral(":/softtoken/Icon.icns"));
  EXPECT_TRUE(own.open(QIODevice::ReadOnly));
  return own.readAll();
}

std::vector<int> widths(const QByteArray& bytes) {
  std::vector<int> result;
  for (const IcnsImage& picture : icnsImages(bytes)) result.push_back(picture.width);
  return result;
}

using Widths = std::vector<int>;

TEST(Icns, OwnIconHasEverySize) {
  // icp4, ic11, icp5, ic12, ic07, ic13, ic08, ic14, ic09, ic10.
  EXPECT_EQ(widths(ownFile()), (Widths{16, 32, 32, 64, 128, 256, 256, 512, 512, 1024}));
}

TEST(Icns, PicturesComeInTheirOrder) {
  EXPECT_EQ(widths(file(entry("icp5", png(32)) + entry("icp4", png(16)))), (Widths{32, 16}));
}

TEST(Icns, EntriesThatAreNoPicturesArePassedOver) {
  const QByteArray entries = entry("TOC ", "0123456789") + entry("icp4", png(16)) +
                             entry("info", "") + entry("is32", QByteArray(100, '\x7f')) +
                             entry("icp5", png(32));
  EXPECT_EQ(widths(file(entries)), (Widths{16, 32}));
}

TEST(Icns, SomethingElseHasNoPictures) {
  for (const QByteArray& bytes :
       {QByteArray(), QByteArray("i"), QByteArray("icn"), QByteArray("icns"),
        QByteArray("icns\0\0\0", 7), QByteArray("snci") + ownFile().mid(4), png(16),
        QByteArray(1000, '\0'), QByteArray(1000, '\xff')}) {
    EXPECT_EQ(widths(bytes), Widths()) << bytes.left(8).toHex().toStdString();
  }
}

TEST(Icns, HeaderAloneHasNoPictures) {
  EXPECT_EQ(widths(file({})), Widths());
}

TEST(Icns, TruncatedFileGivesOnlyWhatIsWhole) {
  const QByteArray first = entry("icp4", png(16));
  const QByteArray whole = file(first + entry("icp5", png(32)));
  const qsizetype end_of_first = 8 + first.size();
  for (qsizetype length = 0; length <= whole.size(); ++length) {
    const Widths expected = length == whole.size()   ? Widths{16, 32}
                            : length >= end_of_first ? Widths{16}
                                                     : Widths{};
    ASSERT_EQ(widths(whole.left(length)), expected) << length;
  }
}

TEST(Icns, EntryShorterThanItsOwnHeaderEndsTheReading) {
  for (const quint32 length : {0U, 1U, 7U}) {
    const QByteArray bytes =
        file(entry("icp4", png(16)) + "icp5" + number(length) + entry("icp5", png(32)));
    EXPECT_EQ(widths(bytes), (Widths{16})) << length;
  }
}

TEST(Icns, EntryLongerThanTheFileEndsTheReading) {
  const QByteArray picture = png(32);
  for (const quint32 length :
       {static_cast<quint32>(picture.size()) + 9, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
    const QByteArray bytes = file(entry("icp4", png(16)) + "icp5" + number(length) + picture);
    EXPECT_EQ(widths(bytes), (Widths{16})) << length;
  }
}

TEST(Icns, DamagedPictureIsLeftOut) {
  QByteArray damaged = png(32);
  damaged[1] = 'X';
  EXPECT_EQ(widths(file(entry("icp4", damaged) + entry("icp5", png(16)))), (Widths{16}));
}

TEST(Icns, EveryByteOfTheFirstEntriesMayBeWrong) {
  const QByteArray own = ownFile().left(2200);
  for (qsizetype at = 0; at < own.size(); ++at) {
    QByteArray bytes = own;
    bytes[at] = static_cast<char>(bytes[at] ^ 0xff);
    ASSERT_LE(icnsImages(bytes).size(), 3) << at;
  }
}

TEST(Icns, PicturesOfTheOwnIconAreWhole) {
  const QByteArray own = ownFile();
  for (const IcnsImage& picture : icnsImages(own)) {
    const QImage decoded = QImage::fromData(picture.png, "PNG");
    EXPECT_EQ(decoded.size(), QSize(picture.width, picture.width));
  }
}

TEST(Icns, PictureTooShortToHaveAWidthIsPassedOver) {
  for (const qsizetype length : {0, 3, 4, 16, 19}) {
    const QByteArray bytes = file(entry("icp4", png(16).left(length)) + entry("icp5", png(32)));
    EXPECT_EQ(widths(bytes), (Widths{32})) << length;
  }
}

TEST(Icns, ApplicationIconIsSharpOnEveryScreen) {
  const QIcon& icon = applicationIcon();
  EXPECT_EQ(icon.pixmap(QSize(64, 64), 1.0).size(), QSize(64, 64));
  EXPECT_EQ(icon.pixmap(QSize(64, 64), 2.0).size(), QSize(128, 128));
}

TEST(Icns, ApplicationIconHasTheSizeThatIsAskedFor) {
  const QIcon icon = applicationIcon(18);
  ASSERT_FALSE(icon.isNull());
  const QPixmap plain = icon.pixmap(QSize(18, 18), 1.0);
  EXPECT_EQ(plain.size(), QSize(18, 18));
  const QPixmap sharp = icon.pixmap(QSize(18, 18), 2.0);
  EXPECT_EQ(sharp.size(), QSize(36, 36));
  EXPECT_EQ(sharp.devicePixelRatio(), 2.0);
}

}  // namespace
}  // namespace talvane
