// What the documents claim, compared with what the programs do.

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "enrol/percent_escapes.h"
#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

using Names = std::set<std::string>;

// What the expression's first group matches, wherever it does.
Names allMatches(const std::string& text, const std::string& expression) {
  const std::regex pattern(expression);
  Names names;
  for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match) {
    names.insert((*match)[1]);
  }
  return names;
}

Names longOptions(const std::string& help) {
  return allMatches(help, "--([a-z][a-z-]*)");
}

Names operator|(Names names, const Names& more) {
  names.insert(more.begin(), more.end());
  return names;
}

// What --help says: the commands, and the long options of each; those of the program under "".
class Help {
 public:
  Help() {
    const CliHome home;
    const std::string text = home.run({"--help"}).out;
    const std::size_t list = text.find("Subcommands:\n");
    const std::size_t end = text.find("\n\n", list);
    EXPECT_NE(list, std::string::npos) << text;
    options[""] = longOptions(text.substr(0, list));
    exit_codes = text.substr(text.find("Exit codes"));
    commands = allMatches(text.substr(list, end - list), "\n  ([a-z]+) ");
    for (const std::string& command : commands) {
      options[command] = longOptions(home.run({command, "--help"}).out);
    }
    EXPECT_EQ(commands.size(), 14U);
  }

  [[nodiscard]] Names allOptions() const {
    Names all;
    for (const auto& [command, names] : options) all = all | names;
    return all;
  }

  Names commands;
  std::map<std::string, Names> options;
  std::string exit_codes;
};

std::string document(const std::string& name) {
  std::string text = readFile(std::string(DOCUMENTS) + '/' + name);
  EXPECT_FALSE(text.empty()) << name;
  return text;
}

// A section of the command line's manual, or of another one.
std::string section(const std::string& name, const std::string& page = "docs/softtoken-cli.1") {
  const std::string text = document(page);
  const std::size_t begin = text.find("\n.Sh " + name + "\n");
  EXPECT_NE(begin, std::string::npos) << page << ' ' << name;
  return text.substr(begin + 1, text.find("\n.Sh ", begin + 1) - begin);
}

Names optionsIn(const std::string& manual_text) {
  return allMatches(manual_text, "Fl -([a-z][a-z-]*)");
}

std::string completion(const std::string& name) {
  return document("cli/completions/" + name);
}

const Strings markdown_files = {"README.md",
                                "SECURITY.md",
                                "CONTRIBUTING.md",
                                "docs/administration.md",
                                "docs/architecture.md",
                                "docs/macos.md"};
const Strings manuals = {"docs/softtoken-cli.1", "docs/softtoken.1"};

// A part of the administrators' guide: from its heading to the next of that level.
std::string guidePart(const std::string& heading) {
  const std::string text = document("docs/administration.md");
  const std::size_t begin = text.find('\n' + heading + '\n');
  EXPECT_NE(begin, std::string::npos) << heading;
  const std::string level = '\n' + heading.substr(0, heading.find(' ') + 1);
  return text.substr(begin, text.find(level, begin + 1) - begin);
}

using Settings = std::map<std::string, std::string>;

// Every setting and its value.
Settings settingsOf(const CliHome& home) {
  const Ended ended = home.run({"settings", "--json"});
  expectSuccess(ended);
  const nlohmann::json listed = nlohmann::json::parse(ended.out);
  Settings settings;
  for (const auto& entry : listed.at("settings")) settings[entry.at("key")] = entry.at("value");
  return settings;
}

Settings defaultSettings() {
  const CliHome home;
  home.setSettings("");
  Settings settings = settingsOf(home);
  EXPECT_FALSE(settings.empty());
  // The documents give the address for Linux, and say that the last word is the system's name.
  std::string& address = settings["GettingStartedURL"];
  address = std::regex_replace(address, std::regex("/macos$"), "/linux");
  return settings;
}

bool isInstalled(const std::string& program) {
  return runProcess({"sh", "-c", "command -v " + program}, {"PATH=/usr/bin:/bin"}).exit_code == 0;
}

TEST(Manual, DescribesEveryCommand) {
  EXPECT_EQ(allMatches(section("COMMANDS"), "\n\\.It Cm ([a-z]+)"), Help().commands);
}

TEST(Manual, DescribesEveryOptionOfTheProgram) {
  EXPECT_EQ(optionsIn(section("DESCRIPTION")), Help().options.at(""));
  EXPECT_TRUE(optionsIn(section("SYNOPSIS")) == Help().options.at(""));
}

TEST(Manual, DescribesEveryOptionOfEachCommand) {
  const Help help;
  const std::string text = section("COMMANDS");
  for (const auto& [command, options] : help.options) {
    if (command.empty()) continue;
    const std::size_t begin = text.find("\n.It Cm " + command);
    ASSERT_NE(begin, std::string::npos) << command;
    const std::size_t end =
        std::min(text.find("\n.It Cm ", begin + 1), text.find("\n.El\n.Pp", begin));
    const std::string entry = text.substr(begin, end - begin);
    const std::string first_line = entry.substr(1, entry.find('\n', 1));
    // --help is told of once, for all of them.
    EXPECT_EQ(optionsIn(first_line) | Names{"help"}, options) << command;
    EXPECT_EQ(optionsIn(entry) | Names{"help"}, options) << command;
  }
}

TEST(Manual, ExitCodesAreThoseOfTheHelp) {
  const Names codes = {"0", "1", "2", "3", "4"};
  EXPECT_EQ(allMatches(section("EXIT STATUS"), "\n\\.It ([0-9]+)\n"), codes);
  const std::string help = Help().exit_codes;
  EXPECT_EQ(allMatches(help.substr(0, help.find(".\n")), "\\b([0-9]+) "), codes);
}

TEST(Manual, DescribesOnlySettingsThatExist) {
  const Settings settings = defaultSettings();
  const Names named = allMatches(section("SETTINGS"), "\\b((?:Allow|Debug|Enrol|Proto|Str)\\w*)");
  for (const std::string& key : named) EXPECT_TRUE(settings.contains(key)) << key;
  for (const char* key : {"AllowManual", "AllowTaEnrol", "AllowHTTP", "EnrolURL", "Debug"}) {
    EXPECT_TRUE(named.contains(key)) << key;
  }
}

// The files of a user, from the home folder on: those that the programs keep there.
Names userFilesIn(const std::string& text) {
  return allMatches(text, "(~/[A-Za-z./-]*[a-z])[` ,\n]");
}

TEST(Manual, FilesAreThoseThatAreThere) {
  const CliHome home;
  home.setSettings("AllowManual=true\nDebug=true\n");
  home.add("A");
  Names files;
  for (const auto& [path, content] : home.files()) {
    std::string name = path.substr(home.root().size() + 1);
    for (const auto& [folder, place] : std::map<std::string, std::string>{
             {"home/", "~/"}, {"data/", "~/.local/share/"}, {"config/", "~/.config/"}}) {
      if (name.starts_with(folder)) name = place + name.substr(folder.size());
    }
    files.insert(name);
  }
  EXPECT_EQ(userFilesIn(section("FILES")), files);
  const Names in_guide = userFilesIn(guidePart("## Files"));
  for (const std::string& file : files) EXPECT_TRUE(in_guide.contains(file)) << file;
}

TEST(Manual, KeychainLineCanBeChangedAndChangedBack) {
  CliHome home;
  home.add("A");
  home.keychain.clear();
  const std::string choice = readFile(home.choiceFile());
  EXPECT_NE(choice.find("Keychain=vault\n"), std::string::npos) << choice;
  writeFile(home.choiceFile(),
            std::regex_replace(choice, std::regex("Keychain=vault"), "Keychain=secret-service"));
  expectFailure(home.run({"list"}), 4, "Secret Service");
  writeFile(home.choiceFile(), choice);
  EXPECT_EQ(home.names(), Strings{"A"});
}

TEST(DesktopManual, DescribesEveryOption) {
  const CliHome home;
  const Ended ended = runProcess({SOFTTOKEN, "--help"}, home.environment);
  expectSuccess(ended);
  const Names options = longOptions(ended.out);
  EXPECT_TRUE(options.contains("toggle")) << ended.out;
  EXPECT_EQ(optionsIn(section("SYNOPSIS", "docs/softtoken.1")), options);
  EXPECT_EQ(optionsIn(section("DESCRIPTION", "docs/softtoken.1")), options);
}

TEST(Manuals, AreFreeOfWarnings) {
  for (const std::string& name : manuals) {
    const std::string path = std::string(DOCUMENTS) + '/' + name;
    Ended ended;
    if (isInstalled("mandoc")) {
      ended = runProcess({"mandoc", "-T", "lint", "-W", "warning", path},
                         {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"});
    } else if (isInstalled("man") && isInstalled("groff")) {
      ended = runProcess({"man", "--warnings", "-l", path},
                         {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8", "MANWIDTH=80", "PAGER=cat"});
      ended.out.clear();
    } else {
      GTEST_SKIP() << "neither mandoc nor man is installed";
    }
    EXPECT_EQ(ended.exit_code, 0) << name;
    EXPECT_EQ(ended.out + ended.err, "") << name;
  }
}

TEST(Guide, HasEverySettingWithItsDefault) {
  const std::string text = guidePart("### Every key");
  Settings described;
  const auto describe = [&](const std::string& key, const std::string& value) {
    EXPECT_TRUE(described.emplace(key, value).second) << key << " is there twice";
  };
  const std::regex row("\n\\| `(\\w+)` \\| (?:(?:text|flag|number) \\| )?(`?)([^|`]*?)`? \\|");
  for (std::sregex_iterator match(text.begin(), text.end(), row), end; match != end; ++match) {
    const bool is_word = (*match)[2].length() == 0;
    describe((*match)[1], is_word && (*match)[3] == "none" ? "" : (*match)[3].str());
  }
  const std::string unused = text.substr(text.find("**Without effect**"));
  const std::regex pair("`(\\w+)`\\s\\((?:\\w+, )?`(\\w+)`\\)");
  for (std::sregex_iterator match(unused.begin(), unused.end(), pair), end; match != end; ++match) {
    describe((*match)[1], (*match)[2]);
  }
  EXPECT_EQ(described, defaultSettings());
}

TEST(Guide, ListsWhatIsPercentEscaped) {
  std::string signs;
  for (char sign = '!'; sign <= '~'; ++sign) {
    if (percentEscaped(std::string(1, sign))->size() > 1) signs += sign;
  }
  EXPECT_NE(guidePart("### Requests").find("``" + signs + "``"), std::string::npos) << signs;
}

TEST(Guide, IndentedCommentEndsTheFile) {
  const CliHome home;
  home.setSettings("AllowManual=yes\n  # more\nDebug=yes\n");
  const Settings settings = settingsOf(home);
  EXPECT_EQ(settings.at("AllowManual"), "true");
  EXPECT_EQ(settings.at("Debug"), "false");
}

TEST(Sample, HasEverySettingWithItsDefault) {
  Settings shown;
  std::istringstream sample(document("docs/tasofttoken.ini.sample"));
  for (std::string line; std::getline(sample, line);) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || line.find(' ') < equals) continue;
    EXPECT_TRUE(line.starts_with('#')) << line;
    EXPECT_TRUE(shown.emplace(line.substr(1, equals - 1), line.substr(equals + 1)).second) << line;
  }
  EXPECT_EQ(shown, defaultSettings());
}

TEST(Documents, NameOnlyCommandsThatExist) {
  const Help help;
  Strings names = markdown_files;
  names.insert(names.end(), manuals.begin(), manuals.end());
  Names named;
  for (const std::string& name : names) {
    const std::regex call("softtoken-cli ([a-z]+)([^\n`#|]*)");
    const std::string text = document(name);
    for (std::sregex_iterator match(text.begin(), text.end(), call), end; match != end; ++match) {
      const std::string command = (*match)[1];
      ASSERT_TRUE(help.commands.contains(command)) << name << ": " << (*match)[0];
      named.insert(command);
      for (const std::string& option : longOptions((*match)[2])) {
        EXPECT_TRUE(help.options.at(command).contains(option)) << name << ": " << (*match)[0];
      }
    }
  }
  EXPECT_TRUE(named.contains("doctor"));
}

// The anchor that a heading gets.
std::string anchorOf(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    if (c == ' ') anchor += '-';
    if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-') {
      anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return anchor;
}

TEST(Documents, LinksLeadSomewhere) {
  std::size_t links = 0;
  for (const std::string& name : markdown_files) {
    const std::string text = document(name);
    Names anchors;
    for (const std::string& heading : allMatches(text, "\n#+ ([^\n]+)")) {
      anchors.insert('#' + anchorOf(heading));
    }
    const auto folder =
        std::filesystem::path(DOCUMENTS) / std::filesystem::path(name).parent_path();
    for (const std::string& target :
         allMatches(text, "(?:\\]\\(|<img src=\")(?!https://)([^)\"]+)[)\"]")) {
      ++links;
      EXPECT_TRUE(target.starts_with('#') ? anchors.contains(target)
                                          : std::filesystem::exists(folder / target))
          << name << ": " << target;
    }
  }
  EXPECT_GT(links, 20U);
}

// Sources that the documents name, such as `engine/gateway.h`; those with a placeholder in capitals
// are left out.
TEST(Documents, NameOnlySourcesThatExist) {
  Names named;
  for (const std::string& name : markdown_files) {
    for (const std::string& path :
         allMatches(document(name),
                    "[` ]((?:engine|platform|store|config|enrol|ui|cli|demo|resources|"
                    "script|docs|tests|bench|fuzz|packaging)/[\\w./-]*)(?=[` \\n])")) {
      if (std::regex_search(path, std::regex("[A-Z]{4}"))) continue;
      named.insert(path);
      EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(DOCUMENTS) / path))
          << name << ": " << path;
    }
  }
  EXPECT_GT(named.size(), 40U);
}

// One word for one thing.
TEST(Documents, UseTheUsualWords) {
  Strings names = markdown_files;
  names.insert(names.end(), manuals.begin(), manuals.end());
  names.insert(names.end(), {"docs/tasofttoken.ini.sample", "resources/desktop/softtoken.desktop",
                             "resources/desktop/example.talvane.softtoken.metainfo.xml",
                             "cli/completions/softtoken-cli.fish"});
  const std::regex unusual("\\b(log-in|anew|mend(s|ed|ing)?|pictures?|blanks?|keyrings?)\\b");
  for (const std::string& name : names) {
    const std::string text = document(name);
    std::smatch found;
    EXPECT_FALSE(std::regex_search(text, found, unusual)) << name << ": " << found[0];
  }
  const CliHome home;
  std::vector<Strings> lines{{"--help"}};
  for (const std::string& command : Help().commands) lines.push_back({command, "--help"});
  for (const Strings& line : lines) {
    const std::string text = home.run(line).out;
    std::smatch found;
    EXPECT_FALSE(std::regex_search(text, found, unusual)) << line.front() << ": " << found[0];
  }
}

TEST(BashCompletion, HoldsEveryCommandAndOption) {
  const Help help;
  const std::string text = completion("softtoken-cli.bash");
  EXPECT_EQ(longOptions(text), help.allOptions());
  const std::size_t begin = text.find(":*) __softtoken_cli_offer ");
  ASSERT_NE(begin, std::string::npos);
  const std::string line = text.substr(begin + 25, text.find(';', begin) - begin - 25);
  EXPECT_EQ(allMatches(line, "([a-z]+) "), help.commands);
}

TEST(ZshCompletion, HoldsEveryCommandAndOption) {
  const Help help;
  const std::string text = completion("_softtoken-cli");
  EXPECT_TRUE(text.starts_with("#compdef softtoken-cli\n"));
  EXPECT_EQ(longOptions(text), help.allOptions());
  EXPECT_EQ(allMatches(text, "\n    ['\"]([a-z]+):"), help.commands);
  // One branch for each set of commands: "list | settings)", their options, ";;".
  Names branches;
  const std::regex branch("\n    ([a-z |]+)\\)\n([^;]*);;");
  for (std::sregex_iterator match(text.begin(), text.end(), branch), end; match != end; ++match) {
    for (const std::string& command : allMatches((*match)[1], "([a-z]+)")) {
      branches.insert(command);
      ASSERT_TRUE(help.options.contains(command)) << command;
      EXPECT_EQ(longOptions((*match)[2]) | Names{"help"}, help.options.at(command)) << command;
    }
  }
  EXPECT_EQ(branches, help.commands);
}

TEST(FishCompletion, HoldsEveryCommandAndOption) {
  const Help help;
  const std::string text = completion("softtoken-cli.fish");
  EXPECT_EQ(allMatches(text, "\ncomplete -c softtoken-cli[^\n]* -l ([a-z][a-z-]*)"),
            help.allOptions());
  EXPECT_EQ(allMatches(text, "needs_command -a ([a-z]+) "), help.commands);
}

}  // namespace
}  // namespace talvane::test
