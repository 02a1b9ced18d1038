// Job note control: flags, text, and the PostScript or comment it emits.
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PopupJobNotesState.h"
#include "TextConverter/TextConverter.h"
#include "util/CommentText.h"
#include "util/Log.h"

PPDXJobNote::PPDXJobNote(const char* keyword, std::string localName, FlagList flags, PSBytes ps,
                         std::optional<CString> defaultNotes, bool visible, long maxLength, std::uint32_t flagWord,
                         long minLength, UIConstraints* constraints)
    : PPDXControl(keyword, std::move(localName), std::move(flags), std::move(ps), visible, constraints),
      mMaxLength(maxLength),
      mMinLength(minLength),
      mFlags(flagWord),
      mDefaultNotes(std::move(defaultNotes)) {
    mType = kControlTypeJobNote;
    if (mDefaultNotes)
        mNotes = mDefaultNotes;
}

void PPDXJobNote::SetNotes(const char* notes) {
    mInjected.reset();
    if (notes)
        mNotes.emplace(notes);
    else
        mNotes.reset();
}

void PPDXJobNote::SetDefaultNotes(const char* notes) {
    if (notes)
        mDefaultNotes.emplace(notes);
    else
        mDefaultNotes.reset();
}

bool PPDXJobNote::IsPopupJN() const {
    if (!(mFlags & kJNPopupJN))
        return false;
    if (!gPopupJobNotesFoundOne)
        kelvo::Log("At least one PUJN found !!!!!!!!");
    gPopupJobNotesFoundOne = true;
    return true;
}

std::string PPDXJobNote::CopyNotes() const {
    if (!mNotes)
        return {};
    // Profile names come from the controller as UTF-8; other notes are typed
    // text in the system encoding.
    if (PPDXPopupControl::IsProfileKeyword(Keyword()))
        return mNotes->Str();
    bool ok = false;
    std::string text = TextConverter::ConvertBytes(mNotes->Str(), TextConverter::GetCurrentEncoding(),
                                                   kTextEncodingUTF8, &ok);
    return ok ? text : mNotes->Str();
}

void PPDXJobNote::SetCurrentControlWithCFString(std::string_view value) {
    std::string text(value);
    if (!PPDXPopupControl::IsProfileKeyword(Keyword())) {
        bool ok = false;
        std::string local = TextConverter::ConvertBytes(text, kTextEncodingUTF8, TextConverter::GetCurrentEncoding(),
                                                        &ok);
        if (ok)
            text = std::move(local);
    }
    SetNotes(text.c_str());
    SetUTF8Notes(std::string(value));
}

bool PPDXJobNote::OkayToDisplay(const _DISPLAY_OPTIONS_& option) const {
    if (option == kDisplayVisibleParented || option == kDisplayIncludeOrphans)
        return IsVisible();
    return true;
}

long PPDXJobNote::PostScript(unsigned char* out) {
    if (!mNotes || !Keyword())
        return 0;
    std::string text = mNotes->Str();
    if (!mInjected) {
        // Only the first 511 characters of a long note reach the body.
        std::string body = text.size() > 512 ? text.substr(0, 511) : text;
        if (!PSData().empty()) {
            std::string injected;
            Inject(Keyword(), PSData().data(), static_cast<long>(PSData().size()), body.c_str(), injected);
            mInjected = std::move(injected);
        } else {
            BuildPDLString(body.c_str());
        }
    }
    return GeneratePSOutputData(out, reinterpret_cast<const unsigned char*>(mInjected->data()),
                                static_cast<long>(mInjected->size()), text.c_str(), true);
}

const std::string& PPDXJobNote::BuildPDLString(const char* notes) {
    std::string body;
    if (mFlags & (kJNResume | kJNMember)) {
        body = (mFlags & kJNResume) ? "%%PersPassword: " : "%%DeptPassword: ";
        kelvo::AppendCommentSafe(body, notes ? notes : "");
        body += '\n';
    } else {
        // "%%QJVCustom1: " and its siblings are reserved for *Notes1, *Notes2
        // and *Instruc, but only for the built-in keyword objects themselves,
        // which a parsed note never is: such notes get the empty option too.
        body = "%%EmptyOption\n\n";
    }
    mInjected = std::move(body);
    return *mInjected;
}

namespace snap = kelvo::snapshot;

PPDXJobNote::PPDXJobNote(Settings& settings, int index, UIConstraints* constraints)
    : PPDXControl(settings, index, constraints), mMaxLength(0), mMinLength(0), mFlags(0) {
    mType = kControlTypeJobNote;
    if (auto text = snap::ReadText(settings, tagJN_NotesText, index))
        mNotes.emplace(std::move(*text));
    std::uint32_t word = 0;
    if (snap::ReadNumber(settings, tagJN_OnOffNotes, index, word))
        mNotesOn = word;
    if (snap::ReadNumber(settings, tagJN_NotesFlags, index, word))
        mFlags = word;
    std::int64_t length = 0;
    if (snap::ReadWide(settings, tagJN_MinLength, index, length))
        mMinLength = static_cast<long>(length);
    if (snap::ReadWide(settings, tagJN_MaxLength, index, length))
        mMaxLength = static_cast<long>(length);
    if (auto text = snap::ReadText(settings, tagJN_DefNotesText, index))
        mDefaultNotes.emplace(std::move(*text));
}

SettingsStatus PPDXJobNote::Save(Settings& settings, const int& index) const {
    SettingsStatus status = PPDXControl::Save(settings, index);
    if (status != kSettingsNoErr)
        return status;
    if ((status = snap::AddMarker(settings, tagJobNote, index)) != kSettingsNoErr)
        return status;
    if (mNotes && (status = snap::AddText(settings, tagJN_NotesText, index, mNotes->View())) != kSettingsNoErr)
        return status;
    if ((status = settings.AddValue(tagJN_OnOffNotes, index, mNotesOn)) != kSettingsNoErr ||
        (status = settings.AddValue(tagJN_NotesFlags, index, mFlags)) != kSettingsNoErr ||
        (status = settings.AddValue(tagJN_MinLength, index, std::int64_t{mMinLength})) != kSettingsNoErr ||
        (status = settings.AddValue(tagJN_MaxLength, index, std::int64_t{mMaxLength})) != kSettingsNoErr)
        return status;
    if (mDefaultNotes)
        status = snap::AddText(settings, tagJN_DefNotesText, index, mDefaultNotes->View());
    return status;
}

void PPDXJobNote::Restore(Settings& settings, int index) {
    // An absent text item is a note that had no text.
    const auto text = snap::ReadText(settings, tagJN_NotesText, index);
    SetNotes(text ? text->c_str() : nullptr);
    std::uint32_t on = 0;
    if (snap::ReadNumber(settings, tagJN_OnOffNotes, index, on))
        mNotesOn = on;
}
