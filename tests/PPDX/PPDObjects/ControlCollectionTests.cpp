// The control collection: counts under each display option, finders, emptiness.
#include <gtest/gtest.h>

#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/PPDXControls.h"
#include "PPDX/PPDObjects/PPDXGroup.h"
#include "PPDX/PPDX.h"

namespace {

struct OptionGuard {
    _DISPLAY_OPTIONS_ saved = PPDX::Options();
    ~OptionGuard() { PPDX::Options(saved); }
};

PPDXPopupControl* Popup(const char* keyword, bool visible, PPDXElement* parent) {
    auto* p = new PPDXPopupControl(keyword, "T", FlagList{}, visible, false, false, PopupItemList{}, std::nullopt,
                                   nullptr);
    p->SetParent(parent);
    return p;
}

} // namespace

TEST(ControlCollection, CountsUnderEachDisplayOption) {
    OptionGuard guard;
    PPDXGroup group("G", "g", true);
    PPDXControls controls;
    controls.Add(Popup("*PageSize", true, &group));  // visible, parented
    controls.Add(Popup("*QJPrintSize", true, nullptr)); // visible orphan
    controls.Add(Popup("*QJHidden", false, &group));  // hidden
    controls.Add(Popup("*QJGhost", false, nullptr));  // hidden orphan
    controls.Add(nullptr);
    const std::uint64_t expected[] = {1, 2, 2, 4, 0};
    for (_DISPLAY_OPTIONS_ option = 0; option < 5; ++option) {
        PPDX::Options(option);
        EXPECT_EQ(controls.PopupCount(), expected[option]) << option;
        int walked = 0;
        CNTL_TYPE type;
        for (PPDXControl* c = controls.First(type); c; c = controls.Next(type))
            ++walked;
        EXPECT_EQ(static_cast<std::uint64_t>(walked), option == 4 ? 4u : expected[option]) << option;
    }
}

TEST(ControlCollection, FindHonoursDisplayOptionTypedWalksDoNot) {
    OptionGuard guard;
    PPDXGroup group("G", "g", true);
    PPDXControls controls;
    controls.Add(Popup("*PageSize", true, &group));
    controls.Add(Popup("*QJPrintSize", true, &group));
    controls.Add(Popup("*QJHidden", false, &group));
    PPDX::Options(kDisplayIncludeOrphans);
    CNTL_TYPE type = kControlTypeNone;
    EXPECT_STREQ(controls.Find("Size", type, false)->Keyword(), "*PageSize");
    EXPECT_EQ(type, kControlTypePopup);
    EXPECT_EQ(controls.Find("Size", type, true), nullptr);
    EXPECT_EQ(controls.Find("*QJHidden", type, true), nullptr);
    EXPECT_NE(controls.FindPopup("*QJHidden", true), nullptr);
    int walked = 0;
    for (PPDXPopupControl* p = controls.FirstPopupControl(); p; p = controls.NextPopupControl())
        ++walked;
    EXPECT_EQ(walked, 3);
    EXPECT_EQ(controls.Find(nullptr, type, true), nullptr);
}

TEST(ControlCollection, JobNotesAloneAreEmptyAndUncounted) {
    OptionGuard guard;
    PPDX::Options(kDisplayAll);
    PPDXControls controls;
    controls.Add(new PPDXJobNote("*Notes1", "N", FlagList{}, {}, std::nullopt, true, 10, 0, 0, nullptr));
    EXPECT_TRUE(controls.Empty());
    EXPECT_EQ(controls.ControlCount(), 0u);
    EXPECT_EQ(controls.JobNoteCount(), 1u);
    PPDX::Options(kDisplayVisibleParented);
    EXPECT_NE(controls.FirstJobNote(), nullptr); // the walk ignores the display option...
    EXPECT_EQ(PPDX::Options(), kDisplayVisibleParented); // ...and restores it
    controls.Add(new PPDXRangeControl("*QJR", "R", FlagList{}, {}, 0, 9, 1, 0, true, nullptr));
    PPDX::Options(kDisplayAll);
    EXPECT_FALSE(controls.Empty());
    EXPECT_EQ(controls.ControlCount(), 1u);
}
