#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "tests/secret_service/bus_client.h"
#include "tests/secret_service/private_session.h"

namespace talvane::testing {

/// A session of its own for each test, still without bus and daemon.
class KeyringTest : public ::testing::Test {
 protected:
  static SecretBytes bytes(const std::string& text) { return Bytes(text.begin(), text.end()); }

  /// The secret found, as text; "status <number>" when the find failed.
  static std::string found(KeychainService& keychain, const std::string& service,
                           const std::string& account = "ada") {
    SecretBytes secret;
    const KeychainStatus status = keychain.find(service, account, &secret);
    if (status != KeychainStatus::ok) return "status " + std::to_string(static_cast<int>(status));
    return {secret->begin(), secret->end()};
  }

  PrivateSession session_;
};

/// Measures from its construction on.
class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace talvane::testing
