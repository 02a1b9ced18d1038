// The panel's timers on Qt's event loop.
#pragma once

#include <functional>
#include <map>

#include <QObject>

#include "platform/EventLoop.h"

class QTimer;

namespace kelvo::platform {

/// One-shot QTimers on the thread's Qt event loop (a QCoreApplication must
/// exist). Callbacks run from the loop, never inside InstallTimer.
class QtEventLoop final : public EventLoop {
public:
    QtEventLoop();
    ~QtEventLoop() override;
    TimerId InstallTimer(double seconds, std::function<void()> callback) override;
    bool RemoveTimer(TimerId id) override;
    /// Timers installed and not yet fired or removed.
    std::size_t Pending() const { return mTimers.size(); }

private:
    QObject mOwner; // parent of every timer: they go with the loop
    std::map<TimerId, QTimer*> mTimers;
    TimerId mNext = 1;
};

} // namespace kelvo::platform
