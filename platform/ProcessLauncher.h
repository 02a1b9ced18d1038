// Starting the job-properties helper as a program of its own, in the background.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kelvo::platform {

/// Starts programs detached from the caller and collects them when they end.
class ProcessLauncher {
public:
    virtual ~ProcessLauncher() = default;
    /// Starts `arguments[0]` (a path: no search, no shell, so blanks and
    /// quotes in it or in any argument are plain characters) with the whole
    /// vector as its argument list, and returns at once. 0 with `pid` set,
    /// or an errno value (ENOENT for a missing program, EACCES for one that
    /// may not be run, EINVAL for an empty vector).
    virtual int Launch(const std::vector<std::string>& arguments, pid_t& pid) = 0;
    /// Collects the started programs that have ended, without waiting, so
    /// none stays behind as a zombie; only our own children are touched,
    /// never others of the host process. Returns how many were collected.
    /// Call it now and then (the panel does from its timer).
    virtual std::size_t Reap() = 0;
    /// How many started programs have not been collected yet.
    virtual std::size_t Running() const = 0;
};

} // namespace kelvo::platform
