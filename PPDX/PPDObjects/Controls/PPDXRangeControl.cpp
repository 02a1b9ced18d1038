// Range and float range controls: value rules and injected PostScript.
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

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

namespace snap = kelvo::snapshot;

namespace {

/// Reads a 64-bit field, keeping `field` when the item is absent or of
/// another size.
void ReadLong(Settings& settings, std::uint32_t tag, int index, long& field) {
    std::int64_t value = 0;
    if (snap::ReadWide(settings, tag, index, value))
        field = static_cast<long>(value);
}

void ReadFloat(Settings& settings, std::uint32_t tag, int index, float& field) {
    float value = 0;
    if (snap::ReadNumber(settings, tag, index, value))
        field = value;
}

/// Adds each (tag, value) after the marker, stopping at the first failure.
template <class T, std::size_t N>
SettingsStatus AddRecord(Settings& settings, std::uint32_t marker, int index,
                         const std::pair<std::uint32_t, T> (&fields)[N]) {
    SettingsStatus status = snap::AddMarker(settings, marker, index);
    for (const auto& [tag, value] : fields) {
        if (status != kSettingsNoErr)
            break;
        status = settings.AddValue(tag, index, value);
    }
    return status;
}

} // namespace

PPDXRangeControl::PPDXRangeControl(Settings& settings, int index, UIConstraints* constraints)
    : PPDXControl(settings, index, constraints), mValue(0), mMin(0), mMax(0), mIncrement(0), mDefault(0) {
    mType = kControlTypeRange;
    ReadLong(settings, tagRC_MinVal, index, mMin);
    ReadLong(settings, tagRC_MaxVal, index, mMax);
    ReadLong(settings, tagRC_Increment, index, mIncrement);
    ReadLong(settings, tagRC_DefaultVal, index, mDefault);
    ReadLong(settings, tagRC_Val, index, mValue);
}

SettingsStatus PPDXRangeControl::Save(Settings& settings, const int& index) const {
    const SettingsStatus status = PPDXControl::Save(settings, index);
    if (status != kSettingsNoErr)
        return status;
    const std::pair<std::uint32_t, std::int64_t> fields[] = {
        {tagRC_MinVal, mMin}, {tagRC_MaxVal, mMax}, {tagRC_Increment, mIncrement},
        {tagRC_DefaultVal, mDefault}, {tagRC_Val, mValue}};
    return AddRecord(settings, tagRangeControl, index, fields);
}

void PPDXRangeControl::Restore(Settings& settings, int index) {
    std::int64_t value = 0;
    if (snap::ReadWide(settings, tagRC_Val, index, value))
        SetValue(static_cast<long>(value));
}

PPDXFloatRangeControl::PPDXFloatRangeControl(Settings& settings, int index, UIConstraints* constraints)
    : PPDXControl(settings, index, constraints), mValue(0), mMin(0), mMax(0), mIncrement(0), mDefault(0) {
    mType = kControlTypeFloatRange;
    ReadFloat(settings, tagFC_MinVal, index, mMin);
    ReadFloat(settings, tagFC_MaxVal, index, mMax);
    ReadFloat(settings, tagFC_Increment, index, mIncrement);
    ReadFloat(settings, tagFC_DefaultVal, index, mDefault);
    ReadFloat(settings, tagFC_Val, index, mValue);
}

SettingsStatus PPDXFloatRangeControl::Save(Settings& settings, const int& index) const {
    const SettingsStatus status = PPDXControl::Save(settings, index);
    if (status != kSettingsNoErr)
        return status;
    const std::pair<std::uint32_t, float> fields[] = {
        {tagFC_MinVal, mMin}, {tagFC_MaxVal, mMax}, {tagFC_Increment, mIncrement},
        {tagFC_DefaultVal, mDefault}, {tagFC_Val, mValue}};
    return AddRecord(settings, tagFloatRangeControl, index, fields);
}

void PPDXFloatRangeControl::Restore(Settings& settings, int index) {
    float value = 0;
    if (snap::ReadNumber(settings, tagFC_Val, index, value))
        SetValue(value);
}
