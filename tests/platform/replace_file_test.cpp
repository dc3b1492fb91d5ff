#include "platform/replace_file.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include "tests/support/in_child.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

TEST(ReplaceFile, MakesAndReplacesAFile) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  const std::string large(1000000, 'x');
  for (const std::string& content :
       {std::string("old"), large, std::string(), std::string("a\0b", 3)}) {
    ASSERT_EQ(replaceFile(path, content), 0);
    EXPECT_EQ(readFile(path), content);
    EXPECT_EQ(entriesIn(folder.path()), 1U);
  }
}

TEST(ReplaceFile, TheModeIsTheOneAskedFor) {
  const TemporaryFolder folder;
  for (const mode_t mask : {mode_t{0}, mode_t{077}, mode_t{0777}}) {
    const mode_t before = umask(mask);
    EXPECT_EQ(replaceFile(folder / "private", "x"), 0);
    EXPECT_EQ(replaceFile(folder / "shared", "x", 0644), 0);
    umask(before);
    EXPECT_EQ(modeOf(folder / "private"), 0600);
    EXPECT_EQ(modeOf(folder / "shared"), 0644);
  }
}

TEST(ReplaceFile, AReaderKeepsTheFileItOpened) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  std::ifstream reader(folder / "file");
  ASSERT_EQ(replaceFile(folder / "file", "new"), 0);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
  EXPECT_EQ(readFile(folder / "file"), "new");
}

TEST(ReplaceFile, ALinkIsReplacedAndItsTargetLeftAlone) {
  const TemporaryFolder folder;
  writeFile(folder / "target", "theirs");
  std::filesystem::create_symlink("target", folder / "link");
  ASSERT_EQ(replaceFile(folder / "link", "ours"), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_EQ(readFile(folder / "link"), "ours");
  EXPECT_EQ(readFile(folder / "target"), "theirs");
}

TEST(ReplaceFile, SaysWhyNot) {
  const TemporaryFolder folder;
  EXPECT_EQ(replaceFile(folder / "missing/file", "x"), ENOENT);
  writeFile(folder / "file", "x");
  EXPECT_EQ(replaceFile(folder / "file/below", "x"), ENOTDIR);
  std::filesystem::create_directory(folder / "folder");
  EXPECT_EQ(replaceFile(folder / "folder", "x"), EISDIR);
  EXPECT_EQ(replaceFile(folder / std::string(300, 'n'), "x"), ENAMETOOLONG);
  EXPECT_EQ(entriesIn(folder.path()), 2U);
}

TEST(ReplaceFile, WithoutPermissionTheOldFileStays) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  asOrdinaryUser(folder.path(), [&] {
    ASSERT_EQ(chmod(folder.path().c_str(), 0500), 0);
    EXPECT_EQ(replaceFile(folder / "file", "new"), EACCES);
    EXPECT_EQ(readFile(folder / "file"), "old");
    ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
  });
}

TEST(ReplaceFile, WithoutRoomTheOldFileStays) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  inChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(replaceFile(folder / "file", std::string(1001, 'n')), EFBIG);
    EXPECT_EQ(createFile(folder / "other", std::string(1001, 'n')), EFBIG);
    EXPECT_EQ(replaceFile(folder / "fits", std::string(1000, 'n')), 0);
  });
  EXPECT_EQ(readFile(folder / "file"), "old");
  EXPECT_EQ(entriesIn(folder.path()), 2U);
}

TEST(ReplaceFile, TakesPathsRelativeToTheCurrentFolder) {
  const TemporaryFolder folder;
  inChild([&] {
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    EXPECT_EQ(replaceFile("file", "x"), 0);
    writeFile("file.draft-abcdef", "left");
    removeDrafts("file");
  });
  EXPECT_EQ(readFile(folder / "file"), "x");
  EXPECT_EQ(entriesIn(folder.path()), 1U);
}

TEST(CreateFile, LeavesWhatIsThere) {
  const TemporaryFolder folder;
  ASSERT_EQ(createFile(folder / "file", "first"), 0);
  EXPECT_EQ(modeOf(folder / "file"), 0600);
  EXPECT_EQ(createFile(folder / "file", "second"), EEXIST);
  EXPECT_EQ(readFile(folder / "file"), "first");
  std::filesystem::create_symlink("nowhere", folder / "link");
  EXPECT_EQ(createFile(folder / "link", "x"), EEXIST);
  EXPECT_FALSE(exists(folder / "nowhere"));
  EXPECT_EQ(entriesIn(folder.path()), 2U);
}

TEST(CreateFile, OfManyAtOnceOneWins) {
  for (int round = 0; round < 50; ++round) {
    const TemporaryFolder folder;
    std::vector<int> errors(4, -1);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < errors.size(); ++i) {
      threads.emplace_back([&, i] { errors[i] = createFile(folder / "file", std::to_string(i)); });
    }
    for (std::thread& thread : threads) thread.join();
    const std::string content = readFile(folder / "file");
    for (std::size_t i = 0; i < errors.size(); ++i) {
      EXPECT_EQ(errors[i], content == std::to_string(i) ? 0 : EEXIST);
    }
    EXPECT_EQ(entriesIn(folder.path()), 1U);
  }
}

TEST(RemoveDrafts, RemovesDraftsOfThatFileOnly) {
  const TemporaryFolder folder;
  for (const char* name : {"file.draft-aB3xYz", "file.draft-000000"}) writeFile(folder / name, "");
  const std::vector<std::string> kept{"file",
                                      "file.backup",
                                      "file.abcdef",
                                      "file.draft-x",
                                      "file.draft-abcdefg",
                                      "file.key.draft-abcdef",
                                      "a-file.draft-abcdef"};
  for (const std::string& name : kept) writeFile(folder / name, "");
  removeDrafts(folder / "file");
  for (const std::string& name : kept) EXPECT_TRUE(exists(folder / name)) << name;
  EXPECT_EQ(entriesIn(folder.path()), kept.size());
  removeDrafts(folder / "missing/file");
}

}  // namespace
}  // namespace talvane::test
