#include "platform/file_lock.h"

#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace talvane {

int lockFile(int descriptor, std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return errno;
    if (std::chrono::steady_clock::now() >= deadline) return EWOULDBLOCK;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return 0;
}

}  // namespace talvane
