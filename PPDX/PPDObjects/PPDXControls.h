// Every control of a document, with per-type lists and display-aware counts.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "store/SettingsStatus.h"

class PPDXPopupControl;
class PPDXBooleanControl;
class PPDXRangeControl;
class PPDXFloatRangeControl;
class PPDXJobNote;
class PPDXSpecialOption;
class PPDXCustomPageSizeControl;

/// Counters of one control type: total, orphans, hidden, hidden orphans.
struct CountArray {
    std::uint64_t total = 0;
    std::uint64_t orphans = 0;
    std::uint64_t hidden = 0;
    std::uint64_t hiddenOrphans = 0;
};

/// The document's collection owns its controls; a roll-down's collection
/// only lists them (constructed with owns = false).
///
/// First/Next and Find honour the document-wide display option
/// (PPDX::Options()); the per-type walks return every entry.
class PPDXControls {
public:
    explicit PPDXControls(bool owns = true) : mOwns(owns) {}
    /// Rebuilds an owning collection from a snapshot: each member becomes
    /// the control its type marker names; a member without one is a custom
    /// page size, the one control that writes no record of its own. Parents
    /// are names until the document links them and calls Recount().
    PPDXControls(Settings& settings, UIConstraints* constraints);
    ~PPDXControls();
    PPDXControls(const PPDXControls&) = delete;
    PPDXControls& operator=(const PPDXControls&) = delete;

    /// Appends and counts a control owned elsewhere (a roll-down's listing
    /// of the document's controls). A null control is ignored.
    void Add(PPDXControl* control);
    /// Appends a control the collection takes over. Room is made before
    /// ownership moves: when memory runs out the control is still the
    /// caller's unique_ptr's, and nothing leaks.
    void Add(std::unique_ptr<PPDXControl> control);

    PPDXControl* First(CNTL_TYPE& type);
    PPDXControl* Next(CNTL_TYPE& type);
    /// Exact or substring match over the displayable controls.
    PPDXControl* Find(const char* keyword, CNTL_TYPE& type, const bool& exact) const;
    /// Exact match over all controls, whatever the display option.
    PPDXControl* FindAny(const char* keyword) const;

    PPDXPopupControl* FirstPopupControl();
    PPDXPopupControl* NextPopupControl();
    PPDXBooleanControl* FirstBooleanControl();
    PPDXBooleanControl* NextBooleanControl();
    PPDXRangeControl* FirstRangeControl();
    PPDXRangeControl* NextRangeControl();
    PPDXFloatRangeControl* FirstFloatRangeControl();
    PPDXFloatRangeControl* NextFloatRangeControl();
    PPDXJobNote* FirstJobNote();
    PPDXJobNote* NextJobNote();
    PPDXSpecialOption* FirstSpecialOption();
    PPDXSpecialOption* NextSpecialOption();

    PPDXPopupControl* FindPopup(const char* keyword, const bool& exact) const;
    PPDXBooleanControl* FindBoolean(const char* keyword, const bool& exact) const;
    PPDXRangeControl* FindRangeControl(const char* keyword, const bool& exact) const;
    PPDXFloatRangeControl* FindFloatRangeControl(const char* keyword, const bool& exact) const;
    PPDXJobNote* FindJobNote(const char* keyword, const bool& exact) const;
    PPDXSpecialOption* FindSpecialOption(const char* keyword, const bool& exact) const;

    /// A type's count under the display option (see CountArray).
    static std::uint64_t Count(const CountArray& counts);
    std::uint64_t PopupCount() const { return Count(mCounts[kPopups]); }
    std::uint64_t BooleanCount() const { return Count(mCounts[kBooleans]); }
    std::uint64_t RangeCount() const { return Count(mCounts[kRanges]); }
    std::uint64_t FloatRangeCount() const { return Count(mCounts[kFloatRanges]); }
    std::uint64_t JobNoteCount() const { return Count(mCounts[kJobNotes]); }
    std::uint64_t SpecialOptionsCount() const { return Count(mCounts[kSpecials]); }
    std::uint64_t CustomPageSizeCount() const { return Count(mCounts[kCustomSizes]); }
    bool NoPopups() const { return PopupCount() == 0; }
    bool NoBooleanControls() const { return BooleanCount() == 0; }
    bool NoRangeControls() const { return RangeCount() == 0; }
    bool NoFloatRangeControls() const { return FloatRangeCount() == 0; }
    bool NoJobNotes() const { return JobNoteCount() == 0; }
    bool NoSpecialOptions() const { return SpecialOptionsCount() == 0; }
    /// Popups, Booleans, ranges, float ranges and custom sizes; job notes and
    /// special options are not counted.
    std::uint64_t ControlCount() const;
    /// No popups, Booleans, ranges or float ranges (custom sizes, notes and
    /// special options do not make a collection non-empty).
    bool Empty() const;

    /// The count of all controls, then each control walked by First/Next
    /// with the next id from 5001. The walk follows the display option, so
    /// Save and Restore must run under the same one (the document sets 3).
    SettingsStatus Save(Settings& settings);
    /// Hands each control walked by First/Next the record of the next id
    /// from 5001.
    void Restore(Settings& settings);
    /// Counts orphans and hidden controls again, after parents changed.
    void Recount();

    /// Every control in insertion order, whatever the display option.
    const std::vector<PPDXControl*>& All() const { return mAll; }

private:
    /// Files a control just appended under its keyword and its type.
    void Index(PPDXControl* control);
    /// Bumps the counters of type `t` for `control`.
    void CountIn(int t, const PPDXControl& control);

    enum TypeIndex { kPopups, kBooleans, kRanges, kFloatRanges, kJobNotes, kSpecials, kCustomSizes, kTypeCount };
    struct TypeList {
        std::vector<PPDXControl*> items;
        std::size_t cursor = 0;
    };
    PPDXControl* TypeFirst(TypeIndex t);
    PPDXControl* TypeNext(TypeIndex t);
    PPDXControl* TypeFind(TypeIndex t, const char* keyword, bool exact) const;

    // Looks strings up by view, so FindAny(const char*) allocates nothing.
    struct KeywordHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };

    bool mOwns;
    std::vector<PPDXControl*> mAll;
    // Keyword -> the first control added with it. The parser asks FindAny for
    // every declared control, so walking mAll would make parsing quadratic.
    std::unordered_map<std::string, PPDXControl*, KeywordHash, std::equal_to<>> mByKeyword;
    std::size_t mCursor = 0;
    TypeList mLists[kTypeCount];
    CountArray mCounts[kTypeCount];
};
