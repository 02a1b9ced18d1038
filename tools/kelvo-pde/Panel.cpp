// kelvo-pde panel: the panel's whole lifecycle driven as a print dialog
// would drive it: create, restore, change, the job-properties helper, save,
// print, and what came out of it.
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "CommandRegistry.h"
#include "Commands.h"
#include "SaveForPrint.h"
#include "output/InjectionFile.h"
#include "panel/KelvoFeaturesPDE.h"
#include "panel/ScriptedPopupWindow.h"
#include "platform/Alerts.h"
#include "platform/Bundle.h"
#include "platform/MessagePort.h"
#include "platform/PollEventLoop.h"
#include "platform/StringsTable.h"
#include "platform/cups/CupsHost.h"
#include "platform/memory/InMemoryHost.h"
#include "platform/sysv/SysVSharedSegments.h"
#include "platform/unix/PosixProcessLauncher.h"
#include "platform/unix/UnixMessagePort.h"
#include "util/Log.h"

namespace kelvo::tool {

namespace {

using namespace kelvo::panel;

/// How long the helper's answer is waited for.
constexpr std::chrono::seconds kHelperAnswerTimeout{30};

struct PanelRequest {
    std::string ppd;
    std::optional<std::string> queue;
    std::string state;
    std::vector<std::string> sets;
    bool defaults = false;
    std::optional<std::string> helper;
    std::optional<std::string> helperScript;
    bool print = false;
    std::optional<std::string> answers;
    std::optional<std::string> dumpSegment;
    bool json = false;
};

/// The real ports, with a copy of the segment taken as each request goes
/// out: what the helper is handed, before it changes anything.
class SnapshotPorts final : public platform::MessagePorts {
public:
    bool PortExists(std::string_view name) override { return mPorts.PortExists(name); }
    int SendToPort(std::string_view name, std::string_view text, std::chrono::milliseconds timeout) override {
        if (panel)
            if (std::optional<SharedMemoryList> segment = panel->Segment())
                snapshot.assign(segment->Bytes().begin(), segment->Bytes().end());
        return mPorts.SendToPort(name, text, timeout);
    }
    std::unique_ptr<platform::MessagePortListener> Listen(std::string_view name, int& error) override {
        return mPorts.Listen(name, error);
    }

    UI_Panel* panel = nullptr;
    std::vector<std::uint8_t> snapshot;

private:
    platform::UnixMessagePorts mPorts;
};

std::optional<JP_ACTIONS> ActionFor(const std::string& name) {
    if (name == "main")
        return kJPOpenMainUI;
    if (name == "chromaqua")
        return kJPOpenChromaquaUI;
    if (name == "mixedmedia")
        return kJPOpenMixedMediaUI;
    return std::nullopt;
}

/// UTF-8 command-line text as the wide text of a settings list.
std::wstring Wide(const std::string& text) {
    std::wstring out;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = lead < 0x80 ? 1 : (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : 4;
        std::uint32_t code = length == 1 ? lead : length == 2 ? lead & 0x1Fu : length == 3 ? lead & 0x0Fu : lead & 0x07u;
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0u;
            if ((next & 0xC0) != 0x80) {
                length = k;
                code = 0xFFFD;
                break;
            }
            code = (code << 6) | (next & 0x3Fu);
        }
        out.push_back(static_cast<wchar_t>(code));
        i += length;
    }
    return out;
}

nlohmann::json SettingsJSON(const platform::PrintSettings& settings) {
    // The in-memory host's state file has the value mapping; borrow it.
    platform::InMemoryHost copy;
    for (const auto& [key, value] : settings.CopyAsDictionary())
        copy.Settings().Set(key, value);
    const nlohmann::json state = nlohmann::json::parse(copy.ToJSON(), nullptr, false);
    return state.is_object() && state.contains("printSettings") ? state["printSettings"] : nlohmann::json::object();
}

nlohmann::json PiecesJSON(const std::filesystem::path& file, std::string& error) {
    const output::InjectionReadResult result = output::ReadInjectionFile(file);
    if (!result.ok()) {
        error = result.status.Text();
        return nullptr;
    }
    nlohmann::json pieces = nlohmann::json::array();
    for (const output::InjectionPiece& piece : result.pieces) {
        const char* name = output::InjectionSiteName(piece.site);
        pieces.push_back({{"site", piece.site},
                          {"name", name ? nlohmann::json(name) : nlohmann::json(nullptr)},
                          {"text", std::string(piece.bytes.begin(), piece.bytes.end())}});
    }
    return pieces;
}

struct Outcome {
    bool created = false;
    std::optional<bool> shouldPrint;
    nlohmann::json printSettings = nlohmann::json::object();
    std::optional<std::filesystem::path> injectionFile;
    std::vector<std::string> log;
};

void Report(const Outcome& outcome, bool asJSON) {
    nlohmann::json injection = nullptr;
    std::string pieceError;
    if (outcome.injectionFile) {
        injection = {{"path", outcome.injectionFile->string()},
                     {"pieces", PiecesJSON(*outcome.injectionFile, pieceError)}};
        if (!pieceError.empty())
            injection["error"] = pieceError;
    }
    if (asJSON) {
        const nlohmann::json all = {
            {"created", outcome.created},
            {"shouldPrint", outcome.shouldPrint ? nlohmann::json(*outcome.shouldPrint) : nlohmann::json(nullptr)},
            {"printSettings", outcome.printSettings},
            {"injectionFile", injection},
            {"log", outcome.log}};
        std::cout << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
        return;
    }
    std::cout << "created: " << (outcome.created ? "yes" : "no") << "\n";
    std::cout << "shouldPrint: " << (!outcome.shouldPrint ? "not asked" : *outcome.shouldPrint ? "yes" : "no") << "\n";
    std::cout << "print settings:\n";
    for (const auto& [key, value] : outcome.printSettings.items())
        std::cout << "  " << ForTerminal(key) << " = "
                  << ForTerminal(value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)) << "\n";
    if (injection.is_null()) {
        std::cout << "injection file: none\n";
    } else {
        std::cout << "injection file: " << ForTerminal(outcome.injectionFile->string()) << "\n";
        if (!pieceError.empty())
            std::cout << "  (" << ForTerminal(pieceError) << ")\n";
        else
            for (std::size_t i = 0; i < injection["pieces"].size(); ++i) {
                const nlohmann::json& piece = injection["pieces"][i];
                std::cout << "piece " << i + 1 << ": site " << piece["site"].get<int>() << " ("
                          << (piece["name"].is_string() ? piece["name"].get<std::string>() : "unknown site") << ")\n";
                std::cout << "    " << ForTerminal(piece["text"].get<std::string>()) << "\n";
            }
    }
    std::cout << "log:\n";
    for (const std::string& line : outcome.log)
        std::cout << "  " << ForTerminal(line) << "\n";
}

int Run(const PanelRequest& request) {
    std::optional<JP_ACTIONS> action;
    if (request.helper) {
        action = ActionFor(*request.helper);
        if (!action) {
            std::cerr << "kelvo-pde: --helper is main, chromaqua or mixedmedia, not " << ForTerminal(*request.helper)
                      << "\n";
            return kExitUsage;
        }
    }
    if (request.helperScript && !request.helper) {
        std::cerr << "kelvo-pde: --helper-script goes with --helper\n";
        return kExitUsage;
    }
    if (request.answers && !request.print) {
        std::cerr << "kelvo-pde: --answers goes with --print\n";
        return kExitUsage;
    }
    if (request.queue && !request.state.empty()) {
        std::cerr << "kelvo-pde: --state is for a PPD file; a queue keeps its own choices\n";
        return kExitUsage;
    }
    SDMKeyValueList sets;
    for (const std::string& pair : request.sets) {
        const std::size_t eq = pair.find('=');
        if (eq == std::string::npos || eq == 0) {
            std::cerr << "kelvo-pde: --set wants KEY=VALUE, not " << ForTerminal(pair) << "\n";
            return kExitUsage;
        }
        sets.entries.push_back({Wide(pair.substr(0, eq)), Wide(pair.substr(eq + 1))});
    }
    std::unique_ptr<ScriptedPopupWindow> window = std::make_unique<ScriptedPopupWindow>();
    if (request.answers) {
        std::string error;
        window = ScriptedPopupWindow::FromFile(*request.answers, error);
        if (!window) {
            std::cerr << "kelvo-pde: " << ForTerminal(*request.answers) << ": " << ForTerminal(error) << "\n";
            return kExitUsage;
        }
    }
    if (request.helperScript) {
        // The panel starts the helper with the segment id and minor number
        // only: the script travels in the environment it inherits.
        std::error_code ec;
        const std::filesystem::path script = std::filesystem::absolute(*request.helperScript, ec);
        ::setenv("KELVO_JP_HELPER_SCRIPT", (ec ? *request.helperScript : script.string()).c_str(), 1);
    }

    // The host: a queue, or the in-memory one over the PPD.
    std::unique_ptr<platform::CupsHost> cups;
    platform::InMemoryHost memory;
    platform::Host* host = &memory;
    if (request.queue) {
        cups = OpenQueue(*request.queue, std::cerr);
        if (!cups)
            return kExitBadPPD;
        // The queue's settings learn which of its options are controls and
        // job notes before the panel reads and writes them.
        OpenRequest open;
        open.path = cups->Printer().ppdPath;
        QJVPPDRef described = OpenForTool(open, std::cerr);
        if (!described)
            return kExitBadPPD;
        RestoreQueueChoices(*described, *cups);
        host = cups.get();
    } else {
        std::error_code ec;
        if (!request.state.empty() && std::filesystem::exists(request.state, ec)) {
            std::string error;
            if (!memory.Load(request.state, error)) {
                std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
                return kExitBadPPD;
            }
        }
        std::filesystem::path ppd = std::filesystem::absolute(request.ppd, ec);
        memory.MutablePrinter().ppdPath = ec ? request.ppd : ppd.string();
        if (memory.Printer().name.empty())
            memory.MutablePrinter().name = std::filesystem::path(request.ppd).stem().string();
        if (memory.ProcessName().empty())
            memory.SetProcessName("kelvo-pde");
    }

    // The bundle for the printer list, the strings and the helper.
    std::string bundleError;
    std::optional<platform::Bundle> bundle = platform::Bundle::Find(bundleError);
    if (!bundle && action) {
        std::cerr << "kelvo-pde: " << ForTerminal(bundleError) << "\n";
        return kExitBadPPD;
    }
    const platform::StringsTable localizable =
        bundle ? platform::StringsTable::Load(bundle->ResourcesPath(), "Localizable", {}) : platform::StringsTable();
    const platform::StringsTable bidiStrings =
        bundle ? platform::StringsTable::Load(bundle->ResourcesPath(), "BidiStrings", {}) : platform::StringsTable();

    Outcome outcome;
    LogSink previous = SetLogSink([&outcome](std::string_view line) { outcome.log.emplace_back(line); });
    struct RestoreSink {
        LogSink& previous;
        ~RestoreSink() { SetLogSink(previous); }
    } restoreSink{previous};

    platform::SysVSharedSegments segments;
    SnapshotPorts ports;
    platform::PosixProcessLauncher launcher;
    platform::PollEventLoop loop;
    platform::TerminalAlerts alerts;
    // Without --helper no helper is started: the panel gets no bundle.
    UI_PanelPlatform platform{segments, ports, launcher, loop, alerts, localizable, bidiStrings,
                              action && bundle ? &*bundle : nullptr};
    PDEHostCallback callback{*host, platform, *window};

    const KelvoFeaturesPDEPlugIn plugIn(bundle ? &*bundle : nullptr);
    std::vector<std::unique_ptr<KelvoFeaturesPDE>> panels = plugIn.PDEPanelsForType(kPDEPanelType, callback);
    int status = kExitOK;
    if (!panels.empty()) {
        KelvoFeaturesPDE& pde = *panels.front();
        UI_Panel& panel = *pde.GetUI_PanelPtr();
        ports.panel = &panel;
        outcome.created = true;
        if (!sets.entries.empty())
            panel.SetUpdatedSettings(sets);
        if (request.defaults)
            pde.DefaultsButton();
        if (action) {
            panel.setReturnFromJP(0);
            panel.LaunchJobProperties(*action);
            if (!UI_PanelState::Instance().pollTimer) {
                std::cerr << "kelvo-pde: the job-properties helper could not be asked (see the log)\n";
                status = kExitBadPPD;
            } else if (!loop.RunUntil([&panel] { return panel.getReturnFromJP() != 0; }, kHelperAnswerTimeout)) {
                std::cerr << "kelvo-pde: the job-properties helper did not answer within "
                          << kHelperAnswerTimeout.count() << " s\n";
                status = kExitBadPPD;
            }
        } else if (request.dumpSegment) {
            // What a launch would hand the helper.
            if (std::unique_ptr<SDMKeyValueList> list = panel.GetDefaultSettings()) {
                panel.GetWatermarks();
                panel.Create_SharedMemoryList_From_SDMList(*list);
            }
            if (std::optional<SharedMemoryList> segment = panel.Segment())
                ports.snapshot.assign(segment->Bytes().begin(), segment->Bytes().end());
        }
        if (request.dumpSegment && status == kExitOK) {
            std::ofstream out(*request.dumpSegment, std::ios::binary | std::ios::trunc);
            out.write(reinterpret_cast<const char*>(ports.snapshot.data()),
                      static_cast<std::streamsize>(ports.snapshot.size()));
            if (!out || ports.snapshot.empty()) {
                std::cerr << "kelvo-pde: " << ForTerminal(*request.dumpSegment)
                          << ": the segment could not be written (is there one?)\n";
                status = kExitBadPPD;
            }
        }
        std::string error;
        pde.saveValuesAndReturnError(error);
        if (request.print) {
            // As if the user clicked Print well after the dialog came up.
            pde.SetCreationTime(platform.now() - kPrintGuardSeconds);
            outcome.shouldPrint = pde.shouldPrint();
        }
        pde.Sync();
        outcome.injectionFile = pde.InjectionFile();
    }
    outcome.printSettings = SettingsJSON(host->Settings());
    panels.clear();

    std::string error;
    if (cups && !cups->Save(error)) {
        std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
        status = kExitBadPPD;
    } else if (!request.state.empty() && !memory.Save(request.state, error)) {
        std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
        status = kExitBadPPD;
    }
    SetLogSink(previous);
    Report(outcome, request.json);
    return status;
}

} // namespace

void AddPanelCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<PanelRequest>();
    CLI::App* panel = app.add_subcommand("panel", "drive the print-dialog panel's lifecycle: create, restore, "
                                                  "change, the job-properties helper, save and print");
    CLI::Option* ppd = panel->add_option("PPD", request->ppd, "PPD file the printer uses");
    panel->add_option("--queue", request->queue, "NAME: a CUPS queue instead of a PPD: its PPD, and its saved "
                                                 "options as the print settings (saved again after)")
        ->excludes(ppd);
    panel->add_option("--state", request->state, "FILE.json: the in-memory host's state, loaded when it exists "
                                                 "and saved after");
    panel->add_option("--set", request->sets, "KEY=VALUE: a setting as the panel's settings list names it "
                                              "(e.g. QJDuplex=Long), applied in order (repeatable)");
    panel->add_flag("--defaults", request->defaults, "press the Defaults button after the settings");
    panel->add_option("--helper", request->helper, "main|chromaqua|mixedmedia: open the job-properties helper's "
                                                   "window and wait for its answer");
    panel->add_option("--helper-script", request->helperScript,
                      "FILE: the helper's script (lines \"set KEY VALUE\", \"status N\"), with --helper");
    panel->add_flag("--print", request->print, "ask the panel whether the job may print (popup job notes)");
    panel->add_option("--answers", request->answers, "FILE: the popup job-notes window's answers, with --print: "
                                                     "{\"button\": \"ok\"|\"cancel\"|\"always\", \"fields\": [...], "
                                                     "\"then\": {...}}");
    panel->add_option("--dump-segment", request->dumpSegment,
                      "FILE: write the shared segment as it was handed to the helper (or would have been)");
    panel->add_flag("--json", request->json, "one JSON object: created, shouldPrint, printSettings, injectionFile, "
                                             "log");
    out.push_back({panel, [request, ppd] {
        if (!ppd->count() && !request->queue) {
            std::cerr << "kelvo-pde: panel needs a PPD or --queue NAME\n";
            return static_cast<int>(kExitUsage);
        }
        return Run(*request);
    }});
}

} // namespace kelvo::tool
