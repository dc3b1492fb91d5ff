#pragma once

// The vault's database: the sealed secret of each item by account and service, and a check value
// that tells whether a key is the one the secrets were sealed with.
//
// Only a file that carries this vault's marks is ever opened, and none is repaired. Looking does
// not write to the disk, unless another process is changing the vault or died doing so. Main thread
// only.

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "platform/linux/vault/files.h"

struct sqlite3;
struct sqlite3_stmt;

namespace talvane {

using SqlValue = std::variant<std::string_view, std::span<const std::uint8_t>>;

class VaultDatabase {
 public:
  enum class Access {
    frozen,  // nobody else may change the file meanwhile: without locks, without a log
    reading,
    changing,
  };

  /// Opens the database file; the caller has checked its marks. `deadline`: how long a call waits
  /// for other processes.
  static VaultOutcome open(const VaultPaths& paths, Access access, Deadline deadline,
                           std::unique_ptr<VaultDatabase>* database);
  ~VaultDatabase();
  VaultDatabase(const VaultDatabase&) = delete;
  VaultDatabase& operator=(const VaultDatabase&) = delete;

  void setDeadline(Deadline deadline) { deadline_ = deadline; }

  /// invalid_keychain when the file is damaged. What the other calls do not find is not there: they
  /// look for damage first.
  VaultOutcome checkStructure();
  VaultOutcome hasItems(bool* has_items);
  /// item_not_found when there is no such item.
  VaultOutcome find(std::string_view service, std::string_view account, Bytes* sealed);
  /// The account's items by service.
  VaultOutcome findAll(std::string_view account, std::map<std::string, Bytes>* sealed);
  /// item_not_found when there is no check value.
  VaultOutcome findKeyCheck(Bytes* sealed);

  /// A change is kept by `commit`; it is undone when the database is closed without it. `add` gives
  /// duplicate_item, `replace` and `remove` give item_not_found.
  VaultOutcome begin();
  VaultOutcome commit();
  VaultOutcome add(std::string_view service, std::string_view account, const Bytes& sealed);
  VaultOutcome replace(std::string_view service, std::string_view account, const Bytes& sealed);
  VaultOutcome remove(std::string_view service, std::string_view account);
  VaultOutcome setKeyCheck(const Bytes& sealed);

 private:
  // Ends the run with an outcome but ok.
  using RowReader = std::function<VaultOutcome(sqlite3_stmt*)>;

  VaultDatabase(const VaultPaths& paths, Deadline deadline) : paths_(paths), deadline_(deadline) {}
  static int onBusy(void* self, int attempt);
  VaultOutcome run(std::string_view statement, std::initializer_list<SqlValue> values,
                   const RowReader& row = nullptr);
  VaultOutcome runOnItem(std::string_view statement, std::initializer_list<SqlValue> values);
  VaultOutcome writingFailedFor(int error) const;
  VaultOutcome outcomeOf(int code);

  const VaultPaths paths_;
  Deadline deadline_;
  bool changing_ = false;
  sqlite3* handle_ = nullptr;
};

/// Calls `look` with the database opened for reading: one consistent state of it throughout. It may
/// be called twice, when another process began a change meanwhile; only the last call counts.
/// item_not_found without a call when there is no vault.
VaultOutcome lookIntoVault(const VaultPaths& paths, Deadline deadline,
                           const std::function<VaultOutcome(VaultDatabase&)>& look);

/// Opens the database for a change. item_not_found when there is no vault.
VaultOutcome openVaultForChange(const VaultPaths& paths, Deadline deadline,
                                std::unique_ptr<VaultDatabase>* database);

/// The content of a new, empty database file.
VaultOutcome emptyVault(const VaultPaths& paths, Bytes* image);

}  // namespace talvane
