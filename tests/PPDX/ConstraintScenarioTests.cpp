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

// The chain and the loop are exercised end to end through kelvo-pde check
// (tests/tools/CheckCommandTests.cpp).

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
