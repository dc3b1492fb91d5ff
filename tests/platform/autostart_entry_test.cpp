#include "platform/linux/autostart_entry.h"

#include <unistd.h>

#include <string>
#include <vector>

#include "tests/platform/autostart_home.h"
#include "tests/support/in_child.h"

namespace talvane::test {
namespace {

using Lines = std::vector<std::string>;

class AutostartEntryTest : public AutostartHome {};

TEST_F(AutostartEntryTest, SymbolicLinkToTheProgramResolvesToIt) {
  const std::string link = home.root() + "/link";
  ASSERT_EQ(symlink(program.c_str(), link.c_str()), 0);
  writeOwn("x.desktop", entry(link));
  EXPECT_TRUE(isOn());
}

TEST_F(AutostartEntryTest, ProgramsNamesWithCharactersOfAllKindsReadBack) {
  for (const std::string name :
       {"blank in name", "100%",       "%f",          "%%",         "quote\"",   "quote'",
        "back\\slash",   "\\n",        "dollar$HOME", "back`tick`", "tab\there", "new\nline",
        "cr\rhere",      "semi;colon", "#hash",       "[x]",        "=",         "\xC3\xBC",
        "\xFF\xFE",      "(deleted)",  "~",           "a\\\\\"b"}) {
    SCOPED_TRACE(name);
    const std::string path = makeProgram("odd names/" + name);
    loginItemOf(path).setLaunchAtLogin(true);
    EXPECT_TRUE(loginItemOf(path).launchAtLogin());
    EXPECT_EQ(targets(), Lines{path});
    loginItemOf(path).setLaunchAtLogin(false);
    EXPECT_EQ(targets(), Lines{});
  }
}

// The two layers of the Desktop Entry Specification's own example: a backslash in an argument is
// doubled for the quotes and each of the two again for the file.
TEST_F(AutostartEntryTest, ReservedCharactersAreWrittenAsTheSpecificationSays) {
  const std::string path = makeProgram("a\\b $c `d` \"e\" 50%");
  loginItemOf(path).setLaunchAtLogin(true);
  const std::string text = readFile(own + "/softtoken.desktop");
  const std::string folder = path.substr(0, path.rfind('/'));
  EXPECT_NE(text.find("\nExec=\"" + folder +
                      R"(/a\\\\b \\$c \\`d\\` \\"e\\" 50%%" --no-console-log)" + "\n"),
            std::string::npos)
      << text;
}

TEST_F(AutostartEntryTest, ExecValuesResolveAsTheyAreStarted) {
  const std::string folder = program.substr(0, program.rfind('/'));
  const struct {
    std::string exec;
    bool resolves;
  } rows[] = {
      {program, true},
      {"softtoken", true},
      {"softtoken --no-console-log %U", true},
      {"\"softtoken\" \"an argument\"", true},
      {"  " + program + "  ", true},
      {"\\s" + program, true},
      {"softtoken\t--no-console-log", true},
      {folder + "/\"softtoken\"", true},
      {folder + "/soft\\stoken", false},
      {"\"soft\\\\token\"", false},
      {folder + "/../programs/./softtoken", true},
      {"softtoken \"50%%\"", true},
      {"", false},
      {"\"\"", false},
      {"softtoken \"unclosed", false},
      {"\"" + program, false},
      {"softtoken %z", false},
      {"softtoken %", false},
      {program + "%f", false},
      {"%f " + program, false},
      {"%f%u", false},
      {"\"" + program + " \"", false},
      {"programs/softtoken", false},
      {"./softtoken", false},
      {"~/softtoken", false},
      {"missing", false},
      {folder, false},
      {program + "/", false},
      {"env " + program, false},
      {"\\", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.exec);
    writeOwn("x.desktop", entry(row.exec));
    EXPECT_EQ(isOn(), row.resolves);
  }
}

TEST_F(AutostartEntryTest, FoldersOfTheSearchPathThatDependOnTheWorkingFolderAreSkipped) {
  writeOwn("x.desktop", entry("softtoken"));
  inChild([&] {
    ASSERT_EQ(chdir((home.root() + "/programs").c_str()), 0);
    for (const std::string relative : {"", ".", ":", "../programs:."}) {
      home.environment.set("PATH", relative);
      EXPECT_FALSE(isOn()) << relative;
      home.environment.set("PATH", relative + ':' + home.root() + "/programs");
      EXPECT_TRUE(isOn()) << relative;
    }
  });
}

TEST_F(AutostartEntryTest, WithoutASearchPathItIsTheSystems) {
  writeOwn("x.desktop", entry("sh"));
  EXPECT_EQ(targets(), Lines{"-"});
  home.environment.unset("PATH");
  EXPECT_EQ(targets(), Lines{std::filesystem::canonical("/bin/sh").string()});
}

TEST_F(AutostartEntryTest, ProgramThatMayNotBeExecutedDoesNotResolve) {
  writeOwn("x.desktop", entry(program));
  ASSERT_EQ(chmod(program.c_str(), 0644), 0);
  EXPECT_EQ(targets(), Lines{"-"});
}

TEST_F(AutostartEntryTest, KeysThatKeepAnEntryFromStarting) {
  const struct {
    std::string keys;
    bool starts;
  } rows[] = {
      {"", true},
      {"Hidden=false\nX-GNOME-Autostart-enabled=true\n", true},
      {"Hidden=true\n", false},
      {"  Hidden = true \r\n", false},
      {"X-GNOME-Autostart-enabled=false\n", false},
      {"# Hidden=true\n", true},
      {"[Desktop Action x]\nHidden=true\nExec=missing\n", true},
      {"[Desktop Action x]\n[Desktop Entry]\nHidden=true\n", false},
      {"Name[de]=Eintrag\nHidden[de]=true\n", true},
      {"TryExec=other\n", true},
      {"TryExec=" + other + "\n", true},
      {"TryExec=missing\n", false},
      {"TryExec=/missing\n", false},
      {"OnlyShowIn=GNOME;\n", true},
      {"OnlyShowIn=KDE;GNOME\n", true},
      {"OnlyShowIn=KDE;\n", false},
      {"OnlyShowIn=\n", false},
      {"NotShowIn=GNOME;\n", false},
      {"NotShowIn=KDE;XFCE;\n", true},
      {"Type=Link\n", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.keys);
    writeOwn("x.desktop", entry(program, row.keys));
    EXPECT_EQ(isOn(), row.starts);
  }
}

TEST_F(AutostartEntryTest, FirstKnownNameOfTheSessionDecides) {
  writeOwn("x.desktop", entry(program, "OnlyShowIn=GNOME;\nNotShowIn=ubuntu;\n"));
  home.environment.set("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
  EXPECT_FALSE(isOn());
  home.environment.set("XDG_CURRENT_DESKTOP", "Unity:GNOME:ubuntu");
  EXPECT_TRUE(isOn());
  home.environment.unset("XDG_CURRENT_DESKTOP");
  EXPECT_FALSE(isOn());
}

TEST_F(AutostartEntryTest, ThingsThatAreNoEntriesAreSkippedAndStay) {
  writeOwn("binary.desktop", entry(program) + '\0');
  writeOwn("empty.desktop", "");
  writeOwn("no_group.desktop", "Type=Application\nExec=" + program + "\n");
  writeOwn("huge.desktop", entry(program, "X=" + std::string(1024 * 1024, 'x') + "\n"));
  writeOwn("brackets.desktop", std::string(70000, '['));
  writeOwn("not_an_entry.txt", entry(program));
  std::filesystem::create_directory(own + "/softtoken.desktop");
  ASSERT_EQ(mkfifo((own + "/pipe.desktop").c_str(), 0600), 0);
  ASSERT_EQ(symlink("loop.desktop", (own + "/loop.desktop").c_str()), 0);
  ASSERT_EQ(symlink("/dev/zero", (own + "/device.desktop").c_str()), 0);
  ASSERT_EQ(symlink("/proc/self/pagemap", (own + "/endless.desktop").c_str()), 0);
  inChild(
      [&] {
        EXPECT_FALSE(isOn());
        EXPECT_EQ(targets(), Lines{});
        set(true);
        EXPECT_EQ(targets(), Lines{program});
        EXPECT_TRUE(exists(own + "/softtoken-2.desktop"));
        set(false);
        EXPECT_EQ(targets(), Lines{});
      },
      10);
  EXPECT_EQ(entriesIn(own), 11U);
}

TEST_F(AutostartEntryTest, LargestEntryIsRead) {
  std::string text = entry(program, "X=");
  text.resize(1024 * 1024, 'x');
  writeOwn("large.desktop", text);
  EXPECT_TRUE(isOn());
}

}  // namespace
}  // namespace talvane::test
