// Who a server must prove to be.

#include <gtest/gtest.h>

#include <string>

#include "tests/enrol/http_test.h"
#include "tests/enrol/https_server.h"

namespace talvane::test {
namespace {

class HttpCertificatesTest : public HttpTest {
 protected:
  static HttpsServer::Handler answering() {
    return [](const std::string&, const std::string&) {
      return HttpsReply{200, "RESULT:OK\r\n", "", ""};
    };
  }

  TemporaryFolder folder;
};

TEST_F(HttpCertificatesTest, TrustedOneIsAccepted) {
  const Certificate certificate = makeCertificate(folder.path(), "DNS:localhost,IP:127.0.0.1");
  const HttpsServer server(certificate, answering());
  trust(certificate.file);
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 200);
  EXPECT_STREQ(http.data(), "RESULT:OK\r\n");
  EXPECT_EQ(got(server.url("/", "localhost")).status(), 200);
}

TEST_F(HttpCertificatesTest, SelfSignedOneIsRefused) {
  const Certificate certificate = makeCertificate(folder.path(), "DNS:localhost,IP:127.0.0.1");
  const HttpsServer server(certificate, answering());
  expectFailure(got(server.url()), bad_certificate);
  TaHttp http = client();
  http.post(server.url(), "PASSWORD=secret");
  expectFailure(http, bad_certificate);
}

TEST_F(HttpCertificatesTest, EmptyNameOfATrustedFileIsNone) {
  const Certificate certificate = makeCertificate(folder.path(), "DNS:localhost,IP:127.0.0.1");
  const HttpsServer server(certificate, answering());
  trust("");
  expectFailure(got(server.url()), bad_certificate);
}

TEST_F(HttpCertificatesTest, ExpiredOneIsRefused) {
  const Certificate certificate =
      makeCertificate(folder.path(), "DNS:localhost,IP:127.0.0.1", Validity::past);
  const HttpsServer server(certificate, answering());
  trust(certificate.file);
  expectFailure(got(server.url()), bad_certificate);
}

TEST_F(HttpCertificatesTest, OneOfAnotherHostIsRefused) {
  const Certificate certificate = makeCertificate(folder.path(), "DNS:elsewhere.example");
  const HttpsServer server(certificate, answering());
  trust(certificate.file);
  expectFailure(got(server.url()), bad_certificate);
  expectFailure(got(server.url("/", "localhost")), bad_certificate);
}

TEST_F(HttpCertificatesTest, ServerThatSpeaksPlainHttp) {
  LoopbackServer server(response("200 OK", "in clear"));
  expectFailure(got("https" + server.url().substr(4)), cannot_secure);
}

}  // namespace
}  // namespace talvane::test
