#pragma once

namespace talvane {

/// Applies the look to the whole program, with its menus and tool tips.
void applyLook();

}  // namespace talvane
