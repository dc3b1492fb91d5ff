#pragma once

#include <QKeyEvent>

namespace talvane {

/// The digit printed on the key in the upper row, 1 to 9, whatever character it types with the
/// present modifiers and layout; 0 for every other key.
int digitOnKey(const QKeyEvent& event);

}  // namespace talvane
