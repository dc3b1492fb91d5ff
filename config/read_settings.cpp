#include "config/read_settings.h"

#include <string>

#include "config/ini.h"
#include "platform/core_dumps.h"
#include "platform/trace.h"

namespace talvane {
namespace {

void switchTo(bool debug) {
  // Whoever writes seeds to a trace may also keep them in a core dump.
  if (debug) allowCoreDumps();
  talibobjc_Trace::traceOn(debug);
  const std::string line(64, '-');
  talibobjc_Trace::traceNSString(line);
  talibobjc_Trace::traceNSString("Debug started");
  talibobjc_Trace::traceNSString(line);
}

}  // namespace

void readSettingsWithTrace(Ini& ini, std::string_view path) {
  talibobjc_Trace::traceSet(path);
  talibobjc_Trace::traceOn(true);
  ini.read();
  switchTo(ini.bDebug);
}

void readSettingsQuietly(Ini& ini, std::string_view path) {
  talibobjc_Trace::traceSet(path);
  ini.read();
  switchTo(ini.bDebug);
}

}  // namespace talvane
