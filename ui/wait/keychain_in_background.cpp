#include "ui/wait/keychain_in_background.h"

#include <QCoreApplication>
#include <QObject>
#include <QPointer>

#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/keychain_service.h"
#include "platform/translation.h"
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

void KeychainInBackground::readAhead(QObject* context, const std::vector<std::string>& services,
                                     const std::string& account,
                                     std::function<void(bool readable)> work) {
  // Not within another operation, whose calls to the keychain belong together.
  Wait::later(context, [this, context, services, account, work = std::move(work)] {
    auto found = std::make_shared<Found>();
    found->account = account;
    const QPointer<QObject> guard(context);
    static_cast<void>(thread_.start([this, guard, services, found, work] {
      read(services, found.get());
      Wait::later(QCoreApplication::instance(), [this, guard, found, work] {
        if (guard.isNull()) return;
        found_ = found->is_whole ? found.get() : nullptr;
        work(found_ != nullptr);
        found_ = nullptr;
      });
    }));
  });
}

// On the thread.
void KeychainInBackground::read(const std::vector<std::string>& services, Found* found) {
  keychain_.beginReading(found->account);
  found->is_whole = true;
  try {
    for (const std::string& service : services) {
      SecretBytes secret;
      const KeychainStatus status = keychain_.find(service, found->account, &secret);
      found->is_whole = status == KeychainStatus::ok || status == KeychainStatus::item_not_found ||
                        status == KeychainStatus::cannot_decode;
      if (!found->is_whole) break;
      found->items[service] = {status, std::move(secret)};
    }
  } catch (const std::bad_alloc&) {
    found->is_whole = false;
  }
  keychain_.endReading();
}

KeychainStatus KeychainInBackground::find(const std::string& service, const std::string& account,
                                          SecretBytes* secret) {
  if (found_ != nullptr && account == found_->account) {
    if (const auto item = found_->items.find(service); item != found_->items.end()) {
      if (item->second.status == KeychainStatus::ok && secret != nullptr) {
        *secret = item->second.secret;
      }
      return item->second.status;
    }
  }
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
  if (thread_.isBusy()) return marked("The keychain has not answered; try again");
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
  if (found_ != nullptr) return;
  // Choosing a keychain may take a while. What fails here fails again in the first find.
  static_cast<void>(call(changing_ ? Wait::For::change : Wait::For::answer, [this, account] {
    keychain_.beginReading(account);
    return KeychainStatus::ok;
  }));
}

void KeychainInBackground::endReading() {
  if (found_ != nullptr) return;
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
