// Constraint storage by id: pairs declared one by one, and whole-key rules
// answered as if written out.
#include "PPDX/Constraints/ConstraintForest.h"

#include <algorithm>

namespace {

// Ids are small dense integers; mixing them with odd multipliers spreads
// them well enough for a hash table.
std::uint64_t Mix(std::uint64_t h, std::int64_t v) {
    return (h ^ static_cast<std::uint64_t>(v)) * 0x9E3779B97F4A7C15ull;
}

} // namespace

// ---------------------------------------------------------------------------
// KeyConstraintTree

std::size_t KeyConstraintTree::EntryIdHash::operator()(const EntryId& e) const {
    const std::uint64_t h = Mix(Mix(Mix(0, e.choice), e.key2), e.choice2);
    return static_cast<std::size_t>(h ^ (h >> 29));
}

bool KeyConstraintTree::insert(std::int64_t choice, const KVPair& pair, std::uint64_t order) {
    std::vector<ConstraintEntry>& entries = mItems[choice];
    if (entries.size() < kScanLimit) {
        for (const ConstraintEntry& e : entries)
            if (e.pair == pair)
                return false;
        entries.push_back(ConstraintEntry{pair, true, order});
        // A list that grows long moves its look-ups to the index for good.
        if (entries.size() == kScanLimit)
            for (std::size_t i = 0; i < entries.size(); ++i)
                mIndex.emplace(EntryId{choice, entries[i].pair.first, entries[i].pair.second}, i);
        return true;
    }
    if (!mIndex.emplace(EntryId{choice, pair.first, pair.second}, entries.size()).second)
        return false;
    entries.push_back(ConstraintEntry{pair, true, order});
    return true;
}

const ConstraintEntry* KeyConstraintTree::Find(std::int64_t choice, const KVPair& pair) const {
    auto it = mItems.find(choice);
    if (it == mItems.end())
        return nullptr;
    const std::vector<ConstraintEntry>& entries = it->second;
    if (entries.size() < kScanLimit) {
        for (const ConstraintEntry& e : entries)
            if (e.pair == pair)
                return &e;
        return nullptr;
    }
    auto found = mIndex.find(EntryId{choice, pair.first, pair.second});
    return found == mIndex.end() ? nullptr : &entries[found->second];
}

ConstraintEntry* KeyConstraintTree::Find(std::int64_t choice, const KVPair& pair) {
    return const_cast<ConstraintEntry*>(static_cast<const KeyConstraintTree*>(this)->Find(choice, pair));
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

bool KeyConstraintTree::EnableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2) {
    ConstraintEntry* entry = Find(choice, KVPair{key2, choice2});
    if (entry)
        entry->enabled = true;
    return entry != nullptr;
}

bool KeyConstraintTree::DisableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2) {
    ConstraintEntry* entry = Find(choice, KVPair{key2, choice2});
    if (entry)
        entry->enabled = false;
    return entry != nullptr;
}

std::size_t KeyConstraintTree::Count() const {
    std::size_t n = 0;
    for (const auto& [choice, entries] : mItems)
        n += entries.size();
    return n;
}

// ---------------------------------------------------------------------------
// KeyForest

void KeyForest::PairSet::Grow() {
    std::vector<KVPair> old = std::move(mSlots);
    mSlots.assign(old.empty() ? 64 : old.size() * 2, kFree);
    mUsed = 0;
    for (const KVPair& pair : old)
        if (pair != kFree)
            Insert(pair);
}

bool KeyForest::PairSet::Insert(const KVPair& pair) {
    if (2 * (mUsed + 1) > mSlots.size())
        Grow();
    const std::size_t mask = mSlots.size() - 1;
    for (std::size_t i = KVPairHash{}(pair) & mask;; i = (i + 1) & mask) {
        if (mSlots[i] == pair)
            return false;
        if (mSlots[i] == kFree) {
            mSlots[i] = pair;
            ++mUsed;
            return true;
        }
    }
}

void KeyForest::Insert(std::int64_t key, std::int64_t choice) {
    if (key < 0 || choice < 0)
        return;
    std::vector<std::int64_t>& choices = mKeys[key];
    if (choices.size() < kScanLimit) {
        if (std::find(choices.begin(), choices.end(), choice) != choices.end())
            return;
        choices.push_back(choice);
        if (choices.size() == kScanLimit)
            for (std::int64_t c : choices)
                mLarge.Insert(KVPair{key, c});
        return;
    }
    if (mLarge.Insert(KVPair{key, choice}))
        choices.push_back(choice);
}

const std::vector<std::int64_t>& KeyForest::GetItems(std::int64_t key) const {
    static const std::vector<std::int64_t> kNone;
    auto it = mKeys.find(key);
    return it == mKeys.end() ? kNone : it->second;
}

// ---------------------------------------------------------------------------
// ConstraintForest

std::size_t ConstraintForest::EntryKeyHash::operator()(const EntryKey& e) const {
    const std::uint64_t h = Mix(Mix(Mix(Mix(0, e.key), e.choice), e.key2), e.choice2);
    return static_cast<std::size_t>(h ^ (h >> 29));
}

/// The pairs already listed while a row is walked, so that each is listed
/// once: per second key, the prefix of its remembered choices that whole-key
/// rules have listed, and the single choices listed outside that prefix.
class ConstraintForest::Seen {
public:
    struct PerKey {
        std::size_t prefix = 0;
        std::unordered_set<std::int64_t> singles;
    };

    explicit Seen(const ConstraintForest& forest) : mForest(forest) {}

    /// Marks one pair; returns whether it was not listed yet.
    bool Add(const KVPair& pair) {
        PerKey& k = mKeys[pair.first];
        if (k.prefix > 0 && mForest.Covers(pair.first, pair.second, k.prefix))
            return false;
        return k.singles.insert(pair.second).second;
    }
    PerKey& For(std::int64_t key) { return mKeys[key]; }

private:
    const ConstraintForest& mForest;
    std::unordered_map<std::int64_t, PerKey> mKeys;
};

void ConstraintForest::insert(std::int64_t key, std::int64_t choice, const KVPair& pair) {
    // A pair a rule already makes is a duplicate: the rule's entry stays.
    if (RuleHolds(key, choice, pair))
        return;
    if (mTrees[key].insert(choice, pair, mOrder))
        ++mOrder;
}

void ConstraintForest::insert(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2,
                              ConstraintType /*type*/) {
    insert(key1, choice1, KVPair{key2, choice2});
}

std::size_t ConstraintForest::TakeIn(const KeyForest& keys, std::int64_t key, std::span<const std::int64_t> skipped) {
    KeyChoices& known = mChoices[key];
    const std::vector<std::int64_t>& items = keys.GetItems(key);
    for (; known.scanned < items.size(); ++known.scanned) {
        const std::int64_t choice = items[known.scanned];
        if (std::find(skipped.begin(), skipped.end(), choice) != skipped.end())
            continue;
        known.position.emplace(choice, known.ids.size());
        known.ids.push_back(choice);
    }
    return known.ids.size();
}

void ConstraintForest::insertWholeKey(const KeyForest& keys, std::int64_t key1, std::optional<std::int64_t> choice1,
                                      std::int64_t key2, std::optional<std::int64_t> choice2,
                                      std::span<const std::int64_t> skipped) {
    if (choice1 && choice2) {
        insert(key1, *choice1, key2, *choice2);
        return;
    }
    Rule rule{key1, choice1.value_or(-1), key2, choice2.value_or(-1), !choice1, !choice2, 0, 0, 0};
    // A side that covers no choice makes no pair: nothing to keep.
    if (rule.whole1 && (rule.known1 = TakeIn(keys, key1, skipped)) == 0)
        return;
    if (rule.whole2 && (rule.known2 = TakeIn(keys, key2, skipped)) == 0)
        return;
    KeyRules& rules = mRules[key1];
    std::vector<std::size_t>& bucket = Bucket(rules, rule);
    // A repeat that covers no choice the earlier one did not is all duplicates.
    for (std::size_t index : bucket) {
        const Rule& earlier = rules.rules[index];
        if (earlier.known1 >= rule.known1 && earlier.known2 >= rule.known2)
            return;
    }
    rule.order = mOrder++;
    const std::size_t index = rules.rules.size();
    rules.rules.push_back(rule);
    bucket.push_back(index);
    if (rule.whole1)
        rules.wholeRules.push_back(index);
    else
        rules.byChoice[rule.choice1].push_back(index);
}

std::vector<std::size_t>& ConstraintForest::Bucket(KeyRules& rules, const Rule& rule) {
    if (!rule.whole1)
        return rules.byChoiceAndKey2[KVPair{rule.choice1, rule.key2}];
    if (!rule.whole2)
        return rules.wholeByPair[KVPair{rule.key2, rule.choice2}];
    return rules.wholeByKey2[rule.key2];
}

bool ConstraintForest::Covers(std::int64_t key, std::int64_t choice, std::size_t known) const {
    auto it = mChoices.find(key);
    if (it == mChoices.end())
        return false;
    auto pos = it->second.position.find(choice);
    return pos != it->second.position.end() && pos->second < known;
}

bool ConstraintForest::RuleHolds(std::int64_t key, std::int64_t choice, const KVPair& pair) const {
    auto it = mRules.find(key);
    if (it == mRules.end())
        return false;
    const KeyRules& rules = it->second;
    auto any = [&](const auto& index, const auto& bucketKey, auto&& holds) {
        auto bucket = index.find(bucketKey);
        if (bucket == index.end())
            return false;
        return std::any_of(bucket->second.begin(), bucket->second.end(),
                           [&](std::size_t i) { return holds(rules.rules[i]); });
    };
    return any(rules.wholeByKey2, pair.first,
               [&](const Rule& r) {
                   return Covers(key, choice, r.known1) && Covers(pair.first, pair.second, r.known2);
               }) ||
           any(rules.wholeByPair, pair, [&](const Rule& r) { return Covers(key, choice, r.known1); }) ||
           any(rules.byChoiceAndKey2, KVPair{choice, pair.first},
               [&](const Rule& r) { return Covers(pair.first, pair.second, r.known2); });
}

std::vector<const ConstraintForest::Rule*> ConstraintForest::RulesFor(std::int64_t key, std::int64_t choice) const {
    std::vector<const Rule*> found;
    auto it = mRules.find(key);
    if (it == mRules.end())
        return found;
    const KeyRules& rules = it->second;
    static const std::vector<std::size_t> kNone;
    auto named = rules.byChoice.find(choice);
    const std::vector<std::size_t>& own = named == rules.byChoice.end() ? kNone : named->second;
    // Both index lists are in insertion order; merge them.
    std::size_t i = 0, j = 0;
    while (i < rules.wholeRules.size() || j < own.size()) {
        if (j == own.size() || (i < rules.wholeRules.size() && rules.wholeRules[i] < own[j])) {
            const Rule& rule = rules.rules[rules.wholeRules[i++]];
            if (Covers(key, choice, rule.known1))
                found.push_back(&rule);
        } else {
            found.push_back(&rules.rules[own[j++]]);
        }
    }
    return found;
}

template <class Visit>
void ConstraintForest::Walk(std::int64_t key, std::int64_t choice, Visit&& visit) const {
    const std::vector<ConstraintEntry>* own = nullptr;
    if (auto tree = mTrees.find(key); tree != mTrees.end())
        if (auto row = tree->second.Items().find(choice); row != tree->second.Items().end())
            own = &row->second;
    const std::vector<const Rule*> rules = RulesFor(key, choice);
    if (rules.empty()) {
        if (own)
            for (const ConstraintEntry& e : *own)
                visit(e.pair, e.enabled);
        return;
    }

    auto enabled = [&](const KVPair& pair) {
        return mSwitchedOff.empty() || mSwitchedOff.count(EntryKey{key, choice, pair.first, pair.second}) == 0;
    };
    // The written-out table would hold the pairs in insertion order, a rule's
    // pairs where the rule came, each pair at its first insertion.
    Seen seen(*this);
    const std::size_t ownCount = own ? own->size() : 0;
    std::size_t i = 0, j = 0;
    while (i < ownCount || j < rules.size()) {
        if (j == rules.size() || (i < ownCount && (*own)[i].order < rules[j]->order)) {
            const ConstraintEntry& e = (*own)[i++];
            seen.Add(e.pair);
            visit(e.pair, e.enabled);
            continue;
        }
        const Rule& rule = *rules[j++];
        if (!rule.whole2) {
            const KVPair pair{rule.key2, rule.choice2};
            if (seen.Add(pair))
                visit(pair, enabled(pair));
            continue;
        }
        Seen::PerKey& listed = seen.For(rule.key2);
        auto known = mChoices.find(rule.key2);
        if (known == mChoices.end() || rule.known2 <= listed.prefix)
            continue;
        const std::vector<std::int64_t>& ids = known->second.ids;
        for (std::size_t pos = listed.prefix; pos < rule.known2; ++pos) {
            const KVPair pair{rule.key2, ids[pos]};
            if (listed.singles.empty() || listed.singles.count(pair.second) == 0)
                visit(pair, enabled(pair));
        }
        listed.prefix = rule.known2;
    }
}

std::size_t ConstraintForest::CountRow(std::int64_t key, std::int64_t choice) const {
    std::size_t count = 0;
    Seen seen(*this);
    if (auto tree = mTrees.find(key); tree != mTrees.end())
        if (auto row = tree->second.Items().find(choice); row != tree->second.Items().end())
            for (const ConstraintEntry& e : row->second)
                count += seen.Add(e.pair) ? 1 : 0;
    // The count of a union does not depend on the order of its parts.
    for (const Rule* rule : RulesFor(key, choice)) {
        if (!rule->whole2) {
            count += seen.Add(KVPair{rule->key2, rule->choice2}) ? 1 : 0;
            continue;
        }
        Seen::PerKey& listed = seen.For(rule->key2);
        auto known = mChoices.find(rule->key2);
        if (known == mChoices.end() || rule->known2 <= listed.prefix)
            continue;
        std::size_t added = rule->known2 - listed.prefix;
        // Singles inside the newly covered range were counted already.
        for (auto it = listed.singles.begin(); it != listed.singles.end();) {
            auto pos = known->second.position.find(*it);
            if (pos != known->second.position.end() && pos->second >= listed.prefix && pos->second < rule->known2) {
                --added;
                it = listed.singles.erase(it);
            } else {
                ++it;
            }
        }
        count += added;
        listed.prefix = rule->known2;
    }
    return count;
}

std::unique_ptr<ItemConstraintList> ConstraintForest::GetConstraintList(std::int64_t key, std::int64_t choice) const {
    auto list = std::make_unique<ItemConstraintList>();
    bool any = false;
    Walk(key, choice, [&](const KVPair& pair, bool enabled) {
        any = true;
        if (enabled)
            list->push_back(pair);
    });
    if (!any)
        return nullptr;
    return list;
}

std::vector<ConstraintEntry> ConstraintForest::Entries(std::int64_t key, std::int64_t choice) const {
    std::vector<ConstraintEntry> entries;
    Walk(key, choice, [&](const KVPair& pair, bool enabled) { entries.push_back(ConstraintEntry{pair, enabled, 0}); });
    return entries;
}

bool ConstraintForest::Holds(std::int64_t key, std::int64_t choice, const KVPair& pair, bool enabledOnly) const {
    if (auto tree = mTrees.find(key); tree != mTrees.end())
        if (const ConstraintEntry* e = tree->second.Find(choice, pair))
            return !enabledOnly || e->enabled;
    if (!RuleHolds(key, choice, pair))
        return false;
    return !enabledOnly || mSwitchedOff.count(EntryKey{key, choice, pair.first, pair.second}) == 0;
}

std::vector<std::int64_t> ConstraintForest::RowsOf(std::int64_t key) const {
    std::vector<std::int64_t> choices;
    if (auto tree = mTrees.find(key); tree != mTrees.end())
        for (const auto& [choice, entries] : tree->second.Items())
            if (!entries.empty())
                choices.push_back(choice);
    auto rules = mRules.find(key);
    if (rules == mRules.end())
        return choices; // the tree's map is ordered already
    // A stored rule covers at least one pair on each side, so every
    // first-side choice it covers has an entry.
    std::size_t wholeRows = 0;
    for (const Rule& rule : rules->second.rules) {
        if (rule.whole1)
            wholeRows = std::max(wholeRows, rule.known1);
        else
            choices.push_back(rule.choice1);
    }
    if (auto known = mChoices.find(key); known != mChoices.end())
        choices.insert(choices.end(), known->second.ids.begin(),
                       known->second.ids.begin() + static_cast<std::ptrdiff_t>(wholeRows));
    std::sort(choices.begin(), choices.end());
    choices.erase(std::unique(choices.begin(), choices.end()), choices.end());
    return choices;
}

std::vector<std::int64_t> ConstraintForest::Keys() const {
    std::vector<std::int64_t> keys;
    for (const auto& [k, tree] : mTrees)
        keys.push_back(k);
    for (const auto& [k, rules] : mRules)
        keys.push_back(k);
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    return keys;
}

std::vector<KVPair> ConstraintForest::Rows(std::optional<std::int64_t> key) const {
    std::vector<KVPair> rows;
    for (std::int64_t k : key ? std::vector<std::int64_t>{*key} : Keys())
        for (std::int64_t choice : RowsOf(k))
            rows.push_back(KVPair{k, choice});
    return rows;
}

bool ConstraintForest::EnableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2,
                                         std::int64_t choice2) {
    if (auto tree = mTrees.find(key1); tree != mTrees.end())
        if (tree->second.EnableConstraints(choice1, key2, choice2))
            return true;
    if (!RuleHolds(key1, choice1, KVPair{key2, choice2}))
        return false;
    mSwitchedOff.erase(EntryKey{key1, choice1, key2, choice2});
    return true;
}

bool ConstraintForest::DisableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2,
                                          std::int64_t choice2) {
    if (auto tree = mTrees.find(key1); tree != mTrees.end())
        if (tree->second.DisableConstraints(choice1, key2, choice2))
            return true;
    if (!RuleHolds(key1, choice1, KVPair{key2, choice2}))
        return false;
    mSwitchedOff.insert(EntryKey{key1, choice1, key2, choice2});
    return true;
}

std::size_t ConstraintForest::Count() const {
    std::size_t n = 0;
    for (std::int64_t key : Keys()) {
        auto tree = mTrees.find(key);
        auto rules = mRules.find(key);
        if (rules == mRules.end()) {
            n += tree->second.Count();
            continue;
        }
        // A row that only whole-first-key rules fill has as many entries as
        // any other row those same rules apply to. Which rules apply depends
        // only on how many of them reach past the row's choice, so rows are
        // counted once per such number, not once each: a rule over a key of
        // thousands of choices must not be walked thousands of times.
        std::vector<std::size_t> reach;
        for (std::size_t index : rules->second.wholeRules)
            reach.push_back(rules->second.rules[index].known1);
        std::sort(reach.begin(), reach.end());
        std::unordered_map<std::size_t, std::size_t> byReach;
        const KeyChoices* known = nullptr;
        if (auto it = mChoices.find(key); it != mChoices.end())
            known = &it->second;
        for (std::int64_t choice : RowsOf(key)) {
            const bool own = tree != mTrees.end() && tree->second.Items().count(choice) != 0;
            const bool named = rules->second.byChoice.count(choice) != 0;
            std::optional<std::size_t> position;
            if (known)
                if (auto it = known->position.find(choice); it != known->position.end())
                    position = it->second;
            if (own || named || !position) {
                n += CountRow(key, choice);
                continue;
            }
            const std::size_t reaching =
                static_cast<std::size_t>(reach.end() - std::upper_bound(reach.begin(), reach.end(), *position));
            auto [memo, added] = byReach.try_emplace(reaching, 0);
            if (added)
                memo->second = CountRow(key, choice);
            n += memo->second;
        }
    }
    return n;
}

std::size_t ConstraintForest::StoredItems() const {
    std::size_t n = mSwitchedOff.size();
    for (const auto& [key, tree] : mTrees)
        n += tree.Count();
    for (const auto& [key, rules] : mRules)
        n += rules.rules.size();
    for (const auto& [key, known] : mChoices)
        n += known.ids.size();
    return n;
}

ConstraintForest ConstraintForest::Expanded() const {
    struct Insertion {
        std::uint64_t order;
        std::int64_t key, choice;
        KVPair pair;
        bool enabled;
    };
    std::vector<Insertion> insertions;
    for (const auto& [key, tree] : mTrees)
        for (const auto& [choice, entries] : tree.Items())
            for (const ConstraintEntry& e : entries)
                insertions.push_back(Insertion{e.order, key, choice, e.pair, e.enabled});
    auto side = [&](std::int64_t key, std::int64_t choice, bool whole, std::size_t known) {
        if (!whole)
            return std::vector<std::int64_t>{choice};
        auto it = mChoices.find(key);
        if (it == mChoices.end())
            return std::vector<std::int64_t>{};
        return std::vector<std::int64_t>(it->second.ids.begin(),
                                         it->second.ids.begin() + static_cast<std::ptrdiff_t>(known));
    };
    for (const auto& [key, rules] : mRules)
        for (const Rule& rule : rules.rules)
            for (std::int64_t a : side(rule.key1, rule.choice1, rule.whole1, rule.known1))
                for (std::int64_t b : side(rule.key2, rule.choice2, rule.whole2, rule.known2))
                    insertions.push_back(Insertion{rule.order, rule.key1, a, KVPair{rule.key2, b},
                                                   mSwitchedOff.count(EntryKey{rule.key1, a, rule.key2, b}) == 0});
    std::stable_sort(insertions.begin(), insertions.end(),
                     [](const Insertion& x, const Insertion& y) { return x.order < y.order; });
    ConstraintForest out;
    for (const Insertion& i : insertions)
        out.insert(i.key, i.choice, i.pair);
    for (const Insertion& i : insertions)
        if (!i.enabled)
            out.DisableConstraints(i.key, i.choice, i.pair.first, i.pair.second);
    return out;
}
