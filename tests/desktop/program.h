#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/until.h"

namespace talvane::test {

using Strings = std::vector<std::string>;

/// A program of the desktop, in a process group of its own that ends with its owner, and with the
/// test whatever happens to that.
class Program {
 public:
  Program() = default;
  /// Starts the program, found in the test's PATH; what it writes is appended to the file `output`.
  Program(const Strings& command, const Strings& environment, const std::string& output);
  ~Program();
  Program(Program&& other) noexcept;
  Program& operator=(Program&& other) noexcept;

  [[nodiscard]] pid_t id() const { return id_; }
  [[nodiscard]] bool runs();
  /// Waits for its end. The exit code; −N when signal N ended it; nothing when it still runs.
  std::optional<int> end(std::chrono::milliseconds patience = std::chrono::seconds(10));
  void signal(int number) const;
  /// Kills the group and waits until the program is gone.
  void kill();

 private:
  pid_t id_ = -1;
  std::optional<int> end_;
};

/// From now on the children of this process's children come to it when their parents end.
void adoptOrphans();
/// Kills the children, and theirs, that are left, after they had a second to end; the names of
/// those killed.
Strings killLeftovers();

}  // namespace talvane::test
