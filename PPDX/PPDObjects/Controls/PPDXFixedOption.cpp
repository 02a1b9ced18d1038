// PPDXSpecialOption: a value read from the PPD and carried unchanged.
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"

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
