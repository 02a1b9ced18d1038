// Constraint storage by id: (key, choice) -> the pairs it may not stand with.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <unordered_set>
#include <vector>

#include "PPDX/Constraints/KVCache.h"

/// One (key, choice) pair's partners. An entry can be switched off without
/// being removed so that a caller can screen constraints temporarily.
struct ConstraintEntry {
    KVPair pair;
    bool enabled = true;
};

using ItemConstraintList = std::vector<KVPair>;

enum ConstraintType { kConstraintExcludes = 0, kConstraintRequires = 1 };

/// For one key: choice id -> its partner list, in insertion order.
class KeyConstraintTree {
public:
    /// Adds (choice -> pair). An entry already present is kept as it is,
    /// including its on/off switch.
    void insert(std::int64_t choice, const KVPair& pair);
    /// The enabled partners of `choice` in insertion order, or null when the
    /// choice has no list. A list whose entries are all off comes back empty.
    std::unique_ptr<ItemConstraintList> GetConstraintList(std::int64_t choice) const;
    /// Switch the entry (choice -> pair) on or off; returns whether it
    /// exists. Nothing is created for an unknown entry.
    bool EnableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2);
    bool DisableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2);
    /// Number of entries, switched on or off.
    std::size_t Count() const;
    const std::map<std::int64_t, std::vector<ConstraintEntry>>& Items() const { return mItems; }

private:
    bool SetEnabled(std::int64_t choice, std::int64_t key2, std::int64_t choice2, bool on);

    /// (choice, key2, choice2): an entry, for the duplicate test at insert.
    struct EntryId {
        std::int64_t choice, key2, choice2;
        bool operator==(const EntryId&) const = default;
    };
    struct EntryIdHash {
        std::size_t operator()(const EntryId& e) const;
    };

    std::map<std::int64_t, std::vector<ConstraintEntry>> mItems;
    // Entries of the choices with kScanLimit partners or more, so that
    // insertion stays O(1) however many partners one choice has: a file can
    // list thousands of constraints against the same choice.
    static constexpr std::size_t kScanLimit = 16;
    std::unordered_set<EntryId, EntryIdHash> mPresent;
};

/// key id -> KeyConstraintTree. Duplicate insertions are kept once.
class ConstraintForest {
public:
    void insert(std::int64_t key, std::int64_t choice, const KVPair& pair);
    /// Records (key1, choice1) -> (key2, choice2) only; the caller decides
    /// whether the reverse direction is wanted too (type is informational).
    void insert(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2,
                ConstraintType type = kConstraintExcludes);
    /// A new list of the enabled partners, or null when the key has no tree
    /// or the key's tree has no list for the choice.
    std::unique_ptr<ItemConstraintList> GetConstraintList(std::int64_t key, std::int64_t choice) const;
    /// Switch one entry on or off (a switched-off entry is left out of
    /// GetConstraintList, hence out of every test); returns whether the entry
    /// exists.
    bool EnableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2);
    bool DisableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2);
    /// Number of (key, choice) -> (key, choice) entries, switched on or off.
    std::size_t Count() const;
    const std::map<std::int64_t, KeyConstraintTree>& Trees() const { return mTrees; }

private:
    std::map<std::int64_t, KeyConstraintTree> mTrees;
};

/// key id -> the ids of its choices in insertion order (no duplicates).
/// Negative ids are not recorded: only the soup's ids are meaningful here.
class KeyForest {
public:
    void Insert(std::int64_t key, std::int64_t choice);
    /// The choices of `key`; empty for an unknown key.
    const std::vector<std::int64_t>& GetItems(std::int64_t key) const;
    bool HasKey(std::int64_t key) const { return mKeys.count(key) != 0; }

private:
    std::map<std::int64_t, std::vector<std::int64_t>> mKeys;
};
