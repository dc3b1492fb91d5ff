#include "platform/linux/vault/sealed_items.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane {
namespace {

constexpr std::array<std::uint8_t, 12> header{'S', 'T', 'V', 'A', 'U', 'L', 'T', '\n', 1, 0, 0, 0};
constexpr std::size_t sealed_at = header.size() + crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t tag_size = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr std::size_t length_size = 4;
static_assert(vault_key_size == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);

}  // namespace

bool sealingReady() {
  return sodium_init() >= 0;
}

SecretBytes newVaultKey() {
  SecretBytes key(Bytes(vault_key_size, 0));
  randombytes_buf(key.mutableValue().data(), vault_key_size);
  return key;
}

SecretBytes packItems(const VaultItems& items) {
  std::size_t size = 0;
  for (const auto& [name, secret] : items) {
    size += 3 * length_size + name.first.size() + name.second.size() + secret->size();
  }
  SecretBytes packed(Bytes(size, 0));
  auto next = packed.mutableValue().begin();
  const auto put = [&next](const auto& bytes) {
    for (unsigned shift = 0; shift < 8 * length_size; shift += 8) {
      *next++ = static_cast<std::uint8_t>(bytes.size() >> shift);
    }
    next = std::copy(bytes.begin(), bytes.end(), next);
  };
  for (const auto& [name, secret] : items) {
    put(name.first);
    put(name.second);
    put(secret.get());
  }
  return packed;
}

bool unpackItems(const SecretBytes& packed, VaultItems* items) {
  std::span<const std::uint8_t> rest(packed.get());
  bool good = true;
  const auto take = [&](std::size_t size) {
    good = good && size <= rest.size();
    const auto taken = rest.first(good ? size : 0);
    rest = rest.subspan(taken.size());
    return taken;
  };
  const auto next = [&] {
    std::size_t size = 0;
    unsigned shift = 0;
    for (const std::uint8_t byte : take(length_size)) {
      size |= std::size_t{byte} << shift;
      shift += 8;
    }
    return take(size);
  };
  while (good && !rest.empty()) {
    const auto service = next();
    const auto account = next();
    const auto secret = next();
    good = good && items
                       ->try_emplace({std::string(service.begin(), service.end()),
                                      std::string(account.begin(), account.end())},
                                     Bytes(secret.begin(), secret.end()))
                       .second;
  }
  return good;
}

Bytes seal(const SecretBytes& packed, const SecretBytes& key) {
  Bytes file(sealed_at + packed->size() + tag_size);
  std::uint8_t* nonce = std::copy(header.begin(), header.end(), file.data());
  randombytes_buf(nonce, crypto_aead_xchacha20poly1305_ietf_NPUBBYTES);
  crypto_aead_xchacha20poly1305_ietf_encrypt(&file[sealed_at], nullptr, packed->data(),
                                             packed->size(), header.data(), header.size(), nullptr,
                                             nonce, key->data());
  return file;
}

bool hasVaultHeader(const Bytes& file) {
  return file.size() >= sealed_at + tag_size &&
         std::equal(header.begin(), header.end(), file.begin());
}

bool unseal(const Bytes& file, const SecretBytes& key, SecretBytes* packed) {
  SecretBytes opened(Bytes(file.size() - sealed_at - tag_size, 0));
  const bool authentic =
      crypto_aead_xchacha20poly1305_ietf_decrypt(
          opened.mutableValue().data(), nullptr, nullptr, &file[sealed_at], file.size() - sealed_at,
          header.data(), header.size(), &file[header.size()], key->data()) == 0;
  if (authentic) *packed = std::move(opened);
  return authentic;
}

}  // namespace talvane
