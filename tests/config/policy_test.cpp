// The administrator's policy, in a place of the tests'; whoever runs them stands for root.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "config/ini.h"
#include "tests/config/settings_places.h"
#include "tests/config/trace_file.h"
#include "tests/support/in_child.h"
#include "tests/support/memory_user_defaults.h"

namespace talvane::test {
namespace {

using Texts = std::vector<std::string>;

class PolicyTest : public testing::Test {
 protected:
  PolicyTest() {
    std::filesystem::create_directory(places.root() + "/policy");
    setModes(0755);
  }
  void setPolicy(const std::string& text, mode_t mode = 0644) const {
    writeFile(policy(), text);
    EXPECT_EQ(chmod(policy().c_str(), mode), 0);
  }
  void setModes(mode_t folder) const {
    EXPECT_EQ(chmod((places.root() + "/policy").c_str(), folder), 0);
  }
  void setSettings(const std::string& text) const { writeFile(places.home(), text); }
  [[nodiscard]] std::string policy() const { return places.root() + "/policy/policy.ini"; }
  [[nodiscard]] SettingsFolders folders() const {
    SettingsFolders result = places.folders();
    result.policy = policy();
    result.policy_owner = geteuid();
    return result;
  }
  /// It is there, and changes nothing.
  void expectIgnored(const std::string& reason) {
    ini.read();
    EXPECT_NE(ini.policyProblem().find(policy()), std::string::npos) << ini.policyProblem();
    EXPECT_NE(ini.policyProblem().find(reason), std::string::npos) << ini.policyProblem();
    EXPECT_EQ(ini.policyFile(), "");
    EXPECT_FALSE(ini.bAllowHTTP);
  }
  Ini::Entry entry(std::string_view key) {
    for (const Ini::Entry& one : ini.entries()) {
      if (one.key == key) return one;
    }
    ADD_FAILURE() << key;
    return {};
  }

  SettingsPlaces places;
  MemoryUserDefaults defaults;
  Ini ini{defaults, folders()};
};

TEST_F(PolicyTest, ItsKeysWinOverTheUsersFile) {
  setSettings("AllowHTTP=true\nAllowManual=true\nStrUsername=Name\n");
  setPolicy("# comment\nallowhttp=false\nEnrolURL=https://srv\n");
  ini.read();
  EXPECT_FALSE(ini.bAllowHTTP);
  EXPECT_TRUE(ini.bAllowManual) << "it says nothing of this";
  EXPECT_EQ(ini.EnrolURL, "https://srv");
  EXPECT_EQ(ini.file(), places.home());
  EXPECT_EQ(ini.policyFile(), policy());
  EXPECT_EQ(ini.policyProblem(), "");
}

TEST_F(PolicyTest, ItsKeysWinOverTheSystemsAndTheBundlesFile) {
  setPolicy("AllowManual=no\n");
  for (const std::string& file : {places.bundle(), places.system()}) {
    writeFile(file, "AllowManual=yes\nDebug=yes\n");
    ini.read();
    EXPECT_FALSE(ini.bAllowManual) << file;
    EXPECT_TRUE(ini.bDebug) << file;
    EXPECT_EQ(ini.file(), file);
  }
}

TEST_F(PolicyTest, WorksWithoutAnyOtherFile) {
  setPolicy("AllowManual=yes\n");
  ini.read();
  EXPECT_TRUE(ini.bAllowManual);
  EXPECT_EQ(ini.file(), "");
}

TEST_F(PolicyTest, EmptyValueIsTheDefault) {
  setSettings("AllowHTTP=true\nStrUsername=Name\n");
  setPolicy("AllowHTTP=\nStrUsername=\n");
  ini.read();
  EXPECT_FALSE(ini.bAllowHTTP);
  EXPECT_EQ(ini.StrUsername, "Username");
}

TEST_F(PolicyTest, LineWithoutEqualsEndsIt) {
  setPolicy("AllowManual=yes\nstop\nDebug=yes\n");
  ini.read();
  EXPECT_TRUE(ini.bAllowManual);
  EXPECT_FALSE(ini.bDebug);
}

TEST_F(PolicyTest, SourcesAreTold) {
  setSettings("AllowHTTP=true\nAllowManual=true\n");
  setPolicy("AllowHTTP=false\nStrPasscode=\n");
  ini.read();
  EXPECT_EQ(entry("AllowHTTP").file, policy());
  EXPECT_EQ(entry("AllowHTTP").value, "false");
  EXPECT_EQ(entry("AllowManual").file, places.home());
  EXPECT_TRUE(entry("AllowManual").from_file);
  EXPECT_EQ(entry("StrPasscode").file, "");
  EXPECT_FALSE(entry("Debug").from_file);
}

TEST_F(PolicyTest, MissingOneLeavesNoTrace) {
  setSettings("AllowHTTP=true\n");
  const auto traced = [this](const SettingsFolders& where) {
    const TraceFile trace;
    Ini(defaults, where).read();
    return trace.texts();
  };
  const Texts without = traced(places.folders());
  EXPECT_EQ(traced(folders()), without);
  std::filesystem::remove(places.root() + "/policy");
  EXPECT_EQ(traced(folders()), without) << "without its folder";
}

TEST_F(PolicyTest, IsTracedBehindTheFile) {
  setSettings("A=1\n");
  setPolicy("B=2\n");
  const TraceFile trace;
  ini.read();
  Texts texts = trace.texts();
  texts.resize(6);
  EXPECT_EQ(
      texts,
      (Texts{"TaSettings:readfile: begin: " + places.home(),
             "TaSettings:readfile: trimmed line: 'A=1'", "TaSettings:readfile:   key:'A' value:'1'",
             "TaSettings:readfile: begin: " + policy(), "TaSettings:readfile: trimmed line: 'B=2'",
             "TaSettings:readfile:   key:'B' value:'2'"}));
}

TEST_F(PolicyTest, OneThatOthersCanWriteIsIgnored) {
  for (const mode_t mode : {mode_t{0664}, mode_t{0646}}) {
    setPolicy("AllowHTTP=true\n", mode);
    expectIgnored("others than root can change it");
  }
}

TEST_F(PolicyTest, OneInAFolderThatOthersCanWriteIsIgnored) {
  setPolicy("AllowHTTP=true\n");
  for (const mode_t mode : {mode_t{0775}, mode_t{0757}, mode_t{01777}}) {
    setModes(mode);
    expectIgnored("others than root can change it");
  }
}

TEST_F(PolicyTest, OneOfAnotherUserIsIgnored) {
  setPolicy("AllowHTTP=true\n");
  SettingsFolders others = folders();
  others.policy_owner = geteuid() + 1;
  Ini of_others(defaults, others);
  of_others.read();
  EXPECT_FALSE(of_others.bAllowHTTP);
  EXPECT_NE(of_others.policyProblem(), "");
}

TEST_F(PolicyTest, OneThatCannotBeReadIsIgnored) {
  std::filesystem::create_directory(policy());
  expectIgnored("cannot be read");
  std::filesystem::remove(policy());
  setPolicy("AllowHTTP=true\nx=\xFF\n");
  expectIgnored("not UTF-8");
}

TEST_F(PolicyTest, OneThatIsIgnoredLeavesTheFilesAsTheyAre) {
  setSettings("AllowManual=true\n");
  setPolicy("AllowManual=false\n", 0666);
  ini.read();
  EXPECT_TRUE(ini.bAllowManual);
  EXPECT_EQ(ini.file(), places.home());
}

TEST_F(PolicyTest, SystemsOwnIsRoots) {
  const SettingsFolders system = SettingsFolders::ofThisSystem();
  EXPECT_EQ(system.policy, "/etc/softtoken/policy.ini");
  EXPECT_EQ(system.policy_owner, 0U);
}

TEST_F(PolicyTest, LoginItems) {
  ini.read();
  EXPECT_EQ(ini.atLogin(), Ini::AtLogin::ask);
  for (const auto& [value, meaning] : {std::pair("on", Ini::AtLogin::on),
                                       {"OFF", Ini::AtLogin::off},
                                       {"Ask", Ini::AtLogin::ask},
                                       {"yes", Ini::AtLogin::ask},
                                       {"", Ini::AtLogin::ask}}) {
    setPolicy(std::string("LoginItems=") + value + "\n");
    ini.read();
    EXPECT_EQ(ini.atLogin(), meaning) << value;
  }
}

}  // namespace
}  // namespace talvane::test
