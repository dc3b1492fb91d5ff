#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/vault/keychain.h"
#include "tests/support/temporary_folder.h"

namespace talvane {

inline void PrintTo(KeychainStatus status, std::ostream* stream) {
  *stream << static_cast<int>(status);
}

}  // namespace talvane

namespace talvane::test {

using Status = KeychainStatus;

inline const std::string account = "amira";

inline SecretBytes secretOf(std::string_view text) {
  return SecretBytes(Bytes(text.begin(), text.end()));
}

/// The secret as text; nullopt, and the status, when it is not found.
inline std::optional<std::string> secretIn(KeychainService& keychain, const std::string& service,
                                           Status* status = nullptr) {
  SecretBytes secret;
  const Status found = keychain.find(service, account, &secret);
  if (status != nullptr) *status = found;
  if (found != Status::ok) return {};
  return std::string(secret->begin(), secret->end());
}

inline Status statusOf(KeychainService& keychain, const std::string& service) {
  Status status{};
  static_cast<void>(secretIn(keychain, service, &status));
  return status;
}

/// Adds, or replaces, the item.
inline Status store(KeychainService& keychain, const std::string& service, std::string_view text) {
  const Status status = keychain.add(service, account, secretOf(text));
  if (status != Status::duplicate_item) return status;
  return keychain.replace(service, account, secretOf(text));
}

/// A vault in a fresh folder.
class VaultFolder {
 public:
  VaultFolder() : path_(base_ / "data") {}

  [[nodiscard]] const std::string& base() const { return base_.path(); }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string database() const { return path_ + "/vault.sqlite"; }
  [[nodiscard]] std::string log() const { return database() + "-wal"; }
  [[nodiscard]] std::string index() const { return database() + "-shm"; }
  [[nodiscard]] std::string key() const { return path_ + "/vault.key"; }

  [[nodiscard]] std::unique_ptr<KeychainService> open() const { return makeVaultKeychain(path_); }

  /// Stores "secret N" as "token N", N from 0 on.
  void fill(int items) const {
    const auto keychain = open();
    for (int i = 0; i < items; ++i) {
      const std::string number = std::to_string(i);
      ASSERT_EQ(store(*keychain, "token " + number, "secret " + number), Status::ok);
    }
  }

 private:
  TemporaryFolder base_;
  std::string path_;
};

/// SQLite itself at a database, for what the vault does not do.
class Sql {
 public:
  explicit Sql(const std::string& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &handle_), SQLITE_OK) << path;
  }
  ~Sql() { sqlite3_close(handle_); }
  Sql(const Sql&) = delete;
  Sql& operator=(const Sql&) = delete;

  void run(const std::string& statements) {
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(handle_, statements.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << statements << ": " << (error != nullptr ? error : "");
    sqlite3_free(error);
  }
  /// The first column of the first row.
  std::string value(const std::string& query) {
    std::string result;
    const auto keep = [](void* target, int, char** values, char**) {
      *static_cast<std::string*>(target) = values[0] != nullptr ? values[0] : "NULL";
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(handle_, query.c_str(), keep, &result, nullptr), SQLITE_OK) << query;
    return result;
  }

 private:
  sqlite3* handle_ = nullptr;
};

}  // namespace talvane::test
