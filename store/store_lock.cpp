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
#include "platform/translation.h"

namespace talvane {

StoreLock::StoreLock(const std::string& folder, std::chrono::milliseconds patience) {
  const std::string path = folder + "/store.lock";
  error_ = makeOwnFolder(folder);
  if (!error_.empty()) return;
  FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file.isOpen()) {
    error_ = translatedWith("Cannot open {} ({}); check who owns it and its folder", path,
                            std::strerror(errno));
    return;
  }
  const int error = lockFile(file.get(), patience);
  if (error == 0) {
    file_ = std::move(file);
  } else if (error == EWOULDBLOCK) {
    busy_ = true;
    error_ = translatedWith(
        "Another program is changing the tokens and holds the lock {}; try "
        "again when it has finished, or close it",
        path);
  } else {
    error_ = translatedWith("Cannot lock {} ({}); use a file system that has locks", path,
                            std::strerror(error));
  }
}

}  // namespace talvane
