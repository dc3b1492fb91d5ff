#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/temporary_folder.h"

namespace talvane::test {

/// The demo enrolment server with its own users, on free ports of loopback, for as long as this
/// lives.
class DemoServer {
 public:
  /// Its certificate is kept in the folder.
  explicit DemoServer(const TemporaryFolder& folder);
  ~DemoServer();
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

  [[nodiscard]] const std::string& http() const { return http_; }
  [[nodiscard]] const std::string& https() const { return https_; }
  /// The file of the certificate that https() shows.
  [[nodiscard]] const std::string& certificate() const { return certificate_; }

  /// The server's word on a passcode: "valid\n" or "invalid\n".
  [[nodiscard]] std::string verdict(const std::string& user, const std::string& code) const;

 private:
  std::string certificate_;
  std::string http_;
  std::string https_;
  pid_t child_;
};

}  // namespace talvane::test
