#include "platform/trace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/watched.h"
#include "tests/support/in_child.h"
#include "tests/support/private_home.h"

namespace {

// What getpid(2) is to say; 0: the truth.
pid_t pretended_process = 0;

// Whether fchmod(2) met a file that others than its owner could have opened until then.
std::atomic<bool> was_open_to_others = false;

}  // namespace

// These take the C library's place in this program.
extern "C" int fchmod(int descriptor, mode_t mode) noexcept {
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && (status.st_mode & 077) != 0) was_open_to_others = true;
  return static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
}

extern "C" pid_t getpid() noexcept {
  return pretended_process != 0 ? pretended_process : static_cast<pid_t>(syscall(SYS_getpid));
}

namespace talvane::test {
namespace {

constexpr std::size_t four_mebibytes = 4194304;

/// The text behind the header of a file's only entry; empty when it is not one entry.
std::string onlyText(const std::string& content) {
  static const std::regex entry(R"(^\d\d:\d\d:\d\d \[\d{5,}\] ([^\r\n]*)\r\n$)");
  std::smatch match;
  return std::regex_match(content, match, entry) ? match[1].str() : std::string();
}

class TraceTest : public testing::Test {
 protected:
  TraceTest() { talibobjc_Trace::traceSet(path); }
  ~TraceTest() override {
    talibobjc_Trace::traceOn(false);
    pretended_process = 0;
  }

  [[nodiscard]] std::string content() const { return readFile(path); }

  TemporaryFolder folder;
  const std::string path = folder / "softtoken.txt";
};

TEST_F(TraceTest, IsOffUntilSwitchedOn) {
  EXPECT_FALSE(talibobjc_Trace::isOn());
  talibobjc_Trace::traceNSString("lost");
  EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr);
  EXPECT_FALSE(exists(path));
}

TEST_F(TraceTest, SettingThePathSwitchesOff) {
  talibobjc_Trace::traceOn(true);
  EXPECT_TRUE(talibobjc_Trace::isOn());
  talibobjc_Trace::traceSet(folder / "other.txt");
  EXPECT_FALSE(talibobjc_Trace::isOn());
  talibobjc_Trace::traceNSString("lost");
  EXPECT_FALSE(exists(path));
  EXPECT_FALSE(exists(folder / "other.txt"));
}

TEST_F(TraceTest, SwitchingOffStopsIt) {
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("kept");
  talibobjc_Trace::traceOn(false);
  talibobjc_Trace::traceNSString("lost");
  EXPECT_EQ(onlyText(content()), "kept");
}

TEST_F(TraceTest, EntryIsTimeProcessTextAndLineEnd) {
  // A zone that is half an hour off the full hour and has no daylight saving.
  Environment environment;
  environment.set("TZ", "TEST-05:30");
  tzset();
  talibobjc_Trace::traceOn(true);
  const std::time_t before = std::time(nullptr);
  talibobjc_Trace::traceNSString("Hello");
  const std::time_t after = std::time(nullptr);
  const std::string written = content();
  bool expected = false;
  for (std::time_t second = before; second <= after; ++second) {
    const auto local = static_cast<unsigned>((second + 5 * 3600 + 30 * 60) % 86400);
    expected =
        expected || written == fmt::format("{:02}:{:02}:{:02} [{:05}] Hello\r\n", local / 3600,
                                           local / 60 % 60, local % 60, syscall(SYS_getpid));
  }
  EXPECT_TRUE(expected) << written;
  environment.unset("TZ");
  tzset();
}

TEST_F(TraceTest, ShortProcessIdIsPaddedToFiveDigits) {
  pretended_process = 312;
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("x");
  EXPECT_EQ(content().substr(8), " [00312] x\r\n");
}

TEST_F(TraceTest, LongProcessIdIsNotCut) {
  pretended_process = 123456;
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("x");
  EXPECT_EQ(content().substr(8), " [123456] x\r\n");
}

TEST_F(TraceTest, EntriesFollowEachOther) {
  pretended_process = 1;
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("one");
  EXPECT_EQ(content().substr(8), " [00001] one\r\n") << "on disk when the write returns";
  talibobjc_Trace::traceNSString("two");
  EXPECT_EQ(content().substr(8, 14), " [00001] one\r\n");
  EXPECT_EQ(content().substr(30), " [00001] two\r\n");
}

TEST_F(TraceTest, LineBreaksAreWrittenAsTheyAre) {
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("first\nsecond\r\nthird");
  EXPECT_TRUE(content().ends_with("] first\nsecond\r\nthird\r\n"));
}

TEST_F(TraceTest, TextIsWrittenByteForByte) {
  talibobjc_Trace::traceOn(true);
  const std::string text("100% %s {} \xC3\xB6\0\xE2\x82\xAC", 17);
  talibobjc_Trace::traceNSString(text);
  EXPECT_TRUE(content().ends_with("] " + text + "\r\n"));
}

TEST_F(TraceTest, EmptyTextIsAnEntry) {
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("");
  EXPECT_TRUE(content().ends_with("] \r\n")) << content();
}

TEST_F(TraceTest, FormattedTextIsWritten) {
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceWithFormat("APP: {}:{}", "openWindow", 7);
  EXPECT_EQ(onlyText(content()), "APP: openWindow:7");
}

TEST_F(TraceTest, NothingIsFormattedWhileOff) {
  int count = 0;
  talibobjc_Trace::traceWithFormat("{}", Watched{&count});
  EXPECT_EQ(count, 0);
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceWithFormat("{}", Watched{&count});
  EXPECT_EQ(count, 1);
}

TEST_F(TraceTest, OpenWritesTheHeaderAndLeavesTheRestToItsCaller) {
  pretended_process = 42;
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::Handle handle = talibobjc_Trace::traceOpen();
  ASSERT_NE(handle, nullptr);
  std::fputs("tail", handle.get());
  talibobjc_Trace::traceClose(std::move(handle));
  EXPECT_EQ(content().substr(8), " [00042] tail");
  talibobjc_Trace::traceClose(nullptr);
}

TEST_F(TraceTest, TildeStandsForTheHome) {
  PrivateHome home;
  talibobjc_Trace::traceSet("~/softtoken.txt");
  home.environment.set("HOME", "/nowhere");  // the path is settled when it is set
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("here");
  EXPECT_EQ(onlyText(readFile(home.home() + "/softtoken.txt")), "here");
}

TEST_F(TraceTest, FileOfExactlyTheLimitIsAppendedTo) {
  writeFile(path, std::string(four_mebibytes, 'x'));
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("more");
  const std::string written = content();
  ASSERT_GT(written.size(), four_mebibytes);
  EXPECT_EQ(written.substr(0, four_mebibytes), std::string(four_mebibytes, 'x'));
  EXPECT_EQ(onlyText(written.substr(four_mebibytes)), "more");
}

TEST_F(TraceTest, FileOneByteOverTheLimitIsEmptiedFirst) {
  writeFile(path, std::string(four_mebibytes + 1, 'x'));
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("anew");
  EXPECT_EQ(onlyText(content()), "anew");
}

TEST_F(TraceTest, FileIsEmptiedByTheEntryAfterTheOneThatCrossesTheLimit) {
  writeFile(path, std::string(four_mebibytes, 'x'));
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("crosses");
  EXPECT_GT(content().size(), four_mebibytes);
  talibobjc_Trace::traceNSString("first");
  EXPECT_EQ(onlyText(content()), "first");
}

TEST_F(TraceTest, NewFileIsPrivateUnderAnyUmask) {
  talibobjc_Trace::traceOn(true);
  was_open_to_others = false;
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{077}}) {
    unlink(path.c_str());
    const mode_t before = umask(mask);
    talibobjc_Trace::traceNSString("secret");
    umask(before);
    EXPECT_EQ(modeOf(path), 0600) << mask;
  }
  EXPECT_FALSE(was_open_to_others) << "from the first moment on";
}

TEST_F(TraceTest, WiderFileIsTightened) {
  talibobjc_Trace::traceOn(true);
  for (const mode_t mode : {mode_t{0644}, mode_t{0660}, mode_t{0606}, mode_t{0666}, mode_t{0755}}) {
    writeFile(path, "old\r\n");
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    talibobjc_Trace::traceNSString("new");
    EXPECT_EQ(modeOf(path), 0600) << mode;
    EXPECT_TRUE(content().starts_with("old\r\n"));
    EXPECT_TRUE(content().ends_with("] new\r\n"));
  }
}

TEST_F(TraceTest, FileOverTheLimitIsTightenedToo) {
  writeFile(path, std::string(four_mebibytes + 1, 'x'));
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("anew");
  EXPECT_EQ(modeOf(path), 0600);
}

TEST_F(TraceTest, MissingFolderIsSilent) {
  talibobjc_Trace::traceSet(folder / "missing/softtoken.txt");
  talibobjc_Trace::traceOn(true);
  EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr);
  talibobjc_Trace::traceNSString("lost");
  EXPECT_FALSE(exists(folder / "missing"));
}

TEST_F(TraceTest, EmptyPathIsSilent) {
  talibobjc_Trace::traceSet("");
  talibobjc_Trace::traceOn(true);
  EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr);
}

TEST_F(TraceTest, UnwritableFolderIsSilent) {
  asOrdinaryUser(folder.path(), [&] {
    ASSERT_EQ(chmod(folder.path().c_str(), 0500), 0);
    talibobjc_Trace::traceOn(true);
    EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr);
    talibobjc_Trace::traceNSString("lost");
    EXPECT_FALSE(exists(path));
    EXPECT_EQ(chmod(folder.path().c_str(), 0700), 0);
  });
}

TEST_F(TraceTest, UnwritableFileIsSilentAndStaysAsItIs) {
  writeFile(path, "old");
  asOrdinaryUser(folder.path(), [&] {
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    talibobjc_Trace::traceOn(true);
    EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr);
    talibobjc_Trace::traceNSString("lost");
    EXPECT_EQ(content(), "old");
  });
}

TEST_F(TraceTest, FolderInItsPlaceIsSilent) {
  ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
  talibobjc_Trace::traceOn(true);
  EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr);
  EXPECT_EQ(modeOf(path), 0755);
}

TEST_F(TraceTest, PipeInItsPlaceIsSilentAndDoesNotHang) {
  ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  inChild([&] {
    talibobjc_Trace::traceOn(true);
    EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr) << "without a reader";
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(talibobjc_Trace::traceOpen(), nullptr) << "with a reader";
    talibobjc_Trace::traceNSString("lost");
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "nothing was written into it";
    close(reader);
  });
  EXPECT_EQ(modeOf(path), 0666);
}

TEST_F(TraceTest, LinkInItsPlaceIsNotFollowed) {
  const std::string elsewhere = folder / "precious";
  writeFile(elsewhere, "content");
  ASSERT_EQ(symlink(elsewhere.c_str(), path.c_str()), 0);
  talibobjc_Trace::traceSet(path);
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("text");
  EXPECT_EQ(readFile(elsewhere), "content");
  ASSERT_EQ(unlink(path.c_str()), 0);
  talibobjc_Trace::traceNSString("text");
  EXPECT_EQ(onlyText(readFile(path)), "text") << "without the link it works";
}

TEST_F(TraceTest, FileOfAnotherUserIsLeftAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  writeFile(path, "content");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  ASSERT_EQ(chown(path.c_str(), nobody, nobody), 0);
  talibobjc_Trace::traceSet(path);
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("text");
  EXPECT_EQ(readFile(path), "content");
  EXPECT_EQ(modeOf(path), 0666);
}

// A limit on the size of files refuses the write as a full disk does.
TEST_F(TraceTest, FullDiskIsSilent) {
  talibobjc_Trace::traceOn(true);
  talibobjc_Trace::traceNSString("before");
  const std::string before = content();
  inChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit full{before.size(), limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    talibobjc_Trace::traceNSString("lost");
    EXPECT_EQ(content(), before);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    talibobjc_Trace::traceNSString("after");
  });
  EXPECT_TRUE(content().starts_with(before)) << content();
  EXPECT_EQ(onlyText(content().substr(before.size())), "after");
}

TEST_F(TraceTest, NoDescriptorIsLeftOpen) {
  talibobjc_Trace::traceOn(true);
  const std::size_t before = entriesIn("/dev/fd");
  for (int i = 0; i < 20; ++i) talibobjc_Trace::traceNSString("x");
  talibobjc_Trace::traceSet(folder.path());  // cannot be opened for writing
  talibobjc_Trace::traceOn(true);
  for (int i = 0; i < 20; ++i) talibobjc_Trace::traceNSString("x");
  EXPECT_EQ(entriesIn("/dev/fd"), before);
}

TEST_F(TraceTest, ThreadsWriteWholeEntries) {
  constexpr int threads = 4;
  constexpr int entries = 250;
  pretended_process = 99;
  talibobjc_Trace::traceOn(true);
  std::vector<std::thread> writers;
  for (int writer = 0; writer < threads; ++writer) {
    writers.emplace_back([writer] {
      for (int i = 0; i < entries; ++i) {
        talibobjc_Trace::traceWithFormat("writer {} entry {:03} {}", writer, i,
                                         std::string(200, static_cast<char>('a' + writer)));
      }
    });
  }
  for (std::thread& writer : writers) writer.join();

  const std::string written = content();
  std::vector<int> next(threads, 0);
  std::size_t begin = 0;
  while (begin < written.size()) {
    const std::size_t end = written.find("\r\n", begin);
    ASSERT_NE(end, std::string::npos);
    const std::string line = written.substr(begin, end - begin);
    begin = end + 2;
    ASSERT_EQ(line.size(), 8 + 9 + 8 + 11 + 200U) << line;
    const auto writer = static_cast<std::size_t>(line[24] - '0');
    ASSERT_LT(writer, next.size()) << line;
    EXPECT_EQ(line.substr(8), fmt::format(" [00099] writer {} entry {:03} {}", writer, next[writer],
                                          std::string(200, static_cast<char>('a' + writer))));
    ++next[writer];
  }
  EXPECT_EQ(next, std::vector<int>(threads, entries));
}

}  // namespace
}  // namespace talvane::test
