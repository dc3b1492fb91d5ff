// Standard streams that are closed, full or gone.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

const std::vector<Strings> printing_commands = {{"list"},
                                                {"list", "--json"},
                                                {"code", "A"},
                                                {"code", "A", "--json"},
                                                {"watch"},
                                                {"settings"},
                                                {"settings", "--json"},
                                                {"doctor"},
                                                {"doctor", "--json"},
                                                {"rename", "A", "A"},
                                                {"--help"},
                                                {"--version"},
                                                {"list", "--help"}};

TEST(Output, FullDeviceIsAFailure) {
  const CliHome home;
  home.add("A");
  for (const Strings& arguments : printing_commands) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    expectFailure(home.run(arguments, Streams{.out_file = "/dev/full"}), 1, "standard output");
  }
}

TEST(Output, ClosedStandardOutputIsAFailure) {
  const CliHome home;
  home.add("A");
  for (const Strings& arguments : printing_commands) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    expectFailure(home.run(arguments, Streams{.out_file = Streams::closed}), 1, "standard output");
  }
}

TEST(Output, ClosedStandardErrorChangesNothing) {
  const CliHome home;
  home.add("A");
  const Ended found = home.run({"code", "A"}, Streams{.err_file = Streams::closed});
  EXPECT_EQ(found.exit_code, 0);
  EXPECT_EQ(found.out.size(), 7U);
  EXPECT_EQ(home.run({"code", "B"}, Streams{.err_file = Streams::closed}).exit_code, 3);
  EXPECT_EQ(home.run({"code", "B"}, Streams{.err_file = "/dev/full"}).exit_code, 3);
}

// The first files that a program opens get the numbers of the closed streams.
TEST(Output, NothingIsWrittenIntoFilesThatTookTheStreamsPlace) {
  const CliHome home;
  home.add("A");
  home.setSettings("AllowManual=true\nDebug=yes\n");
  for (const bool with_log : {false, true}) {
    for (const Strings& command :
         {Strings{"add", "New"}, {"rename", "New", "Newer"}, {"delete", "--yes", "Newer"}}) {
      Strings arguments = command;
      if (with_log) arguments.insert(arguments.begin(), "--console-log");
      Streams streams{.out_file = Streams::closed, .err_file = Streams::closed};
      streams.input = seed_16;
      const Ended ended = home.run(arguments, streams);
      EXPECT_EQ(ended.signal, 0);
      EXPECT_EQ(ended.exit_code, 1);
    }
  }
  for (const auto& [path, content] : home.files()) {
    if (path == home.traceFile()) continue;
    EXPECT_EQ(content.find("Stored"), std::string::npos) << path;
    EXPECT_EQ(content.find("vane::"), std::string::npos) << path;
    EXPECT_EQ(content.find("softtoken-cli:"), std::string::npos) << path;
  }
  EXPECT_EQ(home.names(), Strings{"A"});
}

TEST(Output, AllStreamsClosed) {
  const CliHome home;
  home.add("A");
  const Streams none{
      .input_file = Streams::closed, .out_file = Streams::closed, .err_file = Streams::closed};
  for (const Strings& arguments : printing_commands) {
    const Ended ended = home.run(arguments, none);
    EXPECT_EQ(ended.exit_code, 1) << testing::PrintToString(arguments);
  }
  EXPECT_EQ(home.run({"add", "B"}, none).exit_code, 2);
  EXPECT_EQ(home.run({"delete", "A"}, none).exit_code, 2);
  EXPECT_EQ(home.names(), Strings{"A"});
}

TEST(Output, StandardErrorHasOnlyTheConsoleLog) {
  const CliHome home;
  home.add("A");
  const auto [ended, time] = inOneStep(30, [&] {
    return home.run({"--console-log", "code", "A"});
  });
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.out, oathPasscode(seed_16, 30, time) + '\n');
  EXPECT_NE(ended.err.find("  vane::ReadToken: begin: index:0\n"), std::string::npos) << ended.err;
}

}  // namespace
}  // namespace talvane::test
