#include "ui/views/enrolment_ending.h"

#include "enrol/clock_trouble.h"
#include "enrol/enrol_flow.h"
#include "ui/views/shell.h"

namespace talvane {

void tellClockTrouble(const EnrolFlow& flow, Shell& shell) {
  const auto& ending = flow.ending();
  if (!ending || !ending->stored || !ending->server_ahead) return;
  if (const auto words = clockTrouble(*ending->server_ahead)) {
    shell.simpleMessageBox(QString::fromStdString(*words));
  }
}

}  // namespace talvane
