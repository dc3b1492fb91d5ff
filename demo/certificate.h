#pragma once

#include <openssl/types.h>

#include <string>

namespace talvane::demo {

/// A key and a self-signed certificate for "localhost" and 127.0.0.1, valid for a day.
class Certificate {
 public:
  Certificate();
  ~Certificate();
  Certificate(const Certificate&) = delete;
  Certificate& operator=(const Certificate&) = delete;

  /// Borrowed.
  [[nodiscard]] X509* certificate() const { return certificate_; }
  [[nodiscard]] EVP_PKEY* key() const { return key_; }
  /// Writes the certificate, without the key, as PEM.
  [[nodiscard]] bool save(const std::string& path) const;

 private:
  EVP_PKEY* key_;
  X509* certificate_;
};

}  // namespace talvane::demo
