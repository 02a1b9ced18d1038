// Shared segments in System V shared memory, as the panel and the job-properties helper use them.
#include "platform/sysv/SysVSharedSegments.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kelvo::platform {

namespace {

/// One attachment; detaching is the destructor's job.
class SysVSegment final : public SharedSegment {
public:
    SysVSegment(int id, void* address, std::size_t size)
        : mId(id), mAddress(static_cast<std::uint8_t*>(address)), mSize(size) {}
    ~SysVSegment() override { shmdt(mAddress); }
    SysVSegment(const SysVSegment&) = delete;
    SysVSegment& operator=(const SysVSegment&) = delete;

    int Id() const override { return mId; }
    std::span<std::uint8_t> Bytes() override { return {mAddress, mSize}; }

private:
    int mId;
    std::uint8_t* mAddress;
    std::size_t mSize;
};

/// IPC_STAT of `id`, refusing a segment another user owns. 0 or an errno value.
int StatOwn(int id, shmid_ds& status) {
    if (id < 0)
        return EINVAL;
    if (shmctl(id, IPC_STAT, &status) != 0)
        return errno;
    if (status.shm_perm.uid != geteuid())
        return EACCES;
    return 0;
}

} // namespace

std::unique_ptr<SharedSegment> SysVSharedSegments::Create(std::size_t size, int& error) {
    error = 0;
    if (size == 0) {
        error = EINVAL;
        return nullptr;
    }
    const int id = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
    if (id < 0) {
        error = errno;
        return nullptr;
    }
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        error = errno;
        shmctl(id, IPC_RMID, nullptr);
        return nullptr;
    }
    // The kernel hands out zeroed pages already; the layout's readers rely
    // on the zeros, so they are not left to that.
    std::memset(address, 0, size);
    return std::make_unique<SysVSegment>(id, address, size);
}

std::unique_ptr<SharedSegment> SysVSharedSegments::Attach(int id, int& error) {
    shmid_ds status{};
    error = StatOwn(id, status);
    if (error != 0)
        return nullptr;
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
        error = errno;
        return nullptr;
    }
    return std::make_unique<SysVSegment>(id, address, static_cast<std::size_t>(status.shm_segsz));
}

bool SysVSharedSegments::Remove(int id) {
    shmid_ds status{};
    if (StatOwn(id, status) != 0)
        return false;
    return shmctl(id, IPC_RMID, nullptr) == 0;
}

} // namespace kelvo::platform
