#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <regex>
#include <string>

#include "platform/linux/device_identifiers_linux.h"
#include "tests/support/in_child.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

class DeviceIdentifiersTest : public testing::Test {
 protected:
  DeviceIdentifiersTest() {
    paths.machine_id = folder / "machine-id";
    paths.mountinfo = folder / "mountinfo";
    paths.volume_links = folder / "by-uuid";
    identifiers = deviceIdentifiersFrom(paths);
    EXPECT_EQ(chmod(folder.path().c_str(), 0755), 0);
    EXPECT_EQ(mkdir(paths.volume_links.c_str(), 0755), 0);
  }

  /// A block device's node; false where that is not allowed.
  [[nodiscard]] bool makeDevice(const std::string& name, unsigned major, unsigned minor) const {
    return mknod((folder / name).c_str(), S_IFBLK | 0600, makedev(major, minor)) == 0;
  }
  void linkVolume(const std::string& uuid, const std::string& target) const {
    ASSERT_EQ(symlink(("../" + target).c_str(), (folder / ("by-uuid/" + uuid)).c_str()), 0);
  }
  [[nodiscard]] std::string mountLine(const std::string& number, const std::string& point,
                                      const std::string& source) const {
    return "29 1 " + number + " / " + point + " rw,relatime shared:1 master:2 - ext4 " + source +
           " rw,errors=remount-ro\n";
  }

  TemporaryFolder folder;
  DeviceIdentifierPaths paths;
  std::unique_ptr<DeviceIdentifiers> identifiers;
};

TEST_F(DeviceIdentifiersTest, SerialNumberIsTheMachineIdWithoutItsLineEnd) {
  writeFile(paths.machine_id, "0123456789abcdef0123456789abcdef\n");
  EXPECT_EQ(identifiers->read().serial_number, "0123456789abcdef0123456789abcdef");
}

TEST_F(DeviceIdentifiersTest, MachineIdNeedsNoLineEnd) {
  writeFile(paths.machine_id, "0123456789abcdef0123456789abcdef");
  EXPECT_EQ(identifiers->read().serial_number, "0123456789abcdef0123456789abcdef");
}

TEST_F(DeviceIdentifiersTest, MissingOrEmptySourcesGiveEmptyTexts) {
  EXPECT_EQ(identifiers->read().serial_number, "");
  EXPECT_EQ(identifiers->read().volume_uuid, "");
  writeFile(paths.machine_id, "");
  writeFile(paths.mountinfo, "");
  const auto fresh = deviceIdentifiersFrom(paths);
  EXPECT_EQ(fresh->read().serial_number, "");
  EXPECT_EQ(fresh->read().volume_uuid, "");
  ASSERT_EQ(rmdir(paths.volume_links.c_str()), 0);
  EXPECT_EQ(deviceIdentifiersFrom(paths)->read().volume_uuid, "");
}

TEST_F(DeviceIdentifiersTest, FolderInThePlaceOfASourceGivesAnEmptyText) {
  ASSERT_EQ(mkdir(paths.machine_id.c_str(), 0755), 0);
  ASSERT_EQ(mkdir(paths.mountinfo.c_str(), 0755), 0);
  inChild([&] {
    EXPECT_EQ(identifiers->read().serial_number, "");
    EXPECT_EQ(identifiers->read().volume_uuid, "");
  });
}

TEST_F(DeviceIdentifiersTest, MissingSourcesAreNoProblem) {
  ASSERT_EQ(rmdir(paths.volume_links.c_str()), 0);
  EXPECT_EQ(identifiers->read().serial_number, "");
  EXPECT_EQ(identifiers->read().volume_uuid, "");
  EXPECT_NE(identifiers->read().login_name, "");
  EXPECT_EQ(identifiers->read().problem, "");
}

TEST_F(DeviceIdentifiersTest, FileInThePlaceOfAFolderIsNoProblem) {
  ASSERT_EQ(rmdir(paths.volume_links.c_str()), 0);
  writeFile(paths.volume_links, "no folder");
  EXPECT_EQ(identifiers->read().volume_uuid, "");
  EXPECT_EQ(identifiers->read().problem, "");
}

TEST_F(DeviceIdentifiersTest, SourceThatCannotBeReadIsToldAndReadAgain) {
  writeFile(paths.mountinfo, "");
  ASSERT_EQ(mkdir(paths.machine_id.c_str(), 0755), 0);
  EXPECT_EQ(identifiers->read().serial_number, "");
  EXPECT_EQ(identifiers->read().problem, paths.machine_id + ": Is a directory");
  ASSERT_EQ(rmdir(paths.machine_id.c_str()), 0);
  writeFile(paths.machine_id, "one\n");
  EXPECT_EQ(identifiers->read().serial_number, "one");
  EXPECT_EQ(identifiers->read().problem, "");

  const auto fresh = deviceIdentifiersFrom(paths);
  ASSERT_EQ(unlink(paths.mountinfo.c_str()), 0);
  ASSERT_EQ(mkdir(paths.mountinfo.c_str(), 0755), 0);
  EXPECT_EQ(fresh->read().problem, paths.mountinfo + ": Is a directory");
  ASSERT_EQ(rmdir(paths.mountinfo.c_str()), 0);
  EXPECT_EQ(fresh->read().problem, "");
}

TEST_F(DeviceIdentifiersTest, LinkThatCannotBeFollowedIsToldUnlessAnotherOneLeads) {
  writeFile(paths.mountinfo, mountLine("240:2", "/", "/dev/none"));
  linkVolume("loop", "by-uuid/loop");
  EXPECT_EQ(identifiers->read().volume_uuid, "");
  const std::string problem = paths.volume_links + "/loop: Too many levels of symbolic links";
  EXPECT_EQ(identifiers->read().problem, problem);
  linkVolume("dead-link", "missing");
  EXPECT_EQ(identifiers->read().problem, problem);
  linkVolume("loops", "by-uuid/loop");
  const std::string either = identifiers->read().problem;
  EXPECT_TRUE(either == problem ||
              either == paths.volume_links + "/loops" + problem.substr(problem.rfind(':')))
      << "one of them: " << either;
  if (!makeDevice("sda2", 240, 2)) GTEST_SKIP() << "device nodes may not be made here";
  linkVolume("aaaa", "sda2");
  EXPECT_EQ(identifiers->read().volume_uuid, "AAAA");
  EXPECT_EQ(identifiers->read().problem, "");
}

TEST_F(DeviceIdentifiersTest, ChangedMachineIdIsReadAgain) {
  EXPECT_EQ(identifiers->read().serial_number, "");
  writeFile(folder / "new", "one\n");
  ASSERT_EQ(rename((folder / "new").c_str(), paths.machine_id.c_str()), 0);
  EXPECT_EQ(identifiers->read().serial_number, "one");
  writeFile(folder / "new", "two\n");
  ASSERT_EQ(rename((folder / "new").c_str(), paths.machine_id.c_str()), 0);
  EXPECT_EQ(identifiers->read().serial_number, "two");
  ASSERT_EQ(unlink(paths.machine_id.c_str()), 0);
  EXPECT_EQ(identifiers->read().serial_number, "");
}

TEST_F(DeviceIdentifiersTest, VolumeIsFoundByTheDeviceNumberOfTheRootMount) {
  if (!makeDevice("sda1", 240, 1) || !makeDevice("sda2", 240, 2)) {
    GTEST_SKIP() << "device nodes may not be made here";
  }
  linkVolume("11111111-aaaa-4bbb-8ccc-dddddddddddd", "sda1");
  linkVolume("22222222-aaaa-4bbb-8ccc-ddddddddddef", "sda2");
  writeFile(paths.mountinfo, mountLine("240:1", "/boot", "/dev/none") +
                                 mountLine("240:2", "/", "/dev/none") +
                                 mountLine("240:1", "/home", "/dev/none"));
  EXPECT_EQ(identifiers->read().volume_uuid, "22222222-AAAA-4BBB-8CCC-DDDDDDDDDDEF");
}

TEST_F(DeviceIdentifiersTest, VolumeIsFoundByTheNodeOfTheRootMount) {
  if (!makeDevice("sda1", 240, 1) || !makeDevice("sda2", 240, 2)) {
    GTEST_SKIP() << "device nodes may not be made here";
  }
  linkVolume("aaaa-bbbb", "sda1");
  linkVolume("cccc-dddd", "sda2");
  // Some file systems show a number of their own.
  writeFile(paths.mountinfo, mountLine("0:35", "/", folder / "sda2"));
  EXPECT_EQ(identifiers->read().volume_uuid, "CCCC-DDDD");
}

TEST_F(DeviceIdentifiersTest, LastMountAtTheRootCounts) {
  if (!makeDevice("sda1", 240, 1) || !makeDevice("sda2", 240, 2)) {
    GTEST_SKIP() << "device nodes may not be made here";
  }
  linkVolume("aaaa-bbbb", "sda1");
  linkVolume("cccc-dddd", "sda2");
  writeFile(paths.mountinfo,
            mountLine("240:1", "/", "/dev/none") + mountLine("240:2", "/", "/dev/none"));
  EXPECT_EQ(identifiers->read().volume_uuid, "CCCC-DDDD");
}

TEST_F(DeviceIdentifiersTest, RootWithoutADeviceHasNoUuid) {
  if (!makeDevice("sda1", 240, 1)) GTEST_SKIP() << "device nodes may not be made here";
  linkVolume("aaaa-bbbb", "sda1");
  linkVolume("dead-link", "missing");
  linkVolume("not-a-device", "mountinfo");
  writeFile(paths.mountinfo, mountLine("0:35", "/", "overlay"));
  EXPECT_EQ(identifiers->read().volume_uuid, "");
}

TEST_F(DeviceIdentifiersTest, BrokenMountTablesGiveAnEmptyText) {
  for (const char* table : {"\n\n", "garbage", "29 1 x:y / / rw", "29 1 240:1 / / rw - ",
                            "- - - - /", "1 2 99999999999999999999:-5 / / - ext4 /dev/none rw\n"}) {
    writeFile(paths.mountinfo, table);
    EXPECT_EQ(deviceIdentifiersFrom(paths)->read().volume_uuid, "") << table;
  }
}

std::string expectedUser(const passwd& entry) {
  const std::string name = entry.pw_name;
  std::string upper = name;
  // Login names of these systems are ASCII.
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  std::array<char, 80> tail{};
  std::snprintf(tail.data(), tail.size(), "%dFFFFEEEE-DDDD-CCCC-BBBB-AAAA%08X",
                static_cast<int>(entry.pw_uid), entry.pw_uid);
  return name + upper + tail.data();
}

TEST_F(DeviceIdentifiersTest, UserIsNameUpperCaseNameIdAndUuid) {
  const passwd* entry = getpwuid(getuid());
  if (entry == nullptr) GTEST_SKIP() << "this user is not in the password database";
  EXPECT_EQ(identifiers->read().user, expectedUser(*entry));
  EXPECT_EQ(identifiers->read().login_name, entry->pw_name);
}

TEST_F(DeviceIdentifiersTest, UserOfRootToTheLetter) {
  if (getuid() != 0) GTEST_SKIP() << "not root";
  EXPECT_EQ(identifiers->read().user, "rootROOT0FFFFEEEE-DDDD-CCCC-BBBB-AAAA00000000");
}

TEST_F(DeviceIdentifiersTest, UserOfNobodyToTheLetter) {
  const passwd* entry = getpwuid(nobody);
  if (geteuid() != 0 || entry == nullptr || entry->pw_name != std::string("nobody")) {
    GTEST_SKIP() << "not root, or no user nobody";
  }
  asOrdinaryUser(folder.path(), [&] {
    EXPECT_EQ(identifiers->read().user, "nobodyNOBODY65534FFFFEEEE-DDDD-CCCC-BBBB-AAAA0000FFFE");
    EXPECT_EQ(identifiers->read().login_name, "nobody");
  });
}

TEST_F(DeviceIdentifiersTest, ChangedUserIsReadAgain) {
  if (geteuid() != 0) GTEST_SKIP() << "not root";
  EXPECT_EQ(identifiers->read().login_name, "root");
  asOrdinaryUser(folder.path(), [&] { EXPECT_NE(identifiers->read().login_name, "root"); });
}

TEST_F(DeviceIdentifiersTest, UserOutsideThePasswordDatabaseDoesNoHarm) {
  if (geteuid() != 0 || getpwuid(54321) != nullptr) GTEST_SKIP() << "not root, or a user 54321";
  inChild([&] {
    becomeOrdinaryUser(54321);
    EXPECT_EQ(identifiers->read().login_name, "");
    EXPECT_EQ(identifiers->read().user, "");
    EXPECT_EQ(identifiers->read().problem, "user 54321 has no login name in the user database");
  });
}

TEST_F(DeviceIdentifiersTest, EnvironmentDoesNotChangeTheUser) {
  const std::string before = identifiers->read().user;
  inChild([&] {
    setenv("USER", "mallory", 1);
    setenv("LOGNAME", "mallory", 1);
    setenv("HOME", "/", 1);
    EXPECT_EQ(deviceIdentifiersFrom(paths)->read().user, before);
  });
}

TEST_F(DeviceIdentifiersTest, SourcesReadTheSameWithAndWithoutPrivileges) {
  if (geteuid() != 0) GTEST_SKIP() << "not root";
  if (!makeDevice("sda1", 240, 1)) GTEST_SKIP() << "device nodes may not be made here";
  linkVolume("aaaa-bbbb", "sda1");
  writeFile(paths.mountinfo, mountLine("240:1", "/", "/dev/none"));
  writeFile(paths.machine_id, "0123456789abcdef\n");
  ASSERT_EQ(chmod(paths.machine_id.c_str(), 0444), 0);
  inChild([&] {
    becomeOrdinaryUser();
    EXPECT_EQ(identifiers->read().serial_number, "0123456789abcdef");
    EXPECT_EQ(identifiers->read().volume_uuid, "AAAA-BBBB");
  });
}

TEST_F(DeviceIdentifiersTest, SystemsOwnSourcesReadTheSameWithAndWithoutPrivileges) {
  if (geteuid() != 0) GTEST_SKIP() << "not root";
  const auto system = systemDeviceIdentifiers();
  const std::string serial = system->read().serial_number;
  const std::string volume = system->read().volume_uuid;
  inChild([&] {
    becomeOrdinaryUser();
    const auto fresh = systemDeviceIdentifiers();
    EXPECT_EQ(fresh->read().serial_number, serial);
    EXPECT_EQ(fresh->read().volume_uuid, volume);
  });
}

TEST_F(DeviceIdentifiersTest, SystemsOwnTextsHaveTheirForm) {
  const auto system = systemDeviceIdentifiers();
  EXPECT_TRUE(std::regex_match(system->read().serial_number, std::regex("([0-9a-f]{32})?")))
      << system->read().serial_number;
  EXPECT_TRUE(std::regex_match(system->read().volume_uuid, std::regex("[0-9A-F-]*")))
      << system->read().volume_uuid;
}

}  // namespace
}  // namespace talvane::test
