#pragma once

#include <QString>

#include "ui/panel/soft_token_window.h"

namespace talvane {

/// What the views ask of the program around them.
class Shell {
 public:
  virtual ~Shell() = default;

  /// Chooses the way to add a token that the settings allow, and goes there.
  virtual void addclicked(SoftTokenWindow* fromWindow) = 0;
  /// Tells the user something, and returns when they have read it.
  virtual void simpleMessageBox(const QString& text) = 0;
  virtual void menuExit() = 0;
};

}  // namespace talvane
