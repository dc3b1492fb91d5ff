#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/platform/autostart_home.h"
#include "tests/support/in_child.h"

namespace talvane::test {
namespace {

using Lines = std::vector<std::string>;

class LoginItemsLinuxTest : public AutostartHome {};

TEST_F(LoginItemsLinuxTest, NothingIsThereAtFirstAndReadingCreatesNothing) {
  EXPECT_FALSE(isOn());
  EXPECT_EQ(targets(), Lines{});
  EXPECT_FALSE(exists(own));
}

TEST_F(LoginItemsLinuxTest, EnablingWritesTheEntryAndDisablingTakesItAway) {
  set(true);
  EXPECT_TRUE(isOn());
  EXPECT_EQ(entriesIn(own), 1U);
  EXPECT_EQ(readFile(own + "/softtoken.desktop"),
            "[Desktop Entry]\n"
            "Type=Application\n"
            "Version=1.0\n"
            "Name=Talvane Soft Token\n"
            "Comment=Show your one-time passcodes from the status area\n"
            "Exec=\"" +
                program +
                "\" --no-console-log\n"
                "Icon=softtoken\n"
                "Terminal=false\n"
                "X-GNOME-Autostart-enabled=true\n");
  set(false);
  EXPECT_FALSE(isOn());
  EXPECT_EQ(entriesIn(own), 0U);
}

TEST_F(LoginItemsLinuxTest, FolderAndEntryArePrivateUnderAnyUmask) {
  const mode_t before = umask(0);
  set(true);
  umask(before);
  EXPECT_EQ(modeOf(own), 0700);
  EXPECT_EQ(modeOf(own + "/softtoken.desktop"), 0600);
}

TEST_F(LoginItemsLinuxTest, MovedProgramIsOffAndEnablingAddsASecondItemForTheNewPlace) {
  set(true);
  const std::string first = readFile(own + "/softtoken.desktop");
  const std::string moved = makeProgram("elsewhere/softtoken");
  EXPECT_FALSE(loginItemOf(moved).launchAtLogin());
  loginItemOf(moved).setLaunchAtLogin(true);
  EXPECT_TRUE(loginItemOf(moved).launchAtLogin());
  EXPECT_EQ(targets(), (Lines{moved, program}));
  EXPECT_EQ(readFile(own + "/softtoken.desktop"), first);
}

TEST_F(LoginItemsLinuxTest, ItemOfAPlaceThatIsGoneStaysAndNeverMatches) {
  set(true);
  const std::string moved = home.root() + "/moved";
  ASSERT_EQ(rename(program.c_str(), moved.c_str()), 0);
  EXPECT_FALSE(isOn());
  loginItemOf(moved).setLaunchAtLogin(true);
  EXPECT_EQ(targets(), (Lines{moved, "-"}));
  loginItemOf(moved).setLaunchAtLogin(false);
  EXPECT_EQ(targets(), Lines{"-"});
}

TEST_F(LoginItemsLinuxTest, EnablingWhenEnabledChangesNothing) {
  const std::string text = entry(program);
  writeOwn("zzz.desktop", text);
  set(true);
  EXPECT_EQ(entriesIn(own), 1U);
  EXPECT_EQ(readFile(own + "/zzz.desktop"), text);
}

TEST_F(LoginItemsLinuxTest, EnablingTwiceMakesOneItem) {
  set(true);
  set(true);
  EXPECT_EQ(targets(), Lines{program});
}

TEST_F(LoginItemsLinuxTest, DisablingWhenAbsentChangesNothing) {
  writeOwn("softtoken.desktop", entry(other));
  set(false);
  EXPECT_EQ(targets(), Lines{other});
  EXPECT_EQ(entriesIn(own), 1U);
}

TEST_F(LoginItemsLinuxTest, EnabledItemIsTheFirst) {
  writeOwn("aaa.desktop", entry(other));
  writeOwn("softtoken.desktop", entry(makeProgram("a/softtoken")));
  writeOwn("softtoken-2.desktop", entry(makeProgram("b/softtoken")));
  writeOwn("softtoken-10.desktop", entry(makeProgram("c/softtoken")));
  writeOwn("softtoken-010.desktop", entry(other));
  writeShared("000.desktop", entry(other));
  set(true);
  ASSERT_EQ(targets().size(), 7U);
  EXPECT_EQ(targets().front(), program);
  EXPECT_TRUE(exists(own + "/softtoken-11.desktop"));
}

TEST_F(LoginItemsLinuxTest, OnlyNumberedNamesCount) {
  for (const char* name :
       {"softtoken-.desktop", "softtoken-0.desktop", "softtoken-1.desktop", "softtoken-x.desktop",
        "softtoken-2x.desktop", "softtokens.desktop", "softtoken-99999.desktop",
        "softtoken2.desktop", "a-softtoken.desktop", "softtoken-2.backup"}) {
    writeOwn(name, entry(other));
  }
  set(true);
  EXPECT_TRUE(exists(own + "/softtoken.desktop"));
}

TEST_F(LoginItemsLinuxTest, NumbersThatAreUsedUpAddNothing) {
  writeOwn("softtoken-9999.desktop", entry(other));
  set(true);
  EXPECT_EQ(targets(), Lines{other});
  EXPECT_EQ(entriesIn(own), 1U);
}

TEST_F(LoginItemsLinuxTest, SystemItemOfTheNameIsNotHiddenByEnabling) {
  const std::string packaged = makeProgram("packaged/softtoken");
  writeShared("softtoken.desktop", entry(packaged));
  set(true);
  EXPECT_EQ(targets(), (Lines{program, packaged}));
}

TEST_F(LoginItemsLinuxTest, SystemItemForTheProgramCounts) {
  writeShared("softtoken.desktop", entry("\"" + program + "\" --no-console-log"));
  EXPECT_TRUE(isOn());
  set(true);
  EXPECT_FALSE(exists(own));
}

TEST_F(LoginItemsLinuxTest, DisablingASystemItemHidesItForTheUserAlone) {
  const std::string text = entry(program);
  writeShared("softtoken.desktop", text);
  set(false);
  EXPECT_FALSE(isOn());
  EXPECT_EQ(readFile(shared + "/softtoken.desktop"), text);
  EXPECT_EQ(readFile(own + "/softtoken.desktop"),
            "[Desktop Entry]\nType=Application\nName=An Entry\nHidden=true\n");
}

TEST_F(LoginItemsLinuxTest, EnablingAfterASystemItemWasHiddenTurnsItOnAndOffAgain) {
  writeShared("softtoken.desktop", entry(program));
  set(false);
  set(true);
  EXPECT_TRUE(isOn());
  EXPECT_EQ(targets(), Lines{program});
  set(false);
  EXPECT_FALSE(isOn());
  EXPECT_EQ(targets(), Lines{});
}

TEST_F(LoginItemsLinuxTest, HiddenEntryOfTheSamePlaceIsEnabled) {
  writeOwn("softtoken.desktop", entry(program, "Hidden=true\n"));
  EXPECT_FALSE(isOn());
  set(true);
  EXPECT_EQ(targets(), Lines{program});
  EXPECT_EQ(entriesIn(own), 1U);
}

TEST_F(LoginItemsLinuxTest, EntryThatTheDesktopSwitchedOffIsEnabledInItsPlace) {
  writeOwn("softtoken.desktop", entry(program, "X-GNOME-Autostart-enabled=false\n"));
  EXPECT_FALSE(isOn());
  set(true);
  EXPECT_EQ(targets(), Lines{program});
  EXPECT_EQ(entriesIn(own), 1U);
}

TEST_F(LoginItemsLinuxTest, SwitchedOffEntryOfAnotherPlaceStays) {
  const std::string text = entry(other, "X-GNOME-Autostart-enabled=false\n");
  writeOwn("softtoken.desktop", text);
  set(true);
  EXPECT_EQ(targets(), (Lines{program, "-"}));
  EXPECT_EQ(readFile(own + "/softtoken.desktop"), text);
}

TEST_F(LoginItemsLinuxTest, UsersFileHidesTheSystemsOfTheSameName) {
  writeShared("name.desktop", entry(program));
  writeOwn("name.desktop", entry(other));
  EXPECT_EQ(targets(), Lines{other});
}

TEST_F(LoginItemsLinuxTest, FirstOfTheSystemFoldersCounts) {
  const std::string second = home.root() + "/second";
  std::filesystem::create_directories(second + "/autostart");
  writeFile(second + "/autostart/name.desktop", entry(program));
  writeShared("name.desktop", entry(other));
  home.environment.set("XDG_CONFIG_DIRS", home.root() + "/system/:relative::" + second);
  EXPECT_EQ(targets(), Lines{other});
}

TEST_F(LoginItemsLinuxTest, UsersOwnFolderAmongTheSystemsIsStillTheUsers) {
  home.environment.set("XDG_CONFIG_DIRS", home.config());
  set(true);
  EXPECT_EQ(targets(), Lines{program});
  set(false);
  EXPECT_EQ(entriesIn(own), 0U);
}

TEST_F(LoginItemsLinuxTest, WithoutTheVariableItIsTheFolderInTheHome) {
  for (const std::string value : {"", "relative"}) {
    home.environment.set("XDG_CONFIG_HOME", value);
    set(true);
    EXPECT_TRUE(exists(home.home() + "/.config/autostart/softtoken.desktop"));
    set(false);
  }
}

TEST_F(LoginItemsLinuxTest, EmptyListOfSystemFoldersIsTheUsualOne) {
  writeShared("x.desktop", entry(program));
  home.environment.unset("XDG_CONFIG_DIRS");
  const Lines usual = targets();
  EXPECT_EQ(std::count(usual.begin(), usual.end(), program), 0);
  home.environment.set("XDG_CONFIG_DIRS", "");
  EXPECT_EQ(targets(), usual);
}

TEST_F(LoginItemsLinuxTest, SlashesAtTheEndOfAFolderDoNotCount) {
  writeShared("x.desktop", entry(program));
  home.environment.set("XDG_CONFIG_HOME", home.config() + "//");
  home.environment.set("XDG_CONFIG_DIRS",
                       home.root() + "/system//:" + home.root() + "/system:" + home.config() + '/');
  set(false);
  EXPECT_FALSE(isOn());
  EXPECT_TRUE(exists(own + "/x.desktop"));
  set(true);
  set(false);
  EXPECT_FALSE(exists(own + "/softtoken.desktop"))
      << "the user's folder is not a system folder as well";
}

TEST_F(LoginItemsLinuxTest, ItemThatIsGoneIsNotRemovedAgain) {
  writeOwn("x.desktop", entry(program));
  writeShared("y.desktop", entry(program));
  const auto list = systemLoginItems();
  const auto items = list->snapshot();
  ASSERT_EQ(items.size(), 2U);
  ASSERT_EQ(unlink((own + "/x.desktop").c_str()), 0);
  ASSERT_EQ(unlink((shared + "/y.desktop").c_str()), 0);
  for (const LoginItemHandle& item : items) list->remove(*item);
  EXPECT_EQ(entriesIn(own), 0U) << "nothing is left to hide";
}

TEST_F(LoginItemsLinuxTest, LinkedFolderAndLinkedEntryAreRead) {
  std::filesystem::create_directory(home.root() + "/dotfiles");
  writeFile(home.root() + "/dotfiles/text", entry(program));
  ASSERT_EQ(symlink((home.root() + "/dotfiles").c_str(), own.c_str()), 0);
  ASSERT_EQ(symlink("text", (own + "/x.desktop").c_str()), 0);
  EXPECT_TRUE(isOn());
  set(false);
  EXPECT_FALSE(isOn());
  EXPECT_TRUE(exists(home.root() + "/dotfiles/text"));
}

TEST_F(LoginItemsLinuxTest, EntryForOtherDesktopsIsReplacedAndNotDoubled) {
  writeOwn("softtoken.desktop", entry(program, "OnlyShowIn=KDE;\n"));
  set(true);
  home.environment.set("XDG_CURRENT_DESKTOP", "KDE");
  EXPECT_EQ(targets(), Lines{program});
}

TEST_F(LoginItemsLinuxTest, UnreadableEntryIsSkippedAndNotReplaced) {
  writeOwn("softtoken.desktop", entry(program));
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod((own + "/softtoken.desktop").c_str(), 0), 0);
    EXPECT_FALSE(isOn());
    set(true);
    EXPECT_TRUE(isOn());
    EXPECT_EQ(modeOf(own + "/softtoken.desktop"), 0);
  });
}

TEST_F(LoginItemsLinuxTest, FolderThatCannotBeWrittenStaysAsItWas) {
  writeOwn("x.desktop", entry(program));
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod(own.c_str(), 0500), 0);
    set(false);
    EXPECT_TRUE(isOn());
    loginItemOf(other).setLaunchAtLogin(true);
    EXPECT_EQ(targets(), Lines{program});
    EXPECT_EQ(chmod(own.c_str(), 0700), 0);
  });
  EXPECT_EQ(entriesIn(own), 1U);
}

TEST_F(LoginItemsLinuxTest, FileInTheFoldersPlaceStaysAsItWas) {
  writeFile(own, "a file");
  set(true);
  EXPECT_FALSE(isOn());
  EXPECT_EQ(readFile(own), "a file");
}

TEST_F(LoginItemsLinuxTest, TargetThatWouldNeverBeFoundAgainIsNotAdded) {
  const std::string link = home.root() + "/link";
  ASSERT_EQ(symlink(program.c_str(), link.c_str()), 0);
  for (const std::string& target :
       {home.root() + "/missing", home.root(), std::string("softtoken"), std::string(), link}) {
    loginItemOf(target).setLaunchAtLogin(true);
    EXPECT_FALSE(exists(own)) << target;
  }
}

TEST_F(LoginItemsLinuxTest, RunningProgramIsItsOwnFile) {
  const talibobjc_LoginItem item;
  EXPECT_EQ(item.appURL(), std::filesystem::read_symlink("/proc/self/exe").string());
}

// The kernel names a replaced file "... (deleted)"; the entry must name the one in its place. The
// test runs a copy of itself, which goes the first way.
TEST_F(LoginItemsLinuxTest, RunningProgramThatWasReplacedIsTheFileInItsPlace) {
  if (const char* place = std::getenv("REPLACED_PROGRAM")) {
    ASSERT_EQ(unlink(place), 0);
    EXPECT_EQ(systemLoginItems()->ownTarget(), place);
    std::filesystem::copy_file(program, place);
    EXPECT_EQ(systemLoginItems()->ownTarget(), place);
    return;
  }
  const std::string copy = std::filesystem::canonical(home.root()).string() + "/copy";
  std::filesystem::copy_file("/proc/self/exe", copy);
  const std::string this_test =
      "--gtest_filter=LoginItemsLinuxTest.RunningProgramThatWasReplacedIsTheFileInItsPlace";
  inChild([&] {
    setenv("REPLACED_PROGRAM", copy.c_str(), 1);
    execl(copy.c_str(), copy.c_str(), this_test.c_str(), nullptr);
    ADD_FAILURE() << "the copy did not start";
  });
}

TEST_F(LoginItemsLinuxTest, RunningProgramMayBeNamedAsIfItWereDeleted) {
  if (const char* place = std::getenv("ODD_PROGRAM")) {
    EXPECT_EQ(systemLoginItems()->ownTarget(), place);
    return;
  }
  const std::string copy = std::filesystem::canonical(home.root()).string() + "/copy (deleted)";
  std::filesystem::copy_file("/proc/self/exe", copy);
  const std::string this_test =
      "--gtest_filter=LoginItemsLinuxTest.RunningProgramMayBeNamedAsIfItWereDeleted";
  inChild([&] {
    setenv("ODD_PROGRAM", copy.c_str(), 1);
    execl(copy.c_str(), copy.c_str(), this_test.c_str(), nullptr);
    ADD_FAILURE() << "the copy did not start";
  });
}

}  // namespace
}  // namespace talvane::test
