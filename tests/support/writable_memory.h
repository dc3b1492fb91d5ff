#pragma once

#include <sys/types.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace talvane::test {

/// A piece of memory that a process can write to.
struct WritableMemory {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
  std::string line;  // of the system's list, proc_pid_maps(5)
};

/// All of them; none where the system has no such list.
inline std::vector<WritableMemory> writableMemory(pid_t process) {
  std::vector<WritableMemory> pieces;
  std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    WritableMemory piece;
    char dash = 0;
    std::string rights;
    std::istringstream(line) >> std::hex >> piece.begin >> dash >> piece.end >> rights;
    if (!rights.starts_with("rw")) continue;
    piece.line = line;
    pieces.push_back(piece);
  }
  return pieces;
}

}  // namespace talvane::test
