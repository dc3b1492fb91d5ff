#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace talvane::test {

/// How a program ended and what it wrote.
struct Ended {
  int exit_code = -1;      // -1: it did not end by itself
  int signal = 0;          // what ended it, if a signal did
  bool timed_out = false;  // it was killed because it took too long
  std::string out;
  std::string err;
};

/// Where a program's standard streams lead, when not to pipes of ours.
struct Streams {
  static constexpr const char* closed = "closed";

  std::string_view input = {};       // its standard input, whole
  const char* input_file = nullptr;  // a path, or `closed`
  const char* out_file = nullptr;
  const char* err_file = nullptr;
};

/// Runs a program, found in the PATH of `environment` ("NAME=value" each), to its end or for at
/// most `patience`. Several threads may do so at once.
Ended runProcess(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment, const Streams& streams = {},
                 std::chrono::seconds patience = std::chrono::seconds(60));

/// A program that is still running, without input. Its end kills it.
class RunningProcess {
 public:
  RunningProcess(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment, const Streams& streams = {});
  ~RunningProcess();
  RunningProcess(const RunningProcess&) = delete;
  RunningProcess& operator=(const RunningProcess&) = delete;

  /// Feeds its standard input and collects what it writes until it ends. Once.
  Ended finish(std::chrono::seconds patience);

  /// How much of its input the program, or the pipe to it, has taken.
  [[nodiscard]] std::size_t consumed() const { return consumed_; }

 private:
  void close();

  std::string input_;
  std::size_t consumed_ = 0;
  int child_ = -1;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
};

}  // namespace talvane::test
