#include "ui/wait/background_thread.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/start_thread.h"

namespace talvane {

bool Errand::isDone() {
  const std::lock_guard guard(mutex_);
  return done_;
}

bool Errand::awaitUntil(std::chrono::steady_clock::time_point end) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, end, [this] { return done_; });
}

void Errand::whenDone(std::function<void()> told) {
  const std::lock_guard guard(mutex_);
  told_ = std::move(told);
  if (done_ && told_) told_();
}

void Errand::rethrow() {
  const std::lock_guard guard(mutex_);
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

void Errand::finish(std::exception_ptr thrown) {
  const std::lock_guard guard(mutex_);
  thrown_ = std::move(thrown);
  done_ = true;
  changed_.notify_all();
  if (told_) told_();
}

BackgroundThread::~BackgroundThread() {
  {
    const std::lock_guard guard(mutex_);
    ending_ = true;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
}

std::shared_ptr<Errand> BackgroundThread::start(std::function<void()> work) {
  auto errand = std::make_shared<Errand>();
  const std::lock_guard guard(mutex_);
  if (!thread_.joinable()) thread_ = startThread([this] { workOn(); });
  tasks_.push_back({std::move(work), errand});
  changed_.notify_all();
  return errand;
}

bool BackgroundThread::isBusy() {
  const std::lock_guard guard(mutex_);
  return working_ || !tasks_.empty();
}

void BackgroundThread::workOn() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
    if (ending_) return;
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    working_ = true;
    lock.unlock();
    std::exception_ptr thrown;
    try {
      task.work();
    } catch (...) {
      thrown = std::current_exception();
    }
    task.work = nullptr;
    lock.lock();
    working_ = false;
    task.errand->finish(std::move(thrown));
  }
}

}  // namespace talvane
