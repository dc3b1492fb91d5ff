#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace talvane {

/// Runs pieces of work on a thread each, and destroys each as soon as it has run, on its thread.
/// Use it from one thread.
class Workers {
 public:
  Workers() = default;
  /// Waits for all threads.
  ~Workers() { join(); }
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  /// Throws std::bad_alloc if there is no room for the work or its thread.
  void start(std::function<void()> work);
  /// Joins and removes the finished threads.
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
