#pragma once

#include <QString>

namespace talvane {

/// Shows the user a line of plain text for a few seconds, beside whatever they do, if the desktop
/// can. Does not wait for the desktop.
void notify(const QString& text);

}  // namespace talvane
