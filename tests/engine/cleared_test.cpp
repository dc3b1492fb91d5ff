#include "engine/cleared.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvane {
namespace {

TEST(ClearMemory, OverwritesExactlyTheBytesNamed) {
  std::array<std::uint8_t, 6> bytes{1, 2, 3, 4, 5, 6};
  clearMemory(bytes.data() + 1, 4);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 6>{1, 0, 0, 0, 0, 6}));
  clearMemory(bytes.data(), 0);
  EXPECT_EQ(bytes[0], 1);
  clearMemory(nullptr, 0);
}

// A short string lives inside its owner, in storage that outlives it here.
TEST(Cleared, DestructionClearsTheMemory) {
  alignas(Cleared<std::string>) std::array<unsigned char, sizeof(Cleared<std::string>)> storage{};
  auto* secret = new (storage.data()) Cleared<std::string>(std::string("JBSWY3DP"));
  const auto holds_secret = [&storage] {
    const std::string seed = "JBSWY3DP";
    return std::search(storage.begin(), storage.end(), seed.begin(), seed.end()) != storage.end();
  };
  EXPECT_TRUE(holds_secret());
  secret->~Cleared();
  EXPECT_FALSE(holds_secret());
}

TEST(Cleared, MovedFromIsEmptyAndTheValueArrives) {
  Cleared<std::string> from(std::string("JBSWY3DPEHPK3PXPJBSWY3DPEHPK3PXP"));
  Cleared<std::string> to(std::move(from));
  EXPECT_EQ(to.get(), "JBSWY3DPEHPK3PXPJBSWY3DPEHPK3PXP");
  EXPECT_EQ(from.get(), "");  // NOLINT(bugprone-use-after-move)
  Cleared<std::string> assigned(std::string("old"));
  assigned = std::move(to);
  EXPECT_EQ(assigned.get(), "JBSWY3DPEHPK3PXPJBSWY3DPEHPK3PXP");
  EXPECT_EQ(to.get(), "");  // NOLINT(bugprone-use-after-move)
}

TEST(Cleared, CopiesAreIndependent) {
  const Cleared<std::string> first(std::string("JBSWY3DP"));
  Cleared<std::string> second(first);
  Cleared<std::string> third;
  third = first;
  second.clear();
  EXPECT_EQ(first.get(), "JBSWY3DP");
  EXPECT_EQ(second.get(), "");
  EXPECT_EQ(third.get(), "JBSWY3DP");
}

TEST(Cleared, AssignmentToItselfKeepsTheValue) {
  Cleared<std::vector<std::uint8_t>> bytes(std::vector<std::uint8_t>{1, 2, 3});
  auto& alias = bytes;
  bytes = alias;
  EXPECT_EQ(bytes.get(), (std::vector<std::uint8_t>{1, 2, 3}));
  bytes = std::move(alias);
  EXPECT_EQ(bytes.get(), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST(Cleared, FillingInPlaceAndClearing) {
  Cleared<std::vector<std::uint8_t>> bytes;
  EXPECT_TRUE(bytes->empty());
  bytes.mutableValue().resize(3, 7);
  EXPECT_EQ(bytes->size(), 3U);
  // The vector keeps its storage.
  const std::uint8_t* storage = bytes->data();
  bytes.clear();
  EXPECT_TRUE(bytes->empty());
  EXPECT_EQ(storage[0], 0);
  EXPECT_EQ(storage[2], 0);
}

TEST(Cleared, AppendsWithinItsMemoryAndBeyond) {
  Cleared<std::string> text;
  std::string expected;
  for (int i = 0; i < 200; ++i) {
    text.append(std::string_view("ab"));
    expected += "ab";
    ASSERT_EQ(text.get(), expected);
  }
  Cleared<std::vector<std::uint8_t>> bytes;
  bytes.append(std::vector<std::uint8_t>{1, 2});
  bytes.append(std::vector<std::uint8_t>{3});
  EXPECT_EQ(bytes.get(), (std::vector<std::uint8_t>{1, 2, 3}));
}

// A short string lives inside its owner.
TEST(Cleared, AppendingClearsWhatItOutgrows) {
  Cleared<std::string> text(std::string("JBSWY3DP"));
  text.append(std::string_view("EHPK3PXPJBSWY3DPEHPK3PXP"));
  const auto* owner = reinterpret_cast<const char*>(&text);
  const std::string seed = "JBSWY3DP";
  EXPECT_EQ(std::search(owner, owner + sizeof(text), seed.begin(), seed.end()),
            owner + sizeof(text));
  EXPECT_EQ(text.get(), "JBSWY3DPEHPK3PXPJBSWY3DPEHPK3PXP");
}

TEST(Cleared, ComparesAsItsValue) {
  const Cleared<std::string> text(std::string("JBSWY3DP"));
  EXPECT_TRUE(text == "JBSWY3DP");
  EXPECT_TRUE(std::string("JBSWY3DP") == text);
  EXPECT_FALSE(text == std::string("JBSWY3D"));
  EXPECT_TRUE(text == Cleared<std::string>(text));
  EXPECT_FALSE(text == Cleared<std::string>());
}

}  // namespace
}  // namespace talvane
