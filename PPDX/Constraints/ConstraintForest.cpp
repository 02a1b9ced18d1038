// Constraint storage by id.
#include "PPDX/Constraints/ConstraintForest.h"

#include <algorithm>

std::size_t KeyConstraintTree::EntryIdHash::operator()(const EntryId& e) const {
    // Ids are small dense integers; mixing them with odd multipliers spreads
    // them well enough for a hash table.
    const auto mix = [](std::uint64_t h, std::int64_t v) {
        return (h ^ static_cast<std::uint64_t>(v)) * 0x9E3779B97F4A7C15ull;
    };
    const std::uint64_t h = mix(mix(mix(0, e.choice), e.key2), e.choice2);
    return static_cast<std::size_t>(h ^ (h >> 29));
}

void KeyConstraintTree::insert(std::int64_t choice, const KVPair& pair) {
    std::vector<ConstraintEntry>& entries = mItems[choice];
    // Most choices have a handful of partners: a scan is cheapest. A list
    // that grows long moves its duplicate test to the hash set for good.
    if (entries.size() < kScanLimit) {
        for (const ConstraintEntry& e : entries)
            if (e.pair == pair)
                return;
    } else {
        if (entries.size() == kScanLimit)
            for (const ConstraintEntry& e : entries)
                mPresent.insert(EntryId{choice, e.pair.first, e.pair.second});
        if (!mPresent.insert(EntryId{choice, pair.first, pair.second}).second)
            return;
    }
    entries.push_back(ConstraintEntry{pair, true});
}

std::unique_ptr<ItemConstraintList> KeyConstraintTree::GetConstraintList(std::int64_t choice) const {
    auto it = mItems.find(choice);
    if (it == mItems.end())
        return nullptr;
    auto list = std::make_unique<ItemConstraintList>();
    for (const ConstraintEntry& entry : it->second)
        if (entry.enabled)
            list->push_back(entry.pair);
    return list;
}

bool KeyConstraintTree::SetEnabled(std::int64_t choice, std::int64_t key2, std::int64_t choice2, bool on) {
    auto it = mItems.find(choice);
    if (it == mItems.end())
        return false;
    for (ConstraintEntry& entry : it->second) {
        if (entry.pair == KVPair{key2, choice2}) {
            entry.enabled = on;
            return true;
        }
    }
    return false;
}

bool KeyConstraintTree::EnableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2) {
    return SetEnabled(choice, key2, choice2, true);
}

bool KeyConstraintTree::DisableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2) {
    return SetEnabled(choice, key2, choice2, false);
}

std::size_t KeyConstraintTree::Count() const {
    std::size_t n = 0;
    for (const auto& [choice, entries] : mItems)
        n += entries.size();
    return n;
}

void ConstraintForest::insert(std::int64_t key, std::int64_t choice, const KVPair& pair) {
    mTrees[key].insert(choice, pair);
}

void ConstraintForest::insert(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2,
                              ConstraintType /*type*/) {
    insert(key1, choice1, KVPair{key2, choice2});
}

std::unique_ptr<ItemConstraintList> ConstraintForest::GetConstraintList(std::int64_t key, std::int64_t choice) const {
    auto it = mTrees.find(key);
    if (it == mTrees.end())
        return nullptr;
    return it->second.GetConstraintList(choice);
}

bool ConstraintForest::EnableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2,
                                         std::int64_t choice2) {
    auto it = mTrees.find(key1);
    return it != mTrees.end() && it->second.EnableConstraints(choice1, key2, choice2);
}

bool ConstraintForest::DisableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2,
                                          std::int64_t choice2) {
    auto it = mTrees.find(key1);
    return it != mTrees.end() && it->second.DisableConstraints(choice1, key2, choice2);
}

std::size_t ConstraintForest::Count() const {
    std::size_t n = 0;
    for (const auto& [key, tree] : mTrees)
        n += tree.Count();
    return n;
}

void KeyForest::Insert(std::int64_t key, std::int64_t choice) {
    if (key < 0 || choice < 0)
        return;
    std::vector<std::int64_t>& choices = mKeys[key];
    if (std::find(choices.begin(), choices.end(), choice) == choices.end())
        choices.push_back(choice);
}

const std::vector<std::int64_t>& KeyForest::GetItems(std::int64_t key) const {
    static const std::vector<std::int64_t> kNone;
    auto it = mKeys.find(key);
    return it == mKeys.end() ? kNone : it->second;
}
