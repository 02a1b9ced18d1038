// Starting programs with posix_spawn, detached: own session, standard streams on /dev/null.
#pragma once

#include <set>

#include "platform/ProcessLauncher.h"

namespace kelvo::platform {

/// The real launcher. A started program runs in a session of its own (no
/// terminal signals from the dialog's session reach it), with its standard
/// streams on /dev/null, no descriptor of ours but those, an empty signal
/// mask and the usual signals at their default action, and our environment.
class PosixProcessLauncher final : public ProcessLauncher {
public:
    int Launch(const std::vector<std::string>& arguments, pid_t& pid) override;
    std::size_t Reap() override;
    std::size_t Running() const override { return mChildren.size(); }

private:
    std::set<pid_t> mChildren;
};

} // namespace kelvo::platform
