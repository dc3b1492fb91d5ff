#include "store/store_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/own_files.h"

namespace talvane {

StoreLock::StoreLock(const std::string& folder, std::chrono::milliseconds patience) {
  const std::string path = folder + "/store.lock";
  error_ = makeOwnFolder(folder);
  if (!error_.empty()) return;
  FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file.isOpen()) {
    error_ =
        "Cannot open " + path + " (" + std::strerror(errno) + "); check who owns it and its folder";
    return;
  }
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      error_ = "Cannot lock " + path + " (" + std::strerror(errno) +
               "); use a file system that has locks";
    } else if (std::chrono::steady_clock::now() >= deadline) {
      busy_ = true;
      error_ = "Another program is changing the tokens and holds the lock " + path +
               "; try again when it has finished, or close it";
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      continue;
    }
    return;
  }
  file_ = std::move(file);
}

}  // namespace talvane
