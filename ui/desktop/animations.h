#pragma once

namespace talvane {

/// Whether the user lets the desktop move things; true where the desktop does not tell.
bool showsAnimations();

}  // namespace talvane
