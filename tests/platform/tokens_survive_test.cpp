// No token is lost because a keychain was locked, hung or failing for a while: the token engine and
// its gateway, with a keychain that fails in every stretch of calls that an operation makes.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "engine/vane.h"
#include "platform/vaneinterface.h"
#include "tests/platform/fake_device_identifiers.h"
#include "tests/platform/faulty_keychain.h"

namespace talvane::test {
namespace {

using Call = FaultyKeychain::Call;
// A token as a user knows it: name and seed.
using Known = std::pair<std::string, std::string>;
using Selection = std::array<std::uint8_t, vane::max_tokens>;

constexpr std::size_t forever = std::numeric_limits<std::size_t>::max();

const Known ada{"ada", "JBSWY3DPEHPK3PXP"};
const Known bob{"bob", "GEZDGNBVGY3TQOJQ"};
const Known cyd{"cyd", "MFRGGZDFMZTWQ2LK"};
const Known dan{"dan", "NBSWY3DPEB3W64TM"};
const Known eve{"eve", "ORUGS4ZANFZSAYJA"};
const Known new_token{"new", "KRUGS4ZAORUGKIDQ"};
const Known new_cyd{"cyd", "OVUWG2ZAMJZG653O"};
const std::vector<Known> all{ada, bob, cyd, dan, eve};

SoftTokenInfo tokenOf(const Known& known) {
  SoftTokenInfo token;
  token.description = known.first;
  token.seed32 = Cleared<std::string>(known.second);
  token.period = 30;
  return token;
}

Selection selectionOf(std::initializer_list<std::size_t> positions) {
  Selection selection{};
  for (const std::size_t position : positions) selection[position] = 1;
  return selection;
}

class TokensSurviveTest : public testing::Test {
 protected:
  TokensSurviveTest() { reset(); }
  ~TokensSurviveTest() override { vane::SetInterface(nullptr); }

  /// Five tokens, and a gateway that knows nothing of earlier calls.
  void reset() {
    keychain.fault = nullptr;
    keychain.memory.items = five_tokens;
    gateway = std::make_unique<vaneinterface>(keychain, identifiers);
    gateway->setConsole(false);
    vane::SetInterface(gateway.get());
    if (five_tokens.empty()) {
      for (std::size_t i = 0; i < all.size(); ++i) {
        auto index = static_cast<std::int32_t>(i);
        ASSERT_TRUE(vane::WriteToken(&index, tokenOf(all[i])));
      }
      five_tokens = keychain.memory.items;
      ASSERT_EQ(stored(), std::set<Known>(all.begin(), all.end()));
    }
    keychain.calls = 0;
  }

  /// Every token in the keychain, also behind a gap: each item is looked at alone.
  std::set<Known> stored() {
    std::set<Known> tokens;
    for (const auto& item : keychain.memory.items) {
      MemoryKeychain alone;
      alone.items[{"TalvaneSoftToken5020", identifiers.account}] = item.second;
      vaneinterface look(alone, identifiers);
      look.setConsole(false);
      vane::SetInterface(&look);
      std::unique_ptr<SoftTokenInfo> token;
      if (vane::ReadToken(0, &token)) {
        tokens.emplace(token->originalDescription().value_or(""), token->seed32->get());
      }
    }
    vane::SetInterface(gateway.get());
    return tokens;
  }

  std::size_t readable() {
    vane::TokenArray tokens;
    return static_cast<std::size_t>(vane::ReadAllTokens(tokens));
  }

  void failCalls(std::size_t first, std::size_t end, KeychainStatus status) {
    keychain.fault = [=](Call, std::size_t number) {
      return number >= first && number < end ? status : KeychainStatus::ok;
    };
  }

  /// Runs the operation once for every stretch of its calls in which the keychain fails: from each
  /// call on, for one, two, ... calls or for good.
  void expectSurvivors(const std::vector<Known>& survivors,
                       const std::function<void()>& operation) {
    reset();
    operation();
    const std::size_t calls = keychain.calls;
    ASSERT_GT(calls, 0U);
    std::size_t losses = 0;
    for (std::size_t first = 0; first < calls; ++first) {
      for (const std::size_t length :
           {std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{5}, forever - first}) {
        reset();
        failCalls(first, first + length, KeychainStatus::interaction_not_allowed);
        operation();
        keychain.fault = nullptr;
        const std::set<Known> left = stored();
        for (const Known& token : survivors) {
          if (left.count(token) != 0) continue;
          ++losses;
          if (losses <= 3) {
            ADD_FAILURE() << token.first << " is lost when " << length << " calls from number "
                          << first << " of " << calls << " fail";
          }
        }
      }
    }
    EXPECT_EQ(losses, 0U);
  }

  FakeDeviceIdentifiers identifiers;
  FaultyKeychain keychain;
  std::unique_ptr<vaneinterface> gateway;

 private:
  decltype(MemoryKeychain::items) five_tokens;
};

TEST_F(TokensSurviveTest, ReadingWhileLockedShowsNoneAndKeepsAll) {
  keychain.failAll(KeychainStatus::interaction_not_allowed);
  {
    const vaneinterface::Recording recording(*gateway);
    EXPECT_EQ(readable(), 0U);
    EXPECT_EQ(recording.lastLoad().status, KeychainStatus::interaction_not_allowed);
    EXPECT_EQ(recording.lastLoad().words, "words for -25308 [-25308]");
  }
  keychain.fault = nullptr;
  EXPECT_EQ(readable(), 5U);
}

TEST_F(TokensSurviveTest, WritingWhileLockedIsRefusedAndSaid) {
  for (const std::int32_t wish : {vane::first_free_slot, vane::slot_of_same_name}) {
    reset();
    keychain.failAll(KeychainStatus::interaction_not_allowed);
    std::int32_t index = wish;
    {
      const vaneinterface::Recording recording(*gateway);
      EXPECT_TRUE(vane::WriteToken(&index, tokenOf(new_token))) << "only the gateway tells";
      ASSERT_TRUE(recording.failedChange().has_value());
      EXPECT_EQ(recording.failedChange()->status, KeychainStatus::interaction_not_allowed);
      EXPECT_EQ(recording.failedChange()->words, "words for -25308 [-25308]");
    }
    keychain.fault = nullptr;
    EXPECT_EQ(stored(), std::set<Known>(all.begin(), all.end()));
    EXPECT_EQ(readable(), 5U);
    index = wish;
    const vaneinterface::Recording recording(*gateway);
    EXPECT_TRUE(vane::WriteToken(&index, tokenOf(new_token)));
    EXPECT_EQ(index, 5);
    EXPECT_FALSE(recording.failedChange().has_value());
    EXPECT_EQ(readable(), 6U);
  }
}

TEST_F(TokensSurviveTest, UnlockedBetweenReadAndWriteTheFirstSlotIsNotWrittenOver) {
  // The first look-up fails, as the keychain is locked; it is unlocked when the token is saved.
  failCalls(0, 1, KeychainStatus::interaction_not_allowed);
  std::int32_t index = vane::first_free_slot;
  const vaneinterface::Recording recording(*gateway);
  EXPECT_TRUE(vane::WriteToken(&index, tokenOf(new_token)));
  EXPECT_TRUE(recording.failedChange().has_value());
  EXPECT_EQ(stored(), std::set<Known>(all.begin(), all.end()));
}

TEST_F(TokensSurviveTest, AddingToTheFirstFreeSlot) {
  expectSurvivors(all, [] {
    std::int32_t index = vane::first_free_slot;
    vane::WriteToken(&index, tokenOf(new_token));
  });
}

TEST_F(TokensSurviveTest, AddingUnderANewName) {
  expectSurvivors(all, [] {
    std::int32_t index = vane::slot_of_same_name;
    vane::WriteToken(&index, tokenOf(new_token));
  });
}

TEST_F(TokensSurviveTest, ReplacingTheTokenOfTheSameName) {
  expectSurvivors({ada, bob, dan, eve}, [] {
    std::int32_t index = vane::slot_of_same_name;
    vane::WriteToken(&index, tokenOf(new_cyd));
  });
}

TEST_F(TokensSurviveTest, ReplacedTokenIsThereInItsOldOrItsNewForm) {
  for (std::size_t first = 0; first < 20; ++first) {
    reset();
    failCalls(first, first + 1, KeychainStatus::io_error);
    std::int32_t index = vane::slot_of_same_name;
    vane::WriteToken(&index, tokenOf(new_cyd));
    keychain.fault = nullptr;
    EXPECT_EQ(stored().count(cyd) + stored().count(new_cyd) > 0, true) << first;
  }
}

TEST_F(TokensSurviveTest, CreatingAToken) {
  expectSurvivors(all, [] {
    std::optional<std::string> response;
    vane::NewToken(tokenOf(new_token), &response, nullptr, false);
  });
}

TEST_F(TokensSurviveTest, DeletingTheFirst) {
  expectSurvivors({bob, cyd, dan, eve}, [] { vane::DeleteTokens(selectionOf({0})); });
}

TEST_F(TokensSurviveTest, DeletingOneInTheMiddle) {
  expectSurvivors({ada, bob, dan, eve}, [] { vane::DeleteTokens(selectionOf({2})); });
}

TEST_F(TokensSurviveTest, DeletingTheLast) {
  expectSurvivors({ada, bob, cyd, dan}, [] { vane::DeleteTokens(selectionOf({4})); });
}

TEST_F(TokensSurviveTest, DeletingSeveral) {
  expectSurvivors({ada, dan}, [] { vane::DeleteTokens(selectionOf({1, 2, 4})); });
}

TEST_F(TokensSurviveTest, DeletingApartFromEachOther) {
  expectSurvivors({bob, dan}, [] { vane::DeleteTokens(selectionOf({0, 2, 4})); });
}

TEST_F(TokensSurviveTest, DeletingBesideARecordThatCannotBeDecoded) {
  for (std::size_t damaged = 1; damaged < all.size(); ++damaged) {
    reset();
    const std::string name = "TalvaneSoftToken502" + std::to_string(damaged);
    keychain.memory.items[{name, identifiers.account}] = Bytes{1, 2, 3};
    vane::DeleteTokens(selectionOf({0}));
    std::set<Known> expected(all.begin() + 1, all.end());
    expected.erase(all[damaged]);
    EXPECT_EQ(stored(), expected) << damaged;
    const auto& items = keychain.memory.items;
    EXPECT_TRUE(std::any_of(items.begin(), items.end(),
                            [](const auto& item) {
                              return item.second.get() == Bytes{1, 2, 3};
                            }))
        << "the damaged record itself, " << damaged;
  }
}

TEST_F(TokensSurviveTest, DeletingWhileAllSavesAreRefused) {
  // A full disk: what is there can be read and removed, but nothing can be stored.
  keychain.fault = [](Call call, std::size_t) {
    return call == Call::add || call == Call::replace ? KeychainStatus::disk_full
                                                      : KeychainStatus::ok;
  };
  vane::DeleteTokens(selectionOf({1}));
  keychain.fault = nullptr;
  EXPECT_EQ(stored(), (std::set<Known>{ada, cyd, dan, eve}));
}

}  // namespace
}  // namespace talvane::test
