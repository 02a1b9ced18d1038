// PPDXSpecialOption: a fixed keyword/value pair that travels with the controls but is never shown.
#pragma once

#include <optional>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"

class PPDXSpecialOption : public PPDXControl {
public:
    PPDXSpecialOption(const char* keyword, std::string title, FlagList flags, const char* value, PSBytes defaultData,
                      bool hidden, UIConstraints* constraints = nullptr);
    /// From a snapshot: the control part and the value; Restore takes the value.
    PPDXSpecialOption(Settings& settings, int index, UIConstraints* constraints);
    SettingsStatus Save(Settings& settings, const int& index) const override;
    void Restore(Settings& settings, int index) override;

    const char* GetValue() const { return mValue ? mValue->c_str() : nullptr; }
    std::string CopyCurrentControlValueString() override { return mValue ? mValue->Str() : std::string(); }
    /// A special option cannot be changed from the panel: calling this is a
    /// programming error and stops the program.
    void SetCurrentControlWithCFString(std::string_view value) override;
    void ResetToDefaultValue() override { mValue.emplace(""); }

private:
    std::optional<CString> mValue;
};
