// The helper's window mode: each request shown in the job-properties window.
#pragma once

#include <functional>
#include <string_view>

#include "WindowScript.h"

namespace kelvo::panel {
class SharedMemoryList;
}
namespace kelvo::platform {
class SharedSegments;
}

namespace kelvo::jphelper {

/// Whether this build has the window (Qt was there when it was built).
bool WindowBuilt();

/// Whether a window can be shown: a platform is named (QT_QPA_PLATFORM) or
/// a display is there (DISPLAY, WAYLAND_DISPLAY). Without one Qt would end
/// the process, so the helper answers without a window instead.
bool WindowPossible();

/// Whether somebody can see and answer a window: a display is there and the
/// platform is not one that draws nowhere ("offscreen", "minimal"). A
/// window nobody can answer would hold the panel for ever, so without a
/// window script such a helper answers without one.
bool WindowAnswerable();

/// Ends the application if a request made one. Called while main's locals
/// still live: Qt must not be torn down among the static destructors.
void EndWindows();

/// Serves one request in the window and answers it (settings, then the
/// status): 0 for OK, 1 for Cancel. The application is made on the first
/// call, so a helper that never gets a request costs no Qt start. With
/// `script`, its steps run once the window is up; `say` reports a step that
/// could not be done (an unknown keyword, a screenshot not written).
long ServeWithWindow(panel::SharedMemoryList& view, platform::SharedSegments& segments, int segmentId,
                     const WindowScript* script, const std::function<void(std::string_view)>& say);

} // namespace kelvo::jphelper
