// kelvo-pde print: the panel's save-for-print for a CUPS queue, then the
// files submitted with the injection file as a job option.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CommandRegistry.h"
#include "Commands.h"
#include "SaveForPrint.h"
#include "platform/cups/CupsHost.h"
#include "platform/cups/CupsJob.h"

namespace kelvo::tool {

namespace {

struct PrintRequest {
    std::string queue;
    std::vector<std::string> files;
    PrintChoices choices;
    std::optional<std::string> title;
    std::optional<int> copies;
    std::optional<int> orientation;
    std::string hostApp;
};

int Run(const PrintRequest& request) {
    // Every file must be readable before anything is saved or submitted.
    for (const std::string& file : request.files) {
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            std::cerr << "kelvo-pde: " << ForTerminal(file) << ": " << std::strerror(errno) << "\n";
            return kExitBadPPD;
        }
        ::close(fd);
    }

    std::unique_ptr<platform::CupsHost> host = OpenQueue(request.queue, std::cerr);
    if (!host)
        return kExitBadPPD;
    host->SetApplicationID(request.hostApp);
    host->SetProcessName("kelvo-pde");
    // Copies and orientation given here are this job's: what the queue kept
    // goes back before its options are saved.
    const int keptOrientation = host->Page().orientation;
    const std::optional<platform::PropertyValue> keptCopies = host->Settings().Get("copies");
    if (request.orientation)
        host->Page().orientation = *request.orientation;
    if (request.copies)
        host->Settings().Set("copies", platform::PropertyValue(*request.copies));

    OpenRequest open;
    open.path = host->Printer().ppdPath;
    open.hostApp = request.hostApp;
    QJVPPDRef doc = OpenForTool(open, std::cerr);
    if (!doc)
        return kExitBadPPD;
    RestoreQueueChoices(*doc, *host);
    std::filesystem::path written;
    if (const int status = SaveForPrint(*doc, *host, request.choices, "", written, std::cerr))
        return status;
    // The filter reads tickets from /tmp only: a ticket elsewhere would be
    // refused on the printing side and the job printed without its pieces.
    if (!written.string().starts_with("/tmp/Kelvo.temp"))
        std::cerr << "kelvo-pde: warning: " << ForTerminal(written.string())
                  << " is not in /tmp (KELVO_TMPDIR is set): the printer's filter will not read it\n";
    const std::vector<platform::CupsOption> options = host->JobOptions();
    host->Page().orientation = keptOrientation;
    if (keptCopies)
        host->Settings().Set("copies", *keptCopies);
    else
        host->Settings().Remove("copies");
    std::string error;
    if (!host->Save(error))
        std::cerr << "kelvo-pde: warning: the choices are not kept for the next job: " << ForTerminal(error) << "\n";
    const std::string title =
        request.title.value_or(std::filesystem::path(request.files.front()).filename().string());
    const int id = platform::SubmitFiles(request.queue, request.files, title, options, error);
    if (id <= 0) {
        std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
        // The ticket will never be read: leave nothing with job notes behind.
        std::error_code ec;
        std::filesystem::remove(written, ec);
        return kExitBadPPD;
    }
    std::cout << id << "\n";
    return kExitOK;
}

} // namespace

void AddPrintCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<PrintRequest>();
    CLI::App* print = app.add_subcommand("print", "print files on a CUPS queue with the panel's choices: saves them "
                                                  "as the queue's options, writes the job ticket, submits the job "
                                                  "and prints its id");
    print->add_option("--queue", request->queue, "NAME: the CUPS queue")->required();
    print->add_option("FILE", request->files, "files to print (PostScript, PDF, or anything the queue takes)")
        ->required();
    print->add_option("--set", request->choices.sets, "KEY=VALUE: a control's value, applied in order (repeatable)");
    print->add_option("--note", request->choices.notes, "KEY=TEXT: a job note's text (repeatable)");
    print->add_option("--watermark", request->choices.watermark,
                      "DEFINITION: a watermark selected for this job (as for job --watermark)");
    print->add_option("--title", request->title, "the job's title (default: the first file's name)");
    print->add_option("--copies", request->copies, "number of copies")->check(CLI::Range(1, 9999));
    print->add_option("--orientation", request->orientation, "page orientation: 1 portrait, 2 landscape, "
                                                             "3 reverse portrait, 4 reverse landscape")
        ->check(CLI::Range(1, 4));
    print->add_option("--host-app", request->hostApp, "identifier of the host application");
    print->add_option("--key-file", request->choices.keyFile,
                      "FILE: the key file (default $KELVO_KEYS, else /etc/kelvo/keys)");
    out.push_back({print, [request] { return Run(*request); }});
}

} // namespace kelvo::tool
