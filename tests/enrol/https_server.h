#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace talvane::test {

/// A key and a certificate for it, signed by itself. Both are made by the openssl command.
struct Certificate {
  std::string file;
  std::string key;
};
enum class Validity : std::uint8_t { now, past };
/// `names` as openssl takes them: "DNS:localhost,IP:127.0.0.1". Fails the running test when it
/// cannot be made.
Certificate makeCertificate(const std::string& folder, const std::string& names,
                            Validity validity = Validity::now);

struct HttpsReply {
  int status = 200;
  std::string body;
  std::string cookie;    // "Set-Cookie", unless empty
  std::string location;  // likewise
};

/// An https server on 127.0.0.1 that runs until the end of the scope.
class HttpsServer {
 public:
  /// Called for every GET and POST with its path and its "Cookie" header.
  using Handler = std::function<HttpsReply(const std::string& path, const std::string& cookies)>;
  HttpsServer(const Certificate& certificate, Handler handler);
  ~HttpsServer();
  HttpsServer(const HttpsServer&) = delete;
  HttpsServer& operator=(const HttpsServer&) = delete;

  [[nodiscard]] std::string url(const std::string& path = "/",
                                const std::string& host = "127.0.0.1") const;

 private:
  struct Running;
  std::unique_ptr<Running> running_;
};

}  // namespace talvane::test
