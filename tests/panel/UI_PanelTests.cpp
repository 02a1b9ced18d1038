// The panel's state controller: tree capacities, the settings list both ways, presets, and the helper exchange.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <deque>
#include <fstream>
#include <map>
#include <set>

#include "PPDX/ParseHelpers.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "panel/PDEData.h"
#include "panel/UI_Panel.h"
#include "platform/Alerts.h"
#include "platform/Bundle.h"
#include "platform/MessagePort.h"
#include "platform/PollEventLoop.h"
#include "platform/StringsTable.h"
#include "platform/memory/InMemoryHost.h"
#include "platform/memory/InMemorySharedSegments.h"
#include "platform/memory/RecordingProcessLauncher.h"
#include "store/PrinterAddressList.h"
#include "util/Log.h"

namespace fs = std::filesystem;
using namespace kelvo::panel;
using kelvo::platform::PropertyValue;
using kelvotest::Parsed;
using kelvotest::Popup;
using kelvotest::TempFile;

namespace {

/// Ports in the test's memory: a name exists while a test "helper" listens
/// on it, and every request is recorded and handed to the helper's hook.
class FakePorts final : public kelvo::platform::MessagePorts {
public:
    bool PortExists(std::string_view name) override { return listening.count(std::string(name)) != 0; }
    int SendToPort(std::string_view name, std::string_view text, std::chrono::milliseconds) override {
        if (!PortExists(name))
            return ECONNREFUSED;
        sent.emplace_back(name, text);
        if (onSend)
            onSend(std::string(text));
        return 0;
    }
    std::unique_ptr<kelvo::platform::MessagePortListener> Listen(std::string_view, int& error) override {
        error = EOPNOTSUPP;
        return nullptr;
    }
    std::set<std::string> listening;
    std::vector<std::pair<std::string, std::string>> sent;
    std::function<void(const std::string&)> onSend;
};

/// Captures the library's log lines for one test.
struct LogCapture {
    LogCapture() {
        previous = kelvo::SetLogSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~LogCapture() { kelvo::SetLogSink(previous); }
    bool Has(std::string_view part) const {
        return std::any_of(lines.begin(), lines.end(), [&](const std::string& l) { return l.find(part) != l.npos; });
    }
    std::vector<std::string> lines;
    kelvo::LogSink previous;
};

const char* kMark = "0,0,0,255,0,0,u,0,u,0,u,u,40,Helvetica,MARK"; // not first page only

const std::string kControls =
    Popup("*QJDuplex", "*QJDuplex None/Off: \"\"\n*QJDuplex Long/Long: \"\"\n", "*DefaultQJDuplex: None\n") +
    Popup("*PageSize", "*PageSize A4/A4: \"\"\n*PageSize Letter/Letter: \"\"\n", "*DefaultPageSize: A4\n") +
    Popup("*QJScale", "*QJScale 1.5/1.5: \"\"\n*QJScale 1.50/1.50: \"\"\n*QJScale 2/2: \"\"\n*QJScale 3/3: \"\"\n",
          "*DefaultQJScale: 2\n") +
    "*%QJShortcut: *QJDuplex\n";

/// One panel's world: a parsed PPD, a host, an address list, the in-memory
/// platform with a clock that sleeping advances, and recording views.
struct World {
    explicit World(const std::string& ppd = kControls, bool bidi = false, bool withBundle = true)
        : parsed(ppd), folder("", "keep"),
          localizable(kelvo::platform::StringsTable::Parse(
              "\"Watermark0\" = \"0,0,0,0,0,0,u,0,u,0,u,u,40,Helvetica,ZERO\";\n\"DocumentSizeCustom\" = \"Own "
              "Size\";\n",
              "test")),
          bidiStrings(kelvo::platform::StringsTable::Parse(
              "\"INVALID_IP_ADDRESS\" = \"You have entered an invalid IP Address or DNS Name\";\n"
              "\"PRESS_OKAY\" = \"Press OK to enter a new IP Address or DNS Name.\";\n",
              "test")),
          platform{segments, ports, launcher, loop, alerts, localizable, bidiStrings},
          pane(calls), buttons(calls), dialog(calls) {
        const fs::path dir = folder.Path().parent_path();
        listPath = dir / "list.plist";
        kelvo::store::QJVTessaryPrinterPList list(listPath);
        list.Add("office", "10.1.2.3", bidi);
        EXPECT_TRUE(list.Save());
        fs::create_directories(dir / "QJTest.plugin/Contents");
        std::ofstream(dir / "QJTest.plugin/Contents/Info.plist")
            << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
               "<key>CFBundleIdentifier</key><string>org.example.panel</string>"
               "<key>CFBundleVersion</key><string>2.5</string></dict></plist>";
        std::string error;
        bundle = kelvo::platform::Bundle::Open(dir / "QJTest.plugin", error);
        EXPECT_TRUE(bundle) << error;
        if (withBundle)
            platform.bundle = &*bundle;
        platform.now = [this] { return clockMs / 1000; };
        platform.sleep = [this](std::chrono::milliseconds time) {
            clockMs += time.count();
            ++sleeps;
            if (onSleep)
                onSleep();
        };
        platform.ping = [this](std::string_view address) {
            pinged.emplace_back(address);
            return pingAnswer;
        };
        platform.loginName = [] { return std::string("alice"); };
        platform.argsFile = dir / "KDArgs.txt";
        SetPaper("A4");
        kelvo::panel::PDEDataOptions options;
        options.addressList = listPath;
        options.copyPPD = false;
        data = std::make_unique<PDEData>(parsed.doc.get(), "office", &host, options);
    }
    std::unique_ptr<UI_Panel> Make() {
        auto panel = std::make_unique<UI_Panel>(data.get(), platform, UI_PanelViews{&pane, &buttons});
        panel->setsBonjourModuleController(&dialog);
        return panel;
    }
    /// The host's paper-info ticket: the paper's name and its whole sheet.
    void SetPaper(const char* name, double top = 0, double left = 0, double bottom = 0, double right = 0) {
        using kelvo::store::PropertyArray;
        using kelvo::store::PropertyDictionary;
        host.Settings().Set(kPaperTicket,
                            PropertyValue(PropertyDictionary{
                                {"com.apple.print.PaperInfo.ppd.PMPaperName", PropertyValue(name)},
                                {"com.apple.print.PaperInfo.PMUnadjustedPaperRect",
                                 PropertyValue(PropertyArray{PropertyValue(top), PropertyValue(left),
                                                             PropertyValue(bottom), PropertyValue(right)})}}));
    }
    static constexpr const char* kPaperTicket = "com.apple.print.subTicket.paper_info_ticket";
    std::string Value(const char* keyword) const { return *parsed.doc->CopyValueForKey(keyword); }

    Parsed parsed;
    TempFile folder;
    fs::path listPath;
    kelvo::platform::InMemoryHost host;
    kelvo::platform::InMemorySharedSegments segments;
    FakePorts ports;
    kelvo::platform::RecordingProcessLauncher launcher;
    kelvo::platform::PollEventLoop loop;
    kelvo::platform::RecordingAlerts alerts;
    kelvo::platform::StringsTable localizable;
    kelvo::platform::StringsTable bidiStrings;
    std::optional<kelvo::platform::Bundle> bundle;
    UI_PanelPlatform platform;
    std::int64_t clockMs = 1'000'000;
    int sleeps = 0;
    std::function<void()> onSleep;
    int pingAnswer = 0;
    std::vector<std::string> pinged;
    ViewCallLog calls;
    RecordingCustomizePane pane;
    RecordingPanelButtons buttons;
    RecordingPrinterAddressDialog dialog;
    std::unique_ptr<PDEData> data;
};

SDMKeyValueList List(std::initializer_list<std::pair<const wchar_t*, const wchar_t*>> pairs) {
    SDMKeyValueList list;
    for (const auto& [key, value] : pairs)
        list.entries.push_back({key, value});
    return list;
}

/// Puts `list` and `status` into the panel's segment as the helper would.
void HelperWrites(World& w, UI_Panel& panel, const SDMKeyValueList& list, long status) {
    std::optional<SharedMemoryList> segment = panel.Segment();
    ASSERT_TRUE(segment);
    Create_SharedMemoryList_From_SDMList(*segment, list, w.segments, panel.SegmentId());
    segment->SetStatus(status);
}

} // namespace

// ---- the tree ----

TEST(UI_PanelTree, CapacitiesRefuseWithALogLineAndNeverOverrun) {
    // 32 groups: E first, holding only a control the basic panel leaves
    // out; 70 controls in G0, one in each of G1..G30; and 100 shortcuts.
    std::string ppd = "*%QJVGroupName E/Empty: \"True\"\n" +
                      Popup("*QJMMInUse", "*QJMMInUse No/No: \"\"\n", "*DefaultQJMMInUse: No\n", "PickOne", "E");
    for (int g = 0; g <= 30; ++g)
        ppd += "*%QJVGroupName G" + std::to_string(g) + "/Group " + std::to_string(g) + ": \"True\"\n";
    const auto popup = [](const std::string& key, const std::string& group) {
        return Popup(key, key + " A/A: \"\"\n" + key + " B/B: \"\"\n", "*Default" + key.substr(1) + ": A\n",
                     "PickOne", group);
    };
    std::string shortcuts;
    for (int i = 0; i < 70; ++i) {
        ppd += popup("*P" + std::to_string(i), "G0");
        shortcuts += "*%QJShortcut: *P" + std::to_string(i) + "\n";
    }
    for (int g = 1; g <= 30; ++g) {
        ppd += popup("*Q" + std::to_string(g), "G" + std::to_string(g));
        shortcuts += "*%QJShortcut: *Q" + std::to_string(g) + "\n";
    }
    LogCapture log;
    World w(ppd + shortcuts);
    ASSERT_EQ(w.parsed.doc->GetShortcuts()->Count(), 100u);
    auto panel = w.Make();
    const UI_Panel::Tree& tree = panel->GetTree();

    EXPECT_EQ(tree.shortcutCount, kMaxTreeShortcuts);
    EXPECT_TRUE(log.Has("shortcut *Q30 left out"));
    // E and G0..G28 fit; E is dropped as empty afterwards, and the
    // position codes count the groups as they are shown.
    EXPECT_EQ(tree.groupCount, 29u);
    EXPECT_EQ(tree.groups[0].keyword, "G0");
    EXPECT_EQ(tree.groups[28].keyword, "G28");
    EXPECT_TRUE(log.Has("group G29 left out"));
    EXPECT_TRUE(log.Has("group G30 left out"));
    EXPECT_EQ(tree.groups[0].controlCount, kMaxGroupControls);
    EXPECT_TRUE(log.Has("control *P30 of group G0 left out"));
    EXPECT_TRUE(log.Has("control *P69 of group G0 left out"));

    const std::pair<const char*, std::int32_t> positions[] = {
        {"*P0", 100}, {"*P29", 129}, {"*P30", 0}, {"*Q1", 200}, {"*Q28", 2900}, {"*Q29", 0},
    };
    for (const auto& [keyword, position] : positions) {
        const PPDTreeShortcut* node = GetShortcutFromKeyword(keyword);
        ASSERT_NE(node, nullptr) << keyword;
        EXPECT_EQ(node->position, position) << keyword;
    }
    EXPECT_EQ(GetShortcutFromKeyword("*Q30"), nullptr);
}

TEST(UI_PanelTree, KeptQuickAccessKeysReplaceThePPDShortcuts) {
    World w(kControls + Popup("*QJStaple", "*QJStaple Off/Off: \"\"\n*QJStaple On/On: \"\"\n",
                              "*DefaultQJStaple: Off\n") +
            Popup("*QJMMInUse", "*QJMMInUse No/No: \"\"\n", "*DefaultQJMMInUse: No\n"));
    struct Row {
        const char* kept; // null: never customized
        std::vector<std::string> shortcuts;
    };
    const Row rows[] = {
        {nullptr, {"*QJDuplex"}},                                               // the PPD's own
        {"*QJStaple *Nope *QJDuplex *QJMMInUse *QJStaple", {"*QJStaple", "*QJDuplex"}}, // user's order, once
        {"", {}},                                                               // all taken out
    };
    for (const Row& row : rows) {
        if (row.kept)
            w.host.Settings().Set(kQuickAccessKey, PropertyValue(row.kept));
        else
            w.host.Settings().Remove(kQuickAccessKey);
        auto panel = w.Make();
        const UI_Panel::Tree& tree = panel->GetTree();
        std::vector<std::string> got;
        for (std::size_t i = 0; i < tree.shortcutCount; ++i)
            got.push_back(tree.shortcuts[i].keyword);
        EXPECT_EQ(got, row.shortcuts) << (row.kept ? row.kept : "(none)");
        if (const PPDTreeShortcut* staple = tree.FindShortcut("*QJStaple")) {
            EXPECT_EQ(staple->position, 103); // QJGroup: QJDuplex, PageSize, QJScale, QJStaple
        }
        w.data->SetPPDShortcuts(tree);
        const std::string saved(w.host.Settings().Get(kQuickAccessKey)->StringOr("?"));
        std::string expected;
        for (const std::string& k : row.shortcuts)
            expected += (expected.empty() ? "" : " ") + k;
        EXPECT_EQ(saved, expected);
        panel.reset();
    }
}

// ---- the settings list ----

TEST(UI_PanelSettings, DefaultSettingsListEverythingInItsOrder) {
    struct Row {
        const char* name;
        bool bidi;
        bool customPaper;
        std::vector<std::pair<std::wstring, std::wstring>> expected;
    };
    const Row rows[] = {
        {"plain", false, false,
         {{L"QJDuplex", L"Long"}, {L"PageSize", L"A4"}, {L"QJScale", L"2"}, {L"*QJ_WATERMARK", L"1"},
          {L"*QJ_WATERMARK_FIRSTPAGEONLY", L"True"}, {L"*RangeProp1", L"1-3"}, {L"*PadCover", L"Front"},
          {L"*QJ_COPIES", L"3"}, {L"num copies", L"3"}, {L"*QJOrientation", L"Landscape"},
          {L"*QJPCMID", L"-1"}, {L"*QJPCName", L"-1"}, {L"*QJCoverSizePCMID", L"-1"}, {L"*QJCoverSizePCName", L"-1"}}},
        // Bidirectional: dynamic popups at their default are left out.
        {"bidi", true, false,
         {{L"QJDuplex", L"Long"}, {L"*QJ_WATERMARK", L"1"}, {L"*QJ_WATERMARK_FIRSTPAGEONLY", L"True"},
          {L"*RangeProp1", L"1-3"}, {L"*PadCover", L"Front"}, {L"*QJ_COPIES", L"3"}, {L"num copies", L"3"},
          {L"*QJOrientation", L"Landscape"}, {L"*QJPCMID", L"-1"}, {L"*QJPCName", L"-1"},
          {L"*QJCoverSizePCMID", L"-1"}, {L"*QJCoverSizePCName", L"-1"}}},
        // A paper that is no PPD size replaces the page size.
        {"custom", false, true,
         {{L"QJDuplex", L"Long"}, {L"QJScale", L"2"}, {L"PageSize", L"Custom"},
          {L"CustomPageSize", L"400.000000 600.000000"}, {L"*QJ_WATERMARK", L"1"},
          {L"*QJ_WATERMARK_FIRSTPAGEONLY", L"True"}, {L"*RangeProp1", L"1-3"}, {L"*PadCover", L"Front"},
          {L"*QJ_COPIES", L"3"}, {L"num copies", L"3"}, {L"*QJOrientation", L"Landscape"},
          {L"*QJPCMID", L"-1"}, {L"*QJPCName", L"-1"}, {L"*QJCoverSizePCMID", L"-1"}, {L"*QJCoverSizePCName", L"-1"}}},
    };
    for (const Row& row : rows) {
        World w(kControls, row.bidi);
        w.host.Settings().Set("copies", PropertyValue(3));
        w.host.Page().orientation = 2;
        if (row.customPaper)
            w.SetPaper("Poster", -10, -20, 590, 380);
        auto panel = w.Make();
        w.parsed.doc->SetValueForKey("*QJDuplex", "Long");
        w.data->SelectWatermark(0);
        w.host.Settings().Set("WatermarkFirstPageInfo", PropertyValue(1));
        w.data->AddMixedMedia("*RangeProp1", "1-3");
        w.data->AddPadCover("*PadCover", "Front");
        std::vector<std::pair<std::wstring, std::wstring>> got;
        const std::unique_ptr<SDMKeyValueList> list = panel->GetDefaultSettings();
        for (const SDMKeyValue& entry : list->entries)
            got.emplace_back(entry.key, entry.value);
        EXPECT_EQ(got, row.expected) << row.name;
        EXPECT_TRUE(w.data->Watermarks()[0].FirstPageOnly()) << row.name;
    }
}

TEST(UI_PanelSettings, UpdatedSettingsApplyEachKindOfKey) {
    World w;
    auto panel = w.Make();
    w.data->Watermarks().assign(20, kelvo::output::QJVWatermark(kMark));
    w.data->AddMixedMedia("*RangeProp9", "old");
    const std::size_t controls = w.parsed.doc->GetControls()->All().size();
    w.calls.clear();
    panel->SetUpdatedSettings(List({{L"QJDuplex", L"Long"},
                                    {L"NoSuchKey", L"x"},
                                    {L"*QJ_WATERMARK", L"25"},
                                    {L"*QJ_WATERMARK_FIRSTPAGEONLY", L"True"},
                                    {L"*QJ_COPIES", L"7"},
                                    {L"RangeNum2", L"4-5"},
                                    {L"*MM_A1", L"Tab"},
                                    {L"*PadCover2", L"Back"},
                                    {L"QJPCName", L"Heavy"}}));
    EXPECT_EQ(w.Value("*QJDuplex"), "Long");
    EXPECT_EQ(w.parsed.doc->GetControls()->All().size(), controls); // the unknown key made nothing
    EXPECT_EQ(w.data->SelectedWatermark(), 19);
    EXPECT_TRUE(w.data->Watermarks()[19].FirstPageOnly());
    EXPECT_EQ(w.data->GetNumCopiesFromOS(), 7);
    EXPECT_EQ(w.data->MixedMedia(), (std::vector<KeyValuePair>{{"*RangeNum2", "4-5"}, {"*MM_A1", "Tab"}}));
    EXPECT_EQ(w.data->PadCovers(), (std::vector<KeyValuePair>{{"*PadCover2", "Back"}}));
    EXPECT_EQ(w.data->PaperCatalog()[1].second, "Heavy");
    EXPECT_EQ(w.data->PaperCatalog()[0].second, "-1");
    EXPECT_EQ(w.host.Settings().Get("*QJPCName"), PropertyValue("Heavy"));
    EXPECT_EQ(w.calls, ViewCallLog{"drawControlsInTree"});

    const std::pair<const wchar_t*, int> numbers[] = {{L"0", -1}, {L"1", 0}, {L"20", 19}, {L"21", 19},
                                                      {L"-3", -1}, {L"x", -1}};
    for (const auto& [number, index] : numbers) {
        panel->SetUpdatedSettings(List({{L"*QJ_WATERMARK", number}}));
        EXPECT_EQ(w.data->SelectedWatermark(), index) << number;
    }
}

TEST(UI_PanelSettings, ColourChoicesBecomeJobNotesOnlyWithBidirectionalCommunication) {
    const std::string ppd =
        kControls + Popup("*QJOutProfile", "*QJOutProfile Std/Standard: \"\"\n", "*DefaultQJOutProfile: Std\n");
    for (const bool bidi : {false, true}) {
        World w(ppd, bidi);
        auto panel = w.Make();
        panel->SetUpdatedSettings(
            List({{L"QJOutProfile", L"Vivid"}, {L"PresetName", L"Mine"}, {L"QJDuplex", L"Long"}}));
        PPDXJobNote* note = w.parsed.doc->GetControls()->FindJobNote("*QJOutProfile", true);
        PPDXJobNote* preset = w.parsed.doc->GetControls()->FindJobNote("*PresetName", true);
        EXPECT_EQ(note != nullptr, bidi);
        EXPECT_EQ(preset != nullptr, bidi);
        if (bidi) {
            EXPECT_EQ(note->CopyNotes(), "Vivid");
            EXPECT_STREQ(note->GetParent()->Keyword(), "FPQJNotes");
            EXPECT_EQ(preset->CopyNotes(), "Mine");
            EXPECT_EQ(w.Value("*QJOutProfile"), "Vivid"); // appended to the popup and chosen
            // The listing leaves the colour popup out and sends the note.
            const auto list = panel->GetDefaultSettings();
            const auto has = [&](const wchar_t* key, const wchar_t* value) {
                return std::count(list->entries.begin(), list->entries.end(), SDMKeyValue{key, value});
            };
            EXPECT_EQ(has(L"QJOutProfile", L"Vivid"), 1);
        }
        EXPECT_EQ(w.Value("*QJDuplex"), "Long");
    }
}

TEST(UI_PanelSettings, HostPaperMatchesAPPDSizeOrBecomesCustom) {
    struct Row {
        std::optional<const char*> paper; // nullopt: no paper-info ticket at all
        bool custom;
        const char* pageSize;
        const char* sizeText;
        const char* saved;
    };
    const Row rows[] = {
        {"Letter", false, "Letter", "", "Letter"},
        {"US Letter", false, "Letter", "", "US Letter"},
        {"Poster \xC3\xA9", true, "A4", "400.000000 600.000000", "Poster ??"},
        {std::nullopt, true, "A4", "300.000000 500.000000", "Own Size"},
        {"", false, "A4", "", ""},
    };
    for (const Row& row : rows) {
        World w;
        w.host.Page().unadjustedPaper = {-100, -100, 400, 200};
        if (row.paper)
            w.SetPaper(*row.paper, 0, 0, 600, 400);
        else
            w.host.Settings().Remove(World::kPaperTicket);
        UI_PanelState::Instance().sSavedOSPageSize.clear();
        auto panel = w.Make();
        const std::string name = row.paper.value_or("Own Size");
        EXPECT_EQ(w.data->UsesOSPageSize(), row.custom) << name;
        EXPECT_EQ(w.Value("*PageSize"), row.pageSize) << name;
        EXPECT_EQ(panel->CustomSizeText().value_or(""), row.sizeText) << name;
        EXPECT_EQ(panel->CustomPaperName().has_value(), row.custom) << name;
        EXPECT_EQ(UI_PanelState::Instance().sSavedOSPageSize, row.saved) << name;
    }
}

TEST(UI_PanelSettings, ResetPutsGroupedControlsBackAndClearsTheLists) {
    World w;
    auto panel = w.Make();
    w.parsed.doc->SetValueForKey("*QJDuplex", "Long");
    w.parsed.doc->SetValueForKey("*PageSize", "Letter");
    w.data->Watermarks().assign(2, kelvo::output::QJVWatermark(kMark));
    w.data->SelectWatermark(1);
    w.data->AddMixedMedia("*RangeProp1", "1");
    w.data->SetPaperCatalogValue(2, "X");
    w.calls.clear();
    panel->ResetControlsToDefault();
    EXPECT_EQ(w.Value("*QJDuplex"), "None");
    EXPECT_EQ(w.Value("*PageSize"), "Letter"); // the page size is the host's
    EXPECT_EQ(w.data->SelectedWatermark(), -1);
    EXPECT_TRUE(w.data->MixedMedia().empty());
    EXPECT_EQ(w.data->PaperCatalog()[2].second, "-1");
    EXPECT_EQ(w.calls, ViewCallLog{"drawControlsInTree"});
}

TEST(UI_PanelSettings, PresetComparisonAllowsTheHelpersShorterNumbers) {
    struct Row {
        const wchar_t* returned;
        const char* current;
        bool same;
    };
    const Row rows[] = {
        {L"1.5", "1.50", true}, {L"1.50", "1.5", false}, {L"2", "3", false}, {L"2", "2", true},
    };
    for (const Row& row : rows) {
        World w;
        auto panel = w.Make();
        EXPECT_TRUE(panel->compareJPServerPresets()); // nothing returned yet
        HelperWrites(w, *panel, List({{L"QJScale", row.returned}, {L"PresetName", L"Fast"}}), 0);
        panel->OnJPReturn();
        w.parsed.doc->SetValueForKey("*QJScale", row.current);
        EXPECT_EQ(panel->compareJPServerPresets(), row.same) << row.current;
    }
}

// ---- the helper ----

TEST(UI_PanelHelper, VersionStringChoosesTheHelperAndItsMinorNumber) {
    struct Row {
        const char* line;
        const char* helper;
        const char* minor;
        bool glint3;
    };
    const Row rows[] = {
        {"*%QJVersion: 4.3\n", "4.2", "2", true},
        {"*%QJVersion: 4.7\n", "4.4", "7", false},
        {"*%QJVersion: 5.0\n", "3", "0", false},
        {"*%QJVersion: \"4.1\"\n", "4.1", "1", false},
        {"*%QJVersionMac: 4.2\n*%QJVersion: 4.0\n", "4.2", "2", true},
        {"", "3", "0", false},
    };
    for (const Row& row : rows) {
        World w(row.line + kControls);
        auto panel = w.Make();
        ASSERT_EQ(w.launcher.Launches().size(), 1u) << row.line;
        EXPECT_EQ(w.launcher.Launches()[0],
                  (std::vector<std::string>{w.bundle->HelperPath(row.helper), std::to_string(panel->SegmentId()),
                                            row.minor}))
            << row.line;
        EXPECT_EQ(panel->isGlint3(), row.glint3) << row.line;
        EXPECT_EQ(panel->Segment()->BundleName(), "QJTest.plugin");
        EXPECT_EQ(panel->Segment()->BundleVersion(), "2.5");
        EXPECT_TRUE(panel->HelperStartPending());
    }
}

TEST(UI_PanelHelper, ArgumentsFileIsPrivateAndNeverFollowsALink) {
    {
        World w;
        auto panel = w.Make();
        struct stat st {};
        ASSERT_EQ(lstat(w.platform.argsFile.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
        EXPECT_EQ(kelvotest::ReadFile(w.platform.argsFile), std::to_string(panel->SegmentId()) + "\n");
        panel.reset();
        auto again = w.Make(); // our own leftover is replaced
        EXPECT_EQ(kelvotest::ReadFile(w.platform.argsFile), std::to_string(again->SegmentId()) + "\n");
    }
    World w;
    const fs::path target = w.folder.Path().parent_path() / "victim";
    std::ofstream(target) << "keep";
    fs::create_symlink(target, w.platform.argsFile);
    auto panel = w.Make();
    EXPECT_TRUE(fs::is_symlink(w.platform.argsFile));
    EXPECT_EQ(kelvotest::ReadFile(target), "keep");
}

TEST(UI_PanelHelper, NoBundleNoSegmentNoLaunch) {
    World w(kControls, false, false);
    auto panel = w.Make();
    EXPECT_TRUE(w.launcher.Launches().empty());
    EXPECT_FALSE(UI_PanelState::Instance().sLoadingHelper); // nobody waits for a helper that cannot come
    panel->LaunchJobProperties(kJPOpenMainUI);
    EXPECT_EQ(w.sleeps, 0);
    EXPECT_EQ(w.loop.PendingTimers(), 0u);
}

TEST(UI_PanelHelper, AHelperThatCannotBeStartedDoesNotHoldTheDialog) {
    World w;
    w.launcher.FailWith(ENOENT);
    auto panel = w.Make();
    EXPECT_FALSE(UI_PanelState::Instance().sLoadingHelper);
    panel->LaunchJobProperties(kJPOpenMainUI);
    EXPECT_EQ(w.launcher.Launches().size(), 2u); // started with the panel, and once more
    EXPECT_TRUE(w.calls.empty());
    EXPECT_EQ(w.loop.PendingTimers(), 0u);
}

TEST(UI_PanelHelper, FullExchangeAppliesWhatTheHelperReturned) {
    World w;
    w.data->Watermarks().clear();
    const std::size_t segmentsBefore = kelvo::platform::InMemorySharedSegments::Count();
    auto panel = w.Make();
    const int id = panel->SegmentId();
    ASSERT_GE(id, 0);
    EXPECT_EQ(panel->Segment()->WatermarkCount(), 5u); // none stored: five from the strings table

    // The helper starts: it attaches the segment, then opens its port.
    int error = 0;
    std::unique_ptr<kelvo::platform::SharedSegment> helperView = w.segments.Attach(id, error);
    ASSERT_TRUE(helperView);
    w.ports.listening.insert(kelvo::platform::MessagePortName(id));

    std::optional<long> statusAtRequest;
    std::size_t settingsSent = 0;
    w.ports.onSend = [&](const std::string&) {
        auto segment = SharedMemoryList::Over(helperView->Bytes());
        statusAtRequest = segment->Status();
        settingsSent = segment->SettingsCount();
        // The helper answers a little later, from the dialog's loop.
        w.loop.InstallTimer(0.03, [&, segment]() mutable {
            SDMKeyValueList list;
            list.entries.push_back({L"*QJ_WATERMARK", L"2"}); // entry 0 sizes the overflow
            for (int i = 1; i < 300; ++i)
                list.entries.push_back({L"Filler" + std::to_wstring(i), L"x"});
            list.entries.push_back({L"QJDuplex", L"Long"}); // the 301st: through the overflow segment
            const SegmentWriteResult written = Create_SharedMemoryList_From_SDMList(*segment, list, w.segments, id);
            EXPECT_EQ(written.inOverflow, 1u);
            segment->SetStatus(0);
        });
    };

    w.calls.clear();
    panel->LaunchJobProperties(kJPOpenMainUI);
    ASSERT_EQ(w.ports.sent.size(), 1u);
    EXPECT_EQ(w.ports.sent[0], std::make_pair(kelvo::platform::MessagePortName(id), std::string("jpOpenMainUI")));
    EXPECT_EQ(statusAtRequest, -1);
    EXPECT_GT(settingsSent, 0u);
    EXPECT_TRUE(UI_PanelState::Instance().gIgnoreButtonEvents);
    EXPECT_TRUE(UI_PanelState::Instance().segmentMarkedForRemoval);

    ASSERT_TRUE(w.loop.RunUntil([] { return !UI_PanelState::Instance().gIgnoreButtonEvents; },
                                std::chrono::seconds(5)));
    EXPECT_EQ(w.Value("*QJDuplex"), "Long");
    EXPECT_EQ(w.data->SelectedWatermark(), 1);
    ASSERT_NE(panel->JPReturnedList(), nullptr);
    EXPECT_EQ(panel->JPReturnedList()->count(), 301u);
    EXPECT_EQ(panel->getReturnFromJP(), 1);
    EXPECT_FALSE(panel->HelperStartPending());
    EXPECT_EQ(w.calls, (ViewCallLog{"setFullPropertiesButtonStatusON:NO", "setDefaultsButtonStatusON:NO",
                                    "setCustomizeQuickAccessButtonButtonStatusON:NO", "greyoutShortcutControls:YES",
                                    "greyoutConfigureButton:NO", "greyoutBIDICheckbox:NO", "bringDialogForward",
                                    "setFullPropertiesButtonStatusON:YES", "setDefaultsButtonStatusON:YES",
                                    "setCustomizeQuickAccessButtonButtonStatusON:YES",
                                    "greyoutShortcutControls:NO", "greyoutBIDICheckbox:YES", "drawControlsInTree"}));

    helperView.reset();
    panel.reset();
    EXPECT_EQ(kelvo::platform::InMemorySharedSegments::Count(), segmentsBefore); // segment and overflow gone
}

TEST(UI_PanelHelper, ReturnIsHandledByStatus) {
    struct Row {
        long status;
        bool bidi;
        bool applied;
        bool redrawn;
        bool alert;
    };
    const Row rows[] = {
        {0, false, true, true, false}, {1, false, false, true, false}, {-1, false, false, false, false},
        {7, true, false, false, true}, {7, false, false, false, false},
    };
    for (const Row& row : rows) {
        World w(kControls, row.bidi);
        auto panel = w.Make();
        HelperWrites(w, *panel, List({{L"QJDuplex", L"Long"}}), row.status);
        w.calls.clear();
        panel->OnJPReturn();
        const bool redrawn = std::count(w.calls.begin(), w.calls.end(), "drawControlsInTree") == 1;
        EXPECT_EQ(w.Value("*QJDuplex") == "Long", row.applied) << row.status;
        EXPECT_EQ(redrawn, row.redrawn) << row.status;
        EXPECT_EQ(w.alerts.Shown().size(), row.alert ? 1u : 0u) << row.status;
        EXPECT_EQ(std::count(w.calls.begin(), w.calls.end(), "greyoutConfigureButton:YES"), row.bidi ? 1 : 0);
    }
}

TEST(UI_PanelHelper, UnreachablePrinterAddressStopsTheLaunchWithTheAlert) {
    for (const int answer : {1, 0}) {
        World w;
        auto panel = w.Make();
        w.ports.listening.insert(kelvo::platform::MessagePortName(panel->SegmentId()));
        w.dialog.bidi = true;
        w.dialog.address = "printer.example";
        w.pingAnswer = answer;
        panel->LaunchJobProperties(kJPOpenChromaquaUI);
        EXPECT_EQ(w.pinged, std::vector<std::string>{"printer.example"});
        if (answer != 0) {
            EXPECT_EQ(w.alerts.Shown(),
                      (std::vector<kelvo::platform::ShownAlert>{
                          {"You have entered an invalid IP Address or DNS Name", "OK",
                           "Press OK to enter a new IP Address or DNS Name."}}));
            EXPECT_TRUE(w.ports.sent.empty());
            EXPECT_EQ(w.loop.PendingTimers(), 0u);
        } else {
            EXPECT_TRUE(w.alerts.Shown().empty());
            ASSERT_EQ(w.ports.sent.size(), 1u);
            EXPECT_EQ(w.ports.sent[0].second, "jpOpenChromaquaUI");
            EXPECT_TRUE(panel->Segment()->BidiFlag());
            EXPECT_EQ(panel->Segment()->PrinterAddress(), "printer.example");
        }
    }
}

TEST(UI_PanelHelper, AHelperThatNeverCameIsStartedAgain) {
    World w;
    auto panel = w.Make();
    ASSERT_EQ(w.launcher.Launches().size(), 1u);
    // The first start gives up after ten seconds of one-second waits, the
    // 401 polls of 100 ms follow; the port opens only after the restart.
    const std::string port = kelvo::platform::MessagePortName(panel->SegmentId());
    w.onSleep = [&] {
        if (w.launcher.Launches().size() == 2)
            w.ports.listening.insert(port);
    };
    panel->LaunchJobProperties(kJPOpenMixedMediaUI);
    EXPECT_EQ(w.launcher.Launches().size(), 2u);
    ASSERT_EQ(w.ports.sent.size(), 1u);
    EXPECT_EQ(w.ports.sent[0].second, "jpOpenMixedMediaUI");
    EXPECT_GE(w.sleeps, 10 + kHelperPortPolls);
    EXPECT_LE(w.sleeps, 12 + kHelperPortPolls + 12);
}

TEST(UI_PanelHelper, ShowTakesTheDiscoveryFlagFirstThenTheStoredOne) {
    World w(kControls, true);
    auto panel = w.Make();
    UI_PanelState::Instance().gIsBonjourKelvo = false;
    panel->Show();
    panel->Show();
    EXPECT_EQ(w.calls, (ViewCallLog{"setprinterIPField:10.1.2.3", "setBIDIStatusON:NO", "setprinterIPField:10.1.2.3",
                                    "setBIDIStatusON:YES"}));
    EXPECT_EQ(panel->Segment()->PrinterAddress(), "10.1.2.3");
    EXPECT_TRUE(panel->Segment()->BidiFlag());
}

TEST(UI_PanelHelper, JobNotesFollowTheAccountAndTheHelpersChoices) {
    World w(kControls + "*%QJVJobNote *QJUserAuthName/User: 32\n*%DefaultQJUserAuthName: \"guest\"\n" +
                Popup("*QJSimulation", "*QJSimulation None/None: \"\"\n", "*DefaultQJSimulation: None\n"),
            true);
    auto panel = w.Make();
    w.parsed.doc->SetValueForKey("*QJUserAuthName", "bob");
    panel->GetOSAccountName();
    EXPECT_EQ(w.Value("*QJUserAuthName"), "alice");

    // The colour notes exist for every colour keyword and the popup offers
    // and selects the note's text.
    panel->makeJobNotesForSpecialControls();
    PPDXJobNote* simulation = w.parsed.doc->GetControls()->FindJobNote("*QJSimulation", true);
    ASSERT_NE(simulation, nullptr);
    EXPECT_NE(w.parsed.doc->GetControls()->FindJobNote("*QJRGBOverride", true), nullptr);
    simulation->SetCurrentControlWithCFString("Press");
    panel->makeJobNotesForSpecialControls();
    EXPECT_EQ(w.Value("*QJSimulation"), "Press");

    HelperWrites(w, *panel, List({{L"PresetType", L"User"}, {L"PresetName", L"Night"}}), 0);
    panel->OnJPReturn();
    panel->ResetControlsToDefault(); // clears the preset notes
    EXPECT_EQ(w.parsed.doc->GetControls()->FindJobNote("*PresetName", true)->CopyNotes(), "");
    panel->revertBackJPServerPresets();
    EXPECT_EQ(w.parsed.doc->GetControls()->FindJobNote("*PresetName", true)->CopyNotes(), "Night");
    EXPECT_EQ(w.parsed.doc->GetControls()->FindJobNote("*PresetType", true)->CopyNotes(), "User");
}
