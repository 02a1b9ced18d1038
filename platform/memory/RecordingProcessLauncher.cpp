// A launcher that starts nothing: it records what would have been started, for tests.
#include "platform/memory/RecordingProcessLauncher.h"

#include <cerrno>

namespace kelvo::platform {

int RecordingProcessLauncher::Launch(const std::vector<std::string>& arguments, pid_t& pid) {
    mLaunches.push_back(arguments);
    if (arguments.empty() || arguments.front().empty())
        return EINVAL;
    if (mError != 0)
        return mError;
    pid = mNextPid++;
    mRunning.insert(pid);
    return 0;
}

std::size_t RecordingProcessLauncher::Reap() {
    const std::size_t collected = mEnded.size();
    for (const pid_t pid : mEnded)
        mRunning.erase(pid);
    mEnded.clear();
    return collected;
}

bool RecordingProcessLauncher::Finish(pid_t pid) {
    if (mRunning.count(pid) == 0 || mEnded.count(pid) != 0)
        return false;
    mEnded.insert(pid);
    return true;
}

} // namespace kelvo::platform
