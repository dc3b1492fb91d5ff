#include <CoreFoundation/CoreFoundation.h>

#include "ui/desktop/animations.h"

namespace talvane {

void prepareAnimations() {}

// "Reduce motion" in the accessibility settings.
bool showsAnimations() {
  return CFPreferencesGetAppBooleanValue(CFSTR("reduceMotion"), CFSTR("com.apple.universalaccess"),
                                         nullptr) == 0;
}

}  // namespace talvane
