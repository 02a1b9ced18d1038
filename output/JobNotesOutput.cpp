// Job notes at print time: comment lines for the controller's special notes,
// the packed credentials, and the other notes' own PostScript.
#include "output/JobNotesOutput.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/QJVPPD.h"
#include "TextConverter/TextConverter.h"
#include "output/NoteCrypt.h"
#include "output/UserAuth.h"
#include "util/CommentText.h"
#include "util/Log.h"

namespace kelvo::output {

namespace {

/// A whole number from the print settings, when there are some.
std::optional<long long> SettingsNumber(const platform::PrintSettings* settings, std::string_view key) {
    return settings ? platform::NumberSetting(*settings, key) : std::nullopt;
}

bool SpecialOptionIsTrue(QJVPPD& document, const char* keyword) {
    const PPDXSpecialOption* option = document.GetControls()->FindSpecialOption(keyword, true);
    return option && option->GetValue() && std::strcmp(option->GetValue(), "True") == 0;
}

/// The note's text in the application's encoding, as UTF-8 (the bytes as
/// they are when they do not convert).
std::string ToUTF8(const std::string& text) {
    if (text.empty())
        return text;
    std::string buffer(text.size() * 4 + 1, '\0');
    if (ConvertTextFromApplicationToUTF8(text.c_str(), buffer.data()) != kTextStatusOK)
        return text;
    buffer.resize(std::strlen(buffer.c_str()));
    return buffer;
}

} // namespace

int TurnOrientationForLayout(int orientation, long long rows, long long columns) {
    // Products of unchecked settings: only small positive counts mean a layout.
    if (rows <= 0 || columns <= 0 || rows > 100 || columns > 100)
        return orientation;
    const long long pages = rows * columns;
    if (pages != 2 && pages != 6)
        return orientation;
    return (orientation == 1 || orientation == 3) ? 4 : 1;
}

void QJVJobNote::specialKeyword(short* index) const {
    if (index)
        *index = SpecialIndex();
}

short QJVJobNote::SpecialIndex() const {
    const char* keyword = mNote ? mNote->Keyword() : nullptr;
    if (!keyword)
        return -1;
    for (std::size_t i = 0; i < gKeywordMap.size(); ++i)
        if (std::strcmp(gKeywordMap[i].keyword, keyword) == 0)
            return static_cast<short>(i);
    return -1;
}

std::string QJVJobNote::getTitle() const { return mNote ? mNote->CFStringUserName() : std::string(); }

std::string QJVJobNote::getUserData() const {
    const char* text = mNote ? mNote->GetNotes() : nullptr;
    return text ? std::string(text) : std::string();
}

std::string QJVJobNote::getKeyword() const {
    const char* keyword = mNote ? mNote->Keyword() : nullptr;
    return keyword ? std::string(keyword) : std::string();
}

bool QJVJobNote::IsUTF8() const { return mUTF8 || (mNote && mNote->IsUTF8()); }

bool QJVJobNote::WantsEncryption() const { return mNote && (mNote->IsEncrypt() || mNote->IsAESEncrypt()); }

const Key256* NoteKeyForDocument(QJVPPD& document, const KeySet* keys) {
    if (!keys)
        return nullptr;
    int number = kFirstNoteKey;
    if (const PPDXSpecialOption* option = document.GetControls()->FindSpecialOption("*UseSpecialKey", true)) {
        const char* value = option->GetValue();
        if (!value || std::strlen(value) != 1 || value[0] < '0' + kFirstNoteKey || value[0] > '0' + kLastNoteKey)
            return nullptr;
        number = value[0] - '0';
    }
    return keys->Note(number);
}

bool encryptNote(QJVPPD& document, const KeySet* keys, std::string_view in, std::string& out) {
    // "*UseSpecialAlgorithm" has one answer here: the note format carries
    // its own version, so the controller needs no hint.
    const Key256* key = NoteKeyForDocument(document, keys);
    if (!key)
        return false;
    std::optional<std::string> encrypted = EncryptNote(in, *key);
    if (!encrypted)
        return false;
    out = std::move(*encrypted);
    return true;
}

QJVJobNoteList::QJVJobNoteList(QJVPPD* document, bool utf8) : mDocument(document), mUTF8(utf8) {
    if (!document)
        return;
    PPDXControls* controls = document->GetControls();
    for (PPDXJobNote* note = controls->FirstJobNote(); note; note = controls->NextJobNote())
        mNotes.emplace_back(note, utf8);
    if (const PPDXSpecialOption* option = controls->FindSpecialOption("*QJUTF8_Version", true))
        if (option->GetValue())
            mUTF8Version = option->GetValue();
}

QJVJobNote* QJVJobNoteList::find(std::string_view keyword) {
    for (QJVJobNote& note : mNotes)
        if (note.getKeyword() == keyword)
            return &note;
    return nullptr;
}

std::optional<std::string> QJVJobNoteList::CredentialsLine() {
    if (!SpecialOptionIsTrue(*mDocument, "*QJVAuthenticateWithLDAP") &&
        !SpecialOptionIsTrue(*mDocument, "*CopierUserAuth"))
        return std::nullopt;
    const QJVJobNote* nameNote = find(gKeywordMap[kUserAuthNameRow].keyword);
    const QJVJobNote* passwordNote = find(gKeywordMap[kUserAuthPasswordRow].keyword);
    std::string name = nameNote ? nameNote->getUserData() : std::string();
    const std::string password = passwordNote ? passwordNote->getUserData() : std::string();
    if (name.empty())
        name = mLoginName;
    // The controller takes the name as a path component of its accounts.
    std::erase_if(name, [](char c) { return c == '/' || c == ':'; });
    name = ToUTF8(name);
    if (name.empty() || password.empty())
        return std::nullopt;
    if (!mKeys || !mKeys->master) {
        Log("user authentication: no master key in the key file; the credentials are left out of the job");
        return std::nullopt;
    }
    std::string packed;
    if (AUTH_packAndEncrypt(name, password, "", kUALDomainTypeDefault, 0, *mKeys->master, packed) != 0) {
        Log("user authentication: the credentials could not be packed; they are left out of the job");
        return std::nullopt;
    }
    return std::string(gKeywordMap[kUserAuthPasswordRow].prefix) + CommentSafe(packed) + "\n";
}

int QJVJobNoteList::outInjectionData(QJVJobTicket* ticket, const platform::PrintSettings* settings) {
    if (!ticket)
        return -50;
    const long long rows = SettingsNumber(settings, kLayoutRowsKey).value_or(1);
    const long long columns = SettingsNumber(settings, kLayoutColumnsKey).value_or(1);
    const int orientation = TurnOrientationForLayout(mOrientation, rows, columns);
    ticket->Add(kInjectLayoutComment, "%%MacCoreNUp: true\n");
    ticket->Add(kInjectLayoutComment, (orientation == 1 || orientation == 3) ? "%%Orientation: Portrait\n"
                                                                               : "%%Orientation: Landscape\n");
    if (!mDocument)
        return 0;

    bool credentialsDone = false;
    for (QJVJobNote& note : mNotes) {
        const short row = note.SpecialIndex();
        if (row == kUserAuthNameRow || row == kUserAuthPasswordRow) {
            if (!credentialsDone) {
                credentialsDone = true;
                if (std::optional<std::string> line = CredentialsLine())
                    ticket->Add(kInjectJobNoteData, *line);
            }
            continue;
        }
        std::string text = note.getUserData();
        if (row >= 0) {
            if (note.IsUTF8())
                text = ToUTF8(text);
            if (note.WantsEncryption() && !text.empty()) {
                std::string encrypted;
                if (!encryptNote(*mDocument, mKeys, text, encrypted)) {
                    Log("job note " + note.getKeyword() + ": no note key to encrypt it with; left out of the job");
                    continue;
                }
                text = std::move(encrypted);
            }
            std::string line = gKeywordMap[static_cast<std::size_t>(row)].prefix;
            AppendCommentSafe(line, text);
            line += '\n';
            ticket->Add(kInjectJobNoteData, line);
            continue;
        }
        PPDXJobNote* control = note.Note();
        if (!note.WantsEncryption() || text.empty()) {
            ticket->Add(kInjectFeatureCode, control);
            continue;
        }
        std::string encrypted;
        if (!encryptNote(*mDocument, mKeys, text, encrypted)) {
            Log("job note " + note.getKeyword() + ": no note key to encrypt it with; left out of the job");
            continue;
        }
        // The control writes its own framing from its text: lend it the
        // encrypted text for the one call, then give the typed one back.
        control->SetNotes(encrypted.c_str());
        ticket->Add(kInjectFeatureCode, control);
        control->SetNotes(text.c_str());
    }
    return 0;
}

} // namespace kelvo::output
