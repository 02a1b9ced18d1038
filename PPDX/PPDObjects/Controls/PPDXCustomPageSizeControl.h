// Bounds and current width and height of a custom paper size.
#pragma once

#include "PPDX/PPDObjects/Controls/PPDXControl.h"

/// Has no template of its own: the custom size reaches the job through the
/// print-time assembly. Setters do not clamp.
class PPDXCustomPageSizeControl : public PPDXControl {
public:
    PPDXCustomPageSizeControl(const char* keyword, FlagList flags, UIConstraints* constraints = nullptr);
    PPDXCustomPageSizeControl(const char* keyword, FlagList flags, float minWidth, float maxWidth, float minHeight,
                              float maxHeight, UIConstraints* constraints = nullptr);
    /// From a snapshot: the control part only. A custom size writes no
    /// record of its own, so its bounds and size are not kept.
    PPDXCustomPageSizeControl(Settings& settings, int index, UIConstraints* constraints);
    void Restore(Settings&, int) override {}

    float MinWidth() const { return mMinWidth; }
    float MaxWidth() const { return mMaxWidth; }
    float MinHeight() const { return mMinHeight; }
    float MaxHeight() const { return mMaxHeight; }
    float GetWidth() const { return mWidth; }
    float GetHeight() const { return mHeight; }
    void SetWidth(float v) { mWidth = v; }
    void SetHeight(float v) { mHeight = v; }
    void SetMinWidth(float v) { mMinWidth = v; }
    void SetMaxWidth(float v) { mMaxWidth = v; }
    void SetMinHeight(float v) { mMinHeight = v; }
    void SetMaxHeight(float v) { mMaxHeight = v; }

    void ResetToDefaultValue() override {}
    /// "%f %f" of width and height.
    std::string CopyCurrentControlValueString() override;
    /// Width from the whole text, height from the text after the first blank.
    void SetCurrentControlWithCFString(std::string_view value) override;

private:
    float mMinWidth = 0, mMaxWidth = 0, mMinHeight = 0, mMaxHeight = 0;
    float mWidth = 0, mHeight = 0;
};
