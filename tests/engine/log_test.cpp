#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <thread>

#include "engine/log.h"
#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane::test {

/// Counts how often it is formatted.
struct Counted {
  int* times;
};

}  // namespace talvane::test

template <>
struct fmt::formatter<talvane::test::Counted> {
  static constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
  template <typename Context>
  auto format(const talvane::test::Counted& value, Context& context) const {
    ++*value.times;
    constexpr std::string_view text = "counted";
    return std::copy(text.begin(), text.end(), context.out());
  }
};

namespace talvane {
namespace {

using test::Lines;
using LogTest = test::EngineTest;

TEST_F(LogTest, FormattedLineReachesTheGateway) {
  vane::log("  vane: {}: {:X} '{}'", "name", 255, std::string("text"));
  EXPECT_EQ(gateway.lines, Lines{"  vane: name: FF 'text'"});
}

TEST_F(LogTest, LineWithoutArguments) {
  vane::log("L :");
  vane::log("");
  EXPECT_EQ(gateway.lines, (Lines{"L :", ""}));
}

TEST_F(LogTest, TextIsNotReadAsAFormat) {
  vane::log("{}", "{} %@ %s {0}");
  EXPECT_EQ(gateway.lines, Lines{"{} %@ %s {0}"});
}

TEST_F(LogTest, LineBreaksArePassedOn) {
  vane::log("a\n {}", "b\r\nc");
  EXPECT_EQ(gateway.lines, Lines{"a\n b\r\nc"});
}

TEST_F(LogTest, NobodyListensNothingIsFormattedOrHandedOver) {
  int times = 0;
  gateway.listening = false;
  EXPECT_FALSE(EngineLog::isWanted());
  vane::log("{}", test::Counted{&times});
  EXPECT_EQ(times, 0);
  EXPECT_EQ(gateway.log_calls, 0U);
  gateway.listening = true;
  EXPECT_TRUE(EngineLog::isWanted());
  vane::log("{}", test::Counted{&times});
  EXPECT_EQ(times, 1);
  EXPECT_EQ(gateway.lines, Lines{"counted"});
}

TEST_F(LogTest, NoGatewayNothingIsFormatted) {
  int times = 0;
  vane::SetInterface(nullptr);
  EXPECT_EQ(vane::interface(), nullptr);
  EXPECT_FALSE(EngineLog::isWanted());
  vane::log("{}", test::Counted{&times});
  EXPECT_EQ(times, 0);
}

TEST_F(LogTest, LinesGoToTheGatewaySetLast) {
  test::FakeGateway other;
  vane::SetInterface(&other);
  EXPECT_EQ(vane::interface(), &other);
  vane::log("line");
  EXPECT_EQ(other.lines, Lines{"line"});
  EXPECT_TRUE(gateway.lines.empty());
}

TEST_F(LogTest, PauseKeepsTheLinesOfItsThreadOut) {
  {
    const EngineLog::Pause outer;
    {
      const EngineLog::Pause inner;
      vane::log("inner");
    }
    EXPECT_FALSE(EngineLog::isWanted());
    vane::log("outer");
    std::thread([] { vane::log("of another thread"); }).join();
  }
  vane::log("after");
  EXPECT_EQ(gateway.lines, (Lines{"of another thread", "after"}));
}

// One call of every kind: none asks the gateway to write a line that it does not want.
TEST_F(LogTest, TheWholeEngineIsSilentWhenNobodyListens) {
  gateway.listening = false;
  gateway.time = 1700000000;
  std::optional<std::string> response;
  EXPECT_EQ(vane::NewToken(test::makeToken("Mail", "JBSWY3DPEHPK3"), &response, nullptr, false),
            std::nullopt);
  EXPECT_EQ(response, "VZ5HEKMB");
  vane::TokenArray tokens;
  ASSERT_EQ(vane::ReadAllTokens(tokens), 1);
  tokens[0]->updateDescription("Work");
  vane::GetPasscodeColorForToken(*tokens[0], false, 25);
  std::unique_ptr<SoftTokenInfo> token;
  EXPECT_TRUE(vane::ParseAuthUrl("otpauth://totp/Work?secret=ABCDEFGHIJKLMNOP", &token));
  vane::DeleteToken(0);
  EXPECT_EQ(gateway.log_calls, 0U);
}

}  // namespace
}  // namespace talvane
