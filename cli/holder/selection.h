#pragma once

#include <memory>
#include <string>

#include "cli/holder/deadline.h"
#include "engine/cleared.h"

namespace talvane {

/// The desktop's clipboard, in our own hands.
class Selection {
 public:
  Selection() = default;
  virtual ~Selection() = default;
  Selection(const Selection&) = delete;
  Selection& operator=(const Selection&) = delete;

  /// Hands the text out until the deadline, or until another program takes the clipboard. At the
  /// deadline the clipboard is left empty.
  virtual void serve(const Deadline& deadline) = 0;
};

/// Takes the clipboard to hand out a short text, marked as secret so that clipboard managers do not
/// keep it. Null if that cannot be done here.
std::unique_ptr<Selection> takeSelection(const Cleared<std::string>& text);

}  // namespace talvane
