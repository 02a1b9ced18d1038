// kelvo-pde printers: the user's printer address list from the command line.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ostream>
#include <vector>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "store/PrinterAddressList.h"

namespace kelvo::tool {

namespace {

using kelvo::store::PlistStatusText;
using kelvo::store::QJVTessaryPrinterPList;

std::string Shown(const std::filesystem::path& path) {
    return ForTerminal(path.string());
}

/// Whether the list could be read. A missing file is an empty list; any
/// other failure is reported with the file and the reason, so that nothing
/// overwrites a file we could not understand.
bool Readable(const QJVTessaryPrinterPList& list, std::ostream& err) {
    const auto status = list.LastError();
    if (status == store::kPlistOK || status == ENOENT)
        return true;
    if (list.Path().empty())
        err << "kelvo-pde: no printer address list: " << PlistStatusText(status) << "\n";
    else
        err << "kelvo-pde: " << Shown(list.Path()) << ": " << PlistStatusText(status) << "\n";
    return false;
}

int SaveList(QJVTessaryPrinterPList& list, std::ostream& err) {
    if (list.Save())
        return kExitOK;
    err << "kelvo-pde: " << Shown(list.Path()) << ": cannot write: " << PlistStatusText(list.LastError()) << "\n";
    return kExitBadPPD;
}

int NotListed(const QJVTessaryPrinterPList& list, const std::string& name, std::ostream& err) {
    err << "kelvo-pde: " << ForTerminal(name) << ": not in the printer address list " << Shown(list.Path()) << "\n";
    return kExitUsage;
}

} // namespace

int RunPrinters(const PrintersRequest& request, std::ostream& out, std::ostream& err) {
    QJVTessaryPrinterPList list = request.file.empty() ? QJVTessaryPrinterPList()
                                                       : QJVTessaryPrinterPList(request.file);
    if (!Readable(list, err))
        return kExitBadPPD;
    bool found = false;
    if (request.action != "list" && request.action != "add")
        list.Exists(request.name, found);

    if (request.action == "list") {
        const auto printers = list.Printers();
        if (request.json) {
            nlohmann::json all = nlohmann::json::array();
            for (const auto& p : printers)
                all.push_back({{"name", p.name},
                               {"address", p.address},
                               {"bidirectional", p.enabled},
                               {"version", p.version},
                               {"blobs", p.blobIds}});
            out << all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
            return kExitOK;
        }
        for (const auto& p : printers) {
            std::string ids;
            for (int id : p.blobIds)
                ids += (ids.empty() ? "" : ",") + std::to_string(id);
            out << ForTerminal(p.name) << "\t" << ForTerminal(p.address) << "\t" << (p.enabled ? "bidi" : "no-bidi")
                << "\t" << ForTerminal(p.version) << "\t" << (ids.empty() ? "-" : ids) << "\n";
        }
        return kExitOK;
    }
    if (request.action == "add") {
        list.Exists(request.name, found);
        // Without --bidi or --no-bidi a listed printer keeps its flag.
        const bool enabled = request.bidi.value_or(found && list.getIPEnabled(request.name));
        list.Add(request.name, request.address, enabled);
        return SaveList(list, err);
    }
    if (!found)
        return NotListed(list, request.name, err);
    if (request.action == "find") {
        out << ForTerminal(list.Find(request.name)) << "\n";
        return kExitOK;
    }
    if (request.action == "blob") {
        std::vector<std::string> strings;
        if (!list.GetDataBlob(request.name, request.id, strings)) {
            err << "kelvo-pde: " << ForTerminal(request.name) << ": no blob " << request.id << " in "
                << Shown(list.Path()) << "\n";
            return kExitUsage;
        }
        if (request.json) {
            out << nlohmann::json(strings).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
        } else {
            for (const std::string& s : strings)
                out << ForTerminal(s) << "\n";
        }
        return kExitOK;
    }
    // set-blob: each text in its own 1024-byte block, NUL-terminated.
    const std::size_t block = QJVTessaryPrinterPList::kBlockSize;
    if (request.texts.size() > static_cast<std::size_t>(QJVTessaryPrinterPList::kMaxBlobCount)) {
        err << "kelvo-pde: set-blob takes at most " << QJVTessaryPrinterPList::kMaxBlobCount << " texts\n";
        return kExitUsage;
    }
    std::vector<char> blocks(request.texts.size() * block, '\0');
    for (std::size_t k = 0; k < request.texts.size(); ++k) {
        const std::string& text = request.texts[k];
        if (text.size() >= block || text.find('\0') != std::string::npos) {
            err << "kelvo-pde: text " << k + 1 << " is longer than " << block - 1 << " bytes\n";
            return kExitUsage;
        }
        std::memcpy(blocks.data() + k * block, text.data(), text.size());
    }
    if (!list.AddDataBlob(request.name, static_cast<int>(request.texts.size()), request.id, blocks))
        return kExitUsage;
    return SaveList(list, err);
}

} // namespace kelvo::tool
