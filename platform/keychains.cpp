#include "platform/keychains.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvane {
namespace {

constexpr const char* defaults_key = "Keychain";

// Writes down which keychain it is before the first item goes into it.
class RememberedKeychain final : public KeychainService {
 public:
  RememberedKeychain(UserDefaults& defaults, std::string kind,
                     std::unique_ptr<KeychainService> keychain)
      : defaults_(defaults), kind_(std::move(kind)), keychain_(std::move(keychain)) {}

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    return keychain_->find(service, account, secret);
  }
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    remembering_failed_ = !remember();
    if (remembering_failed_) return KeychainStatus::write_permission;
    return keychain_->add(service, account, secret);
  }
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    return keychain_->replace(service, account, secret);
  }
  KeychainStatus remove(const std::string& service, const std::string& account) override {
    return keychain_->remove(service, account);
  }
  std::string message(KeychainStatus status) override {
    if (remembering_failed_ && status == KeychainStatus::write_permission) {
      return "The choice of keychain cannot be written down; make the program's settings folder "
             "writable";
    }
    return keychain_->message(status);
  }
  KeychainDescription describe() override { return keychain_->describe(); }
  void beginReading(const std::string& account) override { keychain_->beginReading(account); }
  void endReading() override { keychain_->endReading(); }
  KeychainStatus beginChange() override { return keychain_->beginChange(); }
  KeychainStatus endChange() override { return keychain_->endChange(); }
  void abandonChange() override { keychain_->abandonChange(); }

 private:
  bool remember() {
    if (remembered_) return true;
    std::string kind;
    switch (defaults_.string(defaults_key, &kind)) {
      case UserDefaults::Found::yes:
        remembered_ = kind == kind_;
        break;
      case UserDefaults::Found::no:
        remembered_ = defaults_.setString(defaults_key, kind_);
        break;
      case UserDefaults::Found::unreadable:
        break;
    }
    return remembered_;
  }

  UserDefaults& defaults_;
  std::string kind_;
  std::unique_ptr<KeychainService> keychain_;
  bool remembered_ = false;
  bool remembering_failed_ = false;
};

class LazyKeychain final : public KeychainService {
 public:
  explicit LazyKeychain(UserDefaults& defaults) : defaults_(defaults) {}

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    if (!open()) return KeychainStatus::not_available;
    // A keychain that has just been waited for in vain is not waited for again.
    const KeychainStatus seen = std::exchange(keychain_.first_look, KeychainStatus::ok);
    if (seen == KeychainStatus::not_responding) return seen;
    return keychain_.service->find(service, account, secret);
  }
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    return open() ? keychain_.service->add(service, account, secret)
                  : KeychainStatus::not_available;
  }
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    return open() ? keychain_.service->replace(service, account, secret)
                  : KeychainStatus::not_available;
  }
  KeychainStatus remove(const std::string& service, const std::string& account) override {
    return open() ? keychain_.service->remove(service, account) : KeychainStatus::not_available;
  }
  std::string message(KeychainStatus status) override {
    return keychain_.service != nullptr ? keychain_.service->message(status) : keychain_.error;
  }
  KeychainDescription describe() override {
    if (open()) return keychain_.service->describe();
    return {"keychain", "", KeychainStatus::not_available};
  }
  void beginReading(const std::string& account) override {
    // Until it is remembered, what is the right one may change: a desktop's keychain comes up late,
    // or another program of ours stores the first token.
    if (!keychain_.remembered && !changing_) keychain_ = {};
    if (open()) keychain_.service->beginReading(account);
  }
  void endReading() override {
    if (keychain_.service != nullptr) keychain_.service->endReading();
  }
  KeychainStatus beginChange() override {
    if (!keychain_.remembered) keychain_ = {};
    changing_ = open();
    return changing_ ? keychain_.service->beginChange() : KeychainStatus::not_available;
  }
  KeychainStatus endChange() override {
    if (!std::exchange(changing_, false)) return KeychainStatus::not_available;
    return keychain_.service->endChange();
  }
  void abandonChange() override {
    if (std::exchange(changing_, false)) keychain_.service->abandonChange();
  }

 private:
  bool open() {
    if (keychain_.service == nullptr) keychain_ = openUserKeychain(defaults_, "");
    return keychain_.service != nullptr;
  }

  UserDefaults& defaults_;
  UserKeychain keychain_;
  bool changing_ = false;
};

bool isKind(const std::string& kind) {
  const auto kinds = keychainKinds();
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

}  // namespace

UserKeychain openUserKeychain(UserDefaults& defaults, const std::string& wish) {
  UserKeychain result;
  if (!wish.empty() && !isKind(wish)) {
    result.error = fmt::format("There is no keychain \"{}\" here; choose one of: {}", wish,
                               fmt::join(keychainKinds(), ", "));
    return result;
  }
  std::string kind;
  switch (defaults.string(defaults_key, &kind)) {
    case UserDefaults::Found::unreadable:
      result.error =
          "The file that says which keychain holds your tokens cannot be read; make it readable or "
          "restore it";
      return result;
    case UserDefaults::Found::yes:
      if (!isKind(kind)) {
        result.error = fmt::format(
            "Your tokens are in the keychain \"{}\", which this system does not have", kind);
        return result;
      }
      if (!wish.empty() && wish != kind) {
        result.error = fmt::format(
            "Your tokens are in the keychain \"{}\"; leave out the choice of \"{}\"", kind, wish);
        return result;
      }
      result.remembered = true;
      break;
    case UserDefaults::Found::no:
      kind = wish.empty() ? keychainKindForNewUser(&result.first_look) : wish;
      break;
  }
  result.kind = kind;
  result.service = std::make_unique<RememberedKeychain>(defaults, kind, makeKeychain(kind));
  return result;
}

std::unique_ptr<KeychainService> makeUserKeychain(UserDefaults& defaults) {
  return std::make_unique<LazyKeychain>(defaults);
}

}  // namespace talvane
