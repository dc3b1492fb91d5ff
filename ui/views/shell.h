#pragma once

#include <QString>

#include <cstdint>
#include <string>

#include "ui/panel/soft_token_window.h"

namespace talvane {

/// A passcode for the pasteboard.
struct PasscodeToCopy {
  QString digits;
  std::string token;         // its name
  std::int64_t expires = 0;  // in seconds since the Unix epoch
  bool is_next = false;      // not valid yet when it was shown
};

/// The views' interface to the rest of the program.
class Shell {
 public:
  virtual ~Shell() = default;

  /// Opens the view for adding a token that the settings allow.
  virtual void addclicked(SoftTokenWindow* fromWindow) = 0;
  /// Shows the user a message, and returns when they close it.
  virtual void simpleMessageBox(const QString& text) = 0;
  virtual void menuExit() = 0;
  /// Puts the passcode on the pasteboard, tells the user so, and clears the pasteboard after a
  /// time.
  virtual void copyPasscode(const PasscodeToCopy& passcode) = 0;
};

}  // namespace talvane
