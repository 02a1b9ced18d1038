// Boolean control: value, framed PostScript of the chosen side.
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"

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
