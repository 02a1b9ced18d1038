// Popup job notes: accounting values asked for at print time and remembered per printer model.
//
// Some PPDs flag up to five job notes as popup notes. At print time the
// panel asks for their values in a small modal window (PopupJobNotesWindow)
// and keeps the last answers in a preferences file named after the panel
// bundle. Three PPD controls steer it: "*QJDisplayJobTracking" (the feature
// is on), "*QJAccountSetting" (item 1: ask every time, item 2: reuse the
// saved values) and "*QJAccountShowLast" (pre-fill the window).
//
// Note texts are kept in the printer's encoding (Shift JIS for Japanese
// PPDs, Mac Roman otherwise) and travel that way to the job; the file holds
// UTF-8. The layout of the file is in docs/popup-job-notes.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "panel/PopupJobNotesWindow.h"

class PPDXJobNote;
class QJVPPD;

namespace kelvo::panel {

/// Slots of the preferences file: one keyword and one value each.
inline constexpr std::size_t kPopupJobNoteSlots = 5;
/// Longest keyword or value a slot keeps, in bytes.
inline constexpr std::size_t kPopupJobNoteTextBytes = 128;

inline constexpr const char* kJobTrackingKeyword = "*QJDisplayJobTracking";
inline constexpr const char* kAccountSettingKeyword = "*QJAccountSetting";
inline constexpr const char* kAccountShowLastKeyword = "*QJAccountShowLast";

/// Items of "*QJAccountSetting".
inline constexpr long kAccountAllowEntry = 1;
inline constexpr long kAccountUseLast = 2;

/// The process-wide state of the feature. There is one print dialog per
/// process, so there is one instance (Instance()); panel creation puts it
/// back to its initial values with Reset().
///
/// Three of the switches are shared with the model, which reads them while
/// parsing and resetting (the job-note flag test, the popup default, the
/// Shift JIS choice of the text converter): those members refer to the
/// model's variables rather than holding copies.
class PopupJobNotes {
public:
    static PopupJobNotes& Instance();

    PopupJobNotes(const PopupJobNotes&) = delete;
    PopupJobNotes& operator=(const PopupJobNotes&) = delete;

    /// Every member back to its initial value (the shared switches too).
    void Reset();
    /// Takes the window title and the language from a freshly read document.
    void AdoptDocument(const QJVPPD& document);

    /// Keywords of the popup notes, in slot order (at most 128 bytes each).
    std::array<std::string, kPopupJobNoteSlots> gPopupJobNotesNote;
    /// The last value entered for each slot (at most 128 bytes each), in
    /// the printer's encoding.
    std::array<std::string, kPopupJobNoteSlots> gPopupJobNotesSavedNote;
    char gPopupJobNotesSavedEnable = '0';   ///< '1' feature on, '0' off
    char gPopupJobNotesSavedSetting = '1';  ///< '1' allow entry, '2' use last
    char gPopupJobNotesSavedShowLast = '0'; ///< '1' pre-fill, '0' not
    /// The preferences file; empty until built (and when no folder is known).
    std::filesystem::path gPopupJobNotesFileName;
    /// The window title the PPD gives, if any (UTF-8).
    std::optional<std::string> gPopupJobNotesWinTitle;
    bool& gPopupJobNotesLangIsJapanese;
    /// Set while the print settings are written at print time.
    bool gPopupJobNotesNoUTF8 = false;
    bool gPopupJobNotesShouldPrint = true;
    /// Popup notes shown at the last print.
    int gPopupJobNotesUsed = 0;
    /// The notes shown, in window-field order (borrowed from the document).
    std::array<PPDXJobNote*, kPopupJobNoteSlots> gPopupPPDXJobNotes{};
    /// The fields the window was opened with.
    std::vector<PopupJobNoteField> gPopupJobNoteValues;
    /// The window while its modal session runs (borrowed), else null.
    PopupJobNotesWindow* gPopupJobNotesWindow = nullptr;
    int gPopupJobNotesDefaultsButton = 0;
    bool& gPopupJobNotesDoneInitializing;
    bool& gPopupJobNotesFoundOne;

private:
    PopupJobNotes();
};

/// The preferences file for the panel bundle at `bundlePath`:
/// ${XDG_CONFIG_HOME:-$HOME/.config}/kelvo/QJV.<name>.pujn, where <name> is
/// the text after the first "/QJ" of the bundle path up to the next "/"
/// (empty when the path holds no "/QJ"). A relative XDG_CONFIG_HOME is
/// ignored. Empty when neither variable gives a folder.
std::filesystem::path PopupJobNotesFileName(std::string_view bundlePath);

/// Reads the preferences file into the state and the document: the three
/// switches, then (unless the file says the feature is off) the controls'
/// values and defaults, the ten slot lines and every popup note's text and
/// default. A missing or unreadable file changes nothing. Called while the
/// document is set up.
void ReadPUJNPrefs(QJVPPD& document, PopupJobNotes& state, std::string_view bundlePath);

/// Writes the state and the current controls to state.gPopupJobNotesFileName
/// (its folder created with mode 0700, the file with 0600, truncated when
/// it exists). Nothing happens without "*QJDisplayJobTracking" or a file
/// name. Returns whether the file was written completely.
bool writePrefsFile(QJVPPD& document, PopupJobNotes& state);

/// Logs the outcome of panel creation's setup ("POPUPJN initWithCallback
/// major setup ...") and clears the defaults-button flag.
void LogPopupJobNotesSetup(PopupJobNotes& state);

/// The first reset of the controls after panel creation: asks every job
/// note whether it is a popup note (which sets gPopupJobNotesFoundOne), logs
/// "POPUPJN present/absent in this PPD <----------" and sets
/// gPopupJobNotesDoneInitializing. Later calls do nothing.
void NoteFirstReset(QJVPPD& document, PopupJobNotes& state);

/// The clock of the print-time check, in whole seconds.
struct PopupJobNotesClock {
    std::int64_t panelCreated = 0;
    std::int64_t now = 0;
};

/// The print-time procedure: whether the job goes ahead. Refuses a print
/// asked for within 4 seconds of the panel's creation; otherwise asks for
/// the popup note values in `window` where the settings want it, writes
/// the print settings with `sync` (called with gPopupJobNotesNoUTF8 set)
/// and the preferences file. Cancel in the window answers false.
bool PopupJobNotesShouldPrint(QJVPPD& document, PopupJobNotes& state, PopupJobNotesWindow& window,
                              const std::function<void()>& sync, std::string_view bundlePath,
                              PopupJobNotesClock clock);

/// Text conversions of the feature, exposed for the panel's entry fields.
///
/// A saved UTF-8 value as note text (Shift JIS or Mac Roman, at most 254
/// bytes); "[conv from UTF8 failed]" when it is no UTF-8, "[conv UTF8 to MR
/// or SJ failed]" when it cannot be encoded.
std::string PopupNoteTextFromUTF8(std::string_view utf8, bool japanese);
/// Note text as the window shows it (UTF-8): decoded as Shift JIS or Mac
/// Roman, else as ASCII (logged), else "[UTF8, MacOSRoman and ASCII
/// encodings all failed]".
std::string PopupNoteTextForWindow(std::string_view text, bool japanese);
/// A field's UTF-8 text as note text: encoded, cut to at most 127 bytes at
/// a character boundary; "[conv UTF8 to MR or SJ failed]" when it cannot be
/// encoded.
std::string PopupNoteTextFromField(std::string_view utf8, bool japanese);

} // namespace kelvo::panel
