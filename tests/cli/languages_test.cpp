// The command line in each language.

#include <fmt/args.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "cli/terminal.h"
#include "engine/text.h"
#include "platform/translation.h"
#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  for (const std::string_view line : split(text, '\n')) {
    if (!line.empty()) lines.emplace_back(line);
  }
  return lines;
}

// The column at which the part of the line begins; -1 if it is not there.
int columnOf(const std::string& line, const std::string& part) {
  const std::size_t place = line.find(part);
  return place == std::string::npos ? -1 : static_cast<int>(columnsOf(line.substr(0, place)));
}

class CliLanguagesTest : public testing::TestWithParam<std::string_view> {
 protected:
  CliLanguagesTest()
      : catalogue_(GetParam(), std::string(CATALOGUES) + '/' + std::string(GetParam()) +
                                   "/LC_MESSAGES/softtoken.mo") {}

  // From here on the command line speaks the language.
  void speak() {
    std::replace(home_.environment.begin(), home_.environment.end(), std::string("LC_ALL=C.UTF-8"),
                 "LC_ALL=" + std::string(GetParam()) + ".UTF-8");
  }

  [[nodiscard]] std::string own(const char* english) const {
    return std::string(catalogue_.find(english));
  }
  [[nodiscard]] std::string out(const Strings& arguments) const {
    const Ended ended = home_.run(arguments);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    return ended.out;
  }

  CliHome home_;
  Catalogue catalogue_;
};

TEST_P(CliLanguagesTest, TableOfNamesStandsInColumns) {
  home_.add("Mail");
  home_.add("\u4ed5\u4e8b\u306e\u30e1\u30fc\u30eb", other_seed_16, 60);
  speak();
  const auto lines = linesOf(out({"list"}));
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[0].starts_with(own("SLOT") + ' ')) << lines[0];
  const int name = columnOf(lines[0], ' ' + own("NAME") + ' ') + 1;
  EXPECT_EQ(columnOf(lines[1], "Mail"), name);
  EXPECT_EQ(columnOf(lines[2], "\u4ed5"), name);
  const int created_as = columnOf(lines[0], own("CREATED AS"));
  EXPECT_GT(created_as, name);
  EXPECT_EQ(static_cast<int>(columnsOf(lines[1])), created_as + 4);
  EXPECT_EQ(static_cast<int>(columnsOf(lines[2])), created_as + 12);
  // The period ends where its heading does, or the numbers do.
  const int period = columnOf(lines[0], own("PERIOD"));
  EXPECT_GT(columnOf(lines[1], "30 s"), period - 1);
}

TEST_P(CliLanguagesTest, TableOfPasscodesStandsInColumns) {
  home_.add("Mail");
  speak();
  const auto lines = linesOf(out({"watch"}));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(columnOf(lines[1], "Mail"), columnOf(lines[0], ' ' + own("NAME") + ' ') + 1);
  const int passcode = columnOf(lines[0], own("PASSCODE"));
  ASSERT_GT(passcode, 0);
  const std::string row = lines[1];
  EXPECT_EQ(row.find_first_of("0123456789", row.find("Mail")), static_cast<std::size_t>(passcode));
  const int valid = columnOf(lines[0], own("VALID"));
  EXPECT_EQ(row.size(), static_cast<std::size_t>(valid) + 4);  // "30 s"
}

TEST_P(CliLanguagesTest, SettingsNameTheLanguageAsTheSource) {
  home_.setSettings("StrButtonAdd=Plus\n");
  speak();
  const std::string table = out({"settings"});
  for (const std::string& line : linesOf(table)) {
    EXPECT_EQ(columnOf(line, "  " + own("language") + "  ") > 0,
              line.starts_with("Str") && !line.starts_with("StrButtonAdd "))
        << line;
    EXPECT_FALSE(line.starts_with("StrButtonEdit ") && line.ends_with(" Edit")) << line;
  }
  EXPECT_NE(table.find("  " + own("file") + ' '), std::string::npos) << table;
  EXPECT_NE(table.find("  " + own("default") + ' '), std::string::npos) << table;
  const auto json = nlohmann::json::parse(out({"settings", "--json"}));
  for (const auto& entry : json["settings"]) {
    if (entry["key"] != "StrButtonEdit") continue;
    EXPECT_TRUE(entry["file"].get<std::string>().ends_with("/softtoken/languages/" +
                                                           std::string(GetParam()) + ".ini"))
        << entry;
  }
}

TEST_P(CliLanguagesTest, DoctorSpeaksToItsUserAlone) {
  home_.add("Mail");
  speak();
  const std::string text = home_.run({"doctor"}).out;
  for (const char* subject : {"keychain choice", "device identifiers", "settings file", "clock"}) {
    EXPECT_NE(text.find(' ' + own(subject) + ' '), std::string::npos) << subject << '\n' << text;
  }
  EXPECT_NE(text.find(own("remembered")), std::string::npos) << text;
  // What follows the subjects stands in one column.
  const auto lines = linesOf(text);
  const int column = columnOf(lines.at(0), home_.vault()) < 0 ? -1 : 0;
  EXPECT_EQ(column, 0) << lines.at(0);
  const std::string json = home_.run({"doctor", "--json"}).out;
  for (const char* english : {"keychain choice", "device identifiers", "remembered", "unlocked"}) {
    EXPECT_NE(json.find(english), std::string::npos) << english << '\n' << json;
  }
  const std::string report = out({"report"});
  for (const char* english : {"report for the help desk", "keychain choice", "remembered",
                              "unlocked", "serial number", "Settings"}) {
    EXPECT_NE(report.find(english), std::string::npos) << english << '\n' << report;
  }
}

TEST_P(CliLanguagesTest, JsonStaysAsItIs) {
  home_.add("Mail");
  const std::vector<Strings> commands = {{"list", "--json"}, {"keychain", "--json"}};
  std::vector<std::string> before;
  for (const Strings& command : commands) before.push_back(out(command));
  speak();
  for (std::size_t i = 0; i < commands.size(); ++i) EXPECT_EQ(out(commands[i]), before[i]);
}

TEST_P(CliLanguagesTest, TakesTheAnswerThatItShows) {
  home_.add("Mail");
  home_.add("Bank", other_seed_16);
  speak();
  for (const std::string& answer : {own("y"), std::string("yes")}) {
    const auto terminal = home_.runOnTerminal({"delete", "0"});
    ASSERT_TRUE(terminal->await(" [" + own("y") + "/N]"));
    terminal->type(answer + "\n");
    EXPECT_EQ(terminal->finish().exit_code, 0);
  }
  EXPECT_EQ(home_.names(), Strings());
}

TEST_P(CliLanguagesTest, HelpAndWrongUsageSpeak) {
  speak();
  const std::string help = out({"--help"});
  for (const char* text : {"Usage", "Options", "Subcommands"}) {
    EXPECT_NE(help.find(own(text) + ':'), std::string::npos) << text << '\n' << help;
  }
  EXPECT_NE(help.find(own("List the tokens, without passcodes")), std::string::npos) << help;
  // The parser's words, which hold values.
  const struct {
    Strings arguments;
    const char* words;
    std::vector<std::string> values;
  } wrong[] = {
      {{"code"}, "{} is required", {"token"}},
      {{"move", "Mail", "x"}, "{}: Value {} not in range {} to {}", {"slot", "x", "0", "31"}}};
  for (const auto& [arguments, words, values] : wrong) {
    fmt::dynamic_format_arg_store<fmt::format_context> store;
    for (const std::string& value : values) store.push_back(value);
    const std::string expected = fmt::vformat(own(words), store);
    const Ended ended = home_.run(arguments);
    EXPECT_EQ(ended.exit_code, 2);
    EXPECT_NE(ended.err.find(expected), std::string::npos) << ended.err;
  }
}

TEST_P(CliLanguagesTest, EmptyListSaysHowToBegin) {
  speak();
  const std::string help = home_.run({"list"}).err;
  EXPECT_TRUE(help.starts_with(own("There are no tokens yet.\n"))) << help;
  const auto lines = linesOf(help);
  for (const std::string& line : lines) {
    if (!line.starts_with("  softtoken-cli import image.png")) continue;
    EXPECT_EQ(columnOf(line, own("reads the QR code in an image")), 43) << line;
  }
}

INSTANTIATE_TEST_SUITE_P(Languages, CliLanguagesTest, testing::ValuesIn(languages),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace talvane::test
