// Ordered (key id, choice id) pairs: current selections, proposals, results.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

using KVPair = std::pair<std::int64_t, std::int64_t>;

/// Larger key first, then larger choice first.
struct KeyOptionGreater {
    bool operator()(const KVPair& a, const KVPair& b) const {
        return a.first != b.first ? a.first > b.first : a.second > b.second;
    }
};

/// Hash of a pair of ids. Ids are small dense integers; odd multipliers
/// spread them well enough for a hash table.
struct KVPairHash {
    std::size_t operator()(const KVPair& p) const {
        std::uint64_t h = static_cast<std::uint64_t>(p.first) * 0x9E3779B97F4A7C15ull;
        h ^= static_cast<std::uint64_t>(p.second);
        h *= 0xC2B2AE3D27D4EB4Full;
        return static_cast<std::size_t>(h ^ (h >> 31));
    }
};

/// A double-ended sequence of pairs. `Insert` keeps one pair per key; `add`
/// appends blindly. Equality is multiset equality of the pairs.
///
/// Negative keys never enter through `Insert`: the string soup reports a
/// string it never saw as CStringSoup::kMissing, which is -1 as a signed id,
/// so a cache filled with `Insert` can never hold a key nobody interned.
class KVCache {
public:
    /// Ignored for a negative key; replaces the choice of an existing key in
    /// place (keeping its position), else appends.
    void Insert(std::int64_t key, std::int64_t choice);
    void Insert(const KVPair& pair) { Insert(pair.first, pair.second); }
    /// Appends without looking for the key.
    void add(const KVPair& pair) { mPairs.push_back(pair); }
    /// Replaces the choice of the pair at `index` (which must exist).
    void SetChoiceAt(std::size_t index, std::int64_t choice) { mPairs[index].second = choice; }
    /// Choice of the first pair with `key`, or -1.
    std::int64_t GetItem(std::int64_t key) const;
    /// Whether some pair has `key` (GetItem cannot tell a stored -1 apart).
    bool HasKey(std::int64_t key) const;
    /// Index of the first pair equal to `pair`, or -1.
    long Lookup(const KVPair& pair) const;
    const KVPair& GetKV(std::size_t index) const { return mPairs[index]; }
    std::size_t size() const { return mPairs.size(); }
    bool empty() const { return mPairs.empty(); }
    void clear() { mPairs.clear(); }
    void pop_front() { mPairs.pop_front(); }
    void pop_back() { mPairs.pop_back(); }
    const KVPair& front() const { return mPairs.front(); }
    const KVPair& back() const { return mPairs.back(); }
    /// Appends every pair of `other` (as `add`).
    void merge(const KVCache& other);
    KVCache operator+(const KVCache& other) const;
    /// Sizes must match; same order is equal at once, otherwise both are
    /// compared sorted by KeyOptionGreater, so duplicates count.
    bool operator==(const KVCache& other) const;
    bool operator!=(const KVCache& other) const { return !(*this == other); }

    auto begin() const { return mPairs.begin(); }
    auto end() const { return mPairs.end(); }

private:
    std::deque<KVPair> mPairs;
};
