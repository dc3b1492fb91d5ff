#pragma once

#include <QString>

#include "ui/panel/soft_token_window.h"

namespace talvane {

/// The views' interface to the rest of the program.
class Shell {
 public:
  virtual ~Shell() = default;

  /// Opens the view for adding a token that the settings allow.
  virtual void addclicked(SoftTokenWindow* fromWindow) = 0;
  /// Shows the user a message, and returns when they close it.
  virtual void simpleMessageBox(const QString& text) = 0;
  virtual void menuExit() = 0;
};

}  // namespace talvane
