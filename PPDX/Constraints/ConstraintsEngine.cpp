// Conflict test and breadth-first conflict resolution over interned ids.
#include "PPDX/Constraints/ConstraintsEngine.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

namespace {

const KVCache kNoSelections;
const ConstraintForest kNoConstraints;
const KeyForest kNoKeys;

constexpr std::size_t kScanLimit = 32;

/// Whether a selection holds a pair: a scan while that is cheap, a hash set
/// once a long selection has been asked often. A whole-key rule can give one
/// choice thousands of partners, and a document can have thousands of
/// selections; scanning one for each of the other would be quadratic. The
/// selection must outlive the probe and stay unchanged.
class SelectionProbe {
public:
    explicit SelectionProbe(const KVCache& pairs) : mPairs(pairs) {}

    bool Holds(const KVPair& pair) {
        if (mPairs.size() <= kScanLimit || ++mScans <= kScansBeforeIndex)
            return std::find(mPairs.begin(), mPairs.end(), pair) != mPairs.end();
        if (mSet.empty())
            mSet.insert(mPairs.begin(), mPairs.end());
        return mSet.count(pair) != 0;
    }

private:
    static constexpr std::size_t kScansBeforeIndex = 8;

    const KVCache& mPairs;
    std::size_t mScans = 0;
    std::unordered_set<KVPair, KVPairHash> mSet;
};

} // namespace

ConstraintsEngine::ConstraintsEngine(const KVCache* current, const ConstraintForest* forest, const KeyForest* keys,
                                     const KVCache* locked)
    : mCurrent(current ? current : &kNoSelections),
      mForest(forest ? forest : &kNoConstraints),
      mKeys(keys ? keys : &kNoKeys),
      mLocked(locked) {}

_KVErrorSet ConstraintsEngine::Test(const KVCache* delta) const {
    _KVErrorSet errors;
    if (!delta)
        return errors;

    // The delta overrides the current choice of its keys.
    KVCache working = *mCurrent;
    for (const KVPair& pair : *delta)
        working.Insert(pair);
    SelectionProbe selected(working);

    for (const KVPair& proposed : *delta) {
        const std::unique_ptr<ItemConstraintList> list = mForest->GetConstraintList(proposed.first, proposed.second);
        if (!list)
            continue;
        // Whether (proposed) also excludes `pair`: a short list is scanned; a
        // long one (a whole-key rule's) is asked of the forest, which knows
        // without a search.
        auto excludes = [&](const KVPair& pair) {
            if (list->size() <= kScanLimit)
                return std::find(list->begin(), list->end(), pair) != list->end();
            return mForest->Holds(proposed.first, proposed.second, pair, true);
        };

        for (auto partner = list->rbegin(); partner != list->rend(); ++partner) {
            if (!selected.Holds(*partner))
                continue; // the other side is not selected: no conflict
            errors.conflicts.add(*partner);

            const std::vector<std::int64_t>& choices = mKeys->GetItems(partner->first);
            for (auto it = choices.rbegin(); it != choices.rend(); ++it) {
                const std::int64_t alternative = *it;
                if (alternative == partner->second)
                    continue;
                // An alternative the same proposed pair also excludes would
                // only trade one conflict for another.
                if (excludes(KVPair{partner->first, alternative}))
                    continue;
                errors.candidates.add(KVPair{partner->first, alternative});
            }
        }
    }
    return errors;
}

bool ConstraintsEngine::HasConflict(const KVCache& delta) const {
    KVCache working = *mCurrent;
    for (const KVPair& pair : delta)
        working.Insert(pair);
    SelectionProbe selected(working);
    for (const KVPair& proposed : delta) {
        std::unique_ptr<ItemConstraintList> list = mForest->GetConstraintList(proposed.first, proposed.second);
        if (!list)
            continue;
        for (const KVPair& partner : *list)
            if (selected.Holds(partner))
                return true;
    }
    return false;
}

void ConstraintsEngine::purge() {
    mQueue.clear();
    mTried.clear();
    mOverflow = false;
    mDepth = 0;
}

_KVErrorSet ConstraintsEngine::Solve(KVCache* proposal, bool keepProposedKeys) {
    if (!proposal)
        return {};
    purge();
    _KVErrorSet result = RSolve(proposal, keepProposedKeys);
    purge();
    return result;
}

bool ConstraintsEngine::AlreadyTried(const KVCache& proposal) const {
    return std::any_of(mTried.begin(), mTried.end(), [&proposal](const KVCache& t) { return t == proposal; });
}

_KVErrorSet ConstraintsEngine::RSolve(KVCache* proposal, bool keepProposedKeys) {
    ++mDepth;
    _KVErrorSet errors = Test(proposal);
    if (errors.conflicts.empty() || mDepth > kMaxDepth)
        return errors;

    KVCache locked = TestLockedStatus(&errors.candidates);
    if (mDepth == 1 && !locked.empty()) {
        // The user asked for something only a locked choice could make room
        // for: report the locks rather than searching around them.
        _KVErrorSet report;
        report.conflicts = std::move(locked);
        return report;
    }

    while (!errors.candidates.empty()) {
        const KVPair candidate = errors.candidates.front();
        errors.candidates.pop_front();
        if (keepProposedKeys && proposal->HasKey(candidate.first))
            continue;

        // Earlier candidates' changes stay in: the proposal accumulates every
        // change tried at this level, which is what lets one level settle
        // several independent conflicts.
        proposal->Insert(candidate);
        // Only whether this proposal conflicts matters here (a clean test has
        // no candidates either), so skip building the full error set: on a
        // dense forest that is nearly all of the search's cost.
        if (!HasConflict(*proposal))
            return _KVErrorSet{};
        if (mOverflow)
            continue;
        if (AlreadyTried(*proposal))
            continue;
        mQueue.push_back(*proposal);
        if (mQueue.size() > kMaxQueue)
            mOverflow = true;
    }

    if (mQueue.empty())
        return errors;

    KVCache next = std::move(mQueue.front());
    mQueue.pop_front();
    mTried.insert(mTried.begin(), next);
    *proposal = std::move(next);
    return RSolve(proposal, keepProposedKeys);
}

KVCache ConstraintsEngine::TestLockedStatus(KVCache* candidates) const {
    KVCache report;
    if (!mLocked || !candidates || mLocked->empty())
        return report;

    KVCache kept;
    for (const KVPair& candidate : *candidates) {
        const bool isLocked = std::any_of(mLocked->begin(), mLocked->end(), [&candidate](const KVPair& lock) {
            return lock.first == candidate.first && (lock.second == -1 || lock.second == candidate.second);
        });
        if (isLocked)
            report.Insert(candidate.first, mCurrent->GetItem(candidate.first));
        else
            kept.add(candidate);
    }
    *candidates = std::move(kept);
    return report;
}

KVCache ConstraintsEngine::ListScreenedConstraints(const KVCache& selection, bool enabledOnly,
                                                   std::int64_t key) const {
    KVCache screened;
    const std::optional<std::int64_t> only = key >= 0 ? std::optional<std::int64_t>(key) : std::nullopt;
    // Asked pair by pair of the selection rather than entry by entry of each
    // list: a whole-key rule's lists are long, a selection is short.
    for (const KVPair& row : mForest->Rows(only)) {
        const bool hit = std::any_of(selection.begin(), selection.end(), [&](const KVPair& pair) {
            return mForest->Holds(row.first, row.second, pair, enabledOnly);
        });
        if (hit)
            screened.add(row);
    }
    return screened;
}

KVCache ConstraintsEngine::ListCurrentConstraints(std::int64_t key) const {
    KVCache constrained;
    if (key < 0)
        return constrained;
    for (std::int64_t choice : mKeys->GetItems(key)) {
        KVCache delta;
        delta.Insert(key, choice);
        if (HasConflict(delta))
            constrained.add(KVPair{key, choice});
    }
    return constrained;
}

KVCache ConstraintsEngine::ListBlockingConstraints(std::int64_t key, std::int64_t choice, std::int64_t limit) const {
    KVCache blocking;
    KVCache delta;
    delta.Insert(key, choice);
    for (const KVPair& conflict : Test(&delta).conflicts) {
        if (limit > 0 && static_cast<std::int64_t>(blocking.size()) >= limit)
            break;
        if (blocking.Lookup(conflict) < 0)
            blocking.add(conflict);
    }
    return blocking;
}
