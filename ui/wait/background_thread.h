#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace talvane {

/// One piece of work of a BackgroundThread. Any thread.
class Errand {
 public:
  [[nodiscard]] bool isDone();
  /// After the end: throws what the work threw, if anything.
  void rethrow();
  /// Blocks until the work is done, or until `end`. Returns whether it is done.
  bool awaitUntil(std::chrono::steady_clock::time_point end);
  /// Calls `told` when the work is done, on its thread; at once if it is. An empty one takes back
  /// an earlier one, which is then neither called nor running.
  void whenDone(std::function<void()> told);

 private:
  friend class BackgroundThread;
  void finish(std::exception_ptr thrown);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<void()> told_;
  std::exception_ptr thrown_;
  bool done_ = false;
};

/// A thread that does pieces of work in order. It starts with the first one.
class BackgroundThread {
 public:
  BackgroundThread() = default;
  /// Waits for the work under way; work that has not begun is dropped.
  ~BackgroundThread();
  BackgroundThread(const BackgroundThread&) = delete;
  BackgroundThread& operator=(const BackgroundThread&) = delete;

  std::shared_ptr<Errand> start(std::function<void()> work);
  /// Whether any work is not done yet.
  [[nodiscard]] bool isBusy();

 private:
  struct Task {
    std::function<void()> work;
    std::shared_ptr<Errand> errand;
  };
  void workOn();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  bool working_ = false;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace talvane
