// Job notes at print time: the controller's comment lines, the credentials tag, and each note's own PostScript.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output/JobTicket.h"
#include "output/KeyFile.h"

class PPDXJobNote;
class QJVPPD;

namespace kelvo::output {

/// One row of gKeywordMap: a job note's keyword and the prefix of the
/// comment line it becomes.
struct JobNoteKeywordRow {
    const char* keyword;
    const char* prefix;
};

/// The notes the controller reads as job attributes. The row index is a
/// note's special-keyword index. Rows 6 and 7 (user name and password)
/// travel together as one packed credentials line.
inline constexpr std::array<JobNoteKeywordRow, 9> gKeywordMap = {{
    {"*Notes1", "%%QJVCustom1: "},
    {"*Notes2", "%%QJVCustom2: "},
    {"*Instruct", "%%QJVCustom3: "},
    {"*Notes3", "%%QJVCustom4: "},
    {"*Resume", "%%PersPassword: "},
    {"*DeptPassword", "%%DeptPassword: "},
    {"*QJUserAuthName", ""},
    {"*QJUserAuthPwd", "%%QJVUATag: "},
    {"*QJVPrintTime", "%%QJVPrintTime: "},
}};
inline constexpr short kUserAuthNameRow = 6;
inline constexpr short kUserAuthPasswordRow = 7;

/// The document-server notes: file name, user name and password.
inline constexpr std::array<const char*, 3> kDocumentServerKeywords = {"*QJDSFileName", "*QJDSUserName",
                                                                       "*QJDSPassword"};

/// Print-settings keys of the page layout the host chose.
inline constexpr std::string_view kLayoutNUpKey = "com.apple.print.PrintSettings.PMLayoutNUp";
inline constexpr std::string_view kLayoutRowsKey = "com.apple.print.PrintSettings.PMLayoutRows";
inline constexpr std::string_view kLayoutColumnsKey = "com.apple.print.PrintSettings.PMLayoutColumns";

/// Turns a page orientation for a layout of `rows` x `columns` pages per
/// sheet: with 2 or 6 pages per sheet the sheet turns, so portrait (1) and
/// reverse portrait (3) become reverse landscape (4) and every other code
/// portrait (1). Any other layout keeps `orientation`.
int TurnOrientationForLayout(int orientation, long long rows, long long columns);

/// One job note of the document, borrowed.
class QJVJobNote {
public:
    /// `note` is not owned and must outlive this object. `utf8`: the list
    /// writes comment text as UTF-8.
    QJVJobNote(PPDXJobNote* note, bool utf8) : mNote(note), mUTF8(utf8) {}

    /// The note's row in gKeywordMap, or -1.
    void specialKeyword(short* index) const;
    short SpecialIndex() const;
    /// The note's local name, current text (the system encoding; "" when
    /// none) and keyword.
    std::string getTitle() const;
    std::string getUserData() const;
    std::string getKeyword() const;
    /// Whether its comment text is written as UTF-8: the list says so, or
    /// the note carries the UTF8 flag.
    bool IsUTF8() const;
    /// The note asks to be encrypted (Encrypt or AESEncrypt).
    bool WantsEncryption() const;
    PPDXJobNote* Note() const { return mNote; }

private:
    PPDXJobNote* mNote;
    bool mUTF8;
};

/// How a note's text is encrypted: the key that the document's
/// "*UseSpecialKey" names ("2".."7" pick "note2".."note7"; without the
/// option, "note2"). Nothing when the option names no key or the key file
/// lacks it: then an encrypted note cannot be written at all.
const Key256* NoteKeyForDocument(QJVPPD& document, const KeySet* keys);

/// Encrypts `in` for the controller under the document's note key into
/// `out` (printable text). False, with `out` untouched, when there is no
/// key or encryption failed: the caller then leaves the note out rather
/// than send it in the clear.
bool encryptNote(QJVPPD& document, const KeySet* keys, std::string_view in, std::string& out);

/// Every job note of a document, in collection order, and their output.
class QJVJobNoteList {
public:
    /// Lists the notes of `document` (not owned, must outlive the list).
    /// `utf8`: comment text goes out as UTF-8.
    QJVJobNoteList(QJVPPD* document, bool utf8);

    /// The note of `keyword`, or null.
    QJVJobNote* find(std::string_view keyword);
    const std::vector<QJVJobNote>& Notes() const { return mNotes; }

    /// The page orientation code (1..4) the layout comment starts from.
    void SetOrientation(int orientation) { mOrientation = orientation; }
    int Orientation() const { return mOrientation; }
    /// Keys for encrypted notes and the credentials (not owned; null: none).
    void SetKeys(const KeySet* keys) { mKeys = keys; }
    /// The name sent when the user-name note is empty: the login name of
    /// the user printing, which the host gives.
    void SetLoginName(std::string name) { mLoginName = std::move(name); }
    /// The value of the special option "*QJUTF8_Version", if any.
    const std::optional<std::string>& UTF8Version() const { return mUTF8Version; }

    /// Adds the pieces to `ticket`:
    ///  - at kInjectLayoutComment "%%MacCoreNUp: true\n", then the
    ///    orientation comment ("%%Orientation: Portrait\n" for 1 and 3,
    ///    otherwise Landscape) after the turn of TurnOrientationForLayout
    ///    with the layout of `settings`;
    ///  - per note in order, at kInjectJobNoteData, the line of a special
    ///    note (prefix, text, newline; the text made safe for a comment line
    ///    and encrypted first when the note asks for it);
    ///  - with "*QJVAuthenticateWithLDAP" or "*CopierUserAuth" "True", one
    ///    "%%QJVUATag: " line of the packed user name and password, at
    ///    kInjectJobNoteData where the first of the two notes stands;
    ///  - every other note's own PostScript at kInjectFeatureCode, made from
    ///    its encrypted text when it asks for encryption.
    /// A note that must be encrypted or packed but lacks its key is left
    /// out (and logged), never sent in the clear. Returns -50 without a
    /// ticket, else 0.
    int outInjectionData(QJVJobTicket* ticket, const platform::PrintSettings* settings);

private:
    /// The credentials line, or nothing when it is not wanted or cannot be made.
    std::optional<std::string> CredentialsLine();

    QJVPPD* mDocument;
    bool mUTF8;
    std::vector<QJVJobNote> mNotes;
    int mOrientation = 1;
    const KeySet* mKeys = nullptr;
    std::string mLoginName;
    std::optional<std::string> mUTF8Version;
};

} // namespace kelvo::output
