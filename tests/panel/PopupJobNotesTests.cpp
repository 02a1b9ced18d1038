// Popup job notes: the preferences file, the print-time window procedure, text conversions, the scripted window.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/ParseHelpers.h"
#include "PPDX/PopupJobNotesState.h"
#include "panel/PopupJobNotes.h"
#include "panel/ScriptedPopupWindow.h"
#include "store/PlistTestSupport.h"
#include "util/Log.h"

using namespace kelvo::panel;
using kelvotest::Parsed;
using Answer = ScriptedPopupWindow::Answer;

namespace {

constexpr std::string_view kBundle = "/usr/lib/kelvo/QJVKelvoPDE.plugin";
const std::string kTrailer = "^   Enable feat = 1 \n ^  Allow entry = 1 \n ^  Use last    = 2 \n  ^ Show  last  = 1 \n";

/// Collects the library's log lines for the scope.
struct LogLines {
    LogLines() {
        previous = kelvo::SetLogSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~LogLines() { kelvo::SetLogSink(previous); }
    bool Has(const std::string& line) const { return std::find(lines.begin(), lines.end(), line) != lines.end(); }
    std::vector<std::string> lines;
    kelvo::LogSink previous;
};

/// A private preferences folder for the scope: the file of kBundle lands in it.
struct PrefsFolder {
    kelvotest::TempDir dir;
    kelvotest::ScopedEnv config{"XDG_CONFIG_HOME", dir.Path().string()};
    std::filesystem::path File() const { return dir.Path() / "kelvo" / "QJV.VKelvoPDE.plugin.pujn"; }
    void Write(const std::string& bytes) const {
        std::filesystem::create_directories(File().parent_path());
        std::ofstream(File(), std::ios::binary) << bytes;
    }
    std::optional<std::string> Read() const {
        if (!std::filesystem::exists(File()))
            return std::nullopt;
        return kelvotest::ReadFile(File());
    }
};

/// The three steering controls and the popup notes of a test PPD.
struct PPDShape {
    bool tracking = true; ///< "*QJDisplayJobTracking" exists
    bool trackingOn = true;
    int setting = 1;
    bool showLast = false;
    /// "*Key/Name: flags" of each note, plus its default text when not empty.
    std::vector<std::pair<std::string, std::string>> notes = {
        {"*QJAcct/Account: 40|PopupJN", "dflt"}, {"*QJPin/PIN: 8|PopupJN|Password", ""}, {"*QJMemo/Memo: 20", ""}};
    std::string extra = {};
};

std::string Boolean(const std::string& key, bool on) {
    const std::string bare = key.substr(1);
    return "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key + "/" + bare +
           ": Boolean\n*Default" + bare + ": " + (on ? "True" : "False") + "\n" + key + " True/On: \"\"\n" + key +
           " False/Off: \"\"\n*CloseUI: " + key + "\n";
}

std::string Body(const PPDShape& shape) {
    std::string body = shape.extra;
    if (shape.tracking)
        body += Boolean("*QJDisplayJobTracking", shape.trackingOn);
    body += kelvotest::Popup("*QJAccountSetting",
                             "*QJAccountSetting Allow/Allow entry: \"\"\n*QJAccountSetting Last/Use last: \"\"\n",
                             shape.setting == 1 ? "*DefaultQJAccountSetting: Allow\n" : "*DefaultQJAccountSetting: Last\n");
    body += Boolean("*QJAccountShowLast", shape.showLast);
    for (const auto& [note, text] : shape.notes) {
        const std::string key = note.substr(0, note.find('/'));
        body += "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": QJGroup\n*%QJVJobNote " + note + "\n" +
                (text.empty() ? "\n" : "*%Default" + key.substr(1) + ": \"" + text + "\"\n");
    }
    return body;
}

PPDXJobNote* Note(const Parsed& p, const char* key) { return p.doc->GetControls()->FindJobNote(key, true); }
std::string NoteText(const Parsed& p, const char* key) {
    const char* text = Note(p, key)->GetNotes();
    return text ? text : "(null)";
}
PPDXBooleanControl* Bool(const Parsed& p, const char* key) { return p.doc->GetControls()->FindBoolean(key, true); }
PPDXPopupControl* Setting(const Parsed& p) { return p.doc->GetControls()->FindPopup("*QJAccountSetting", true); }

/// The state as panel creation leaves it for `p`.
PopupJobNotes& FreshState(const Parsed& p) {
    PopupJobNotes& state = PopupJobNotes::Instance();
    state.Reset();
    state.AdoptDocument(*p.doc);
    return state;
}

std::string Repeat(const std::string& piece, int times) {
    std::string out;
    while (times-- > 0)
        out += piece;
    return out;
}

} // namespace

TEST(PopupJobNotesFile, NameComesFromBundlePathAndConfigFolder) {
    struct Row {
        std::string bundle;
        std::optional<std::string> config, home;
        std::string expected;
    };
    const std::vector<Row> rows = {
        {"/usr/lib/kelvo/QJVKelvoPDE.plugin", "/cfg", "/h", "/cfg/kelvo/QJV.VKelvoPDE.plugin.pujn"},
        {"/a/QJVx.plugin/Contents/QJy", "/cfg", "/h", "/cfg/kelvo/QJV.Vx.plugin.pujn"}, // first "/QJ" wins
        {"/opt/QJ/QJVKelvoPDE.plugin", "/cfg", "/h", "/cfg/kelvo/QJV..pujn"},
        {"/usr/lib/kelvo/QJVKelvoPDE.plugin", "relative", "/h", "/h/.config/kelvo/QJV.VKelvoPDE.plugin.pujn"},
        {"/usr/lib/kelvo/QJVKelvoPDE.plugin", std::nullopt, "/h", "/h/.config/kelvo/QJV.VKelvoPDE.plugin.pujn"},
        {"/usr/lib/kelvo/QJVKelvoPDE.plugin", std::nullopt, std::nullopt, ""},
    };
    for (const Row& row : rows) {
        kelvotest::ScopedEnv config("XDG_CONFIG_HOME", row.config), home("HOME", row.home);
        EXPECT_EQ(PopupJobNotesFileName(row.bundle).string(), row.expected) << row.bundle;
    }
}

TEST(PopupJobNotesFile, ReadingFillsStateControlsAndNotes) {
    struct Row {
        const char* name;
        std::optional<std::string> file;
        bool japanese = false;
        std::string switches;                     ///< enable, setting, show-last afterwards
        std::vector<std::string> slots, values;   ///< the ten lines as read
        bool tracking = true;                     ///< controls afterwards
        long setting = 1;
        bool showLast = false;
        std::string acct = "dflt", pin = "";      ///< note texts afterwards
        std::vector<std::string> logs = {};
    };
    const std::vector<std::string> none(5, "");
    const std::vector<Row> rows = {
        {"missing file", std::nullopt, false, "010", none, none},
        {"disabled keeps the controls' defaults", "0211\n*QJAcct\n4711\n", false, "021", none, none, true, 1, false,
         "dflt", "", {"The accounting popup feature is disabled in preferences."}},
        {"enabled", "121\n*QJPin\npw\n*QJAcct\n4711\n", false, "121", {"*QJPin", "*QJAcct", "", "", ""},
         {"pw", "4711", "", "", ""}, true, 2, true, "4711", "pw"},
        {"a note without a slot gets an empty text", "x10\n*QJOther\n9", false, "x10", {"*QJOther", "", "", "", ""},
         {"", "", "", "", ""}, false, 1, false, "", ""},
        {"line over 128 bytes shifts the rest", "110\n*QJAcct\n" + std::string(130, 'x') + "\n*QJPin\npw\n", false,
         "110", {"*QJAcct", "xx", "pw", "", ""}, {std::string(127, 'x'), "*QJPin", "", "", ""}, true, 1, false,
         std::string(127, 'x'), ""},
        {"utf-8 value becomes Shift JIS", "110\n*QJAcct\n\u65E5\u672C\n", true, "110", {"*QJAcct", "", "", "", ""},
         {"\u65E5\u672C", "", "", "", ""}, true, 1, false, "\x93\xFA\x96\x7B", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        PrefsFolder prefs;
        if (row.file)
            prefs.Write(*row.file);
        Parsed p(Body(PPDShape{.trackingOn = true}));
        PopupJobNotes& state = FreshState(p);
        state.gPopupJobNotesLangIsJapanese = row.japanese;
        LogLines log;
        ReadPUJNPrefs(*p.doc, state, kBundle);

        EXPECT_EQ(state.gPopupJobNotesFileName, prefs.File());
        EXPECT_EQ(std::string({state.gPopupJobNotesSavedEnable, state.gPopupJobNotesSavedSetting,
                               state.gPopupJobNotesSavedShowLast}),
                  row.switches);
        EXPECT_EQ(std::vector<std::string>(state.gPopupJobNotesNote.begin(), state.gPopupJobNotesNote.end()),
                  row.slots);
        EXPECT_EQ(std::vector<std::string>(state.gPopupJobNotesSavedNote.begin(),
                                           state.gPopupJobNotesSavedNote.end()),
                  row.values);
        EXPECT_EQ(Bool(p, "*QJDisplayJobTracking")->IsTrue(), row.tracking);
        EXPECT_EQ(Bool(p, "*QJDisplayJobTracking")->DefaultState(), row.tracking);
        EXPECT_EQ(Setting(p)->GetValue(), row.setting);
        EXPECT_EQ(Setting(p)->DefaultValue(), row.setting);
        EXPECT_EQ(Bool(p, "*QJAccountShowLast")->IsTrue(), row.showLast);
        EXPECT_EQ(Bool(p, "*QJAccountShowLast")->DefaultState(), row.showLast);
        EXPECT_EQ(NoteText(p, "*QJAcct"), row.acct);
        EXPECT_STREQ(Note(p, "*QJAcct")->GetDefaultNotes(), row.acct.c_str());
        if (row.file && row.switches[0] != '0') {
            EXPECT_EQ(NoteText(p, "*QJPin"), row.pin);
        }
        EXPECT_EQ(NoteText(p, "*QJMemo"), "(null)"); // not a popup note: never touched
        for (const std::string& line : row.logs)
            EXPECT_TRUE(log.Has(line)) << line;
    }
}

TEST(PopupJobNotesFile, WritesTheLayoutByteForByte) {
    PrefsFolder prefs;
    Parsed p(Body(PPDShape{.setting = 2}));
    PopupJobNotes& state = FreshState(p);
    state.gPopupJobNotesFileName = prefs.File();
    state.gPopupJobNotesNote = {"*QJAcct", "*QJGone", "", "*QJPin", ""};
    state.gPopupJobNotesSavedNote = {"old", "kept", "", "old", "orphan"};
    Note(p, "*QJAcct")->SetNotes("Caf\x8E");
    Note(p, "*QJPin")->SetNotes(nullptr);

    ASSERT_TRUE(writePrefsFile(*p.doc, state));
    // The note's text replaces a slot's value only when the note exists;
    // values are written as UTF-8.
    EXPECT_EQ(prefs.Read(),
              "120\n*QJAcct\nCaf\u00E9\n*QJGone\nkept\n\n\n*QJPin\n\n\norphan\n" + kTrailer);
    struct stat file {}, folder{};
    ASSERT_EQ(stat(prefs.File().c_str(), &file), 0);
    ASSERT_EQ(stat(prefs.File().parent_path().c_str(), &folder), 0);
    EXPECT_EQ(file.st_mode & 0777, 0600u);
    EXPECT_EQ(folder.st_mode & 0777, 0700u);

    // Without the tracking control nothing is written.
    PrefsFolder other;
    Parsed untracked(Body(PPDShape{.tracking = false}));
    PopupJobNotes& plain = FreshState(untracked);
    plain.gPopupJobNotesFileName = other.File();
    EXPECT_FALSE(writePrefsFile(*untracked.doc, plain));
    EXPECT_FALSE(other.Read());
}

TEST(PopupJobNotesText, ConversionsAndTheirFailureTexts) {
    enum Way { kFromFile, kForWindow, kFromField };
    struct Row {
        Way way;
        std::string in;
        bool japanese;
        std::string out;
    };
    const std::string nichi = "\x93\xFA"; // the Shift JIS bytes of U+65E5
    const std::vector<Row> rows = {
        {kFromFile, "Caf\u00E9", false, "Caf\x8E"},
        {kFromFile, "\xC3(", true, "[conv from UTF8 failed]"},
        {kFromFile, "\u65E5\u672C", false, "[conv UTF8 to MR or SJ failed]"},
        {kForWindow, "Caf\x8E", false, "Caf\u00E9"},
        {kForWindow, "ab\x82", true, "[UTF8, MacOSRoman and ASCII encodings all failed]"},
        {kFromField, "\u65E5", false, "[conv UTF8 to MR or SJ failed]"},
        {kFromField, std::string(300, 'x'), false, std::string(127, 'x')},
        {kFromField, Repeat("\u00E9", 200), false, std::string(127, '\x8E')},
        {kFromField, "a" + Repeat("\u65E5", 70), true, "a" + Repeat(nichi, 63)},
        {kFromField, "aa" + Repeat("\u65E5", 70), true, "aa" + Repeat(nichi, 62)}, // no half character
    };
    for (const Row& row : rows) {
        const std::string out = row.way == kFromFile    ? PopupNoteTextFromUTF8(row.in, row.japanese)
                                : row.way == kForWindow ? PopupNoteTextForWindow(row.in, row.japanese)
                                                        : PopupNoteTextFromField(row.in, row.japanese);
        EXPECT_EQ(out, row.out) << row.way << " " << row.in.substr(0, 20);
    }
    LogLines log;
    PopupNoteTextForWindow("\x82", true);
    EXPECT_TRUE(log.Has("MacOSRoman encoding of '\x82' failed, trying ASCII"));
}

namespace {

struct PrintRow {
    const char* name;
    PPDShape ppd = {};
    std::optional<std::string> prefs = {}; ///< read with ReadPUJNPrefs first
    std::function<void(Parsed&, PopupJobNotes&)> setup = {};
    std::vector<Answer> script = {};
    PopupJobNotesClock clock = {100, 200};
    bool answer = true;
    std::optional<std::vector<PopupJobNoteField>> shown = {}; ///< nullopt: no window
    std::map<std::string, std::string> notes = {};            ///< texts afterwards
    std::optional<std::string> file = {};                     ///< written file before the trailer
    int syncs = 0;
    std::vector<std::string> logs = {};
    std::string title = "Accounting";
    long settingAfter = 0; ///< 0: not checked
};

Answer Ok(std::vector<std::string> fields) { return {PopupJobNoteButton::kOK, std::move(fields)}; }

const std::string kNoSlots = "\n\n\n\n\n\n\n\n\n\n";

} // namespace

TEST(PopupJobNotesPrint, AsksSavesAndAnswers) {
    const PopupJobNoteField acct{"Account", "", false}, pin{"PIN", "", true};
    const std::vector<PrintRow> rows = {
        {.name = "within 4 seconds of creation", .clock = {100, 103}, .answer = false},
        {.name = "no popup note known after the first reset",
         .setup = [](Parsed&, PopupJobNotes& s) { s.gPopupJobNotesDoneInitializing = true; },
         .clock = {100, 100}},
        {.name = "no tracking control", .ppd = {.tracking = false}},
        {.name = "tracking off", .ppd = {.trackingOn = false}, .notes = {{"*QJAcct", "dflt"}},
         .file = "010\n" + kNoSlots, .syncs = 1},
        {.name = "no popup notes", .ppd = {.notes = {{"*QJMemo/Memo: 20", ""}}}, .file = "110\n" + kNoSlots},
        {.name = "allow entry empties old values and keeps the answers",
         .prefs = "110\n*QJAcct\nold\n*QJPin\noldpw\n", .script = {Ok({"4711", "pw"})}, .clock = {100, 104},
         .shown = std::vector{acct, pin}, .notes = {{"*QJAcct", "4711"}, {"*QJPin", "pw"}},
         .file = "110\n*QJAcct\n4711\n*QJPin\npw\n\n\n\n\n\n\n", .syncs = 1,
         .logs = {"Document is now sent for printing"}},
        {.name = "show last pre-fills, falling back to the saved value",
         .prefs = "111\n*QJPin\npw\n*QJAcct\n4711\n",
         .setup = [](Parsed& p, PopupJobNotes&) { Note(p, "*QJAcct")->SetNotes(""); },
         .script = {Ok({})},
         .shown = std::vector<PopupJobNoteField>{{"Account", "4711", false}, {"PIN", "pw", true}},
         .notes = {{"*QJAcct", "4711"}, {"*QJPin", "pw"}},
         .file = "111\n*QJPin\npw\n*QJAcct\n4711\n\n\n\n\n\n\n", .syncs = 1},
        {.name = "use last sends the saved values unasked", .prefs = "121\n*QJAcct\n4711\n*QJPin\npw\n",
         .notes = {{"*QJAcct", "4711"}, {"*QJPin", "pw"}},
         .file = "121\n*QJAcct\n4711\n*QJPin\npw\n\n\n\n\n\n\n", .syncs = 1},
        {.name = "cancel", .script = {{PopupJobNoteButton::kCancel, std::nullopt}}, .answer = false,
         .shown = std::vector{acct, pin}, .notes = {{"*QJAcct", ""}},
         .file = "110\n*QJAcct\n\n*QJPin\n\n\n\n\n\n\n\n", .syncs = 1,
         .logs = {"Document printing was canceled", "Document is now sent for printing"}},
        {.name = "always flips the setting and the window stays open",
         .script = {{PopupJobNoteButton::kAlways, std::nullopt}, Ok({"1", "2"})},
         .shown = std::vector{acct, pin}, .file = "120\n*QJAcct\n1\n*QJPin\n2\n\n\n\n\n\n\n", .syncs = 1,
         .settingAfter = 2},
        {.name = "more than five popup notes",
         .ppd = {.notes = {{"*Q1/N1: 9|PopupJN", ""}, {"*Q2/N2: 9|PopupJN", ""}, {"*Q3/N3: 9|PopupJN", ""},
                           {"*Q4/N4: 9|PopupJN", ""}, {"*Q5/N5: 9|PopupJN", ""}, {"*Q6/N6: 9|PopupJN", "six"}}},
         .script = {Ok({"a", "b", "c", "d", "e"})},
         .shown = std::vector<PopupJobNoteField>{{"N1", ""}, {"N2", ""}, {"N3", ""}, {"N4", ""}, {"N5", ""}},
         .notes = {{"*Q5", "e"}, {"*Q6", ""}}, .file = "110\n*Q1\na\n*Q2\nb\n*Q3\nc\n*Q4\nd\n*Q5\ne\n",
         .syncs = 1, .logs = {"An illegal POPUPJN PPD caused this crash."}},
        {.name = "Japanese texts and a title from the PPD",
         .ppd = {.showLast = true, .extra = "*%QJVSubGroupName FPPopupAccounting/Account Details: \n"},
         .setup =
             [](Parsed& p, PopupJobNotes& s) {
                 s.gPopupJobNotesLangIsJapanese = true;
                 Note(p, "*QJAcct")->SetNotes("\x82");
             },
         .script = {Ok({"\u65E5\u672C", "x"})},
         .shown = std::vector<PopupJobNoteField>{{"Account", "[UTF8, MacOSRoman and ASCII encodings all failed]"},
                                                 {"PIN", "", true}},
         .notes = {{"*QJAcct", "\x93\xFA\x96\x7B"}, {"*QJPin", "x"}},
         .file = "111\n*QJAcct\n\u65E5\u672C\n*QJPin\nx\n\n\n\n\n\n\n", .syncs = 1,
         .logs = {"MacOSRoman encoding of '\x82' failed, trying ASCII"}, .title = "Account Details "},
    };
    for (const PrintRow& row : rows) {
        SCOPED_TRACE(row.name);
        PrefsFolder prefs;
        Parsed p(Body(row.ppd));
        PopupJobNotes& state = FreshState(p);
        if (row.prefs) {
            prefs.Write(*row.prefs);
            ReadPUJNPrefs(*p.doc, state, kBundle);
        }
        if (row.setup)
            row.setup(p, state);
        ScriptedPopupWindow window(row.script);
        int syncs = 0;
        bool alwaysNoUTF8 = true;
        auto sync = [&] {
            ++syncs;
            alwaysNoUTF8 = alwaysNoUTF8 && state.gPopupJobNotesNoUTF8;
        };
        LogLines log;

        EXPECT_EQ(PopupJobNotesShouldPrint(*p.doc, state, window, sync, kBundle, row.clock), row.answer);

        EXPECT_EQ(syncs, row.syncs);
        EXPECT_TRUE(alwaysNoUTF8);
        EXPECT_FALSE(state.gPopupJobNotesNoUTF8);
        if (row.shown) {
            ASSERT_EQ(window.Opened().size(), 1u);
            EXPECT_EQ(window.Opened()[0].fields, *row.shown);
            EXPECT_EQ(window.Opened()[0].title, row.title);
            EXPECT_FALSE(window.Opened()[0].alwaysTicked);
            EXPECT_EQ(window.ModalRuns(), static_cast<int>(row.script.size()));
            EXPECT_EQ(window.Closes(), 1);
        } else {
            EXPECT_TRUE(window.Opened().empty());
        }
        EXPECT_EQ(state.gPopupJobNotesWindow, nullptr);
        for (const auto& [key, text] : row.notes)
            EXPECT_EQ(NoteText(p, key.c_str()), text) << key;
        if (row.file) {
            EXPECT_EQ(prefs.Read(), *row.file + kTrailer);
        } else {
            EXPECT_FALSE(prefs.Read());
        }
        for (const std::string& line : row.logs)
            EXPECT_TRUE(log.Has(line)) << line;
        EXPECT_EQ(log.Has("Document printing was canceled"), row.answer == false && row.syncs > 0);
        if (row.settingAfter) {
            EXPECT_EQ(Setting(p)->GetValue(), row.settingAfter);
        }
    }
}

TEST(PopupJobNotesPanel, CreationLogsAndFirstReset) {
    struct Row {
        bool done, found;
        std::string line;
    };
    for (const Row& row : std::vector<Row>{
             {false, false,
              "POPUPJN initWithCallback major setup NOT BYPASSED, gPopupJobNotesDoneInitializing 0, "
              "gPopupJobNotesFoundOne 0"},
             {true, false, "POPUPJN initWithCallback major setup BYPASSED"},
             {true, true,
              "POPUPJN initWithCallback major setup NOT BYPASSED, gPopupJobNotesDoneInitializing 1, "
              "gPopupJobNotesFoundOne 1"},
         }) {
        PopupJobNotes& state = PopupJobNotes::Instance();
        state.Reset();
        state.gPopupJobNotesDoneInitializing = row.done;
        state.gPopupJobNotesFoundOne = row.found;
        state.gPopupJobNotesDefaultsButton = 1;
        LogLines log;
        LogPopupJobNotesSetup(state);
        EXPECT_EQ(log.lines, std::vector<std::string>{row.line});
        EXPECT_EQ(state.gPopupJobNotesDefaultsButton, 0);
    }

    struct ResetRow {
        PPDShape ppd;
        std::string line;
    };
    for (const ResetRow& row : std::vector<ResetRow>{
             {PPDShape{}, "POPUPJN present in this PPD <----------"},
             {PPDShape{.notes = {{"*QJMemo/Memo: 20", ""}}}, "POPUPJN absent from this PPD <----------"},
         }) {
        Parsed p(Body(row.ppd));
        PopupJobNotes& state = FreshState(p);
        LogLines log;
        NoteFirstReset(*p.doc, state);
        NoteFirstReset(*p.doc, state); // only the first reset reports
        EXPECT_TRUE(log.Has(row.line));
        EXPECT_EQ(std::count(log.lines.begin(), log.lines.end(), row.line), 1);
        EXPECT_TRUE(::gPopupJobNotesDoneInitializing);
        EXPECT_EQ(::gPopupJobNotesFoundOne, row.line.find("present") != std::string::npos);
    }
}

TEST(PopupJobNotesPanel, ResetAndDocumentLanguage) {
    std::string header = kelvotest::kHeader;
    header.replace(header.find("English"), 7, "Japanese");
    Parsed japanese(header + "*%QJVSubGroupName FPPopupAccounting/Konto: \n", kParseAll, {}, false);
    PopupJobNotes& state = FreshState(japanese);
    EXPECT_TRUE(::gPopupJobNotesLangIsJapanese);
    EXPECT_EQ(state.gPopupJobNotesWinTitle, "Konto ");
    state.gPopupJobNotesSavedNote[2] = "x";
    state.gPopupJobNotesShouldPrint = false;
    state.gPopupJobNotesFoundOne = true;
    state.Reset();
    EXPECT_EQ(state.gPopupJobNotesSavedNote[2], "");
    EXPECT_TRUE(state.gPopupJobNotesShouldPrint);
    EXPECT_FALSE(state.gPopupJobNotesWinTitle);
    EXPECT_FALSE(::gPopupJobNotesFoundOne);
    EXPECT_FALSE(::gPopupJobNotesLangIsJapanese);
}

TEST(ScriptedPopupWindow, ReadsAnswerScripts) {
    struct Row {
        std::string json;
        std::size_t answers; ///< 0: refused
        std::string error = "";
    };
    const std::vector<Row> rows = {
        {R"({"button": "always", "then": {"button": "always", "then": {"button": "cancel"}}})", 3},
        {"[]", 0, "an answer must be a JSON object"},
        {R"({"button": "maybe"})", 0, "unknown button \"maybe\""},
        {R"({"button": "ok", "fields": [1]})", 0, "\"fields\" must be an array of strings"},
        {R"({"button": "ok", "then": {"button": "ok"}})", 0, "\"then\" may only follow an \"always\" answer"},
        {R"({"button": "always", "then": {"fields": []}})", 0,
         "an answer needs \"button\": \"ok\", \"cancel\" or \"always\""},
    };
    const std::vector<PopupJobNoteField> fields{{"A", "one"}, {"B", "two", true}};
    for (const Row& row : rows) {
        std::string error;
        auto window = ScriptedPopupWindow::FromJSON(row.json, error);
        EXPECT_EQ(error, row.error) << row.json;
        ASSERT_EQ(window != nullptr, row.answers > 0) << row.json;
        if (!window)
            continue;
        ASSERT_TRUE(window->Open("T", fields, false));
        for (std::size_t i = 0; i < row.answers; ++i)
            window->RunModal();
        EXPECT_EQ(window->RunModal().button, PopupJobNoteButton::kCancel) << "answers run out as Cancel";
    }

    kelvotest::TempFile file(R"({"button": "always", "then": {"button": "ok", "fields": ["typed"]}})", "a.json");
    std::string error;
    auto window = ScriptedPopupWindow::FromFile(file.Path(), error);
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(window->Open("T", fields, true));
    EXPECT_EQ(window->RunModal().button, PopupJobNoteButton::kAlways);
    EXPECT_FALSE(window->AlwaysTicked());
    const PopupJobNoteAnswer ok = window->RunModal();
    EXPECT_EQ(ok.button, PopupJobNoteButton::kOK);
    EXPECT_EQ(ok.fields, (std::vector<std::string>{"typed", "two"})); // unscripted fields keep their text

    // One to five fields only.
    for (std::size_t count : {0u, 6u}) {
        LogLines log;
        EXPECT_FALSE(window->Open("T", std::vector<PopupJobNoteField>(count), false));
        EXPECT_EQ(log.lines,
                  std::vector<std::string>{"getPopupJobNoteWindow bad numFields " + std::to_string(count) + " "});
    }
    EXPECT_EQ(window->Opened().size(), 1u);
}
