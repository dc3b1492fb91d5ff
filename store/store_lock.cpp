#include "store/store_lock.h"

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/file_lock.h"
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
  const int error = lockFile(file.get(), patience);
  if (error == 0) {
    file_ = std::move(file);
  } else if (error == EWOULDBLOCK) {
    busy_ = true;
    error_ = "Another program is changing the tokens and holds the lock " + path +
             "; try again when it has finished, or close it";
  } else {
    error_ =
        "Cannot lock " + path + " (" + std::strerror(error) + "); use a file system that has locks";
  }
}

}  // namespace talvane
