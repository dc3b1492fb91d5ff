// The pictures were made with qrencode(1): one code each, but for none.*, which hold a chequered
// board, two.png, which holds two codes side by side, and the ones that are only large. The name in
// binary.png is not UTF-8.

#include "platform/qr_image.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "tests/platform/installed_copy.h"
#include "tests/support/in_child.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

const std::string ada = "otpauth://totp/Example:ada?secret=JBSWY3DPEHPK3PXP&period=30";

std::string picture(const std::string& name) {
  return std::string(IMAGES) + "/" + name;
}

std::string textIn(const std::string& path) {
  const QrImage image = readQrImage(path);
  EXPECT_EQ(image.error, "") << path;
  return image.text.get();
}

/// The error for the file, which is named in it; empty when there is none.
std::string errorFor(const std::string& path) {
  const QrImage image = readQrImage(path);
  EXPECT_EQ(image.text.get(), "") << path;
  EXPECT_NE(image.error.find(path), std::string::npos) << image.error;
  EXPECT_FALSE(image.error.ends_with(".")) << image.error;
  return image.error;
}

class QrImageTest : public testing::Test {
 protected:
  /// A file of the bytes.
  [[nodiscard]] std::string fileOf(const std::string& bytes) const {
    writeFile(folder / "picture", bytes);
    return folder / "picture";
  }

  TemporaryFolder folder;
};

TEST_F(QrImageTest, CodeInAPngIsRead) {
  EXPECT_EQ(textIn(picture("one.png")), ada);
}

TEST_F(QrImageTest, CodeInAnEnlargedImageIsRead) {
  EXPECT_EQ(textIn(picture("enlarged.png")), ada) << "of more pixels than are searched";
}

TEST_F(QrImageTest, CodeInAJpegIsRead) {
  EXPECT_EQ(textIn(picture("one.jpg")), ada);
}

TEST_F(QrImageTest, NameOfTheFileDoesNotMatter) {
  EXPECT_EQ(textIn(fileOf(readFile(picture("one.jpg")))), ada);
  writeFile(folder /
                "gr\xC3\xBC\xC3\x9F"
                "e und mehr.jpg",
            readFile(picture("one.png")));
  EXPECT_EQ(textIn(folder / "gr\xC3\xBC\xC3\x9F"
                            "e und mehr.jpg"),
            ada);
}

TEST_F(QrImageTest, LinkToAPictureIsRead) {
  ASSERT_EQ(symlink(picture("one.png").c_str(), (folder / "link").c_str()), 0);
  EXPECT_EQ(textIn(folder / "link"), ada);
}

TEST_F(QrImageTest, TransparentGroundCountsAsWhite) {
  EXPECT_EQ(textIn(picture("transparent.png")), ada);
}

TEST_F(QrImageTest, LargeCodeIsReadWhole) {
  std::string expected;
  for (int i = 0; i < 2000; ++i) expected += static_cast<char>('a' + i % 26);
  EXPECT_EQ(textIn(picture("large.png")), expected);
}

TEST_F(QrImageTest, TextOutsideAsciiIsReadAsItWasWritten) {
  EXPECT_EQ(textIn(picture("utf8.png")),
            "otpauth://totp/Gr\xC3\xBC\xC3\x9F"
            "e:ada?secret=JBSWY3DPEHPK3PXP");
}

TEST_F(QrImageTest, CanBeReadAgainAndAgain) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(textIn(picture("one.png")), ada);
    EXPECT_NE(errorFor(picture("none.png")), "");
  }
}

TEST_F(QrImageTest, PictureWithoutACodeIsSaid) {
  for (const char* name : {"none.png", "none.jpg"}) {
    const std::string error = errorFor(picture(name));
    EXPECT_TRUE(error.starts_with("No QR code")) << error;
  }
}

TEST_F(QrImageTest, CodeOfBytesThatAreNoTextIsSaid) {
  EXPECT_EQ(errorFor(picture("binary.png")),
            "The QR code in " + picture("binary.png") +
                " holds no text; use one that holds an otpauth:// URL");
}

TEST_F(QrImageTest, SeveralCodesAreRefused) {
  const std::string error = errorFor(picture("two.png"));
  EXPECT_NE(error.find("several"), std::string::npos) << error;
}

TEST_F(QrImageTest, WhatIsNoPictureIsRefused) {
  const std::string bytes[] = {"",
                               "otpauth://totp/x?secret=JBSWY3DPEHPK3PXP",
                               "GIF89a",
                               "\x89PNG\r\n\x1A\n",
                               "\xFF\xD8",
                               "\xFF\xD8\xFF\xE0",
                               "BM",
                               std::string(100000, '\0'),
                               std::string(100000, '\xFF')};
  for (const std::string& content : bytes) {
    const std::string error = errorFor(fileOf(content));
    EXPECT_NE(error.find("PNG or JPEG"), std::string::npos) << error;
  }
}

TEST_F(QrImageTest, TooLargePictureIsRefused) {
  const std::string error = errorFor(picture("large_area.png"));
  EXPECT_NE(error.find("too large an image; crop it"), std::string::npos) << error;
}

TEST_F(QrImageTest, DeclaredSizeAloneTakesNoMemory) {
  for (const char* name : {"huge.png", "wide.png"}) {
    EXPECT_NE(errorFor(picture(name)), "") << name;
  }
  // The frame header of a JPEG: FF C0, length, precision, height, width.
  std::string jpeg = readFile(picture("one.jpg"));
  const std::size_t frame = jpeg.find("\xFF\xC0");
  ASSERT_NE(frame, std::string::npos);
  jpeg.replace(frame + 5, 4, "\xFF\xDC\xFF\xDC");
  const std::string error = errorFor(fileOf(jpeg));
  EXPECT_FALSE(error.starts_with("No QR code")) << error;
}

TEST_F(QrImageTest, CutPicturesDoNoHarm) {
  for (const char* name : {"one.png", "one.jpg"}) {
    const std::string whole = readFile(picture(name));
    for (std::size_t size = 0; size < whole.size() - 2; size += whole.size() / 23) {
      const QrImage image = readQrImage(fileOf(whole.substr(0, size)));
      EXPECT_TRUE(image.error.empty() != image.text->empty()) << name << " " << size;
      EXPECT_TRUE(image.text->empty() || image.text.get() == ada) << name << " " << size;
    }
  }
}

TEST_F(QrImageTest, AlteredPicturesDoNoHarm) {
  for (const char* name : {"one.png", "one.jpg"}) {
    const std::string whole = readFile(picture(name));
    for (std::size_t at = 0; at < whole.size(); at += 1 + whole.size() / 97) {
      std::string altered = whole;
      altered[at] = static_cast<char>(~altered[at]);
      const QrImage image = readQrImage(fileOf(altered));
      EXPECT_TRUE(image.error.empty() != image.text->empty()) << name << " " << at;
    }
  }
}

TEST_F(QrImageTest, MissingFileIsSaid) {
  for (const char* name : {"missing.png", "missing/one.png"}) {
    const std::string error = errorFor(folder / name);
    EXPECT_TRUE(error.starts_with("There is no file")) << error;
  }
}

TEST_F(QrImageTest, EmptyPathIsAnError) {
  const QrImage image = readQrImage("");
  EXPECT_FALSE(image.error.empty());
  EXPECT_TRUE(image.text->empty());
}

TEST_F(QrImageTest, FolderIsRefused) {
  EXPECT_NE(errorFor(folder.path()), "");
}

TEST_F(QrImageTest, PipeIsRefusedAndDoesNotHang) {
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  inChild([&] { EXPECT_NE(errorFor(folder / "pipe"), ""); }, 10);
}

TEST_F(QrImageTest, EndlessDeviceIsRefused) {
  inChild([] { EXPECT_NE(errorFor("/dev/zero"), ""); }, 10);
}

TEST_F(QrImageTest, HugeFileIsRefused) {
  const std::string path = fileOf(readFile(picture("one.png")));
  ASSERT_EQ(truncate(path.c_str(), 64'000'001), 0);
  EXPECT_NE(errorFor(path).find("too large an image"), std::string::npos);
}

TEST_F(QrImageTest, UnreadableFileIsRefused) {
  const std::string path = fileOf(readFile(picture("one.png")));
  asOrdinaryUser(folder.path(), [&] {
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_NE(errorFor(path), "");
  });
}

TEST_F(QrImageTest, WithoutThePartThatReadsPicturesItSaysWhatToInstall) {
  const InstalledCopy copy;
  const std::string said = copy.outputOf("read '" + picture("one.png") + "'");
  EXPECT_NE(said.find("install"), std::string::npos) << said;
  EXPECT_EQ(said.find(ada), std::string::npos) << said;
}

}  // namespace
}  // namespace talvane::test
