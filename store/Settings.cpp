// Item operations of the settings store and the byte-order rule for its numbers.
#include "store/Settings.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

/// Copies bytes into a new value vector; false when allocation fails. The
/// sizes come from callers or from lengths the block reader has checked.
bool CopyValue(std::span<const std::uint8_t> data, std::vector<std::uint8_t>& out) {
    try {
        out.assign(data.begin(), data.end());
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

} // namespace

// ---- SettingsCollection ----

SettingsItem* SettingsCollection::Find(std::uint32_t tag, std::int32_t id) {
    // Readers mostly ask for items in the order they were written: try the
    // item after the last one found before hashing.
    for (const std::size_t at : {mHint, mHint + 1}) {
        if (at < mItems.size() && mItems[at].tag == tag && mItems[at].id == id) {
            mHint = at;
            return &mItems[at];
        }
    }
    const auto found = mIndex.find(Key(tag, id));
    if (found == mIndex.end())
        return nullptr;
    mHint = found->second;
    return &mItems[found->second];
}

const SettingsItem* SettingsCollection::Lookup(std::uint32_t tag, std::int32_t id) const {
    const auto found = mIndex.find(Key(tag, id));
    return found == mIndex.end() ? nullptr : &mItems[found->second];
}

bool SettingsCollection::Reserve(std::size_t count) {
    try {
        mItems.reserve(count);
        mIndex.reserve(count);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

int SettingsCollection::AppendNew(SettingsItem item) {
    try {
        // Grow by doubling: a snapshot adds hundreds of thousands of items.
        if (mItems.size() == mItems.capacity())
            mItems.reserve(mItems.empty() ? 16 : 2 * mItems.size());
        if (!mIndex.try_emplace(Key(item.tag, item.id), mItems.size()).second)
            return 0;
    } catch (const std::bad_alloc&) {
        return -1;
    }
    mItems.push_back(std::move(item)); // room reserved: cannot throw
    return 1;
}

bool SettingsCollection::Append(SettingsItem item) { return AppendNew(std::move(item)) == 1; }

void SettingsCollection::Remove(std::uint32_t tag, std::int32_t id) {
    const auto found = mIndex.find(Key(tag, id));
    if (found == mIndex.end())
        return;
    const std::size_t at = found->second;
    mIndex.erase(found);
    mItems.erase(mItems.begin() + static_cast<std::ptrdiff_t>(at));
    mHint = 0;
    // Removal is rare (the model only adds); renumbering the later items
    // keeps lookups a single probe.
    for (auto& [key, index] : mIndex)
        if (index > at)
            --index;
}

void SettingsCollection::Clear() {
    mHint = 0;
    mItems.clear();
    mIndex.clear();
}

// ---- Settings ----

Settings::Settings() : mCollection(new (std::nothrow) SettingsCollection) {
    if (!mCollection)
        mLastError = kSettingsMemFull;
}

Settings::Settings(std::unique_ptr<SettingsCollection> collection) : mCollection(std::move(collection)) {
    if (!mCollection)
        mLastError = kSettingsNoCollection;
}

Settings::Settings(std::span<const std::uint8_t> flattened) : Settings() {
    if (!mCollection)
        return;
    // An empty span is the null handle of the original interface.
    if (flattened.empty()) {
        mLastError = kSettingsParamErr;
        return;
    }
    mLastError = UnflattenSettings(flattened, *mCollection);
    if (mLastError == kSettingsNoErr)
        mValid = true;
    else
        mCollection->Clear();
}

Settings::Settings(const Settings& other)
    : mLastError(other.mLastError), mValid(other.mValid), mIndex(other.mIndex) {
    if (!other.mCollection)
        return;
    mCollection.reset(new (std::nothrow) SettingsCollection);
    if (!mCollection) {
        mLastError = kSettingsMemFull;
        return;
    }
    try {
        *mCollection = *other.mCollection;
    } catch (const std::bad_alloc&) {
        mCollection->Clear();
        mLastError = kSettingsMemFull;
    }
}

Settings& Settings::operator=(const Settings& other) {
    if (this != &other) {
        Settings copy(other);
        *this = std::move(copy);
    }
    return *this;
}

SettingsStatus Settings::Add(std::uint32_t tag, std::int32_t id, std::span<const std::uint8_t> data) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    if (SettingsItem* item = mCollection->Find(tag, id)) {
        if (item->attributes & kSettingsLockBit)
            return Done(kSettingsItemLocked);
        return Done(CopyValue(data, item->value) ? kSettingsNoErr : kSettingsMemFull);
    }
    SettingsItem item{tag, id, 0, {}};
    if (!CopyValue(data, item.value) || !mCollection->Append(std::move(item)))
        return Done(kSettingsMemFull);
    return Done(kSettingsNoErr);
}

SettingsStatus Settings::Get(std::uint32_t tag, std::int32_t id, std::span<std::uint8_t> buffer, std::size_t& size,
                             bool swap) {
    if (!mCollection) {
        size = 0;
        return Done(kSettingsNoCollection);
    }
    const SettingsItem* item = mCollection->Find(tag, id);
    if (!item) {
        size = 0;
        return Done(kSettingsItemNotFound);
    }
    const std::size_t have = item->value.size();
    if (buffer.data() == nullptr) {
        size = have;
        return Done(kSettingsNoErr);
    }
    if (buffer.size() < have) {
        size = have;
        return Done(kSettingsParamErr);
    }
    if (have)
        std::memcpy(buffer.data(), item->value.data(), have);
    size = have;
    if (swap)
        return FixEndianness(buffer.first(have), true);
    return Done(kSettingsNoErr);
}

SettingsStatus Settings::Get(std::uint32_t tag, std::int32_t id, std::vector<std::uint8_t>& value, bool swap) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    const SettingsItem* item = mCollection->Find(tag, id);
    if (!item)
        return Done(kSettingsItemNotFound);
    if (!CopyValue(item->value, value))
        return Done(kSettingsMemFull);
    if (swap)
        return FixEndianness(value, true);
    return Done(kSettingsNoErr);
}

SettingsStatus Settings::Set(std::uint32_t tag, std::int32_t id, std::span<const std::uint8_t> data) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    SettingsItem* item = mCollection->Find(tag, id);
    if (!item)
        return Done(kSettingsItemNotFound);
    if (item->attributes & kSettingsLockBit)
        return Done(kSettingsItemLocked);
    return Done(CopyValue(data, item->value) ? kSettingsNoErr : kSettingsMemFull);
}

SettingsStatus Settings::Remove(std::uint32_t tag, std::int32_t id) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    const SettingsItem* item = mCollection->Find(tag, id);
    if (!item)
        return Done(kSettingsItemNotFound);
    if (item->attributes & kSettingsLockBit)
        return Done(kSettingsItemLocked);
    mCollection->Remove(tag, id);
    return Done(kSettingsNoErr);
}

SettingsStatus Settings::SetAttribute(std::uint32_t tag, std::int32_t id, std::uint32_t mask, bool on) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    SettingsItem* item = mCollection->Find(tag, id);
    if (!item)
        return Done(kSettingsItemNotFound);
    item->attributes = on ? (item->attributes | mask) : (item->attributes & ~mask);
    return Done(kSettingsNoErr);
}

std::uint32_t Settings::Count() const {
    return mCollection ? static_cast<std::uint32_t>(mCollection->Items().size()) : 0;
}

SettingsStatus Settings::Empty() {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    mCollection->Clear();
    mIndex = 0;
    return Done(kSettingsNoErr);
}

SettingsStatus Settings::ItemAt(std::uint32_t index, std::uint32_t& tag, std::int32_t& id, std::size_t& size,
                                std::uint32_t& attributes) {
    const auto& items = mCollection->Items();
    if (index == 0 || index > items.size())
        return Done(kSettingsIndexRange);
    const SettingsItem& item = items[index - 1];
    tag = item.tag;
    id = item.id;
    size = item.value.size();
    attributes = item.attributes;
    return Done(kSettingsNoErr);
}

SettingsStatus Settings::First(std::uint32_t& tag, std::int32_t& id, std::size_t& size, std::uint32_t& attributes) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    mIndex = 1;
    if (mCollection->Items().empty())
        return Done(kSettingsEmpty);
    return ItemAt(mIndex, tag, id, size, attributes);
}

SettingsStatus Settings::Next(std::uint32_t& tag, std::int32_t& id, std::size_t& size, std::uint32_t& attributes) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    // Stay one past the end, so repeated calls keep answering "out of range".
    if (mIndex <= mCollection->Items().size())
        ++mIndex;
    return ItemAt(mIndex, tag, id, size, attributes);
}

SettingsStatus Settings::Save(DataStream* stream) {
    if (!stream || !stream->IsOpen())
        return Done(kSettingsStreamNotOpen);
    std::vector<std::uint8_t> block;
    if (const SettingsStatus status = GetSettingsHandle(block); status != kSettingsNoErr)
        return status;
    return Done(stream->Write(block));
}

SettingsStatus Settings::Read(DataStream* stream, std::uint64_t size) {
    if (!stream || !stream->IsOpen())
        return Done(kSettingsStreamNotOpen);
    if (!mCollection)
        return Done(kSettingsNoCollection);
    const std::uint64_t available = stream->Size();
    if (size == 0)
        size = available;
    if (size == 0)
        return Done(kSettingsParamErr); // nothing to unflatten: a null handle
    // Never allocate for bytes the stream cannot give.
    if (size > available)
        return Done(kSettingsEndOfStream);
    std::vector<std::uint8_t> block;
    try {
        block.resize(static_cast<std::size_t>(size));
    } catch (const std::bad_alloc&) {
        return Done(kSettingsMemFull);
    }
    std::size_t got = 0;
    if (const SettingsStatus status = stream->Read(block, got); status != kSettingsNoErr)
        return Done(status);
    SettingsCollection read;
    if (const SettingsStatus status = UnflattenSettings(block, read); status != kSettingsNoErr)
        return Done(status);
    *mCollection = std::move(read);
    mIndex = 0;
    mValid = true;
    return Done(kSettingsNoErr);
}

SettingsStatus Settings::GetSettingsHandle(std::vector<std::uint8_t>& handle) {
    if (!mCollection)
        return Done(kSettingsNoCollection);
    return Done(FlattenSettings(*mCollection, handle));
}

bool Settings::IsForeign() {
    if (!mCollection)
        return false;
    const SettingsItem* count = mCollection->Lookup(kSettingsPageCountTag, kSettingsPageCountId);
    if (!count || count->value.size() != sizeof(std::uint64_t))
        return false;
    // Read in this machine's order: a count of a few pages written the other
    // way round reads as a huge number. Unsigned, because a signed reading
    // would take a foreign count such as 128 (low byte 0x80) as negative.
    std::uint64_t pages = 0;
    std::memcpy(&pages, count->value.data(), sizeof pages);
    return pages > 10000;
}

SettingsStatus Settings::FixEndianness(std::span<std::uint8_t> value, bool swap) {
    if (!swap)
        return Done(kSettingsNoErr);
    if (value.size() != 2 && value.size() != 4 && value.size() != 70)
        return Done(kSettingsUnsupportedSize);
    if (!IsForeign())
        return Done(kSettingsNoErr);
    if (value.size() == 70) {
        // A 16-bit field then a 32-bit field; the rest is bytes.
        std::reverse(value.begin(), value.begin() + 2);
        std::reverse(value.begin() + 2, value.begin() + 6);
    } else {
        std::reverse(value.begin(), value.end());
    }
    return Done(kSettingsNoErr);
}
