#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/url_loading.h"

namespace talvane::test {

/// What a server says, and what it was asked. Outlives the loaders made for it.
class Script {
 public:
  /// The next answer. Without one, a request fails with "no answer [7]", unless it has to wait.
  void answer(const std::string& body, long status = 200);
  void answer(UrlResponse response);
  /// Keeps the request of that number (from 0) waiting until it is let go or the loader stops.
  void hold(std::size_t number);
  void letGo(std::size_t number);
  /// From now on a request for which there is no answer yet waits for one.
  void keepWaiting() { keep_waiting_ = true; }
  /// Waits until that many requests have come.
  void awaitRequests(std::size_t count);

  /// Runs before each answer, on the thread of the request.
  std::function<void()> before_answer;

  UrlResponse load(const UrlRequest& request);
  void deleteCookies(const std::string& url);
  void cancel();
  void stop();

  /// How often the requests under way were cancelled.
  std::size_t cancelled();

  std::vector<UrlRequest> requests();
  std::vector<std::string> cleared();
  /// Forgets both.
  void forget();
  [[nodiscard]] std::size_t loaders() const { return loaders_; }
  std::unique_ptr<UrlLoader> makeLoader();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<UrlResponse> answers_;
  std::vector<UrlRequest> requests_;
  std::vector<std::string> cleared_;
  std::set<std::size_t> held_;
  std::size_t cancelled_ = 0;
  bool keep_waiting_ = false;
  bool stopped_ = false;
  std::size_t loaders_ = 0;
};

}  // namespace talvane::test
