#pragma once

#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace talvane {

/// A thread that runs the work. Throws std::bad_alloc where the system has no room for one.
template <typename Work>
std::thread startThread(Work work) {
  try {
    return std::thread(std::move(work));
  } catch (const std::system_error&) {
    throw std::bad_alloc();
  }
}

}  // namespace talvane
