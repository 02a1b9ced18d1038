// Tests proposed selections against the constraint forest and resolves conflicts.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "PPDX/Constraints/ConstraintForest.h"
#include "PPDX/Constraints/KVCache.h"

/// Result of a test: the selections a proposal collides with, and the
/// (key, alternative) changes that would each remove one collision.
struct _KVErrorSet {
    KVCache conflicts;
    KVCache candidates;
    bool Empty() const { return conflicts.empty(); }
};

/// Works on interned ids only. Borrows the current selections, the forest,
/// the key index and (optionally) a locked cache; they must outlive it.
/// A null current cache, forest or key index behaves as an empty one.
class ConstraintsEngine {
public:
    static constexpr std::int64_t kMaxDepth = 128;
    static constexpr std::size_t kMaxQueue = 128;

    ConstraintsEngine(const KVCache* current, const ConstraintForest* forest, const KeyForest* keys,
                      const KVCache* locked = nullptr);

    /// Conflicts of `delta` applied over a copy of the current selections.
    /// Each delta pair's partner list is walked from its back; a partner that
    /// is selected is a conflict, and every other choice of the partner's key
    /// (from the back of the key's choice list) that the same delta pair does
    /// not exclude is a candidate. Stateless.
    _KVErrorSet Test(const KVCache* delta) const;
    /// Same answer as !Test(&delta).Empty(), stopping at the first conflict
    /// and collecting no candidates: the panel's yes-or-no question.
    bool HasConflict(const KVCache& delta) const;
    /// Breadth-first search for a conflict-free extension of `proposal`,
    /// which is changed in place. Solved: the returned conflicts are empty and
    /// `proposal` holds the request plus the changes that settle it.
    /// Unsolved: the conflicts of the last test come back and `proposal`
    /// holds whatever the search last tried, so a caller that wants its
    /// request back must keep a copy. The candidates are only a by-product:
    /// empty when the search ran dry (it consumes them), the last level's
    /// full list when the depth bound stopped it.
    /// The search ends after 128 levels or once 128 proposals were queued.
    /// With `keepProposedKeys` no key the proposal already holds is changed;
    /// that includes keys the search itself has added on the way down.
    /// A first-level candidate that is locked ends the search at once with
    /// the locked keys and their current choices as conflicts.
    _KVErrorSet Solve(KVCache* proposal, bool keepProposedKeys);
    /// Removes locked candidates and reports them as (key, current choice;
    /// -1 when the key has none). A locked pair (k, -1) blocks every change
    /// of k; (k, c) blocks only the change of k to c.
    KVCache TestLockedStatus(KVCache* candidates) const;
    void purge();

    void SetLocked(const KVCache* locked) { mLocked = locked; }
    /// Meaningful only during a search; Solve purges before returning.
    bool Overflowed() const { return mOverflow; }

    /// Every (key, choice) of the forest whose partner list holds a pair of
    /// `selection`, in forest order (key id, then choice id), each once.
    /// With `enabledOnly` false switched-off entries count too, so a caller
    /// can see what it has screened. `key` >= 0 restricts to that key.
    KVCache ListScreenedConstraints(const KVCache& selection, bool enabledOnly, std::int64_t key) const;
    /// The choices of `key` (key index order) that, chosen alone, would
    /// conflict with the current selections: what a popup should grey out.
    KVCache ListCurrentConstraints(std::int64_t key) const;
    /// The current selections that block choosing (key, choice), each once,
    /// in test order; `limit` > 0 caps the number reported.
    KVCache ListBlockingConstraints(std::int64_t key, std::int64_t choice, std::int64_t limit) const;

private:
    _KVErrorSet RSolve(KVCache* proposal, bool keepProposedKeys);
    bool AlreadyTried(const KVCache& proposal) const;

    std::deque<KVCache> mQueue;
    std::vector<KVCache> mTried;
    bool mOverflow = false;
    std::int64_t mDepth = 0;
    const KVCache* mCurrent;
    const ConstraintForest* mForest;
    const KeyForest* mKeys;
    const KVCache* mLocked;
};
