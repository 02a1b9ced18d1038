// kelvo-pde job: what the panel does when the job is printed, for a PPD file
// (the in-memory host) or a CUPS queue.
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CommandRegistry.h"
#include "Commands.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "output/InjectionFile.h"
#include "output/JobNotesOutput.h"
#include "output/KeyFile.h"
#include "output/TempFiles.h"
#include "panel/PDEData.h"
#include "SaveForPrint.h"
#include "platform/cups/CupsHost.h"
#include "platform/memory/InMemoryHost.h"
#include "store/PlistFile.h"

namespace kelvo::tool {

namespace {

using namespace kelvo::output;

struct JobRequest {
    OpenRequest open;
    std::optional<std::string> queue;
    PrintChoices choices;
    std::optional<int> orientation;
    std::optional<std::string> printer;
    std::optional<std::string> process;
    std::string state;
    std::string output;
};

/// The identifier the panel passes with the values (the ticket ignores it).
constexpr const char* kBundleIdentifier = "com.qjv.print.pde.5D660F68-4131-4BE6-AD6C-D05E4C176E58";

/// Splits "KEY=VALUE"; false (after a line on `err`) without "=" or key.
bool SplitPair(const std::string& pair, const char* option, std::string& key, std::string& value,
               std::ostream& err) {
    const std::size_t eq = pair.find('=');
    if (eq == std::string::npos || eq == 0) {
        err << "kelvo-pde: " << option << " wants KEY=VALUE, not " << ForTerminal(pair) << "\n";
        return false;
    }
    key = pair.substr(0, eq);
    value = pair.substr(eq + 1);
    return true;
}

/// Whether printing this document needs a key: a note to encrypt, or the
/// user-authentication credentials.
bool NeedsKeys(QJVPPD& doc) {
    PPDXControls* controls = doc.GetControls();
    for (PPDXJobNote* note = controls->FirstJobNote(); note; note = controls->NextJobNote())
        if (note->IsEncrypt() || note->IsAESEncrypt())
            return true;
    for (const char* name : {"*QJVAuthenticateWithLDAP", "*CopierUserAuth"})
        if (const PPDXSpecialOption* option = controls->FindSpecialOption(name, true))
            if (option->GetValue() && std::string_view(option->GetValue()) == "True")
                return true;
    return false;
}

/// `job --queue`: the queue's saved options are the state.
int RunForQueue(JobRequest& request) {
    std::unique_ptr<platform::CupsHost> host = OpenQueue(*request.queue, std::cerr);
    if (!host)
        return kExitBadPPD;
    host->SetApplicationID(request.open.hostApp);
    host->SetProcessName(request.process.value_or("kelvo-pde"));
    // An orientation given here is this job's; the queue keeps its own.
    const int keptOrientation = host->Page().orientation;
    if (request.orientation)
        host->Page().orientation = *request.orientation;
    request.open.path = host->Printer().ppdPath;
    QJVPPDRef doc = OpenForTool(request.open, std::cerr);
    if (!doc)
        return kExitBadPPD;
    RestoreQueueChoices(*doc, *host);
    std::filesystem::path written;
    if (const int status = SaveForPrint(*doc, *host, request.choices, request.output, written, std::cerr))
        return status;
    host->Page().orientation = keptOrientation;
    std::string error;
    if (!host->Save(error)) {
        std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
        return kExitBadPPD;
    }
    std::cout << written.string() << "\n";
    return kExitOK;
}

int Run(JobRequest& request) {
    if (request.queue) {
        if (!request.state.empty() || request.printer) {
            std::cerr << "kelvo-pde: --state and --printer are for a PPD file; a queue keeps its own choices\n";
            return kExitUsage;
        }
        return RunForQueue(request);
    }
    platform::InMemoryHost host;
    std::error_code ec;
    if (!request.state.empty() && std::filesystem::exists(request.state, ec)) {
        std::string error;
        if (!host.Load(request.state, error)) {
            std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
            return kExitBadPPD;
        }
    }
    if (request.printer)
        host.MutablePrinter().name = *request.printer;
    if (!request.open.hostApp.empty())
        host.SetApplicationID(request.open.hostApp);
    if (request.process)
        host.SetProcessName(*request.process);
    else if (host.ProcessName().empty())
        host.SetProcessName("kelvo-pde");
    if (request.orientation)
        host.Page().orientation = *request.orientation;
    if (host.Printer().ppdPath.empty() && request.open.path != kStdinPath)
        host.MutablePrinter().ppdPath = request.open.path;

    QJVPPDRef doc = OpenForTool(request.open, std::cerr);
    if (!doc)
        return kExitBadPPD;
    ApplySavedValues(*doc, host.Settings());
    std::filesystem::path written;
    if (const int status = SaveForPrint(*doc, host, request.choices, request.output, written, std::cerr))
        return status;

    if (!request.state.empty()) {
        std::string error;
        if (!host.Save(request.state, error)) {
            std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
            return kExitBadPPD;
        }
    }
    std::cout << written.string() << "\n";
    return kExitOK;
}

} // namespace

void ApplySavedValues(QJVPPD& doc, const platform::PrintSettings& settings) {
    for (const auto& [key, value] : settings.CopyAsDictionary()) {
        if (key.empty() || key[0] != '*' || !value.IsString())
            continue;
        PPDXControl* control = doc.GetPPDXControlForKey(key);
        if (control && control->Type() != kControlTypeSpecialOption)
            control->SetCurrentControlWithCFString(value.StringOr(""));
    }
}

int SaveForPrint(QJVPPD& doc, platform::Host& host, const PrintChoices& choices, const std::string& output,
                 std::filesystem::path& written, std::ostream& err) {
    // Values: --set and --note in order, over what was saved.
    for (const std::string& pair : choices.sets) {
        std::string key, value;
        if (!SplitPair(pair, "--set", key, value, err))
            return kExitUsage;
        PPDXControl* control = doc.GetPPDXControlForKey(key);
        if (!control) {
            err << "kelvo-pde: no control " << ForTerminal(key) << " in this PPD\n";
            return kExitUsage;
        }
        const std::optional<std::string> accepted = AcceptedValue(*control, key, value, err);
        if (!accepted)
            return kExitUsage;
        control->SetCurrentControlWithCFString(*accepted);
    }
    for (const std::string& pair : choices.notes) {
        std::string key, text;
        if (!SplitPair(pair, "--note", key, text, err))
            return kExitUsage;
        // A note may share its keyword with a menu (the colour profiles).
        const std::string keyword = key[0] == '*' ? key : "*" + key;
        PPDXJobNote* note = doc.GetControls()->FindJobNote(keyword.c_str(), true);
        if (!note) {
            err << "kelvo-pde: " << ForTerminal(key) << " is not a job note of this PPD\n";
            return kExitUsage;
        }
        note->SetCurrentControlWithCFString(text);
    }

    // Keys: a key file named on the command line must be good; the default
    // one only matters when this document needs a key.
    KeySet keys;
    KeyFileError keyError;
    const bool haveKeys = LoadKeys(choices.keyFile, keys, keyError);
    if (!haveKeys && !choices.keyFile.empty()) {
        err << "kelvo-pde: " << ForTerminal(keyError.Text()) << "\n";
        return kExitBadPPD;
    }
    if (!haveKeys && NeedsKeys(doc))
        err << "kelvo-pde: warning: " << ForTerminal(keyError.Text())
            << ": encrypted job notes and user credentials are left out of the job\n";

    // The dialog's own state: the printer's watermarks, the choices kept in
    // the print settings, then the command line's watermark.
    panel::PDEDataOptions options;
    options.copyPPD = false; // no job-properties helper here to read a copy
    panel::PDEData data(&doc, host.Printer().name, &host, options);
    data.SetKeys(haveKeys ? &keys : nullptr);
    data.GetWatermarksFromPreferences();
    data.RestoreNonPSSettings();
    if (choices.watermark) {
        data.Watermarks().emplace_back(*choices.watermark);
        data.SelectWatermark(static_cast<int>(data.Watermarks().size()) - 1);
    }

    // Save for print: the ticket filled, every value saved, the file written.
    const std::string key = CreatePostscriptDataFileKey();
    PrintSettingsTicket settingsTicket(nullptr, &host.Settings());
    QJVJobTicket ticket(&settingsTicket, &host.Settings(), key);
    data.OutPostscriptData(ticket);
    ticket.SavePPDForAllKeys(&doc, kBundleIdentifier);
    data.SaveNonPSSettings();
    if (output.empty()) {
        // Like the panel at its start: the user's own injection files older
        // than a day go before a new one is added.
        RemoveStaleInjectionFiles();
        const std::optional<std::filesystem::path> path = ticket.Save();
        if (!path) {
            err << "kelvo-pde: the injection file could not be written (run with --verbose for the reason)\n";
            return kExitBadPPD;
        }
        written = *path;
        return kExitOK;
    }
    std::string xml;
    int status = SerializeInjectionList(ticket.Pieces(), xml);
    if (status == store::kPlistOK)
        status = store::WriteFileAtomically(output, xml);
    if (status != store::kPlistOK) {
        err << "kelvo-pde: " << ForTerminal(output) << ": " << store::PlistStatusText(status) << "\n";
        return kExitBadPPD;
    }
    written = output;
    ticket.InjectTempFileToPSStream(key, written.string());
    return kExitOK;
}

void AddJobCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<JobRequest>();
    CLI::App* job = app.add_subcommand("job", "build the job's PostScript pieces as the panel does at print time "
                                              "and write the injection file");
    CLI::Option* ppd = job->add_option("PPD", request->open.path, "PPD file to read, or - for standard input");
    job->add_option("--queue", request->queue, "NAME: a CUPS queue instead of a PPD: its PPD, and its saved "
                                               "options as the print settings (saved again after)")
        ->excludes(ppd);
    job->add_option("--set", request->choices.sets, "KEY=VALUE: a control's value, applied in order (repeatable)");
    job->add_option("--note", request->choices.notes, "KEY=TEXT: a job note's text (repeatable)");
    job->add_option("--watermark", request->choices.watermark,
                    "DEFINITION: a watermark selected for this job: clear,x,y,red,green,blue,-,first-page,-,"
                    "angle,-,-,size,font,text (the - fields are unused but must not be empty)");
    job->add_option("--orientation", request->orientation, "page orientation: 1 portrait, 2 landscape, "
                                                           "3 reverse portrait, 4 reverse landscape")
        ->check(CLI::Range(1, 4));
    job->add_option("--printer", request->printer,
                    "NAME: the printer, for its address-list entry (bidirectional flag, watermarks)");
    job->add_option("--host-app", request->open.hostApp, "identifier of the host application");
    job->add_option("--process", request->process, "name of the host process (the job's source application)");
    job->add_option("--state", request->state, "FILE.json: the in-memory host's state, loaded when it exists "
                                               "and saved after");
    job->add_option("--key-file", request->choices.keyFile,
                    "FILE: the key file (default $KELVO_KEYS, else /etc/kelvo/keys)");
    job->add_option("-o,--output", request->output,
                    "FILE: write the injection file here instead of the temporary folder");
    out.push_back({job, [request, ppd] {
        if (!ppd->count() && !request->queue) {
            std::cerr << "kelvo-pde: job needs a PPD or --queue NAME\n";
            return static_cast<int>(kExitUsage);
        }
        return Run(*request);
    }});
}

} // namespace kelvo::tool
