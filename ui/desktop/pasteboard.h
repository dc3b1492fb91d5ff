#pragma once

#include <QString>

namespace talvane {

/// Clears the general pasteboard and puts the text on it as plain text, with the hint that keeps
/// clipboard managers from storing it.
void copySecret(const QString& text);

}  // namespace talvane
