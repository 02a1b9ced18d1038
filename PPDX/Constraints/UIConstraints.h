// The document's constraint table: declarations, choices per key, current selections.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "PPDX/Constraints/CStringSoup.h"
#include "PPDX/Constraints/ConstraintForest.h"
#include "PPDX/Constraints/ConstraintsEngine.h"
#include "PPDX/Constraints/KVCache.h"

/// Filled while a PPD is read (Add, KVSInsert), completed by Resolve(), then
/// kept current by every control's value change (UpdateKVCache). Owns its
/// solver, created on the first test.
class UIConstraints {
public:
    UIConstraints();
    ~UIConstraints();
    UIConstraints(const UIConstraints&) = delete;
    UIConstraints& operator=(const UIConstraints&) = delete;

    /// One declaration, recorded in the direction given only. A null or empty
    /// choice names the whole key; such a declaration waits for Resolve(),
    /// when every key's choices are known. A null key is taken as "".
    /// `isRequires` puts it in the requires forest, which no test consults.
    void Add(const char* key1, const char* choice1, const char* key2, const char* choice2, bool isRequires);
    void Add(std::string_view key1, std::string_view choice1, std::string_view key2, std::string_view choice2,
             bool isRequires);
    /// Records `choice` as one of the choices of `key`.
    void KVSInsert(const char* key, const char* choice);
    void KVSInsert(std::int64_t keyId, std::int64_t choiceId);
    /// Records `choice` as the current selection of `key`.
    void UpdateKVCache(const char* key, const char* choice);
    void UpdateKVCache(std::int64_t keyId, std::int64_t choiceId);
    /// Completes whole-key declarations over the choices known now, leaving
    /// out "False" and "None" (a Boolean's off state and the usual "no
    /// option" choice never exclude anything): the table is filled once, and
    /// choices registered afterwards are not covered. Each declaration stays
    /// one rule of its forest (ConstraintForest::insertWholeKey), answered as
    /// if written out pair by pair, so the table's size follows the file's.
    void Resolve();

    /// Would selecting `choice` for `key` conflict with the current selections?
    /// The strings are looked up, never interned. A key nobody interned
    /// (kMissing, i.e. -1) is never constrained: a negative key cannot enter a
    /// KVCache, so its test would be of an empty delta anyway. A null key or
    /// choice is not constrained either.
    bool IsKVConstrained(const char* key, const char* choice);
    bool IsKVConstrained(std::int64_t keyId, std::int64_t choiceId);
    /// True when applying `delta` leaves no conflict. Creates the solver on
    /// first use; the requires forest is not consulted.
    bool ValidateDelta(const KVCache& delta);

    /// Declarations accepted by Add, before expansion or de-duplication:
    /// one per constraint statement read.
    std::size_t ExcludesDeclared() const { return mExcludesDeclared; }
    std::size_t RequiresDeclared() const { return mRequiresDeclared; }

    const ConstraintForest& GetConstraintForest() const { return mConstraints; }
    const ConstraintForest& GetRequiresForest() const { return mRequires; }
    const CStringSoup& GetConstraintStrings() const { return mStrings; }
    CStringSoup& GetConstraintStrings() { return mStrings; }
    const KVCache& CurrentSelections() const { return mCurrent; }
    const KeyForest& GetKeyForest() const { return mKeys; }
    /// The solver, created on demand.
    ConstraintsEngine& Engine();

private:
    struct Deferred {
        std::int64_t key1, choice1, key2, choice2;
        bool isRequires;
    };

    ConstraintForest mConstraints;
    ConstraintForest mRequires;
    CStringSoup mStrings;
    std::unique_ptr<ConstraintsEngine> mSolver;
    KVCache mCurrent;
    // Key id -> its pair's position in mCurrent, which only UpdateKVCache
    // changes (always appending): every control reports its selection while
    // the PPD is read, so a search of mCurrent per report would be quadratic.
    std::unordered_map<std::int64_t, std::size_t> mCurrentIndex;
    KeyForest mKeys;
    std::vector<Deferred> mDeferred;
    std::size_t mExcludesDeclared = 0;
    std::size_t mRequiresDeclared = 0;
};
