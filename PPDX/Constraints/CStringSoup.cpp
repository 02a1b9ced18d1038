// String interning for the constraint table.
#include "PPDX/Constraints/CStringSoup.h"

std::int64_t CStringSoup::Insert(std::string_view text) {
    std::int64_t& memo = mMemo[MemoSlot(text)];
    if (memo != kMissing && mTexts[static_cast<std::size_t>(memo)] == text)
        return memo;
    auto it = mIds.find(text);
    if (it != mIds.end())
        return memo = it->second;
    const auto id = static_cast<std::int64_t>(mTexts.size());
    mIds.emplace(mTexts.emplace_back(text), id);
    return memo = id;
}

std::int64_t CStringSoup::Find(std::string_view text) const {
    auto it = mIds.find(text);
    return it == mIds.end() ? kMissing : it->second;
}

const std::string* CStringSoup::Text(std::int64_t id) const {
    if (id < 0 || static_cast<std::uint64_t>(id) >= mTexts.size())
        return nullptr;
    return &mTexts[static_cast<std::size_t>(id)];
}
