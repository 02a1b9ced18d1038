// kelvo-pde: inspect a Kelvo PPD, the PostScript its controls emit, and
// snapshots of its model.
#include <clocale>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "CommandRegistry.h"
#include "Commands.h"
#include "SaveForPrint.h"
#include "platform/cups/CupsHost.h"
#include "util/Log.h"

#ifndef KELVO_VERSION_STRING
#define KELVO_VERSION_STRING "0.1.0"
#endif

using namespace kelvo::tool;

namespace {

constexpr const char* kFooter = R"(PPD may be "-" for standard input; gzip-compressed files (.ppd.gz) are read too.

Exit status:
  0  done (a PPD with warnings only is fine)
  1  usage error: a bad command line, an unknown key, choice or value;
     validate: the PPD is not one the names serve; printers: no such printer or blob
  2  the file cannot be read or is not a usable PPD, property list or snapshot;
     queue, print and --queue: the print server cannot be reached or refuses,
     or a file to print cannot be read)";

} // namespace

int main(int argc, char** argv) {
    // Text encoding follows the user's locale; numbers stay in the C locale
    // because they end up in PostScript.
    std::setlocale(LC_CTYPE, "");

    CLI::App app{"kelvo-pde: read a Kelvo PPD the way the print-dialog panel does", "kelvo-pde"};
    app.require_subcommand(1);
    app.set_version_flag("--version", "kelvo-pde " KELVO_VERSION_STRING, "print the version and exit");
    app.footer(kFooter);
    // Options of the main command (--verbose) may also follow the subcommand.
    app.fallthrough();
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "show the library's diagnostic log on standard error");

    OpenRequest request;
    std::optional<std::string> queueName;
    // ps takes KEY [VALUE] after --queue NAME: its first word lands in PPD
    // and is moved below, so the parser must not refuse it.
    auto addOpenOptions = [&](CLI::App* sub, bool queueExcludesPPD = true) {
        CLI::Option* ppd = sub->add_option("PPD", request.path, "PPD file to read, or - for standard input");
        CLI::Option* queue = sub->add_option("--queue", queueName,
                                             "NAME: a CUPS queue instead of a PPD: its PPD with its saved choices");
        if (queueExcludesPPD)
            queue->excludes(ppd);
        sub->add_option("--host-app", request.hostApp,
                        "identifier of the host application (some hosts stop reading at \"APLANNOTATE END\")");
        sub->add_flag("--all-errors-fatal", request.allErrorsFatal, "stop reading at the first error of any kind");
    };

    bool json = false;
    CLI::App* inspect = app.add_subcommand("inspect", "show the document the panel would build");
    addOpenOptions(inspect);
    inspect->add_flag("--json", json, "one JSON object instead of the readable tree");

    bool panelOnly = false;
    CLI::App* options = app.add_subcommand("options", "list the options and their choices, current one starred");
    addOpenOptions(options);
    options->add_flag("--panel", panelOnly, "only what the panel shows (visible controls placed in a group)");

    std::string key;
    std::optional<std::string> value;
    CLI::App* ps = app.add_subcommand("ps", "print the framed PostScript a control emits");
    addOpenOptions(ps, false);
    // Not required by the parser: with --queue and no PPD, the first word
    // after the options lands in PPD and is moved here below.
    ps->add_option("KEY", key, "control keyword, with or without the leading asterisk");
    ps->add_option("VALUE", value, "value to apply first: a choice, True/False or a number");
    std::optional<std::string> note;
    ps->add_option("--note", note, "text of a job note (the note's framed output for that text)");

    CheckRequest check;
    CLI::App* checkCmd = app.add_subcommand("check", "test choices against the constraints and resolve conflicts");
    addOpenOptions(checkCmd);
    checkCmd->add_option("-o,--set", check.sets, "KEY=CHOICE selection applied first (repeatable, in order)");
    checkCmd->add_option("--try", check.tryPair, "KEY=CHOICE to test: conflicts and candidate alternatives");
    checkCmd->add_flag("--resolve", check.resolve, "search for the changes that make the --try choice consistent");
    checkCmd->add_option("--lock", check.locks, "KEY or KEY=CHOICE the search may not change to (repeatable)");
    checkCmd->add_flag("--grey", check.grey, "list each popup's and Boolean's currently constrained choices");
    checkCmd->add_flag("--json", check.json, "one JSON object");

    std::string validatePath;
    std::vector<std::string> validateNames;
    CLI::App* validate =
        app.add_subcommand("validate", "say whether the PPD's *PCFileName holds one of the printer list's names");
    validate->add_option("PPD", validatePath, "PPD file to test, or - for standard input")->required();
    CLI::Option* namesOption =
        validate->add_option("--names", validateNames, "NAME[,NAME...]: the names the panel serves (substrings, "
                                                       "case counts); without it every PPD is valid")
            ->delimiter(',');

    // The address list needs no PPD: its subcommands take printer names.
    PrintersRequest printersRequest;
    CLI::App* printers = app.add_subcommand("printers", "the user's printer address list: addresses, bidirectional "
                                                        "flag and data blobs per printer");
    printers->require_subcommand(1);
    printers->fallthrough();
    printers->add_option("--file", printersRequest.file,
                         "another list than the user's (default $KELVO_PRINTER_LIST, else "
                         "${XDG_CONFIG_HOME:-~/.config}/kelvo/QJV.TessaryPrinterV2.plist)");
    CLI::App* printersList = printers->add_subcommand("list", "one line per printer: name, address, bidi or "
                                                              "no-bidi, record version, blob ids");
    printersList->add_flag("--json", printersRequest.json, "one JSON array");
    CLI::App* printersAdd = printers->add_subcommand("add", "add a printer or change its address and flag");
    printersAdd->add_option("NAME", printersRequest.name, "printer name")->required();
    printersAdd->add_option("ADDRESS", printersRequest.address, "network address")->required();
    bool bidi = false, noBidi = false;
    CLI::Option* bidiFlag = printersAdd->add_flag("--bidi", bidi, "bidirectional communication on");
    printersAdd->add_flag("--no-bidi", noBidi, "bidirectional communication off")->excludes(bidiFlag);
    CLI::App* printersFind = printers->add_subcommand("find", "print a printer's address");
    printersFind->add_option("NAME", printersRequest.name, "printer name")->required();
    CLI::App* printersBlob = printers->add_subcommand("blob", "print the strings of a printer's data blob");
    printersBlob->add_option("NAME", printersRequest.name, "printer name")->required();
    printersBlob->add_option("ID", printersRequest.id, "blob id (1: watermark definitions)")->required();
    printersBlob->add_flag("--json", printersRequest.json, "one JSON array");
    CLI::App* printersSetBlob = printers->add_subcommand("set-blob", "store a printer's data blob, replacing it");
    printersSetBlob->add_option("NAME", printersRequest.name, "printer name")->required();
    printersSetBlob->add_option("ID", printersRequest.id, "blob id")->required();
    printersSetBlob->add_option("TEXT", printersRequest.texts, "the blob's strings, each under 1024 bytes");

    // Snapshots: save needs a PPD (opened as inspect opens it); show and
    // items read a block and need none.
    std::string snapshotOutput;
    std::string snapshotFile;
    bool snapshotJSON = false;
    CLI::App* snapshot = app.add_subcommand("snapshot", "save the document's model as a settings block, rebuild it, "
                                                        "list a block's items");
    snapshot->require_subcommand(1);
    snapshot->fallthrough();
    CLI::App* snapshotSave = snapshot->add_subcommand("save", "write the model of a PPD as a settings block");
    addOpenOptions(snapshotSave);
    snapshotSave->add_option("-o,--output", snapshotOutput, "FILE to write (replaced atomically), or - for "
                                                            "standard output")
        ->required();
    CLI::App* snapshotShow =
        snapshot->add_subcommand("show", "rebuild the document from a block and print it as inspect does");
    snapshotShow->add_option("FILE", snapshotFile, "settings block to read, or - for standard input")->required();
    snapshotShow->add_flag("--json", snapshotJSON, "one JSON object, as inspect --json prints");
    CLI::App* snapshotItems =
        snapshot->add_subcommand("items", "list a block's items: tag, id, size and first bytes");
    snapshotItems->add_option("FILE", snapshotFile, "settings block to read, or - for standard input")->required();
    snapshotItems->add_flag("--json", snapshotJSON, "one JSON array of {tag, id, size, attributes, head}");

    // Subcommands that live in files of their own add themselves here.
    std::vector<Command> commands;
    AddAuthCommands(app, commands);
    AddTicketCommands(app, commands);
    AddJobCommands(app, commands);
    AddApplyCommands(app, commands);
    AddQueueCommands(app, commands);
    AddPrintCommands(app, commands);
    AddPanelCommands(app, commands);

    // CLI11 reports through exceptions, each with its own exit code; they end
    // here, so that every usage error has one status and one prefix.
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0)
            return app.exit(e); // --help, --version
        std::cerr << "kelvo-pde: " << e.what() << "\nRun 'kelvo-pde --help' for more information.\n";
        return kExitUsage;
    }
    if (checkCmd->parsed() && !check.tryPair && !check.grey) {
        std::cerr << "kelvo-pde: check needs --try KEY=CHOICE or --grey\n";
        return kExitUsage;
    }
    if (check.resolve && !check.tryPair) {
        std::cerr << "kelvo-pde: --resolve needs --try\n";
        return kExitUsage;
    }
    if (note && value) {
        std::cerr << "kelvo-pde: give either VALUE or --note\n";
        return kExitUsage;
    }

    // The library is silent unless a sink is set; its lines go to standard
    // error, never into the report on standard output.
    if (verbose) {
        kelvo::SetLogSink([](std::string_view line) {
            std::cerr << "kelvo-pde: log: " << line;
            if (line.empty() || line.back() != '\n')
                std::cerr << '\n';
        });
    }

    for (const Command& command : commands)
        if (command.app->parsed())
            return command.run();

    if (validate->parsed())
        return RunValidate(validatePath,
                           namesOption->count() ? std::optional<std::vector<std::string>>(validateNames) : std::nullopt,
                           std::cout, std::cerr);
    if (printers->parsed()) {
        for (const CLI::App* sub : printers->get_subcommands())
            printersRequest.action = sub->get_name();
        if (bidi || noBidi)
            printersRequest.bidi = bidi;
        return RunPrinters(printersRequest, std::cout, std::cerr);
    }

    if (snapshotShow->parsed())
        return ShowSnapshot(snapshotFile, snapshotJSON, std::cout, std::cerr);
    if (snapshotItems->parsed())
        return ListSnapshotItems(snapshotFile, snapshotJSON, std::cout, std::cerr);

    if (ps->parsed() && queueName && !request.path.empty()) {
        if (value) {
            std::cerr << "kelvo-pde: ps takes KEY [VALUE] after --queue NAME, not a PPD\n";
            return kExitUsage;
        }
        if (!key.empty())
            value = key;
        key = request.path;
        request.path.clear();
    }
    if (!queueName && request.path.empty()) {
        std::cerr << "kelvo-pde: give a PPD file or --queue NAME\n";
        return kExitUsage;
    }
    if (ps->parsed() && key.empty()) {
        std::cerr << "kelvo-pde: ps needs the control's KEY\n";
        return kExitUsage;
    }

    // A queue stands for its PPD (a private copy from the server), with the
    // choices the user saved for it made current.
    std::unique_ptr<kelvo::platform::CupsHost> queue;
    if (queueName) {
        queue = OpenQueue(*queueName, std::cerr);
        if (!queue)
            return kExitBadPPD;
        request.path = queue->Printer().ppdPath;
    }
    QJVPPDRef doc = OpenForTool(request, std::cerr);
    if (!doc)
        return kExitBadPPD;
    if (queue)
        RestoreQueueChoices(*doc, *queue);
    if (inspect->parsed()) {
        PrintInspect(*doc, std::cout, json);
        return kExitOK;
    }
    if (snapshotSave->parsed())
        return SaveSnapshot(*doc, request.path, snapshotOutput, std::cout, std::cerr);
    if (options->parsed()) {
        if (!doc->HasMakerStatements())
            std::cerr << "kelvo-pde: " << ShownPath(request.path)
                      << ": no maker statements: a plain PPD, the panel has no options\n";
        ListOptions(*doc, std::cout, panelOnly);
        return kExitOK;
    }
    if (checkCmd->parsed())
        return RunCheck(*doc, check, std::cout, std::cerr);
    return PrintPostScript(*doc, key, note ? note : value, std::cout, std::cerr, note.has_value());
}
