#pragma once

// One plain-text file of diagnostic lines for the whole process. Every entry opens, writes and
// closes the file, so it is on disk when its write returns. Any thread; no lock. All failures are
// silent. Seeds appear in the trace by design, so the file gets mode 0600, even if it exists; a
// link or another user's file gets nothing.

#include <fmt/core.h>

#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

namespace talvane {

class talibobjc_Trace {
 public:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  using Handle = std::unique_ptr<std::FILE, FileCloser>;

  /// Sets the file (expands "~"), switches tracing off, and sets the size limit to one unit of 4
  /// MiB. Call it before other threads trace.
  static void traceSet(std::string_view path);
  static void traceOn(bool on);
  static bool isOn();

  /// Opens the file and writes the header "HH:MM:SS [PID] " (local time; the process id with at
  /// least five digits). A file over the size limit is emptied first. Returns null if tracing is
  /// off or the file cannot be opened.
  static Handle traceOpen();
  static void traceClose(Handle handle);

  /// One entry: header, text, CR LF.
  static void traceNSString(std::string_view text);

  template <typename... Args>
  static void traceWithFormat(fmt::format_string<Args...> format, Args&&... args) {
    if (isOn()) traceNSString(fmt::format(format, std::forward<Args>(args)...));
  }
};

}  // namespace talvane
