#include "platform/linux/vault/key.h"

#include <sodium.h>

namespace talvane {
namespace {

constexpr std::size_t nonce_size = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr std::size_t tag_size = crypto_aead_xchacha20poly1305_ietf_ABYTES;
static_assert(VaultKey::size == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);

bool libraryReady() {
  static const bool ready = sodium_init() >= 0;
  return ready;
}

// The service's length keeps "ab" + "c" apart from "a" + "bc".
Bytes associatedData(std::string_view service, std::string_view account) {
  Bytes data;
  data.reserve(8 + service.size() + account.size());
  for (unsigned shift = 0; shift < 64; shift += 8) {
    data.push_back(static_cast<std::uint8_t>(std::uint64_t{service.size()} >> shift));
  }
  data.insert(data.end(), service.begin(), service.end());
  data.insert(data.end(), account.begin(), account.end());
  return data;
}

VaultOutcome libraryFailed() {
  return {KeychainStatus::io_error,
          "The embedded vault's encryption could not be started; restart the computer and try "
          "again"};
}

}  // namespace

VaultOutcome VaultKey::read(const VaultPaths& paths, std::optional<VaultKey>* key) {
  if (!libraryReady()) return libraryFailed();
  FileDescriptor file;
  if (VaultOutcome outcome = openPrivateFile(paths.key, &file); !outcome.ok()) return outcome;
  SecretBytes bytes;
  // One byte more, to see that there is none.
  if (VaultOutcome outcome = readFile(paths.key, file, size + 1, &bytes); !outcome.ok()) {
    return outcome;
  }
  if (bytes->size() != size) {
    return {KeychainStatus::invalid_keychain,
            paths.key +
                " is damaged, and the embedded vault cannot be opened without it; restore "
                "the file from a backup"};
  }
  *key = VaultKey(std::move(bytes));
  return {};
}

VaultOutcome VaultKey::create(const VaultPaths& paths) {
  if (!libraryReady()) return libraryFailed();
  SecretBytes bytes(Bytes(size, 0));
  randombytes_buf(bytes.mutableValue().data(), size);
  return createFileOnce(paths.folder, paths.key, bytes);
}

Bytes VaultKey::seal(std::string_view service, std::string_view account,
                     const Bytes& secret) const {
  const Bytes data = associatedData(service, account);
  Bytes sealed(nonce_size + secret.size() + tag_size);
  randombytes_buf(sealed.data(), nonce_size);
  crypto_aead_xchacha20poly1305_ietf_encrypt(sealed.data() + nonce_size, nullptr, secret.data(),
                                             secret.size(), data.data(), data.size(), nullptr,
                                             sealed.data(), bytes_->data());
  return sealed;
}

bool VaultKey::open(std::string_view service, std::string_view account, const Bytes& sealed,
                    SecretBytes* secret) const {
  if (sealed.size() < nonce_size + tag_size) return false;
  const Bytes data = associatedData(service, account);
  SecretBytes opened(Bytes(sealed.size() - nonce_size - tag_size, 0));
  if (crypto_aead_xchacha20poly1305_ietf_decrypt(opened.mutableValue().data(), nullptr, nullptr,
                                                 sealed.data() + nonce_size,
                                                 sealed.size() - nonce_size, data.data(),
                                                 data.size(), sealed.data(), bytes_->data()) != 0) {
    return false;
  }
  *secret = std::move(opened);
  return true;
}

}  // namespace talvane
