#include "enrol/workers.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

namespace talvane {

void Workers::start(std::function<void()> work) {
  joinFinished();
  auto task = std::make_unique<Task>();
  task->work = std::move(work);
  std::thread thread([task = task.get()] {
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
