#pragma once

namespace talvane {

/// Whether the user lets the desktop move things; true where the desktop does not tell, or has not
/// answered yet. The first call asks where answers take time. Main thread.
bool showsAnimations();

}  // namespace talvane
