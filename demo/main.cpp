// A small enrolment server to try and test the program with. Not for production.

#include <httplib.h>
#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "demo/certificate.h"
#include "demo/enrolment.h"
#include "demo/front.h"
#include "demo/users.h"

namespace talvane::demo {
namespace {

constexpr const char* page = R"((/[a-z]+)?/taenrol/enrol\.exe)";
constexpr const char* cookie_name = "ENROLSESSION";
constexpr std::size_t longest_body = 65536;

Site siteOf(const std::string& prefix) {
  Site site;
  site.asks_password = prefix == "/password";
  site.demands_https = prefix == "/https";
  if (prefix == "/old") site.version = 7100;
  return site;
}

std::string sessionOf(const httplib::Request& request) {
  const std::string cookies = request.get_header_value("Cookie");
  const std::string name = std::string(cookie_name) + "=";
  const std::size_t begin = cookies.find(name);
  if (begin == std::string::npos) return "";
  const std::size_t end = cookies.find(';', begin);
  return cookies.substr(begin + name.size(),
                        end == std::string::npos ? end : end - begin - name.size());
}

void serve(httplib::Server& server, Enrolment& enrolment, bool is_https) {
  server.set_payload_max_length(longest_body);
  server.Get(page, [&enrolment, is_https](const httplib::Request& request,
                                          httplib::Response& response) {
    std::string session;
    response.set_content(enrolment.begin(siteOf(request.matches[1]), is_https, &session),
                         "text/plain");
    if (!session.empty()) {
      response.set_header("Set-Cookie", std::string(cookie_name) + "=" + session +
                                            "; Path=/; HttpOnly" + (is_https ? "; Secure" : ""));
    }
  });
  server.Post(page, [&enrolment](const httplib::Request& request, httplib::Response& response) {
    response.set_content(enrolment.post(sessionOf(request), request.body), "text/plain");
  });
  server.Get("/verify", [&enrolment](const httplib::Request& request, httplib::Response& response) {
    const bool valid =
        enrolment.verify(request.get_param_value("user"), request.get_param_value("code"));
    response.set_content(valid ? "valid\n" : "invalid\n", "text/plain");
  });
  // A page for visitors with a browser.
  server.Get("/", [](const httplib::Request& /*request*/, httplib::Response& response) {
    response.set_content("Talvane demo enrolment server. Not for production.\n", "text/plain");
  });
}

int run(int argc, char** argv) {
  CLI::App line(
      "A demo enrolment server for Talvane Soft Token. Listens on 127.0.0.1 only. Not for "
      "production.",
      "softtoken-demo-server");
  int port = 0;
  std::string users_path;
  std::string certificate_path;
  std::string addresses_path;
  line.add_option("--port", port, "Port for both HTTP and HTTPS; 0 picks a free one")
      ->capture_default_str();
  line.add_option("--users", users_path, "File of users; see demo/users.txt")->required();
  line.add_option("--certificate", certificate_path,
                  "Write the self-signed certificate to this file");
  line.add_option("--addresses", addresses_path,
                  "Write the two addresses to this file, one per line, once the server is ready");
  CLI11_PARSE(line, argc, argv);

  std::ifstream file(users_path);
  std::string error = "cannot read the file";
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  auto users = file ? readUsers(text, &error) : std::nullopt;
  if (!users) {
    std::fprintf(stderr, "softtoken-demo-server: %s: %s\n", users_path.c_str(), error.c_str());
    return 1;
  }
  Enrolment enrolment(std::move(*users),
                      [] { return static_cast<std::int64_t>(std::time(nullptr)); });
  const Certificate certificate;
  if (!certificate_path.empty() && !certificate.save(certificate_path)) {
    std::fprintf(stderr, "softtoken-demo-server: cannot write %s\n", certificate_path.c_str());
    return 1;
  }
  httplib::Server http;
  httplib::SSLServer https(certificate.certificate(), certificate.key());
  serve(http, enrolment, false);
  serve(https, enrolment, true);
  const int http_port = http.bind_to_any_port("127.0.0.1");
  const int https_port = https.bind_to_any_port("127.0.0.1");
  const Front front(port, http_port, https_port);
  if (front.port() < 0) {
    std::fprintf(stderr, "softtoken-demo-server: the port is in use; choose another one\n");
    return 1;
  }
  const std::string host = "127.0.0.1:" + std::to_string(front.port());
  const std::string addresses = "http://" + host + "\nhttps://" + host + "\n";
  std::fputs(addresses.c_str(), stdout);
  std::fflush(stdout);
  if (!addresses_path.empty()) std::ofstream(addresses_path) << addresses;
  std::thread([&https] { https.listen_after_bind(); }).detach();
  std::thread([&http] { http.listen_after_bind(); }).detach();
  front.listen();
}

}  // namespace
}  // namespace talvane::demo

int main(int argc, char** argv) {
  return talvane::demo::run(argc, argv);
}
