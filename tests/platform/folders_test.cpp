#include "platform/folders.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/modules.h"
#include "platform/own_files.h"
#include "tests/platform/installed_copy.h"
#include "tests/support/failing_call.h"
#include "tests/support/in_child.h"
#include "tests/support/private_home.h"

namespace talvane::test {
namespace {

std::string homeOfPasswordDatabase() {
  const passwd* entry = getpwuid(getuid());
  return entry != nullptr ? entry->pw_dir : "/";
}

class FoldersTest : public testing::Test {
 protected:
  PrivateHome home;
  Environment& environment = home.environment;
};

TEST_F(FoldersTest, HomeIsTheVariables) {
  environment.set("HOME", "/some/where");
  EXPECT_EQ(homeFolder(), "/some/where");
}

TEST_F(FoldersTest, WithoutVariableHomeIsThePasswordDatabases) {
  environment.unset("HOME");
  EXPECT_EQ(homeFolder(), homeOfPasswordDatabase());
}

TEST_F(FoldersTest, UserOutsideThePasswordDatabaseHasTheRootForAHome) {
  if (geteuid() != 0 || getpwuid(54321) != nullptr) GTEST_SKIP() << "not root, or a user 54321";
  inChild([&] {
    becomeOrdinaryUser(54321);
    environment.unset("HOME");
    EXPECT_EQ(homeFolder(), "/");
    environment.set("HOME", "/home/ada");
    EXPECT_EQ(homeFolder(), "/home/ada");
  });
}

TEST_F(FoldersTest, EmptyHomeVariableCountsAsUnset) {
  environment.set("HOME", "");
  EXPECT_EQ(homeFolder(), homeOfPasswordDatabase());
}

TEST_F(FoldersTest, DataAndSettingsLieWhereTheVariablesSay) {
  environment.set("XDG_DATA_HOME", "/xdg/data");
  environment.set("XDG_CONFIG_HOME", "/xdg/config");
  EXPECT_EQ(dataFolder(), "/xdg/data/softtoken");
  EXPECT_EQ(configFolder(), "/xdg/config/softtoken");
}

TEST_F(FoldersTest, WithoutVariablesDataAndSettingsLieBelowTheHome) {
  environment.set("HOME", "/home/ada");
  environment.unset("XDG_DATA_HOME");
  environment.unset("XDG_CONFIG_HOME");
  EXPECT_EQ(dataFolder(), "/home/ada/.local/share/softtoken");
  EXPECT_EQ(configFolder(), "/home/ada/.config/softtoken");
}

TEST_F(FoldersTest, EmptyVariablesCountAsUnset) {
  environment.set("HOME", "/home/ada");
  environment.set("XDG_DATA_HOME", "");
  environment.set("XDG_CONFIG_HOME", "");
  EXPECT_EQ(dataFolder(), "/home/ada/.local/share/softtoken");
  EXPECT_EQ(configFolder(), "/home/ada/.config/softtoken");
}

TEST_F(FoldersTest, RelativeVariablesAreIgnored) {
  environment.set("HOME", "/home/ada");
  for (const char* relative : {"data", "./data", "../data", "~/data"}) {
    environment.set("XDG_DATA_HOME", relative);
    environment.set("XDG_CONFIG_HOME", relative);
    EXPECT_EQ(dataFolder(), "/home/ada/.local/share/softtoken") << relative;
    EXPECT_EQ(configFolder(), "/home/ada/.config/softtoken") << relative;
  }
}

TEST_F(FoldersTest, LeadingTildeStandsForTheHome) {
  environment.set("HOME", "/home/ada");
  EXPECT_EQ(withTildeExpanded("~"), "/home/ada");
  EXPECT_EQ(withTildeExpanded("~/softtoken.txt"), "/home/ada/softtoken.txt");
  EXPECT_EQ(withTildeExpanded("~/a/~/b"), "/home/ada/a/~/b");
}

TEST_F(FoldersTest, OtherPathsStayAsTheyAre) {
  environment.set("HOME", "/home/ada");
  for (const char* path : {"", "/etc/x", "a/~", "/~/b", "x~", "~.txt", " ~/a"}) {
    EXPECT_EQ(withTildeExpanded(path), path);
  }
}

TEST_F(FoldersTest, OnlyAFolderOrALinkToOneIsAFolder) {
  writeFile(home.root() + "/file", "content");
  ASSERT_EQ(symlink(home.data().c_str(), (home.root() + "/link").c_str()), 0);
  ASSERT_EQ(symlink("/nowhere/at/all", (home.root() + "/nowhere").c_str()), 0);
  EXPECT_TRUE(isFolder(home.data()));
  EXPECT_TRUE(isFolder(home.root() + "/link"));
  for (const char* name : {"/file", "/nowhere", "/missing"}) {
    EXPECT_FALSE(isFolder(home.root() + name)) << name;
  }
  EXPECT_FALSE(isFolder(""));
}

TEST_F(FoldersTest, OwnPathThatCannotBeReadLeadsNowhere) {
  inChild([] {
    ASSERT_TRUE(letCallsFail({SYS_readlink, SYS_readlinkat}, EACCES));
    EXPECT_EQ(executablePath(), "");
    EXPECT_EQ(executableFolder(), "");
    EXPECT_EQ(bundleFolder(), "");
    EXPECT_EQ(moduleFolder(), "");
    std::string error;
    EXPECT_EQ(moduleFunction("qr-image", "softtoken_read_qr_image", &error), nullptr);
    EXPECT_NE(error, "");
  });
}

TEST_F(FoldersTest, OwnFolderIsMadeAndClosed) {
  const std::string path = home.root() + "/own/folder";
  EXPECT_EQ(makeOwnFolder(path), "");
  EXPECT_EQ(modeOf(path), 0700);
  ASSERT_EQ(chmod(path.c_str(), 0777), 0);
  EXPECT_EQ(makeOwnFolder(path), "");
  EXPECT_EQ(modeOf(path), 0700);
  ASSERT_EQ(symlink(path.c_str(), (home.root() + "/link").c_str()), 0);
  EXPECT_EQ(makeOwnFolder(home.root() + "/link"), "") << "a link of the user's own";
}

TEST_F(FoldersTest, OwnFolderThatCannotBeClosedIsTold) {
  ASSERT_EQ(chmod(home.data().c_str(), 0777), 0);
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_fchmod}, EROFS));
    EXPECT_EQ(makeOwnFolder(home.data()),
              "Cannot create the folder " + home.data() +
                  " (Read-only file system); check what is in its place and who may write there");
  });
}

TEST_F(FoldersTest, FolderThatCannotBeMadeIsTold) {
  writeFile(home.root() + "/file", "content");
  const std::string problem = makeOwnFolder(home.root() + "/file/below");
  EXPECT_NE(problem.find("Cannot create the folder " + home.root() + "/file/below ("),
            std::string::npos)
      << problem;
}

TEST_F(FoldersTest, FolderOfAnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  const std::string theirs = home.root() + "/theirs";
  const std::string link = home.root() + "/link";
  ASSERT_EQ(mkdir(theirs.c_str(), 0755), 0);
  ASSERT_EQ(chown(theirs.c_str(), nobody, nobody), 0);
  ASSERT_EQ(symlink(home.data().c_str(), link.c_str()), 0);
  ASSERT_EQ(lchown(link.c_str(), nobody, nobody), 0);
  for (const std::string& path : {theirs, link}) {
    EXPECT_EQ(
        makeOwnFolder(path),
        "The folder " + path + " does not belong to you alone; remove it, or ask its owner to");
  }
  EXPECT_EQ(modeOf(theirs), 0755) << "left alone";
}

TEST_F(FoldersTest, PrivateFolderAndThoseAboveItAreCreated) {
  const mode_t before = umask(0);
  const bool made = makePrivateFolder(home.root() + "/a/b/c");
  umask(before);
  EXPECT_TRUE(made);
  EXPECT_EQ(modeOf(home.root() + "/a"), 0700);
  EXPECT_EQ(modeOf(home.root() + "/a/b"), 0700);
  EXPECT_EQ(modeOf(home.root() + "/a/b/c"), 0700);
}

TEST_F(FoldersTest, FolderThatIsThereStaysAsItIs) {
  ASSERT_EQ(chmod(home.data().c_str(), 0755), 0);
  writeFile(home.data() + "/file", "content");
  EXPECT_TRUE(makePrivateFolder(home.data()));
  EXPECT_EQ(modeOf(home.data()), 0755);
  EXPECT_EQ(readFile(home.data() + "/file"), "content");
}

TEST_F(FoldersTest, LinkToAFolderIsAFolder) {
  ASSERT_EQ(symlink(home.data().c_str(), (home.root() + "/link").c_str()), 0);
  EXPECT_TRUE(makePrivateFolder(home.root() + "/link"));
  EXPECT_TRUE(makePrivateFolder(home.root() + "/link/below"));
  EXPECT_EQ(modeOf(home.data() + "/below"), 0700);
}

TEST_F(FoldersTest, FileInThePlaceOfAFolderIsAFailure) {
  writeFile(home.root() + "/file", "content");
  EXPECT_FALSE(makePrivateFolder(home.root() + "/file"));
  EXPECT_FALSE(makePrivateFolder(home.root() + "/file/below"));
  EXPECT_EQ(readFile(home.root() + "/file"), "content");
}

TEST_F(FoldersTest, LinkThatLeadsNowhereIsAFailure) {
  const std::string link = home.root() + "/link";
  ASSERT_EQ(symlink("/nowhere/at/all", link.c_str()), 0);
  EXPECT_FALSE(makePrivateFolder(link)) << "there is no folder afterwards";
}

TEST_F(FoldersTest, FolderBelowAnUnwritableOneIsAFailure) {
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod(home.data().c_str(), 0500), 0);
    EXPECT_FALSE(makePrivateFolder(home.data() + "/a/b"));
    EXPECT_EQ(chmod(home.data().c_str(), 0700), 0);
  });
}

TEST_F(FoldersTest, FolderAtTheTopIsAFailureForOrdinaryUsers) {
  asOrdinaryUser(home.root(), [] {
    EXPECT_FALSE(makePrivateFolder("/no such folder is here"));
    EXPECT_FALSE(makePrivateFolder("/no such folder is here/below"));
  });
}

TEST_F(FoldersTest, FolderWhoseModeCannotBeSetIsAFailure) {
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_chmod, SYS_fchmodat}, EPERM));
    EXPECT_FALSE(makePrivateFolder(home.root() + "/a"));
  });
}

TEST_F(FoldersTest, FolderIsMadeThoughItCannotBeWrittenThrough) {
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_open, SYS_openat}, EMFILE));
    EXPECT_TRUE(makePrivateFolder(home.root() + "/a/b"));
  });
  EXPECT_EQ(modeOf(home.root() + "/a/b"), 0700);
}

TEST_F(FoldersTest, NoPathIsAFailure) {
  EXPECT_FALSE(makePrivateFolder(""));
}

TEST_F(FoldersTest, LookingCreatesNothing) {
  const std::string folders = homeFolder() + dataFolder() + configFolder() + bundleFolder() +
                              moduleFolder() + withTildeExpanded("~/x");
  EXPECT_GT(folders.size(), 0U);
  EXPECT_EQ(entriesIn(home.home()) + entriesIn(home.data()) + entriesIn(home.config()), 0U);
}

TEST(ProgramFoldersTest, ExecutableFolderIsTheProgramsOwn) {
  const InstalledCopy copy;
  EXPECT_EQ(copy.outputOf("say executable"), copy.root() + "/bin");
}

TEST(ProgramFoldersTest, ModulesLieBesideTheExecutablesFolder) {
  const InstalledCopy copy;
  EXPECT_EQ(copy.outputOf("say modules"), copy.root() + "/lib/softtoken");
}

TEST(ProgramFoldersTest, BundleIsTheSharedFolderWhenThereIsOne) {
  const InstalledCopy copy;
  std::filesystem::create_directories(copy.root() + "/share/softtoken");
  EXPECT_EQ(copy.outputOf("say bundle"), copy.root() + "/share/softtoken");
}

TEST(ProgramFoldersTest, WithoutSharedFolderTheBundleIsTheExecutablesFolder) {
  const InstalledCopy copy;
  EXPECT_EQ(copy.outputOf("say bundle"), copy.root() + "/bin");
  std::filesystem::create_directories(copy.root() + "/share");
  writeFile(copy.root() + "/share/softtoken", "a file, not a folder");
  EXPECT_EQ(copy.outputOf("say bundle"), copy.root() + "/bin");
}

TEST(ProgramFoldersTest, WithoutTheNetworkModuleItSaysWhatToInstall) {
  const InstalledCopy copy;
  const std::string said = copy.outputOf("load");
  EXPECT_TRUE(said.starts_with("Cannot load the network module (")) << said;
  EXPECT_TRUE(said.ends_with("); reinstall the program, with libcurl")) << said;
}

TEST(ProgramFoldersTest, LinkedProgramIsWhereItsFileIs) {
  const InstalledCopy copy;
  std::filesystem::create_directory(copy.root() + "/elsewhere");
  const std::string link = copy.root() + "/elsewhere/link";
  ASSERT_EQ(symlink(copy.program().c_str(), link.c_str()), 0);
  EXPECT_EQ(copy.outputOf("exec '" + link + "'"), copy.root() + "/bin");
}

}  // namespace
}  // namespace talvane::test
