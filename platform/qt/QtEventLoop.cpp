// The panel's one-shot timers as QTimers on the thread's Qt event loop.
#include "platform/qt/QtEventLoop.h"

#include <cmath>
#include <limits>

#include <QTimer>

namespace kelvo::platform {

namespace {

/// Milliseconds for a delay in seconds: 0 (the loop's next turn) for zero,
/// negative or NaN, and at most what a QTimer's int interval holds.
int IntervalMs(double seconds) {
    if (!(seconds > 0))
        return 0;
    const double ms = std::ceil(seconds * 1000.0);
    constexpr double kMax = static_cast<double>(std::numeric_limits<int>::max());
    return ms >= kMax ? std::numeric_limits<int>::max() : static_cast<int>(ms);
}

} // namespace

QtEventLoop::QtEventLoop() = default;

// The timers are children of mOwner and go with it; clearing the map first
// keeps a callback from running on a half-destroyed loop.
QtEventLoop::~QtEventLoop() {
    for (auto& [id, timer] : mTimers)
        timer->stop();
    mTimers.clear();
}

TimerId QtEventLoop::InstallTimer(double seconds, std::function<void()> callback) {
    const TimerId id = mNext++;
    auto* timer = new QTimer(&mOwner);
    timer->setSingleShot(true);
    timer->setInterval(IntervalMs(seconds));
    // Forget the timer before the callback runs: the callback may install
    // new timers or remove any (its own id then answers false, as it has
    // fired), and the map must already say so.
    QObject::connect(timer, &QTimer::timeout, timer, [this, id, timer, callback = std::move(callback)]() mutable {
        mTimers.erase(id);
        timer->deleteLater();
        // The timer (and so this lambda) lives until deleteLater runs on a
        // later turn of the loop; moving the callback out keeps it alive
        // even if it removes every timer of the loop.
        const std::function<void()> run = std::move(callback);
        if (run)
            run();
    });
    mTimers.emplace(id, timer);
    timer->start();
    return id;
}

bool QtEventLoop::RemoveTimer(TimerId id) {
    const auto found = mTimers.find(id);
    if (found == mTimers.end())
        return false;
    QTimer* timer = found->second;
    mTimers.erase(found);
    timer->stop();
    // Removal may come from inside another timer's callback; deleting
    // later is safe whichever timer is on the stack.
    timer->deleteLater();
    return true;
}

} // namespace kelvo::platform
