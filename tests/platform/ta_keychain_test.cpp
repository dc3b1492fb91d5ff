#include "platform/ta_keychain.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/record_archive.h"
#include "tests/platform/faulty_keychain.h"

namespace talvane::test {
namespace {

constexpr const char* service = "TalvaneSoftToken5020";
constexpr const char* account = "ada";

Record recordNamed(const std::string& name) {
  return {{"desc", name}, {"seed32", Bytes{0, 1, 0xFF}}, {"period", std::int64_t{30}}};
}

class TaKeyChainTest : public testing::Test {
 protected:
  FaultyKeychain keychain;
  TaKeyChain item{keychain, service, account};

  /// Makes the next calls of the kind fail.
  void failAt(FaultyKeychain::Call kind, KeychainStatus status) {
    keychain.fault = [kind, status](FaultyKeychain::Call call, std::size_t) {
      return call == kind ? status : KeychainStatus::ok;
    };
  }
  void recover() { keychain.fault = nullptr; }
};

TEST_F(TaKeyChainTest, ErrorIsUnknownBeforeTheFirstCall) {
  EXPECT_EQ(item.error(), "ERR Unknown");
}

TEST_F(TaKeyChainTest, ErrorIsUnknownWhileACallRuns) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  std::string seen;
  keychain.fault = [&](FaultyKeychain::Call, std::size_t) {
    seen += item.error() + ";";
    return KeychainStatus::ok;
  };
  Record record;
  ASSERT_EQ(item.getDict(&record), KeychainStatus::ok);
  EXPECT_EQ(seen, "ERR Unknown;");
  seen.clear();
  ASSERT_EQ(item.storeDict(record), KeychainStatus::ok);
  EXPECT_EQ(seen, "ERR Unknown;ERR Unknown;");
  seen.clear();
  ASSERT_EQ(item.remove(), KeychainStatus::ok);
  EXPECT_EQ(seen, "ERR Unknown;ERR Unknown;");
}

TEST_F(TaKeyChainTest, StoringUsesServiceAndAccount) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  EXPECT_EQ(item.error(), "OK");
  ASSERT_EQ(keychain.memory.items.size(), 1U);
  EXPECT_EQ(keychain.memory.items.begin()->first,
            std::pair(std::string(service), std::string(account)));
}

TEST_F(TaKeyChainTest, StoredSecretIsTheArchiveOfTheDictionary) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  const Bytes secret = keychain.memory.items.begin()->second;
  EXPECT_EQ(std::string(secret.begin(), secret.begin() + 6), "bplist");
  EXPECT_EQ(unarchiveRecord(secret), recordNamed("one"));
}

TEST_F(TaKeyChainTest, StoringTwiceLeavesOneItemHoldingTheSecond) {
  ASSERT_EQ(item.storeDict(recordNamed("first")), KeychainStatus::ok);
  ASSERT_EQ(item.storeDict({{"desc", std::string("second")}}), KeychainStatus::ok);
  EXPECT_EQ(keychain.memory.items.size(), 1U);
  Record record{{"left", std::string("over")}};
  ASSERT_EQ(item.getDict(&record), KeychainStatus::ok);
  EXPECT_EQ(record, (Record{{"desc", std::string("second")}}));
}

TEST_F(TaKeyChainTest, RemovingWhatIsNotThereSucceeds) {
  EXPECT_EQ(static_cast<int>(item.remove()), 0);
  EXPECT_EQ(item.error(), "OK");
}

TEST_F(TaKeyChainTest, RemovingDeletesTheItem) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  EXPECT_EQ(item.remove(), KeychainStatus::ok);
  EXPECT_EQ(item.error(), "OK");
  EXPECT_TRUE(keychain.memory.items.empty());
}

TEST_F(TaKeyChainTest, StoringNeitherTextNorDictionaryRemoves) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  EXPECT_EQ(item.storePassword(nullptr, nullptr), KeychainStatus::ok);
  EXPECT_TRUE(keychain.memory.items.empty());
}

TEST_F(TaKeyChainTest, RemovingSucceedsWithoutEffectWhenTheLookUpFails) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  for (const auto& [status, number] : failures) {
    if (status == KeychainStatus::cannot_decode) continue;
    failAt(FaultyKeychain::Call::find, status);
    EXPECT_EQ(static_cast<int>(item.remove()), 0) << number;
    EXPECT_EQ(item.lookup(), status);
    EXPECT_EQ(item.error(), "OK") << number;
    EXPECT_EQ(keychain.memory.items.size(), 1U) << number;
  }
}

TEST_F(TaKeyChainTest, RemovingLooksTheDataUp) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  keychain.data_asked_for = 0;
  ASSERT_EQ(item.remove(), KeychainStatus::ok);
  EXPECT_EQ(keychain.data_asked_for, 1U);
}

TEST_F(TaKeyChainTest, DamagedItemCanBeRemoved) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  failAt(FaultyKeychain::Call::find, KeychainStatus::cannot_decode);
  EXPECT_EQ(item.remove(), KeychainStatus::ok);
  EXPECT_EQ(item.error(), "OK");
  EXPECT_EQ(item.lookup(), KeychainStatus::ok);
  EXPECT_TRUE(keychain.memory.items.empty());
}

TEST_F(TaKeyChainTest, FailedRemovalIsReported) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  failAt(FaultyKeychain::Call::remove, KeychainStatus::write_permission);
  EXPECT_EQ(static_cast<int>(item.remove()), -61);
  EXPECT_EQ(item.error(), "ERR words for -61 [-61]");
  EXPECT_EQ(keychain.memory.items.size(), 1U);
}

TEST_F(TaKeyChainTest, LoadingAMissingItemSaysSo) {
  Record record = recordNamed("untouched");
  EXPECT_EQ(static_cast<int>(item.getDict(&record)), -25300);
  EXPECT_EQ(item.error(), "ERR words for -25300 [-25300]");
  EXPECT_EQ(record, recordNamed("untouched"));
}

TEST_F(TaKeyChainTest, MissingItemIsToldWithTheKeychainsOwnMessage) {
  MemoryKeychain memory;
  TaKeyChain missing(memory, service, account);
  Record record;
  ASSERT_EQ(missing.getDict(&record), KeychainStatus::item_not_found);
  EXPECT_EQ(missing.error(), "ERR " + memory.message(KeychainStatus::item_not_found) + " [-25300]");
  EXPECT_GT(memory.message(KeychainStatus::item_not_found).size(), 0U);
}

TEST_F(TaKeyChainTest, EveryFailedLookUpIsReportedWithItsNumber) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  for (const auto& [status, number] : failures) {
    failAt(FaultyKeychain::Call::find, status);
    Record record = recordNamed("untouched");
    std::string text = "untouched";
    const std::string error =
        "ERR words for " + std::to_string(number) + " [" + std::to_string(number) + "]";
    EXPECT_EQ(static_cast<int>(item.getDict(&record)), number);
    EXPECT_EQ(item.error(), error);
    EXPECT_EQ(static_cast<int>(item.getPassword(&text)), number);
    EXPECT_EQ(item.error(), error);
    EXPECT_EQ(record, recordNamed("untouched"));
    EXPECT_EQ(text, "untouched");
  }
}

TEST_F(TaKeyChainTest, NothingIsStoredWhenTheLookUpFails) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  const auto before = keychain.memory.items.begin()->second;
  for (const auto& [status, number] : failures) {
    if (status == KeychainStatus::item_not_found) continue;
    failAt(FaultyKeychain::Call::find, status);
    keychain.calls = 0;
    EXPECT_EQ(static_cast<int>(item.storeDict(recordNamed("two"))), number);
    EXPECT_EQ(item.error(),
              "ERR words for " + std::to_string(number) + " [" + std::to_string(number) + "]");
    EXPECT_EQ(keychain.calls, 1U) << "nothing was tried after the look-up";
    EXPECT_EQ(keychain.memory.items.begin()->second.get(), before.get());
  }
}

TEST_F(TaKeyChainTest, FailedReplacementIsReportedAndKeepsTheItem) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  failAt(FaultyKeychain::Call::replace, KeychainStatus::disk_full);
  EXPECT_EQ(static_cast<int>(item.storeDict(recordNamed("two"))), -34);
  EXPECT_EQ(item.error(), "ERR words for -34 [-34]");
  recover();
  Record record;
  ASSERT_EQ(item.getDict(&record), KeychainStatus::ok);
  EXPECT_EQ(record, recordNamed("one"));
}

TEST_F(TaKeyChainTest, FailedAdditionIsReported) {
  failAt(FaultyKeychain::Call::add, KeychainStatus::no_default_keychain);
  EXPECT_EQ(static_cast<int>(item.storeDict(recordNamed("one"))), -25307);
  EXPECT_EQ(item.error(), "ERR words for -25307 [-25307]");
  EXPECT_TRUE(keychain.memory.items.empty());
}

TEST_F(TaKeyChainTest, SuccessAfterAFailureReadsOk) {
  Record record;
  ASSERT_NE(item.getDict(&record), KeychainStatus::ok);
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  EXPECT_EQ(item.error(), "OK");
}

TEST_F(TaKeyChainTest, ItemsOfAnotherAccountAreInvisible) {
  ASSERT_EQ(item.storeDict(recordNamed("ada's")), KeychainStatus::ok);
  TaKeyChain other(keychain, service, "bob");
  Record record;
  EXPECT_EQ(other.getDict(&record), KeychainStatus::item_not_found);
  EXPECT_EQ(other.remove(), KeychainStatus::ok);
  EXPECT_EQ(other.storeDict(recordNamed("bob's")), KeychainStatus::ok);
  ASSERT_EQ(item.getDict(&record), KeychainStatus::ok);
  EXPECT_EQ(record, recordNamed("ada's"));
  ASSERT_EQ(other.getDict(&record), KeychainStatus::ok);
  EXPECT_EQ(record, recordNamed("bob's"));
}

TEST_F(TaKeyChainTest, ItemsOfAnotherServiceAreInvisible) {
  ASSERT_EQ(item.storeDict(recordNamed("slot 0")), KeychainStatus::ok);
  TaKeyChain other(keychain, "TalvaneSoftToken5021", account);
  Record record;
  EXPECT_EQ(other.getDict(&record), KeychainStatus::item_not_found);
}

TEST_F(TaKeyChainTest, StoringATextWritesAnEmptySecret) {
  EXPECT_EQ(item.storePassword("not kept"), KeychainStatus::ok);
  EXPECT_EQ(item.error(), "OK");
  ASSERT_EQ(keychain.memory.items.size(), 1U);
  EXPECT_TRUE(keychain.memory.items.begin()->second->empty());
  std::string text = "before";
  EXPECT_EQ(item.getPassword(&text), KeychainStatus::ok);
  EXPECT_EQ(text, "");
}

TEST_F(TaKeyChainTest, StoringATextReplacesADictionary) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  ASSERT_EQ(item.storePassword("not kept"), KeychainStatus::ok);
  ASSERT_EQ(keychain.memory.items.size(), 1U);
  EXPECT_TRUE(keychain.memory.items.begin()->second->empty());
}

TEST_F(TaKeyChainTest, SecretReadsAsText) {
  const std::string text = "pass w\xC3\xB6rd";
  keychain.memory.items[{service, account}] = Bytes(text.begin(), text.end());
  std::string read;
  EXPECT_EQ(item.getPassword(&read), KeychainStatus::ok);
  EXPECT_EQ(read, text);
  EXPECT_EQ(item.error(), "OK");
}

TEST_F(TaKeyChainTest, TextIsServedFirstWhenBothAreWanted) {
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  const Bytes secret = keychain.memory.items.begin()->second;
  std::string text;
  Record record = recordNamed("untouched");
  EXPECT_EQ(item.getPassword(&text, &record), KeychainStatus::ok);
  EXPECT_EQ(text, std::string(secret.begin(), secret.end()));
  EXPECT_EQ(record, recordNamed("untouched"));
}

TEST_F(TaKeyChainTest, DamagedDictionaryIsAFailureAndNotAMissingItem) {
  const std::string damaged[] = {"", "bplist00", "no archive", std::string(100, '\0')};
  for (const std::string& bytes : damaged) {
    keychain.memory.items[{service, account}] = Bytes(bytes.begin(), bytes.end());
    Record record = recordNamed("untouched");
    const int status = static_cast<int>(item.getDict(&record));
    EXPECT_NE(status, 0) << bytes;
    EXPECT_NE(status, -25300) << bytes;
    EXPECT_EQ(item.error(),
              "ERR words for " + std::to_string(status) + " [" + std::to_string(status) + "]");
    EXPECT_EQ(record, recordNamed("untouched")) << bytes;
    EXPECT_EQ(keychain.memory.items.size(), 1U) << bytes;
  }
}

TEST_F(TaKeyChainTest, LookingWithoutATargetOnlyTellsWhetherTheItemIsThere) {
  EXPECT_EQ(item.getPassword(nullptr, nullptr), KeychainStatus::item_not_found);
  ASSERT_EQ(item.storeDict(recordNamed("one")), KeychainStatus::ok);
  EXPECT_EQ(item.getPassword(nullptr, nullptr), KeychainStatus::ok);
}

}  // namespace
}  // namespace talvane::test
