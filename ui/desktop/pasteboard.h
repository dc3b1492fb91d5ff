#pragma once

#include <QString>

namespace talvane {

/// Clears the general pasteboard and puts the text on it as plain text, with the hint that tells
/// clipboard managers not to store it.
void copySecret(const QString& text);

/// Clears the general pasteboard if it still holds what `copySecret` put there last. Does not wait
/// for other programs.
void clearSecret();

}  // namespace talvane
