// The panel object's lifecycle: which printers get a panel, the discovery flag, the print-time guard and the
// automation file, driven through the factory as the print dialog drives it.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>

#include "PPDX/ParseHelpers.h"
#include "output/InjectionFile.h"
#include "panel/KelvoFeaturesPDE.h"
#include "panel/PopupJobNotes.h"
#include "panel/ScriptedPopupWindow.h"
#include "platform/Alerts.h"
#include "platform/Bundle.h"
#include "platform/MessagePort.h"
#include "platform/PollEventLoop.h"
#include "platform/StringsTable.h"
#include "platform/memory/InMemoryHost.h"
#include "platform/memory/InMemorySharedSegments.h"
#include "platform/memory/RecordingProcessLauncher.h"
#include "store/PlistTestSupport.h"
#include "util/Log.h"

namespace fs = std::filesystem;
using namespace kelvo::panel;
using kelvo::platform::PropertyValue;

namespace {

/// No helper ever listens here.
class NoPorts final : public kelvo::platform::MessagePorts {
public:
    bool PortExists(std::string_view) override { return false; }
    int SendToPort(std::string_view, std::string_view, std::chrono::milliseconds) override { return ECONNREFUSED; }
    std::unique_ptr<kelvo::platform::MessagePortListener> Listen(std::string_view, int& error) override {
        error = EOPNOTSUPP;
        return nullptr;
    }
};

struct LogCapture {
    LogCapture() {
        previous = kelvo::SetLogSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~LogCapture() { kelvo::SetLogSink(previous); }
    bool Has(std::string_view part) const {
        for (const std::string& line : lines)
            if (line.find(part) != std::string::npos)
                return true;
        return false;
    }
    std::vector<std::string> lines;
    kelvo::LogSink previous;
};

const std::string kDuplex =
    kelvotest::Popup("*QJDuplex", "*QJDuplex None/Off: \"%dx=none\"\n*QJDuplex Long/Long: \"%dx=long\"\n",
                     "*DefaultQJDuplex: None\n") +
    "*%QJShortcut: *QJDuplex\n";
const std::string kVersion = "*%QJVersion: \"4.2\"\n";

std::string Boolean(const std::string& key, bool on) {
    const std::string bare = key.substr(1);
    return "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key + "/" + bare +
           ": Boolean\n*Default" + bare + ": " + (on ? "True" : "False") + "\n" + key + " True/On: \"\"\n" + key +
           " False/Off: \"\"\n*CloseUI: " + key + "\n";
}

/// One popup note ("*QJAcct"), asked for every time.
const std::string kPopupNotes =
    Boolean("*QJDisplayJobTracking", true) +
    kelvotest::Popup("*QJAccountSetting",
                     "*QJAccountSetting Allow/Allow entry: \"\"\n*QJAccountSetting Last/Use last: \"\"\n",
                     "*DefaultQJAccountSetting: Allow\n") +
    Boolean("*QJAccountShowLast", false) +
    "*%QJVFlags *QJAcct: \"\"\n*%QJVGroup *QJAcct: QJGroup\n*%QJVJobNote *QJAcct/Account: 40|PopupJN\n\n";

/// A dialog around one printer: a bundle (printer list "KELVOT"), the
/// in-memory host and platform, a scripted popup window, and a clock.
struct Dialog {
    explicit Dialog(const std::string& body, std::string deviceURI = "ipp://10.1.2.3/",
                    std::vector<ScriptedPopupWindow::Answer> answers = {})
        : ppd(kelvotest::kHeader + body), window(std::move(answers)),
          localizable(kelvo::platform::StringsTable::Parse("\"PDE Panel Title\" = \"Printer Features\";\n", "test")),
          platform{segments, ports, launcher, loop, alerts, localizable, bidiStrings},
          callback{host, platform, window} {
        fs::create_directories(dir.Path() / "QJTest.plugin/Contents/Resources");
        std::ofstream(dir.Path() / "QJTest.plugin/Contents/Info.plist")
            << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
               "<key>CFBundleIdentifier</key><string>org.example.panel</string>"
               "<key>CFBundleVersion</key><string>2.5</string>"
               "<key>PMPPDKeysSupported</key><array><string>QJDuplex</string><string>QJAcct</string></array>"
               "</dict></plist>";
        SetPrinterList("KELVOT");
        std::string error;
        bundle = kelvo::platform::Bundle::Open(dir.Path() / "QJTest.plugin", error);
        EXPECT_TRUE(bundle) << error;
        platform.now = [this] { return clock; };
        platform.sleep = [this](std::chrono::milliseconds time) { clock += time.count() / 1000 + 1; };
        platform.ping = [](std::string_view) { return 0; };
        platform.loginName = [] { return std::string("alice"); };
        platform.argsFile = dir.Path() / "KDArgs.txt";
        auto& printer = host.MutablePrinter();
        printer.name = "office";
        printer.ppdPath = ppd.PathString();
        printer.deviceURI = std::move(deviceURI);
        callback.dataOptions.addressList = dir.Path() / "list.plist";
        callback.dataOptions.copyPPD = false;
        callback.keyFile = (dir.Path() / "no-keys").string();
    }
    void SetPrinterList(const std::string& name) {
        std::ofstream(dir.Path() / "QJTest.plugin/Contents/Resources/PrinterList.plist")
            << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
               "<key>PCFILENAME</key><string>" + name + "</string></dict></plist>";
    }
    std::unique_ptr<KelvoFeaturesPDE> Create(std::string_view type = kPDEPanelType) {
        KelvoFeaturesPDEPlugIn plugIn(&*bundle);
        auto panels = plugIn.PDEPanelsForType(type, callback);
        EXPECT_LE(panels.size(), 1u);
        return panels.empty() ? nullptr : std::move(panels.front());
    }
    std::string Setting(std::string_view key) {
        const auto value = host.Settings().Get(key);
        return value && value->IsString() ? std::string(value->StringOr("")) : "(none)";
    }

    kelvotest::TempDir dir;
    kelvotest::ScopedEnv config{"XDG_CONFIG_HOME", dir.Path().string()};
    kelvotest::TempFile ppd;
    std::optional<kelvo::platform::Bundle> bundle;
    kelvo::platform::InMemoryHost host;
    kelvo::platform::InMemorySharedSegments segments;
    NoPorts ports;
    kelvo::platform::RecordingProcessLauncher launcher;
    kelvo::platform::PollEventLoop loop;
    kelvo::platform::RecordingAlerts alerts;
    ScriptedPopupWindow window;
    kelvo::platform::StringsTable localizable;
    kelvo::platform::StringsTable bidiStrings;
    UI_PanelPlatform platform;
    PDEHostCallback callback;
    std::int64_t clock = 1'700'000'000;
};

} // namespace

// ---- creation ----

TEST(KelvoFeaturesPDECreation, OnlyServedVersionedPPDsOfTheAcceptedTypeGetAPanel) {
    struct Row {
        const char* name;
        std::string body;
        std::string printerList;
        std::string_view type;
        bool created;
        const char* logPart;
    };
    const Row rows[] = {
        {"served", kVersion + kDuplex, "KELVOT", kPDEPanelType, true, nullptr},
        {"mac version only", "*%QJVersionMac: \"4.2\"\n" + kDuplex, "KELVOT", kPDEPanelType, true, nullptr},
        {"no version string", kDuplex, "KELVOT", kPDEPanelType, false, "no version string"},
        {"model not in the list", kVersion + kDuplex, "OTHERMODEL", kPDEPanelType, false, "not one this panel serves"},
        {"another panel type", kVersion + kDuplex, "KELVOT", "00000000-0000-0000-0000-000000000000", false, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Dialog dialog(row.body);
        dialog.SetPrinterList(row.printerList);
        std::string error;
        dialog.bundle = kelvo::platform::Bundle::Open(dialog.bundle->Path(), error);
        LogCapture log;
        std::unique_ptr<KelvoFeaturesPDE> pde = dialog.Create(row.type);
        EXPECT_EQ(pde != nullptr, row.created);
        EXPECT_EQ(sKelvoFeaturesPDE, pde.get());
        if (row.logPart) {
            EXPECT_TRUE(log.Has(row.logPart));
        }
        if (!pde)
            continue;
        // Creation restored and synchronised: the values and the file are there.
        EXPECT_EQ(dialog.Setting("*QJDuplex"), "None");
        EXPECT_EQ(dialog.Setting("PCFILENAME"), "KELVOT.PPD");
        ASSERT_TRUE(pde->InjectionFile());
        EXPECT_TRUE(fs::exists(*pde->InjectionFile()));
        EXPECT_EQ(pde->panelName(), "Printer Features");
        EXPECT_EQ(pde->panelKind(), kPDEPanelKind);
        EXPECT_EQ(pde->supportedPPDOptionKeys(), (std::vector<std::string>{"QJDuplex", "QJAcct"}));
        EXPECT_EQ(pde->bundleVersion(), "2.5");
        EXPECT_TRUE(pde->summaryInfo().empty());
        const fs::path file = *pde->InjectionFile();
        pde.reset();
        EXPECT_EQ(sKelvoFeaturesPDE, nullptr);
        fs::remove(file);
    }
}

TEST(KelvoFeaturesPDECreation, DiscoveredPrintersSetTheFlagAndGetADiscoveryObject) {
    struct Row {
        const char* uri;
        bool discovered;
    };
    const Row rows[] = {{"mdns://office._ipp._tcp.local/", true},
                        {"dnssd://Office%20Printer._pdl-datastream._tcp.local./", true},
                        {"ipp://10.1.2.3/ipp/print", false},
                        {"socket://printer-mdns.example/", false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.uri);
        Dialog dialog(kVersion + kDuplex, row.uri);
        std::string seen;
        dialog.callback.makeDiscovery = [&seen](std::string_view uri) {
            seen = std::string(uri);
            return std::make_unique<NullPrinterAddressDiscovery>(std::string(uri));
        };
        UI_PanelState::Instance().gIsBonjourKelvo = !row.discovered; // creation must set it either way
        std::unique_ptr<KelvoFeaturesPDE> pde = dialog.Create();
        ASSERT_TRUE(pde);
        EXPECT_EQ(UI_PanelState::Instance().gIsBonjourKelvo, row.discovered);
        EXPECT_EQ(pde->Discovery() != nullptr, row.discovered);
        EXPECT_EQ(seen, row.discovered ? row.uri : "");
        fs::remove(*pde->InjectionFile());
    }
}

// ---- printing ----

TEST(KelvoFeaturesPDEPrint, FourSecondGuardAndNoSyncWithoutPopupNotes) {
    using Button = kelvo::panel::PopupJobNoteButton;
    struct Row {
        const char* name;
        bool popupNotes;
        std::int64_t secondsAfterCreation;
        bool expected;
        int extraSyncs;
        int windowOpens;
    };
    const Row rows[] = {
        {"popup notes, at once", true, 0, false, 0, 0},
        {"popup notes, 3 s", true, 3, false, 0, 0},
        {"popup notes, 4 s", true, 4, true, 1, 1},
        {"no popup notes, at once", false, 0, true, 0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Dialog dialog(kVersion + kDuplex + (row.popupNotes ? kPopupNotes : ""), "ipp://10.1.2.3/",
                      {{Button::kOK, std::vector<std::string>{"ACC-9"}}});
        std::unique_ptr<KelvoFeaturesPDE> pde = dialog.Create();
        ASSERT_TRUE(pde);
        EXPECT_EQ(PopupJobNotes::Instance().gPopupJobNotesFoundOne, row.popupNotes);
        const int syncs = pde->SyncCount();
        dialog.clock += row.secondsAfterCreation;
        EXPECT_EQ(pde->shouldPrint(), row.expected);
        EXPECT_EQ(pde->SyncCount() - syncs, row.extraSyncs);
        EXPECT_EQ(dialog.window.Opened().size(), static_cast<std::size_t>(row.windowOpens));
        if (row.windowOpens) {
            EXPECT_EQ(dialog.Setting("*QJAcct"), "ACC-9");
        }
        fs::remove(*pde->InjectionFile());
    }
}

TEST(KelvoFeaturesPDESync, OnlyTheNewestInjectionFileIsKept) {
    Dialog dialog(kVersion + kDuplex);
    std::unique_ptr<KelvoFeaturesPDE> pde = dialog.Create();
    ASSERT_TRUE(pde);
    const fs::path first = *pde->InjectionFile();
    pde->GetUI_PanelPtr()->SetUpdatedSettings(SDMKeyValueList{{{L"QJDuplex", L"Long"}}});
    std::string error;
    EXPECT_TRUE(pde->saveValuesAndReturnError(error));
    ASSERT_TRUE(pde->InjectionFile());
    const fs::path second = *pde->InjectionFile();
    EXPECT_NE(first, second);
    EXPECT_FALSE(fs::exists(first));
    const kelvo::output::InjectionReadResult read = kelvo::output::ReadInjectionFile(second);
    ASSERT_TRUE(read.ok());
    std::string all;
    for (const kelvo::output::InjectionPiece& piece : read.pieces)
        all.append(piece.bytes.begin(), piece.bytes.end());
    EXPECT_NE(all.find("%dx=long"), std::string::npos);
    EXPECT_EQ(all.find("%dx=none"), std::string::npos);
    EXPECT_EQ(dialog.Setting("*QJDuplex"), "Long");
    fs::remove(second);
}

// ---- automation file and help ----

TEST(KelvoFeaturesPDEAutomation, SettingsAppliedAndBadFilesRefused) {
    struct Row {
        const char* name;
        std::function<std::string(const fs::path& dir)> make; // returns the path to name
        std::size_t applied;
        const char* duplex;
        const char* logPart;
    };
    const auto write = [](const fs::path& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
        return path.string();
    };
    const Row rows[] = {
        {"applied", [&](const fs::path& d) { return write(d / "a.json", R"({"settings": {"QJDuplex": "Long"}})"); },
         1, "Long", nullptr},
        {"a non-text value is skipped",
         [&](const fs::path& d) { return write(d / "a.json", R"({"settings": {"QJDuplex": 3}})"); }, 0, "None",
         "skipped"},
        {"bad JSON", [&](const fs::path& d) { return write(d / "a.json", R"({"settings": {"QJDuplex": )"); }, 0,
         "None", "is not {"},
        {"no settings object", [&](const fs::path& d) { return write(d / "a.json", R"({"QJDuplex": "Long"})"); }, 0,
         "None", "is not {"},
        {"over 1 MiB",
         [&](const fs::path& d) {
             return write(d / "a.json", R"({"settings": {"QJDuplex": "Long"}})" +
                                            std::string(kMaxAutomationFileBytes, ' '));
         },
         0, "None", "larger than"},
        {"a folder", [](const fs::path& d) { return d.string(); }, 0, "None", "not a regular file"},
        {"a FIFO",
         [](const fs::path& d) {
             const fs::path fifo = d / "fifo";
             EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
             return fifo.string();
         },
         0, "None", "not a regular file"},
        {"missing", [](const fs::path& d) { return (d / "none.json").string(); }, 0, "None", "not read"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Dialog dialog(kVersion + kDuplex);
        std::unique_ptr<KelvoFeaturesPDE> pde = dialog.Create();
        ASSERT_TRUE(pde);
        dialog.host.Settings().Set(kAutomationFileKey, PropertyValue(row.make(dialog.dir.Path())));
        LogCapture log;
        EXPECT_EQ(pde->loadAutomationFileAndLoadPrintSetting(), row.applied);
        EXPECT_EQ(*pde->Document()->CopyValueForKey("*QJDuplex"), row.duplex);
        if (row.logPart) {
            EXPECT_TRUE(log.Has(row.logPart));
        }
        // The panel applies the file each time it is shown.
        if (row.applied) {
            pde->DefaultsButton();
            pde->willShow();
            EXPECT_EQ(*pde->Document()->CopyValueForKey("*QJDuplex"), "Long");
        }
        fs::remove(*pde->InjectionFile());
    }
}

TEST(KelvoFeaturesPDEHelp, OpensTheBundlesHelpPageWhenThereIsOne) {
    Dialog dialog(kVersion + kDuplex);
    std::unique_ptr<KelvoFeaturesPDE> pde = dialog.Create();
    ASSERT_TRUE(pde);
    EXPECT_FALSE(pde->shouldShowHelp());
    const fs::path page = dialog.bundle->ResourcesPath() / "help" / "index.html";
    fs::create_directories(page.parent_path());
    std::ofstream(page) << "<html></html>";
    EXPECT_TRUE(pde->shouldShowHelp());
    ASSERT_FALSE(dialog.launcher.Launches().empty());
    EXPECT_EQ(dialog.launcher.Launches().back(), (std::vector<std::string>{kHelpOpener, page.string()}));
    dialog.launcher.FailWith(ENOENT);
    EXPECT_FALSE(pde->shouldShowHelp());
    fs::remove(*pde->InjectionFile());
}
