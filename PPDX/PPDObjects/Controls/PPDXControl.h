// Base of every user-settable option: type, flags, PostScript template, value hooks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "PPDX/PPDObjects/PPDXElement.h"
#include "util/CString.h"

class UIConstraints;

/// Control type codes, as reported by Type().
enum CNTL_TYPE : std::uint32_t {
    kControlTypeNone = 0,
    kControlTypeJobNote = 1,
    kControlTypeRange = 2,
    kControlTypeFloatRange = 3,
    kControlTypeBoolean = 4,
    kControlTypePopup = 5,
    kControlTypeSpecialOption = 6,
    kControlTypeCustomPageSize = 7,
};

using PSBytes = std::vector<unsigned char>;
using FlagList = std::vector<CString>;

/// An option the user can set. Keeps the flag words the PPD gave it, the
/// PostScript template (empty = none) and a borrowed link to the document's
/// constraint table, which hears about every change of value.
///
/// PostScript(buffer) follows a two-call convention: with a null buffer it
/// returns the byte count, with a buffer of that size it fills it.
class PPDXControl : public PPDXElement {
public:
    PPDXControl(const char* keyword, std::string localName, FlagList flags, PSBytes psData, bool visible,
                UIConstraints* constraints);
    /// From a snapshot: the element part, then order (only a 2-byte item),
    /// template and flag words (the saved text split at "|", empty words
    /// dropped). The concrete snapshot constructor sets the type.
    PPDXControl(Settings& settings, int index, UIConstraints* constraints);
    ~PPDXControl() override;

    /// The element part, then order, template (when there is one) and, when
    /// there are flags, every flag word followed by "|". Stops at the first
    /// failing item. Concrete controls add their own record after it.
    SettingsStatus Save(Settings& settings, const int& index) const override;
    /// Sets the current value from the record saved under `index` by a
    /// control of the same document.
    virtual void Restore(Settings& settings, int index) = 0;

    CNTL_TYPE Type() const { return mType; }
    std::int16_t Order() const { return mOrder; }
    void SetOrder(std::int16_t order) { mOrder = order; }

    virtual void ResetToDefaultValue() = 0;
    /// The raw template, unframed (custom page size and special option).
    virtual long PostScript(unsigned char* buffer);
    /// The current value as text (a choice keyword, True/False, a number...).
    virtual std::string CopyCurrentControlValueString() = 0;
    /// Applies a value text of the form CopyCurrentControlValueString gives.
    virtual void SetCurrentControlWithCFString(std::string_view value) = 0;
    virtual std::string CopyPresetValueString() { return CopyCurrentControlValueString(); }
    virtual void SetPresetValueString(std::string_view value) { SetCurrentControlWithCFString(value); }
    virtual bool IsInstallableOption() const { return false; }
    /// False when the control has no current value to report (a popup with
    /// nothing selected).
    virtual bool HasCurrentValue() const { return true; }

    /// Convenience over the two-call PostScript: the whole output as bytes.
    std::string PostScriptText();

    // Flags.
    std::size_t ControlFlagCount() const { return mFlags.size(); }
    const char* FirstControlFlag();
    const char* NextControlFlag();
    bool FindControlFlag(const char* flag);
    const FlagList& ControlFlags() const { return mFlags; }
    bool IsDynamic() { return FindControlFlag("Dynamic"); }
    bool IsCommand() { return FindControlFlag("Command"); }
    bool IsSpooler() { return FindControlFlag("Spooler"); }
    bool IsSetup() { return FindControlFlag("Setup"); }
    bool IsMacFJN() { return FindControlFlag("MacFJN"); }
    bool IsMacImgShift() { return FindControlFlag("MacIS"); }
    bool IsNoKelvoDriverUI() { return FindControlFlag("NoKelvoDriverUI") || FindControlFlag("DriverUserDisplayHidden"); }

    const PSBytes& PSData() const { return mPSData; }

    /// Frames PostScript as a feature: "%%BeginFeature: " keyword, a blank,
    /// the option, LF, the code (or one LF when there is none), then
    /// "%%EndFeature\n". With `out` null only the length is computed. No NUL.
    long GeneratePSOutputData(unsigned char* out, const unsigned char* ps, long psLength, const char* option,
                              bool frame) const;

    /// Puts `value` into the template at every "<name>" placeholder. Job
    /// notes' values become PostScript hex strings; backslashes are doubled
    /// unless the template is a "%%" comment. The result (Mac Roman bytes) is
    /// stored in `result`; returns its length.
    long Inject(const char* name, const unsigned char* ps, long psLength, const char* value,
                std::string& result) const;

    void UpdateKVCache(const char* key, const char* value);
    void UpdateKVCache(long keyId, long valueId);
    UIConstraints* Constraints() const { return mConstraints; }
    void SetConstraints(UIConstraints* constraints) { mConstraints = constraints; }

    /// False for a null keyword or one of the keywords the panel handles itself.
    static bool ValidKeyword(const char* keyword);

protected:
    CNTL_TYPE mType = kControlTypeNone;

private:
    std::int16_t mOrder = 0;
    FlagList mFlags;
    std::size_t mFlagCursor = 0;
    PSBytes mPSData;
    UIConstraints* mConstraints;
};
