// The oldest TLS that is spoken. CTest starts this suite with a configuration of OpenSSL that
// allows older ones, which a process reads once.

#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/ssl.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "tests/enrol/http_test.h"
#include "tests/enrol/https_server.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

class HttpTlsTest : public HttpTest {
 protected:
  HttpTlsTest() {
    certificate = makeCertificate(folder.path(), "IP:127.0.0.1");
    trust(certificate.file);
  }

  /// Whether this process reads that configuration.
  static bool isLax() {
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                               SSL_CTX_free);
    return SSL_CTX_get_min_proto_version(context.get()) == TLS1_VERSION;
  }

  /// Gets a page of a server that speaks this version only.
  TaHttp gotBy(int version) {
    httplib::SSLServer server([&](SSL_CTX& context) {
      return SSL_CTX_set_min_proto_version(&context, version) == 1 &&
             SSL_CTX_set_max_proto_version(&context, version) == 1 &&
             SSL_CTX_set_cipher_list(&context, "DEFAULT:@SECLEVEL=0") == 1 &&
             SSL_CTX_use_certificate_chain_file(&context, certificate.file.c_str()) == 1 &&
             SSL_CTX_use_PrivateKey_file(&context, certificate.key.c_str(), SSL_FILETYPE_PEM) == 1;
    });
    server.Get(".*", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("page", "text/plain");
    });
    server.set_keep_alive_max_count(1);
    const int port = server.bind_to_any_port("127.0.0.1");
    std::thread thread([&server] { server.listen_after_bind(); });
    while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    TaHttp http = got("https://127.0.0.1:" + std::to_string(port) + "/");
    server.stop();
    thread.join();
    return http;
  }

  TemporaryFolder folder;
  Certificate certificate;
};

TEST_F(HttpTlsTest, TwelveIsTheOldestWhateverTheSystemAllows) {
  if (!isLax()) GTEST_SKIP() << "OPENSSL_CONF does not name lax_openssl.cnf";
  expectFailure(gotBy(TLS1_1_VERSION), cannot_secure);
  EXPECT_STREQ(gotBy(TLS1_2_VERSION).data(), "page");
  EXPECT_STREQ(gotBy(TLS1_3_VERSION).data(), "page");
}

}  // namespace
}  // namespace talvane::test
