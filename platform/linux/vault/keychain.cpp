#include "platform/linux/vault/keychain.h"

#include <map>
#include <optional>
#include <utility>

#include "platform/linux/vault/database.h"
#include "platform/linux/vault/key.h"

namespace talvane {
namespace {

// What the key check is sealed as: no item's service is empty.
constexpr std::string_view key_check_service;
constexpr std::string_view key_check_account = "key check";

// Far above any record, far below what SQLite takes.
constexpr std::size_t largest_secret = 8 * 1024 * 1024;

bool isAnswer(const VaultOutcome& outcome) {
  return outcome.ok() || outcome.status == KeychainStatus::item_not_found ||
         outcome.status == KeychainStatus::duplicate_item;
}

class VaultKeychain final : public KeychainService {
 public:
  explicit VaultKeychain(std::string folder) : paths_(std::move(folder)) {}

  KeychainStatus find(const std::string& service, const std::string& account,
                      SecretBytes* secret) override {
    return finished(findItem(service, account, secret));
  }

  KeychainStatus add(const std::string& service, const std::string& account,
                     const SecretBytes& secret) override {
    return finished(change(true, [&](Transaction& open) -> VaultOutcome {
      if (secret->size() > largest_secret) return tooLarge();
      return open.database->add(service, account, open.key->seal(service, account, secret));
    }));
  }

  KeychainStatus replace(const std::string& service, const std::string& account,
                         const SecretBytes& secret) override {
    return finished(change(false, [&](Transaction& open) -> VaultOutcome {
      if (secret->size() > largest_secret) return tooLarge();
      return open.database->replace(service, account, open.key->seal(service, account, secret));
    }));
  }

  KeychainStatus remove(const std::string& service, const std::string& account) override {
    return finished(change(false, [&](Transaction& open) -> VaultOutcome {
      return open.database->remove(service, account);
    }));
  }

  std::string message(KeychainStatus status) override {
    if (status == last_.status && !last_.words.empty()) return last_.words;
    return usualWords(status);
  }

  KeychainDescription describe() override {
    VaultOutcome outcome =
        lookIntoVault(paths_, answerDeadline(), [&](VaultDatabase& database) -> VaultOutcome {
          bool has_items = false;
          VaultOutcome look = database.hasItems(&has_items);
          if (!look.ok() || !has_items) return look;
          std::optional<VaultKey> key;
          look = readKey(database, &key);
          return look.ok() ? checkKey(database, *key) : look;
        });
    // A vault that is yet to be made can be used.
    if (outcome.status == KeychainStatus::item_not_found) outcome = {};
    return {"embedded vault", paths_.database, finished(outcome)};
  }

  void beginReading(const std::string& account) override {
    reading_account_ = account;
    snapshot_.reset();
  }

  void endReading() override {
    reading_account_.reset();
    snapshot_.reset();
  }

  KeychainStatus beginChange() override {
    if (transaction_ || change_pending_) {
      return finished({KeychainStatus::io_error,
                       "The embedded vault " + paths_.database +
                           " is in the middle of another change; try again when it has ended"});
    }
    snapshot_.reset();
    VaultOutcome outcome = openTransaction(&transaction_);
    // A vault that is yet to be made is made by the first item.
    if (outcome.status == KeychainStatus::item_not_found) {
      change_pending_ = true;
      outcome = {};
    }
    return finished(std::move(outcome));
  }

  KeychainStatus endChange() override {
    change_pending_ = false;
    if (!transaction_) return finished({});
    snapshot_.reset();
    VaultOutcome outcome = transaction_->failure;
    if (outcome.ok()) {
      transaction_->database->setDeadline(answerDeadline());
      outcome = transaction_->database->commit();
    }
    transaction_.reset();
    return finished(std::move(outcome));
  }

  void abandonChange() override {
    change_pending_ = false;
    snapshot_.reset();
    transaction_.reset();
  }

 private:
  struct Transaction {
    std::unique_ptr<VaultDatabase> database;
    std::optional<VaultKey> key;
    VaultOutcome failure;  // what undid the changes, if anything did
  };

  // One look at the items of the account that is being read.
  struct Snapshot {
    VaultOutcome outcome;
    std::map<std::string, Bytes> sealed;
    std::optional<VaultKey> key;
  };

  KeychainStatus finished(VaultOutcome outcome) {
    last_ = std::move(outcome);
    return last_.status;
  }

  VaultOutcome tooLarge() const {
    return {KeychainStatus::io_error, "The secret is too large for the embedded vault " +
                                          paths_.database + "; store a smaller one"};
  }

  VaultOutcome missingKey() const {
    return {KeychainStatus::invalid_keychain,
            paths_.key +
                " is missing, and the items in the embedded vault cannot be opened "
                "without it; restore the file from a backup"};
  }

  VaultOutcome foreignKey() const {
    return {KeychainStatus::invalid_keychain,
            paths_.key +
                " is not the key that the items in the embedded vault were sealed with; "
                "restore the file from the vault's own backup"};
  }

  // The key for a vault that may hold items. item_not_found: no key is there and no item.
  VaultOutcome readKey(VaultDatabase& database, std::optional<VaultKey>* key) const {
    VaultOutcome outcome = VaultKey::read(paths_, key);
    if (outcome.status != KeychainStatus::item_not_found &&
        outcome.status != KeychainStatus::invalid_keychain) {
      return outcome;
    }
    bool has_items = false;
    if (VaultOutcome look = database.hasItems(&has_items); !look.ok()) return look;
    if (!has_items) return {KeychainStatus::item_not_found};
    return outcome.status == KeychainStatus::item_not_found ? missingKey() : outcome;
  }

  VaultOutcome checkKey(VaultDatabase& database, const VaultKey& key) const {
    Bytes sealed;
    VaultOutcome outcome = database.findKeyCheck(&sealed);
    if (!isAnswer(outcome)) return outcome;
    SecretBytes nothing;
    return key.open(key_check_service, key_check_account, sealed, &nothing) ? VaultOutcome{}
                                                                            : foreignKey();
  }

  // Opens a sealed secret. When that fails, the key may be the wrong one or the item be damaged.
  VaultOutcome openSecret(const VaultKey& key, const std::string& service,
                          const std::string& account, const Bytes& sealed,
                          SecretBytes* secret) const {
    if (key.open(service, account, sealed, secret)) return {};
    VaultOutcome outcome = lookIntoVault(
        paths_, answerDeadline(), [&](VaultDatabase& database) { return checkKey(database, key); });
    if (outcome.ok()) outcome = {KeychainStatus::cannot_decode};
    return outcome;
  }

  VaultOutcome findItem(const std::string& service, const std::string& account,
                        SecretBytes* secret) {
    if (transaction_) return findInTransaction(service, account, secret);
    if (reading_account_ == account) return findInSnapshot(service, account, secret);
    std::optional<VaultKey> key;
    Bytes sealed;
    VaultOutcome outcome =
        lookIntoVault(paths_, answerDeadline(), [&](VaultDatabase& database) -> VaultOutcome {
          VaultOutcome look = readKey(database, &key);
          return look.ok() ? database.find(service, account, &sealed) : look;
        });
    if (!outcome.ok() || secret == nullptr) return outcome;
    return openSecret(*key, service, account, sealed, secret);
  }

  VaultOutcome findInSnapshot(const std::string& service, const std::string& account,
                              SecretBytes* secret) {
    if (!snapshot_) {
      snapshot_.emplace();
      snapshot_->outcome =
          lookIntoVault(paths_, answerDeadline(), [&](VaultDatabase& database) -> VaultOutcome {
            snapshot_->sealed.clear();
            VaultOutcome look = readKey(database, &snapshot_->key);
            return look.ok() ? database.findAll(account, &snapshot_->sealed) : look;
          });
    }
    if (!snapshot_->outcome.ok()) return snapshot_->outcome;
    const auto item = snapshot_->sealed.find(service);
    if (item == snapshot_->sealed.end()) return {KeychainStatus::item_not_found};
    if (secret == nullptr) return {};
    return openSecret(*snapshot_->key, service, account, item->second, secret);
  }

  VaultOutcome findInTransaction(const std::string& service, const std::string& account,
                                 SecretBytes* secret) {
    if (!transaction_->failure.ok()) return transaction_->failure;
    Bytes sealed;
    VaultOutcome outcome = transaction_->database->find(service, account, &sealed);
    if (!outcome.ok() || secret == nullptr) return outcome;
    // The key has been checked, so it is the item.
    return transaction_->key->open(service, account, sealed, secret)
               ? VaultOutcome{}
               : VaultOutcome{KeychainStatus::cannot_decode};
  }

  // Makes what is missing of a vault without items.
  VaultOutcome createVault() const {
    VaultOutcome outcome = createFolder(paths_.folder);
    if (outcome.ok()) outcome = VaultKey::create(paths_);
    // A file that was there already may be no key.
    std::optional<VaultKey> key;
    if (outcome.ok()) outcome = VaultKey::read(paths_, &key);
    Bytes image;
    if (outcome.ok()) outcome = emptyVault(paths_, &image);
    if (outcome.ok()) outcome = createFileOnce(paths_.folder, paths_.database, image);
    return outcome;
  }

  // item_not_found: there is no vault, or one without items and key.
  VaultOutcome openTransaction(std::unique_ptr<Transaction>* transaction) const {
    auto opened = std::make_unique<Transaction>();
    VaultOutcome outcome = openVaultForChange(paths_, answerDeadline(), &opened->database);
    if (!outcome.ok()) return outcome;
    VaultDatabase& database = *opened->database;
    outcome = readKey(database, &opened->key);
    if (!outcome.ok()) return outcome;
    outcome = checkKey(database, *opened->key);
    if (!outcome.ok()) {
      // Without items it does not matter which key there was before.
      bool has_items = false;
      if (VaultOutcome look = database.hasItems(&has_items); !look.ok()) return look;
      if (has_items) return outcome;
      outcome = database.setKeyCheck(opened->key->seal(key_check_service, key_check_account, {}));
    }
    if (outcome.ok()) *transaction = std::move(opened);
    return outcome;
  }

  VaultOutcome openTransaction(bool create, std::unique_ptr<Transaction>* transaction) const {
    VaultOutcome outcome = openTransaction(transaction);
    if (!create || outcome.status != KeychainStatus::item_not_found) return outcome;
    outcome = createVault();
    return outcome.ok() ? openTransaction(transaction) : outcome;
  }

  template <typename Step>
  VaultOutcome change(bool create, const Step& step) {
    snapshot_.reset();
    if (change_pending_ && create) {
      if (VaultOutcome outcome = openTransaction(true, &transaction_); !outcome.ok()) {
        return outcome;
      }
      change_pending_ = false;
    }
    if (transaction_) {
      if (!transaction_->failure.ok()) return transaction_->failure;
      transaction_->database->setDeadline(answerDeadline());
      VaultOutcome outcome = step(*transaction_);
      if (!isAnswer(outcome)) transaction_->failure = outcome;
      return outcome;
    }
    std::unique_ptr<Transaction> opened;
    VaultOutcome outcome = openTransaction(create, &opened);
    if (outcome.ok()) outcome = step(*opened);
    if (outcome.ok()) outcome = opened->database->commit();
    return outcome;
  }

  std::string usualWords(KeychainStatus status) const {
    const std::string vault = "the embedded vault " + paths_.database;
    switch (status) {
      case KeychainStatus::ok:
        return "All is well with " + vault;
      case KeychainStatus::disk_full:
        return "There is no room on the disk for " + vault +
               ", and nothing was changed; free some space and try again";
      case KeychainStatus::io_error:
        return "Reading or writing failed for " + vault + "; check the disk and try again";
      case KeychainStatus::write_permission:
        return "Writing is not allowed to " + vault +
               "; make the file and its folder writable and try again";
      case KeychainStatus::not_available:
        return "There is no way to reach " + vault + "; check who owns it and its folder";
      case KeychainStatus::no_default_keychain:
        return "There is no collection to store into in " + vault + "; report this";
      case KeychainStatus::interaction_not_allowed:
        return "A lock that needs an answer from the user is on " + vault + "; unlock it first";
      case KeychainStatus::duplicate_item:
        return "An item of that name is already in " + vault + "; remove it first";
      case KeychainStatus::item_not_found:
        return "No item of that name is in " + vault + "; add it first";
      case KeychainStatus::cannot_decode:
        return "An item is damaged in " + vault +
               "; restore the vault from a backup, or delete the item and add it anew";
      case KeychainStatus::invalid_keychain:
        return "Damage was found in " + vault +
               ", and nothing was changed; restore the file from a backup or move it away";
      case KeychainStatus::not_responding:
        return "Another program has kept hold of " + vault +
               " for two seconds; close that program and try again";
    }
    return "An unknown error befell " + vault + "; try again";
  }

  const VaultPaths paths_;
  VaultOutcome last_;
  std::optional<std::string> reading_account_;
  std::optional<Snapshot> snapshot_;
  std::unique_ptr<Transaction> transaction_;
  bool change_pending_ = false;  // a change has begun on a vault that is yet to be made
};

}  // namespace

std::unique_ptr<KeychainService> makeVaultKeychain(std::string folder) {
  return std::make_unique<VaultKeychain>(std::move(folder));
}

}  // namespace talvane
