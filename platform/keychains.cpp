#include "platform/keychains.h"

#include <fmt/format.h>
#include <fmt/ranges.h>  // IWYU pragma: keep (the place of join() since version 11)

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/keychain_service.h"
#include "platform/translation.h"
#include "platform/user_defaults.h"

namespace talvane {
namespace {

constexpr const char* defaults_key = keychain_choice_key;

constexpr const char* choice_unreadable = marked(
    "Cannot read the file that names the keychain of your tokens; make it readable or restore it");

bool isKind(const std::string& kind) {
  const auto kinds = keychainKinds();
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

// Which keychain to use, by the remembered kind and the requested one.
struct Choice {
  std::string kind;
  bool remembered = false;
  KeychainStatus first_look = KeychainStatus::ok;
  Words error;  // if not empty, nothing else counts
};

Choice chooseKeychain(UserDefaults& defaults, const std::string& wish) {
  Choice choice;
  if (!wish.empty() && !isKind(wish)) {
    choice.error = translatedWith("Unknown keychain \"{}\"; choose one of: {}", wish,
                                  fmt::join(keychainKinds(), ", "));
    return choice;
  }
  switch (defaults.string(defaults_key, &choice.kind)) {
    case UserDefaults::Found::unreadable:
      choice.error = translated(choice_unreadable);
      break;
    case UserDefaults::Found::yes:
      choice.remembered = true;
      if (!isKind(choice.kind)) {
        choice.error = translatedWith(
            "Your tokens are in the keychain \"{}\", which this system does not have; restore the "
            "program's settings",
            choice.kind);
      } else if (!wish.empty() && wish != choice.kind) {
        choice.error = translatedWith(
            "Your tokens are in the keychain \"{}\"; use it instead of \"{}\"", choice.kind, wish);
      }
      break;
    case UserDefaults::Found::no:
      choice.kind = wish.empty() ? keychainKindForNewUser(&choice.first_look) : wish;
      break;
  }
  return choice;
}

// The user's keychain: chosen by its creator or on first use, and remembered before the first item
// is stored.
class ChosenKeychain final : public KeychainService {
 public:
  // Keeps to the choice.
  ChosenKeychain(UserDefaults& defaults, const Choice& choice)
      : defaults_(defaults),
        chooses_(false),
        may_ask_(MayAsk::no),
        choice_(choice),
        keychain_(makeKeychain(choice.kind)) {}
  // Chooses on first use.
  ChosenKeychain(UserDefaults& defaults, MayAsk may_ask)
      : defaults_(defaults), chooses_(true), may_ask_(may_ask) {}

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    if (silent_) return KeychainStatus::not_responding;
    if (!open()) return KeychainStatus::not_available;
    // Do not wait again for a keychain that has just failed to answer.
    const KeychainStatus seen = std::exchange(choice_.first_look, KeychainStatus::ok);
    if (seen == KeychainStatus::not_responding) return seen;
    const KeychainStatus status = heard(keychain_->find(service, account, secret));
    return status == KeychainStatus::item_not_found && isInDoubt() ? KeychainStatus::not_available
                                                                   : status;
  }
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    if (silent_) return KeychainStatus::not_responding;
    if (!open()) return KeychainStatus::not_available;
    writing_down_failed_ = !writeDown();
    if (writing_down_failed_) return KeychainStatus::write_permission;
    return heard(keychain_->add(service, account, secret));
  }
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    if (silent_) return KeychainStatus::not_responding;
    return open() ? heard(keychain_->replace(service, account, secret))
                  : KeychainStatus::not_available;
  }
  KeychainStatus remove(const std::string& service, const std::string& account) override {
    if (silent_) return KeychainStatus::not_responding;
    return open() ? heard(keychain_->remove(service, account)) : KeychainStatus::not_available;
  }
  std::string message(KeychainStatus status) override {
    if (keychain_ == nullptr) return choice_.error.spoken();
    if (!doubt_.empty() && status == KeychainStatus::not_available) return doubt_.spoken();
    if (writing_down_failed_ && status == KeychainStatus::write_permission) {
      return translated(
          "Cannot record the choice of keychain; make the program's settings folder writable");
    }
    return keychain_->message(status);
  }
  KeychainDescription describe() override {
    if (open()) return keychain_->describe();
    return {"keychain", "", KeychainStatus::not_available};
  }
  bool canUnlock() override { return keychain_ != nullptr && keychain_->canUnlock(); }
  KeychainStatus unlock(const std::string& account,
                        const std::function<bool()>& given_up) override {
    return open() ? keychain_->unlock(account, given_up) : KeychainStatus::not_available;
  }
  void beginReading(const std::string& account) override {
    if (!changing_) chooseAgain();
    is_reading_ = true;
    is_certain_ = false;
    if (open()) keychain_->beginReading(account);
  }
  void endReading() override {
    is_reading_ = false;
    is_certain_ = false;
    if (keychain_ != nullptr) keychain_->endReading();
  }
  KeychainStatus beginChange() override {
    chooseAgain();
    silent_ = false;
    changing_ = open();
    return changing_ ? keychain_->beginChange() : KeychainStatus::not_available;
  }
  KeychainStatus endChange() override {
    if (!std::exchange(changing_, false)) return KeychainStatus::not_available;
    if (!std::exchange(silent_, false)) return keychain_->endChange();
    keychain_->abandonChange();
    return KeychainStatus::not_responding;
  }
  void abandonChange() override {
    silent_ = false;
    if (std::exchange(changing_, false)) keychain_->abandonChange();
  }
  bool keepsChangesTogether() override { return open() && keychain_->keepsChangesTogether(); }

 private:
  bool open() {
    if (keychain_ != nullptr) return true;
    choice_ = chooseKeychain(defaults_, "");
    if (choice_.error.empty()) keychain_ = makeKeychain(choice_.kind, may_ask_);
    return keychain_ != nullptr;
  }

  // A change asks a keychain that has not answered nothing more: each call would wait again.
  KeychainStatus heard(KeychainStatus status) {
    silent_ = changing_ && status == KeychainStatus::not_responding;
    return status;
  }

  // Until the choice is remembered, the answer may change: the desktop's keychain starts late, or
  // another of our programs stores the first token. Later only a move of the tokens changes it.
  void chooseAgain() {
    doubt_.clear();
    if (choice_.remembered ? !isMoved() : !chooses_) return;
    keychain_.reset();
    written_down_ = false;
    writing_down_failed_ = false;
  }

  [[nodiscard]] bool isMoved() const {
    std::string kind;
    return defaults_.string(defaults_key, &kind) == UserDefaults::Found::yes &&
           kind != choice_.kind;
  }

  // Whether an item may be missing here because another program has moved it since this keychain
  // was chosen. Looked up once in a reading; a change holds the store's lock, as a move does.
  bool isInDoubt() {
    if (!choice_.remembered || changing_ || is_certain_) return false;
    std::string kind;
    switch (defaults_.string(defaults_key, &kind)) {
      case UserDefaults::Found::unreadable:
        doubt_ = translated(choice_unreadable);
        break;
      case UserDefaults::Found::yes:
        doubt_ = kind == choice_.kind
                     ? Words()
                     : translated("Your tokens were moved to another keychain; try again");
        break;
      case UserDefaults::Found::no:
        doubt_.clear();
        break;
    }
    is_certain_ = is_reading_ && doubt_.empty();
    return !doubt_.empty();
  }

  bool writeDown() {
    if (written_down_) return true;
    std::string kind;
    switch (defaults_.string(defaults_key, &kind)) {
      case UserDefaults::Found::yes:
        written_down_ = kind == choice_.kind;
        break;
      case UserDefaults::Found::no:
        written_down_ = defaults_.setString(defaults_key, choice_.kind);
        break;
      case UserDefaults::Found::unreadable:
        break;
    }
    return written_down_;
  }

  UserDefaults& defaults_;
  const bool chooses_;
  const MayAsk may_ask_;
  Choice choice_;
  std::unique_ptr<KeychainService> keychain_;  // null: not opened yet, or `choice_.error` says why
  bool changing_ = false;
  bool is_reading_ = false;
  bool is_certain_ = false;  // what this reading does not find is not there
  Words doubt_;              // why an item may be elsewhere
  bool silent_ = false;
  bool written_down_ = false;
  bool writing_down_failed_ = false;
};

}  // namespace

UserKeychain openUserKeychain(UserDefaults& defaults, const std::string& wish) {
  Choice choice = chooseKeychain(defaults, wish);
  UserKeychain result;
  result.error = choice.error;
  if (!choice.error.empty()) return result;
  result.kind = choice.kind;
  result.remembered = choice.remembered;
  result.service = std::make_unique<ChosenKeychain>(defaults, choice);
  return result;
}

std::unique_ptr<KeychainService> makeLazyUserKeychain(UserDefaults& defaults, MayAsk may_ask) {
  return std::make_unique<ChosenKeychain>(defaults, may_ask);
}

}  // namespace talvane
