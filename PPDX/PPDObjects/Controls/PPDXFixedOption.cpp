// PPDXSpecialOption: a value read from the PPD and carried unchanged.
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>

PPDXSpecialOption::PPDXSpecialOption(const char* keyword, std::string title, FlagList flags, const char* value,
                                     PSBytes defaultData, bool hidden, UIConstraints* constraints)
    : PPDXControl(keyword, std::move(title), std::move(flags), std::move(defaultData), !hidden, constraints) {
    mType = kControlTypeSpecialOption;
    if (value)
        mValue.emplace(value);
}

void PPDXSpecialOption::SetCurrentControlWithCFString(std::string_view) {
    std::fprintf(stderr, "PPDX/PPDObjects/Controls/PPDXSpecialOption: assertion \"false\" failed\n");
    std::abort();
}

namespace snap = kelvo::snapshot;

PPDXSpecialOption::PPDXSpecialOption(Settings& settings, int index, UIConstraints* constraints)
    : PPDXControl(settings, index, constraints) {
    mType = kControlTypeSpecialOption;
    if (auto value = snap::ReadText(settings, tagSO_SpecialOptionValue, index))
        mValue.emplace(std::move(*value));
}

SettingsStatus PPDXSpecialOption::Save(Settings& settings, const int& index) const {
    SettingsStatus status = PPDXControl::Save(settings, index);
    if (status != kSettingsNoErr)
        return status;
    if ((status = snap::AddMarker(settings, tagSO_SpecialOptionControl, index)) != kSettingsNoErr)
        return status;
    if (mValue)
        status = snap::AddText(settings, tagSO_SpecialOptionValue, index, mValue->View());
    return status;
}

void PPDXSpecialOption::Restore(Settings& settings, int index) {
    if (auto value = snap::ReadText(settings, tagSO_SpecialOptionValue, index))
        mValue.emplace(std::move(*value));
}
