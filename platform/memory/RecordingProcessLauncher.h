// A launcher that starts nothing: it records what would have been started, for tests.
#pragma once

#include <set>

#include "platform/ProcessLauncher.h"

namespace kelvo::platform {

/// Records each Launch's argument vector and hands out made-up process ids
/// (from 10000 up). A test sets the error the next launches give, and
/// decides when a "process" ends (Finish) for Reap to collect.
class RecordingProcessLauncher final : public ProcessLauncher {
public:
    /// Records `arguments` even when failing, so a test sees the attempt.
    int Launch(const std::vector<std::string>& arguments, pid_t& pid) override;
    std::size_t Reap() override;
    std::size_t Running() const override { return mRunning.size(); }

    /// Every launch's argument vector, in order.
    const std::vector<std::vector<std::string>>& Launches() const { return mLaunches; }
    /// The errno value later launches return (0: they succeed).
    void FailWith(int error) { mError = error; }
    /// Marks `pid` as ended; false when it is not running.
    bool Finish(pid_t pid);

private:
    std::vector<std::vector<std::string>> mLaunches;
    std::set<pid_t> mRunning;
    std::set<pid_t> mEnded;
    pid_t mNextPid = 10000;
    int mError = 0;
};

} // namespace kelvo::platform
