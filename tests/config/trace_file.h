#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/trace.h"
#include "tests/support/temporary_folder.h"

namespace talvane::test {

/// The texts of a trace file's entries, without their headers.
inline std::vector<std::string> textsOf(const std::string& trace) {
  std::vector<std::string> texts;
  std::size_t begin = 0;
  while (begin < trace.size()) {
    const std::size_t end = trace.find("\r\n", begin);
    const std::size_t header = trace.find("] ", begin);
    if (end == std::string::npos || header == std::string::npos || header > end) {
      ADD_FAILURE() << "not a trace: " << trace.substr(begin, 100);
      break;
    }
    texts.push_back(trace.substr(header + 2, end - header - 2));
    begin = end + 2;
  }
  return texts;
}

/// Traces into a file of its own to the end of the scope.
class TraceFile {
 public:
  TraceFile() {
    talibobjc_Trace::traceSet(path());
    talibobjc_Trace::traceOn(true);
  }
  ~TraceFile() { talibobjc_Trace::traceOn(false); }
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  [[nodiscard]] std::string path() const { return folder_ / "trace.txt"; }
  [[nodiscard]] std::vector<std::string> texts() const { return textsOf(readFile(path())); }

 private:
  TemporaryFolder folder_;
};

}  // namespace talvane::test
