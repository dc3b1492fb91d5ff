#include "engine/hmac_sha1.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/vectors.h"

namespace talvane {
namespace {

std::string hmacHex(const std::vector<std::uint8_t>& key, std::string_view message) {
  return test::toHex(hmacSha1(key, std::vector<std::uint8_t>(message.begin(), message.end())));
}

std::vector<std::uint8_t> bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

// RFC 2202, section 3, the seven test cases of HMAC-SHA-1.
TEST(HmacSha1, Rfc2202Case1) {
  EXPECT_EQ(hmacHex(std::vector<std::uint8_t>(20, 0x0B), "Hi There"),
            "b617318655057264e28bc0b6fb378c8ef146be00");
}

TEST(HmacSha1, Rfc2202Case2) {
  EXPECT_EQ(hmacHex(bytesOf("Jefe"), "what do ya want for nothing?"),
            "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
}

TEST(HmacSha1, Rfc2202Case3) {
  EXPECT_EQ(hmacHex(std::vector<std::uint8_t>(20, 0xAA), std::string(50, '\xDD')),
            "125d7342b9ac11cd91a39af48aa17b4f63f175d3");
}

TEST(HmacSha1, Rfc2202Case4) {
  EXPECT_EQ(hmacHex(test::fromHex("0102030405060708090a0b0c0d0e0f10111213141516171819"),
                    std::string(50, '\xCD')),
            "4c9007f4026250c6bc8414f9bf50c86c2d7235da");
}

TEST(HmacSha1, Rfc2202Case5) {
  EXPECT_EQ(hmacHex(std::vector<std::uint8_t>(20, 0x0C), "Test With Truncation"),
            "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04");
}

TEST(HmacSha1, Rfc2202Case6KeyLongerThanABlock) {
  EXPECT_EQ(hmacHex(std::vector<std::uint8_t>(80, 0xAA),
                    "Test Using Larger Than Block-Size Key - Hash Key First"),
            "aa4ae5e15272d00e95705637ce8a3b55ed402112");
}

TEST(HmacSha1, Rfc2202Case7KeyAndMessageLongerThanABlock) {
  EXPECT_EQ(hmacHex(std::vector<std::uint8_t>(80, 0xAA),
                    "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data"),
            "e8e99d0f45237d786d6bbaa7965c7808bbff1a91");
}

TEST(HmacSha1, EmptyKeyAndMessage) {
  EXPECT_EQ(hmacHex({}, ""), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d");
}

}  // namespace
}  // namespace talvane
