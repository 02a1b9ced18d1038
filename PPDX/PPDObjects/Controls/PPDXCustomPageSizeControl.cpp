// Custom page size control: bounds and the width/height value text.
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

#include <cstdio>
#include <cstdlib>

#include "util/Numbers.h"

PPDXCustomPageSizeControl::PPDXCustomPageSizeControl(const char* keyword, FlagList flags, UIConstraints* constraints)
    : PPDXControl(keyword, keyword && *keyword == '*' ? keyword + 1 : (keyword ? keyword : ""), std::move(flags), {},
                  true, constraints) {
    mType = kControlTypeCustomPageSize;
}

PPDXCustomPageSizeControl::PPDXCustomPageSizeControl(const char* keyword, FlagList flags, float minWidth,
                                                     float maxWidth, float minHeight, float maxHeight,
                                                     UIConstraints* constraints)
    : PPDXCustomPageSizeControl(keyword, std::move(flags), constraints) {
    mMinWidth = minWidth;
    mMaxWidth = maxWidth;
    mMinHeight = minHeight;
    mMaxHeight = maxHeight;
}

std::string PPDXCustomPageSizeControl::CopyCurrentControlValueString() {
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, "%f %f", static_cast<double>(mWidth), static_cast<double>(mHeight));
    return buffer;
}

void PPDXCustomPageSizeControl::SetCurrentControlWithCFString(std::string_view value) {
    std::string text(value);
    mWidth = kelvo::SaturatingFloat(std::atof(text.c_str()));
    std::size_t blank = text.find(' ');
    mHeight = blank == std::string::npos ? 0.0f : kelvo::SaturatingFloat(std::atof(text.c_str() + blank + 1));
}

PPDXCustomPageSizeControl::PPDXCustomPageSizeControl(Settings& settings, int index, UIConstraints* constraints)
    : PPDXControl(settings, index, constraints) {
    mType = kControlTypeCustomPageSize;
}
