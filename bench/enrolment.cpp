// What an enrolment of four requests costs, beside the same four requests made by libcurl alone, to
// a server in this process that answers from a script: over HTTPS and HTTP with a connection of its
// own, as users enrol, and over HTTP on a connection that is open already, which shows the bare
// overhead.

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <httplib.h>

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "demo/certificate.h"
#include "engine/vane.h"
#include "enrol/enrol_flow.h"
#include "platform/keychains.h"
#include "platform/memory/memory_keychain.h"
#include "tests/platform/fake_device_identifiers.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"

namespace talvane {
namespace {

constexpr const char* page = "/taenrol/enrol.exe";
constexpr const char* begun = "RESULT:OK\r\nVERSION:7200\r\nPASSWORD:False\r\n";
constexpr const char* challenge =
    "RESULT:OK,CHALLENGE\r\nPASSCODE:True\r\nPROMPT:Enter the letters ABCD\r\nINPUT:STATE=one\r\n";
constexpr const char* accept =
    "RESULT:OK,GETINFO\r\nINPUT:STATE=two\r\n"
    "INPUT:SOFTTOKENURL=otpauth://totp/Bench?secret=GEZDGNBVGY3TQOJQ&period=30\r\n";

const demo::Certificate& certificate() {
  static const demo::Certificate instance;
  return instance;
}

std::unique_ptr<httplib::Server> makeServer(bool secure) {
  if (!secure) return std::make_unique<httplib::Server>();
  return std::make_unique<httplib::SSLServer>(certificate().certificate(), certificate().key());
}

class ScriptedServer {
 public:
  explicit ScriptedServer(bool secure)
      : scheme_(secure ? "https" : "http"), made_(makeServer(secure)), server_(*made_) {
    server_.set_keep_alive_max_count(1'000'000);
    server_.set_tcp_nodelay(true);
    server_.Get(page, [](const httplib::Request& /*request*/, httplib::Response& response) {
      response.set_header("Set-Cookie", "SESSION=1; Path=/");
      response.set_content(begun, "text/plain");
    });
    server_.Post(page, [](const httplib::Request& request, httplib::Response& response) {
      const std::string& body = request.body;
      const char* reply = body.find("CHECKCODE=") != std::string::npos ? "RESULT:OK,COMPLETE\r\n"
                          : body.find("STATE=") != std::string::npos   ? accept
                                                                       : challenge;
      response.set_content(reply, "text/plain");
    });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();
  }
  ~ScriptedServer() {
    server_.stop();
    thread_.join();
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  [[nodiscard]] std::string address() const {
    return scheme_ + "://127.0.0.1:" + std::to_string(port_);
  }

 private:
  std::string scheme_;
  std::unique_ptr<httplib::Server> made_;
  httplib::Server& server_;
  int port_ = 0;
  std::thread thread_;
};

// A user who answers at once.
class QuickViews final : public EnrolViews {
 public:
  void switchView(View /*from*/, View /*to*/) override {}
  void goHome() override { home = true; }
  void refreshAuthentication() override {}
  bool showsAuthentication() override { return true; }
  void eva_layout() override {}
  void setAuthenticationMessage(const std::string& /*text*/) override {}
  void enableAuthenticationSubmit(bool /*enabled*/) override {}
  Cleared<std::string> input(Field field) override {
    return std::string(field == Field::userid ? "anna" : "ABCD");
  }
  void clear(Field /*field*/) override {}
  GetInfoInput getInfoInput() override { return {}; }
  void enableGetInfoSubmit(bool /*enabled*/) override {}
  std::string addressInput() override { return {}; }
  void setAddressMessage(const std::string& /*text*/) override {}
  void simpleMessageBox(const std::string& /*text*/) override {}
  bool mayReplace(const SoftTokenInfo& /*issued*/, const std::string& /*stored*/) override {
    return true;
  }
  void performOnMainThread(std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    work_.push_back(std::move(work));
    arrived_.notify_one();
  }
  void workOnce() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return !work_.empty(); });
    const std::function<void()> work = std::move(work_.front());
    work_.pop_front();
    lock.unlock();
    work();
  }

  bool home = false;

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::function<void()>> work_;
};

const ScriptedServer& server(bool secure) {
  static const ScriptedServer http(false);
  static const ScriptedServer https(true);
  return secure ? https : http;
}

void enrolment(benchmark::State& state, bool secure, bool fresh) {
  test::MemoryUserDefaults defaults;
  test::FakeDeviceIdentifiers identifiers;
  MemoryKeychain keychain;
  vaneinterface gateway(keychain, identifiers);
  gateway.setConsole(false);
  vane::SetInterface(&gateway);
  TokenStore store(gateway, keychain);
  Ini ini(defaults, SettingsFolders{"/nonexistent", "/nonexistent", "/nonexistent"});
  ini.EnrolURL = server(secure).address();
  ini.bAllowHTTP = true;
  QuickViews views;
  std::unique_ptr<EnrolFlow> flow;
  for (auto _ : state) {
    if (flow == nullptr || fresh) {
      flow = std::make_unique<EnrolFlow>(EnrolFlow::Parts{
          &views, &ini, &store, &gateway, [](std::string* error) { return makeUrlLoader(error); },
          [&views](std::function<void()> work) { views.performOnMainThread(std::move(work)); }});
    }
    views.home = false;
    flow->eva_init();
    while (flow->pleasewait()) views.workOnce();
    flow->eva_submitclicked();
    flow->eva_submitclicked();
    if (!views.home || !flow->ending()->stored) state.SkipWithError("not enrolled");
  }
  flow.reset();
  vane::SetInterface(nullptr);
}

std::size_t drop(char* /*bytes*/, std::size_t size, std::size_t count, void* /*nowhere*/) {
  return size * count;
}

struct EasyCleanup {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

void curlAlone(benchmark::State& state, bool secure, bool fresh) {
  const std::string url = server(secure).address() + page + "?SoftTokenMode=7200";
  std::unique_ptr<CURL, EasyCleanup> handle;
  for (auto _ : state) {
    if (handle == nullptr || fresh) {
      handle.reset(curl_easy_init());
      curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
      curl_easy_setopt(handle.get(), CURLOPT_CAINFO, std::getenv("SSL_CERT_FILE"));
      curl_easy_setopt(handle.get(), CURLOPT_COOKIEFILE, "");
      curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &drop);
    }
    curl_easy_setopt(handle.get(), CURLOPT_HTTPGET, 1L);
    if (curl_easy_perform(handle.get()) != CURLE_OK) state.SkipWithError("no reply");
    for (const char* body : {"userid=anna&PASSCODE=ABCD", "STATE=one&PASSCODE=ABCD",
                             "STATE=two&SOFTTOKENURL=otpauth://totp/"
                             "Bench?secret=GEZDGNBVGY3TQOJQ&period=30&CHECKCODE=123456"}) {
      curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, body);
      if (curl_easy_perform(handle.get()) != CURLE_OK) state.SkipWithError("no reply");
    }
  }
}

BENCHMARK_CAPTURE(enrolment, https, true, true)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(curlAlone, https, true, true)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(enrolment, http, false, true)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(curlAlone, http, false, true)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(enrolment, http_open, false, false)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(curlAlone, http_open, false, false)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
}  // namespace talvane

int main(int argc, char** argv) {
  talvane::test::PrivateHome home;
  const std::string trusted = home.root() + "/certificate.pem";
  if (!talvane::certificate().save(trusted)) return 1;
  home.environment.set("SSL_CERT_FILE", trusted);
  curl_global_init(CURL_GLOBAL_DEFAULT);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
