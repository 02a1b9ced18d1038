// Queue set-up through IPP: the PPD goes to the server with the filter line.
#include "platform/cups/CupsQueue.h"

#include <cups/cups.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "util/FileDescriptor.h"

namespace kelvo::platform {

namespace {

/// Largest PPD sent: real PPDs are a few MiB; the bound keeps a wrong file
/// (or a gzip bomb) from costing memory.
constexpr std::size_t kMaxPPDBytes = 64u << 20;

struct IppDeleter {
    void operator()(ipp_t* ipp) const { ippDelete(ipp); }
};
using IppRef = std::unique_ptr<ipp_t, IppDeleter>;

/// The whole of a PPD file, gzip-compressed or not (zlib reads plain files
/// as they are). False with `error` set.
bool ReadPPD(const std::filesystem::path& path, std::string& bytes, std::string& error) {
    gzFile file = gzopen(path.c_str(), "rb");
    if (!file) {
        error = path.string() + ": " + std::strerror(errno ? errno : ENOMEM);
        return false;
    }
    char buffer[64 * 1024];
    int got = 0;
    while ((got = gzread(file, buffer, sizeof buffer)) > 0) {
        if (bytes.size() + static_cast<std::size_t>(got) > kMaxPPDBytes) {
            gzclose(file);
            error = path.string() + ": larger than " + std::to_string(kMaxPPDBytes >> 20) + " MiB: not a PPD";
            return false;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    int zerror = Z_OK;
    const char* message = got < 0 ? gzerror(file, &zerror) : nullptr;
    gzclose(file);
    if (got < 0) {
        error = path.string() + ": " +
                (zerror == Z_ERRNO ? std::string(std::strerror(errno)) : std::string(message ? message : "unreadable"));
        return false;
    }
    return true;
}

/// The queue's printer URI on the server, as the administration requests
/// name it.
std::string PrinterURI(std::string_view name) {
    char uri[HTTP_MAX_URI];
    const std::string resource = "/printers/" + std::string(name);
    httpAssembleURI(HTTP_URI_CODING_ALL, uri, sizeof uri, "ipp", nullptr, "localhost", 0, resource.c_str());
    return uri;
}

/// The server's answer to `request` sent to `resource` (with `file` as its
/// document when given): true when it succeeded, else `error` holds the
/// server's words.
bool Send(ipp_t* request, const char* resource, const char* file, std::string_view what, std::string& error) {
    // cupsDoFileRequest takes the request and frees it.
    IppRef answer(cupsDoFileRequest(CUPS_HTTP_DEFAULT, request, resource, file));
    if (cupsLastError() > IPP_STATUS_OK_CONFLICTING) {
        error = std::string(what) + ": " + cupsLastErrorString() + " (server " + cupsServer() + ")";
        return false;
    }
    return true;
}

} // namespace

std::string AddFilterLine(std::string_view ppd, FilterLineChange* change) {
    bool hasOld = false;
    std::size_t firstEnd = std::string_view::npos;
    for (std::size_t at = 0; at < ppd.size();) {
        std::size_t end = ppd.find_first_of("\r\n", at);
        const std::string_view line = ppd.substr(at, end == std::string_view::npos ? ppd.size() - at : end - at);
        if (line.starts_with("*cupsFilter2:") && line.find(kKelvoFilterName) != std::string_view::npos) {
            if (change)
                *change = FilterLineChange::kAlreadyThere;
            return std::string(ppd);
        }
        if (line.starts_with("*cupsFilter:"))
            hasOld = true;
        if (end == std::string_view::npos)
            break;
        if (firstEnd == std::string_view::npos)
            firstEnd = end;
        at = end + 1;
    }

    // The new line takes the first line's ending, so a CR LF file stays one.
    std::string ending = "\n";
    std::size_t insertAt = ppd.size();
    if (firstEnd != std::string_view::npos) {
        if (ppd[firstEnd] == '\r')
            ending = firstEnd + 1 < ppd.size() && ppd[firstEnd + 1] == '\n' ? "\r\n" : "\r";
        insertAt = firstEnd + ending.size();
    }
    std::string out;
    out.reserve(ppd.size() + kKelvoFilterLine.size() + 2);
    out.append(ppd.substr(0, insertAt));
    if (firstEnd == std::string_view::npos && !ppd.empty())
        out += ending; // a one-line file without an ending
    out.append(kKelvoFilterLine);
    out += ending;
    out.append(ppd.substr(insertAt));
    if (change)
        *change = hasOld ? FilterLineChange::kAddedOverOld : FilterLineChange::kAdded;
    return out;
}

bool IsValidQueueName(std::string_view name) {
    if (name.empty() || name.size() > 127)
        return false;
    for (const unsigned char c : name)
        if (c <= ' ' || c == 0x7F || std::strchr("/\\?'\"#", c))
            return false;
    return true;
}

bool AddKelvoQueue(std::string_view name, const std::filesystem::path& ppdPath, std::string_view deviceURI,
                   std::string& error, FilterLineChange* change) {
    if (!IsValidQueueName(name)) {
        error = "\"" + std::string(name) + "\" cannot name a queue (1 to 127 printable characters, no blank, /, \\, "
                "?, ', \" or #)";
        return false;
    }
    std::string ppd;
    if (!ReadPPD(ppdPath, ppd, error))
        return false;
    const std::string routed = AddFilterLine(ppd, change);

    // The server reads the PPD from the request; a private file carries it.
    char tempName[1024];
    const int fd = cupsTempFd(tempName, sizeof tempName);
    if (fd < 0) {
        error = std::string("cannot create a temporary file for the PPD: ") + std::strerror(errno);
        return false;
    }
    const int written = WriteAll(fd, routed);
    close(fd);
    if (written != 0) {
        unlink(tempName);
        error = std::string(tempName) + ": " + std::strerror(written);
        return false;
    }

    const std::string uri = PrinterURI(name);
    const std::string device(deviceURI);
    ipp_t* request = ippNewRequest(IPP_OP_CUPS_ADD_MODIFY_PRINTER);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri.c_str());
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr, cupsUser());
    ippAddString(request, IPP_TAG_PRINTER, IPP_TAG_URI, "device-uri", nullptr, device.c_str());
    ippAddInteger(request, IPP_TAG_PRINTER, IPP_TAG_ENUM, "printer-state", IPP_PSTATE_IDLE);
    ippAddBoolean(request, IPP_TAG_PRINTER, "printer-is-accepting-jobs", 1);
    // A PDF job (what desktop applications send) is made PostScript by the
    // pdftops filter. Its Ghostscript renderer ends pages through a showpage
    // bound inside its own procedure set, which never reaches the one the
    // watermark redefines; Poppler's output calls showpage by name.
    ippAddString(request, IPP_TAG_PRINTER, IPP_TAG_NAME, "pdftops-renderer-default", nullptr, kPdfRenderer.data());
    const bool ok = Send(request, "/admin/", tempName, "the server refused the queue " + std::string(name), error);
    unlink(tempName);
    return ok;
}

bool RemoveQueue(std::string_view name, std::string& error) {
    if (!IsValidQueueName(name)) {
        error = "\"" + std::string(name) + "\" cannot name a queue";
        return false;
    }
    const std::string uri = PrinterURI(name);
    ipp_t* request = ippNewRequest(IPP_OP_CUPS_DELETE_PRINTER);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri.c_str());
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr, cupsUser());
    return Send(request, "/admin/", nullptr, "the server did not remove the queue " + std::string(name), error);
}

} // namespace kelvo::platform
