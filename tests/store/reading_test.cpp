// What the store reads, and what it says is in the way.

#include "platform/record_archive.h"
#include "tests/store/store_test.h"

namespace talvane::test {
namespace {

using Kind = Obstacle::Kind;

class ReadingTest : public StoreTest {
 protected:
  Names readNames() {
    Names result;
    for (const auto& stored : read().list) result.push_back(*stored->description);
    return result;
  }
  void expectObstacle(Kind kind, std::int32_t slot, std::int32_t hidden, const std::string& words) {
    const StoredTokens tokens = read();
    ASSERT_TRUE(tokens.obstacle.has_value());
    EXPECT_EQ(static_cast<int>(tokens.obstacle->kind), static_cast<int>(kind));
    EXPECT_EQ(tokens.obstacle->slot, slot);
    EXPECT_EQ(tokens.obstacle->hidden, hidden);
    EXPECT_EQ(tokens.obstacle->words, words);
  }
};

TEST_F(ReadingTest, EmptyStore) {
  EXPECT_TRUE(read().list.empty());
  EXPECT_FALSE(read().obstacle.has_value());
}

TEST_F(ReadingTest, TokensInTheirOrder) {
  fill({"A", "B|Bee", "C"});
  EXPECT_EQ(readNames(), (Names{"A", "B|Bee", "C"}));
  EXPECT_EQ(read().list[1]->seed32->get(), seedOf(1));
  EXPECT_FALSE(read().obstacle.has_value());
}

TEST_F(ReadingTest, AllSlots) {
  Names all;
  for (int i = 0; i < 32; ++i) all.push_back("T" + std::to_string(i));
  fill(all);
  EXPECT_EQ(readNames(), all);
  EXPECT_FALSE(read().obstacle.has_value());
}

TEST_F(ReadingTest, Gap) {
  fill({"A", "", "", "B", "", "C"});
  EXPECT_EQ(readNames(), Names{"A"});
  expectObstacle(Kind::gap, 1, 2, "Slot 1 is empty and hides the 2 tokens after it");
}

TEST_F(ReadingTest, GapBeforeTheLastSlot) {
  fill({""});
  auto last = vane::max_tokens - 1;
  ASSERT_TRUE(vane::WriteToken(&last, token("Z")));
  expectObstacle(Kind::gap, 0, 1, "Slot 0 is empty and hides the token after it");
}

TEST_F(ReadingTest, DamagedRecord) {
  fill({"A", "B", "C"});
  damage(1);
  EXPECT_EQ(readNames(), Names{"A"});
  expectObstacle(Kind::damaged, 1, 1,
                 "The record in slot 1 is damaged and hides the token after it");
  damage(2);
  expectObstacle(Kind::damaged, 1, 1,
                 "The record in slot 1 is damaged and hides the token after it");
}

TEST_F(ReadingTest, DamagedRecordThatHidesNothing) {
  fill({"A", "B"});
  damage(1);
  expectObstacle(Kind::damaged, 1, 0, "The record in slot 1 is damaged");
}

TEST_F(ReadingTest, ForeignRecord) {
  fill({"A", "B", "C"});
  makeForeign(0);
  EXPECT_EQ(readNames(), Names{});
  expectObstacle(
      Kind::foreign, 0, 2,
      "The record in slot 0 does not load and hides the 2 tokens after it: it was stored when "
      "the machine ID was of another machine; it is 0123456789abcdef now");
}

TEST_F(ReadingTest, ForeignRecordThatHidesNothing) {
  fill({"A", "B"});
  makeForeign(1);
  expectObstacle(Kind::foreign, 1, 0,
                 "The record in slot 1 does not load: it was stored when the machine ID was of "
                 "another machine; it is 0123456789abcdef now");
}

TEST_F(ReadingTest, RecordBehindAGapIsTheObstacleWhenItDoesNotLoad) {
  fill({"A", "", "B", "C"});
  makeForeign(2);
  expectObstacle(
      Kind::foreign, 2, 1,
      "The record in slot 2 does not load and hides the token after it: it was stored when the "
      "machine ID was of another machine; it is 0123456789abcdef now");
  damage(2);
  expectObstacle(Kind::damaged, 2, 1,
                 "The record in slot 2 is damaged and hides the token after it");
}

TEST_F(ReadingTest, KeychainThatDoesNotAnswerIsNeverEmpty) {
  fill({"A", "", "C"});
  for (const auto& [status, number] : failures) {
    if (status == KeychainStatus::item_not_found || status == KeychainStatus::cannot_decode) {
      continue;
    }
    keychain.calls = 0;
    for (std::size_t failing = 0; failing < 32; ++failing) {
      keychain.calls = 0;
      keychain.fault = [failing, answer = status](FaultyKeychain::Call, std::size_t call) {
        return call == failing ? answer : KeychainStatus::ok;
      };
      const auto tokens = store.read();
      ASSERT_FALSE(tokens.has_value()) << number << " at " << failing;
      EXPECT_EQ(tokens.error().next, Next::check_keychain);
      const std::string digits = std::to_string(number);
      EXPECT_EQ(tokens.error().words, "words for " + digits + " [" + digits + "]");
    }
  }
}

TEST_F(ReadingTest, LooksBehindTheTokensWithoutATrace) {
  fill({"A", "B", "", "D"});
  RecordingGateway logging(gateway);
  vane::SetInterface(&logging);
  vane::TokenArray tokens;
  ASSERT_EQ(vane::ReadAllTokens(tokens), 2);
  const Names plain = logging.takeLines();
  ASSERT_FALSE(plain.empty());
  EXPECT_TRUE(read().obstacle.has_value());
  EXPECT_EQ(logging.lines(), plain);
}

TEST_F(ReadingTest, IsOneLookAtTheKeychain) {
  fill({"A"});
  read();
  EXPECT_EQ(keychain.readings, "begin ada;end;");
}

TEST_F(ReadingTest, OtherUsersHaveOtherTokens) {
  fill({"A"});
  identifiers.sound.account = "bob";
  EXPECT_TRUE(read().list.empty());
}

TEST_F(ReadingTest, RecordStoredUnderSeveralOtherIdentifiers) {
  fill({"A"});
  identifiers.sound.volume = "";
  identifiers.sound.account = "ada";
  identifiers.sound.serial = "new";
  expectObstacle(Kind::foreign, 0, 0,
                 "The record in slot 0 does not load: it was stored when the machine ID was "
                 "0123456789abcdef; it is new now, and when the root file system was "
                 "A0B1C2D3-0000-4000-8000-00000000FFFF; it is missing now");
  EXPECT_EQ(read().obstacle->repair, "undo that change");
}

TEST_F(ReadingTest, AlteredRecord) {
  fill({"A"});
  auto record = unarchiveRecord(item(0).get());
  ASSERT_TRUE(record.has_value());
  std::get<Bytes>((*record)["seed32"])[0] ^= 1U;
  item(0) = archiveRecord(*record);
  expectObstacle(Kind::foreign, 0, 0,
                 "The record in slot 0 does not load: it was changed after it was stored");
  EXPECT_EQ(read().obstacle->repair, "restore the keychain from a backup");
}

TEST_F(ReadingTest, RecordThatDoesNotSayWhoseItIs) {
  fill({"A"});
  auto record = unarchiveRecord(item(0).get());
  ASSERT_TRUE(record.has_value());
  for (const char* name : {"fpsn", "fphd", "fpus"}) record->erase(name);
  item(0) = archiveRecord(*record);
  identifiers.sound.serial = "of another machine";
  expectObstacle(Kind::foreign, 0, 0,
                 "The record in slot 0 does not load: it belongs to another computer or user, or "
                 "was changed");
  EXPECT_EQ(read().obstacle->repair, "restore the keychain from a backup");
}

TEST_F(ReadingTest, IdentityThatCannotBeRead) {
  fill({"A"});
  identifiers.sound.trouble = "/etc/machine-id: Permission denied";
  const auto stored = store.read();
  ASSERT_FALSE(stored.has_value());
  EXPECT_EQ(stored.error().words,
            "This computer's identity cannot be read: /etc/machine-id: Permission denied; fix that "
            "and try again");
}

}  // namespace
}  // namespace talvane::test
