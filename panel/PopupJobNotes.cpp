// Popup job notes: the preferences file, the panel-creation logs and the print-time procedure.
#include "panel/PopupJobNotes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PopupJobNotesState.h"
#include "PPDX/QJVPPD.h"
#include "TextConverter/TextConverter.h"
#include "util/FileDescriptor.h"
#include "util/Log.h"

namespace kelvo::panel {

namespace {

/// The legend written after the ten slot lines; never read back.
constexpr std::string_view kTrailer = "^   Enable feat = 1 \n"
                                      " ^  Allow entry = 1 \n"
                                      " ^  Use last    = 2 \n"
                                      "  ^ Show  last  = 1 \n";
/// Three switches, a newline and ten lines of at most 128 bytes: all the
/// reader ever looks at.
constexpr std::size_t kReadLimit = 4 + 2 * kPopupJobNoteSlots * kPopupJobNoteTextBytes;
/// A note text shown in the window or read from the file.
constexpr std::size_t kNoteTextLimit = 254;
/// A value typed into the window.
constexpr std::size_t kFieldTextLimit = 127;

constexpr const char* kFromUTF8Failed = "[conv from UTF8 failed]";
constexpr const char* kToPrinterEncodingFailed = "[conv UTF8 to MR or SJ failed]";
constexpr const char* kAllDecodingsFailed = "[UTF8, MacOSRoman and ASCII encodings all failed]";
constexpr const char* kCanceled = "Document printing was canceled";

unsigned PrinterEncoding(bool japanese) { return japanese ? kTextEncodingShiftJIS : kTextEncodingMacRoman; }

std::string Cut(std::string_view text, std::size_t limit) { return std::string(text.substr(0, limit)); }

/// Text up to its first NUL, as a C string holds it.
std::string_view UpToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

PPDXBooleanControl* FindBoolean(QJVPPD& document, const char* keyword) {
    return document.GetControls() ? document.GetControls()->FindBoolean(keyword, true) : nullptr;
}

PPDXPopupControl* FindPopup(QJVPPD& document, const char* keyword) {
    return document.GetControls() ? document.GetControls()->FindPopup(keyword, true) : nullptr;
}

/// The item "*QJAccountSetting" is on; without the control the window is
/// asked for every time, as with item 1.
long AccountSetting(QJVPPD& document) {
    const PPDXPopupControl* setting = FindPopup(document, kAccountSettingKeyword);
    return setting ? setting->GetValue() : kAccountAllowEntry;
}

bool ShowLast(QJVPPD& document) {
    const PPDXBooleanControl* showLast = FindBoolean(document, kAccountShowLastKeyword);
    return showLast && showLast->IsTrue();
}

/// The document's popup notes in collection order. Collected first because
/// the collection's job-note walk has a single cursor.
std::vector<PPDXJobNote*> PopupNotes(QJVPPD& document) {
    std::vector<PPDXJobNote*> notes;
    PPDXControls* controls = document.GetControls();
    if (!controls)
        return notes;
    for (PPDXJobNote* note = controls->FirstJobNote(); note; note = controls->NextJobNote())
        if (note->IsPopupJN())
            notes.push_back(note);
    return notes;
}

std::string NoteText(const PPDXJobNote& note) { return note.GetNotes() ? note.GetNotes() : ""; }

std::string NoteKeyword(const PPDXJobNote& note) {
    return Cut(note.Keyword() ? note.Keyword() : "", kPopupJobNoteTextBytes);
}

/// The slot holding `keyword`, or kPopupJobNoteSlots.
std::size_t SlotOf(const PopupJobNotes& state, std::string_view keyword) {
    for (std::size_t slot = 0; slot < kPopupJobNoteSlots; ++slot)
        if (state.gPopupJobNotesNote[slot] == keyword)
            return slot;
    return kPopupJobNoteSlots;
}

/// Reads the start of the file; nullopt when it cannot be opened or read.
std::optional<std::string> ReadHead(const std::filesystem::path& file) {
    if (file.empty())
        return std::nullopt;
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    std::string bytes(kReadLimit, '\0');
    std::size_t have = 0;
    bool failed = false;
    while (have < bytes.size()) {
        const ssize_t n = read(fd, bytes.data() + have, bytes.size() - have);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            failed = true;
        if (n <= 0)
            break;
        have += static_cast<std::size_t>(n);
    }
    close(fd);
    if (failed)
        return std::nullopt;
    bytes.resize(have);
    return bytes;
}

/// One slot line as a C reader with a 128-byte buffer sees it: up to and
/// including the newline, at most 128 bytes; the last byte is taken for the
/// newline and dropped even when it is not one, so a longer line leaves its
/// rest for the next read. nullopt at the end of the file.
std::optional<std::string> NextSlotLine(std::string_view bytes, std::size_t& at) {
    if (at >= bytes.size())
        return std::nullopt;
    std::size_t length = 0;
    while (length < kPopupJobNoteTextBytes && at + length < bytes.size())
        if (bytes[at + length++] == '\n')
            break;
    std::string_view line = bytes.substr(at, length);
    at += length;
    return std::string(UpToNul(line.substr(0, line.size() - 1)));
}

/// Creates the missing folders of `folder`, each private to the user.
bool MakeFolders(const std::filesystem::path& folder) {
    std::error_code ec;
    if (folder.empty() || std::filesystem::is_directory(folder, ec))
        return true;
    if (!MakeFolders(folder.parent_path()))
        return false;
    return mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

/// The document's window title, or the default one.
std::string WindowTitle(const PopupJobNotes& state) {
    if (state.gPopupJobNotesWinTitle && !state.gPopupJobNotesWinTitle->empty())
        return *state.gPopupJobNotesWinTitle;
    return "Accounting";
}

/// Gives each popup note a slot: the one that already holds its keyword,
/// else the first empty one. There are five slots; a PPD with more popup
/// notes is not supported, and the notes beyond them are left out.
void AssignSlots(PopupJobNotes& state, const std::vector<PPDXJobNote*>& notes, std::vector<std::size_t>& slots) {
    state.gPopupJobNotesUsed = 0;
    state.gPopupPPDXJobNotes.fill(nullptr);
    slots.clear();
    for (PPDXJobNote* note : notes) {
        const std::string keyword = NoteKeyword(*note);
        std::size_t slot = SlotOf(state, keyword);
        if (slot == kPopupJobNoteSlots)
            slot = SlotOf(state, "");
        if (slot == kPopupJobNoteSlots || slots.size() == kPopupJobNoteSlots) {
            kelvo::Log("An illegal POPUPJN PPD caused this crash.");
            continue;
        }
        state.gPopupJobNotesNote[slot] = keyword;
        state.gPopupPPDXJobNotes[slots.size()] = note;
        slots.push_back(slot);
        ++state.gPopupJobNotesUsed;
    }
}

/// The window's rows: each note's text or, with show-last on and no text,
/// its slot's saved value.
std::vector<PopupJobNoteField> WindowFields(const PopupJobNotes& state, const std::vector<std::size_t>& slots,
                                            bool showLast) {
    std::vector<PopupJobNoteField> fields;
    for (std::size_t i = 0; i < slots.size(); ++i) {
        const PPDXJobNote& note = *state.gPopupPPDXJobNotes[i];
        std::string value = Cut(NoteText(note), kNoteTextLimit);
        if (showLast && value.empty())
            value = state.gPopupJobNotesSavedNote[slots[i]];
        fields.push_back({note.CFStringUserName(), PopupNoteTextForWindow(value, state.gPopupJobNotesLangIsJapanese),
                          note.IsPassword()});
    }
    return fields;
}

/// Runs the window until OK or Cancel. Always flips the account setting
/// and the session goes on.
void AskInWindow(QJVPPD& document, PopupJobNotes& state, PopupJobNotesWindow& window,
                 const std::vector<std::size_t>& slots) {
    const bool japanese = state.gPopupJobNotesLangIsJapanese;
    if (!window.Open(WindowTitle(state), state.gPopupJobNoteValues, AccountSetting(document) == kAccountUseLast)) {
        // Nobody could be asked: the job does not go without its values.
        state.gPopupJobNotesShouldPrint = false;
        return;
    }
    state.gPopupJobNotesWindow = &window;
    for (;;) {
        const PopupJobNoteAnswer answer = window.RunModal();
        if (answer.button == PopupJobNoteButton::kAlways) {
            if (PPDXPopupControl* setting = FindPopup(document, kAccountSettingKeyword))
                setting->SetValue(setting->GetValue() == kAccountAllowEntry ? kAccountUseLast : kAccountAllowEntry);
            continue;
        }
        if (answer.button == PopupJobNoteButton::kOK) {
            for (std::size_t i = 0; i < slots.size(); ++i) {
                const std::string text =
                    PopupNoteTextFromField(i < answer.fields.size() ? answer.fields[i] : "", japanese);
                state.gPopupPPDXJobNotes[i]->SetNotes(text.c_str());
                state.gPopupJobNotesSavedNote[slots[i]] = text;
            }
        } else {
            state.gPopupJobNotesShouldPrint = false;
        }
        break;
    }
    window.Close();
    state.gPopupJobNotesWindow = nullptr;
}

/// The end of every print that got past the checks: the print settings,
/// the preferences file and the answer.
bool FinishPrint(QJVPPD& document, PopupJobNotes& state, const std::function<void()>& sync) {
    state.gPopupJobNotesNoUTF8 = true;
    if (sync)
        sync();
    state.gPopupJobNotesNoUTF8 = false;
    if (!state.gPopupJobNotesShouldPrint)
        kelvo::Log(kCanceled);
    writePrefsFile(document, state);
    kelvo::Log("Document is now sent for printing");
    return state.gPopupJobNotesShouldPrint;
}

} // namespace

// ---- state ----

PopupJobNotes::PopupJobNotes()
    : gPopupJobNotesLangIsJapanese(::gPopupJobNotesLangIsJapanese),
      gPopupJobNotesDoneInitializing(::gPopupJobNotesDoneInitializing),
      gPopupJobNotesFoundOne(::gPopupJobNotesFoundOne) {}

PopupJobNotes& PopupJobNotes::Instance() {
    static PopupJobNotes instance;
    return instance;
}

void PopupJobNotes::Reset() {
    gPopupJobNotesNote.fill({});
    gPopupJobNotesSavedNote.fill({});
    gPopupJobNotesSavedEnable = '0';
    gPopupJobNotesSavedSetting = '1';
    gPopupJobNotesSavedShowLast = '0';
    gPopupJobNotesFileName.clear();
    gPopupJobNotesWinTitle.reset();
    gPopupJobNotesLangIsJapanese = false;
    gPopupJobNotesNoUTF8 = false;
    gPopupJobNotesShouldPrint = true;
    gPopupJobNotesUsed = 0;
    gPopupPPDXJobNotes.fill(nullptr);
    gPopupJobNoteValues.clear();
    gPopupJobNotesWindow = nullptr;
    gPopupJobNotesDefaultsButton = 0;
    gPopupJobNotesDoneInitializing = false;
    gPopupJobNotesFoundOne = false;
}

void PopupJobNotes::AdoptDocument(const QJVPPD& document) {
    if (!document.PopupAccountingTitle().empty())
        gPopupJobNotesWinTitle = document.PopupAccountingTitle();
    else
        gPopupJobNotesWinTitle.reset();
    const char* language = document.LanguageVersion();
    gPopupJobNotesLangIsJapanese = language && std::strcmp(language, "Japanese") == 0;
}

// ---- conversions ----

std::string PopupNoteTextFromUTF8(std::string_view utf8, bool japanese) {
    if (utf8.empty())
        return {};
    bool ok = false;
    TextConverter::ConvertBytes(utf8, kTextEncodingUTF8, kTextEncodingUTF8, &ok);
    if (!ok)
        return kFromUTF8Failed;
    std::string text = TextConverter::ConvertBytes(utf8, kTextEncodingUTF8, PrinterEncoding(japanese), &ok);
    if (!ok || text.size() > kNoteTextLimit)
        return kToPrinterEncodingFailed;
    return text;
}

std::string PopupNoteTextForWindow(std::string_view text, bool japanese) {
    if (text.empty())
        return {};
    bool ok = false;
    std::string utf8 = TextConverter::ConvertBytes(text, PrinterEncoding(japanese), kTextEncodingUTF8, &ok);
    if (ok)
        return utf8;
    kelvo::Log("MacOSRoman encoding of '" + std::string(text) + "' failed, trying ASCII");
    for (char c : text)
        if (static_cast<unsigned char>(c) >= 0x80)
            return kAllDecodingsFailed;
    return std::string(text);
}

std::string PopupNoteTextFromField(std::string_view utf8, bool japanese) {
    if (utf8.empty())
        return {};
    // Every character takes at least one byte, so no more than the limit's
    // worth of characters can fit; dropping the rest first bounds the work.
    std::size_t end = 0;
    for (std::size_t characters = 0; end < utf8.size() && characters < kFieldTextLimit; ++characters) {
        ++end;
        while (end < utf8.size() && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80)
            ++end;
    }
    utf8 = utf8.substr(0, end);
    for (;;) {
        bool ok = false;
        std::string text = TextConverter::ConvertBytes(utf8, kTextEncodingUTF8, PrinterEncoding(japanese), &ok);
        if (!ok)
            return kToPrinterEncodingFailed;
        if (text.size() <= kFieldTextLimit)
            return text;
        // Too long: one character less, until it fits.
        std::size_t cut = utf8.size() - 1;
        while (cut > 0 && (static_cast<unsigned char>(utf8[cut]) & 0xC0) == 0x80)
            --cut;
        utf8 = utf8.substr(0, cut);
    }
}

// ---- the file ----

std::filesystem::path PopupJobNotesFileName(std::string_view bundlePath) {
    std::filesystem::path folder;
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config == '/')
        folder = std::filesystem::path(config) / "kelvo";
    else if (const char* home = std::getenv("HOME"); home && *home)
        folder = std::filesystem::path(home) / ".config" / "kelvo";
    else
        return {};
    std::string_view name;
    if (const std::size_t at = bundlePath.find("/QJ"); at != std::string_view::npos) {
        name = bundlePath.substr(at + 3);
        name = name.substr(0, name.find('/'));
    }
    return folder / ("QJV." + std::string(name) + ".pujn");
}

void ReadPUJNPrefs(QJVPPD& document, PopupJobNotes& state, std::string_view bundlePath) {
    state.gPopupJobNotesFileName = PopupJobNotesFileName(bundlePath);
    const std::optional<std::string> bytes = ReadHead(state.gPopupJobNotesFileName);
    if (!bytes || bytes->size() < 3)
        return;
    state.gPopupJobNotesSavedEnable = (*bytes)[0];
    state.gPopupJobNotesSavedSetting = (*bytes)[1];
    state.gPopupJobNotesSavedShowLast = (*bytes)[2];
    state.gPopupJobNotesNote.fill({});
    state.gPopupJobNotesSavedNote.fill({});
    if (state.gPopupJobNotesSavedEnable == '0') {
        kelvo::Log("The accounting popup feature is disabled in preferences.");
        return;
    }

    if (PPDXBooleanControl* tracking = FindBoolean(document, kJobTrackingKeyword)) {
        tracking->SetValue(state.gPopupJobNotesSavedEnable == '1');
        tracking->SetDefaultValue(state.gPopupJobNotesSavedEnable == '1');
    }
    if (PPDXPopupControl* setting = FindPopup(document, kAccountSettingKeyword)) {
        const long item = state.gPopupJobNotesSavedSetting == '1' ? kAccountAllowEntry : kAccountUseLast;
        setting->SetValue(item);
        setting->SetDefaultValue(item);
    }
    if (PPDXBooleanControl* showLast = FindBoolean(document, kAccountShowLastKeyword)) {
        showLast->SetValue(state.gPopupJobNotesSavedShowLast == '1');
        showLast->SetDefaultValue(state.gPopupJobNotesSavedShowLast == '1');
    }

    // The newline after the switches is skipped whatever it is.
    std::size_t at = 4;
    for (std::size_t slot = 0; slot < kPopupJobNoteSlots; ++slot) {
        std::optional<std::string> keyword = NextSlotLine(*bytes, at);
        std::optional<std::string> value = keyword ? NextSlotLine(*bytes, at) : std::nullopt;
        state.gPopupJobNotesNote[slot] = keyword.value_or("");
        state.gPopupJobNotesSavedNote[slot] = value.value_or("");
    }

    for (PPDXJobNote* note : PopupNotes(document)) {
        const std::size_t slot = SlotOf(state, NoteKeyword(*note));
        const std::string saved = slot < kPopupJobNoteSlots ? state.gPopupJobNotesSavedNote[slot] : "";
        const std::string text = PopupNoteTextFromUTF8(saved, state.gPopupJobNotesLangIsJapanese);
        note->SetNotes(text.c_str());
        note->SetDefaultNotes(text.c_str());
    }
}

bool writePrefsFile(QJVPPD& document, PopupJobNotes& state) {
    const PPDXBooleanControl* tracking = FindBoolean(document, kJobTrackingKeyword);
    if (!tracking)
        return false;
    state.gPopupJobNotesSavedEnable = tracking->IsTrue() ? '1' : '0';
    state.gPopupJobNotesSavedSetting = AccountSetting(document) == kAccountAllowEntry ? '1' : '2';
    state.gPopupJobNotesSavedShowLast = ShowLast(document) ? '1' : '0';
    for (std::size_t slot = 0; slot < kPopupJobNoteSlots; ++slot) {
        const std::string& keyword = state.gPopupJobNotesNote[slot];
        const PPDXJobNote* note =
            keyword.empty() ? nullptr : document.GetControls()->FindJobNote(keyword.c_str(), true);
        if (note)
            state.gPopupJobNotesSavedNote[slot] = Cut(NoteText(*note), kPopupJobNoteTextBytes);
    }

    const std::filesystem::path& file = state.gPopupJobNotesFileName;
    if (file.empty() || !MakeFolders(file.parent_path()))
        return false;
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    std::string text{state.gPopupJobNotesSavedEnable, state.gPopupJobNotesSavedSetting,
                     state.gPopupJobNotesSavedShowLast, '\n'};
    for (std::size_t slot = 0; slot < kPopupJobNoteSlots; ++slot) {
        const std::string& saved = state.gPopupJobNotesSavedNote[slot];
        text += state.gPopupJobNotesNote[slot] + '\n';
        text += (saved.empty() ? std::string() : std::string(macRomanToUTF8(saved.c_str()))) + '\n';
    }
    text += kTrailer;
    const bool written = kelvo::WriteAll(fd, text) == 0;
    return close(fd) == 0 && written;
}

// ---- panel life ----

void LogPopupJobNotesSetup(PopupJobNotes& state) {
    if (state.gPopupJobNotesDoneInitializing && !state.gPopupJobNotesFoundOne)
        kelvo::Log("POPUPJN initWithCallback major setup BYPASSED");
    else
        kelvo::Log("POPUPJN initWithCallback major setup NOT BYPASSED, gPopupJobNotesDoneInitializing " +
                   std::to_string(state.gPopupJobNotesDoneInitializing ? 1 : 0) + ", gPopupJobNotesFoundOne " +
                   std::to_string(state.gPopupJobNotesFoundOne ? 1 : 0));
    state.gPopupJobNotesDefaultsButton = 0;
}

void NoteFirstReset(QJVPPD& document, PopupJobNotes& state) {
    if (state.gPopupJobNotesDoneInitializing)
        return;
    PopupNotes(document);
    kelvo::Log(state.gPopupJobNotesFoundOne ? "POPUPJN present in this PPD <----------"
                                            : "POPUPJN absent from this PPD <----------");
    state.gPopupJobNotesDoneInitializing = true;
}

// ---- print time ----

bool PopupJobNotesShouldPrint(QJVPPD& document, PopupJobNotes& state, PopupJobNotesWindow& window,
                              const std::function<void()>& sync, std::string_view bundlePath,
                              PopupJobNotesClock clock) {
    if (state.gPopupJobNotesDoneInitializing && !state.gPopupJobNotesFoundOne)
        return true;
    // A print this soon after the panel appeared is taken for a stray
    // click-through of the dialog and refused.
    if (clock.panelCreated + 4 > clock.now)
        return false;

    state.gPopupJobNotesShouldPrint = true;
    const PPDXBooleanControl* tracking = FindBoolean(document, kJobTrackingKeyword);
    if (!tracking)
        return true;
    const bool trackingOn = tracking->IsTrue();
    const long setting = AccountSetting(document);
    const bool showLast = ShowLast(document);
    state.gPopupJobNotesFileName = PopupJobNotesFileName(bundlePath);
    if (!trackingOn) {
        // The feature is off: nothing is asked, the settings are written.
        writePrefsFile(document, state);
        return FinishPrint(document, state, sync);
    }

    const std::vector<PPDXJobNote*> notes = PopupNotes(document);
    std::vector<std::size_t> slots;
    AssignSlots(state, notes, slots);

    if (setting == kAccountAllowEntry && !showLast) {
        state.gPopupJobNotesSavedNote.fill({});
        for (PPDXJobNote* note : notes)
            note->SetNotes("");
    }

    if (state.gPopupJobNotesUsed == 0) {
        if (!state.gPopupJobNotesShouldPrint)
            kelvo::Log(kCanceled);
        writePrefsFile(document, state);
        return state.gPopupJobNotesShouldPrint;
    }

    state.gPopupJobNoteValues = WindowFields(state, slots, showLast);
    if (setting == kAccountUseLast)
        writePrefsFile(document, state); // the saved values go out as they are, unasked
    else
        AskInWindow(document, state, window, slots);
    return FinishPrint(document, state, sync);
}

} // namespace kelvo::panel
