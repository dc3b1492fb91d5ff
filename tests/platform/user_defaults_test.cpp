#include "platform/user_defaults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/file_descriptor.h"
#include "platform/file_lock.h"
#include "tests/support/failing_call.h"
#include "tests/support/in_child.h"
#include "tests/support/private_home.h"

namespace talvane::test {
namespace {

using Found = UserDefaults::Found;

class UserDefaultsTest : public testing::Test {
 protected:
  UserDefaultsTest() : folder(home.config() + "/softtoken"), file(folder + "/defaults.conf") {}

  /// The value as a program started now reads it; "unreadable" and "none" where there is none.
  static std::string read(const std::string& key) {
    std::string value = "untouched";
    const Found found = systemUserDefaults()->string(key, &value);
    if (found == Found::yes) return "=" + value;
    EXPECT_EQ(value, "untouched");
    return found == Found::no ? "none" : "unreadable";
  }
  static bool store(const std::string& key, const std::string& value) {
    return systemUserDefaults()->setString(key, value);
  }

  PrivateHome home;
  const std::string folder;
  const std::string file;
};

TEST_F(UserDefaultsTest, NothingIsThereAtFirstAndReadingCreatesNothing) {
  EXPECT_EQ(read("Keychain"), "none");
  EXPECT_FALSE(exists(folder));
}

TEST_F(UserDefaultsTest, StoredValueReadsBack) {
  ASSERT_TRUE(store("Keychain", "vault"));
  EXPECT_EQ(read("Keychain"), "=vault");
  EXPECT_EQ(read("EnrolURL"), "none");
}

TEST_F(UserDefaultsTest, OneObjectSeesWhatAnotherStored) {
  const auto defaults = systemUserDefaults();
  std::string value;
  ASSERT_EQ(defaults->string("Keychain", &value), Found::no);
  ASSERT_TRUE(store("Keychain", "vault"));
  ASSERT_EQ(defaults->string("Keychain", &value), Found::yes);
  EXPECT_EQ(value, "vault");
}

TEST_F(UserDefaultsTest, LaterValueReplacesTheEarlierOne) {
  ASSERT_TRUE(store("Keychain", "vault"));
  ASSERT_TRUE(store("Keychain", "secret-service"));
  EXPECT_EQ(read("Keychain"), "=secret-service");
}

TEST_F(UserDefaultsTest, SeveralValuesChangeTogether) {
  const auto defaults = systemUserDefaults();
  ASSERT_TRUE(store("Keychain", "vault"));
  ASSERT_TRUE(store("KeychainMove", "to secret-service"));
  ASSERT_TRUE(store("Other", "stays"));
  ASSERT_TRUE(defaults->change({{"Keychain", "secret-service"}, {"KeychainMove", std::nullopt}}));
  EXPECT_EQ(read("Keychain"), "=secret-service");
  std::string value;
  EXPECT_EQ(defaults->string("KeychainMove", &value), Found::no);
  EXPECT_EQ(read("Other"), "=stays");
  EXPECT_FALSE(defaults->change({{"Other", "changed"}, {"Keychain", "two\nlines"}}));
  EXPECT_EQ(read("Other"), "=stays");
  EXPECT_EQ(read("Keychain"), "=secret-service");
}

TEST_F(UserDefaultsTest, OtherValuesStay) {
  ASSERT_TRUE(store("Keychain", "vault"));
  ASSERT_TRUE(store("LoginItemPromptDone", "yes"));
  ASSERT_TRUE(store("EnrolURL", "https://srv/taenrol/"));
  EXPECT_EQ(read("Keychain"), "=vault");
  EXPECT_EQ(read("LoginItemPromptDone"), "=yes");
  EXPECT_EQ(read("EnrolURL"), "=https://srv/taenrol/");
}

TEST_F(UserDefaultsTest, ValuesOfAllKindsReadBackAsTheyWereOrAreRefused) {
  for (const std::string value : {"",
                                  "a=b",
                                  "=",
                                  "https://srv/a?b=c&d=%20#part",
                                  "semi;colon",
                                  "#hash",
                                  ";semi",
                                  "[section]",
                                  "\"quoted\"",
                                  "'",
                                  "back\\slash",
                                  "\\n",
                                  "Gr\xC3\xBC\xC3\x9F"
                                  "e",
                                  "inner  blanks",
                                  " blank before",
                                  "blank after ",
                                  "\ttab",
                                  "two\nlines",
                                  "cr\rlf\r\n",
                                  "no text \xFF",
                                  "<<<END",
                                  "long"}) {
    SCOPED_TRACE(value);
    const std::string stored = value == "long" ? std::string(5000, 'x') : value;
    ASSERT_TRUE(store("Before", "before"));
    ASSERT_TRUE(store("Value", "old"));
    if (store("Value", stored)) {
      EXPECT_EQ(read("Value"), "=" + stored);
    } else {
      EXPECT_EQ(read("Value"), "=old");
    }
    EXPECT_EQ(read("Before"), "=before");
    ASSERT_TRUE(store("After", "after"));
    EXPECT_EQ(read("After"), "=after");
  }
}

TEST_F(UserDefaultsTest, ServerAddressIsNotRefused) {
  ASSERT_TRUE(store("EnrolURL", "https://srv:8443/taenrol/?a=b;c=%20#d"));
  EXPECT_EQ(read("EnrolURL"), "=https://srv:8443/taenrol/?a=b;c=%20#d");
}

TEST_F(UserDefaultsTest, FileAndFolderArePrivateUnderAnyUmask) {
  const mode_t before = umask(0);
  const bool stored = store("Keychain", "vault");
  umask(before);
  ASSERT_TRUE(stored);
  EXPECT_EQ(modeOf(folder), 0700);
  EXPECT_EQ(modeOf(file), 0600);
}

TEST_F(UserDefaultsTest, NothingElseIsLeftInTheFolder) {
  ASSERT_TRUE(store("Keychain", "vault"));
  ASSERT_TRUE(store("Keychain", "secret-service"));
  EXPECT_EQ(entriesIn(folder), 1U);
}

TEST_F(UserDefaultsTest, FileIsAKeyFile) {
  ASSERT_TRUE(store("Keychain", "vault"));
  const std::string content = readFile(file);
  const std::size_t group = content.find("[softtoken]\n");
  ASSERT_NE(group, std::string::npos) << content;
  const std::size_t key = content.find("Keychain", group);
  ASSERT_NE(key, std::string::npos) << content;
  EXPECT_EQ(content.substr(key + 8, content.find('\n', key) - key - 8).find_first_not_of(" ="),
            content.substr(key + 8).find("vault"));
}

TEST_F(UserDefaultsTest, FileWrittenByHandIsRead) {
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  writeFile(file, "# by hand\n\n[softtoken]\nKeychain=vault\n# more\nEnrolURL=https://srv/\n");
  EXPECT_EQ(read("Keychain"), "=vault");
  EXPECT_EQ(read("EnrolURL"), "=https://srv/");
  ASSERT_TRUE(store("LoginItemPromptDone", "yes"));
  EXPECT_EQ(read("Keychain"), "=vault");
}

TEST_F(UserDefaultsTest, EmptyFileHoldsNothing) {
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  writeFile(file, "");
  EXPECT_EQ(read("Keychain"), "none");
  ASSERT_TRUE(store("Keychain", "vault"));
  EXPECT_EQ(read("Keychain"), "=vault");
}

TEST_F(UserDefaultsTest, UnreadableFileIsNotTakenForEmptyNorWrittenOver) {
  ASSERT_TRUE(store("Keychain", "vault"));
  const std::string before = readFile(file);
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    EXPECT_EQ(read("Keychain"), "unreadable");
    EXPECT_FALSE(store("Keychain", "secret-service"));
    EXPECT_EQ(chmod(file.c_str(), 0600), 0);
  });
  EXPECT_EQ(readFile(file), before);
}

TEST_F(UserDefaultsTest, FileBehindALockedFolderIsNotTakenForMissing) {
  ASSERT_TRUE(store("Keychain", "vault"));
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod(folder.c_str(), 0), 0);
    EXPECT_EQ(read("Keychain"), "unreadable");
    EXPECT_FALSE(store("Keychain", "secret-service"));
    EXPECT_EQ(chmod(folder.c_str(), 0700), 0);
    EXPECT_EQ(read("Keychain"), "=vault");
  });
}

TEST_F(UserDefaultsTest, FolderInTheFilesPlaceIsUnreadable) {
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  ASSERT_EQ(mkdir(file.c_str(), 0700), 0);
  inChild([&] {
    EXPECT_EQ(read("Keychain"), "unreadable");
    EXPECT_FALSE(store("Keychain", "vault"));
  });
  EXPECT_TRUE(exists(file));
}

TEST_F(UserDefaultsTest, PipeInTheFilesPlaceIsUnreadableAndDoesNotHang) {
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  inChild(
      [&] {
        EXPECT_EQ(read("Keychain"), "unreadable");
        EXPECT_FALSE(store("Keychain", "vault"));
      },
      10);
}

TEST_F(UserDefaultsTest, FileInTheFoldersPlaceIsUnreadable) {
  writeFile(folder, "a file");
  EXPECT_EQ(read("Keychain"), "unreadable");
  EXPECT_FALSE(store("Keychain", "vault"));
  EXPECT_EQ(readFile(folder), "a file");
}

TEST_F(UserDefaultsTest, UnwritableFolderIsAFailureThatChangesNothing) {
  ASSERT_TRUE(store("Keychain", "vault"));
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod(folder.c_str(), 0500), 0);
    EXPECT_FALSE(store("Keychain", "secret-service"));
    EXPECT_EQ(read("Keychain"), "=vault");
    EXPECT_EQ(chmod(folder.c_str(), 0700), 0);
  });
}

TEST_F(UserDefaultsTest, FolderThatCannotBeCreatedIsAFailure) {
  asOrdinaryUser(home.root(), [&] {
    ASSERT_EQ(chmod(home.config().c_str(), 0500), 0);
    EXPECT_EQ(read("Keychain"), "none");
    EXPECT_FALSE(store("Keychain", "vault"));
    EXPECT_EQ(chmod(home.config().c_str(), 0700), 0);
  });
}

TEST_F(UserDefaultsTest, BytesThatAreNoKeyFileDoNoHarm) {
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  for (const std::string& content :
       {std::string("\0\xFF\xFE\n[softtoken\n=\n==\n", 18), std::string(70000, '['),
        std::string("\xEF\xBB\xBF[softtoken]\nKeychain=vault\n"), std::string(1, '\0')}) {
    writeFile(file, content);
    inChild([&] {
      const std::string value = read("Keychain");
      EXPECT_TRUE(value == "none" || value == "unreadable" || value == "=vault") << value;
    });
  }
}

TEST_F(UserDefaultsTest, ProgramsThatStoreAtTheSameTimeLoseNothing) {
  std::vector<std::thread> programs;
  for (int i = 0; i < 8; ++i) {
    programs.emplace_back([i] { EXPECT_TRUE(store("Key" + std::to_string(i), "kept")); });
  }
  for (std::thread& program : programs) program.join();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(read("Key" + std::to_string(i)), "=kept") << i;
}

TEST_F(UserDefaultsTest, FolderThatAnotherProgramKeepsLockedIsWaitedForTwoSeconds) {
  ASSERT_TRUE(store("Keychain", "vault"));
  const FileDescriptor theirs(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(lockFile(theirs.get(), std::chrono::seconds(0)), 0);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(store("Keychain", "secret-service"));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
  EXPECT_EQ(read("Keychain"), "=vault") << "reading does not wait";
}

TEST_F(UserDefaultsTest, FileSystemWithoutLocksWillDo) {
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_flock}, ENOLCK));
    EXPECT_TRUE(store("Keychain", "vault"));
  });
  EXPECT_EQ(read("Keychain"), "=vault");
}

TEST_F(UserDefaultsTest, DiskThatCannotBeReadIsNotTakenForEmptyNorWrittenOver) {
  ASSERT_TRUE(store("Keychain", "vault"));
  inChild([&] {
    ASSERT_TRUE(letCallsFail({SYS_read}, EIO));
    EXPECT_EQ(read("Keychain"), "unreadable");
    EXPECT_FALSE(store("Keychain", "secret-service"));
  });
  EXPECT_EQ(read("Keychain"), "=vault");
}

TEST_F(UserDefaultsTest, DraftsOfKilledProgramsAreRemoved) {
  ASSERT_TRUE(store("Keychain", "vault"));
  writeFile(file + ".draft-abcdef", "half");
  ASSERT_TRUE(store("EnrolURL", "x"));
  EXPECT_FALSE(exists(file + ".draft-abcdef"));
}

}  // namespace
}  // namespace talvane::test
