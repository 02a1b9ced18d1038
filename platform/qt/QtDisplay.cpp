#include "platform/qt/QtDisplay.h"

#include <cstdlib>

namespace kelvo::platform {

namespace {

bool Set(const char* name) {
    const char* value = std::getenv(name);
    return value && *value;
}

} // namespace

std::string MissingDisplayReason() {
    if (Set("QT_QPA_PLATFORM") || Set("DISPLAY") || Set("WAYLAND_DISPLAY"))
        return {};
    return "no display to open the window on (neither DISPLAY nor WAYLAND_DISPLAY is set; "
           "QT_QPA_PLATFORM=offscreen renders without one, as --screenshot needs)";
}

} // namespace kelvo::platform
