// One-shot timers on the host's event loop: how the panel polls the helper without blocking the dialog.
#pragma once

#include <cstdint>
#include <functional>

namespace kelvo::platform {

/// Names an installed timer; 0 is never handed out.
using TimerId = std::uint64_t;

/// The host's event loop, seen from the panel: a toolkit's loop in the
/// desktop host, PollEventLoop in the command-line host and tests. Every
/// callback runs on the loop's thread, never inside the call that installs it.
class EventLoop {
public:
    virtual ~EventLoop() = default;
    /// Runs `callback` once, `seconds` from now (0 or less, or not a number:
    /// at the loop's next turn). A callback may install timers, itself
    /// again included (re-arming is how a poll repeats), and remove any.
    virtual TimerId InstallTimer(double seconds, std::function<void()> callback) = 0;
    /// Cancels a timer that has not fired; false when `id` is unknown,
    /// has fired or was removed already.
    virtual bool RemoveTimer(TimerId id) = 0;
};

} // namespace kelvo::platform
