// Range and float range controls: value rules and injected PostScript.
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "util/Numbers.h"

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
    // strtol saturates beyond 64 bits, and SetValue clamps to the bounds,
    // which the parser keeps within 32 bits: nothing wraps.
    SetValue(std::strtol(std::string(value).c_str(), nullptr, 10));
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
    // NaN is no value at all: it would pass both bound checks and reach the
    // job as "nan". Infinities clamp to the bounds like any other number.
    if (std::isnan(value))
        return;
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
    // "nan" leaves the value as it is; "inf" and numbers beyond a float's
    // range clamp to the bounds.
    const double number = std::strtod(std::string(value).c_str(), nullptr);
    if (!std::isnan(number))
        SetValue(kelvo::SaturatingFloat(number));
}
