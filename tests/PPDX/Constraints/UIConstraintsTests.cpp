// Declarations, whole-key expansion and the panel's constrained-choice question.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>

#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/Constraints/ConstraintsTestWorld.h"

using namespace ctest;

namespace {

using Entry = std::tuple<std::string, std::string, std::string, std::string>;

std::set<Entry> Entries(const UIConstraints& table, const ConstraintForest& forest) {
    const CStringSoup& soup = table.GetConstraintStrings();
    std::set<Entry> entries;
    for (const KVPair& row : forest.Rows())
        for (const ConstraintEntry& e : forest.Entries(row.first, row.second))
            entries.emplace(*soup.Text(row.first), *soup.Text(row.second), *soup.Text(e.pair.first),
                            *soup.Text(e.pair.second));
    return entries;
}

void RegisterChoices(UIConstraints& table) {
    for (const char* c : {"None", "DuplexNoTumble", "DuplexTumble"})
        table.KVSInsert("*Duplex", c);
    for (const char* c : {"None", "Tray1", "Envelope"})
        table.KVSInsert("*InputSlot", c);
    for (const char* c : {"True", "False"})
        table.KVSInsert("*Collate", c);
}

} // namespace

TEST(UIConstraints, ResolveExpandsWholeKeysExceptFalseAndNone) {
    struct Row {
        const char *k1, *c1, *k2, *c2;
        std::set<Entry> expected;
    };
    const Row rows[] = {
        {"*Duplex", nullptr, "*InputSlot", "Envelope",
         {{"*Duplex", "DuplexNoTumble", "*InputSlot", "Envelope"}, {"*Duplex", "DuplexTumble", "*InputSlot", "Envelope"}}},
        {"*Duplex", "DuplexTumble", "*InputSlot", "",
         {{"*Duplex", "DuplexTumble", "*InputSlot", "Tray1"}, {"*Duplex", "DuplexTumble", "*InputSlot", "Envelope"}}},
        {"*Collate", "", "*Duplex", nullptr,
         {{"*Collate", "True", "*Duplex", "DuplexNoTumble"}, {"*Collate", "True", "*Duplex", "DuplexTumble"}}},
        // Named explicitly, "False" is an ordinary choice.
        {"*Duplex", "DuplexTumble", "*Collate", "False", {{"*Duplex", "DuplexTumble", "*Collate", "False"}}},
        // Keys no control declares are accepted.
        {"*Duplex", nullptr, "*Nowhere", "X",
         {{"*Duplex", "DuplexNoTumble", "*Nowhere", "X"}, {"*Duplex", "DuplexTumble", "*Nowhere", "X"}}},
        {"*Nowhere", nullptr, "*Duplex", nullptr, {}},
    };
    for (bool isRequires : {false, true}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(row.k1) + " " + row.k2 + (isRequires ? " requires" : ""));
            UIConstraints table;
            // Declared before the controls register their choices.
            table.Add(row.k1, row.c1, row.k2, row.c2, isRequires);
            RegisterChoices(table);
            table.Resolve();
            const ConstraintForest& used = isRequires ? table.GetRequiresForest() : table.GetConstraintForest();
            const ConstraintForest& other = isRequires ? table.GetConstraintForest() : table.GetRequiresForest();
            EXPECT_EQ(Entries(table, used), row.expected);
            EXPECT_EQ(used.Count(), row.expected.size());
            EXPECT_EQ(other.Count(), 0u);
        }
    }
}

TEST(UIConstraints, TableIsFilledOnce) {
    UIConstraints table;
    table.Add("*Duplex", nullptr, "*InputSlot", "Envelope", false);
    table.Resolve(); // no choices known yet
    table.KVSInsert("*Duplex", "DuplexTumble");
    table.Resolve();
    EXPECT_EQ(table.GetConstraintForest().Count(), 0u);

    table.Add("*Duplex", "", "*InputSlot", "Envelope", false);
    table.Resolve();
    table.KVSInsert("*Duplex", "DuplexNoTumble");
    table.Resolve();
    EXPECT_EQ(table.GetConstraintForest().Count(), 1u);
}

TEST(UIConstraints, IsKVConstrainedAnswersAgainstCurrentSelections) {
    auto table = MakeWorld({{"*Duplex", "None"}, {"*InputSlot", "Envelope"}});
    table->Add("*Duplex", "DuplexTumble", "*InputSlot", "Tray1", true); // requires: never a conflict
    table->UpdateKVCache("*InputSlot", "Tray1");
    table->UpdateKVCache("*InputSlot", "Envelope");
    EXPECT_EQ(table->CurrentSelections().size(), 2u);

    struct Row {
        const char *key, *choice;
        bool constrained;
    };
    const Row rows[] = {
        {"*Duplex", "DuplexTumble", true},
        {"*Duplex", "DuplexNoTumble", true},
        {"*Duplex", "None", false},
        {"*InputSlot", "Envelope", false}, // declarations are one-way
        {"*Duplex", "NeverSeen", false},
        {"*NeverSeen", "DuplexTumble", false},
        {"*NeverSeen", "NeverSeen2", false},
        {nullptr, "DuplexTumble", false},
        {"*Duplex", nullptr, false},
    };
    const std::size_t interned = table->GetConstraintStrings().Size();
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.key ? row.key : "null") + " " + (row.choice ? row.choice : "null"));
        EXPECT_EQ(table->IsKVConstrained(row.key, row.choice), row.constrained);
    }
    EXPECT_EQ(table->GetConstraintStrings().Size(), interned);
    EXPECT_FALSE(table->IsKVConstrained(CStringSoup::kMissing, Id(*table, "DuplexTumble")));

    table->UpdateKVCache("*InputSlot", "Tray1");
    EXPECT_FALSE(table->IsKVConstrained("*Duplex", "DuplexTumble"));
    EXPECT_TRUE(table->ValidateDelta(Ids(*table, {{"*Duplex", "DuplexTumble"}, {"*InputSlot", "Tray1"}})));
    EXPECT_FALSE(table->ValidateDelta(Ids(*table, {{"*Duplex", "DuplexTumble"}, {"*InputSlot", "Envelope"}})));
}
