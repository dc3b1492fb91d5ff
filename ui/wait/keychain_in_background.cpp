#include "ui/wait/keychain_in_background.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/keychain_service.h"
#include "ui/wait/background_thread.h"
#include "ui/wait/wait.h"

namespace talvane {

KeychainStatus KeychainInBackground::call(Wait::For what, std::function<KeychainStatus()> work) {
  auto status = std::make_shared<KeychainStatus>(KeychainStatus::not_responding);
  const bool done = Wait::run(
      thread_, [status, work = std::move(work)] { *status = work(); }, what);
  return done ? *status : KeychainStatus::not_responding;
}

// For what returns at once, unless a call that was given up is still under way.
void KeychainInBackground::callSoon(std::function<void()> work) {
  if (thread_.isBusy()) {
    static_cast<void>(thread_.start(std::move(work)));
  } else {
    work();
  }
}

KeychainStatus KeychainInBackground::find(const std::string& service, const std::string& account,
                                          SecretBytes* secret) {
  const auto found = secret == nullptr ? nullptr : std::make_shared<SecretBytes>();
  const KeychainStatus status = call(
      changing_ ? Wait::For::change : Wait::For::answer,
      [this, service, account, found] { return keychain_.find(service, account, found.get()); });
  if (status == KeychainStatus::ok && secret != nullptr) *secret = std::move(*found);
  return status;
}

KeychainStatus KeychainInBackground::add(const std::string& service, const std::string& account,
                                         const SecretBytes& secret) {
  return call(Wait::For::change,
              [this, service, account, secret] { return keychain_.add(service, account, secret); });
}

KeychainStatus KeychainInBackground::replace(const std::string& service, const std::string& account,
                                             const SecretBytes& secret) {
  return call(Wait::For::change, [this, service, account, secret] {
    return keychain_.replace(service, account, secret);
  });
}

KeychainStatus KeychainInBackground::remove(const std::string& service,
                                            const std::string& account) {
  return call(Wait::For::change,
              [this, service, account] { return keychain_.remove(service, account); });
}

std::string KeychainInBackground::message(KeychainStatus status) {
  if (thread_.isBusy()) return "The keychain has not answered; try again";
  return keychain_.message(status);
}

KeychainDescription KeychainInBackground::describe() {
  auto description = std::make_shared<KeychainDescription>();
  description->status = call(Wait::For::answer, [this, description] {
    *description = keychain_.describe();
    return description->status;
  });
  return description->status == KeychainStatus::not_responding
             ? KeychainDescription{"keychain", "", KeychainStatus::not_responding}
             : *description;
}

KeychainStatus KeychainInBackground::unlock(const std::string& account,
                                            const std::function<bool()>& given_up) {
  const auto left = std::make_shared<std::atomic<bool>>(false);
  const KeychainStatus status = call(Wait::For::answer, [this, account, given_up, left] {
    return keychain_.unlock(account,
                            [given_up, left] { return *left || (given_up && given_up()); });
  });
  *left = true;
  return status;
}

void KeychainInBackground::beginReading(const std::string& account) {
  // Choosing a keychain may take a while. What fails here fails again in the first find.
  static_cast<void>(call(changing_ ? Wait::For::change : Wait::For::answer, [this, account] {
    keychain_.beginReading(account);
    return KeychainStatus::ok;
  }));
}

void KeychainInBackground::endReading() {
  callSoon([this] { keychain_.endReading(); });
}

KeychainStatus KeychainInBackground::beginChange() {
  changing_ = true;
  const KeychainStatus status = call(Wait::For::change, [this] { return keychain_.beginChange(); });
  if (status == KeychainStatus::ok) return status;
  changing_ = false;
  // It may still begin.
  if (thread_.isBusy()) callSoon([this] { keychain_.abandonChange(); });
  return status;
}

KeychainStatus KeychainInBackground::endChange() {
  changing_ = false;
  return call(Wait::For::change, [this] { return keychain_.endChange(); });
}

void KeychainInBackground::abandonChange() {
  changing_ = false;
  callSoon([this] { keychain_.abandonChange(); });
}

bool KeychainInBackground::keepsChangesTogether() {
  const KeychainStatus status = call(changing_ ? Wait::For::change : Wait::For::answer, [this] {
    return keychain_.keepsChangesTogether() ? KeychainStatus::ok : KeychainStatus::item_not_found;
  });
  return status == KeychainStatus::ok;
}

}  // namespace talvane
