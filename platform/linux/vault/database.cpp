#include "platform/linux/vault/database.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cstring>

#include "platform/linux/vault/database_file.h"

namespace talvane {
namespace {

// A secret of an item is never near this long.
constexpr int longest_value = 16 * 1024 * 1024;

// The path as SQLite takes it when it is to read parameters behind it.
std::string uriOf(const std::string& path, std::string_view parameters) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '%' || c == '?' || c == '#') {
      uri += '%';
      uri += digits[byte >> 4U];
      uri += digits[byte & 15U];
    } else {
      uri += c;
    }
  }
  return uri.append(parameters);
}

class Statement {
 public:
  Statement() = default;
  ~Statement() { sqlite3_finalize(handle_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  int prepare(sqlite3* database, std::string_view text) {
    return sqlite3_prepare_v2(database, text.data(), static_cast<int>(text.size()), &handle_,
                              nullptr);
  }
  // The value is borrowed until the statement is done.
  int bind(int position, const SqlValue& value) {
    if (const auto* text = std::get_if<std::string_view>(&value)) {
      return sqlite3_bind_text64(handle_, position, text->empty() ? "" : text->data(), text->size(),
                                 SQLITE_STATIC, SQLITE_UTF8);
    }
    const auto bytes = std::get<std::span<const std::uint8_t>>(value);
    return sqlite3_bind_blob64(handle_, position, bytes.data(), bytes.size(), SQLITE_STATIC);
  }
  [[nodiscard]] sqlite3_stmt* get() const { return handle_; }

 private:
  sqlite3_stmt* handle_ = nullptr;
};

Bytes bytesIn(sqlite3_stmt* row, int column) {
  const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(row, column));
  const int size = sqlite3_column_bytes(row, column);
  return data == nullptr ? Bytes() : Bytes(data, data + size);
}

}  // namespace

VaultOutcome VaultDatabase::open(const VaultPaths& paths, Access access, Deadline deadline,
                                 std::unique_ptr<VaultDatabase>* database) {
  std::unique_ptr<VaultDatabase> opened(new VaultDatabase(paths, deadline));
  opened->changing_ = access == Access::changing;
  const std::string uri =
      uriOf(paths.database, access == Access::frozen ? "?immutable=1" : std::string_view());
  int code = sqlite3_open_v2(uri.c_str(), &opened->handle_,
                             (opened->changing_ ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) |
                                 SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE,
                             nullptr);
  if (opened->handle_ == nullptr) return {KeychainStatus::io_error, ""};
  DatabaseFile::connectionOpened();
  if (code != SQLITE_OK) return opened->outcomeOf(code);
  sqlite3* handle = opened->handle_;
  sqlite3_busy_handler(handle, &VaultDatabase::onBusy, opened.get());
  // Nothing that is written in the file may run.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, longest_value);
  if (opened->changing_) {
    code = sqlite3_exec(handle, "PRAGMA synchronous=FULL; PRAGMA secure_delete=ON", nullptr,
                        nullptr, nullptr);
    if (code != SQLITE_OK) return opened->outcomeOf(code);
  } else {
    // What is in the log is left for the next change to move.
    sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
  *database = std::move(opened);
  return {};
}

VaultDatabase::~VaultDatabase() {
  if (handle_ == nullptr) return;
  sqlite3_close(handle_);
  DatabaseFile::connectionClosed();
}

int VaultDatabase::onBusy(void* self, int attempt) {
  return waitForOthers(static_cast<VaultDatabase*>(self)->deadline_, attempt) ? 1 : 0;
}

// `error`: the errno that SQLite has kept, which is often none.
VaultOutcome VaultDatabase::writingFailedFor(int error) const {
  VaultOutcome outcome = writingFailed(paths_.database, error);
  if (outcome.status != KeychainStatus::io_error) return outcome;
  // The folder may tell more.
  if (VaultOutcome trial = tryWriting(paths_.folder); !trial.ok()) return trial;
  return {KeychainStatus::io_error, "The embedded vault " + paths_.database + " failed (" +
                                        sqlite3_errmsg(handle_) +
                                        "); check the disk and try again"};
}

// The one translator from SQLite's result codes.
VaultOutcome VaultDatabase::outcomeOf(int code) {
  switch (code) {
    case SQLITE_CONSTRAINT_PRIMARYKEY:
    case SQLITE_CONSTRAINT_UNIQUE:
      return {KeychainStatus::duplicate_item};
    case SQLITE_IOERR_SHORT_READ:
    case SQLITE_IOERR_DATA:
    case SQLITE_IOERR_CORRUPTFS:
      return {KeychainStatus::invalid_keychain};
    default:
      break;
  }
  switch (code & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return {};
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return {KeychainStatus::not_responding};
    case SQLITE_FULL:
      return {KeychainStatus::disk_full};
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      if (changing_) return {KeychainStatus::write_permission};
      break;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
      if (changing_) return writingFailedFor(sqlite3_system_errno(handle_));
      break;
    // The marks say that the file is ours, so statements that do not fit it are damage to it.
    case SQLITE_ERROR:
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
    case SQLITE_SCHEMA:
    case SQLITE_MISMATCH:
    case SQLITE_CONSTRAINT:
      return {KeychainStatus::invalid_keychain};
    case SQLITE_TOOBIG:
      return {KeychainStatus::cannot_decode};
    default:
      break;
  }
  if (!changing_ && fileExists(paths_.log) && ::access(paths_.folder.c_str(), W_OK) != 0) {
    return {KeychainStatus::io_error,
            paths_.database +
                " was left in the middle of a change and its folder cannot be "
                "written to; make the folder writable and try again"};
  }
  return {KeychainStatus::io_error, "The embedded vault " + paths_.database + " failed (" +
                                        sqlite3_errmsg(handle_) + "); try again"};
}

VaultOutcome VaultDatabase::run(std::string_view text, std::initializer_list<SqlValue> values,
                                const RowReader& row) {
  Statement statement;
  int code = statement.prepare(handle_, text);
  if (code != SQLITE_OK) return outcomeOf(code);
  int position = 0;
  for (const SqlValue& value : values) {
    code = statement.bind(++position, value);
    if (code != SQLITE_OK) return outcomeOf(code);
  }
  while ((code = sqlite3_step(statement.get())) == SQLITE_ROW) {
    if (!row) continue;
    if (VaultOutcome outcome = row(statement.get()); !outcome.ok()) return outcome;
  }
  return outcomeOf(code);
}

// Damage must not look like an item that is not there.
VaultOutcome VaultDatabase::checkStructure() {
  return run("PRAGMA quick_check(1)", {}, [](sqlite3_stmt* row) -> VaultOutcome {
    const auto* verdict = reinterpret_cast<const char*>(sqlite3_column_text(row, 0));
    if (verdict != nullptr && std::strcmp(verdict, "ok") == 0) return {};
    return {KeychainStatus::invalid_keychain};
  });
}

VaultOutcome VaultDatabase::hasItems(bool* has_items) {
  *has_items = false;
  if (VaultOutcome outcome = checkStructure(); !outcome.ok()) return outcome;
  return run("SELECT 1 FROM items LIMIT 1", {}, [&](sqlite3_stmt*) -> VaultOutcome {
    *has_items = true;
    return {};
  });
}

VaultOutcome VaultDatabase::find(std::string_view service, std::string_view account,
                                 Bytes* sealed) {
  bool found = false;
  VaultOutcome outcome = run("SELECT sealed FROM items WHERE account = ?1 AND service = ?2",
                             {account, service}, [&](sqlite3_stmt* row) -> VaultOutcome {
                               *sealed = bytesIn(row, 0);
                               found = true;
                               return {};
                             });
  if (!outcome.ok() || found) return outcome;
  outcome = checkStructure();
  return outcome.ok() ? VaultOutcome{KeychainStatus::item_not_found} : outcome;
}

VaultOutcome VaultDatabase::findAll(std::string_view account,
                                    std::map<std::string, Bytes>* sealed) {
  if (VaultOutcome outcome = checkStructure(); !outcome.ok()) return outcome;
  return run("SELECT service, sealed FROM items WHERE account = ?1", {account},
             [&](sqlite3_stmt* row) -> VaultOutcome {
               const Bytes service = bytesIn(row, 0);
               sealed->insert_or_assign(std::string(service.begin(), service.end()),
                                        bytesIn(row, 1));
               return {};
             });
}

VaultOutcome VaultDatabase::findKeyCheck(Bytes* sealed) {
  bool found = false;
  VaultOutcome outcome =
      run("SELECT sealed FROM key_check", {}, [&](sqlite3_stmt* row) -> VaultOutcome {
        *sealed = bytesIn(row, 0);
        found = true;
        return {};
      });
  if (!outcome.ok() || found) return outcome;
  return {KeychainStatus::item_not_found};
}

VaultOutcome VaultDatabase::begin() {
  return run("BEGIN IMMEDIATE", {});
}

VaultOutcome VaultDatabase::commit() {
  return run("COMMIT", {});
}

VaultOutcome VaultDatabase::runOnItem(std::string_view statement,
                                      std::initializer_list<SqlValue> values) {
  VaultOutcome outcome = run(statement, values);
  if (outcome.ok() && sqlite3_changes(handle_) == 0) outcome = {KeychainStatus::item_not_found};
  return outcome;
}

VaultOutcome VaultDatabase::add(std::string_view service, std::string_view account,
                                const Bytes& sealed) {
  return run("INSERT INTO items(account, service, sealed) VALUES(?1, ?2, ?3)",
             {account, service, std::span(sealed)});
}

VaultOutcome VaultDatabase::replace(std::string_view service, std::string_view account,
                                    const Bytes& sealed) {
  return runOnItem("UPDATE items SET sealed = ?3 WHERE account = ?1 AND service = ?2",
                   {account, service, std::span(sealed)});
}

VaultOutcome VaultDatabase::remove(std::string_view service, std::string_view account) {
  return runOnItem("DELETE FROM items WHERE account = ?1 AND service = ?2", {account, service});
}

VaultOutcome VaultDatabase::setKeyCheck(const Bytes& sealed) {
  VaultOutcome outcome = run("DELETE FROM key_check", {});
  if (!outcome.ok()) return outcome;
  return run("INSERT INTO key_check(sealed) VALUES(?1)", {std::span(sealed)});
}

}  // namespace talvane
