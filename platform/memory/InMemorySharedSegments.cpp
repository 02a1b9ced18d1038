// Shared segments in a process-wide table: the System V semantics without the kernel, for tests.
#include "platform/memory/InMemorySharedSegments.h"

#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <vector>

namespace kelvo::platform {

namespace {

struct Entry {
    uid_t owner = 0;
    std::vector<std::uint8_t> bytes;
    int attachments = 0;
    bool removed = false;
};

/// The table and its lock. The entries are node-based (std::map), so a
/// segment's bytes stay where they are while other entries come and go.
struct Table {
    std::mutex lock;
    std::map<int, Entry> entries;
    int nextId = 1;
};

Table& TheTable() {
    static Table table;
    return table;
}

class InMemorySegment final : public SharedSegment {
public:
    InMemorySegment(int id, std::span<std::uint8_t> bytes) : mId(id), mBytes(bytes) {}
    ~InMemorySegment() override {
        Table& table = TheTable();
        const std::lock_guard guard(table.lock);
        const auto found = table.entries.find(mId);
        if (found == table.entries.end())
            return;
        if (--found->second.attachments == 0 && found->second.removed)
            table.entries.erase(found);
    }
    InMemorySegment(const InMemorySegment&) = delete;
    InMemorySegment& operator=(const InMemorySegment&) = delete;

    int Id() const override { return mId; }
    std::span<std::uint8_t> Bytes() override { return mBytes; }

private:
    int mId;
    std::span<std::uint8_t> mBytes;
};

} // namespace

InMemorySharedSegments::InMemorySharedSegments() : mUser(geteuid()) {}

std::unique_ptr<SharedSegment> InMemorySharedSegments::Create(std::size_t size, int& error) {
    error = 0;
    if (size == 0) {
        error = EINVAL;
        return nullptr;
    }
    Table& table = TheTable();
    const std::lock_guard guard(table.lock);
    const int id = table.nextId++;
    Entry& entry = table.entries[id];
    entry.owner = mUser;
    entry.bytes.assign(size, 0);
    entry.attachments = 1;
    return std::make_unique<InMemorySegment>(id, std::span(entry.bytes));
}

std::unique_ptr<SharedSegment> InMemorySharedSegments::Attach(int id, int& error) {
    Table& table = TheTable();
    const std::lock_guard guard(table.lock);
    const auto found = table.entries.find(id);
    if (found == table.entries.end()) {
        error = EINVAL;
        return nullptr;
    }
    if (found->second.owner != mUser) {
        error = EACCES;
        return nullptr;
    }
    error = 0;
    ++found->second.attachments;
    return std::make_unique<InMemorySegment>(id, std::span(found->second.bytes));
}

bool InMemorySharedSegments::Remove(int id) {
    Table& table = TheTable();
    const std::lock_guard guard(table.lock);
    const auto found = table.entries.find(id);
    if (found == table.entries.end() || found->second.owner != mUser)
        return false;
    if (found->second.attachments == 0)
        table.entries.erase(found);
    else
        found->second.removed = true;
    return true;
}

std::size_t InMemorySharedSegments::Count() {
    Table& table = TheTable();
    const std::lock_guard guard(table.lock);
    return table.entries.size();
}

} // namespace kelvo::platform
