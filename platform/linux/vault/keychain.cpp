#include "platform/linux/vault/keychain.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "engine/gateway.h"
#include "platform/file_descriptor.h"
#include "platform/file_lock.h"
#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/keychain_words.h"
#include "platform/linux/vault/sealed_items.h"
#include "platform/own_files.h"
#include "platform/replace_file.h"
#include "platform/translation.h"

namespace talvane {
namespace {

// How a step ended. `words` is the sentence for the user; empty if the status says enough.
struct [[nodiscard]] VaultOutcome {
  KeychainStatus status = KeychainStatus::ok;
  Words words = {};

  [[nodiscard]] bool ok() const { return status == KeychainStatus::ok; }
};

VaultOutcome damaged(Words words) {
  return {KeychainStatus::invalid_keychain, std::move(words)};
}

// What an errno means. `denied` is the status for missing permissions.
VaultOutcome failed(const std::string& path, int error, KeychainStatus denied) {
  if (error == 0) return {};
  Words text = std::generic_category().message(error);
  if (error == ELOOP) text = translated("it is a symbolic link, which is not followed");
  if (error == EPERM) text = translated("it belongs to another user");
  switch (error) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return {KeychainStatus::disk_full};
    case EACCES:
    case EPERM:
    case EROFS:
      if (denied == KeychainStatus::write_permission) return {denied};
      [[fallthrough]];
    case EEXIST:
    case ELOOP:
    case ENAMETOOLONG:
    case ENOTDIR:
      return {KeychainStatus::not_available,
              translatedWith("Cannot use {} ({}); check what it is and who owns it", path, text)};
    default:
      return {
          KeychainStatus::io_error,
          translatedWith("Cannot read or write {} ({}); check the disk and try again", path, text)};
  }
}

VaultOutcome readingFailed(const std::string& path, int error) {
  if (error == ENOENT) return {KeychainStatus::item_not_found};
  if (error == EINVAL) {
    return damaged(translatedWith("{} is not a keychain file; restore it from a backup", path));
  }
  return failed(path, error, KeychainStatus::not_available);
}

VaultOutcome writingFailed(const std::string& path, int error) {
  return failed(path, error, KeychainStatus::write_permission);
}

int putBytes(int (*put)(const std::string&, std::string_view, mode_t), const std::string& path,
             const Bytes& content) {
  return put(path, {reinterpret_cast<const char*>(content.data()), content.size()}, 0600);
}

class VaultKeychain final : public KeychainService {
 public:
  explicit VaultKeychain(std::string folder)
      : folder_(std::move(folder)), vault_(folder_ + "/vault"), key_(folder_ + "/vault.key") {}

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    if (!change_ && !(reading_ && look_)) look_ = lookFromOutside();
    const Look& look = change_ ? change_->look : *look_;
    VaultOutcome outcome = look.outcome;
    if (outcome.ok()) {
      const auto item = look.items.find({service, account});
      if (item == look.items.end()) {
        outcome.status = KeychainStatus::item_not_found;
      } else if (secret != nullptr) {
        *secret = item->second;
      }
    }
    if (!reading_) look_.reset();
    return finished(std::move(outcome));
  }

  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    return changeItems(Missing::create, [&](VaultItems& items) {
      return items.try_emplace({service, account}, secret).second ? KeychainStatus::ok
                                                                  : KeychainStatus::duplicate_item;
    });
  }

  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    return changeItems(Missing::leave, [&](VaultItems& items) {
      const auto item = items.find({service, account});
      if (item == items.end()) return KeychainStatus::item_not_found;
      item->second = secret;
      return KeychainStatus::ok;
    });
  }

  KeychainStatus remove(const std::string& service, const std::string& account) override {
    return changeItems(Missing::leave, [&](VaultItems& items) {
      return items.erase({service, account}) == 1 ? KeychainStatus::ok
                                                  : KeychainStatus::item_not_found;
    });
  }

  std::string message(KeychainStatus status) override {
    if (status == last_.status && !last_.words.empty()) {
      return last_.words.spoken();
    }
    return keychainWords(translatedWith("The keychain {}", vault_), status);
  }

  KeychainDescription describe() override {
    return {"vault", vault_, finished(lookFromOutside().outcome)};
  }

  void beginReading(const std::string& /*account*/) override {
    reading_ = true;
    look_.reset();
  }

  void endReading() override {
    reading_ = false;
    look_.reset();
  }

  KeychainStatus beginChange() override {
    if (!change_) return finished(openChange(Missing::create));
    return finished({KeychainStatus::io_error,
                     translatedWith("The keychain {} is in the middle of another change; try again "
                                    "when it is done",
                                    vault_)});
  }

  KeychainStatus endChange() override { return finished(closeChange()); }

  void abandonChange() override {
    look_.reset();
    change_.reset();
  }

  bool keepsChangesTogether() override { return true; }

 private:
  struct Look {
    VaultOutcome outcome;
    SecretBytes packed;  // the items as they were read
    VaultItems items;
    SecretBytes key;  // empty when there is no vault yet
  };
  struct Change {
    FileDescriptor folder;
    bool locked = false;
    Look look;
  };
  enum class Missing { leave, create };

  KeychainStatus finished(VaultOutcome outcome) {
    last_ = std::move(outcome);
    return last_.status;
  }

  VaultOutcome readKey(SecretBytes* key) const {
    VaultOutcome outcome = readingFailed(key_, readOwnFile(key_, vault_key_size, key));
    if (outcome.ok() ? key->get().size() == vault_key_size
                     : outcome.status != KeychainStatus::invalid_keychain) {
      return outcome;
    }
    return damaged(
        translatedWith("{} is damaged, and the keychain cannot be opened without it; restore the "
                       "file from a backup",
                       key_));
  }

  // A vault that does not exist yet is empty.
  VaultOutcome read(Look* look) const {
    if (!sealingReady()) return {KeychainStatus::io_error};
    SecretBytes file;
    VaultOutcome outcome = readingFailed(vault_, readOwnFile(vault_, largest_vault, &file));
    if (outcome.status == KeychainStatus::item_not_found) return {};
    if (!outcome.ok()) return outcome;
    if (!hasVaultHeader(file)) {
      return damaged(
          translatedWith("{} is damaged, not a keychain, or from another version of this program, "
                         "and nothing was changed; restore the file from a backup or move it away",
                         vault_));
    }
    outcome = readKey(&look->key);
    if (outcome.status == KeychainStatus::item_not_found) {
      return damaged(
          translatedWith("{} is missing, and the keychain cannot be opened without it; restore the "
                         "file from a backup",
                         key_));
    }
    if (!outcome.ok()) return outcome;
    if (!unseal(file, look->key, &look->packed)) {
      return damaged(
          translatedWith("Cannot open {} with {}: one of them is damaged, or they do not belong "
                         "together; restore both from the same backup",
                         vault_, key_));
    }
    return unpackItems(look->packed, &look->items) ? VaultOutcome{} : damaged({});
  }

  Look lookFromOutside() const {
    Look look;
    FileDescriptor folder;
    look.outcome = readingFailed(folder_, openOwnFolder(folder_, &folder));
    if (look.outcome.ok()) look.outcome = read(&look);
    // Without the folder there is no vault.
    if (look.outcome.status == KeychainStatus::item_not_found) look.outcome = {};
    return look;
  }

  // Processes that change the vault take turns. On a file system that cannot lock a folder, such as
  // NFS, the store's lock does that.
  static VaultOutcome lock(Change& change) {
    const int error = lockFile(change.folder.get(), std::chrono::seconds(2));
    if (error == EWOULDBLOCK) return {KeychainStatus::not_responding};
    change.locked = error == 0;
    return {};
  }

  // item_not_found: the folder is missing and is not to be created.
  VaultOutcome openChange(Missing missing) {
    if (missing == Missing::create && !makePrivateFolder(folder_)) {
      return writingFailed(folder_, errno);
    }
    auto change = std::make_unique<Change>();
    VaultOutcome outcome = readingFailed(folder_, openOwnFolder(folder_, &change->folder));
    if (outcome.ok()) outcome = lock(*change);
    if (outcome.ok()) outcome = read(&change->look);
    // Renaming would ignore the file's permissions.
    for (const std::string& path : {folder_, vault_}) {
      const bool denied = faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0;
      if (outcome.ok() && denied && errno != ENOENT) outcome = writingFailed(path, errno);
    }
    if (outcome.ok()) change_ = std::move(change);
    return outcome;
  }

  template <typename Step>
  KeychainStatus changeItems(Missing missing, const Step& step) {
    look_.reset();
    if (change_) return finished({step(change_->look.items)});
    VaultOutcome outcome = openChange(missing);
    if (outcome.ok()) outcome.status = step(change_->look.items);
    if (outcome.ok()) outcome = closeChange();
    change_.reset();
    return finished(std::move(outcome));
  }

  VaultOutcome closeChange() {
    look_.reset();
    const std::unique_ptr<Change> change = std::exchange(change_, nullptr);
    if (!change) return {};
    const SecretBytes packed = packItems(change->look.items);
    if (packed.get() == change->look.packed.get()) return {};
    // Under the lock, any draft was left by a killed process.
    if (change->locked) {
      removeDrafts(vault_);
      removeDrafts(key_);
    }
    SecretBytes& key = change->look.key;
    if (key->empty()) {
      if (VaultOutcome outcome = makeKey(&key); !outcome.ok()) return outcome;
    }
    const Bytes file = seal(packed, key);
    if (file.size() > largest_vault) {
      return {KeychainStatus::io_error,
              translatedWith("The secret is too large for the keychain {}; store a smaller one",
                             vault_)};
    }
    return writingFailed(vault_, putBytes(replaceFile, vault_, file));
  }

  // For a first vault. An interrupted first change may have left a key: use it.
  VaultOutcome makeKey(SecretBytes* key) const {
    VaultOutcome outcome = readKey(key);
    if (outcome.status != KeychainStatus::item_not_found) return outcome;
    const int error = putBytes(createFile, key_, newVaultKey());
    outcome = writingFailed(key_, error == EEXIST ? 0 : error);
    return outcome.ok() ? readKey(key) : outcome;
  }

  const std::string folder_;
  const std::string vault_;
  const std::string key_;
  VaultOutcome last_;
  bool reading_ = false;
  std::optional<Look> look_;
  std::unique_ptr<Change> change_;
};

}  // namespace

std::unique_ptr<KeychainService> makeVaultKeychain(std::string folder) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return std::make_unique<VaultKeychain>(std::move(folder));
}

}  // namespace talvane
