// kelvo-pde job: what the panel does when the job is printed, with the in-memory host.
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
#include "platform/memory/InMemoryHost.h"
#include "store/PlistFile.h"

namespace kelvo::tool {

namespace {

using namespace kelvo::output;

struct JobRequest {
    OpenRequest open;
    std::vector<std::string> sets;
    std::vector<std::string> notes;
    std::optional<std::string> watermark;
    std::optional<int> orientation;
    std::optional<std::string> printer;
    std::optional<std::string> process;
    std::string state;
    std::string keyFile;
    std::string output;
};

/// The identifier the panel passes with the values (the ticket ignores it).
constexpr const char* kBundleIdentifier = "com.qjv.print.pde.5D660F68-4131-4BE6-AD6C-D05E4C176E58";

/// Splits "KEY=VALUE"; false (after a line on `err`) without "=" or key.
bool SplitPair(const std::string& pair, const char* option, std::string& key, std::string& value) {
    const std::size_t eq = pair.find('=');
    if (eq == std::string::npos || eq == 0) {
        std::cerr << "kelvo-pde: " << option << " wants KEY=VALUE, not " << ForTerminal(pair) << "\n";
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

/// The control values a previous run saved into the print settings ("*Key"
/// entries), applied before the command line's.
void ApplySavedValues(QJVPPD& doc, const platform::PrintSettings& settings) {
    for (const auto& [key, value] : settings.CopyAsDictionary()) {
        if (key.empty() || key[0] != '*' || !value.IsString())
            continue;
        PPDXControl* control = doc.GetPPDXControlForKey(key);
        if (control && control->Type() != kControlTypeSpecialOption)
            control->SetCurrentControlWithCFString(value.StringOr(""));
    }
}

int Run(JobRequest& request) {
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

    // Values: what the state saved, then --set and --note in order.
    ApplySavedValues(*doc, host.Settings());
    for (const std::string& pair : request.sets) {
        std::string key, value;
        if (!SplitPair(pair, "--set", key, value))
            return kExitUsage;
        PPDXControl* control = doc->GetPPDXControlForKey(key);
        if (!control) {
            std::cerr << "kelvo-pde: no control " << ForTerminal(key) << " in this PPD\n";
            return kExitUsage;
        }
        const std::optional<std::string> accepted = AcceptedValue(*control, key, value, std::cerr);
        if (!accepted)
            return kExitUsage;
        control->SetCurrentControlWithCFString(*accepted);
    }
    for (const std::string& pair : request.notes) {
        std::string key, text;
        if (!SplitPair(pair, "--note", key, text))
            return kExitUsage;
        // A note may share its keyword with a menu (the colour profiles).
        const std::string keyword = key[0] == '*' ? key : "*" + key;
        PPDXJobNote* note = doc->GetControls()->FindJobNote(keyword.c_str(), true);
        if (!note) {
            std::cerr << "kelvo-pde: " << ForTerminal(key) << " is not a job note of this PPD\n";
            return kExitUsage;
        }
        note->SetCurrentControlWithCFString(text);
    }

    // Keys: a key file named on the command line must be good; the default
    // one only matters when this document needs a key.
    KeySet keys;
    KeyFileError keyError;
    const bool haveKeys = LoadKeys(request.keyFile, keys, keyError);
    if (!haveKeys && !request.keyFile.empty()) {
        std::cerr << "kelvo-pde: " << ForTerminal(keyError.Text()) << "\n";
        return kExitBadPPD;
    }
    if (!haveKeys && NeedsKeys(*doc))
        std::cerr << "kelvo-pde: warning: " << ForTerminal(keyError.Text())
                  << ": encrypted job notes and user credentials are left out of the job\n";

    // The dialog's own state: the printer's watermarks, the choices kept in
    // the print settings, then the command line's watermark.
    panel::PDEDataOptions options;
    options.copyPPD = false; // no job-properties helper here to read a copy
    panel::PDEData data(doc.get(), host.Printer().name, &host, options);
    data.SetKeys(haveKeys ? &keys : nullptr);
    data.GetWatermarksFromPreferences();
    data.RestoreNonPSSettings();
    if (request.watermark) {
        data.Watermarks().emplace_back(*request.watermark);
        data.SelectWatermark(static_cast<int>(data.Watermarks().size()) - 1);
    }

    // Save for print: the ticket filled, every value saved, the file written.
    const std::string key = CreatePostscriptDataFileKey();
    PrintSettingsTicket settingsTicket(nullptr, &host.Settings());
    QJVJobTicket ticket(&settingsTicket, &host.Settings(), key);
    data.OutPostscriptData(ticket);
    ticket.SavePPDForAllKeys(doc.get(), kBundleIdentifier);
    data.SaveNonPSSettings();
    std::filesystem::path written;
    if (request.output.empty()) {
        // Like the panel at its start: the user's own injection files older
        // than a day go before a new one is added.
        RemoveStaleInjectionFiles();
        const std::optional<std::filesystem::path> path = ticket.Save();
        if (!path) {
            std::cerr << "kelvo-pde: the injection file could not be written (run with --verbose for the reason)\n";
            return kExitBadPPD;
        }
        written = *path;
    } else {
        std::string xml;
        int status = SerializeInjectionList(ticket.Pieces(), xml);
        if (status == store::kPlistOK)
            status = store::WriteFileAtomically(request.output, xml);
        if (status != store::kPlistOK) {
            std::cerr << "kelvo-pde: " << ForTerminal(request.output) << ": " << store::PlistStatusText(status)
                      << "\n";
            return kExitBadPPD;
        }
        written = request.output;
        ticket.InjectTempFileToPSStream(key, written.string());
    }

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

void AddJobCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<JobRequest>();
    CLI::App* job = app.add_subcommand("job", "build the job's PostScript pieces as the panel does at print time "
                                              "and write the injection file");
    job->add_option("PPD", request->open.path, "PPD file to read, or - for standard input")->required();
    job->add_option("--set", request->sets, "KEY=VALUE: a control's value, applied in order (repeatable)");
    job->add_option("--note", request->notes, "KEY=TEXT: a job note's text (repeatable)");
    job->add_option("--watermark", request->watermark,
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
    job->add_option("--key-file", request->keyFile,
                    "FILE: the key file (default $KELVO_KEYS, else /etc/kelvo/keys)");
    job->add_option("-o,--output", request->output,
                    "FILE: write the injection file here instead of the temporary folder");
    out.push_back({job, [request] { return Run(*request); }});
}

} // namespace kelvo::tool
