#pragma once

#include <QObject>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/keychain_service.h"
#include "ui/wait/background_thread.h"
#include "ui/wait/wait.h"

namespace talvane {

/// Calls another keychain on a thread while the main thread waits (see Wait). A call that is not
/// waited for returns not_responding, and so does one within another. One change or reading at a
/// time, as everywhere.
class KeychainInBackground final : public KeychainService {
 public:
  /// Borrows both. The thread calls the keychain until it has nothing left to do.
  KeychainInBackground(KeychainService& keychain, BackgroundThread& thread)
      : keychain_(keychain), thread_(thread) {}

  /// Finds these items of the account without anybody waiting, when nothing else waits. Then calls
  /// `work` from the event loop, within which `find` answers from what was found; `readable` is
  /// false, and it does not, if the keychain has not answered. Does not call it once `context` is
  /// gone, which this object must outlive.
  void readAhead(QObject* context, const std::vector<std::string>& services,
                 const std::string& account, std::function<void(bool readable)> work);

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override;
  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override;
  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override;
  KeychainStatus remove(const std::string& service, const std::string& account) override;
  std::string message(KeychainStatus status) override;
  KeychainDescription describe() override;
  bool canUnlock() override { return !thread_.isBusy() && keychain_.canUnlock(); }
  /// Waits until the user has answered or left; `given_up` is asked on the thread.
  KeychainStatus unlock(const std::string& account, const std::function<bool()>& given_up) override;
  void beginReading(const std::string& account) override;
  void endReading() override;
  KeychainStatus beginChange() override;
  KeychainStatus endChange() override;
  void abandonChange() override;
  bool keepsChangesTogether() override;

 private:
  // What was found of an account.
  struct Found {
    struct Item {
      KeychainStatus status;
      SecretBytes secret;
    };
    std::string account;
    std::map<std::string, Item> items;  // by service
    bool is_whole = false;
  };

  void read(const std::vector<std::string>& services, Found* found);
  KeychainStatus call(Wait::For what, std::function<KeychainStatus()> work);
  void callSoon(std::function<void()> work);

  KeychainService& keychain_;
  BackgroundThread& thread_;
  bool changing_ = false;
  const Found* found_ = nullptr;
};

}  // namespace talvane
