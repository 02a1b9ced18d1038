// A free-text field that travels with the job: notes, passwords, account codes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"

/// Flag bits of a job note, set by the flag words of its statement.
enum JobNoteFlag : std::uint32_t {
    kJNAlpha = 0x1,
    kJNNumeric = 0x2,
    kJNDecimal = 0x4,
    kJNRequired = 0x8,
    kJNRemembered = 0x10,
    kJNPassword = 0x20,
    kJNAlwaysDisplay = 0x40,
    kJNResume = 0x80,
    kJNMember = 0x100,
    kJNOnOfSwitch = 0x200,
    kJNLengthReq = 0x400,
    kJNSecPrint = 0x800,
    kJNCommand = 0x1000,
    kJNSpace = 0x2000,
    kJNNegative = 0x4000,
    kJNEncrypt = 0x8000,
    kJNMultiSpace = 0x10000,
    kJNMultiComma = 0x20000,
    kJNLCD = 0x40000,
    kJNHyphen = 0x80000,
    kJNTwoCharField = 0x100000,
    kJNNoComma = 0x200000,
    kJNMinLength = 0x400000,
    kJNUTF8 = 0x800000,
    kJNAESEncrypt = 0x1000000,
    kJNPopupJN = 0x2000000,
};

/// The flag words in table order; a word's index decides which extension
/// level accepts it, and its bit is 1 << index.
inline constexpr const char* kJobNoteFlagWords[] = {
    "Alpha",      "Numeric",    "Decimal",  "Required", "Remembered", "Password",     "AlwaysDisplay",
    "Resume",     "Member",     "OnOfSwitch", "LengthReq", "SecPrint", "Command",     "Space",
    "Negative",   "Encrypt",    "MultiSpace", "MultiComma", "LCD",     "Hyphen",       "TwoCharField",
    "NoComma",    "MinLength",  "UTF8",     "AESEncrypt", "PopupJN",
};
inline constexpr int kJobNoteFlagWordCount = 26;

class PPDXJobNote : public PPDXControl {
public:
    PPDXJobNote(const char* keyword, std::string localName, FlagList flags, PSBytes ps,
                std::optional<CString> defaultNotes, bool visible, long maxLength, std::uint32_t flagWord,
                long minLength, UIConstraints* constraints);
    /// From a snapshot: the control part, then text, on/off state, flag
    /// word, lengths and default text. Restore takes text and on/off state.
    PPDXJobNote(Settings& settings, int index, UIConstraints* constraints);
    SettingsStatus Save(Settings& settings, const int& index) const override;
    void Restore(Settings& settings, int index) override;

    const char* GetNotes() const { return mNotes ? mNotes->c_str() : nullptr; }
    /// Replaces the text (null clears it) and drops the cached output.
    void SetNotes(const char* notes);
    void SetUTF8Notes(std::string notes) { mUTF8Notes = std::move(notes); }
    const std::string& GetUTF8Notes() const { return mUTF8Notes; }
    const char* GetDefaultNotes() const { return mDefaultNotes ? mDefaultNotes->c_str() : nullptr; }
    void SetDefaultNotes(const char* notes);
    bool GetNotesOnValue() const { return mNotesOn != 0; }
    void SetNotesOnValue(bool on) { mNotesOn = on ? 1 : 0; }
    long MaxLength() const { return mMaxLength; }
    long MinLength() const { return mMinLength; }
    std::uint32_t Flags() const { return mFlags; }

    bool IsAlpha() const { return mFlags & kJNAlpha; }
    bool IsNumeric() const { return mFlags & kJNNumeric; }
    bool IsDecimal() const { return mFlags & kJNDecimal; }
    bool IsRequired() const { return mFlags & kJNRequired; }
    bool Remember() const { return mFlags & kJNRemembered; }
    bool IsPassword() const { return mFlags & kJNPassword; }
    bool AlwaysDisplay() const { return mFlags & kJNAlwaysDisplay; }
    bool Resume() const { return mFlags & kJNResume; }
    bool IsMember() const { return mFlags & kJNMember; }
    bool IsOnOffSwitch() const { return mFlags & kJNOnOfSwitch; }
    bool IsLengthReq() const { return mFlags & kJNLengthReq; }
    bool IsSecPrint() const { return mFlags & kJNSecPrint; }
    bool IsSpace() const { return mFlags & kJNSpace; }
    bool IsNegative() const { return mFlags & kJNNegative; }
    bool IsEncrypt() const { return mFlags & kJNEncrypt; }
    bool IsMultiSpace() const { return mFlags & kJNMultiSpace; }
    bool IsMultiComma() const { return mFlags & kJNMultiComma; }
    bool IsLCD() const { return mFlags & kJNLCD; }
    bool IsHyphen() const { return mFlags & kJNHyphen; }
    bool IsTwoCharFields() const { return mFlags & kJNTwoCharField; }
    bool IsNoComma() const { return mFlags & kJNNoComma; }
    bool IsUTF8() const { return mFlags & kJNUTF8; }
    bool IsAESEncrypt() const { return mFlags & kJNAESEncrypt; }
    bool IsAnyText() const { return !(mFlags & (kJNAlpha | kJNNumeric | kJNDecimal)); }
    /// Also records, process-wide, that a popup job note exists.
    bool IsPopupJN() const;

    /// The text as UTF-8 display text ("" when absent).
    std::string CopyNotes() const;
    std::string CopyCurrentControlValueString() override { return CopyNotes(); }
    void SetCurrentControlWithCFString(std::string_view value) override;
    std::string CopyPresetValueString() override { return CopyNotes(); }
    void SetPresetValueString(std::string_view value) override { SetCurrentControlWithCFString(value); }
    /// A note is shown without a parent; options 0 and 1 follow visibility.
    bool OkayToDisplay(const _DISPLAY_OPTIONS_& option) const override;
    void ResetToDefaultValue() override { SetNotes(GetDefaultNotes()); }
    bool HasCurrentValue() const override { return mNotes.has_value(); }

    /// Framed output of the current text; 0 without text or keyword.
    long PostScript(unsigned char* out) override;
    /// Body for a note without template: a password comment or an empty option.
    const std::string& BuildPDLString(const char* notes);

private:
    std::optional<CString> mNotes;
    std::string mUTF8Notes;
    long mMaxLength;
    long mMinLength;
    std::uint32_t mFlags;
    std::optional<CString> mDefaultNotes;
    std::uint32_t mNotesOn = 0;
    std::optional<std::string> mInjected;
};
