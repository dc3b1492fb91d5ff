#pragma once

// How a test tells the preloaded library which calls of a program fail, and sees what came of it: a
// file of this layout that both map. The program finds it by the environment variable
// SOFTTOKEN_FAULTS. tests/torture/faults.py knows the layout too.
//
// Apart from that, SOFTTOKEN_INSTEAD=PATH=OTHER has the program find OTHER wherever it looks for
// PATH or for what is below it.

#include <cstdint>

namespace talvane::torture {

/// What fails; functions of one purpose count together (open, openat, fopen, opendir...).
enum class Call : std::uint32_t {
  none,
  open,
  read,
  write,
  fsync,
  rename,
  link,
  ftruncate,
  mmap,
  getrandom,
  malloc,
  send,
  receive,
  stat,
  lock,
  make_folder,
  unlink,
  passwd,  // the user database: fails with an error, or, with the error 0, knows nobody
};

struct FaultControl {
  Call call;
  std::int32_t error;  // errno
  // The first and the last call that fail, from 1.
  std::int64_t first;
  std::int64_t last;
  // Names of modules between spaces, or their beginnings followed by "*": what they call does not
  // fail and does not count.
  char spared[512];
  char only[256];  // part of the path of the files that count; empty: all do

  // Written by the program.
  std::int64_t calls;
  std::int64_t hits;
  std::int64_t spared_calls;
  char where[1024];  // the first hit's callers as "module+offset", innermost first
};

static_assert(sizeof(FaultControl) == 24 + 512 + 256 + 24 + 1024);

}  // namespace talvane::torture
