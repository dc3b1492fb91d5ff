#include "ui/start.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvane {
namespace {

StartOptions read(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "softtoken");
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  return readOptions(static_cast<int>(arguments.size()), argv.data());
}

struct Row {
  std::vector<std::string> arguments;
  const char* request;
  bool console;
};

TEST(StartOptions, Table) {
  const Row rows[] = {
      {{}, "start", true},
      {{"--toggle"}, "toggle", true},
      {{"--background", "--no-console-log"}, "background", false},
      {{"--quit"}, "quit", true},
      {{"--no-console-log"}, "start", false},
      {{"--no-console-log", "--toggle"}, "toggle", false},
      {{"--quit", "--no-console-log"}, "quit", false},
      {{"otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP"},
       "open otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP",
       true},
      {{"--no-console-log", "otpauth://totp/a"}, "open otpauth://totp/a", false},
      {{"--", "--toggle"}, "open --toggle", true},
      {{""}, "open ", true},
  };
  for (const Row& row : rows) {
    const StartOptions options = read(row.arguments);
    EXPECT_EQ(options.request.toStdString(), row.request);
    EXPECT_EQ(options.console, row.console) << row.request;
    EXPECT_EQ(options.output, "") << row.request;
    EXPECT_FALSE(options.failed) << row.request;
  }
}

TEST(StartOptions, LinkIsTakenAsUtf8) {
  const StartOptions options = read({"otpauth://totp/B\xc3\xbcro"});
  EXPECT_EQ(options.request, QStringLiteral("open otpauth://totp/B\u00fcro"));
}

TEST(StartOptions, WishesExcludeEachOther) {
  const std::vector<std::vector<std::string>> lines = {{"--toggle", "--quit"},
                                                       {"--toggle", "--background"},
                                                       {"--background", "--quit"},
                                                       {"--toggle", "otpauth://a"},
                                                       {"--quit", "otpauth://a"},
                                                       {"otpauth://a", "otpauth://b"},
                                                       {"--toggle", "--quit", "otpauth://a"}};
  for (const auto& line : lines) {
    const StartOptions options = read(line);
    EXPECT_TRUE(options.failed) << line[0];
    EXPECT_EQ(
        options.output,
        "softtoken: Give only one of --toggle, --background, --quit and a link; see `softtoken "
        "--help`\n");
  }
}

TEST(StartOptions, UnknownOptionsAreRefused) {
  for (const char* option : {"--unknown", "-x", "--toggle=yes", "--version=2"}) {
    const StartOptions options = read({option});
    EXPECT_TRUE(options.failed) << option;
    EXPECT_TRUE(options.output.starts_with("softtoken: ")) << options.output;
    EXPECT_TRUE(options.output.ends_with("; see `softtoken --help`\n")) << options.output;
  }
}

TEST(StartOptions, Version) {
  for (const char* option : {"--version", "-v"}) {
    const StartOptions options = read({option});
    EXPECT_FALSE(options.failed);
    EXPECT_EQ(options.output, "softtoken " SOFTTOKEN_VERSION "\n");
  }
}

TEST(StartOptions, HelpNamesEveryOption) {
  for (const char* option : {"--help", "-h"}) {
    const StartOptions options = read({option});
    EXPECT_FALSE(options.failed);
    EXPECT_TRUE(options.output.starts_with("Usage: softtoken [options] [link]\n"))
        << options.output;
    for (const char* word :
         {"--toggle", "--background", "--quit", "--no-console-log", "--version", "--help"}) {
      EXPECT_NE(options.output.find(word), std::string::npos) << word;
    }
  }
}

}  // namespace
}  // namespace talvane
