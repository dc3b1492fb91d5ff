// Whether what the languages say fits where the panel says it.

#include <gtest/gtest.h>

#include <QFontMetrics>
#include <QRegularExpression>

#include <filesystem>

#include "config/ini.h"
#include "enrol/enrol_layout.h"
#include "platform/translation.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/ui/app_test.h"
#include "ui/kit/look.h"
#include "ui/panel/panel_geometry.h"

namespace talvane {
namespace {

class LanguagesTest : public testing::TestWithParam<std::string_view> {
 protected:
  LanguagesTest()
      : catalogue_(GetParam(), std::string(CATALOGUES) + '/' + std::string(GetParam()) +
                                   "/LC_MESSAGES/softtoken.mo"),
        ini_(defaults_, {"/none", "/none", BUNDLE, "", 0, std::string(GetParam())}) {
    ini_.read();
  }

  [[nodiscard]] std::string own(const char* english) const {
    const std::string_view text = catalogue_.find(english);
    EXPECT_TRUE(text != english || text == "OK" || text == "NO") << english;
    return std::string(text);
  }

  // The text with this value for each "{}" and "$NAME$" of it.
  static std::string with(const std::string& text, const std::string& value) {
    QString filled = QString::fromStdString(text);
    static const QRegularExpression placeholder(QStringLiteral("\\{\\d?\\}"));
    static const QRegularExpression name(QStringLiteral("\\$[A-Z_]+\\$"));
    filled.replace(text.find('$') == std::string::npos ? placeholder : name,
                   QString::fromStdString(value));
    return filled.toStdString();
  }

  static int width(const std::string& text, int size = 12) {
    return QFontMetrics(panelFont(size)).horizontalAdvance(QString::fromStdString(text));
  }

  static int height(const std::string& text, int room) {
    const QRect all(0, 0, room, 1000);
    return QFontMetrics(panelFont(12))
        .boundingRect(all, Qt::TextWordWrap, QString::fromStdString(text))
        .height();
  }

  test::MemoryUserDefaults defaults_;
  Catalogue catalogue_;
  Ini ini_;
};

TEST_P(LanguagesTest, ToolbarTextsFit) {
  constexpr int toolbar_button = 80 - 4;
  for (const std::string& text :
       {ini_.StrButtonEdit, ini_.StrButtonHelp, ini_.StrButtonAdd, ini_.StrButtonHome,
        ini_.StrButtonDelete, own("Cancel"), own("Submit"), own("OK")}) {
    EXPECT_LE(width(text), toolbar_button) << text;
  }
  // Its letters may be smaller.
  EXPECT_LE(width(ini_.StrButtonCopy, 10), 48 - 4) << ini_.StrButtonCopy;
}

TEST_P(LanguagesTest, TilesAndLabelsFit) {
  for (const std::string& text :
       {ini_.StrGettingStarted, ini_.StrManage, ini_.StrStartupAdd, ini_.StrStartupRemove,
        ini_.StrMenuExit, own("About"), own("Enrol from a server"), own("Enter manually")}) {
    EXPECT_LE(width(text), 212 - 4) << text;
  }
  for (const std::string& text : {ini_.StrManualDesc, ini_.StrManualSeed, own("Your response code"),
                                  ini_.StrSecretQuestions}) {
    EXPECT_LE(width(text), 236) << text;
  }
  // Beside them there must be room for what is typed.
  for (const std::string& text : {ini_.StrUsername, ini_.StrPassword, ini_.StrPasscode}) {
    EXPECT_LE(width(text), 140) << text;
  }
}

TEST_P(LanguagesTest, ParagraphsFit) {
  EXPECT_LE(height(own("Give this code to your administrator: the server needs it to accept your "
                       "passcodes."),
                   236),
            46);
  EXPECT_LE(height(ini_.StrGetURL, 240), 54) << ini_.StrGetURL;
  EXPECT_LE(height(ini_.StrEnrolPrompt, 240), 56) << ini_.StrEnrolPrompt;
  const std::string prompt =
      with(own("Please choose $EN_INDEFINITE_ARTICLE$ $PINLENGTH$-character PIN. "), "16");
  EXPECT_LE(height(prompt, 240), 20) << prompt;
  const std::string rule =
      with(own("{} (Must contain at least $UPPERCASE$ uppercase and at least $LOWERCASE$ lowercase "
               "characters)."),
           "2");
  EXPECT_LE(height(with(rule, prompt), 240), 60) << rule;
}

TEST_P(LanguagesTest, ShortcutsFit) {
  // Their letters may be smaller.
  for (const std::string& text :
       {own("Shortcut: none"), with(own("Shortcut: {}"), "Ctrl+Alt+T"),
        own("Shortcut does not work"), with(own("{} does not work"), "Ctrl+Alt+T"),
        own("Press a key combination"), own("Add Ctrl, Alt or Super")}) {
    EXPECT_LE(width(text, 10), toolbarButtonFrame(ToolbarSlot::wide).width - 4) << text;
  }
}

TEST_P(LanguagesTest, NextAndUnlockFit) {
  EXPECT_LE(width(own("Next"), 11), 58) << own("Next");
  EXPECT_LE(width(own("Unlock")), 100 - 4) << own("Unlock");
}

// Why a PIN is refused stands in a field.
TEST_P(LanguagesTest, RefusalsOfPinsFit) {
  for (const char* one :
       {"{} more character", "At least {} uppercase letter", "At least {} lowercase letter"}) {
    for (const std::uint64_t number : {1U, 2U, 16U}) {
      const std::string text = with(std::string(catalogue_.find(one, one, number)), "16");
      EXPECT_LE(width(text), 240 - 12) << text;
    }
  }
  for (const char* text :
       {"Too long", "Too weak: a rising sequence", "Too weak: a falling sequence",
        "Too weak: all characters are the same", "Type the PIN again"}) {
    EXPECT_LE(width(own(text)), 240 - 12) << own(text);
  }
}

TEST_P(LanguagesTest, HintsFit) {
  for (const char* hint :
       {"No tokens yet. Press {} to enrol at a server or type a key, or drop a link or QR code "
        "image here.",
        "No tokens yet. Press {} to type a key, or drop a link or QR code image here.",
        "No tokens yet. Press {} to enrol at a server.",
        "No tokens yet. You cannot add any here; ask your administrator how to get one."}) {
    const std::string text = with(own(hint), ini_.StrButtonAdd);
    EXPECT_LE(height(text, 236), 120) << text;
  }
}

class RightToLeftTest : public AppTest {
 protected:
  ~RightToLeftTest() override { QGuiApplication::setLayoutDirection(Qt::LeftToRight); }
};

// Wherever its name is read from, a token's row stays as it is.
TEST_F(RightToLeftTest, NamesKeepTheirPlace) {
  store("\u05d3\u05d5\u05d0\u05e8");
  store("Mail");
  for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
    QGuiApplication::setLayoutDirection(direction);
    show("tv");
    ASSERT_EQ(all<QLabel>("tvdesc").size(), 2U);
    for (const QLabel* name : all<QLabel>("tvdesc")) {
      EXPECT_EQ(frameOf(name->geometry()), description_frame);
      EXPECT_EQ(name->alignment(), Qt::AlignCenter);
    }
    for (const QWidget* copy : all<QWidget>("tvcopy")) {
      EXPECT_EQ(frameOf(copy->geometry()), copy_button_frame);
    }
    EXPECT_EQ(frameInPanel(button("tvconfig")).x, toolbarButtonFrame(ToolbarSlot::left).x);
  }
}

INSTANTIATE_TEST_SUITE_P(Languages, LanguagesTest, testing::ValuesIn(languages),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace talvane
