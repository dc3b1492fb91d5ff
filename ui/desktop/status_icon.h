#pragma once

#include <QIcon>

namespace talvane {

/// The program's icon for the status area, in every size that status areas show it in.
QIcon statusIcon();

}  // namespace talvane
