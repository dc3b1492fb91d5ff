#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <QImage>
#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>

#include "tests/cli/planted_token.h"
#include "tests/desktop/desktop.h"
#include "tests/secret_service/bus_client.h"
#include "tests/support/demo_server.h"

namespace talvane::test {
namespace {

/// Pictures of the views, to be looked at; at this many device pixels a point.
class PictureTest : public DesktopTest, public ::testing::WithParamInterface<int> {
 protected:
  PictureTest() { scale_ = GetParam(); }

  // Once the panel is this high and has been painted.
  void take(const std::string& name, int height) {
    const auto isThere = [&] {
      const auto shown = panel();
      return shown && shown->place.height == height * scale_ && shown->place.y == 22 * scale_;
    };
    ASSERT_TRUE(until(isThere)) << name;
    takeOf(name, panel()->place);
  }

  void takeOf(const std::string& name, const Rectangle& place) {
    Picture picture;
    // What is unpainted is of one colour, at the lower end too.
    const auto isPainted = [&] {
      picture = screen().picture(place);
      const auto& pixels = picture.pixels;
      const auto band = pixels.end() - place.width * 20 * scale_;
      return !pixels.empty() &&
             std::adjacent_find(pixels.begin(), pixels.end(), std::not_equal_to<>()) !=
                 pixels.end() &&
             std::adjacent_find(band, pixels.end(), std::not_equal_to<>()) != pixels.end();
    };
    ASSERT_TRUE(until(isPainted)) << name;
    ASSERT_EQ(picture.width, place.width);
    ASSERT_EQ(picture.height, place.height);
    const QImage image(reinterpret_cast<const uchar*>(picture.pixels.data()), picture.width,
                       picture.height, QImage::Format_RGB32);
    std::filesystem::create_directories(SCREENSHOTS);
    const std::string file =
        std::string(SCREENSHOTS) + "/" + name + "-" + std::to_string(scale_) + "x.png";
    ASSERT_TRUE(image.save(QString::fromStdString(file))) << file;
    EXPECT_GT(std::filesystem::file_size(file), 0U);
  }

  // Its windows are the alert and the icon, and the panel if that is open.
  void takeAlert(const std::string& name) {
    ASSERT_NE(alert(), "");
    const auto panel_now = panel();
    for (const ShownWindow& window : screen().windowsOf("softtoken")) {
      const bool is_icon = window.place.height < 60 * scale_;
      if (is_icon || (panel_now && window.id == panel_now->id)) continue;
      takeOf(name, window.place);
    }
  }

  // The keyboard is in the field of the user's name.
  void signIn(const std::string& user) {
    screen().key("ctrl+a");
    screen().type(user);
    screen().key("Tab");
    ASSERT_TRUE(focusComesTo("Microsoft Password"));
    screen().type("any");
    ASSERT_TRUE(until([&] { return button("Submit").isEnabled(); }));
    press("Submit");
  }

  void press(const std::string& name) { reader_->press(button(name)); }
};

TEST_P(PictureTest, Tokens) {
  start();
  openPanel();
  ASSERT_TRUE(comesToShow(Role::push_button, "Add"));
  take("tokens-0", 128);
  clickIcon();
  ASSERT_TRUE(closes());
  add("Mail");
  openPanel();
  ASSERT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
  take("tokens-1", 156);
  clickIcon();
  ASSERT_TRUE(closes());
  add("VPN of the office with a name that is too long for its row", other_seed_16, 60);
  add("Bank", "KRSXG5CTMVRXEZLU");
  openPanel();
  ASSERT_TRUE(comesToShow(Role::push_button, "Copy: Bank"));
  take("tokens-3", 300);
}

TEST_P(PictureTest, Finding) {
  add("Bank");
  add("Work mail", other_seed_16);
  add("Éclair mail", "KRSXG5CTMVRXEZLU");
  start();
  openPanel();
  ASSERT_TRUE(focusComesTo("Copy: Bank"));
  screen().type("mail");
  ASSERT_TRUE(comesToShow(Role::label, "mail"));
  take("found", 300);
  screen().type("box");
  ASSERT_TRUE(comesToSay("No token has"));
  take("none-found", 300);
}

TEST_P(PictureTest, NextPasscode) {
  add("Work mail", other_seed_16);
  add("Bank");
  start();
  openPanel();
  const auto is_near = [] { return std::time(nullptr) % 30 >= 26 && std::time(nullptr) % 30 < 29; };
  ASSERT_TRUE(until(is_near, std::chrono::seconds(31)));
  take("next", 228);
}

TEST_P(PictureTest, Management) {
  add("Mail");
  add("VPN of the office with a name that is too long for its row");
  add("Bank");
  start();
  openPanel();
  press("Edit");
  ASSERT_TRUE(comesToShow(Role::text, "Description: Bank"));
  screen().key("Tab");
  screen().key("space");
  ASSERT_TRUE(until([&] { return thing(Role::check_box, "Delete: Mail").isChecked(); }));
  take("management", 176);
}

TEST_P(PictureTest, ResponseCodesAndOrder) {
  add("Mail");
  add("Bank", seed_13);
  add("Post", other_seed_16);
  start();
  openPanel();
  press("Edit");
  ASSERT_TRUE(comesToShow(Role::push_button, "Response code: Bank"));
  take("management-response", 176);
  screen().key("alt+Down");
  const auto line = [&](const char* name) { return thing(Role::text, name).place.y; };
  ASSERT_TRUE(until([&] { return line("Description: Bank") < line("Description: Mail"); }));
  take("management-moved", 176);
}

TEST_P(PictureTest, NameThatCannotBeSaved) {
  add("Mail");
  start();
  openPanel();
  press("Edit");
  ASSERT_TRUE(focusComesTo("Description: Mail"));
  screen().key("ctrl+a");
  screen().key("Delete");
  press("Close");
  takeAlert("name-not-saved");
}

TEST_P(PictureTest, QuestionBeforeATokenIsReplaced) {
  add("Mail");
  start();
  openPanel();
  press("Add");
  press("Enter manually");
  ASSERT_TRUE(focusComesTo("Enter a description"));
  screen().type("Mail");
  screen().key("Tab");
  screen().type(other_seed_16);
  press("OK");
  takeAlert("clash");
}

TEST_P(PictureTest, Adding) {
  start();
  openPanel();
  press("Add");
  ASSERT_TRUE(comesToShow(Role::push_button, "Enter manually"));
  take("add", 160);
  press("Enter manually");
  ASSERT_TRUE(focusComesTo("Enter a description"));
  screen().type("Mail");
  screen().key("Tab");
  ASSERT_TRUE(focusComesTo("Enter your 13 or 16 character key"));
  screen().type(seed_13);
  ASSERT_TRUE(until([&] { return textIn("Enter your 13 or 16 character key") == seed_13; }));
  take("manual", 200);
  press("OK");
  ASSERT_TRUE(comesToShow(Role::text, "Your response code"));
  take("response", 200);
}

TEST_P(PictureTest, Enrolment) {
  const TemporaryFolder folder;
  const DemoServer server(folder);
  more_environment_ = {"SSL_CERT_FILE=" + server.certificate()};
  setSettings("AllowHTTP=yes\nEnrolURL=" + server.http() + "/password\n");
  start();
  openPanel();
  press("Add");
  ASSERT_TRUE(focusComesTo("Username"));
  take("sign-in", 270);
  if (scale_ == 1) {
    signIn("kim");
    ASSERT_TRUE(focusComesTo("Please choose an 8-character PIN."));
    screen().type("1928");
    take("pin-and-questions", 460);
    screen().type("3746");
    take("good-pin-and-questions", 460);
  } else {
    // What fits onto the screen.
    signIn("ines");
    ASSERT_TRUE(focusComesTo("Answer 1"));
    screen().type("fido");
    take("questions", 270);
  }
  press("Cancel");
  ASSERT_TRUE(comesToShow(Role::push_button, "Add"));
  press("Add");
  ASSERT_TRUE(focusComesTo("Username"));
  signIn("fred");
  ASSERT_TRUE(comesToSay("Your account is locked"));
  take("refusal", 270);
  press("Cancel");
  ASSERT_TRUE(comesToShow(Role::push_button, "Add"));
  press("Add");
  ASSERT_TRUE(focusComesTo("Username"));
  signIn("eva");
  ASSERT_TRUE(comesToSay("Enter the letters"));
  take("challenge", 270);
  quit();
  setSettings("AllowHTTP=yes\nEnrolURL=" + server.http() + "/https\n");
  start();
  openPanel();
  press("Add");
  ASSERT_TRUE(focusComesTo("Username"));
  take("sign-in-over-https", 270);
}

TEST_P(PictureTest, Help) {
  setSettings("AllowManual=true\nShortcut=Ctrl+Alt+Shift+Super+Print\n");
  start();
  openPanel();
  press("Help");
  ASSERT_TRUE(comesToShow(Role::push_button, "Shortcut: Ctrl+Alt+Shift+Super+Print"));
  take("help", 246);
}

TEST_P(PictureTest, Trouble) {
  session_.startDaemon("open sesame");
  ASSERT_EQ(
      commandLine({"--keychain", "secret-service", "add", "Mail"}, seed_16 + std::string("\n"))
          .exit_code,
      0);
  session_.killDaemon();
  start();
  clickIcon();
  ASSERT_TRUE(opens());
  ASSERT_TRUE(comesToSay("keychain service"));
  takeOf("trouble", panel()->place);
}

TEST_P(PictureTest, ListThatIsCutShortOrLocked) {
  session_.startDaemon("open sesame");
  for (const char* name : {"Mail", "VPN", "Bank", "Post"}) {
    const Ended ended =
        commandLine({"--keychain", "secret-service", "add", name}, seed_16 + std::string("\n"));
    ASSERT_EQ(ended.exit_code, 0) << ended.err;
  }
  talvane::testing::BusClient client;
  const std::string collection = client.defaultCollection();
  const std::string account = getpwuid(getuid())->pw_name;
  for (const std::string& item : client.findItems("TalvaneSoftToken5021", account)) {
    client.call("org.freedesktop.secrets", item, "org.freedesktop.Secret.Item", "Delete", nullptr);
  }
  client.addItem(collection, "TalvaneSoftToken5021", account, "AAAA");
  start();
  openPanel();
  ASSERT_TRUE(comesToSay("slot 1 is damaged and hides the 2 tokens after it"));
  takeOf("cut-short", panel()->place);
  clickIcon();
  ASSERT_TRUE(closes());
  client.lock(collection);
  openPanel();
  ASSERT_TRUE(comesToShow(Role::push_button, "Unlock"));
  takeOf("locked", panel()->place);
}

TEST_P(PictureTest, RecordOfAnotherComputer) {
  add("Mail");
  plantForeignToken(path("data/softtoken"), "VPN", 1);
  plantForeignToken(path("data/softtoken"), "Bank", 2);
  start();
  openPanel();
  ASSERT_TRUE(comesToSay("slot 1"));
  takeOf("foreign", panel()->place);
}

TEST_P(PictureTest, Question) {
  forgetAnswers();
  start();
  takeAlert("question");
}

INSTANTIATE_TEST_SUITE_P(Scales, PictureTest, ::testing::Values(1, 2));

}  // namespace
}  // namespace talvane::test
