#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace talvane::testing {

/// A child of the test, killed with it and with its owner.
class ChildProcess {
 public:
  ChildProcess() = default;
  /// Starts the program, found in PATH. It reads `input` and then the end, and what it complains
  /// about is appended to the file `errors`. Whether it runs shows in what it does.
  ChildProcess(const std::vector<std::string>& command, const std::string& errors,
               const std::string& input = {});
  ~ChildProcess();
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;

  /// Sends the signal, if the child has not been waited for.
  void signal(int number) const;
  /// Kills the child and waits until it is gone.
  void kill();
  /// Waits for the child's end and returns its exit status, -1 when a signal ended it; what it
  /// wrote to its standard output goes to `*output`.
  int finish(std::string* output = nullptr);
  /// The next line of the child's output, without its end.
  std::string readLine();

 private:
  void release();

  pid_t pid_ = -1;
  int output_ = -1;
};

}  // namespace talvane::testing
