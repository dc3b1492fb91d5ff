#include "demo/certificate.h"

#include <openssl/asn1.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/types.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace talvane::demo {
namespace {

constexpr long one_day = 24L * 60 * 60;
constexpr long version_3 = 2;

void addExtension(X509* certificate, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  if (extension == nullptr) throw std::runtime_error("cannot create the certificate");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

}  // namespace

Certificate::Certificate() : key_(EVP_EC_gen("P-256")), certificate_(X509_new()) {
  if (key_ == nullptr || certificate_ == nullptr) {
    throw std::runtime_error("cannot create the certificate");
  }
  X509_set_version(certificate_, version_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate_), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate_), -one_day);
  X509_gmtime_adj(X509_getm_notAfter(certificate_), one_day);
  X509_set_pubkey(certificate_, key_);
  X509_NAME* name = X509_get_subject_name(certificate_);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("localhost"), -1, -1, 0);
  X509_set_issuer_name(certificate_, name);
  addExtension(certificate_, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
  addExtension(certificate_, NID_basic_constraints, "critical,CA:TRUE");
  if (X509_sign(certificate_, key_, EVP_sha256()) == 0) {
    throw std::runtime_error("cannot sign the certificate");
  }
}

Certificate::~Certificate() {
  X509_free(certificate_);
  EVP_PKEY_free(key_);
}

bool Certificate::save(const std::string& path) const {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return false;
  const bool written = PEM_write_X509(file, certificate_) != 0;
  return std::fclose(file) == 0 && written;
}

}  // namespace talvane::demo
