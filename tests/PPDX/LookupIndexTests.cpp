// The indexes that keep parsing linear answer exactly as the walks they
// replace: the control collection's keyword index and the constraint table's
// index of current selections.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/PPDXControls.h"

namespace {

PPDXPopupControl* Popup(const std::string& keyword, bool visible = true) {
    return new PPDXPopupControl(keyword.c_str(), "T", FlagList{}, visible, false, false, PopupItemList{},
                                std::nullopt, nullptr);
}

TEST(ControlCollection, FindAnyReturnsTheFirstControlAddedWithTheExactKeyword) {
    PPDXControls controls;
    std::vector<PPDXControl*> added;
    for (int i = 0; i < 300; ++i) {
        added.push_back(Popup("*QJOpt" + std::to_string(i), i % 2 == 0));
        controls.Add(added.back());
    }
    controls.Add(Popup("*QJOpt7")); // a second control with a keyword already taken
    for (int i = 0; i < 300; ++i)
        EXPECT_EQ(controls.FindAny(("*QJOpt" + std::to_string(i)).c_str()), added[i]) << i;

    // Exact bytes only: no prefix, no part, no missing asterisk, no blank.
    for (const char* miss : {"*QJOpt", "QJOpt7", "*QJOpt7 ", "*QJOpt300", "*qjopt7", ""})
        EXPECT_EQ(controls.FindAny(miss), nullptr) << '"' << miss << '"';
    EXPECT_EQ(controls.FindAny(nullptr), nullptr);
}

TEST(UIConstraints, CurrentSelectionsKeepFirstReportOrderAndLastChoice) {
    // The table's cache must hold what KVCache::Insert alone would: one pair
    // per key in the order keys were first reported, with the latest choice,
    // and nothing for a negative key.
    UIConstraints table;
    KVCache model;
    std::uint64_t state = 1;
    for (int i = 0; i < 3000; ++i) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        const std::int64_t key = static_cast<std::int64_t>((state >> 33) % 80) - 4;
        const std::int64_t choice = static_cast<std::int64_t>((state >> 17) % 9);
        table.UpdateKVCache(key, choice);
        model.Insert(key, choice);
    }
    const KVCache& got = table.CurrentSelections();
    ASSERT_EQ(got.size(), model.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_EQ(got.GetKV(i), model.GetKV(i)) << i;
}

} // namespace
