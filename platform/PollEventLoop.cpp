// A small event loop over poll(2): timers and readable descriptors, for the command line and tests.
#include "platform/PollEventLoop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <string>

#include "util/Log.h"

namespace kelvo::platform {

TimerId PollEventLoop::InstallTimer(double seconds, std::function<void()> callback) {
    Clock::duration delay{0};
    // An hour is far beyond any use here; the bound keeps the conversion
    // from overflowing on absurd values.
    if (std::isfinite(seconds) && seconds > 0)
        delay = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(std::min(seconds, 3600.0)));
    const TimerId id = mNextId++;
    const Clock::time_point due = Clock::now() + delay;
    mTimers.emplace(std::pair(due, id), std::move(callback));
    mDue.emplace(id, due);
    return id;
}

bool PollEventLoop::RemoveTimer(TimerId id) {
    const auto found = mDue.find(id);
    if (found == mDue.end())
        return false;
    mTimers.erase(std::pair(found->second, id));
    mDue.erase(found);
    return true;
}

TimerId PollEventLoop::WatchFd(int fd, FdCallback callback) {
    const TimerId id = mNextId++;
    mWatches.push_back({id, fd, std::move(callback)});
    return id;
}

bool PollEventLoop::UnwatchFd(TimerId id) {
    const auto found = std::find_if(mWatches.begin(), mWatches.end(), [id](const Watch& w) { return w.id == id; });
    if (found == mWatches.end())
        return false;
    mWatches.erase(found);
    return true;
}

bool PollEventLoop::RunOnce(Clock::duration maxWait) {
    Clock::duration wait = std::max(maxWait, Clock::duration::zero());
    if (!mTimers.empty())
        wait = std::clamp(mTimers.begin()->first.first - Clock::now(), Clock::duration::zero(), wait);
    // Rounded up: waking a little before a timer's due time would only
    // spin through another turn.
    const auto waitMs = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
    const int pollMs = static_cast<int>(std::min<decltype(waitMs)>(waitMs, 1 << 30));

    std::vector<pollfd> fds;
    std::vector<TimerId> polled;
    for (const Watch& watch : mWatches) {
        fds.push_back({watch.fd, POLLIN, 0});
        polled.push_back(watch.id);
    }

    bool ran = false;
    const int ready = poll(fds.data(), fds.size(), pollMs);
    if (ready < 0 && errno != EINTR)
        Log(std::string("event loop: poll failed: ") + std::strerror(errno));
    if (ready > 0) {
        for (std::size_t i = 0; i < fds.size(); ++i) {
            if (fds[i].revents == 0)
                continue;
            // Looked up again: an earlier callback may have ended this watch.
            const auto found = std::find_if(mWatches.begin(), mWatches.end(),
                                            [&](const Watch& w) { return w.id == polled[i]; });
            if (found == mWatches.end())
                continue;
            const FdCallback callback = found->callback;
            callback(fds[i].revents);
            ran = true;
        }
    }

    // The timers due now, fixed before any of them runs, so a callback that
    // re-arms itself with no delay runs once per turn, not for ever.
    const Clock::time_point now = Clock::now();
    std::vector<TimerId> due;
    for (const auto& [key, callback] : mTimers) {
        if (key.first > now)
            break;
        due.push_back(key.second);
    }
    for (const TimerId id : due) {
        const auto when = mDue.find(id);
        if (when == mDue.end())
            continue; // removed by an earlier callback of this turn
        const auto entry = mTimers.find(std::pair(when->second, id));
        std::function<void()> callback = std::move(entry->second);
        mTimers.erase(entry);
        mDue.erase(when);
        callback();
        ran = true;
    }
    return ran;
}

bool PollEventLoop::RunUntil(const std::function<bool()>& done, Clock::duration timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    for (;;) {
        if (done())
            return true;
        const Clock::time_point now = Clock::now();
        if (now >= deadline)
            return false;
        RunOnce(deadline - now);
    }
}

} // namespace kelvo::platform
