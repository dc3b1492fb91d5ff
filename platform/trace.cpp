#include "platform/trace.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>

#include "platform/file_descriptor.h"
#include "platform/folders.h"

namespace talvane {
namespace {

constexpr off_t limit_unit = off_t{4} * 1024 * 1024;

std::string trace_path;
std::atomic<bool> trace_on = false;
std::uint8_t size_limit = 1;  // in units

// A new file gets mode 0600, and so does an old one. Leaves alone anything but a regular file of
// the user's.
std::FILE* openTrace() {
  FileDescriptor descriptor(
      open(trace_path.c_str(),
           O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW,
           S_IRUSR | S_IWUSR));
  struct stat status {};
  bool usable = descriptor.isOpen() && fstat(descriptor.get(), &status) == 0 &&
                S_ISREG(status.st_mode) && status.st_uid == geteuid();
  if (usable && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    usable = fchmod(descriptor.get(), S_IRUSR | S_IWUSR) == 0;
  }
  if (usable && status.st_size > limit_unit * size_limit) {
    usable = ftruncate(descriptor.get(), 0) == 0;
  }
  std::FILE* file = usable ? fdopen(descriptor.get(), "a") : nullptr;
  if (file != nullptr) static_cast<void>(descriptor.release());
  return file;
}

}  // namespace

void talibobjc_Trace::traceSet(std::string_view path) {
  trace_on = false;
  trace_path = withTildeExpanded(path);
  size_limit = 1;
}

void talibobjc_Trace::traceOn(bool on) {
  trace_on = on;
}

bool talibobjc_Trace::isOn() {
  return trace_on;
}

talibobjc_Trace::Handle talibobjc_Trace::traceOpen() {
  if (!trace_on) return nullptr;
  Handle handle(openTrace());
  if (handle == nullptr) return nullptr;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 32> time{};
  std::strftime(time.data(), time.size(), "%H:%M:%S", &local);
  const std::string header = fmt::format("{} [{:05d}] ", time.data(), getpid());
  std::fwrite(header.data(), 1, header.size(), handle.get());
  return handle;
}

void talibobjc_Trace::traceClose(Handle handle) {
  handle.reset();
}

void talibobjc_Trace::traceNSString(std::string_view text) {
  Handle handle = traceOpen();
  if (handle == nullptr) return;
  std::fwrite(text.data(), 1, text.size(), handle.get());
  std::fwrite("\r\n", 1, 2, handle.get());
  traceClose(std::move(handle));
}

}  // namespace talvane
