#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string>

#include "platform/file_descriptor.h"

namespace talvane {

int readRegularFile(const std::string& path, std::string* bytes, struct stat* status_out) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0) return errno;
  if (status_out != nullptr) *status_out = status;
  if (!S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t count = read(file.get(), buffer.data(), buffer.size());
    if (count == 0) return 0;
    if (count > 0) {
      bytes->append(buffer.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

}  // namespace talvane
