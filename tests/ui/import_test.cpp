// What comes from outside the panel: links, images, and the requests of other starts.

#include <QDragEnterEvent>
#include <QMimeData>
#include <QUrl>
#include <chrono>

#include "tests/ui/app_test.h"

namespace talvane {
namespace {

using test::AlertUser;
using test::Lines;

class ImportTest : public AppTest {
 protected:
  static constexpr const char* link =
      "otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&period=60&display=My+Mail";

  void answer(const std::string& button) { alerts.answers.push_back(AlertUser::press(button)); }
  void dropImage(const std::string& name) {
    QMimeData content;
    content.setUrls({QUrl::fromLocalFile(QString::fromStdString(PICTURES + ("/" + name)))});
    drop(content);
    waitForImage();
  }
  void waitForImage() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (app().readsImage() && std::chrono::steady_clock::now() < deadline) turnEventLoop();
    ASSERT_FALSE(app().readsImage());
  }
  void drop(const QMimeData& content) {
    panel()->dropped(content);
    turnEventLoop();
  }
};

TEST_F(ImportTest, LinkIsStoredAfterYes) {
  clock = 65;
  app();
  answer("YES");
  app().importLink(QString::fromLatin1(link));
  EXPECT_EQ(alerts.texts(),
            (Lines{"Add the token \"My Mail\", with a new passcode every 60 seconds?"}));
  EXPECT_EQ(alerts.seen[0].default_button, "NO");
  EXPECT_EQ(storedNames(), (Lines{"Work|My Mail"}));
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(codes(), (Lines{"263420"}));
}

TEST_F(ImportTest, LinkIsNotStoredAfterNo) {
  app();
  answer("NO");
  app().importLink(QString::fromLatin1(link));
  EXPECT_EQ(storedNames(), Lines());
  EXPECT_EQ(openView(), "");
}

TEST_F(ImportTest, ReturnAnswersNo) {
  app();
  alerts.answers.emplace_back(AlertUser::pressReturn);
  app().importLink(QString::fromLatin1(link));
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ImportTest, OpenPanelChangesToTheTokens) {
  show("hv");
  answer("YES");
  app().importLink(QString::fromLatin1(link));
  EXPECT_EQ(openView(), "tv");
}

TEST_F(ImportTest, ReplacingIsSaid) {
  store("Work", seed2);
  app();
  answer("YES");
  app().importLink(QStringLiteral("otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ"));
  EXPECT_EQ(alerts.texts(),
            (Lines{"Replace the stored token \"Work\"? It will be deleted.\n\n"
                   "The new token is \"Work\", with a new passcode every 30 seconds."}));
  EXPECT_EQ(storedNames(), (Lines{"Work"}));
}

TEST_F(ImportTest, TokenThatWouldGoIsNamedAsTheUserKnowsIt) {
  store("Work", seed2);
  renameStored(0, "My work");
  app();
  answer("NO");
  app().importLink(QStringLiteral("otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&display=Bank%251"));
  EXPECT_EQ(alerts.texts(),
            (Lines{"Replace the stored token \"My work\"? It will be deleted.\n\n"
                   "The new token is \"Bank%1\", with a new passcode every 30 seconds."}));
  EXPECT_EQ(storedNames(), (Lines{"Work|My work"}));
}

TEST_F(ImportTest, TokenStoredWhileTheQuestionIsOpenStays) {
  app();
  alerts.answers.push_back([this](QMessageBox& box) {
    store("Work", seed2);
    AlertUser::press("YES")(box);
  });
  app().importLink(QString::fromLatin1(link));
  ASSERT_EQ(alerts.seen.size(), 2U);
  EXPECT_EQ(alerts.seen[1].text, "Slot 0 already holds the token \"Work\"");
  EXPECT_EQ(storedNames(), (Lines{"Work"}));
}

TEST_F(ImportTest, ThirteenCharactersShowTheResponse) {
  clock = 1974055557;
  app();
  answer("YES");
  app().importLink(QStringLiteral("otpauth://totp/Work?secret=UH7XKZFDVCTPT"));
  EXPECT_EQ(openView(), "rv");
  EXPECT_EQ(find<QLineEdit>("rvcode")->text(), QStringLiteral("ERYLAECA"));
}

TEST_F(ImportTest, LinksThatCannotBeStoredAreTold) {
  const std::pair<const char*, const char*> links[] = {
      {"https://example.org", "This is not an otpauth:// URL; use the URL or QR code of a token"},
      {"", "This is not an otpauth:// URL; use the URL or QR code of a token"},
      {"otpauth://hotp/a?secret=GEZDGNBVGY3TQOJQ",
       "This URL is for another type of token; use an otpauth://totp/ URL"},
      {"otpauth://totp/a", "The URL has no secret; get a complete URL"},
      {"otpauth://totp/a?secret=GEZDGNBVGY3TQOJQ&period=45",
       "The URL's period is neither 30 nor 60 seconds; ask for another URL"},
      {"otpauth://totp/a?secret=GEZDGNBVGY3TQOJQ&digits=8&algorithm=SHA256",
       "This URL asks for passcodes of 8 digits, and this program makes 6 only; ask for another "
       "URL"},
      {"otpauth://totp/?secret=GEZDGNBVGY3TQOJQ",
       "The name is empty; enter at least one character other than |"}};
  app();
  for (const auto& [text, words] : links) {
    alerts.seen.clear();
    app().importLink(QString::fromLatin1(text));
    EXPECT_EQ(alerts.texts(), (Lines{words})) << text;
  }
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ImportTest, SeedThatIsRefusedIsToldAtOnce) {
  app();
  app().importLink(QStringLiteral("otpauth://totp/a?secret=GEZDGNBVGY3TQO"));
  EXPECT_EQ(alerts.texts(), (Lines{"Invalid seed length"}));
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ImportTest, NothingIsImportedWhereManualEntryIsOff) {
  setSettings("AllowManual=0\n");
  app();
  app().importLink(QString::fromLatin1(link));
  app().importImage(QStringLiteral("/none.png"));
  EXPECT_EQ(storedNames(), Lines());
  ASSERT_EQ(alerts.seen.size(), 2U);
  for (const std::string& text : alerts.texts()) {
    EXPECT_NE(text.find("AllowManual"), std::string::npos) << text;
  }
}

TEST_F(ImportTest, LockedKeychainTakesNothing) {
  const auto lock = [this] {
    fault = [](test::FaultyKeychain::Call /*call*/) {
      return KeychainStatus::interaction_not_allowed;
    };
  };
  lock();
  app();
  app().importLink(QString::fromLatin1(link));
  EXPECT_EQ(alerts.texts(), (Lines{"words for -25308 [-25308]"}));
  fault = nullptr;
  alerts.seen.clear();
  // While the question is open.
  alerts.answers.push_back([&](QMessageBox& box) {
    lock();
    AlertUser::press("YES")(box);
  });
  app().importLink(QString::fromLatin1(link));
  fault = nullptr;
  ASSERT_EQ(alerts.seen.size(), 2U);
  EXPECT_EQ(alerts.seen[1].text, "words for -25308 [-25308]");
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ImportTest, LinkThatComesWhileAnAlertIsOpenIsPassedOver) {
  show("tv");
  alerts.answers.push_back([this](QMessageBox& box) {
    app().importLink(QString::fromLatin1(link));
    AlertUser::pressEscape(box);
  });
  app().simpleMessageBox(QStringLiteral("text"));
  EXPECT_EQ(alerts.texts(), (Lines{"text"}));
}

TEST_F(ImportTest, PictureThatIsNotThereIsTold) {
  app();
  app().importImage(QString::fromStdString(home.home() + "/none.png"));
  EXPECT_EQ(alerts.seen.size(), 0U) << "a worker reads it";
  waitForImage();
  EXPECT_EQ(alerts.seen.size(), 1U);
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ImportTest, DroppedLinkIsOffered) {
  show("tv");
  answer("YES");
  QMimeData content;
  content.setText(QString::fromLatin1(link) + QLatin1Char('\n'));
  drop(content);
  EXPECT_EQ(storedNames(), (Lines{"Work|My Mail"}));
}

TEST_F(ImportTest, WhatIsDroppedStaysWhereItWas) {
  show("tv");
  QMimeData content;
  content.setText(QString::fromLatin1(link));
  QDragEnterEvent entering(QPoint(100, 60), Qt::CopyAction | Qt::MoveAction, &content,
                           Qt::LeftButton, Qt::NoModifier);
  entering.setDropAction(Qt::MoveAction);
  QApplication::sendEvent(panel(), &entering);
  EXPECT_TRUE(entering.isAccepted());
  EXPECT_EQ(entering.dropAction(), Qt::CopyAction);
  QDragEnterEvent moving(QPoint(100, 60), Qt::MoveAction, &content, Qt::LeftButton, Qt::NoModifier);
  moving.ignore();
  QApplication::sendEvent(panel(), &moving);
  EXPECT_FALSE(moving.isAccepted());
}

TEST_F(ImportTest, DroppedPicturesAreOffered) {
  show("tv");
  for (const char* name : {"token.png", "token.jpg"}) {
    answer("YES");
    dropImage(name);
  }
  EXPECT_EQ(alerts.texts(),
            (Lines{"Add the token \"From picture\", with a new passcode every 60 seconds?",
                   "Add the token \"From photo\", with a new passcode every 30 seconds?"}));
  EXPECT_EQ(storedNames(), (Lines{"From picture", "From photo"}));
}

TEST_F(ImportTest, PicturesWithoutTheOneCodeOfATokenAreTold) {
  show("tv");
  const std::pair<const char*, const char*> pictures[] = {
      {"no_code.png", "No QR code"}, {"two_codes.png", "several"}, {"other_text.png", "otpauth"}};
  for (const auto& [name, words] : pictures) {
    alerts.seen.clear();
    dropImage(name);
    ASSERT_EQ(alerts.seen.size(), 1U) << name;
    EXPECT_NE(alerts.seen[0].text.find(words), std::string::npos) << alerts.seen[0].text;
  }
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ImportTest, ProgramEndsWhileAnImageIsRead) {
  app().importImage(QString::fromUtf8(PICTURES "/token.png"));
  EXPECT_TRUE(app().readsImage());
}

TEST_F(ImportTest, ImageThatIsReadWhenAnAlertOpensIsPassedOver) {
  app().importImage(QString::fromUtf8(PICTURES "/token.png"));
  alerts.answers.push_back([this](QMessageBox& box) {
    waitForImage();
    AlertUser::pressEscape(box);
  });
  app().simpleMessageBox(QStringLiteral("text"));
  EXPECT_EQ(alerts.texts(), (Lines{"text"}));
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(ImportTest, OtherThingsDroppedGetAHint) {
  show("tv");
  QMimeData content;
  content.setText(QStringLiteral("hello"));
  drop(content);
  EXPECT_EQ(alerts.texts(),
            (Lines{"Drop an otpauth:// link here, or an image of its QR code (PNG or JPEG)"}));
}

TEST_F(ImportTest, RequestsOfOtherStarts) {
  app();
  app().perform(QStringLiteral("start"));
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  app().perform(QStringLiteral("toggle"));
  turnEventLoop();
  EXPECT_EQ(openView(), "");
  answer("YES");
  app().perform(QStringLiteral("open ") + QString::fromLatin1(link));
  EXPECT_EQ(storedNames(), (Lines{"Work|My Mail"}));
}

}  // namespace
}  // namespace talvane
