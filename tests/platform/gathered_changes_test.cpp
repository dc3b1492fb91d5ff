#include "platform/gathered_changes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/platform/faulty_keychain.h"

namespace talvane::test {
namespace {

constexpr const char* account = "ada";

std::string slot(int number) {
  return "slot" + std::to_string(number);
}

class GatheredChangesTest : public testing::Test {
 protected:
  GatheredChangesTest() {
    auto inner = std::make_unique<FaultyKeychain>();
    keychain = inner.get();
    changes = std::make_unique<GatheredChanges>(std::move(inner));
  }

  void fill(int count) const {
    keychain->memory.items.clear();
    for (int i = 0; i < count; ++i) {
      keychain->memory.items[{slot(i), account}] = Bytes{static_cast<std::uint8_t>(i)};
    }
  }
  /// Deletes the first of `count` items and moves the others down, as an engine without
  /// transactions does.
  void deleteFirst(int count) const {
    EXPECT_EQ(changes->remove(slot(0), account), KeychainStatus::ok);
    for (int i = 1; i < count; ++i) {
      SecretBytes secret;
      ASSERT_EQ(changes->find(slot(i), account, &secret), KeychainStatus::ok);
      ASSERT_EQ(changes->add(slot(i - 1), account, secret), KeychainStatus::ok);
      ASSERT_EQ(changes->remove(slot(i), account), KeychainStatus::ok);
    }
  }
  [[nodiscard]] std::vector<int> stored() const {
    std::vector<int> numbers;
    for (int i = 0; keychain->memory.items.count({slot(i), account}) == 1; ++i) {
      numbers.push_back(keychain->memory.items[{slot(i), account}].get()[0]);
    }
    EXPECT_EQ(numbers.size(), keychain->memory.items.size()) << "behind a gap";
    return numbers;
  }

  FaultyKeychain* keychain;
  std::unique_ptr<GatheredChanges> changes;
};

TEST_F(GatheredChangesTest, NothingIsWrittenBeforeTheEnd) {
  fill(3);
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  deleteFirst(3);
  EXPECT_EQ(stored(), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(changes->find(slot(2), account, nullptr), KeychainStatus::item_not_found);
  SecretBytes first;
  ASSERT_EQ(changes->find(slot(0), account, &first), KeychainStatus::ok);
  EXPECT_EQ(first.get(), Bytes{1});
  ASSERT_EQ(changes->endChange(), KeychainStatus::ok);
  EXPECT_EQ(stored(), (std::vector<int>{1, 2}));
}

TEST_F(GatheredChangesTest, AbandonedChangeLeavesEverything) {
  fill(3);
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  deleteFirst(3);
  changes->abandonChange();
  EXPECT_EQ(stored(), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(changes->find(slot(0), account, nullptr), KeychainStatus::ok);
}

// Eleven items: "slot10" sorts before "slot2" as a text.
TEST_F(GatheredChangesTest, InterruptionLeavesAnItemTwiceAtWorst) {
  constexpr int count = 11;
  std::vector<int> after;
  for (int i = 1; i < count; ++i) after.push_back(i);
  std::size_t interruptions = 0;
  for (std::size_t last = 0;; ++last) {
    fill(count);
    ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
    deleteFirst(count);
    keychain->calls = 0;
    keychain->fault = [=](FaultyKeychain::Call, std::size_t call) {
      return call >= last ? KeychainStatus::not_available : KeychainStatus::ok;
    };
    const KeychainStatus ended = changes->endChange();
    keychain->fault = nullptr;
    std::vector<int> left = stored();
    if (ended == KeychainStatus::ok) {
      EXPECT_EQ(left, after);
      break;
    }
    ++interruptions;
    EXPECT_EQ(ended, KeychainStatus::not_available);
    for (const int item : after) {
      EXPECT_TRUE(std::find(left.begin(), left.end(), item) != left.end()) << item << ' ' << last;
    }
    EXPECT_LE(left.size(), static_cast<std::size_t>(count));
  }
  EXPECT_GT(interruptions, static_cast<std::size_t>(count));
}

TEST_F(GatheredChangesTest, NothingIsDeletedIfAnItemIsNotFoundAsWritten) {
  fill(3);
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  deleteFirst(3);
  std::size_t finds = 0;
  keychain->fault = [&](FaultyKeychain::Call call, std::size_t) {
    if (call == FaultyKeychain::Call::find && ++finds == 1) {
      keychain->memory.items[{slot(1), account}] = Bytes{99};
    }
    return KeychainStatus::ok;
  };
  EXPECT_EQ(changes->endChange(), KeychainStatus::io_error);
  EXPECT_EQ(stored(), (std::vector<int>{1, 99, 2}));
}

TEST_F(GatheredChangesTest, NothingIsDeletedIfAnItemIsMissingAfterItWasWritten) {
  fill(3);
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  deleteFirst(3);
  keychain->fault = [](FaultyKeychain::Call call, std::size_t) {
    return call == FaultyKeychain::Call::find ? KeychainStatus::item_not_found : KeychainStatus::ok;
  };
  EXPECT_EQ(changes->endChange(), KeychainStatus::io_error);
  EXPECT_EQ(stored(), (std::vector<int>{1, 2, 2}));
}

TEST_F(GatheredChangesTest, ItemThatAnotherProgramDeletedMeanwhileIsGone) {
  fill(2);
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  ASSERT_EQ(changes->remove(slot(1), account), KeychainStatus::ok);
  keychain->memory.items.erase({slot(1), account});
  EXPECT_EQ(changes->endChange(), KeychainStatus::ok);
  EXPECT_EQ(stored(), std::vector<int>{0});
}

TEST_F(GatheredChangesTest, ItemsAreReadBackInOneReadingOfEachAccount) {
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  for (int i = 0; i < 4; ++i) {
    const char* user = i % 2 == 0 ? "ada" : "bob";
    ASSERT_EQ(changes->add(slot(i), user, SecretBytes(Bytes{1})), KeychainStatus::ok);
  }
  ASSERT_EQ(changes->endChange(), KeychainStatus::ok);
  EXPECT_EQ(keychain->memory.items.size(), 4U);
  EXPECT_EQ(keychain->readings, "begin ada;end;begin bob;end;");
}

TEST_F(GatheredChangesTest, AbandoningWithoutAChangeUndoesNothing) {
  keychain->undoes = true;
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  ASSERT_EQ(changes->endChange(), KeychainStatus::ok);
  ASSERT_EQ(changes->add(slot(0), account, SecretBytes(Bytes{0})), KeychainStatus::ok);
  changes->abandonChange();
  EXPECT_EQ(stored(), std::vector<int>{0});
}

TEST_F(GatheredChangesTest, StatusesAreThoseOfAKeychain) {
  fill(1);
  const SecretBytes secret(Bytes{7});
  for (const bool changing : {false, true}) {
    if (changing) {
      ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
    }
    EXPECT_EQ(changes->add(slot(0), account, secret), KeychainStatus::duplicate_item);
    EXPECT_EQ(changes->replace(slot(1), account, secret), KeychainStatus::item_not_found);
    EXPECT_EQ(changes->remove(slot(1), account), KeychainStatus::item_not_found);
  }
  keychain->failAll(KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(changes->add(slot(1), account, secret), KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(changes->replace(slot(0), account, secret), KeychainStatus::interaction_not_allowed);
}

TEST_F(GatheredChangesTest, ItemAddedAndRemovedInOneChangeIsNotWritten) {
  fill(1);
  ASSERT_EQ(changes->beginChange(), KeychainStatus::ok);
  ASSERT_EQ(changes->add(slot(1), account, SecretBytes(Bytes{1})), KeychainStatus::ok);
  ASSERT_EQ(changes->remove(slot(1), account), KeychainStatus::ok);
  keychain->calls = 0;
  EXPECT_EQ(changes->endChange(), KeychainStatus::ok);
  EXPECT_EQ(keychain->calls, 0U);
}

TEST_F(GatheredChangesTest, ChangeThatCannotBeBegunIsNone) {
  keychain->begin_status = KeychainStatus::write_permission;
  EXPECT_EQ(changes->beginChange(), KeychainStatus::write_permission);
  EXPECT_EQ(changes->add(slot(0), account, SecretBytes(Bytes{1})), KeychainStatus::ok);
  EXPECT_EQ(stored(), std::vector<int>{1});
}

}  // namespace
}  // namespace talvane::test
