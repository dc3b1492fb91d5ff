#include "tests/enrol/script.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>

namespace talvane::test {
namespace {

using namespace std::chrono_literals;

class ScriptedLoader final : public UrlLoader {
 public:
  explicit ScriptedLoader(Script& script) : script_(script) {}
  UrlResponse load(const UrlRequest& request) override { return script_.load(request); }
  void deleteCookies(const std::string& url) override { script_.deleteCookies(url); }
  void cancel() override { script_.cancel(); }
  void stop() override { script_.stop(); }

 private:
  Script& script_;
};

}  // namespace

void Script::answer(const std::string& body, long status) {
  UrlResponse response;
  response.status = status;
  response.body = body;
  answer(std::move(response));
}

void Script::answer(UrlResponse response) {
  const std::lock_guard guard(mutex_);
  answers_.push_back(std::move(response));
  changed_.notify_all();
}

void Script::hold(std::size_t number) {
  const std::lock_guard guard(mutex_);
  held_.insert(number);
}

void Script::letGo(std::size_t number) {
  const std::lock_guard guard(mutex_);
  held_.erase(number);
  changed_.notify_all();
}

void Script::awaitRequests(std::size_t count) {
  std::unique_lock lock(mutex_);
  ASSERT_TRUE(changed_.wait_for(lock, 20s, [&] { return requests_.size() >= count; }));
}

UrlResponse Script::load(const UrlRequest& request) {
  if (before_answer) before_answer();
  std::unique_lock lock(mutex_);
  const std::size_t number = requests_.size();
  const std::size_t cancelled_before = cancelled_;
  const auto is_ended = [&] { return stopped_ || cancelled_ != cancelled_before; };
  requests_.push_back(request);
  changed_.notify_all();
  if (keep_waiting_) changed_.wait(lock, [&] { return is_ended() || !answers_.empty(); });
  UrlResponse response;
  if (answers_.empty()) {
    response.error = UrlResponse::Error{"no answer", 7};
  } else if (!is_ended()) {
    response = std::move(answers_.front());
    answers_.pop_front();
  }
  changed_.wait(lock, [&] { return is_ended() || !held_.contains(number); });
  if (!is_ended()) return response;
  UrlResponse ended;
  ended.error = UrlResponse::Error{"The request was cancelled", 42};
  return ended;
}

void Script::deleteCookies(const std::string& url) {
  const std::lock_guard guard(mutex_);
  cleared_.push_back(url);
}

void Script::cancel() {
  const std::lock_guard guard(mutex_);
  ++cancelled_;
  changed_.notify_all();
}

std::size_t Script::cancelled() {
  const std::lock_guard guard(mutex_);
  return cancelled_;
}

void Script::stop() {
  const std::lock_guard guard(mutex_);
  stopped_ = true;
  changed_.notify_all();
}

std::vector<UrlRequest> Script::requests() {
  const std::lock_guard guard(mutex_);
  return requests_;
}

std::vector<std::string> Script::cleared() {
  const std::lock_guard guard(mutex_);
  return cleared_;
}

void Script::forget() {
  const std::lock_guard guard(mutex_);
  requests_.clear();
  cleared_.clear();
}

std::unique_ptr<UrlLoader> Script::makeLoader() {
  const std::lock_guard guard(mutex_);
  stopped_ = false;
  ++loaders_;
  return std::make_unique<ScriptedLoader>(*this);
}

}  // namespace talvane::test
