// The conflict test, the breadth-first solver and the id containers under it.
#include <gtest/gtest.h>

#include <string>

#include "PPDX/Constraints/ConstraintsEngine.h"
#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/Constraints/ConstraintsTestWorld.h"

using namespace ctest;

namespace {

KVCache Pairs(std::initializer_list<KVPair> pairs) {
    KVCache cache;
    for (const KVPair& p : pairs)
        cache.add(p);
    return cache;
}

} // namespace

TEST(KVCache, InsertReplacesInPlaceAndIgnoresNegativeKeys) {
    KVCache cache;
    cache.Insert(3, 30);
    cache.Insert(1, 10);
    cache.Insert(3, 31); // replaced where it stands
    cache.Insert(-1, 5); // what a never-interned key looks like
    cache.add({1, 11});
    EXPECT_EQ(cache, Pairs({{3, 31}, {1, 10}, {1, 11}}));
    EXPECT_EQ(cache.GetKV(0), (KVPair{3, 31}));
    EXPECT_EQ(cache.GetItem(1), 10);
    EXPECT_EQ(cache.GetItem(7), -1);
    EXPECT_EQ(cache.Lookup({1, 11}), 2);
    EXPECT_EQ(cache.Lookup({3, 30}), -1);
    cache.Insert(4, -1);
    EXPECT_TRUE(cache.HasKey(4));
    EXPECT_FALSE(cache.HasKey(-1));
}

TEST(KVCache, EqualityIsMultisetEquality) {
    struct Row {
        KVCache a, b;
        bool equal;
    };
    const Row rows[] = {
        {Pairs({}), Pairs({}), true},
        {Pairs({{1, 2}, {3, 4}}), Pairs({{3, 4}, {1, 2}}), true},
        {Pairs({{1, 1}, {1, 2}}), Pairs({{1, 2}, {1, 1}}), true},
        {Pairs({{1, 2}}), Pairs({{1, 2}, {1, 2}}), false},
        {Pairs({{1, 1}, {1, 1}, {2, 2}}), Pairs({{1, 1}, {2, 2}, {2, 2}}), false},
        {Pairs({{1, 2}, {3, 4}}), Pairs({{1, 4}, {3, 2}}), false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.a == row.b, row.equal);
        EXPECT_EQ(row.b == row.a, row.equal);
    }
    EXPECT_EQ(Pairs({{1, 2}}) + Pairs({{1, 2}}), Pairs({{1, 2}, {1, 2}}));
}

TEST(ConstraintsEngine, TestReportsSelectedPartnersAndTheirAlternatives) {
    struct Row {
        const char* name;
        Names current, delta, conflicts, candidates;
    };
    const Row rows[] = {
        {"empty delta", {{"*Duplex", "None"}, {"*InputSlot", "Envelope"}}, {}, {}, {}},
        {"partners from the back, excluded alternatives skipped",
         {{"*Duplex", "None"}, {"*InputSlot", "Envelope"}, {"*MediaType", "Transparency"}},
         {{"*Duplex", "DuplexNoTumble"}},
         {{"*InputSlot", "Envelope"}, {"*MediaType", "Transparency"}},
         {{"*InputSlot", "Tray2"}, {"*InputSlot", "Tray1"}, {"*MediaType", "Plain"}}},
        {"repeat of current, other side not selected",
         {{"*MediaType", "Transparency"}, {"*InputSlot", "Envelope"}}, {{"*MediaType", "Transparency"}}, {}, {}},
        {"repeat of current, other side selected",
         {{"*MediaType", "Transparency"}, {"*InputSlot", "Tray2"}},
         {{"*MediaType", "Transparency"}},
         {{"*InputSlot", "Tray2"}},
         {{"*InputSlot", "Manual"}, {"*InputSlot", "Envelope"}, {"*InputSlot", "Tray1"}}},
        {"delta overrides the current choice",
         {{"*InputSlot", "Envelope"}}, {{"*InputSlot", "Tray1"}, {"*Duplex", "DuplexTumble"}}, {}, {}},
        {"declarations go one way", {{"*Duplex", "DuplexTumble"}}, {{"*InputSlot", "Envelope"}}, {}, {}},
        {"every alternative excluded", {{"*OutputBin", "Upper"}}, {{"*Fold", "True"}}, {{"*OutputBin", "Upper"}}, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        auto table = MakeWorld(row.current);
        const KVCache delta = Ids(*table, row.delta);
        const _KVErrorSet errors = table->Engine().Test(&delta);
        EXPECT_EQ(Text(*table, errors.conflicts), row.conflicts);
        EXPECT_EQ(Text(*table, errors.candidates), row.candidates);
    }
}

TEST(ConstraintsEngine, SolveFindsTheFirstConflictFreeProposal) {
    struct Row {
        const char* name;
        Names current, locked, proposal;
        bool keep;
        Names solution;  // the proposal afterwards, any order
        Names conflicts; // empty when solved
    };
    const Names duplexWorld = {{"*Duplex", "None"}, {"*InputSlot", "Envelope"}, {"*MediaType", "Transparency"}};
    const Names chain = {{"*A", "a0"}, {"*B", "b0"}, {"*C", "c0"}};
    const Names chainSolved = {{"*A", "a1"}, {"*B", "b1"}, {"*C", "c2"}};
    const Row rows[] = {
        {"empty proposal", chain, {}, {}, false, {}, {}},
        {"duplex vs envelope: last untouched slot wins",
         {{"*Duplex", "None"}, {"*InputSlot", "Envelope"}}, {}, {{"*Duplex", "DuplexTumble"}}, false,
         {{"*Duplex", "DuplexTumble"}, {"*InputSlot", "Manual"}}, {}},
        {"changes accumulate within a level", duplexWorld, {}, {{"*Duplex", "DuplexNoTumble"}}, false,
         {{"*Duplex", "DuplexNoTumble"}, {"*InputSlot", "Tray1"}, {"*MediaType", "Plain"}}, {}},
        {"keep: a key the search already set stays", duplexWorld, {}, {{"*Duplex", "DuplexNoTumble"}}, true,
         {{"*Duplex", "DuplexNoTumble"}, {"*InputSlot", "Tray2"}, {"*MediaType", "Plain"}}, {}},
        {"chain needs two levels", chain, {}, {{"*A", "a1"}}, false, chainSolved, {}},
        {"chain with keep", chain, {}, {{"*A", "a1"}}, true, chainSolved, {}},
        {"keep never changes a proposed key", chain, {}, {{"*A", "a1"}, {"*B", "b0"}}, true,
         {{"*A", "a1"}, {"*B", "b0"}}, {{"*B", "b0"}}},
        {"without keep the proposed key gives way", chain, {}, {{"*A", "a1"}, {"*B", "b0"}}, false, chainSolved, {}},
        {"whole key locked at level one", chain, {{"*B", kAnyChoice}}, {{"*A", "a1"}}, false, {{"*A", "a1"}},
         {{"*B", "b0"}}},
        {"the needed choice locked", chain, {{"*B", "b1"}}, {{"*A", "a1"}}, false, {{"*A", "a1"}}, {{"*B", "b0"}}},
        {"lock on another choice is no obstacle", chain, {{"*B", "b0"}}, {{"*A", "a1"}}, false, chainSolved, {}},
        {"lock at level two filters without reporting", chain, {{"*C", "c2"}}, {{"*A", "a1"}}, false,
         {{"*A", "a1"}, {"*B", "b1"}, {"*C", "c1"}}, {}},
        {"level two with every way out locked", chain, {{"*C", kAnyChoice}}, {{"*A", "a1"}}, false,
         {{"*A", "a1"}, {"*B", "b1"}}, {{"*C", "c0"}}},
        {"no candidates", {{"*OutputBin", "Upper"}}, {}, {{"*Fold", "True"}}, false, {{"*Fold", "True"}},
         {{"*OutputBin", "Upper"}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        auto table = MakeWorld(row.current);
        const KVCache locked = Ids(*table, row.locked);
        ConstraintsEngine engine(&table->CurrentSelections(), &table->GetConstraintForest(),
                                 &table->GetKeyForest(), &locked);
        KVCache proposal = Ids(*table, row.proposal);
        const _KVErrorSet result = engine.Solve(&proposal, row.keep);
        EXPECT_EQ(Text(*table, result.conflicts), row.conflicts);
        EXPECT_TRUE(result.candidates.empty());
        EXPECT_EQ(Sorted(Text(*table, proposal)), Sorted(row.solution));
    }
}

TEST(ConstraintsEngine, TestLockedStatusFiltersAndReportsCurrentChoice) {
    auto table = MakeWorld({{"*B", "b0"}, {"*C", "c0"}});
    const Names candidates = {{"*B", "b1"}, {"*C", "c1"}, {"*A", "a1"}, {"*B", "b0"}};
    struct Row {
        Names locked, kept, report;
    };
    const Row rows[] = {
        {{}, candidates, {}},
        {{{"*B", kAnyChoice}}, {{"*C", "c1"}, {"*A", "a1"}}, {{"*B", "b0"}}},
        {{{"*C", "c1"}, {"*B", "b0"}}, {{"*B", "b1"}, {"*A", "a1"}}, {{"*C", "c0"}, {"*B", "b0"}}},
    };
    for (const Row& row : rows) {
        const KVCache locked = Ids(*table, row.locked);
        ConstraintsEngine engine(&table->CurrentSelections(), &table->GetConstraintForest(),
                                 &table->GetKeyForest(), &locked);
        KVCache cands;
        for (const auto& [k, c] : candidates)
            cands.add({Id(*table, k), Id(*table, c)});
        EXPECT_EQ(Text(*table, engine.TestLockedStatus(&cands)), row.report);
        EXPECT_EQ(Text(*table, cands), row.kept);
    }
    // A locked key with no current choice is reported with -1.
    const KVCache lockA = Ids(*table, {{"*A", kAnyChoice}});
    ConstraintsEngine engine(&table->CurrentSelections(), &table->GetConstraintForest(), &table->GetKeyForest(),
                             &lockA);
    KVCache cands = Ids(*table, {{"*A", "a1"}});
    EXPECT_EQ(engine.TestLockedStatus(&cands), Pairs({{Id(*table, "*A"), -1}}));
}

// Colouring a complete graph of `keys` keys with fewer colours than keys,
// starting from every key on c0 and asking for K0 = c0 again: the first level
// pulls every key into the proposal, after which no proposal is clean. With
// 3 keys and 2 colours the tried list drains the queue; with 6 and 4 only the
// depth and queue bounds end the search.
static std::unique_ptr<UIConstraints> MakeUncolourable(int keys, int colours) {
    auto table = std::make_unique<UIConstraints>();
    for (int i = 0; i < keys; ++i)
        for (int j = 0; j < keys; ++j)
            for (int c = 0; c < colours && i != j; ++c)
                table->Add(("*K" + std::to_string(i)).c_str(), ("c" + std::to_string(c)).c_str(),
                           ("*K" + std::to_string(j)).c_str(), ("c" + std::to_string(c)).c_str(), false);
    for (int i = 0; i < keys; ++i) {
        for (int c = 0; c < colours; ++c)
            table->KVSInsert(("*K" + std::to_string(i)).c_str(), ("c" + std::to_string(c)).c_str());
        table->UpdateKVCache(("*K" + std::to_string(i)).c_str(), "c0");
    }
    table->Resolve();
    return table;
}

TEST(ConstraintsEngine, UnsolvableSearchEndsUnresolvedAndLeavesNoState) {
    for (auto [keys, colours] : {std::pair{3, 2}, std::pair{6, 4}}) {
        SCOPED_TRACE(keys);
        auto table = MakeUncolourable(keys, colours);
        ConstraintsEngine& engine = table->Engine();
        const KVCache request = Ids(*table, {{"*K0", "c0"}});
        KVCache first = request;
        const _KVErrorSet a = engine.Solve(&first, false);
        EXPECT_FALSE(a.Empty());
        EXPECT_FALSE(engine.Overflowed());
        // Purged state: the same request gives the same answer again.
        KVCache second = request;
        const _KVErrorSet b = engine.Solve(&second, false);
        EXPECT_EQ(Text(*table, a.conflicts), Text(*table, b.conflicts));
        EXPECT_EQ(first, second);
    }
}

TEST(ConstraintsEngine, SwitchedOffEntriesAndListings) {
    auto table = MakeWorld({{"*Duplex", "None"}, {"*InputSlot", "Envelope"}, {"*MediaType", "Transparency"}});
    auto id = [&](const char* s) { return Id(*table, s); };
    ConstraintsEngine& engine = table->Engine();

    EXPECT_EQ(Text(*table, engine.ListCurrentConstraints(id("*Duplex"))),
              (Names{{"*Duplex", "DuplexNoTumble"}, {"*Duplex", "DuplexTumble"}}));
    EXPECT_EQ(Text(*table, engine.ListBlockingConstraints(id("*Duplex"), id("DuplexNoTumble"), 0)),
              (Names{{"*InputSlot", "Envelope"}, {"*MediaType", "Transparency"}}));
    EXPECT_EQ(engine.ListBlockingConstraints(id("*Duplex"), id("DuplexNoTumble"), 1).size(), 1u);
    EXPECT_TRUE(engine.ListCurrentConstraints(-1).empty());

    // Switch off DuplexTumble -> Envelope: no longer tested, still counted and
    // still visible to a caller that asks for screened entries.
    ConstraintForest forest = table->GetConstraintForest();
    ConstraintsEngine local(&table->CurrentSelections(), &forest, &table->GetKeyForest());
    const std::size_t count = forest.Count();
    EXPECT_TRUE(forest.DisableConstraints(id("*Duplex"), id("DuplexTumble"), id("*InputSlot"), id("Envelope")));
    EXPECT_FALSE(forest.DisableConstraints(id("*Duplex"), id("None"), id("*InputSlot"), id("Envelope")));
    EXPECT_FALSE(forest.DisableConstraints(id("*Nope"), id("None"), id("*InputSlot"), id("Envelope")));
    EXPECT_EQ(forest.Count(), count);
    EXPECT_EQ(Text(*table, local.ListCurrentConstraints(id("*Duplex"))), (Names{{"*Duplex", "DuplexNoTumble"}}));

    const KVCache envelope = Ids(*table, {{"*InputSlot", "Envelope"}});
    EXPECT_EQ(Text(*table, local.ListScreenedConstraints(envelope, true, -1)),
              (Names{{"*Duplex", "DuplexNoTumble"}}));
    EXPECT_EQ(Text(*table, local.ListScreenedConstraints(envelope, false, -1)),
              (Names{{"*Duplex", "DuplexNoTumble"}, {"*Duplex", "DuplexTumble"}}));
    EXPECT_TRUE(local.ListScreenedConstraints(envelope, false, id("*MediaType")).empty());

    EXPECT_TRUE(forest.EnableConstraints(id("*Duplex"), id("DuplexTumble"), id("*InputSlot"), id("Envelope")));
    EXPECT_EQ(local.ListCurrentConstraints(id("*Duplex")).size(), 2u);
}
