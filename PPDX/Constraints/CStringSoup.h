// String interning: every key and choice of the constraint table becomes an id.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

/// Hands out dense ids (0, 1, 2, ...) for distinct byte strings.
class CStringSoup {
public:
    CStringSoup() { std::fill(std::begin(mMemo), std::end(mMemo), kMissing); }

    /// The id reported for a string that was never interned: the largest
    /// unsigned 64-bit value, seen as a signed id, i.e. -1. Being negative, it
    /// is dropped by KVCache::Insert and never names a real key.
    static constexpr std::int64_t kMissing = static_cast<std::int64_t>(~std::uint64_t{0});

    /// Returns the id of `text`, interning it on first sight.
    std::int64_t Insert(std::string_view text);
    /// Returns the id of `text`, or kMissing.
    std::int64_t Find(std::string_view text) const;
    /// The text of an id, or null for an unknown id.
    const std::string* Text(std::int64_t id) const;
    std::size_t Size() const { return mTexts.size(); }

private:
    /// A direct-mapped memo of recent texts: constraint statements repeat
    /// the same few keys and choices, and a slot check is much cheaper than
    /// hashing the whole text.
    static constexpr std::size_t kMemoSlots = 64;
    static std::size_t MemoSlot(std::string_view text) {
        const std::size_t n = text.size();
        if (n == 0)
            return 0;
        return (n * 31 + static_cast<unsigned char>(text[n - 1]) * 7 + static_cast<unsigned char>(text[n / 2])) %
               kMemoSlots;
    }

    /// One slot of the open-addressed index: the text's hash and its id, or
    /// kMissing when the slot is free.
    struct Slot {
        std::uint64_t hash = 0;
        std::int64_t id = kMissing;
    };
    /// The slot holding `text`, or the free slot where it would go.
    std::size_t SlotOf(std::string_view text, std::uint64_t hash) const;
    void Grow();

    std::int64_t mMemo[kMemoSlots];
    // A deque never moves its elements, so a text keeps its place for good.
    std::deque<std::string> mTexts;
    // Text -> id, by linear probing in one array, at most half full. A file
    // can name hundreds of thousands of distinct choices; a node per text
    // would cost an allocation and a cache miss each, on the way in and out.
    std::vector<Slot> mSlots;
};
