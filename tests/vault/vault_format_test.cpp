// The file as its description has it, made and read by libsodium alone.

#include <sodium.h>

#include "tests/vault/vault_support.h"

namespace talvane::test {
namespace {

const std::string header("STVAULT\n\x01\x00\x00\x00", 12);

const unsigned char* bytesOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* bytesOf(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

std::string numbered(const std::string& text) {
  return std::string{static_cast<char>(text.size() & 0xFF), static_cast<char>(text.size() >> 8), 0,
                     0} +
         text;
}

std::string packed(const std::string& service, const std::string& of_account,
                   const std::string& secret) {
  return numbered(service) + numbered(of_account) + numbered(secret);
}

std::string sealed(const std::string& plain, const std::string& key) {
  const std::string nonce = "twenty-four random bytes";
  std::string text(plain.size() + 16, '\0');
  crypto_aead_xchacha20poly1305_ietf_encrypt(bytesOf(text), nullptr, bytesOf(plain), plain.size(),
                                             bytesOf(header), header.size(), nullptr,
                                             bytesOf(nonce), bytesOf(key));
  return header + nonce + text;
}

std::string unsealed(const std::string& file, const std::string& key) {
  EXPECT_GE(file.size(), 12U + 24 + 16);
  std::string plain(file.size() - 12 - 24 - 16, '\0');
  EXPECT_EQ(crypto_aead_xchacha20poly1305_ietf_decrypt(
                bytesOf(plain), nullptr, nullptr, bytesOf(file) + 36, file.size() - 36,
                bytesOf(file), 12, bytesOf(file) + 12, bytesOf(key)),
            0);
  return plain;
}

class VaultFormat : public testing::Test {
 protected:
  VaultFormat() {
    std::filesystem::create_directory(folder.path());
    writeFile(folder.key(), key);
  }

  const VaultFolder folder;
  const std::string key = "a key of thirty-two bytes, my my";
};

TEST_F(VaultFormat, IsReadAsDescribed) {
  ASSERT_EQ(key.size(), 32U);
  writeFile(folder.vault(), sealed(packed("token 0", account, "secret 0") +
                                       packed("token 1", account, std::string(600, 'x')),
                                   key));
  EXPECT_EQ(secretIn(*folder.open(), "token 0"), "secret 0");
  EXPECT_EQ(secretIn(*folder.open(), "token 1"), std::string(600, 'x'));
  EXPECT_EQ(statusOf(*folder.open(), "token 2"), Status::item_not_found);
}

TEST_F(VaultFormat, IsWrittenAsDescribed) {
  const auto keychain = folder.open();
  ASSERT_EQ(keychain->add("token 1", account, secretOf("secret 1")), Status::ok);
  ASSERT_EQ(keychain->add("token 0", account, secretOf(std::string(600, 'x'))), Status::ok);
  const std::string file = readFile(folder.vault());
  EXPECT_EQ(file.substr(0, 12), header);
  EXPECT_EQ(unsealed(file, key), packed("token 0", account, std::string(600, 'x')) +
                                     packed("token 1", account, "secret 1"));
}

TEST_F(VaultFormat, EachChangeHasANonceOfItsOwn) {
  const auto keychain = folder.open();
  ASSERT_EQ(store(*keychain, "token", "same"), Status::ok);
  const std::string first = readFile(folder.vault());
  ASSERT_EQ(store(*keychain, "token", "diff"), Status::ok);
  ASSERT_EQ(store(*keychain, "token", "same"), Status::ok);
  const std::string second = readFile(folder.vault());
  EXPECT_EQ(unsealed(first, key), unsealed(second, key));
  EXPECT_NE(first.substr(12, 24), second.substr(12, 24));
}

TEST_F(VaultFormat, EachFirstVaultHasAKeyOfItsOwn) {
  const VaultFolder one;
  const VaultFolder other;
  one.fill(1);
  other.fill(1);
  EXPECT_EQ(readFile(one.key()).size(), 32U);
  EXPECT_NE(readFile(one.key()), readFile(other.key()));
}

// Sealed by who has the key, and yet not what the vault packs.
TEST_F(VaultFormat, ItemsThatDoNotAddUpAreDamage) {
  const std::string whole = packed("token 0", account, "secret 0");
  const std::string endless("\xFF\xFF\xFF\xFF", 4);
  for (const std::string& plain : {whole + whole, whole + '\0', whole.substr(0, whole.size() - 1),
                                   whole.substr(0, 3), numbered("token 0") + numbered(account),
                                   endless, endless + whole, numbered("token 0") + endless}) {
    SCOPED_TRACE(plain.size());
    writeFile(folder.vault(), sealed(plain, key));
    EXPECT_EQ(statusOf(*folder.open(), "token 0"), Status::invalid_keychain);
    EXPECT_EQ(store(*folder.open(), "token 1", "x"), Status::invalid_keychain);
  }
}

}  // namespace
}  // namespace talvane::test
