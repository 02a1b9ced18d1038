// A small event loop over poll(2): timers and readable descriptors, for the command line and tests.
#pragma once

#include <chrono>
#include <map>
#include <utility>
#include <vector>

#include "platform/EventLoop.h"

namespace kelvo::platform {

/// Timers fire in the order of their due times, timers due at the same time
/// in the order they were installed. Watched descriptors are polled between
/// timers; a watch is level-triggered, so its callback must consume what
/// made the descriptor ready. Not thread-safe: one thread runs and uses it.
class PollEventLoop final : public EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    /// Called with poll's revents for the descriptor.
    using FdCallback = std::function<void(short events)>;

    TimerId InstallTimer(double seconds, std::function<void()> callback) override;
    bool RemoveTimer(TimerId id) override;

    /// Calls `callback` whenever `fd` polls readable (or reports an error or
    /// hang-up). Returns the watch's id, for UnwatchFd.
    TimerId WatchFd(int fd, FdCallback callback);
    /// Ends a watch; false when `id` is not one.
    bool UnwatchFd(TimerId id);

    /// One turn: waits until the earliest timer is due, a watched descriptor
    /// is ready, or `maxWait` has passed, then runs the callbacks of the
    /// ready descriptors and of the timers due by then (those installed by
    /// these callbacks wait for the next turn). Whether any callback ran.
    bool RunOnce(Clock::duration maxWait);
    /// Turns until `done()` holds (checked first, and after every turn) or
    /// `timeout` has passed. Whether `done()` held. A turn without timers or
    /// watches waits the whole time left: `done()` should be made true by
    /// the loop's own callbacks (a re-arming timer polls other state).
    bool RunUntil(const std::function<bool()>& done, Clock::duration timeout);

    /// How many timers are waiting.
    std::size_t PendingTimers() const { return mTimers.size(); }

private:
    struct Watch {
        TimerId id;
        int fd;
        FdCallback callback;
    };

    /// Timers by (due time, id): the first entry is the next to fire.
    std::map<std::pair<Clock::time_point, TimerId>, std::function<void()>> mTimers;
    std::map<TimerId, Clock::time_point> mDue;
    std::vector<Watch> mWatches;
    TimerId mNextId = 1;
};

} // namespace kelvo::platform
