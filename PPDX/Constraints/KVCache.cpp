// Ordered (key id, choice id) pairs with set-like equality.
#include "PPDX/Constraints/KVCache.h"

#include <algorithm>
#include <vector>

void KVCache::Insert(std::int64_t key, std::int64_t choice) {
    if (key < 0)
        return;
    for (KVPair& pair : mPairs) {
        if (pair.first == key) {
            pair.second = choice;
            return;
        }
    }
    mPairs.emplace_back(key, choice);
}

std::int64_t KVCache::GetItem(std::int64_t key) const {
    for (const KVPair& pair : mPairs)
        if (pair.first == key)
            return pair.second;
    return -1;
}

bool KVCache::HasKey(std::int64_t key) const {
    return std::any_of(mPairs.begin(), mPairs.end(), [key](const KVPair& p) { return p.first == key; });
}

long KVCache::Lookup(const KVPair& pair) const {
    auto it = std::find(mPairs.begin(), mPairs.end(), pair);
    return it == mPairs.end() ? -1 : static_cast<long>(it - mPairs.begin());
}

void KVCache::merge(const KVCache& other) {
    mPairs.insert(mPairs.end(), other.mPairs.begin(), other.mPairs.end());
}

KVCache KVCache::operator+(const KVCache& other) const {
    KVCache sum = *this;
    sum.merge(other);
    return sum;
}

bool KVCache::operator==(const KVCache& other) const {
    if (mPairs.size() != other.mPairs.size())
        return false;
    if (mPairs == other.mPairs)
        return true;
    // The solver reaches the same set of changes along different paths, in
    // different orders; those must count as one proposal.
    std::vector<KVPair> mine(mPairs.begin(), mPairs.end());
    std::vector<KVPair> theirs(other.mPairs.begin(), other.mPairs.end());
    std::sort(mine.begin(), mine.end(), KeyOptionGreater{});
    std::sort(theirs.begin(), theirs.end(), KeyOptionGreater{});
    return mine == theirs;
}
