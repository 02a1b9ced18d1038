// Whole-number and decimal options between bounds, injected into a template.
#pragma once

#include <optional>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"

/// A whole number. SetValue snaps to multiples of the increment counted from
/// 0 (not from the minimum), then clamps to the bounds.
class PPDXRangeControl : public PPDXControl {
public:
    PPDXRangeControl(const char* keyword, std::string localName, FlagList flags, PSBytes ps, long minimum,
                     long maximum, long increment, long defaultValue, bool visible, UIConstraints* constraints);
    /// From a snapshot: the control part, then bounds, increment, default
    /// and value (each 8 bytes; 4-byte ones are taken too). Restore takes
    /// the value only, through SetValue's rules.
    PPDXRangeControl(Settings& settings, int index, UIConstraints* constraints);
    SettingsStatus Save(Settings& settings, const int& index) const override;
    void Restore(Settings& settings, int index) override;

    long MinVal() const { return mMin; }
    long MaxVal() const { return mMax; }
    long Increment() const { return mIncrement; }
    long DefaultValue() const { return mDefault; }
    long GetValue() const { return mValue; }
    void SetValue(long value);
    void ResetToDefaultValue() override { SetValue(DefaultValue()); }

    long PostScript(unsigned char* out) override;
    std::string CopyCurrentControlValueString() override;
    void SetCurrentControlWithCFString(std::string_view value) override;

private:
    std::string ValueText() const;

    long mValue;
    long mMin;
    long mMax;
    long mIncrement;
    long mDefault;
    std::optional<std::string> mInjected;
};

/// A decimal number. SetValue clamps, then passes the value through a
/// single-precision divide and multiply by the increment (no snapping).
class PPDXFloatRangeControl : public PPDXControl {
public:
    PPDXFloatRangeControl(const char* keyword, std::string localName, FlagList flags, PSBytes ps, float minimum,
                          float maximum, float increment, float defaultValue, bool visible,
                          UIConstraints* constraints);
    /// From a snapshot, as the whole-number range, with 4-byte floats.
    PPDXFloatRangeControl(Settings& settings, int index, UIConstraints* constraints);
    SettingsStatus Save(Settings& settings, const int& index) const override;
    void Restore(Settings& settings, int index) override;

    float MinVal() const { return mMin; }
    float MaxVal() const { return mMax; }
    float Increment() const { return mIncrement; }
    float DefaultValue() const { return mDefault; }
    float GetValue() const { return mValue; }
    void SetValue(float value);
    void ResetToDefaultValue() override { SetValue(DefaultValue()); }

    /// The value goes out as "%9.4f": padded with leading blanks, in the
    /// placeholder and in the feature line alike.
    long PostScript(unsigned char* out) override;
    /// "%.3f" of the value.
    std::string CopyCurrentControlValueString() override;
    void SetCurrentControlWithCFString(std::string_view value) override;

private:
    float mValue;
    float mMin;
    float mMax;
    float mIncrement;
    float mDefault;
    std::optional<std::string> mInjected;
};
