// String interning for the constraint table.
#include "PPDX/Constraints/CStringSoup.h"

#include <functional>

namespace {

std::uint64_t Hash(std::string_view text) { return std::hash<std::string_view>{}(text); }

} // namespace

std::size_t CStringSoup::SlotOf(std::string_view text, std::uint64_t hash) const {
    const std::size_t mask = mSlots.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
        const Slot& slot = mSlots[i];
        if (slot.id == kMissing || (slot.hash == hash && mTexts[static_cast<std::size_t>(slot.id)] == text))
            return i;
    }
}

void CStringSoup::Grow() {
    std::vector<Slot> old = std::move(mSlots);
    mSlots.assign(old.empty() ? 64 : old.size() * 2, Slot{});
    const std::size_t mask = mSlots.size() - 1;
    for (const Slot& slot : old) {
        if (slot.id == kMissing)
            continue;
        std::size_t i = slot.hash & mask;
        while (mSlots[i].id != kMissing)
            i = (i + 1) & mask;
        mSlots[i] = slot;
    }
}

std::int64_t CStringSoup::Insert(std::string_view text) {
    std::int64_t& memo = mMemo[MemoSlot(text)];
    if (memo != kMissing && mTexts[static_cast<std::size_t>(memo)] == text)
        return memo;
    // Keep at least half the slots free, so that probes stay short.
    if (2 * (mTexts.size() + 1) > mSlots.size())
        Grow();
    const std::uint64_t hash = Hash(text);
    Slot& slot = mSlots[SlotOf(text, hash)];
    if (slot.id == kMissing) {
        slot = Slot{hash, static_cast<std::int64_t>(mTexts.size())};
        mTexts.emplace_back(text);
    }
    return memo = slot.id;
}

std::int64_t CStringSoup::Find(std::string_view text) const {
    if (mSlots.empty())
        return kMissing;
    return mSlots[SlotOf(text, Hash(text))].id;
}

const std::string* CStringSoup::Text(std::int64_t id) const {
    if (id < 0 || static_cast<std::uint64_t>(id) >= mTexts.size())
        return nullptr;
    return &mTexts[static_cast<std::size_t>(id)];
}
