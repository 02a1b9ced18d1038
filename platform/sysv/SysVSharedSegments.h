// Shared segments in System V shared memory, as the panel and the job-properties helper use them.
#pragma once

#include "platform/SharedSegment.h"

namespace kelvo::platform {

/// Segments made with shmget and reached by their id. Only segments of our
/// own user are ever attached or removed: the panel's segment carries every
/// setting, passwords included, so a segment someone else planted under an
/// id we were handed is refused rather than read.
class SysVSharedSegments final : public SharedSegments {
public:
    /// shmget(IPC_PRIVATE, size, 0600), attached and zero-filled. Mode 0600
    /// keeps other local users out (with a private key the low nine bits of
    /// the flags are the segment's mode). On an attach failure the new
    /// segment is removed again. `error`: the errno value (EINVAL for size 0).
    std::unique_ptr<SharedSegment> Create(std::size_t size, int& error) override;
    /// Attaches `id` after IPC_STAT: its size comes from there, and a segment
    /// whose owner is not our effective user is refused with EACCES. A
    /// segment already marked for removal can still be attached (Linux).
    std::unique_ptr<SharedSegment> Attach(int id, int& error) override;
    /// IPC_RMID on a segment of ours; false for a missing or foreign one.
    bool Remove(int id) override;
};

} // namespace kelvo::platform
