#pragma once

#include <string>
#include <utility>
#include <vector>

namespace talvane::torture {

/// One line of a table: handed to the file that SOFTTOKEN_TORTURE_ROWS names when it ends, which
/// script/torture reads.
class Row {
 public:
  explicit Row(std::string name) : name_(std::move(name)) {}
  ~Row();
  Row(const Row&) = delete;
  Row& operator=(const Row&) = delete;

  void run() { ++runs_; }
  /// Trouble that was made came about.
  void hit(long count = 1) { hits_ += count; }
  /// A crash that is a library's own way to end.
  void spare() { ++spared_; }
  /// What is wrong, and where it came about.
  void fail(std::string what, std::string where = {});
  void note(std::string words) { notes_.push_back(std::move(words)); }

 private:
  std::string name_;
  long runs_ = 0;
  long hits_ = 0;
  long spared_ = 0;
  std::vector<std::pair<std::string, std::string>> failures_;
  std::vector<std::string> notes_;
};

/// Whether a sample is enough.
bool isShort();

}  // namespace talvane::torture
