#pragma once

namespace talvane {

// Main thread only.

/// Asks ahead where the desktop takes time to answer. Optional.
void prepareAnimations();

/// Whether the user lets the desktop move things; true where the desktop does not tell, or has not
/// answered yet.
bool showsAnimations();

}  // namespace talvane
