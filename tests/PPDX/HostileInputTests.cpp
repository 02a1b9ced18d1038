// Files built to make reading expensive: whole-key constraints between two
// huge popups, a popup of 100,000 choices, 40,000 groups. Each must read in
// time and memory that follow the file's size; these tests check the answers
// at full size, which takes well under a second even under the sanitizers
// (kelvo-parse-bench --benchmark_filter=Hostile measures the cost).
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "PPDX/Constraints/ConstraintsTestWorld.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/PPDXGroups.h"
#include "PPDX/QJVPPD.h"
#include "ParseHelpers.h"
#include "bench/HostilePPD.h"

using ctest::Names;
using ctest::Text;
using kelvohostile::ChoiceName;
using kelvotest::ErrorCodes;

TEST(HostileInput, WholeKeyConstraintsBetweenHugePopupsAreNotWrittenOut) {
    const std::size_t n = 5000;
    QJVPPDRef doc = QJVPPD::FromBytes(kelvohostile::CrossConstrainedPopups(n), kParseAll);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(ErrorCodes(*doc).empty());
    UIConstraints& table = *doc->GetUIConstraints();
    const CStringSoup& soup = table.GetConstraintStrings();
    const std::int64_t a = soup.Find("*QJA"), b = soup.Find("*QJB");

    // Every choice but None against every choice but None, both ways, yet
    // the table keeps two rules and the choices they cover.
    const ConstraintForest& forest = table.GetConstraintForest();
    EXPECT_EQ(forest.Count(), 2 * n * n);
    EXPECT_LE(forest.StoredItems(), 2 + 2 * n);
    EXPECT_EQ(table.GetRequiresForest().Count(), 0u);
    EXPECT_EQ(forest.Rows(a).size(), n);

    auto list = forest.GetConstraintList(a, soup.Find(ChoiceName('a', 0)));
    ASSERT_TRUE(list);
    ASSERT_EQ(list->size(), n);
    EXPECT_EQ(list->front(), (KVPair{b, soup.Find(ChoiceName('b', 0))}));
    EXPECT_EQ(list->back(), (KVPair{b, soup.Find(ChoiceName('b', n - 1))}));
    EXPECT_FALSE(forest.GetConstraintList(a, soup.Find("None")));
    EXPECT_TRUE(forest.Holds(b, soup.Find(ChoiceName('b', n - 1)), KVPair{a, soup.Find(ChoiceName('a', 7))}, true));
    EXPECT_FALSE(forest.Holds(b, soup.Find(ChoiceName('b', 1)), KVPair{a, soup.Find("None")}, false));

    // Both popups start on None, which no whole-key declaration covers.
    const std::string a7 = ChoiceName('a', 7), b9 = ChoiceName('b', 9);
    EXPECT_FALSE(doc->IsKVConstrained("*QJA", a7.c_str()));
    ASSERT_TRUE(doc->SetValueForKey("*QJB", b9));
    EXPECT_TRUE(doc->IsKVConstrained("*QJA", a7.c_str()));
    EXPECT_FALSE(doc->IsKVConstrained("*QJA", "None"));

    // Of B's choices only None stands with a7: the one way out.
    KVCache proposal;
    proposal.Insert(a, soup.Find(a7));
    const _KVErrorSet test = table.Engine().Test(&proposal);
    EXPECT_EQ(Text(table, test.conflicts), (Names{{"*QJB", b9}}));
    EXPECT_EQ(Text(table, test.candidates), (Names{{"*QJB", "None"}}));
    EXPECT_TRUE(table.Engine().Solve(&proposal, false).Empty());
    EXPECT_EQ(Text(table, proposal), (Names{{"*QJA", a7}, {"*QJB", "None"}}));

    // A partner switched off no longer excludes: it becomes a way out too.
    ConstraintForest screened = forest;
    const std::string b3 = ChoiceName('b', 3);
    ASSERT_TRUE(screened.DisableConstraints(a, soup.Find(a7), b, soup.Find(b3)));
    EXPECT_EQ(screened.Count(), forest.Count());
    ConstraintsEngine engine(&table.CurrentSelections(), &screened, &table.GetKeyForest());
    KVCache request;
    request.Insert(a, soup.Find(a7));
    EXPECT_EQ(Text(table, engine.Test(&request).candidates), (Names{{"*QJB", b3}, {"*QJB", "None"}}));

    // What the panel greys when the A popup opens: every choice but None.
    const KVCache greyed = table.Engine().ListCurrentConstraints(a);
    EXPECT_EQ(greyed.size(), n);
    EXPECT_EQ(greyed.Lookup(KVPair{a, soup.Find("None")}), -1);
}

TEST(HostileInput, PopupOfHundredThousandChoices) {
    const std::size_t n = 100000;
    QJVPPDRef doc = QJVPPD::FromBytes(kelvohostile::HugePopup(n), kParseAll);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(ErrorCodes(*doc).empty());
    auto* popup = dynamic_cast<PPDXPopupControl*>(doc->GetControls()->FindAny("*QJBig"));
    ASSERT_NE(popup, nullptr);
    EXPECT_EQ(popup->ItemCount(), n);
    EXPECT_EQ(popup->GetValue(), 1);

    // The key index holds every choice once, in file order.
    const UIConstraints& table = *doc->GetUIConstraints();
    const CStringSoup& soup = table.GetConstraintStrings();
    const std::vector<std::int64_t>& choices = table.GetKeyForest().GetItems(soup.Find("*QJBig"));
    ASSERT_EQ(choices.size(), n);
    EXPECT_EQ(*soup.Text(choices.front()), ChoiceName('c', 0));
    EXPECT_EQ(*soup.Text(choices[n / 2]), ChoiceName('c', n / 2));
    EXPECT_EQ(*soup.Text(choices.back()), ChoiceName('c', n - 1));

    ASSERT_TRUE(doc->SetValueForKey("*QJBig", ChoiceName('c', n - 1)));
    EXPECT_EQ(popup->GetValue(), static_cast<long>(n));
    EXPECT_EQ(table.CurrentSelections().GetItem(soup.Find("*QJBig")), soup.Find(ChoiceName('c', n - 1)));
}

TEST(HostileInput, FortyThousandGroups) {
    const std::size_t n = 40000;
    QJVPPDRef doc = QJVPPD::FromBytes(kelvohostile::ManyGroups(n), kParseAll);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(ErrorCodes(*doc).empty());
    const PPDXGroups& groups = *doc->GetGroups();
    // Every declared group, used or not, plus the header's QJGroup.
    EXPECT_EQ(groups.Count(), n + 1);

    for (std::size_t i = 0; i < n; i += 64) {
        PPDXControl* control = doc->GetControls()->FindAny(("*QJOn" + std::to_string(i)).c_str());
        ASSERT_NE(control, nullptr) << i;
        ASSERT_NE(control->GetParent(), nullptr) << i;
        EXPECT_STREQ(control->GetParent()->Keyword(), ("G" + std::to_string(i)).c_str());
    }

    // The index answers what a walk over the collection would.
    auto walk = [&](const char* name, bool exact) -> PPDXGroup* {
        for (PPDXGroup* g : groups.All())
            if (KeywordMatches(g->Keyword(), name, exact))
                return g;
        return nullptr;
    };
    const std::string last = "G" + std::to_string(n - 1);
    struct Row {
        const char* name;
        bool exact;
        bool found;
    };
    const Row rows[] = {
        {"G0", true, true},    {last.c_str(), true, true}, {"G1", true, true},     {"QJGroup", true, true},
        {"G", true, false},    {"Nope", true, false},      {"", true, false},      {"G399", false, true},
        {"99", false, true},   {"Group", false, true},     {"", false, true},      {"Nope", false, false},
        {nullptr, true, false}, {nullptr, false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.name ? row.name : "null") + (row.exact ? " exact" : " part"));
        PPDXGroup* found = groups.Find(row.name, row.exact);
        EXPECT_EQ(found, walk(row.name, row.exact));
        EXPECT_EQ(found != nullptr, row.found);
    }
}

TEST(HostileInput, RepeatedGroupNameKeepsItsFirstDeclaration) {
    std::string text = kelvohostile::kHeader;
    text += "*%QJVGroupName Twice/First: \"True\"\n*%QJVGroupName Twice/Second: \"True\"\n"
            "*%QJVFlags *QJOn: \"\"\n*%QJVGroup *QJOn: Twice\n*OpenUI *QJOn/On: Boolean\n*DefaultQJOn: False\n"
            "*QJOn True: \"t\"\n*QJOn False: \"f\"\n*CloseUI: *QJOn\n";
    QJVPPDRef doc = QJVPPD::FromBytes(text, kParseAll);
    ASSERT_TRUE(doc);
    PPDXGroup* group = doc->GetGroups()->Find("Twice", true);
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->CFStringUserName(), "First ");
    EXPECT_EQ(doc->GetControls()->FindAny("*QJOn")->GetParent(), group);
}

TEST(HostileInput, GroupIndexReportsTheFirstGroupOfAName) {
    PPDXGroups groups;
    auto* first = new PPDXGroup("Same", "one", true);
    auto* other = new PPDXGroup("Other", "", true);
    groups.Add(first);
    groups.Add(new PPDXGroup(nullptr, "nameless", true));
    groups.Add(other);
    groups.Add(new PPDXGroup("Same", "two", true));
    groups.Add(nullptr);
    EXPECT_EQ(groups.Count(), 4u);
    EXPECT_EQ(groups.Find("Same", true), first);
    EXPECT_EQ(groups.Find("Other", true), other);
    EXPECT_EQ(groups.Find("ame", false), first);
    EXPECT_EQ(groups.Find("the", false), other);
    EXPECT_EQ(groups.Find("ame", true), nullptr);
}
