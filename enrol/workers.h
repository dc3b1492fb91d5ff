#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace talvane {

/// Threads for one piece of work each. Used on one thread, which also releases what the work holds.
class Workers {
 public:
  Workers() = default;
  /// Waits for all of them.
  ~Workers() { join(); }
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  void start(std::function<void()> work);
  /// Clears away those that have done their work.
  void joinFinished();
  void join();

 private:
  struct Task {
    std::function<void()> work;
    std::atomic<bool> done = false;
  };
  struct Worker {
    std::unique_ptr<Task> task;
    std::thread thread;
  };
  std::vector<Worker> workers_;
};

}  // namespace talvane
