#include "platform/macos/keychain_macos.h"

#include <Security/Security.h>
#include <limits.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "engine/text.h"
#include "platform/macos/core_foundation.h"
#include "platform/translation.h"

// These calls use the file-based keychain. Their only successor stores another kind of item.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace talvane {
namespace {

using macos::Owned;

constexpr bool same(KeychainStatus status, OSStatus number) {
  return static_cast<OSStatus>(status) == number;
}
static_assert(same(KeychainStatus::ok, errSecSuccess));
static_assert(same(KeychainStatus::disk_full, errSecDiskFull));
static_assert(same(KeychainStatus::io_error, errSecIO));
static_assert(same(KeychainStatus::write_permission, errSecWrPerm));
static_assert(same(KeychainStatus::not_available, errSecNotAvailable));
static_assert(same(KeychainStatus::no_default_keychain, errSecNoDefaultKeychain));
static_assert(same(KeychainStatus::interaction_not_allowed, errSecInteractionNotAllowed));
static_assert(same(KeychainStatus::duplicate_item, errSecDuplicateItem));
static_assert(same(KeychainStatus::item_not_found, errSecItemNotFound));
static_assert(same(KeychainStatus::cannot_decode, errSecDecode));
static_assert(same(KeychainStatus::invalid_keychain, errSecInvalidKeychain));
static_assert(same(KeychainStatus::not_responding, errSecServiceNotAvailable));

KeychainStatus toStatus(OSStatus number) {
  return static_cast<KeychainStatus>(number);
}

/// Decides whether keychain calls of this process may open dialogs, for the length of a scope.
class Dialogs {
 public:
  explicit Dialogs(MayAsk may_ask) {
    if (SecKeychainGetUserInteractionAllowed(&before_) != errSecSuccess) {
      before_ = true;
    }
    status_ = SecKeychainSetUserInteractionAllowed(may_ask == MayAsk::yes);
  }
  ~Dialogs() { SecKeychainSetUserInteractionAllowed(before_); }
  Dialogs(const Dialogs&) = delete;
  Dialogs& operator=(const Dialogs&) = delete;

  /// errSecSuccess, or why it could not decide; then do not call the keychain.
  [[nodiscard]] OSStatus status() const { return status_; }

 private:
  Boolean before_ = true;
  OSStatus status_ = errSecSuccess;
};

/// An item's secret in the keychain's own memory.
class Content {
 public:
  Content() = default;
  Content(const Content&) = delete;
  Content& operator=(const Content&) = delete;
  ~Content() {
    if (data_ != nullptr) {
      clearMemory(data_, size_);
      SecKeychainItemFreeContent(nullptr, data_);
    }
  }

  UInt32* receiveSize() { return &size_; }
  void** receiveData() { return &data_; }

  [[nodiscard]] SecretBytes bytes() const {
    SecretBytes result;
    if (data_ != nullptr) {
      const auto* first = static_cast<const std::uint8_t*>(data_);
      result.mutableValue().assign(first, first + size_);
    }
    return result;
  }

 private:
  UInt32 size_ = 0;
  void* data_ = nullptr;
};

/// The length of an item's name, always in characters, not bytes. It never exceeds the number of
/// bytes; a name with non-ASCII characters is cut short, in the same way every time.
UInt32 nameLength(const std::string& name) {
  return static_cast<UInt32>(utf16Length(name));
}

/// Either of `secret` and `item` may be null; on failure neither is touched.
OSStatus findItem(const std::string& service, const std::string& account, SecretBytes* secret,
                  Owned<SecKeychainItemRef>* item) {
  Content content;
  Owned<SecKeychainItemRef> found;
  const OSStatus status = SecKeychainFindGenericPassword(
      nullptr, nameLength(service), service.c_str(), nameLength(account), account.c_str(),
      secret != nullptr ? content.receiveSize() : nullptr,
      secret != nullptr ? content.receiveData() : nullptr, found.receive());
  if (status != errSecSuccess) {
    return status;
  }
  if (secret != nullptr) {
    *secret = content.bytes();
  }
  if (item != nullptr) {
    *item = std::move(found);
  }
  return errSecSuccess;
}

OSStatus addItem(const std::string& service, const std::string& account,
                 const SecretBytes& secret) {
  if (secret->size() > std::numeric_limits<UInt32>::max()) {
    return errSecDataTooLarge;
  }
  // An empty vector may have no address, and the call takes no null.
  const void* data = secret->empty() ? static_cast<const void*>("") : secret->data();
  return SecKeychainAddGenericPassword(nullptr, nameLength(service), service.c_str(),
                                       nameLength(account), account.c_str(),
                                       static_cast<UInt32>(secret->size()), data, nullptr);
}

class MacKeychain final : public KeychainService {
 public:
  explicit MacKeychain(MayAsk may_ask) : may_ask_(may_ask) {}

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    const Dialogs dialogs(may_ask_);
    if (dialogs.status() != errSecSuccess) {
      return toStatus(dialogs.status());
    }
    return toStatus(findItem(service, account, secret, nullptr));
  }

  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    const Dialogs dialogs(may_ask_);
    if (dialogs.status() != errSecSuccess) {
      return toStatus(dialogs.status());
    }
    return toStatus(addItem(service, account, secret));
  }

  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    const Dialogs dialogs(may_ask_);
    if (dialogs.status() != errSecSuccess) {
      return toStatus(dialogs.status());
    }
    SecretBytes old_secret;
    Owned<SecKeychainItemRef> old_item;
    OSStatus status = findItem(service, account, &old_secret, &old_item);
    if (status == errSecSuccess) {
      status = SecKeychainItemDelete(old_item.get());
    }
    if (status != errSecSuccess) {
      return toStatus(status);
    }
    status = addItem(service, account, secret);
    if (status != errSecSuccess) {
      // The caller needs to know why the new item was refused, not the result of this call.
      static_cast<void>(addItem(service, account, old_secret));
    }
    return toStatus(status);
  }

  KeychainStatus remove(const std::string& service, const std::string& account) override {
    const Dialogs dialogs(may_ask_);
    if (dialogs.status() != errSecSuccess) {
      return toStatus(dialogs.status());
    }
    Owned<SecKeychainItemRef> item;
    const OSStatus status = findItem(service, account, nullptr, &item);
    return toStatus(status == errSecSuccess ? SecKeychainItemDelete(item.get()) : status);
  }

  std::string message(KeychainStatus status) override {
    const Owned<CFStringRef> sentence(
        SecCopyErrorMessageString(static_cast<OSStatus>(status), nullptr));
    const std::string result = macos::text(sentence.get());
    return result.empty() ? translated("Unknown error in the keychain; try again").spoken()
                          : result;
  }

  KeychainDescription describe() override {
    KeychainDescription description{"macOS keychain", "", KeychainStatus::ok};
    const Dialogs quiet(MayAsk::no);
    Owned<SecKeychainRef> keychain;
    OSStatus status = SecKeychainCopyDefault(keychain.receive());
    if (status == errSecSuccess) {
      description.location = pathOf(keychain.get());
      SecKeychainStatus flags = 0;
      status = SecKeychainGetStatus(keychain.get(), &flags);
      if (status == errSecSuccess && (flags & kSecUnlockStateStatus) == 0) {
        status = errSecInteractionNotAllowed;
      } else if (status == errSecSuccess && (flags & kSecReadPermStatus) == 0) {
        status = errSecNotAvailable;
      }
    }
    description.status = toStatus(status);
    return description;
  }

 private:
  static std::string pathOf(SecKeychainRef keychain) {
    std::array<char, PATH_MAX> path{};
    auto length = static_cast<UInt32>(path.size());
    if (SecKeychainGetPath(keychain, &length, path.data()) != errSecSuccess) {
      return {};
    }
    return {path.data(), length};
  }

  const MayAsk may_ask_;
};

}  // namespace

std::unique_ptr<KeychainService> makeSystemKeychain(MayAsk may_ask) {
  return std::make_unique<MacKeychain>(may_ask);
}

}  // namespace talvane
