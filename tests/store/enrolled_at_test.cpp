// What is known of where a token came from, and whether an issued token may replace it.

#include "store/enrolled_at.h"

#include "tests/store/store_test.h"

namespace talvane::test {
namespace {

constexpr const char* server = "https://srv:443";
constexpr const char* other_server = "https://srv:8443";

class EnrolledAtTest : public StoreTest {
 protected:
  auto issuing(const std::string& name, const std::string& from) {
    return [this, name, from] {
      return store.addIssued(token(name, other_seed_16), from, SameName::refuse);
    };
  }
  bool comesFrom(const std::string& from, const std::string& name) {
    const auto plan = store.plan(token(name), from);
    return plan && plan->from_same_server;
  }
};

TEST_F(EnrolledAtTest, SameServerReplacesItsToken) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  EXPECT_TRUE(comesFrom(server, "A"));
  ASSERT_TRUE(issuing("A", server)().has_value());
  EXPECT_EQ(read().list[0]->seed32->get(), other_seed_16);
  EXPECT_EQ(names(), Names{"A"});
}

TEST_F(EnrolledAtTest, NewTokenComesFromNowhere) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  keychain.memory.items.clear();
  EXPECT_FALSE(comesFrom(server, "A"));
}

TEST_F(EnrolledAtTest, OtherServerDoesNot) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  EXPECT_FALSE(comesFrom(other_server, "A"));
  expectRefused(issuing("A", other_server), Next::confirm, "already holds the token \"A\"");
  expectRefused(issuing("A", ""), Next::confirm, "already holds");
}

TEST_F(EnrolledAtTest, TypedTokenIsNotReplaced) {
  ASSERT_TRUE(store.add(token("A"), SameName::refuse).has_value());
  EXPECT_FALSE(comesFrom(server, "A"));
  expectRefused(issuing("A", server), Next::confirm, "already holds");
}

TEST_F(EnrolledAtTest, TokenOfAnUnknownServerIsNotReplaced) {
  ASSERT_TRUE(store.addIssued(token("A"), "", SameName::refuse).has_value());
  EXPECT_FALSE(comesFrom("", "A"));
  expectRefused(issuing("A", ""), Next::confirm, "already holds");
}

TEST_F(EnrolledAtTest, TokenTypedInPlaceOfAnEnrolledOneIsNotReplaced) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  ASSERT_TRUE(store.add(token("A", other_seed_16), SameName::replace).has_value());
  expectRefused(issuing("A", server), Next::confirm, "already holds");
}

TEST_F(EnrolledAtTest, TokenThatReplacedAfterAQuestionBelongsToTheNewServer) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  ASSERT_TRUE(store.addIssued(token("A"), other_server, SameName::replace).has_value());
  EXPECT_TRUE(comesFrom(other_server, "A"));
  EXPECT_FALSE(comesFrom(server, "A"));
}

TEST_F(EnrolledAtTest, TokenThatReplacedFromAnUnknownServerBelongsToNone) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  ASSERT_TRUE(store.addIssued(token("A"), "", SameName::replace).has_value());
  EXPECT_FALSE(comesFrom(server, "A"));
}

TEST_F(EnrolledAtTest, IssuedTokenIsStoredWithoutANoteToo) {
  defaults.writable = false;
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  defaults.readable = false;
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::replace).has_value());
  EXPECT_FALSE(comesFrom(server, "A"));
}

TEST_F(EnrolledAtTest, LaterNameMakesNoDifference) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  const StoredTokens tokens = read();
  const TokenStore::Rename rename{0, tokens.list[0].get(), "Mail"};
  ASSERT_TRUE(store.rename({&rename, 1}).has_value());
  EXPECT_TRUE(comesFrom(server, "A"));
}

TEST_F(EnrolledAtTest, DeletedTokenLeavesNoTrace) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  ASSERT_TRUE(store.addIssued(token("B"), server, SameName::refuse).has_value());
  ASSERT_TRUE(store.remove(selection({0}), read()).has_value());
  for (const auto& [key, value] : defaults.values) {
    EXPECT_EQ(value.find("A@"), std::string::npos) << key;
  }
  EXPECT_TRUE(comesFrom(server, "B"));
}

TEST_F(EnrolledAtTest, NamesCannotPassForOthers) {
  EnrolledAt enrolled_at(&defaults);
  const std::string odd = "A@https://srv:443 B";
  enrolled_at.note(server, odd);
  EXPECT_TRUE(enrolled_at.isFrom(server, odd));
  for (const char* name : {"A", "B", "", "A@https", "https"}) {
    EXPECT_FALSE(enrolled_at.isFrom(server, name)) << name;
  }
  enrolled_at.note(server, "Ä 日");
  EXPECT_TRUE(enrolled_at.isFrom(server, "Ä 日"));
  ASSERT_TRUE(enrolled_at.forget("Ä 日"));
  EXPECT_FALSE(enrolled_at.isFrom(server, "Ä 日"));
  EXPECT_TRUE(enrolled_at.isFrom(server, odd));
}

TEST_F(EnrolledAtTest, WhatCannotBeReadIsUnknown) {
  EnrolledAt enrolled_at(&defaults);
  enrolled_at.note(server, "A");
  defaults.readable = false;
  EXPECT_FALSE(enrolled_at.isFrom(server, "A"));
  EXPECT_FALSE(enrolled_at.forget("A"));
}

TEST_F(EnrolledAtTest, WithoutUserDefaultsNothingIsNoted) {
  EnrolledAt enrolled_at(nullptr);
  enrolled_at.note(server, "A");
  EXPECT_FALSE(enrolled_at.isFrom(server, "A"));
  EXPECT_TRUE(enrolled_at.forget("A"));
}

TEST_F(EnrolledAtTest, TokenIsNotTypedOverOneThatCannotBeForgotten) {
  ASSERT_TRUE(store.addIssued(token("A"), server, SameName::refuse).has_value());
  defaults.writable = false;
  expectRefused([&] { return store.add(token("A", other_seed_16), SameName::replace); },
                Next::check_keychain, "user defaults");
  ASSERT_TRUE(store.add(token("B"), SameName::refuse).has_value()) << "nothing to forget";
}

}  // namespace
}  // namespace talvane::test
