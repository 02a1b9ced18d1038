// Whether a Qt program can show a window at all, asked before Qt is started.
#pragma once

#include <string>

namespace kelvo::platform {

/// Empty when a window can be shown; else why not, in words for a terminal.
/// Qt's default platform needs an X11 or Wayland display and, without one,
/// aborts the program with a message about plugins. A QT_QPA_PLATFORM the
/// user chose (offscreen for screenshots, a framebuffer...) is trusted.
std::string MissingDisplayReason();

} // namespace kelvo::platform
