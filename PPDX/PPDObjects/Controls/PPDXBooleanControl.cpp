// Boolean control: value, framed PostScript of the chosen side.
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

#include <strings.h>

PPDXBooleanControl::PPDXBooleanControl(const char* keyword, std::string localName, FlagList flags, bool visible,
                                       std::optional<CString> trueText, PSBytes truePS,
                                       std::optional<CString> falseText, PSBytes falsePS, bool defaultValue,
                                       UIConstraints* constraints)
    : PPDXControl(keyword, std::move(localName), std::move(flags), {}, visible, constraints),
      mValue(defaultValue ? 1 : 0),
      mDefault(defaultValue ? 1 : 0),
      mTrueText(std::move(trueText)),
      mFalseText(std::move(falseText)),
      mTruePS(std::move(truePS)),
      mFalsePS(std::move(falsePS)) {
    mType = kControlTypeBoolean;
    // The solver must know the starting state, as it knows a popup's default.
    UpdateKVCache(Keyword(), defaultValue ? "True" : "False");
}

void PPDXBooleanControl::SetValue(bool value) {
    mValue = value ? 1 : 0;
    UpdateKVCache(Keyword(), value ? "True" : "False");
}

long PPDXBooleanControl::PostScript(unsigned char* out) {
    const PSBytes& ps = IsTrue() ? mTruePS : mFalsePS;
    return GeneratePSOutputData(out, ps.data(), static_cast<long>(ps.size()), IsTrue() ? "True" : "False", true);
}

void PPDXBooleanControl::SetCurrentControlWithCFString(std::string_view value) {
    SetValue(value.size() >= 4 && strncasecmp(value.data(), "True", 4) == 0);
}

namespace snap = kelvo::snapshot;

PPDXBooleanControl::PPDXBooleanControl(Settings& settings, int index, UIConstraints* constraints)
    : PPDXControl(settings, index, constraints), mValue(0), mDefault(0) {
    mType = kControlTypeBoolean;
    std::uint32_t value = 0;
    if (snap::ReadNumber(settings, tagBC_CurrentVal, index, value))
        mValue = value;
    if (snap::ReadNumber(settings, tagBC_DefaultVal, index, value))
        mDefault = value;
    if (auto text = snap::ReadText(settings, tagBC_TrueDispText, index))
        mTrueText.emplace(std::move(*text));
    if (auto text = snap::ReadText(settings, tagBC_FalseDispText, index))
        mFalseText.emplace(std::move(*text));
    mTruePS = snap::ReadBytes(settings, tagBC_TruePSData, index);
    mFalsePS = snap::ReadBytes(settings, tagBC_FalsePSData, index);
    UpdateKVCache(Keyword(), IsTrue() ? "True" : "False");
}

SettingsStatus PPDXBooleanControl::Save(Settings& settings, const int& index) const {
    SettingsStatus status = PPDXControl::Save(settings, index);
    if (status != kSettingsNoErr)
        return status;
    if ((status = snap::AddMarker(settings, tagBooleanControl, index)) != kSettingsNoErr ||
        (status = settings.AddValue(tagBC_CurrentVal, index, mValue)) != kSettingsNoErr ||
        (status = settings.AddValue(tagBC_DefaultVal, index, mDefault)) != kSettingsNoErr)
        return status;
    if (mTrueText && (status = snap::AddText(settings, tagBC_TrueDispText, index, mTrueText->View())) != kSettingsNoErr)
        return status;
    if (mFalseText &&
        (status = snap::AddText(settings, tagBC_FalseDispText, index, mFalseText->View())) != kSettingsNoErr)
        return status;
    if (!mTruePS.empty() && (status = snap::AddBytes(settings, tagBC_TruePSData, index, mTruePS)) != kSettingsNoErr)
        return status;
    if (!mFalsePS.empty())
        status = snap::AddBytes(settings, tagBC_FalsePSData, index, mFalsePS);
    return status;
}

void PPDXBooleanControl::Restore(Settings& settings, int index) {
    std::uint32_t value = 0;
    if (snap::ReadNumber(settings, tagBC_CurrentVal, index, value))
        SetValue(value != 0);
}
