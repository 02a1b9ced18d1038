// Constraint scenarios read from the PPDs in tests/data/constraints: the table
// the parser fills, the panel's question, and the solver over it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PPDX/Constraints/ConstraintsTestWorld.h"
#include "PPDX/QJVPPD.h"
#include "TestSupport.h"

using ctest::Ids;
using ctest::Names;
using ctest::Text;

namespace {

struct Loaded {
    explicit Loaded(const char* name) : doc(new QJVPPD(kelvotest::DataPath("constraints") / name, kParseAll)) {
        EXPECT_TRUE(doc->IsValidPPD()) << name;
        EXPECT_EQ(doc->GetErrors()->At(0), nullptr) << name;
    }
    UIConstraints& Table() const { return *doc->GetUIConstraints(); }
    void Set(const Names& sets) const {
        for (const auto& [key, choice] : sets)
            ASSERT_TRUE(doc->SetValueForKey(key, choice)) << key;
    }
    QJVPPDRef doc;
};

struct Question {
    Names sets; // applied in order before asking
    const char* key;
    const char* choice;
    bool constrained;
};

void Ask(const char* file, const std::vector<Question>& rows) {
    for (const Question& q : rows) {
        SCOPED_TRACE(std::string(file) + " " + q.key + "=" + q.choice);
        Loaded l(file); // fresh defaults for every row
        l.Set(q.sets);
        EXPECT_EQ(l.doc->IsKVConstrained(q.key, q.choice), q.constrained);
    }
}

} // namespace

TEST(ConstraintScenario, DuplexAndEnvelopeExcludeEachOtherBothWays) {
    Ask("duplex-envelope.ppd",
        {
            {{}, "*Duplex", "DuplexTumble", false},
            {{}, "*InputSlot", "Envelope", false},
            {{{"InputSlot", "Envelope"}}, "*Duplex", "DuplexNoTumble", true},
            {{{"InputSlot", "Envelope"}}, "*Duplex", "DuplexTumble", true},
            {{{"InputSlot", "Envelope"}}, "*Duplex", "None", false}, // not in the whole-key expansion
            {{{"InputSlot", "Envelope"}}, "*QJCollate", "False", false},
            {{{"Duplex", "DuplexNoTumble"}}, "*InputSlot", "Envelope", true},
            {{{"Duplex", "DuplexNoTumble"}}, "*InputSlot", "Manual", false},
            // Moving away from the envelope feeder lifts the constraint.
            {{{"InputSlot", "Envelope"}, {"InputSlot", "Tray2"}}, "*Duplex", "DuplexTumble", false},
        });

    Loaded l("duplex-envelope.ppd");
    l.Set({{"Duplex", "DuplexNoTumble"}});
    UIConstraints& t = l.Table();
    const KVCache request = Ids(t, {{"*InputSlot", "Envelope"}});
    const _KVErrorSet e = t.Engine().Test(&request);
    EXPECT_EQ(Text(t, e.conflicts), (Names{{"*Duplex", "DuplexNoTumble"}}));
    // Short edge is excluded by the envelope too, so only "None" is offered.
    EXPECT_EQ(Text(t, e.candidates), (Names{{"*Duplex", "None"}}));
    KVCache proposal = request;
    EXPECT_TRUE(t.Engine().Solve(&proposal, true).Empty());
    EXPECT_EQ(Text(t, proposal), (Names{{"*InputSlot", "Envelope"}, {"*Duplex", "None"}}));
}

TEST(ConstraintScenario, ChainNeedsTwoChangesAndLocksShapeTheAnswer) {
    struct Row {
        const char* name;
        Names locked; // ctest::kAnyChoice locks every choice of the key
        bool keep;
        bool solved;
        Names expected; // the solved proposal, or the conflicts left
    };
    const std::vector<Row> rows = {
        {"free", {}, true, true, {{"*QJBooklet", "True"}, {"*QJStaple", "Saddle"}, {"*PageSize", "A4"}}},
        {"free, may change the request", {}, false, true,
         {{"*QJBooklet", "True"}, {"*QJStaple", "Saddle"}, {"*PageSize", "A4"}}},
        // A lock met below the first level only removes that candidate.
        {"A4 locked", {{"*PageSize", "A4"}}, true, true,
         {{"*QJBooklet", "True"}, {"*QJStaple", "Saddle"}, {"*PageSize", "Letter"}}},
        // With no paper size left to try, the last level's conflict comes back.
        {"paper size locked", {{"*PageSize", ctest::kAnyChoice}}, true, false, {{"*PageSize", "Legal"}}},
        // At the first level a lock ends the search with the locked key's current choice.
        {"staple locked", {{"*QJStaple", ctest::kAnyChoice}}, true, false, {{"*QJStaple", "Corner"}}},
        {"saddle locked", {{"*QJStaple", "Saddle"}}, true, false, {{"*QJStaple", "Corner"}}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        Loaded l("chain.ppd");
        UIConstraints& t = l.Table();
        const KVCache request = Ids(t, {{"*QJBooklet", "True"}});
        const _KVErrorSet first = t.Engine().Test(&request);
        EXPECT_EQ(Text(t, first.conflicts), (Names{{"*QJStaple", "Corner"}}));
        EXPECT_EQ(Text(t, first.candidates), (Names{{"*QJStaple", "Saddle"}})); // "None" is excluded too

        const KVCache locked = Ids(t, r.locked);
        t.Engine().SetLocked(&locked);
        KVCache proposal = request;
        const _KVErrorSet e = t.Engine().Solve(&proposal, r.keep);
        t.Engine().SetLocked(nullptr);
        EXPECT_EQ(e.Empty(), r.solved);
        EXPECT_EQ(Text(t, r.solved ? proposal : e.conflicts), r.expected);
        if (!r.solved)
            continue;
        // The solution really is consistent once the panel applies it.
        for (const auto& [key, choice] : Text(t, proposal))
            ASSERT_TRUE(l.doc->SetValueForKey(key, choice));
        EXPECT_FALSE(l.doc->IsKVConstrained("*QJBooklet", "True"));
        EXPECT_FALSE(l.doc->IsKVConstrained("*QJStaple", "Saddle"));
    }
}

TEST(ConstraintScenario, LoopExhaustsTheSearchUnresolved) {
    Loaded l("loop.ppd");
    UIConstraints& t = l.Table();
    // The queue overflows at level 11 and the search stops at the depth bound,
    // on a proposal with eleven steps on: the seven still off conflict with the
    // stacker, and every step that is on conflicts with it back. A different
    // depth bound stops on a different proposal.
    Names left;
    for (const char* step : {"*QJBind", "*QJPerforate", "*QJCrease", "*QJTrim", "*QJStaple", "*QJPunch", "*QJFold"})
        left.emplace_back(step, "False");
    left.insert(left.end(), 11, {"*QJOutputBin", "Stacker"});
    for (bool keep : {true, false}) {
        SCOPED_TRACE(keep);
        KVCache proposal = Ids(t, {{"*QJOutputBin", "Stacker"}});
        const _KVErrorSet e = t.Engine().Solve(&proposal, keep);
        EXPECT_EQ(Text(t, e.conflicts), left);
        EXPECT_EQ(e.candidates.size(), 7u); // the last level's, untried
        EXPECT_EQ(proposal.size(), 12u);
        EXPECT_EQ(proposal.front(), Ids(t, {{"*QJOutputBin", "Stacker"}}).front());
    }
}

TEST(ConstraintScenario, RequirementsNeverConstrain) {
    Ask("requires.ppd",
        {
            {{}, "*QJStaple", "Saddle", false}, // the booklet it requires is on
            {{}, "*QJPunch", "Two", false},     // the plain paper it requires is selected
            {{{"QJPunch", "Three"}}, "*MediaType", "Plain", false},
            {{{"QJPunch", "Three"}}, "*MediaType", "Labels", true}, // the real exclusion
            {{{"MediaType", "Labels"}}, "*QJPunch", "Two", true},
        });

    // They were read, and expanded, into their own forest.
    Loaded l("requires.ppd");
    UIConstraints& t = l.Table();
    const CStringSoup& s = t.GetConstraintStrings();
    for (const char* punch : {"Two", "Three"}) {
        auto list = t.GetRequiresForest().GetConstraintList(s.Find("*QJPunch"), s.Find(punch));
        ASSERT_TRUE(list) << punch;
        EXPECT_EQ(*list, (ItemConstraintList{{s.Find("*MediaType"), s.Find("Plain")}}));
    }
    auto none = t.GetRequiresForest().GetConstraintList(s.Find("*QJPunch"), s.Find("None"));
    EXPECT_TRUE(!none || none->empty()); // "None" is left out of the expansion
    const KVCache saddle = Ids(t, {{"*QJStaple", "Saddle"}});
    EXPECT_TRUE(t.Engine().Test(&saddle).Empty());
}
