#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

namespace talvane {

/// Whether the session is one of this desktop, by its registered name (XDG_CURRENT_DESKTOP of the
/// Desktop Entry Specification).
inline bool isCurrentDesktop(const char* name) {
  return qEnvironmentVariable("XDG_CURRENT_DESKTOP")
      .split(QLatin1Char(':'))
      .contains(QLatin1String(name));
}

}  // namespace talvane
