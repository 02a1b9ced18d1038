// Constraint storage by id: (key, choice) -> the pairs it may not stand with.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "PPDX/Constraints/KVCache.h"

/// One (key, choice) pair's partner. An entry can be switched off without
/// being removed so that a caller can screen constraints temporarily.
/// `order` is the forest's insertion stamp, which fixes the entry's place
/// among the partners that whole-key declarations add.
struct ConstraintEntry {
    KVPair pair;
    bool enabled = true;
    std::uint64_t order = 0;
};

using ItemConstraintList = std::vector<KVPair>;

enum ConstraintType { kConstraintExcludes = 0, kConstraintRequires = 1 };

/// For one key: choice id -> its partner list, in insertion order. Holds
/// only the pairs declared one by one; see ConstraintForest for the rest.
class KeyConstraintTree {
public:
    /// Adds (choice -> pair) stamped `order`; returns whether it was new. An
    /// entry already present is kept as it is, including its on/off switch.
    bool insert(std::int64_t choice, const KVPair& pair, std::uint64_t order = 0);
    /// The enabled partners of `choice` in insertion order, or null when the
    /// choice has no list. A list whose entries are all off comes back empty.
    std::unique_ptr<ItemConstraintList> GetConstraintList(std::int64_t choice) const;
    /// Switch the entry (choice -> pair) on or off; returns whether it
    /// exists. Nothing is created for an unknown entry.
    bool EnableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2);
    bool DisableConstraints(std::int64_t choice, std::int64_t key2, std::int64_t choice2);
    /// The entry (choice -> pair), or null.
    const ConstraintEntry* Find(std::int64_t choice, const KVPair& pair) const;
    ConstraintEntry* Find(std::int64_t choice, const KVPair& pair);
    /// Number of entries, switched on or off.
    std::size_t Count() const;
    const std::map<std::int64_t, std::vector<ConstraintEntry>>& Items() const { return mItems; }

private:
    /// (choice, key2, choice2): an entry, for the duplicate test at insert.
    struct EntryId {
        std::int64_t choice, key2, choice2;
        bool operator==(const EntryId&) const = default;
    };
    struct EntryIdHash {
        std::size_t operator()(const EntryId& e) const;
    };

    std::map<std::int64_t, std::vector<ConstraintEntry>> mItems;
    // Position of each entry of the choices with kScanLimit partners or
    // more, so that insertion and look-up stay O(1) however many partners one
    // choice has: a file can list thousands of constraints against the same
    // choice. Shorter lists are scanned, which is cheaper.
    static constexpr std::size_t kScanLimit = 16;
    std::unordered_map<EntryId, std::size_t, EntryIdHash> mIndex;
};

/// key id -> the ids of its choices in insertion order (no duplicates).
/// Negative ids are not recorded: only the soup's ids are meaningful here.
class KeyForest {
public:
    /// O(1) amortised: a popup can register 100,000 choices.
    void Insert(std::int64_t key, std::int64_t choice);
    /// The choices of `key`; empty for an unknown key.
    const std::vector<std::int64_t>& GetItems(std::int64_t key) const;
    bool HasKey(std::int64_t key) const { return mKeys.count(key) != 0; }

private:
    /// Pairs of non-negative ids, open-addressed in one array at most half
    /// full: a popup's 100,000 choices cost no allocation each.
    class PairSet {
    public:
        /// Returns whether `pair` was new.
        bool Insert(const KVPair& pair);

    private:
        static constexpr KVPair kFree{-1, -1};
        void Grow();
        std::vector<KVPair> mSlots;
        std::size_t mUsed = 0;
    };

    std::map<std::int64_t, std::vector<std::int64_t>> mKeys;
    // The (key, choice) pairs of keys with more than kScanLimit choices: a
    // short list is scanned for duplicates, a long one is looked up here.
    static constexpr std::size_t kScanLimit = 16;
    PairSet mLarge;
};

/// key id -> choice id -> the pairs that may not be selected with it.
///
/// Pairs come in two ways. `insert` records one pair. `insertWholeKey`
/// records a declaration that names a whole key on one side or both; it is
/// kept as one rule, never written out pair by pair, so its cost does not
/// grow with the product of the two keys' choice counts (two popups of 5,000
/// choices constrained against each other would be 25 million pairs). Every
/// question is answered as if each rule had been written out, at the moment
/// it was added, with `insert` over the choices the key index held then:
/// lists, their order, de-duplication, counts and switches are exactly those
/// of the written-out table (Expanded() builds it, for checking).
///
/// Memory is O(pairs inserted + rules + choices of the keys the rules
/// name), whatever the written-out table would hold: about 160 bytes per
/// pair and at most about 450 bytes per rule with its index entries, each
/// from a statement of 20 bytes or more, and about 50 bytes per remembered
/// choice, each from a choice line of 6 bytes or more; so at most some 25
/// times the size of the file the declarations come from (switches a caller
/// sets come on top).
class ConstraintForest {
public:
    void insert(std::int64_t key, std::int64_t choice, const KVPair& pair);
    /// Records (key1, choice1) -> (key2, choice2) only; the caller decides
    /// whether the reverse direction is wanted too (type is informational).
    void insert(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2,
                ConstraintType type = kConstraintExcludes);
    /// Records a declaration naming a whole key: an absent choice stands for
    /// every choice `keys` holds for that key now, in the index's order,
    /// except the ids in `skipped`; choices the index learns later are not
    /// covered. Written out, it is (key1, a) -> (key2, b) for every a and b
    /// so covered, a running over the outer loop. A choice is weighed against
    /// `skipped` when a rule first takes it in; a skipped id must never be
    /// replaced by another one later (the caller's are fixed strings whose
    /// id only goes from missing to known). Both choices absent or present
    /// is allowed; with both present it is a plain insert.
    void insertWholeKey(const KeyForest& keys, std::int64_t key1, std::optional<std::int64_t> choice1,
                        std::int64_t key2, std::optional<std::int64_t> choice2,
                        std::span<const std::int64_t> skipped);

    /// A new list of the enabled partners in insertion order, or null when
    /// (key, choice) has no entry at all.
    std::unique_ptr<ItemConstraintList> GetConstraintList(std::int64_t key, std::int64_t choice) const;
    /// Every entry of (key, choice), switched on or off, in list order.
    std::vector<ConstraintEntry> Entries(std::int64_t key, std::int64_t choice) const;
    /// Whether (key, choice) -> pair is an entry (switched on, with `enabledOnly`).
    bool Holds(std::int64_t key, std::int64_t choice, const KVPair& pair, bool enabledOnly) const;
    /// Every (key, choice) with at least one entry, by key id then choice id;
    /// only those of `key` when given.
    std::vector<KVPair> Rows(std::optional<std::int64_t> key = std::nullopt) const;

    /// Switch one entry on or off (a switched-off entry is left out of
    /// GetConstraintList, hence out of every test); returns whether the entry
    /// exists.
    bool EnableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2);
    bool DisableConstraints(std::int64_t key1, std::int64_t choice1, std::int64_t key2, std::int64_t choice2);
    /// Number of (key, choice) -> (key, choice) entries, switched on or off,
    /// as written out. Counted without writing anything out.
    std::size_t Count() const;
    /// What the forest keeps in memory: pairs, rules and remembered choices.
    std::size_t StoredItems() const;
    /// The same table with every rule written out pair by pair (and the same
    /// switches). Costs what the written-out table costs: for checks.
    ConstraintForest Expanded() const;

private:
    /// One whole-key declaration. A side with `whole` set covers the first
    /// `known` choices of the key's snapshot (mChoices); otherwise its choice.
    struct Rule {
        std::int64_t key1, choice1, key2, choice2;
        bool whole1, whole2;
        std::size_t known1, known2;
        std::uint64_t order;
    };
    /// Rules by their first key, in insertion order, with the indexes the
    /// look-ups need. A rule is one of three kinds: whole first key and whole
    /// second key, whole first key and one second choice, one first choice
    /// and whole second key. Each kind has its own index, whose buckets hold
    /// only rules that differ in how many choices they cover (a declaration
    /// repeated after more choices were registered); a repeat covering
    /// nothing new is dropped, so buckets stay short whatever the file says.
    struct KeyRules {
        std::vector<Rule> rules;
        std::vector<std::size_t> wholeRules;                                  // whole1, in order
        std::unordered_map<std::int64_t, std::vector<std::size_t>> byChoice; // choice1 -> rules, in order
        std::unordered_map<std::int64_t, std::vector<std::size_t>> wholeByKey2;             // key2 -> both whole
        std::unordered_map<KVPair, std::vector<std::size_t>, KVPairHash> wholeByPair;        // (key2, choice2)
        std::unordered_map<KVPair, std::vector<std::size_t>, KVPairHash> byChoiceAndKey2;    // (choice1, key2)
    };
    /// The choices of a key that rules have taken in, skipped ones left out:
    /// append-only, like the key index it copies.
    struct KeyChoices {
        std::vector<std::int64_t> ids;
        std::unordered_map<std::int64_t, std::size_t> position;
        std::size_t scanned = 0; // how much of the key index has been looked at
    };
    struct EntryKey {
        std::int64_t key, choice, key2, choice2;
        bool operator==(const EntryKey&) const = default;
    };
    struct EntryKeyHash {
        std::size_t operator()(const EntryKey& e) const;
    };
    class Seen;

    std::size_t TakeIn(const KeyForest& keys, std::int64_t key, std::span<const std::int64_t> skipped);
    /// Whether `choice` is among the first `known` remembered choices of `key`.
    bool Covers(std::int64_t key, std::int64_t choice, std::size_t known) const;
    /// The index bucket a rule of `rules` belongs to.
    static std::vector<std::size_t>& Bucket(KeyRules& rules, const Rule& rule);
    bool RuleHolds(std::int64_t key, std::int64_t choice, const KVPair& pair) const;
    /// The rules of `key` that apply to `choice`, in insertion order.
    std::vector<const Rule*> RulesFor(std::int64_t key, std::int64_t choice) const;
    /// Calls visit(pair, enabled) for each entry of (key, choice) in order.
    template <class Visit>
    void Walk(std::int64_t key, std::int64_t choice, Visit&& visit) const;
    std::size_t CountRow(std::int64_t key, std::int64_t choice) const;
    /// Every key with a tree or rules, ascending.
    std::vector<std::int64_t> Keys() const;
    /// The choices of `key` with at least one entry, ascending.
    std::vector<std::int64_t> RowsOf(std::int64_t key) const;

    std::map<std::int64_t, KeyConstraintTree> mTrees;
    std::map<std::int64_t, KeyRules> mRules;
    std::unordered_map<std::int64_t, KeyChoices> mChoices;
    // Entries that only rules make, switched off by a caller.
    std::unordered_set<EntryKey, EntryKeyHash> mSwitchedOff;
    std::uint64_t mOrder = 0;
};
