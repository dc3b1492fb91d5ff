#include <curl/curl.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "engine/cleared.h"
#include "engine/text.h"
#include "platform/curl/cookie.h"
#include "platform/curl/limit_words.h"
#include "platform/memory_release.h"
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

std::string part(const Url& url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  if (url == nullptr || curl_url_get(url.get(), which, &text, flags) != CURLUE_OK) return {};
  std::string copy(text);
  curl_free(text);
  return copy;
}

// Scheme, host and port are the same, as libcurl reads them.
bool isSameOrigin(const std::string& a, const std::string& b) {
  const auto origin = [](const std::string& text) {
    const Url url = parsedUrl(text);
    return lowerCase(part(url, CURLUPART_SCHEME) + "://" + part(url, CURLUPART_HOST)) + ':' +
           part(url, CURLUPART_PORT, CURLU_DEFAULT_PORT);
  };
  return origin(a) == origin(b);
}

// libcurl's memory holds requests and replies, so it is cleared before it is freed.

void release(void* block) {
  clearMemory(block, allocatedSize(block));
  std::free(block);
}

void* resize(void* block, std::size_t size) {
  void* larger = std::malloc(size);
  if (larger == nullptr || block == nullptr) return larger;
  std::memcpy(larger, block, std::min(size, allocatedSize(block)));
  release(block);
  return larger;
}

bool startLibcurl() {
  return curl_global_init_mem(CURL_GLOBAL_DEFAULT, std::malloc, release, resize, strdup,
                              std::calloc) == CURLE_OK;
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
  /// Held by whoever has libcurl read or change the cookies. Its own lock is not enough: libcurl
  /// 8.14 still walks along a request's cookies when it has released that.
  std::unique_lock<std::mutex> holdCookies() { return std::unique_lock(cookies_); }

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
  std::mutex cookies_;
};

struct MultiCleanup {
  void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
};
using Multi = std::unique_ptr<CURLM, MultiCleanup>;

// What the exchanges of one request share.
struct Whole {
  Clock::time_point begin = Clock::now();
  std::size_t body_bytes = 0;
};

// One exchange, without following redirects.
struct Exchange {
  const UrlLoaderLimits& limits;
  Whole& whole;
  CURL* handle;
  Cleared<std::string> body{};
  std::size_t header_bytes = 0;
  curl_off_t moved = 0;
  Clock::time_point begin = Clock::now();
  Clock::time_point last_move = begin;
  std::string refusal{};  // why this side ended it
  CURLcode refusal_code = CURLE_OK;

  void refuse(std::string why, CURLcode code) {
    refusal = std::move(why);
    refusal_code = code;
  }

  static std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* exchange) {
    auto& self = *static_cast<Exchange*>(exchange);
    const std::size_t length = size * count;
    if (length > self.limits.body - self.whole.body_bytes) {
      self.refuse("The server's response is longer than " + inWords(self.limits.body),
                  CURLE_FILESIZE_EXCEEDED);
      return 0;
    }
    self.whole.body_bytes += length;
    self.body.append(std::string_view(bytes, length));
    return length;
  }

  static std::size_t takeHeader(char* /*bytes*/, std::size_t size, std::size_t count,
                                void* exchange) {
    auto& self = *static_cast<Exchange*>(exchange);
    self.header_bytes += size * count;
    if (self.header_bytes > self.limits.headers) {
      self.refuse("The server's headers are longer than " + inWords(self.limits.headers),
                  CURLE_FILESIZE_EXCEEDED);
      return 0;
    }
    return size * count;
  }

  static int watch(void* exchange, curl_off_t /*download*/, curl_off_t received,
                   curl_off_t /*upload*/, curl_off_t sent) {
    auto& self = *static_cast<Exchange*>(exchange);
    const curl_off_t moved = received + sent + static_cast<curl_off_t>(self.header_bytes);
    if (moved == self.moved) return 0;
    self.moved = moved;
    self.last_move = Clock::now();
    return 0;
  }

  // The time left until a limit; none when it is reached, and refuses.
  std::chrono::milliseconds timeLeft() {
    const auto now = Clock::now();
    const auto until = [now](Clock::time_point from, std::chrono::milliseconds limit) {
      return std::chrono::ceil<std::chrono::milliseconds>(from + limit - now);
    };
    curl_off_t connected = 0;  // microseconds it took; 0 as long as it lasts
    curl_easy_getinfo(handle, CURLINFO_PRETRANSFER_TIME_T, &connected);
    const auto in_all = until(whole.begin, limits.whole);
    if (in_all.count() <= 0) {
      refuse("The request took longer than " + inWords(limits.whole), CURLE_OPERATION_TIMEDOUT);
      return {};
    }
    if (connected == 0) {
      const auto left = until(begin, limits.connect);
      if (left.count() > 0) return std::min(left, in_all);
      refuse("The server could not be reached within " + inWords(limits.connect),
             CURLE_OPERATION_TIMEDOUT);
      return {};
    }
    last_move = std::max(last_move, begin + std::chrono::microseconds(connected));
    const auto left = until(last_move, limits.silence);
    if (left.count() > 0) return std::min(left, in_all);
    refuse("The server has sent nothing for " + inWords(limits.silence), CURLE_OPERATION_TIMEDOUT);
    return {};
  }
};

class CurlLoader final : public UrlLoader {
 public:
  explicit CurlLoader(const UrlLoaderLimits& limits) : limits_(limits) {}

  UrlResponse load(const UrlRequest& request) override {
    const Ride ride(*this);
    if (ride.multi() == nullptr) {
      return failure(CURLE_FAILED_INIT, curl_easy_strerror(CURLE_FAILED_INIT));
    }
    Whole whole;
    UrlRequest next = request;
    for (int redirects = 0;; ++redirects) {
      const Easy handle = makeHandle();
      if (handle == nullptr) {
        return failure(CURLE_FAILED_INIT, curl_easy_strerror(CURLE_FAILED_INIT));
      }
      UrlResponse response = exchange(handle.get(), next, whole, ride);
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
      // As browsers do, posts the body again only if the status requires it. It holds a password,
      // so no other server gets it.
      if (response.status != 307 && response.status != 308) next.body.reset();
      if (next.body && !isSameOrigin(next.url, target)) {
        return failure(CURLE_REMOTE_ACCESS_DENIED,
                       "The server redirects what you entered to another server, "
                       "which is not allowed");
      }
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
    const auto hold = shared_.holdCookies();
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

  void cancel() override { endRides(); }

  void stop() override {
    stopped_ = true;
    endRides();
  }

 private:
  // One request under way, as others can end it.
  class Ride {
   public:
    explicit Ride(CurlLoader& loader) : loader_(loader), multi_(curl_multi_init()) {
      const std::lock_guard guard(loader_.mutex_);
      loader_.rides_.insert(this);
    }
    ~Ride() {
      const std::lock_guard guard(loader_.mutex_);
      loader_.rides_.erase(this);
    }
    Ride(const Ride&) = delete;
    Ride& operator=(const Ride&) = delete;

    [[nodiscard]] CURLM* multi() const { return multi_.get(); }
    [[nodiscard]] bool ended() const { return ended_ || loader_.stopped_; }
    void end() {
      ended_ = true;
      if (multi_ != nullptr) curl_multi_wakeup(multi_.get());
    }

   private:
    CurlLoader& loader_;
    Multi multi_;
    std::atomic<bool> ended_ = false;
  };

  void endRides() {
    const std::lock_guard guard(mutex_);
    for (Ride* ride : rides_) ride->end();
  }

  // libcurl's own result, unless this side ends the exchange.
  CURLcode perform(CURL* handle, Exchange& exchange, const Ride& ride) {
    CURLM* multi = ride.multi();
    if (curl_multi_add_handle(multi, handle) != CURLM_OK) return CURLE_FAILED_INIT;
    CURLcode result = CURLE_FAILED_INIT;
    for (int running = 1; running != 0;) {
      if (ride.ended()) exchange.refuse(UrlResponse::cancelled, CURLE_ABORTED_BY_CALLBACK);
      if (!exchange.refusal.empty()) break;
      {
        // Returns at once: waiting is done below.
        const auto hold = shared_.holdCookies();
        if (curl_multi_perform(multi, &running) != CURLM_OK) break;
      }
      int left = 0;
      const CURLMsg* message = curl_multi_info_read(multi, &left);
      if (message != nullptr && message->msg == CURLMSG_DONE) result = message->data.result;
      if (running == 0) break;
      const auto time = exchange.timeLeft();
      if (time.count() > 0) {
        curl_multi_poll(multi, nullptr, 0, static_cast<int>(time.count()), nullptr);
      }
    }
    curl_multi_remove_handle(multi, handle);
    return result;
  }

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

  UrlResponse exchange(CURL* handle, const UrlRequest& request, Whole& whole, const Ride& ride) {
    Exchange exchange{limits_, whole, handle};
    std::array<char, CURL_ERROR_SIZE> words{};
    curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    // Whatever the system's configuration allows.
    curl_easy_setopt(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
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
    // Its own limit of 300 s must not come first.
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(limits_.connect.count()) * 2);
    // Replaces the system's trust store, as in other programs that use OpenSSL.
    if (const char* trusted = std::getenv("SSL_CERT_FILE"); trusted != nullptr && *trusted != 0) {
      curl_easy_setopt(handle, CURLOPT_CAINFO, trusted);
      curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
    }
    if (request.body) {
      curl_easy_setopt(handle, CURLOPT_POST, 1L);
      curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(request.body->get().size()));
      curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body->get().data());
    } else {
      curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    }
    const CURLcode code = perform(handle, exchange, ride);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, nullptr);
    if (!exchange.refusal.empty()) {
      return failure(exchange.refusal_code, std::move(exchange.refusal));
    }
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
  std::mutex mutex_;
  std::set<Ride*> rides_;
  Shared shared_;
};

}  // namespace
}  // namespace talvane

/// A new loader, owned by the caller. The first call must come before other threads use libcurl.
extern "C" __attribute__((visibility("default"))) talvane::UrlLoader* softtoken_make_url_loader(
    const talvane::UrlLoaderLimits* limits) {
  static const bool ready = talvane::startLibcurl();
  static_cast<void>(ready);
  return new talvane::CurlLoader(*limits);
}
