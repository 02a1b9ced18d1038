// An on/off option with a True and a False invocation.
#pragma once

#include <optional>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"

class PPDXBooleanControl : public PPDXControl {
public:
    PPDXBooleanControl(const char* keyword, std::string localName, FlagList flags, bool visible,
                       std::optional<CString> trueText, PSBytes truePS, std::optional<CString> falseText,
                       PSBytes falsePS, bool defaultValue, UIConstraints* constraints);
    /// From a snapshot: the control part, values, display texts and both
    /// sides' PostScript. Restore takes the current value only.
    PPDXBooleanControl(Settings& settings, int index, UIConstraints* constraints);
    SettingsStatus Save(Settings& settings, const int& index) const override;
    void Restore(Settings& settings, int index) override;

    bool IsTrue() const { return mValue != 0; }
    bool DefaultState() const { return mDefault != 0; }
    void SetDefaultValue(bool value) { mDefault = value ? 1 : 0; }
    const char* TrueDisplayText() const { return mTrueText ? mTrueText->c_str() : nullptr; }
    const char* FalseDisplayText() const { return mFalseText ? mFalseText->c_str() : nullptr; }
    const PSBytes& TruePS() const { return mTruePS; }
    const PSBytes& FalsePS() const { return mFalsePS; }

    void SetValue(bool value);
    void ResetToDefaultValue() override { SetValue(DefaultState()); }
    /// Always framed, also when the chosen side has no code.
    long PostScript(unsigned char* out) override;
    std::string CopyCurrentControlValueString() override { return IsTrue() ? "True" : "False"; }
    /// True exactly when the text starts with "true" in any case.
    void SetCurrentControlWithCFString(std::string_view value) override;

private:
    std::uint32_t mValue;
    std::uint32_t mDefault;
    std::optional<CString> mTrueText;
    std::optional<CString> mFalseText;
    PSBytes mTruePS;
    PSBytes mFalsePS;
};
