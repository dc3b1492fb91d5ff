#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "engine/gateway.h"
#include "engine/vane.h"
#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using DeviceKeyTest = test::EngineTest;

std::string keyHex() {
  return test::toHex(std::span(vane::GetKey(), 16));
}

constexpr const char* key_of_1 = "00400040000001400140810080400040";
constexpr const char* key_of_12345 = "cea8c3e14d4946a808e1fb49c8a802e1";
constexpr const char* key_of_0 = "00000000000000000000000000000000";

TEST_F(DeviceKeyTest, EveryRowOfTheIdentityTable) {
  for (const auto& row : test::readVectors("device_identity.tsv", 4, 41)) {
    const auto expected = static_cast<std::uint32_t>(std::stoul(row[3]));
    EXPECT_EQ(deviceIdentity(row[0] + row[1] + row[2]), expected) << row;
  }
}

TEST_F(DeviceKeyTest, EveryRowOfTheIdentityTableThroughTheGateway) {
  gateway.identity.reset();
  for (const auto& row : test::readVectors("device_identity.tsv", 4, 41)) {
    gateway.serial = row[0];
    gateway.volume = row[1];
    gateway.user = row[2];
    EXPECT_EQ(gateway.GetDeviceId(), static_cast<std::uint32_t>(std::stoul(row[3]))) << row;
  }
}

TEST_F(DeviceKeyTest, EveryRowOfTheKeyTable) {
  for (const auto& row : test::readVectors("device_key.tsv", 2, 47)) {
    setIdentity(static_cast<std::uint32_t>(std::stoul(row[0])));
    EXPECT_EQ(keyHex(), row[1]) << row;
    EXPECT_EQ(vane::GetKey()[16], 0) << row;
  }
}

TEST_F(DeviceKeyTest, ThreeEmptyIdentifiersGiveIdentityZeroAndAZeroKey) {
  gateway.identity.reset();
  vane::SetInterface(&gateway);
  EXPECT_EQ(gateway.GetDeviceId(), 0U);
  EXPECT_EQ(deviceIdentity(""), 0U);
  EXPECT_EQ(keyHex(), key_of_0);
}

TEST_F(DeviceKeyTest, UpperAndLowerCaseLettersHaveTheSameValue) {
  EXPECT_EQ(deviceIdentity("A"), 10U);
  EXPECT_EQ(deviceIdentity("a"), 10U);
  EXPECT_EQ(deviceIdentity("Z"), 35U);
  EXPECT_EQ(deviceIdentity("z"), 35U);
  EXPECT_EQ(deviceIdentity("JBSWY3DPEHPK3PXP"), deviceIdentity("jbswy3dpehpk3pxp"));
}

TEST_F(DeviceKeyTest, DigitsAreTheirValue) {
  EXPECT_EQ(deviceIdentity("0"), 0U);
  EXPECT_EQ(deviceIdentity("9"), 9U);
  EXPECT_EQ(deviceIdentity("1234567"), 0x07654321U);
}

// The second "1" lies where the first one does: index 8 uses shift 0 again, and by XOR.
TEST_F(DeviceKeyTest, IndexEightUsesShiftZeroAgain) {
  EXPECT_EQ(deviceIdentity("10000000"), 1U);
  EXPECT_EQ(deviceIdentity("100000001"), 0U);
  EXPECT_EQ(deviceIdentity("100000002"), 3U);
}

TEST_F(DeviceKeyTest, IndexesThatAreMultiplesOfSevenAreCombinedByOr) {
  // Index 14 has shift 24, as index 6 has.
  EXPECT_EQ(deviceIdentity("000000100000001"), 0x01000000U);
  // Index 21 has shift 20, as index 5 has.
  EXPECT_EQ(deviceIdentity("0000010000000000000001"), 0x00100000U);
  // Index 56 has shift 0, as index 0 has.
  EXPECT_EQ(deviceIdentity("1" + std::string(55, '0') + "1"), 1U);
}

TEST_F(DeviceKeyTest, OtherIndexesAreCombinedByXor) {
  // Index 15 has shift 28, as index 7 has.
  EXPECT_EQ(deviceIdentity("0000000100000001"), 0U);
  // Index 22 has shift 24, as index 6 has.
  EXPECT_EQ(deviceIdentity("00000010000000000000001"), 0U);
}

TEST_F(DeviceKeyTest, TopBitIsCleared) {
  EXPECT_EQ(deviceIdentity("00000008"), 0U);
  EXPECT_EQ(deviceIdentity("0000000F"), 0x70000000U);
}

TEST_F(DeviceKeyTest, OtherCharactersWrapAround) {
  EXPECT_EQ(deviceIdentity("-"), 0x7FFFFFD6U);
  EXPECT_EQ(deviceIdentity("0-"), 0x7FFFFD60U);
  EXPECT_EQ(deviceIdentity("_"), 8U);
}

TEST_F(DeviceKeyTest, CharactersAreUtf16CodeUnits) {
  EXPECT_EQ(deviceIdentity("ü"), 0xFCU - 87U);
  EXPECT_EQ(deviceIdentity("üA"), 5U);
  EXPECT_EQ(deviceIdentity("😀"), ((0xDE00U - 87U) << 4U) ^ (0xD83DU - 87U));
}

TEST_F(DeviceKeyTest, IdentifiersAreJoinedInOrder) {
  gateway.identity.reset();
  gateway.serial = "1";
  gateway.volume = "2";
  gateway.user = "3";
  EXPECT_EQ(gateway.GetDeviceId(), 0x321U);
}

TEST_F(DeviceKeyTest, TwoCallsReturnTheSameBytesAndPointer) {
  const std::uint8_t* first = vane::GetKey();
  const std::string bytes = keyHex();
  EXPECT_EQ(vane::GetKey(), first);
  EXPECT_EQ(keyHex(), bytes);
  EXPECT_EQ(bytes, key_of_12345);
}

TEST_F(DeviceKeyTest, IdentityIsAskedForOnce) {
  vane::GetKey();
  vane::GetKey();
  EXPECT_EQ(gateway.identity_requests, 1U);
  gateway.identity = 1;
  EXPECT_EQ(keyHex(), key_of_12345);
}

TEST_F(DeviceKeyTest, IdentityZeroIsNotKept) {
  setIdentity(0);
  EXPECT_EQ(keyHex(), key_of_0);
  gateway.identity = 1;
  EXPECT_EQ(keyHex(), key_of_1);
}

TEST_F(DeviceKeyTest, SettingTheInterfaceForgetsTheIdentity) {
  EXPECT_EQ(keyHex(), key_of_12345);
  setIdentity(1);
  EXPECT_EQ(keyHex(), key_of_1);
  test::FakeGateway other;
  other.identity = 0;
  vane::SetInterface(&other);
  EXPECT_EQ(keyHex(), key_of_0);
}

TEST_F(DeviceKeyTest, WithoutAGatewayTheKeyIsZero) {
  EXPECT_EQ(keyHex(), key_of_12345);
  vane::SetInterface(nullptr);
  EXPECT_EQ(keyHex(), key_of_0);
  EXPECT_EQ(vane::GetKey()[16], 0);
}

TEST_F(DeviceKeyTest, AFailedReadForgetsTheIdentity) {
  EXPECT_EQ(keyHex(), key_of_12345);
  gateway.identity = 1;
  std::unique_ptr<SoftTokenInfo> token;
  EXPECT_FALSE(vane::ReadToken(0, &token));
  EXPECT_EQ(keyHex(), key_of_1);
}

TEST_F(DeviceKeyTest, ADamagedRecordForgetsTheIdentity) {
  gateway.records[test::slotName(0)] = Record{{"seed32", Bytes(24, 0)}};
  EXPECT_EQ(keyHex(), key_of_12345);
  gateway.identity = 1;
  std::unique_ptr<SoftTokenInfo> token;
  EXPECT_FALSE(vane::ReadToken(0, &token));
  EXPECT_EQ(keyHex(), key_of_1);
}

TEST_F(DeviceKeyTest, ASuccessfulReadForgetsTheIdentity) {
  store(0, test::makeToken("Mail", "JBSWY3DPEHPK3PXP"));
  std::unique_ptr<SoftTokenInfo> token;
  EXPECT_TRUE(vane::ReadToken(0, &token));
  gateway.identity = 1;
  EXPECT_EQ(keyHex(), key_of_1);
}

TEST_F(DeviceKeyTest, AReadThatOnlyTestsForgetsTheIdentity) {
  store(0, test::makeToken("Mail", "JBSWY3DPEHPK3PXP"));
  EXPECT_EQ(keyHex(), key_of_12345);
  gateway.identity = 1;
  EXPECT_TRUE(vane::ReadToken(0, nullptr));
  EXPECT_EQ(keyHex(), key_of_1);
}

TEST_F(DeviceKeyTest, AnExpansionWorksWithTheCurrentIdentity) {
  EXPECT_EQ(keyHex(), key_of_12345);
  gateway.identity = 0;
  const auto full = vane::ExpandSeed(test::makeToken("Mail", "NHNCUL654OG5L"), nullptr);
  ASSERT_TRUE(full);
  EXPECT_EQ(full->get(), "NHNCUL654OG5QMAS");
}

}  // namespace
}  // namespace talvane
