// Range and float range controls: value rules and injected PostScript.
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {
std::string Format(const char* format, double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}
} // namespace

PPDXRangeControl::PPDXRangeControl(const char* keyword, std::string localName, FlagList flags, PSBytes ps,
                                   long minimum, long maximum, long increment, long defaultValue, bool visible,
                                   UIConstraints* constraints)
    : PPDXControl(keyword, std::move(localName), std::move(flags), std::move(ps), visible, constraints),
      mValue(defaultValue),
      mMin(minimum),
      mMax(maximum),
      mIncrement(increment),
      mDefault(defaultValue) {
    mType = kControlTypeRange;
}

void PPDXRangeControl::SetValue(long value) {
    mValue = value;
    // A zero increment is refused by the parser; guard anyway rather than divide by it.
    if (mIncrement != 0 && mIncrement != -1 && mValue % mIncrement != 0)
        mValue = mIncrement * (mValue / mIncrement);
    if (mValue < mMin)
        mValue = mMin;
    if (mValue > mMax)
        mValue = mMax;
    mInjected.reset();
}

std::string PPDXRangeControl::ValueText() const {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%d", static_cast<int>(mValue));
    return buffer;
}

long PPDXRangeControl::PostScript(unsigned char* out) {
    std::string value = ValueText();
    if (!mInjected) {
        std::string injected;
        Inject(Keyword(), PSData().data(), static_cast<long>(PSData().size()), value.c_str(), injected);
        mInjected = std::move(injected);
    }
    return GeneratePSOutputData(out, reinterpret_cast<const unsigned char*>(mInjected->data()),
                                static_cast<long>(mInjected->size()), value.c_str(), true);
}

std::string PPDXRangeControl::CopyCurrentControlValueString() { return ValueText(); }

void PPDXRangeControl::SetCurrentControlWithCFString(std::string_view value) {
    SetValue(std::atol(std::string(value).c_str()));
}

PPDXFloatRangeControl::PPDXFloatRangeControl(const char* keyword, std::string localName, FlagList flags, PSBytes ps,
                                             float minimum, float maximum, float increment, float defaultValue,
                                             bool visible, UIConstraints* constraints)
    : PPDXControl(keyword, std::move(localName), std::move(flags), std::move(ps), visible, constraints),
      mValue(defaultValue),
      mMin(minimum),
      mMax(maximum),
      mIncrement(increment),
      mDefault(defaultValue) {
    mType = kControlTypeFloatRange;
}

void PPDXFloatRangeControl::SetValue(float value) {
    mValue = value;
    if (mValue < mMin)
        mValue = mMin;
    if (mValue > mMax)
        mValue = mMax;
    // Round-trips through the increment in single precision; this only ever
    // rounds, it does not snap to a step.
    float q = mValue / mIncrement;
    if (!std::isinf(q) && !std::isnan(q))
        mValue = mIncrement * q;
    mInjected.reset();
}

long PPDXFloatRangeControl::PostScript(unsigned char* out) {
    std::string value = Format("%9.4f", mValue);
    if (!mInjected) {
        std::string injected;
        Inject(Keyword(), PSData().data(), static_cast<long>(PSData().size()), value.c_str(), injected);
        mInjected = std::move(injected);
    }
    return GeneratePSOutputData(out, reinterpret_cast<const unsigned char*>(mInjected->data()),
                                static_cast<long>(mInjected->size()), value.c_str(), true);
}

std::string PPDXFloatRangeControl::CopyCurrentControlValueString() { return Format("%.3f", mValue); }

void PPDXFloatRangeControl::SetCurrentControlWithCFString(std::string_view value) {
    SetValue(static_cast<float>(std::atof(std::string(value).c_str())));
}
