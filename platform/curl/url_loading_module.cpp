#include <curl/curl.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/curl/cookie.h"
#include "platform/url_loading.h"

namespace talvane {
namespace {

using Clock = std::chrono::steady_clock;

struct EasyCleanup {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using Easy = std::unique_ptr<CURL, EasyCleanup>;

struct UrlCleanup {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
using Url = std::unique_ptr<CURLU, UrlCleanup>;

struct ListCleanup {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using List = std::unique_ptr<curl_slist, ListCleanup>;

Url parsedUrl(const std::string& text) {
  Url url(curl_url());
  if (url != nullptr && curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) {
    url.reset();
  }
  return url;
}

std::string part(const Url& url, CURLUPart which) {
  char* text = nullptr;
  if (url == nullptr || curl_url_get(url.get(), which, &text, 0) != CURLUE_OK) return {};
  std::string copy(text);
  curl_free(text);
  return copy;
}

// State that all requests share, for as long as one of them lives.
class Shared {
 public:
  Shared() : handle_(curl_share_init()) {
    curl_share_setopt(handle_, CURLSHOPT_LOCKFUNC, &lock);
    curl_share_setopt(handle_, CURLSHOPT_UNLOCKFUNC, &unlock);
    curl_share_setopt(handle_, CURLSHOPT_USERDATA, this);
    curl_share_setopt(handle_, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
    curl_share_setopt(handle_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  }
  ~Shared() { curl_share_cleanup(handle_); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  CURLSH* get() { return handle_; }

 private:
  static void lock(CURL* /*handle*/, curl_lock_data data, curl_lock_access /*access*/,
                   void* shared) {
    static_cast<Shared*>(shared)->mutexes_[data].lock();
  }
  static void unlock(CURL* /*handle*/, curl_lock_data data, void* shared) {
    static_cast<Shared*>(shared)->mutexes_[data].unlock();
  }

  CURLSH* handle_;
  std::array<std::mutex, CURL_LOCK_DATA_LAST> mutexes_;
};

// One exchange, without following redirects.
struct Exchange {
  const UrlLoaderLimits& limits;
  const std::atomic<bool>& stopped;
  std::string body{};
  std::size_t header_bytes = 0;
  curl_off_t moved = 0;
  Clock::time_point last_move = Clock::now();
  const char* refusal = nullptr;  // why this side ended it
  CURLcode refusal_code = CURLE_OK;

  bool refuse(const char* why, CURLcode code) {
    refusal = why;
    refusal_code = code;
    return false;
  }

  static std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* exchange) {
    auto& self = *static_cast<Exchange*>(exchange);
    const std::size_t length = size * count;
    if (length > self.limits.body - self.body.size()) {
      self.refuse("The server's response is too long", CURLE_FILESIZE_EXCEEDED);
      return 0;
    }
    self.body.append(bytes, length);
    return length;
  }

  static std::size_t takeHeader(char* /*bytes*/, std::size_t size, std::size_t count,
                                void* exchange) {
    auto& self = *static_cast<Exchange*>(exchange);
    self.header_bytes += size * count;
    if (self.header_bytes > self.limits.headers) {
      self.refuse("The server's headers are too long", CURLE_FILESIZE_EXCEEDED);
      return 0;
    }
    return size * count;
  }

  static int watch(void* exchange, curl_off_t /*download*/, curl_off_t received,
                   curl_off_t /*upload*/, curl_off_t sent) {
    auto& self = *static_cast<Exchange*>(exchange);
    if (self.stopped) {
      self.refuse("The request was cancelled", CURLE_ABORTED_BY_CALLBACK);
      return 1;
    }
    const curl_off_t moved = received + sent + static_cast<curl_off_t>(self.header_bytes);
    const auto now = Clock::now();
    if (moved != self.moved) {
      self.moved = moved;
      self.last_move = now;
    }
    if (now - self.last_move < self.limits.silence) return 0;
    self.refuse("The server did not answer", CURLE_OPERATION_TIMEDOUT);
    return 1;
  }
};

class CurlLoader final : public UrlLoader {
 public:
  explicit CurlLoader(const UrlLoaderLimits& limits) : limits_(limits) {}

  UrlResponse load(const UrlRequest& request) override {
    UrlRequest next = request;
    for (int redirects = 0;; ++redirects) {
      const Easy handle = makeHandle();
      if (handle == nullptr) {
        return failure(CURLE_FAILED_INIT, curl_easy_strerror(CURLE_FAILED_INIT));
      }
      UrlResponse response = exchange(handle.get(), next);
      std::string target;
      if (!response.error) target = redirectTarget(handle.get());
      if (target.empty()) return response;
      if (redirects == limits_.redirects) {
        return failure(CURLE_TOO_MANY_REDIRECTS, "The server redirects too many times");
      }
      const std::string from = part(parsedUrl(next.url), CURLUPART_SCHEME);
      const std::string to = part(parsedUrl(target), CURLUPART_SCHEME);
      if (from == "https" && to != "https") {
        return failure(CURLE_UNSUPPORTED_PROTOCOL, "The server redirects from https to " +
                                                       (to.empty() ? "elsewhere" : to) +
                                                       ", which is not allowed");
      }
      // As browsers do, posts the body again only if the status requires it.
      if (response.status != 307 && response.status != 308) next.body.reset();
      next.url = target;
    }
  }

  void deleteCookies(const std::string& url) override {
    const Url parsed = parsedUrl(url);
    const Easy handle = makeHandle();
    if (parsed == nullptr || handle == nullptr) return;
    const std::string scheme = part(parsed, CURLUPART_SCHEME);
    const std::string host = cookieHost(part(parsed, CURLUPART_HOST));
    const std::string path = part(parsed, CURLUPART_PATH);
    curl_slist* cookies = nullptr;
    curl_easy_getinfo(handle.get(), CURLINFO_COOKIELIST, &cookies);
    const List list(cookies);
    for (const curl_slist* line = cookies; line != nullptr; line = line->next) {
      const Cookie cookie(line->data);
      if (cookie.isSentTo(scheme, host, path)) {
        curl_easy_setopt(handle.get(), CURLOPT_COOKIELIST, cookie.expired().c_str());
      }
    }
  }

  void stop() override { stopped_ = true; }

 private:
  static UrlResponse failure(CURLcode code, std::string description) {
    UrlResponse response;
    response.error = UrlResponse::Error{std::move(description), code};
    return response;
  }

  // One for each exchange: before 8.2 libcurl looks at freed memory when a handle's second answer
  // begins with a header line that continues another.
  Easy makeHandle() {
    Easy handle(curl_easy_init());
    if (handle != nullptr) {
      curl_easy_setopt(handle.get(), CURLOPT_SHARE, shared_.get());
      curl_easy_setopt(handle.get(), CURLOPT_COOKIEFILE, "");
    }
    return handle;
  }

  UrlResponse exchange(CURL* handle, const UrlRequest& request) {
    Exchange exchange{limits_, stopped_};
    std::array<char, CURL_ERROR_SIZE> words{};
    curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer must not delay a stop or a time limit.
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(handle, CURLOPT_FILETIME, 0L);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, words.data());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Exchange::takeBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &exchange);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &Exchange::takeHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, &exchange);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &Exchange::watch);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &exchange);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits_.silence.count()));
    // Replaces the system's trust store, as in other programs that use OpenSSL.
    if (const char* trusted = std::getenv("SSL_CERT_FILE"); trusted != nullptr && *trusted != 0) {
      curl_easy_setopt(handle, CURLOPT_CAINFO, trusted);
      curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
    }
    if (request.body) {
      curl_easy_setopt(handle, CURLOPT_POST, 1L);
      curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(request.body->size()));
      curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body->data());
    } else {
      curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    }
    const CURLcode code = curl_easy_perform(handle);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, nullptr);
    if (exchange.refusal != nullptr) return failure(exchange.refusal_code, exchange.refusal);
    if (code != CURLE_OK) {
      return failure(code, words[0] != '\0' ? words.data() : curl_easy_strerror(code));
    }
    UrlResponse response;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &response.status);
    response.body = std::move(exchange.body);
    response.date = serverDate(handle);
    return response;
  }

  static std::optional<std::int64_t> serverDate(CURL* handle) {
    curl_header* header = nullptr;
    if (curl_easy_header(handle, "Date", 0, CURLH_HEADER, -1, &header) != CURLHE_OK) {
      return std::nullopt;
    }
    const time_t date = curl_getdate(header->value, nullptr);
    return date < 0 ? std::nullopt : std::optional<std::int64_t>(date);
  }

  static std::string redirectTarget(CURL* handle) {
    const char* target = nullptr;
    curl_easy_getinfo(handle, CURLINFO_REDIRECT_URL, &target);
    return target == nullptr ? std::string() : std::string(target);
  }

  UrlLoaderLimits limits_;
  std::atomic<bool> stopped_ = false;
  Shared shared_;
};

}  // namespace
}  // namespace talvane

/// A new loader, owned by the caller. The first call must come before other threads use libcurl.
extern "C" __attribute__((visibility("default"))) talvane::UrlLoader* softtoken_make_url_loader(
    const talvane::UrlLoaderLimits* limits) {
  static const bool ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  static_cast<void>(ready);
  return new talvane::CurlLoader(*limits);
}
