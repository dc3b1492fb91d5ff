#include "platform/linux/secret_service/text.h"

#include <gtest/gtest.h>

namespace talvane::secret_service {
namespace {

SecretBytes bytes(std::string_view text) {
  return Bytes(text.begin(), text.end());
}

// RFC 4648, section 10.
struct Vector {
  std::string_view plain;
  std::string_view encoded;
};
constexpr Vector vectors[] = {{"", ""},
                              {"f", "Zg=="},
                              {"fo", "Zm8="},
                              {"foo", "Zm9v"},
                              {"foob", "Zm9vYg=="},
                              {"fooba", "Zm9vYmE="},
                              {"foobar", "Zm9vYmFy"}};

TEST(SecretText, EncodesTheVectorsOfTheStandard) {
  for (const Vector& vector : vectors) {
    EXPECT_EQ(secretText(bytes(vector.plain)).get(), vector.encoded);
  }
}

TEST(SecretText, DecodesTheVectorsOfTheStandard) {
  for (const Vector& vector : vectors) {
    SecretBytes secret = bytes("before");
    EXPECT_TRUE(readSecretText(vector.encoded, &secret)) << vector.encoded;
    EXPECT_EQ(secret.get(), bytes(vector.plain).get()) << vector.encoded;
  }
}

TEST(SecretText, UsesTheWholeAlphabetOnOneLine) {
  // The six-bit digits 0 to 63 in a row are the standard's alphabet.
  const Bytes all = {0x00, 0x10, 0x83, 0x10, 0x51, 0x87, 0x20, 0x92, 0x8b, 0x30, 0xd3, 0x8f,
                     0x41, 0x14, 0x93, 0x51, 0x55, 0x97, 0x61, 0x96, 0x9b, 0x71, 0xd7, 0x9f,
                     0x82, 0x18, 0xa3, 0x92, 0x59, 0xa7, 0xa2, 0x9a, 0xab, 0xb2, 0xdb, 0xaf,
                     0xc3, 0x1c, 0xb3, 0xd3, 0x5d, 0xb7, 0xe3, 0x9e, 0xbb, 0xf3, 0xdf, 0xbf};
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  EXPECT_EQ(secretText(all).get(), alphabet);
  SecretBytes secret;
  ASSERT_TRUE(readSecretText(alphabet, &secret));
  EXPECT_EQ(secret.get(), all);
}

TEST(SecretText, AllowsWhiteSpaceAtTheEndOnly) {
  SecretBytes secret;
  EXPECT_TRUE(readSecretText("Zm9v\n", &secret));
  EXPECT_EQ(secret.get(), bytes("foo").get());
  EXPECT_TRUE(readSecretText("Zg== \r\n", &secret));
  EXPECT_EQ(secret.get(), bytes("f").get());
  EXPECT_TRUE(readSecretText("\n", &secret));
  EXPECT_TRUE(secret->empty());
  EXPECT_FALSE(readSecretText(" Zm9v", &secret));
  EXPECT_FALSE(readSecretText("Zm\n9v", &secret));
}

TEST(SecretText, RefusesWhatNoEncoderWrites) {
  SecretBytes secret = bytes("before");
  for (const std::string_view text :
       {"Z", "Zg", "Zg=", "Zg===", "Zm9", "Zm9v=", "====", "=", "Zm-v", "Zm_v", "Zm9v!", "Z=m9",
        "Zm=v", "Zg==Zg==", "Zh==", "Zm9=", "Zm9\xc3", "a secret"}) {
    EXPECT_FALSE(readSecretText(text, &secret)) << text;
  }
  EXPECT_FALSE(readSecretText(std::string_view("Zm9\0", 4), &secret));
  EXPECT_EQ(secret.get(), bytes("before").get());
}

}  // namespace
}  // namespace talvane::secret_service
