// Shared segments in a process-wide table: the System V semantics without the kernel, for tests.
#pragma once

#include <sys/types.h>

#include "platform/SharedSegment.h"

namespace kelvo::platform {

/// Every instance sees the same table, as every process sees the kernel's,
/// so a panel and a simulated helper in one test process exchange bytes
/// through it. An instance acts as one user (the effective user unless
/// given): segments belong to the user that created them, and another
/// user's Attach and Remove are refused, as with the real ones. Removal
/// marks a segment; it goes when its last attachment is destroyed, and a
/// marked segment can still be attached. Safe to use from several threads.
class InMemorySharedSegments final : public SharedSegments {
public:
    InMemorySharedSegments();
    explicit InMemorySharedSegments(uid_t user) : mUser(user) {}

    /// EINVAL for size 0, as shmget; ids are never reused within the process.
    std::unique_ptr<SharedSegment> Create(std::size_t size, int& error) override;
    /// EINVAL for an id not in the table, EACCES for another user's.
    std::unique_ptr<SharedSegment> Attach(int id, int& error) override;
    bool Remove(int id) override;

    /// How many segments the table holds, marked ones included: a test's
    /// check that nothing outlives the exchange.
    static std::size_t Count();

private:
    uid_t mUser;
};

} // namespace kelvo::platform
