// The response code of a stored token.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "tests/store/store_test.h"

namespace talvane::test {
namespace {

constexpr std::int64_t then = 1'700'000'000;

class ResponseTest : public StoreTest {
 protected:
  ResponseTest() {
    timed.setConsole(false);
    vane::SetInterface(&timed);
  }

  // Adds a token of 13 characters, and one of 16 before and after it.
  std::string add(std::int32_t period = 30) {
    EXPECT_TRUE(timed_store.add(token("first"), SameName::refuse).has_value());
    SoftTokenInfo wanted = token("Short", seed_13);
    wanted.period = period;
    const auto added = timed_store.add(wanted, SameName::refuse);
    EXPECT_TRUE(added.has_value() && added->response.has_value());
    EXPECT_TRUE(timed_store.add(token("last", other_seed_16), SameName::refuse).has_value());
    return added->response.value_or("");
  }
  StoredTokens readTimed() { return std::move(timed_store.read()).value(); }

  // The 20 bits that four base32 characters stand for (RFC 4648, section 6).
  static std::uint32_t bitsOf(std::string_view characters) {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
    std::uint32_t bits = 0;
    for (const char c : characters) {
      bits = bits << 5 | static_cast<std::uint32_t>(alphabet.find(c));
    }
    return bits;
  }

  std::int64_t time = then;
  vaneinterface timed{keychain, identifiers, [this] { return time; }};
  TokenStore timed_store{timed, keychain, &defaults, std::chrono::milliseconds(20)};
};

TEST_F(ResponseTest, IsTheOneThatWasShownWhileThePasscodeIsTheSame) {
  const std::string shown = add();
  EXPECT_EQ(shown.size(), 8U);
  EXPECT_EQ(timed_store.response(*readTimed().list[1]).value(), shown);
}

TEST_F(ResponseTest, HoldsThePresentPasscodeAndTheSameSuffix) {
  const std::string shown = add(60);
  time += 86'400;
  const StoredTokens tokens = readTimed();
  const SoftTokenInfo& stored = *tokens.list[1];
  const std::string again = timed_store.response(stored).value();
  EXPECT_NE(again, shown);
  EXPECT_EQ(again.substr(4), shown.substr(4));
  const auto passcode = vane::GeneratePasscode(stored.seed32->get(), time / 60);
  EXPECT_EQ(bitsOf(again.substr(0, 4)), std::stoul(*passcode));
}

TEST_F(ResponseTest, OutlivesARenamingAndAMove) {
  const std::string shown = add();
  StoredTokens seen = readTimed();
  const TokenStore::Rename wanted{1, seen.list[1].get(), "Other"};
  ASSERT_TRUE(timed_store.rename({&wanted, 1}).has_value());
  seen = readTimed();
  EXPECT_EQ(timed_store.response(*seen.list[1]).value(), shown);
  ASSERT_TRUE(timed_store.move(1, 0, seen).has_value());
  EXPECT_EQ(timed_store.response(*readTimed().list[0]).value(), shown);
}

TEST_F(ResponseTest, OnlyTokensOfThirteenCharactersHaveOne) {
  add();
  const StoredTokens tokens = readTimed();
  EXPECT_FALSE(timed_store.hasResponse(*tokens.list[0]));
  EXPECT_TRUE(timed_store.hasResponse(*tokens.list[1]));
  EXPECT_FALSE(timed_store.hasResponse(*tokens.list[2]));
  EXPECT_FALSE(timed_store.hasResponse(token("A", seed_13))) << "it was not read from the store";
  EXPECT_FALSE(timed_store.hasResponse(SoftTokenInfo()));
  const auto refused = timed_store.response(*tokens.list[0]);
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().next, Next::other_input);
  EXPECT_EQ(refused.error().words,
            "This token has no response code: its seed was complete, with 16 characters");
}

TEST_F(ResponseTest, LeavesTheLogAndTheStoreAlone) {
  add();
  const StoredTokens tokens = readTimed();
  const Items before = items();
  RecordingGateway logging(timed);
  vane::SetInterface(&logging);
  EXPECT_TRUE(timed_store.hasResponse(*tokens.list[1]));
  EXPECT_TRUE(timed_store.response(*tokens.list[1]).has_value());
  EXPECT_EQ(logging.lines(), Names());
  EXPECT_EQ(items(), before);
}

TEST_F(ResponseTest, IdentityThatCannotBeRead) {
  add();
  const StoredTokens tokens = readTimed();
  identifiers.sound.trouble = "/etc/machine-id: Permission denied";
  EXPECT_FALSE(timed_store.hasResponse(*tokens.list[1]));
  const auto refused = timed_store.response(*tokens.list[1]);
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().next, Next::check_keychain);
  EXPECT_NE(refused.error().words.find("/etc/machine-id: Permission denied"), std::string::npos);
}

}  // namespace
}  // namespace talvane::test
