// The print-time assembly: every piece of the job's PostScript, in its fixed order.
//
// The order of the pieces and every format below are part of what the
// controller reads; change none of them. "%%%%" in a format comes out as the
// "%%" of a DSC comment. Text a user typed or a PPD supplied passes through
// CommentSafe before it lands on a comment line.
#include "panel/PDEData.h"

#include <fcntl.h>
#include <sys/acl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/QJVPPD.h"
#include "TextConverter/TextConverter.h"
#include "output/JobNotesOutput.h"
#include "output/TempFiles.h"
#include "util/CaseFold.h"
#include "util/CommentText.h"
#include "util/Log.h"
#include "util/Format.h"
#include "util/Utf8Cut.h"

namespace kelvo::panel {

namespace {

using output::kInjectAfterEndSetup;
using output::kInjectFeatureCode;
using output::kInjectHeaderComment;
using output::kInjectMailboxPath;
using output::kInjectSuppressFeature;

/// Bytes of a mixed-media or cover keyword and option on its line.
constexpr std::size_t kPairFieldBytes = 255;
/// Bytes of the print size named on the paper-catalog size line.
constexpr std::size_t kPrintSizeBytes = 63;
/// Bytes of a mailbox path.
constexpr std::size_t kMailboxPathBytes = 1023;
/// Bytes of the "*QJUTF8_Version" value.
constexpr std::size_t kUTF8VersionBytes = 127;

constexpr char kNUpSetting[] = "%%%%QJV Begin N-Up_Setting\r\nuserdict /KelvoZTdict known\r\n{\r\n"
                               "KelvoZTdict /QJVDoing_N_Up known\r\n"
                               "{ 1 false KelvoZTdict /QJVDoing_N_Up get exec } if\r\n} if\r\n%%%%QJV End\r\n";
constexpr char kSourceApp[] = "%%%%BeginFeature: *QJSourceAppType %s\n\n%%%%EndFeature\n";
constexpr char kOrientationFalse[] = "%%%%BeginFeature: *QJOrientation False\n%%%%EndFeature\n";
constexpr char kPairLine[] = "%%%%BeginFeature: %s %s\n%%%%EndFeature\n";
constexpr char kStarredPairLine[] = "%%%%BeginFeature: *%s %s\n%%%%EndFeature\n";
constexpr char kDynamicOption[] = "%%%%BeginFeature: %s %s\n /ZTXsetDynamicOption where\n"
                                  "        { pop (%s) (%s) ZTXsetDynamicOption } if\n%%%%EndFeature\n";
constexpr char kScale[] = "%%%%BeginFeature: *QJScale %d\n userdict /ZTXQJVsetpageproperties known {  << "
                          "/ZTXSetQJScale [ %d.%d%d ] >> ZTXQJVsetpageproperties } { /ZTXSetQJScale where { pop "
                          "%d.%d%d ZTXSetQJScale } if } ifelse \n%%%%EndFeature\n";
constexpr char kCustomPrintSize[] = "%%%%BeginFeature: *CustomPrintSize %.2f %.2f\n"
                                    "   userdict /ZTXQJVsetpageproperties known\n"
                                    "   {<< /ZTXsetPrintSize [ %.2f %.2f 0 0 1 ] >> ZTXQJVsetpageproperties} if\n"
                                    "%%%%EndFeature\n";
constexpr char kPrintSizeSame[] = "%%BeginFeature: *QJPrintSize SameAsPageSize\n\n%%EndFeature\n";
constexpr char kDriverComment[] = "%%QJVDriver\n";
constexpr char kPreparseEnd[] =
    "%%EndKelvoPreparse1: True\n/ZTXPPDInsertionComplete where { pop ZTXPPDInsertionComplete } if\n";
constexpr char kUTF8Version[] = "%%%%QJUTF8_Version: %s \n";

/// The controls step 6 leaves to later steps or never emits.
constexpr std::array<const char*, 4> kEmittedElsewhere = {"*QJScale", "*QJPrintSize", "*QJOrientation", "*Collate"};
/// The colour controls with a free-text companion, in output order.
constexpr std::array<const char*, 3> kColourControls = {"*QJOutProfile", "*QJSimulation", "*QJRGBOverride"};

using kelvo::Format;

bool Is(const char* keyword, const char* name) { return keyword && std::strcmp(keyword, name) == 0; }

/// Comment-safe and cut: the form of every user or PPD text on a line here.
std::string LineText(std::string_view text, std::size_t limit) {
    return CommentSafe(CutUTF8(text, limit));
}

/// Text inside a PostScript string "( )": backslash, parentheses and
/// control bytes escaped, so the text stays one string.
std::string PostScriptStringText(std::string_view text) {
    std::string out;
    for (const char c : text) {
        const auto b = static_cast<unsigned char>(c);
        if (c == '\\' || c == '(' || c == ')') {
            out += '\\';
            out += c;
        } else if (b < 0x20 || b == 0x7F) {
            char octal[5];
            std::snprintf(octal, sizeof octal, "\\%03o", b);
            out += octal;
        } else {
            out += c;
        }
    }
    return out;
}

/// The integer at the start of a value text, read as atoi reads it.
long LeadingNumber(const std::string& text) { return std::strtol(text.c_str(), nullptr, 10); }

std::string CurrentValue(PPDXControl* control) {
    return control ? control->CopyCurrentControlValueString() : std::string();
}

/// The process name in upper case. Only ASCII letters change: the name
/// is UTF-8, and its other bytes must stay whole characters.
std::string UpperASCII(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

/// Lets the printing system's filter user read and write the mailbox file
/// (owner rw, that user rw, nobody else anything). False when the user is
/// unknown or the file system has no ACLs.
bool GrantFilterUserWrite(int fd) {
    const std::string user = output::FilterUserName();
    const std::string text = "u::rw-,u:" + user + ":rw-,g::---,m::rw-,o::---";
    acl_t acl = acl_from_text(text.c_str());
    if (!acl)
        return false;
    const bool ok = acl_set_fd(fd, acl) == 0;
    acl_free(acl);
    return ok;
}

/// Creates the empty file a file destination writes to: exclusively and
/// never through a symbolic link, mode 0600 with a read-write ACL entry for
/// the printing system's user. An existing regular file of ours is left as
/// it is (never truncated); anything else is left alone and logged.
void CreateMailboxFile(const std::string& path) {
    if (path.empty() || path.front() != '/') {
        Log("mailbox " + path + ": not an absolute path; the file is not created");
        return;
    }
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0) {
        const int error = errno;
        struct stat st {};
        if (error == EEXIST && lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == geteuid())
            return;
        Log("mailbox " + path + ": " + std::strerror(error) + "; the file is not created");
        return;
    }
    if (!GrantFilterUserWrite(fd))
        Log("warning: mailbox " + path + ": no ACL for the printing system's user \"" + output::FilterUserName() +
            "\"; only its owner can write it");
    close(fd);
}

} // namespace

void PDEData::SuppressApplePostscript(output::QJVJobTicket& ticket) {
    if (!mDocument)
        return;
    PPDXControls* controls = mDocument->GetControls();
    CNTL_TYPE type = kControlTypeNone;
    for (PPDXControl* control = controls->First(type); control; control = controls->Next(type)) {
        const char* keyword = control->Keyword();
        if (keyword && !Is(keyword, "*PageSize"))
            ticket.Add(kInjectSuppressFeature, keyword);
    }
}

int PDEData::OutPostscriptData(output::QJVJobTicket& ticket, void* /*printSession*/) {
    if (!mDocument)
        return 0;
    PPDXControls* controls = mDocument->GetControls();
    const bool bidi = isBIDIEnabled();

    // 1. The host must not write feature code of its own for our keywords.
    SuppressApplePostscript(ticket);

    // 2. The workflow client hears of the job first.
    if (controls->FindSpecialOption("*Quorant", true) && bidi)
        UploadSwivaneXMLFiles(2);

    // 3. The first control always goes out, whatever it is: the controller
    // has always received it so.
    CNTL_TYPE type = kControlTypeNone;
    PPDXControl* first = controls->First(type);
    if (first)
        ticket.Add(kInjectFeatureCode, first);

    // 4. A landscape layout from InDesign asks the controller's N-up code
    // to leave the pages as laid out.
    if (mHost && mHost->ApplicationID().find("InDesign") != std::string::npos && mPageOrientation != 1 &&
        mPageOrientation != 3)
        ticket.Add(kInjectFeatureCode, Format(kNUpSetting));

    // 5. The source application.
    const std::string process = mHost ? UpperASCII(mHost->ProcessName()) : std::string();
    ticket.Add(kInjectFeatureCode, Format(kSourceApp, CommentSafe(process).c_str()));

    // 6. Feature code of every further control.
    if (first) {
        for (PPDXControl* control = controls->Next(type); control; control = controls->Next(type)) {
            const char* keyword = control->Keyword();
            if (!keyword)
                continue;
            if (mUsesOSPageSize && Is(keyword, "*PageSize"))
                continue;
            const bool elsewhere = std::any_of(kEmittedElsewhere.begin(), kEmittedElsewhere.end(),
                                               [&](const char* name) { return Is(keyword, name); });
            if (type != kControlTypeJobNote && !isSpecialChromaquaControl(keyword) && !elsewhere)
                ticket.Add(kInjectFeatureCode, control);
            else if (Is(keyword, "*QJOrientation") && !control->IsNoKelvoDriverUI())
                ticket.Add(kInjectFeatureCode, Format(kOrientationFalse));
        }
    }

    // 7, 8. Mixed media, then covers (whose keywords carry no asterisk).
    for (const KeyValuePair& pair : mMixedMedia)
        ticket.Add(kInjectFeatureCode, Format(kPairLine, LineText(pair.first, kPairFieldBytes).c_str(),
                                              LineText(pair.second, kPairFieldBytes).c_str()));
    for (const KeyValuePair& pair : mPadCovers)
        ticket.Add(kInjectFeatureCode, Format(kStarredPairLine, LineText(pair.first, kPairFieldBytes).c_str(),
                                              LineText(pair.second, kPairFieldBytes).c_str()));

    // 9. Colour controls with a free-text companion.
    AddColourControls(ticket, bidi);

    // 10. Job notes.
    output::QJVJobNoteList notes(mDocument, mJobNotesUTF8);
    notes.SetOrientation(GetPageOrientationFromOS());
    notes.SetKeys(mKeys);
    if (mHost)
        notes.SetLoginName(mHost->LoginName());
    notes.outInjectionData(&ticket, mHost ? &mHost->Settings() : nullptr);

    // 11. Watermark.
    AddWatermark(ticket);

    // 12. Scale: the percentage as a factor with two decimals.
    if (PPDXRangeControl* scale = controls->FindRangeControl("*QJScale", true)) {
        const long v = scale->GetValue();
        const int value = static_cast<int>(v);
        const int a = static_cast<int>(v / 100), b = static_cast<int>((v / 10) % 10), c = static_cast<int>(v % 10);
        ticket.Add(kInjectFeatureCode, Format(kScale, value, a, b, c, a, b, c));
    }

    // 13. Paper catalog.
    if (bidi)
        AddPaperCatalog(ticket);

    // 14, 15. Custom print size and print size.
    AddPrintSizes(ticket);

    // 16. File destination.
    AddFileDestination(ticket);

    // 17-19. Closing comments.
    ticket.Add(kInjectHeaderComment, kDriverComment);
    ticket.Add(kInjectAfterEndSetup, kPreparseEnd);
    Log("'/ZTXPPDInsertionComplete' kInjectAfterEndSetup <----------");
    if (const PPDXSpecialOption* option = controls->FindSpecialOption("*QJUTF8_Version", true)) {
        const std::string value = option->GetValue() ? option->GetValue() : "";
        ticket.Add(kInjectHeaderComment, Format(kUTF8Version, LineText(value, kUTF8VersionBytes).c_str()));
    }
    return 0;
}

void PDEData::AddColourControls(output::QJVJobTicket& ticket, bool bidi) {
    PPDXControls* controls = mDocument->GetControls();
    for (const char* name : kColourControls) {
        PPDXPopupControl* popup = controls->FindPopup(name, true);
        PPDXJobNote* note = controls->FindJobNote(name, true);
        if (bidi && note) {
            // The controller sends profile names with a byte-order mark
            // spelt out in hex; put the real bytes back.
            std::string text = note->GetNotes() ? note->GetNotes() : "";
            for (std::size_t at = text.find("EFBBBF"); at != std::string::npos; at = text.find("EFBBBF", at + 3))
                text.replace(at, 6, "\xEF\xBB\xBF");
            const std::string keyword = popup && popup->Keyword() ? popup->Keyword() : "";
            const std::string lineKeyword = CommentSafe(keyword);
            const std::string lineText = CommentSafe(text);
            ticket.Add(kInjectFeatureCode,
                       Format(kDynamicOption, lineKeyword.c_str(), lineText.c_str(),
                              PostScriptStringText(keyword).c_str(), PostScriptStringText(text).c_str()));
        } else if (!bidi) {
            if (note && popup)
                note->SetNotes("");
            if (popup)
                ticket.Add(kInjectFeatureCode, popup);
        } else if (popup) {
            ticket.Add(kInjectFeatureCode, popup);
        }
    }
}

void PDEData::AddWatermark(output::QJVJobTicket& ticket) {
    if (mSelectedWatermark < 0 || static_cast<std::size_t>(mSelectedWatermark) >= mWatermarks.size())
        return;
    output::QJVWatermark& watermark = mWatermarks[static_cast<std::size_t>(mSelectedWatermark)];
    if (std::optional<std::string> procedure =
            output::BuildWatermarkProcedure(watermark, GetPageOrientationFromOS(), mDocument->LanguageVersion()))
        ticket.Add(kInjectFeatureCode, *procedure);
}

void PDEData::AddPaperCatalog(output::QJVJobTicket& ticket) {
    PPDXControls* controls = mDocument->GetControls();
    const PPDXSpecialOption* utf8Version = controls->FindSpecialOption("*QJUTF8_Version", true);
    const bool japanese = Is(mDocument->LanguageVersion(), "Japanese");
    const bool toMacJapanese =
        japanese && (!utf8Version || std::atoi(utf8Version->GetValue() ? utf8Version->GetValue() : "") < 3);
    int added = 0;
    for (const KeyValuePair& pair : mPaperCatalog) {
        // The stored keyword starts with its asterisk and the format adds
        // another: the controller reads "**QJPCMID".
        std::string line = Format(kStarredPairLine, LineText(pair.first, kPairFieldBytes).c_str(),
                                  LineText(pair.second, kMaxPaperCatalogText).c_str());
        if (toMacJapanese) {
            bool ok = false;
            std::string converted =
                TextConverter::ConvertBytes(line, kTextEncodingUTF8, kTextEncodingMacJapanesePS, &ok);
            if (ok)
                line = std::move(converted);
        }
        if (LeadingNumber(pair.second) == -1)
            continue;
        ticket.Add(kInjectFeatureCode, line);
        ++added;
    }
    // The statement's value is kept as written, usually in quotes.
    std::string_view version = mDocument->MakerQJVersion() ? mDocument->MakerQJVersion() : "";
    if (!version.empty() && version.front() == '"')
        version.remove_prefix(1);
    PPDXControl* printSize = mDocument->GetPPDXControlForKey("*QJPrintSize");
    if (version.starts_with('3') && printSize && added > 0) {
        std::string value = CurrentValue(printSize);
        if (EqualsIgnoringCaseUTF8(value, "CustomPrintSize"))
            value = "CustomPageSize0";
        ticket.Add(kInjectFeatureCode, Format(kPairLine, "*QJPCPPDSize", LineText(value, kPrintSizeBytes).c_str()));
    }
}

void PDEData::AddPrintSizes(output::QJVJobTicket& ticket) {
    PPDXControl* printSize = mDocument->GetPPDXControlForKey("*QJPrintSize");
    const std::string printSizeValue = CurrentValue(printSize);
    auto* custom = dynamic_cast<PPDXCustomPageSizeControl*>(mDocument->GetPPDXControlForKey("*CustomPrintSize"));
    if (custom && printSize && EqualsIgnoringCaseUTF8(printSizeValue, "CustomPrintSize")) {
        const double width = custom->GetWidth(), height = custom->GetHeight();
        ticket.Add(kInjectFeatureCode, Format(kCustomPrintSize, width, height, width, height));
    }
    PPDXControl* pageSize = mDocument->GetPPDXControlForKey("*PageSize");
    if (printSize && pageSize) {
        if (EqualsIgnoringCaseUTF8(printSizeValue, CurrentValue(pageSize)) && !mUsesOSPageSize)
            ticket.Add(kInjectFeatureCode, kPrintSizeSame);
        else
            ticket.Add(kInjectFeatureCode, printSize);
    }
}

void PDEData::AddFileDestination(output::QJVJobTicket& ticket) {
    PPDXControl* destination = mDocument->GetPPDXControlForKey("*QJDestination");
    PPDXControl* mailbox = mDocument->GetPPDXControlForKey("*QJMailboxName");
    if (!destination || !mailbox || !EqualsIgnoringCaseUTF8(CurrentValue(destination), "File"))
        return;
    const std::string path = LineText(CurrentValue(mailbox), kMailboxPathBytes);
    ticket.Add(kInjectMailboxPath, path);
    CreateMailboxFile(path);
}

} // namespace kelvo::panel
