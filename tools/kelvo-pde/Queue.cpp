// kelvo-pde queue: CUPS queues for Kelvo printers, and --queue in place of
// a PPD path.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "CommandRegistry.h"
#include "Commands.h"
#include "SaveForPrint.h"
#include "platform/cups/CupsHost.h"
#include "platform/cups/CupsJob.h"
#include "platform/cups/CupsQueue.h"

namespace kelvo::tool {

namespace {

struct QueueRequest {
    std::string name;
    std::string ppd;
    std::string device;
};

int AddQueue(const QueueRequest& request) {
    if (request.ppd == kStdinPath) {
        std::cerr << "kelvo-pde: queue add needs a PPD file: the server is sent the file, not standard input\n";
        return kExitUsage;
    }
    // A PPD the panel cannot read would give a queue without its options.
    OpenRequest open;
    open.path = request.ppd;
    QJVPPDRef doc = OpenForTool(open, std::cerr);
    if (!doc)
        return kExitBadPPD;
    if (!doc->HasMakerStatements())
        std::cerr << "kelvo-pde: " << ShownPath(request.ppd)
                  << ": warning: no maker statements: the queue prints, but the panel has no options for it\n";
    std::string error;
    platform::FilterLineChange change = platform::FilterLineChange::kAdded;
    if (!platform::AddKelvoQueue(request.name, request.ppd, request.device, error, &change)) {
        std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
        return kExitBadPPD;
    }
    if (change == platform::FilterLineChange::kAddedOverOld)
        std::cerr << "kelvo-pde: " << ShownPath(request.ppd)
                  << ": warning: its *cupsFilter lines no longer count beside the added *cupsFilter2 line\n";
    std::cout << "queue " << ForTerminal(request.name) << " added: PostScript goes through "
              << platform::kKelvoFilterName << "\n";
    return kExitOK;
}

int RemoveQueue(const QueueRequest& request) {
    std::string error;
    if (!platform::RemoveQueue(request.name, error)) {
        std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
        return kExitBadPPD;
    }
    std::cout << "queue " << ForTerminal(request.name) << " removed\n";
    return kExitOK;
}

int ListQueues() {
    std::string error;
    const std::vector<platform::QueueEntry> queues = platform::ListQueues(error);
    if (!error.empty()) {
        std::cerr << "kelvo-pde: " << ForTerminal(error) << "\n";
        return kExitBadPPD;
    }
    for (const platform::QueueEntry& queue : queues)
        std::cout << ForTerminal(queue.name) << (queue.isDefault ? " (default)" : "") << "\n";
    return kExitOK;
}

} // namespace

std::unique_ptr<platform::CupsHost> OpenQueue(const std::string& name, std::ostream& err) {
    std::string error;
    std::unique_ptr<platform::CupsHost> host = platform::CupsHost::Open(name, error);
    if (!host)
        err << "kelvo-pde: " << ForTerminal(error) << "\n";
    return host;
}

void RestoreQueueChoices(QJVPPD& doc, platform::CupsHost& host) {
    platform::DescribeQueueControls(doc, host.Settings());
    ApplySavedValues(doc, host.Settings());
}

void AddQueueCommands(CLI::App& app, std::vector<Command>& out) {
    auto request = std::make_shared<QueueRequest>();
    CLI::App* queue = app.add_subcommand("queue", "set up CUPS queues for Kelvo printers");
    queue->require_subcommand(1);
    queue->fallthrough();
    CLI::App* add = queue->add_subcommand("add", "add (or replace) a queue whose PPD sends PostScript through the "
                                                 "kelvo-inject filter");
    add->add_option("NAME", request->name, "queue name")->required();
    add->add_option("--ppd", request->ppd, "PPD file of the printer (gzip-compressed too)")->required();
    add->add_option("--device", request->device, "URI: where the server sends jobs (ipp://..., socket://..., "
                                                 "lpd://..., file:///... where the server allows it)")
        ->required();
    out.push_back({add, [request] { return AddQueue(*request); }});
    CLI::App* remove = queue->add_subcommand("remove", "delete a queue");
    remove->add_option("NAME", request->name, "queue name")->required();
    out.push_back({remove, [request] { return RemoveQueue(*request); }});
    CLI::App* list = queue->add_subcommand("list", "the server's queues, one a line, the default marked");
    out.push_back({list, [] { return ListQueues(); }});
}

} // namespace kelvo::tool
