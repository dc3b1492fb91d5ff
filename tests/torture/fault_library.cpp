// Preloaded into a program to make its calls of the system fail, as fault_control.h says. Knows
// nothing of the program.

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <pwd.h>
#include <stdio_ext.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>
#include <unwind.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/torture/fault_control.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

using talvane::torture::Call;
using talvane::torture::FaultControl;

FaultControl* control = nullptr;
thread_local bool is_looking = false;  // at the callers, which may allocate

template <typename Function>
Function next(Function /*same*/, const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
// The function that this one stands before.
#define REAL(name) static const auto real = next(&::name, #name)

const char* fileName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

// The program or library that an address lies in. Unlike dladdr(3), which looks for the nearest of
// all symbols, this is quick enough for every allocation.
struct Module {
  const char* name = nullptr;
  std::uintptr_t base = 0;
};

bool moduleAt(std::uintptr_t address, Module* module) {
  dl_find_object found{};
  if (_dl_find_object(reinterpret_cast<void*>(address), &found) != 0) return false;
  const char* path = found.dlfo_link_map->l_name;
  module->name = path[0] == '\0' ? program_invocation_short_name : fileName(path);
  module->base = found.dlfo_link_map->l_addr;
  return true;
}

std::uintptr_t ownBase() {
  static const std::uintptr_t base = [] {
    Module module;
    moduleAt(reinterpret_cast<std::uintptr_t>(&control), &module);
    return module.base;
  }();
  return base;
}

struct Trail {
  std::size_t used = 0;
  int frames = 0;
};

_Unwind_Reason_Code writeFrame(_Unwind_Context* context, void* argument) {
  auto& trail = *static_cast<Trail*>(argument);
  const std::uintptr_t address = _Unwind_GetIP(context);
  Module module;
  if (!moduleAt(address, &module)) return _URC_END_OF_STACK;
  if (module.base == ownBase()) return _URC_NO_REASON;
  const std::size_t room = sizeof(control->where) - trail.used;
  const int length = std::snprintf(control->where + trail.used, room, "%s%s+0x%zx",
                                   trail.used == 0 ? "" : " ", module.name, address - module.base);
  if (length < 0 || static_cast<std::size_t>(length) >= room) return _URC_END_OF_STACK;
  trail.used += static_cast<std::size_t>(length);
  return ++trail.frames < 24 ? _URC_NO_REASON : _URC_END_OF_STACK;
}

// The list's names stand between spaces; one that ends with "*" is a beginning.
bool isListed(const char* list, const char* name) {
  while (*list != '\0') {
    const std::size_t length = std::strcspn(list, " ");
    const bool begins = length > 0 && list[length - 1] == '*';
    if (begins ? std::strncmp(list, name, length - 1) == 0
               : std::strlen(name) == length && std::strncmp(list, name, length) == 0) {
      return true;
    }
    list += length + std::strspn(list + length, " ");
  }
  return false;
}

// Whether the innermost caller that is neither the C nor the C++ library is spared.
_Unwind_Reason_Code judgeFrame(_Unwind_Context* context, void* argument) {
  Module module;
  if (!moduleAt(_Unwind_GetIP(context), &module)) return _URC_END_OF_STACK;
  const bool passes_on =
      module.base == ownBase() || isListed("libc.so.6 libstdc++.so.6", module.name);
  if (passes_on) return _URC_NO_REASON;
  *static_cast<bool*>(argument) = isListed(control->spared, module.name);
  return _URC_END_OF_STACK;
}

bool isSpared() {
  if (control->spared[0] == '\0') return false;
  bool spared = false;
  is_looking = true;
  _Unwind_Backtrace(judgeFrame, &spared);
  is_looking = false;
  if (spared) __atomic_add_fetch(&control->spared_calls, 1, __ATOMIC_RELAXED);
  return spared;
}

void noteCallers() {
  is_looking = true;
  Trail trail;
  _Unwind_Backtrace(writeFrame, &trail);
  is_looking = false;
}

bool concerns(const char* path) {
  return control->only[0] == '\0' || std::strstr(path, control->only) != nullptr;
}

// Counts the call and tells whether it is to fail; then errno is set.
bool fails(Call call) {
  if (control == nullptr || is_looking || control->call != call) return false;
  if (isSpared()) return false;
  const std::int64_t number = __atomic_add_fetch(&control->calls, 1, __ATOMIC_RELAXED);
  if (number < control->first || number > control->last) return false;
  if (__atomic_add_fetch(&control->hits, 1, __ATOMIC_RELAXED) == 1) noteCallers();
  errno = control->error;
  return true;
}

bool fails(Call call, const char* path) {
  return control != nullptr && control->call == call && concerns(path) && fails(call);
}

bool fails(Call call, int file) {
  if (control == nullptr || control->call != call) return false;
  if (control->only[0] == '\0') return fails(call);
  char link[64];
  char path[4096];
  std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  if (length < 0) return false;
  path[length] = '\0';
  return fails(call, path);
}

const char* replaced = nullptr;  // SOFTTOKEN_INSTEAD
const char* replacement = nullptr;

const char* instead(const char* path) {
  thread_local char other[4096];
  const auto length = static_cast<std::size_t>(replacement - replaced - 1);
  if (replaced == nullptr || std::strncmp(path, replaced, length) != 0) return path;
  if (path[length] != '\0' && path[length] != '/') return path;
  std::snprintf(other, sizeof other, "%s%s", replacement, path + length);
  return other;
}

FILE* failed(FILE* stream) {
  stream->_flags |= 0x20;  // what ferror() looks at
  return nullptr;
}

__attribute__((constructor(101))) void begin() {
  replaced = std::getenv("SOFTTOKEN_INSTEAD");
  if (replaced != nullptr) replacement = std::strchr(replaced, '=') + 1;
  const char* path = std::getenv("SOFTTOKEN_FAULTS");
  if (path == nullptr) return;
  const int file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC));
  if (file < 0) std::abort();
  // Not by our own functions, which would count it.
  static const auto map = next(&::mmap, "mmap");
  void* memory = map(nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) std::abort();
  ownBase();
  control = static_cast<FaultControl*>(memory);
  close(file);
}

mode_t modeFrom(int flags, va_list rest) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(rest, int)) : 0;
}

}  // namespace

extern "C" {

// Opening.

int open(const char* path, int flags, ...) {
  REAL(open);
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = modeFrom(flags, rest);
  va_end(rest);
  return fails(Call::open, path) ? -1 : real(instead(path), flags, mode);
}
int open64(const char* path, int flags, ...) {
  REAL(open64);
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = modeFrom(flags, rest);
  va_end(rest);
  return fails(Call::open, path) ? -1 : real(instead(path), flags, mode);
}
int openat(int folder, const char* path, int flags, ...) {
  REAL(openat);
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = modeFrom(flags, rest);
  va_end(rest);
  return fails(Call::open, path) ? -1 : real(folder, instead(path), flags, mode);
}
int openat64(int folder, const char* path, int flags, ...) {
  REAL(openat64);
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = modeFrom(flags, rest);
  va_end(rest);
  return fails(Call::open, path) ? -1 : real(folder, instead(path), flags, mode);
}
// What fortified callers of open() call.
int __open_2(const char* path, int flags) {
  return open(path, flags);
}
int __open64_2(const char* path, int flags) {
  return open64(path, flags);
}
int __openat_2(int folder, const char* path, int flags) {
  return openat(folder, path, flags);
}
int creat(const char* path, mode_t mode) {
  REAL(creat);
  return fails(Call::open) ? -1 : real(path, mode);
}
FILE* fopen(const char* path, const char* mode) {
  REAL(fopen);
  return fails(Call::open, path) ? nullptr : real(instead(path), mode);
}
FILE* fopen64(const char* path, const char* mode) {
  REAL(fopen64);
  return fails(Call::open, path) ? nullptr : real(instead(path), mode);
}
DIR* opendir(const char* path) {
  REAL(opendir);
  return fails(Call::open, path) ? nullptr : real(instead(path));
}
DIR* fdopendir(int folder) {
  REAL(fdopendir);
  return fails(Call::open) ? nullptr : real(folder);
}

// Reading.

ssize_t read(int file, void* bytes, std::size_t size) {
  REAL(read);
  return fails(Call::read, file) ? -1 : real(file, bytes, size);
}
ssize_t __read_chk(int file, void* bytes, std::size_t size, std::size_t /*room*/) {
  return read(file, bytes, size);
}
ssize_t pread(int file, void* bytes, std::size_t size, off_t offset) {
  REAL(pread);
  return fails(Call::read, file) ? -1 : real(file, bytes, size, offset);
}
ssize_t pread64(int file, void* bytes, std::size_t size, off64_t offset) {
  REAL(pread64);
  return fails(Call::read, file) ? -1 : real(file, bytes, size, offset);
}
ssize_t readv(int file, const iovec* parts, int count) {
  REAL(readv);
  return fails(Call::read, file) ? -1 : real(file, parts, count);
}
std::size_t fread(void* bytes, std::size_t size, std::size_t count, FILE* stream) {
  REAL(fread);
  if (!fails(Call::read, fileno(stream))) return real(bytes, size, count, stream);
  failed(stream);
  return 0;
}
char* fgets(char* text, int size, FILE* stream) {
  REAL(fgets);
  if (!fails(Call::read, fileno(stream))) return real(text, size, stream);
  failed(stream);
  return nullptr;
}
dirent* readdir(DIR* folder) {
  REAL(readdir);
  return fails(Call::read) ? nullptr : real(folder);
}
dirent64* readdir64(DIR* folder) {
  REAL(readdir64);
  return fails(Call::read) ? nullptr : real(folder);
}

// Writing. Standard error works always: what went wrong is to be said there.

ssize_t write(int file, const void* bytes, std::size_t size) {
  REAL(write);
  return file != STDERR_FILENO && fails(Call::write) ? -1 : real(file, bytes, size);
}
ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t offset) {
  REAL(pwrite);
  return fails(Call::write) ? -1 : real(file, bytes, size, offset);
}
ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t offset) {
  REAL(pwrite64);
  return fails(Call::write) ? -1 : real(file, bytes, size, offset);
}
ssize_t writev(int file, const iovec* parts, int count) {
  REAL(writev);
  return fails(Call::write) ? -1 : real(file, parts, count);
}
std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count, FILE* stream) {
  REAL(fwrite);
  if (stream == stderr || !fails(Call::write)) return real(bytes, size, count, stream);
  failed(stream);
  return 0;
}
int fflush(FILE* stream) {
  REAL(fflush);
  const bool writes = stream != nullptr && stream != stderr && __fpending(stream) > 0;
  if (!writes || !fails(Call::write)) return real(stream);
  failed(stream);
  return EOF;
}

// Keeping.

int fsync(int file) {
  REAL(fsync);
  return fails(Call::fsync) ? -1 : real(file);
}
int fdatasync(int file) {
  REAL(fdatasync);
  return fails(Call::fsync) ? -1 : real(file);
}
int rename(const char* from, const char* to) {
  REAL(rename);
  return fails(Call::rename) ? -1 : real(from, to);
}
int renameat(int from_folder, const char* from, int to_folder, const char* to) {
  REAL(renameat);
  return fails(Call::rename) ? -1 : real(from_folder, from, to_folder, to);
}
int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  REAL(renameat2);
  return fails(Call::rename) ? -1 : real(from_folder, from, to_folder, to, flags);
}
int link(const char* from, const char* to) {
  REAL(link);
  return fails(Call::link) ? -1 : real(from, to);
}
int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) {
  REAL(linkat);
  return fails(Call::link) ? -1 : real(from_folder, from, to_folder, to, flags);
}
int unlink(const char* path) {
  REAL(unlink);
  return fails(Call::unlink) ? -1 : real(path);
}
int unlinkat(int folder, const char* path, int flags) {
  REAL(unlinkat);
  return fails(Call::unlink) ? -1 : real(folder, path, flags);
}
int ftruncate(int file, off_t size) {
  REAL(ftruncate);
  return fails(Call::ftruncate) ? -1 : real(file, size);
}
int ftruncate64(int file, off64_t size) {
  REAL(ftruncate64);
  return fails(Call::ftruncate) ? -1 : real(file, size);
}
int posix_fallocate(int file, off_t offset, off_t size) {
  REAL(posix_fallocate);
  return fails(Call::ftruncate) ? errno : real(file, offset, size);
}
ssize_t readlink(const char* path, char* text, std::size_t size) {
  REAL(readlink);
  return real(instead(path), text, size);
}
int mkdir(const char* path, mode_t mode) {
  REAL(mkdir);
  return fails(Call::make_folder) ? -1 : real(path, mode);
}
int mkdirat(int folder, const char* path, mode_t mode) {
  REAL(mkdirat);
  return fails(Call::make_folder) ? -1 : real(folder, path, mode);
}
int flock(int file, int operation) {
  REAL(flock);
  return fails(Call::lock) ? -1 : real(file, operation);
}

// Looking.

int stat(const char* path, struct stat* status) {
  static const auto real =
      reinterpret_cast<int (*)(const char*, struct stat*)>(dlsym(RTLD_NEXT, "stat"));
  return fails(Call::stat, path) ? -1 : real(instead(path), status);
}
int lstat(const char* path, struct stat* status) {
  REAL(lstat);
  return fails(Call::stat, path) ? -1 : real(instead(path), status);
}
int fstat(int file, struct stat* status) {
  REAL(fstat);
  return fails(Call::stat) ? -1 : real(file, status);
}
int fstatat(int folder, const char* path, struct stat* status, int flags) {
  REAL(fstatat);
  return fails(Call::stat, path) ? -1 : real(folder, instead(path), status, flags);
}
int getpwuid_r(uid_t user, passwd* entry, char* room, std::size_t size, passwd** found) {
  REAL(getpwuid_r);
  if (!fails(Call::passwd)) return real(user, entry, room, size, found);
  *found = nullptr;
  return errno;
}

// Chance.

ssize_t getrandom(void* bytes, std::size_t size, unsigned flags) {
  REAL(getrandom);
  return fails(Call::getrandom) ? -1 : real(bytes, size, flags);
}
int getentropy(void* bytes, std::size_t size) {
  REAL(getentropy);
  return fails(Call::getrandom) ? -1 : real(bytes, size);
}
long syscall(long number, ...) {
  va_list rest;
  va_start(rest, number);
  long given[6];
  for (long& one : given) one = va_arg(rest, long);
  va_end(rest);
  if (number == SYS_getrandom && fails(Call::getrandom)) return -1;
  REAL(syscall);
  return real(number, given[0], given[1], given[2], given[3], given[4], given[5]);
}

// Memory.

void* mmap(void* place, std::size_t size, int protection, int flags, int file, off_t offset) {
  REAL(mmap);
  return fails(Call::mmap) ? MAP_FAILED : real(place, size, protection, flags, file, offset);
}
void* mmap64(void* place, std::size_t size, int protection, int flags, int file, off64_t offset) {
  REAL(mmap64);
  return fails(Call::mmap) ? MAP_FAILED : real(place, size, protection, flags, file, offset);
}
void* malloc(std::size_t size) {
  return fails(Call::malloc) ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  return fails(Call::malloc) ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  return fails(Call::malloc) ? nullptr : __libc_realloc(memory, size);
}
void* memalign(std::size_t alignment, std::size_t size) {
  return fails(Call::malloc) ? nullptr : __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  void* made = fails(Call::malloc) ? nullptr : __libc_memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *memory = made;
  return 0;
}

// Talking.

ssize_t send(int socket, const void* bytes, std::size_t size, int flags) {
  REAL(send);
  return fails(Call::send) ? -1 : real(socket, bytes, size, flags);
}
ssize_t sendto(int socket, const void* bytes, std::size_t size, int flags, const sockaddr* address,
               socklen_t length) {
  REAL(sendto);
  return fails(Call::send) ? -1 : real(socket, bytes, size, flags, address, length);
}
ssize_t sendmsg(int socket, const msghdr* message, int flags) {
  REAL(sendmsg);
  return fails(Call::send) ? -1 : real(socket, message, flags);
}
ssize_t recv(int socket, void* bytes, std::size_t size, int flags) {
  REAL(recv);
  return fails(Call::receive) ? -1 : real(socket, bytes, size, flags);
}
ssize_t recvmsg(int socket, msghdr* message, int flags) {
  REAL(recvmsg);
  return fails(Call::receive) ? -1 : real(socket, message, flags);
}

}  // extern "C"
