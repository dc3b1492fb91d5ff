#include "platform/memory/memory_keychain.h"

#include <gtest/gtest.h>

#include <array>
#include <set>

namespace talvane {
namespace {

using Status = KeychainStatus;

const SecretBytes secret_one(Bytes{1, 0, 255});
const SecretBytes secret_two(Bytes{2});

TEST(MemoryKeychain, AddsFindsReplacesAndRemoves) {
  MemoryKeychain keychain;
  ASSERT_EQ(keychain.add("token", "amira", secret_one), Status::ok);
  SecretBytes found;
  ASSERT_EQ(keychain.find("token", "amira", &found), Status::ok);
  EXPECT_EQ(found.get(), (Bytes{1, 0, 255}));
  ASSERT_EQ(keychain.replace("token", "amira", secret_two), Status::ok);
  ASSERT_EQ(keychain.find("token", "amira", &found), Status::ok);
  EXPECT_EQ(found.get(), Bytes{2});
  ASSERT_EQ(keychain.remove("token", "amira"), Status::ok);
  EXPECT_EQ(keychain.find("token", "amira", nullptr), Status::item_not_found);
}

TEST(MemoryKeychain, TellsMissingAndDuplicateItemsApart) {
  MemoryKeychain keychain;
  SecretBytes found(secret_two);
  EXPECT_EQ(keychain.find("token", "amira", &found), Status::item_not_found);
  EXPECT_EQ(found.get(), Bytes{2});
  EXPECT_EQ(keychain.replace("token", "amira", secret_one), Status::item_not_found);
  EXPECT_EQ(keychain.remove("token", "amira"), Status::item_not_found);
  ASSERT_EQ(keychain.add("token", "amira", secret_one), Status::ok);
  EXPECT_EQ(keychain.add("token", "amira", secret_two), Status::duplicate_item);
  EXPECT_EQ(keychain.find("token", "amira", nullptr), Status::ok);
  EXPECT_EQ(keychain.find("token", "bela", nullptr), Status::item_not_found);
  EXPECT_EQ(keychain.find("other", "amira", nullptr), Status::item_not_found);
  EXPECT_EQ((keychain.items.at({"token", "amira"}).get()), (Bytes{1, 0, 255}));
}

TEST(MemoryKeychain, EveryStatusHasWordsOfItsOwn) {
  MemoryKeychain keychain;
  std::set<std::string> messages;
  const std::array statuses{Status::ok,
                            Status::disk_full,
                            Status::io_error,
                            Status::write_permission,
                            Status::not_available,
                            Status::no_default_keychain,
                            Status::interaction_not_allowed,
                            Status::duplicate_item,
                            Status::item_not_found,
                            Status::cannot_decode,
                            Status::invalid_keychain,
                            Status::not_responding,
                            static_cast<Status>(-1)};
  for (const Status status : statuses) messages.insert(keychain.message(status));
  EXPECT_EQ(messages.size(), statuses.size());
  EXPECT_FALSE(messages.contains(""));
}

TEST(MemoryKeychain, DescribesItself) {
  MemoryKeychain keychain;
  EXPECT_EQ(keychain.describe().name, "memory");
  EXPECT_EQ(keychain.describe().status, Status::ok);
}

}  // namespace
}  // namespace talvane
