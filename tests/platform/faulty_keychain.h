#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

#include "platform/memory/memory_keychain.h"

namespace talvane::test {

/// A keychain in memory that is asked before every call whether it fails, and how. With `undoes`
/// set, changes that are not ended well are undone.
class FaultyKeychain final : public KeychainService {
 public:
  enum class Call { find, add, replace, remove };

  MemoryKeychain memory;
  /// Given the call and its number, from 0 on; ok: the call goes through.
  std::function<KeychainStatus(Call, std::size_t)> fault;
  /// From now on every call fails so.
  void failAll(KeychainStatus status) {
    fault = [=](Call, std::size_t) { return status; };
  }
  std::atomic<std::size_t> calls = 0;
  std::size_t data_asked_for = 0;  // finds that wanted the secret
  bool undoes = false;
  bool together = false;  // what keepsChangesTogether says
  KeychainStatus begin_status = KeychainStatus::ok;
  KeychainStatus end_status = KeychainStatus::ok;
  /// What beginReading and endReading were told, in order.
  std::string readings;
  /// What happens when the user is asked to unlock it; empty: they cannot be asked.
  std::function<KeychainStatus(const std::function<bool()>& given_up)> unlocks;

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    if (secret != nullptr) ++data_asked_for;
    const KeychainStatus status = ask(Call::find);
    return status == KeychainStatus::ok ? memory.find(service, account, secret) : status;
  }
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    const KeychainStatus status = ask(Call::add);
    return status == KeychainStatus::ok ? memory.add(service, account, secret) : status;
  }
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    const KeychainStatus status = ask(Call::replace);
    return status == KeychainStatus::ok ? memory.replace(service, account, secret) : status;
  }
  KeychainStatus remove(const std::string& service, const std::string& account) override {
    const KeychainStatus status = ask(Call::remove);
    return status == KeychainStatus::ok ? memory.remove(service, account) : status;
  }
  std::string message(KeychainStatus status) override {
    return "words for " + std::to_string(static_cast<int>(status));
  }
  KeychainDescription describe() override { return memory.describe(); }
  bool canUnlock() override { return unlocks != nullptr; }
  KeychainStatus unlock(const std::string& /*account*/,
                        const std::function<bool()>& given_up) override {
    return unlocks(given_up);
  }
  void beginReading(const std::string& account) override { readings += "begin " + account + ";"; }
  void endReading() override { readings += "end;"; }
  KeychainStatus beginChange() override {
    if (begin_status == KeychainStatus::ok) before_ = memory.items;
    return begin_status;
  }
  KeychainStatus endChange() override {
    if (end_status != KeychainStatus::ok) abandonChange();
    return end_status;
  }
  void abandonChange() override {
    if (undoes) memory.items = before_;
  }
  bool keepsChangesTogether() override { return together; }

 private:
  decltype(MemoryKeychain::items) before_;

  KeychainStatus ask(Call call) {
    const std::size_t number = calls++;
    return fault ? fault(call, number) : KeychainStatus::ok;
  }
};

/// Every way to fail, with its number.
struct Failure {
  KeychainStatus status;
  int number;
};
inline constexpr Failure failures[] = {
    {KeychainStatus::disk_full, -34},
    {KeychainStatus::io_error, -36},
    {KeychainStatus::write_permission, -61},
    {KeychainStatus::not_available, -25291},
    {KeychainStatus::invalid_keychain, -25295},
    {KeychainStatus::duplicate_item, -25299},
    {KeychainStatus::item_not_found, -25300},
    {KeychainStatus::no_default_keychain, -25307},
    {KeychainStatus::interaction_not_allowed, -25308},
    {KeychainStatus::cannot_decode, -26275},
    {KeychainStatus::not_responding, -67585},
};

}  // namespace talvane::test
