#include "tests/enrol/https_server.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/support/temporary_folder.h"

namespace talvane::test {
namespace {

void run(const std::string& command) {
  ASSERT_EQ(std::system((command + " >/dev/null 2>&1").c_str()), 0) << command;
}

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
template <class T>
using Owned = std::unique_ptr<T, Close>;

// Makes it valid until an hour ago. Newer versions of the command refuse to.
void expire(const Certificate& made) {
  Owned<X509> certificate;
  Owned<EVP_PKEY> key;
  {
    const Owned<std::FILE> file(std::fopen(made.file.c_str(), "r"));
    const Owned<std::FILE> key_file(std::fopen(made.key.c_str(), "r"));
    ASSERT_TRUE(file && key_file);
    certificate.reset(PEM_read_X509(file.get(), nullptr, nullptr, nullptr));
    key.reset(PEM_read_PrivateKey(key_file.get(), nullptr, nullptr, nullptr));
  }
  ASSERT_TRUE(certificate && key);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -7200);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), -3600);
  ASSERT_GT(X509_sign(certificate.get(), key.get(), EVP_sha256()), 0);
  const Owned<std::FILE> file(std::fopen(made.file.c_str(), "w"));
  ASSERT_TRUE(file != nullptr);
  ASSERT_EQ(PEM_write_X509(file.get(), certificate.get()), 1);
}

}  // namespace

Certificate makeCertificate(const std::string& folder, const std::string& names,
                            Validity validity) {
  Certificate made{folder + "/certificate.pem", folder + "/key.pem"};
  run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=test "
      "-addext subjectAltName=" +
      names + " -days 2 -keyout " + made.key + " -out " + made.file);
  if (validity == Validity::past) expire(made);
  return made;
}

struct HttpsServer::Running {
  Running(const Certificate& certificate, Handler answer)
      : handler(std::move(answer)), server(certificate.file.c_str(), certificate.key.c_str()) {}
  Handler handler;
  httplib::SSLServer server;
  int port = 0;
  std::thread thread;
};

HttpsServer::HttpsServer(const Certificate& certificate, Handler handler)
    : running_(std::make_unique<Running>(certificate, std::move(handler))) {
  httplib::SSLServer& server = running_->server;
  const auto serve = [this](const httplib::Request& request, httplib::Response& response) {
    const HttpsReply reply = running_->handler(request.path, request.get_header_value("Cookie"));
    response.status = reply.status;
    response.set_content(reply.body, "text/plain");
    if (!reply.cookie.empty()) response.set_header("Set-Cookie", reply.cookie);
    if (!reply.location.empty()) response.set_header("Location", reply.location);
  };
  server.Get(".*", serve);
  server.Post(".*", serve);
  server.set_keep_alive_max_count(1);  // its end waits for connections that are kept
  running_->port = server.bind_to_any_port("127.0.0.1");
  if (running_->port <= 0) throw std::runtime_error("the server cannot use its certificate");
  running_->thread = std::thread([&server] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

HttpsServer::~HttpsServer() {
  running_->server.stop();
  running_->thread.join();
}

std::string HttpsServer::url(const std::string& path, const std::string& host) const {
  return "https://" + host + ':' + std::to_string(running_->port) + path;
}

}  // namespace talvane::test
