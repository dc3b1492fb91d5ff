#pragma once

#include "enrol/enrol_flow.h"
#include "ui/views/shell.h"

namespace talvane {

/// Call it after a request that may have been the last. Tells the user if this computer's clock is
/// so wrong that the new passcodes will be too.
void tellClockTrouble(const EnrolFlow& flow, Shell& shell);

}  // namespace talvane
