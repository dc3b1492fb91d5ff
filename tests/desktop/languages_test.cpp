#include <gtest/gtest.h>

#include <QImage>
#include <filesystem>

#include "config/ini.h"
#include "platform/translation.h"
#include "tests/desktop/desktop.h"
#include "tests/support/memory_user_defaults.h"

namespace talvane::test {
namespace {

/// The program in each language, with pictures of its views to be looked at.
class LanguageTest : public DesktopTest, public ::testing::WithParamInterface<std::string_view> {
 protected:
  LanguageTest()
      : catalogue_(GetParam(),
                   std::string(CATALOGUES) + '/' + language() + "/LC_MESSAGES/softtoken.mo"),
        ini_(defaults_, {"/none", "/none", BUNDLE, "", 0, language()}) {
    locale_ = language() + ".UTF-8";
    ini_.read();
  }

  // The toolkit complains of a locale that is not installed.
  void TearDown() override {}

  [[nodiscard]] static std::string language() { return std::string(GetParam()); }
  [[nodiscard]] std::string own(const char* english) const {
    return std::string(catalogue_.find(english));
  }

  void take(const std::string& view) {
    Picture picture;
    std::size_t same = 0;
    // Twice the same: nothing rolls any longer.
    ASSERT_TRUE(until([&] {
      const auto shown = panel();
      if (!shown) return false;
      Picture now = screen().picture(shown->place);
      same = now.pixels == picture.pixels ? same + 1 : 0;
      picture = std::move(now);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      return same == 2 && !picture.pixels.empty();
    })) << view;
    const QImage image(reinterpret_cast<const uchar*>(picture.pixels.data()), picture.width,
                       picture.height, QImage::Format_RGB32);
    std::filesystem::create_directories(SCREENSHOTS);
    const std::string file =
        std::string(SCREENSHOTS) + "/language-" + language() + '-' + view + ".png";
    ASSERT_TRUE(image.save(QString::fromStdString(file))) << file;
  }

  MemoryUserDefaults defaults_;
  Catalogue catalogue_;
  Ini ini_;
};

TEST_P(LanguageTest, Speaks) {
  setSettings("AllowManual=true\nAllowTaEnrol=false\n");
  add("Mail");
  // From right to left, in its place all the same.
  add("\u05d3\u05d5\u05d0\u05e8 \u0628\u0631\u064a\u062f");
  start();
  openPanel();
  ASSERT_TRUE(comesToShow(Role::push_button, ini_.StrButtonCopy + ": Mail"));
  EXPECT_TRUE(shows(Role::push_button, own("Close")));
  take("home");
  clickButton(ini_.StrButtonEdit);
  ASSERT_TRUE(comesToShow(Role::text, own("Description: ") + "Mail"));
  take("edit");
  clickButton(ini_.StrButtonHome);
  ASSERT_TRUE(comesToShow(Role::push_button, ini_.StrButtonHelp));
  clickButton(ini_.StrButtonHelp);
  ASSERT_TRUE(comesToShow(Role::push_button, own("About")));
  EXPECT_TRUE(shows(Role::push_button, ini_.StrStartupAdd));
  take("help");
  clickButton(ini_.StrButtonHome);
  ASSERT_TRUE(comesToShow(Role::push_button, ini_.StrButtonAdd));
  clickButton(ini_.StrButtonAdd);
  ASSERT_TRUE(comesToShow(Role::push_button, own("Cancel")));
  EXPECT_TRUE(shows(Role::label, ini_.StrManualSeed));
  take("manual");
}

// A passcode is no text: scripts read it, and the log.
TEST_P(LanguageTest, LeavesWhatMachinesReadInEnglish) {
  setSettings("AllowManual=true\nDebug=true\n");
  const Ended help = commandLine({"--help"});
  EXPECT_EQ(help.exit_code, 0);
  EXPECT_NE(help.out.find(own("List the tokens, without passcodes").substr(0, 12)),
            std::string::npos)
      << help.out;
  add("Mail");
  EXPECT_EQ(storedNames(), Strings{"Mail"});
  const std::string trace = readFile(path("home/softtoken.txt"));
  EXPECT_NE(trace.find("Debug started"), std::string::npos);
  const Ended none = commandLine({"code", "none"});
  EXPECT_EQ(none.exit_code, 3);
  EXPECT_EQ(none.err, "softtoken-cli: " +
                          fmt::format(fmt::runtime(own("No token \"{}\"; `softtoken-cli list` "
                                                       "shows the names and slots")),
                                      "none") +
                          '\n');
}

INSTANTIATE_TEST_SUITE_P(Languages, LanguageTest, ::testing::ValuesIn(languages),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace talvane::test
