#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/holder/deadline.h"
#include "engine/cleared.h"
#include "platform/file_descriptor.h"

namespace talvane {

/// A program of the desktop that copies its standard input to the clipboard.
struct Tool {
  using Command = std::vector<const char*>;
  Command copy;
  Command clear;
  /// Prints what the clipboard holds, for a tool that does not stay in the background until another
  /// program takes the clipboard; empty for one that does.
  Command paste{};
};

/// The clipboard in the hands of a tool.
class ToolCopy {
 public:
  /// Copies the text; nullopt if the tool is missing or fails.
  static std::optional<ToolCopy> make(const Tool& tool, const Cleared<std::string>& text);

  /// Waits for the deadline and clears the clipboard, unless another program takes it before.
  void clearAt(const Deadline& deadline) const;

 private:
  Tool tool_;
  Cleared<std::string> text_;
  FileDescriptor end_;  // readable when the tool in the background has ended
};

}  // namespace talvane
