#include "enrol/workers.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "platform/start_thread.h"

namespace talvane {

void Workers::start(std::function<void()> work) {
  joinFinished();
  // First: a thread that has begun needs a place to be joined from.
  workers_.reserve(workers_.size() + 1);
  auto task = std::make_unique<Task>();
  task->work = std::move(work);
  std::thread thread = startThread([task = task.get()] {
    task->work();
    task->work = nullptr;
    task->done = true;
  });
  workers_.push_back({std::move(task), std::move(thread)});
}

void Workers::joinFinished() {
  const auto finished = std::partition(workers_.begin(), workers_.end(),
                                       [](const Worker& worker) { return !worker.task->done; });
  std::for_each(finished, workers_.end(), [](Worker& worker) { worker.thread.join(); });
  workers_.erase(finished, workers_.end());
}

void Workers::join() {
  for (Worker& worker : workers_) worker.thread.join();
  workers_.clear();
}

}  // namespace talvane
