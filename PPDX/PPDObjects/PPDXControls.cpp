// Control collection: ownership, typed walks, finders and counts.
#include "PPDX/PPDObjects/PPDXControls.h"

#include <climits>
#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/SnapshotItems.h"
#include "PPDX/PPDX.h"

PPDXControls::~PPDXControls() {
    if (mOwns)
        for (PPDXControl* control : mAll)
            delete control;
}

void PPDXControls::Add(std::unique_ptr<PPDXControl> control) {
    if (!control)
        return;
    mAll.push_back(nullptr);
    mAll.back() = control.release();
    Index(mAll.back());
}

void PPDXControls::Add(PPDXControl* control) {
    if (!control)
        return;
    mAll.push_back(control);
    Index(control);
}

void PPDXControls::Index(PPDXControl* control) {
    if (const char* keyword = control->Keyword())
        mByKeyword.try_emplace(keyword, control);
    int t = -1;
    if (dynamic_cast<PPDXJobNote*>(control))
        t = kJobNotes;
    else if (dynamic_cast<PPDXBooleanControl*>(control))
        t = kBooleans;
    else if (dynamic_cast<PPDXPopupControl*>(control))
        t = kPopups;
    else if (dynamic_cast<PPDXRangeControl*>(control))
        t = kRanges;
    else if (dynamic_cast<PPDXFloatRangeControl*>(control))
        t = kFloatRanges;
    else if (dynamic_cast<PPDXCustomPageSizeControl*>(control))
        t = kCustomSizes;
    else if (dynamic_cast<PPDXSpecialOption*>(control))
        t = kSpecials;
    if (t < 0)
        return;
    mLists[t].items.push_back(control);
    CountIn(t, *control);
}

void PPDXControls::CountIn(int t, const PPDXControl& control) {
    CountArray& c = mCounts[t];
    ++c.total;
    if (control.IsOrphan())
        ++c.orphans;
    if (!control.IsVisible())
        ++c.hidden;
    if (control.IsOrphan() && !control.IsVisible())
        ++c.hiddenOrphans;
}

void PPDXControls::Recount() {
    for (int t = 0; t < kTypeCount; ++t) {
        mCounts[t] = {};
        for (const PPDXControl* control : mLists[t].items)
            CountIn(t, *control);
    }
}

PPDXControls::PPDXControls(Settings& settings, UIConstraints* constraints) : mOwns(true) {
    namespace snap = kelvo::snapshot;
    for (const std::int32_t id : snap::MemberIds(settings, kControlTag, kControlCount, kFirstControlId)) {
        std::unique_ptr<PPDXControl> control;
        if (snap::Has(settings, tagPopupControl, id))
            control = std::make_unique<PPDXPopupControl>(settings, id, constraints);
        else if (snap::Has(settings, tagBooleanControl, id))
            control = std::make_unique<PPDXBooleanControl>(settings, id, constraints);
        else if (snap::Has(settings, tagRangeControl, id))
            control = std::make_unique<PPDXRangeControl>(settings, id, constraints);
        else if (snap::Has(settings, tagFloatRangeControl, id))
            control = std::make_unique<PPDXFloatRangeControl>(settings, id, constraints);
        else if (snap::Has(settings, tagJobNote, id))
            control = std::make_unique<PPDXJobNote>(settings, id, constraints);
        else if (snap::Has(settings, tagSO_SpecialOptionControl, id))
            control = std::make_unique<PPDXSpecialOption>(settings, id, constraints);
        else
            control = std::make_unique<PPDXCustomPageSizeControl>(settings, id, constraints);
        Add(std::move(control));
    }
}

SettingsStatus PPDXControls::Save(Settings& settings) {
    namespace snap = kelvo::snapshot;
    std::vector<PPDXControl*> walked;
    CNTL_TYPE type;
    for (PPDXControl* control = First(type); control; control = Next(type))
        walked.push_back(control);
    // The count is of every control; under any display option but "all"
    // the walk may write fewer members than it says.
    if (walked.size() > static_cast<std::size_t>(INT32_MAX - kFirstControlId))
        return kSettingsIdOverflow;
    SettingsStatus status = snap::AddCount(settings, kControlTag, kControlCount, mAll.size());
    std::int32_t id = kFirstControlId;
    for (const PPDXControl* control : walked) {
        if (status != kSettingsNoErr)
            break;
        status = control->Save(settings, id++);
    }
    return status;
}

void PPDXControls::Restore(Settings& settings) {
    CNTL_TYPE type;
    std::int32_t id = kFirstControlId;
    for (PPDXControl* control = First(type); control && id < INT32_MAX; control = Next(type))
        control->Restore(settings, id++);
}

PPDXControl* PPDXControls::First(CNTL_TYPE& type) {
    mCursor = 0;
    return Next(type);
}

PPDXControl* PPDXControls::Next(CNTL_TYPE& type) {
    const _DISPLAY_OPTIONS_ option = PPDX::Options();
    while (mCursor < mAll.size()) {
        PPDXControl* control = mAll[mCursor++];
        if (control->OkayToDisplay(option)) {
            type = control->Type();
            return control;
        }
    }
    return nullptr;
}

PPDXControl* PPDXControls::Find(const char* keyword, CNTL_TYPE& type, const bool& exact) const {
    if (!keyword)
        return nullptr;
    const _DISPLAY_OPTIONS_ option = PPDX::Options();
    for (PPDXControl* control : mAll) {
        if (control->OkayToDisplay(option) && KeywordMatches(control->Keyword(), keyword, exact)) {
            type = control->Type();
            return control;
        }
    }
    return nullptr;
}

PPDXControl* PPDXControls::FindAny(const char* keyword) const {
    if (!keyword)
        return nullptr;
    auto it = mByKeyword.find(std::string_view(keyword));
    return it == mByKeyword.end() ? nullptr : it->second;
}

PPDXControl* PPDXControls::TypeFirst(TypeIndex t) {
    mLists[t].cursor = 0;
    return TypeNext(t);
}

PPDXControl* PPDXControls::TypeNext(TypeIndex t) {
    TypeList& list = mLists[t];
    return list.cursor < list.items.size() ? list.items[list.cursor++] : nullptr;
}

PPDXControl* PPDXControls::TypeFind(TypeIndex t, const char* keyword, bool exact) const {
    if (!keyword)
        return nullptr;
    for (PPDXControl* control : mLists[t].items)
        if (KeywordMatches(control->Keyword(), keyword, exact))
            return control;
    return nullptr;
}

// clang-format off
PPDXPopupControl* PPDXControls::FirstPopupControl() { return static_cast<PPDXPopupControl*>(TypeFirst(kPopups)); }
PPDXPopupControl* PPDXControls::NextPopupControl() { return static_cast<PPDXPopupControl*>(TypeNext(kPopups)); }
PPDXBooleanControl* PPDXControls::FirstBooleanControl() { return static_cast<PPDXBooleanControl*>(TypeFirst(kBooleans)); }
PPDXBooleanControl* PPDXControls::NextBooleanControl() { return static_cast<PPDXBooleanControl*>(TypeNext(kBooleans)); }
PPDXRangeControl* PPDXControls::FirstRangeControl() { return static_cast<PPDXRangeControl*>(TypeFirst(kRanges)); }
PPDXRangeControl* PPDXControls::NextRangeControl() { return static_cast<PPDXRangeControl*>(TypeNext(kRanges)); }
PPDXFloatRangeControl* PPDXControls::FirstFloatRangeControl() { return static_cast<PPDXFloatRangeControl*>(TypeFirst(kFloatRanges)); }
PPDXFloatRangeControl* PPDXControls::NextFloatRangeControl() { return static_cast<PPDXFloatRangeControl*>(TypeNext(kFloatRanges)); }
PPDXSpecialOption* PPDXControls::FirstSpecialOption() { return static_cast<PPDXSpecialOption*>(TypeFirst(kSpecials)); }
PPDXSpecialOption* PPDXControls::NextSpecialOption() { return static_cast<PPDXSpecialOption*>(TypeNext(kSpecials)); }
PPDXPopupControl* PPDXControls::FindPopup(const char* k, const bool& e) const { return static_cast<PPDXPopupControl*>(TypeFind(kPopups, k, e)); }
PPDXBooleanControl* PPDXControls::FindBoolean(const char* k, const bool& e) const { return static_cast<PPDXBooleanControl*>(TypeFind(kBooleans, k, e)); }
PPDXRangeControl* PPDXControls::FindRangeControl(const char* k, const bool& e) const { return static_cast<PPDXRangeControl*>(TypeFind(kRanges, k, e)); }
PPDXFloatRangeControl* PPDXControls::FindFloatRangeControl(const char* k, const bool& e) const { return static_cast<PPDXFloatRangeControl*>(TypeFind(kFloatRanges, k, e)); }
PPDXJobNote* PPDXControls::FindJobNote(const char* k, const bool& e) const { return static_cast<PPDXJobNote*>(TypeFind(kJobNotes, k, e)); }
PPDXSpecialOption* PPDXControls::FindSpecialOption(const char* k, const bool& e) const { return static_cast<PPDXSpecialOption*>(TypeFind(kSpecials, k, e)); }
// clang-format on

// The job-note walk runs under "visible" so that notes, which need no
// parent, are offered; the caller's display option is put back afterwards.
PPDXJobNote* PPDXControls::FirstJobNote() {
    const _DISPLAY_OPTIONS_ saved = PPDX::Options();
    PPDX::Options(kDisplayIncludeOrphans);
    auto* note = static_cast<PPDXJobNote*>(TypeFirst(kJobNotes));
    PPDX::Options(saved);
    return note;
}

PPDXJobNote* PPDXControls::NextJobNote() {
    const _DISPLAY_OPTIONS_ saved = PPDX::Options();
    PPDX::Options(kDisplayIncludeOrphans);
    auto* note = static_cast<PPDXJobNote*>(TypeNext(kJobNotes));
    PPDX::Options(saved);
    return note;
}

std::uint64_t PPDXControls::Count(const CountArray& c) {
    switch (PPDX::Options()) {
    case kDisplayVisibleParented:
        return c.total - c.orphans - c.hidden + c.hiddenOrphans;
    case kDisplayIncludeOrphans:
        return c.total - c.hidden;
    case kDisplayIncludeHidden:
        return c.total - c.orphans;
    case kDisplayAll:
        return c.total;
    default:
        return 0;
    }
}

std::uint64_t PPDXControls::ControlCount() const {
    return PopupCount() + BooleanCount() + RangeCount() + FloatRangeCount() + CustomPageSizeCount();
}

bool PPDXControls::Empty() const {
    return PopupCount() == 0 && BooleanCount() == 0 && RangeCount() == 0 && FloatRangeCount() == 0;
}
