#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace talvane {

int readRegularFile(const std::string& path, std::string* bytes) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return errno;
  struct stat status {};
  int error = fstat(descriptor, &status) != 0 ? errno : 0;
  if (error == 0 && !S_ISREG(status.st_mode)) error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  std::array<char, 65536> buffer;
  while (error == 0) {
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count == 0) break;
    if (count > 0) {
      bytes->append(buffer.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      error = errno;
    }
  }
  close(descriptor);
  return error;
}

}  // namespace talvane
