// libFuzzer target: a PostScript job streamed through the ticket applier.
// Without pieces a job must come through byte for byte (or be refused
// whole); with a small fixed ticket every piece must stand exactly once and
// in the order of the sites, whatever the job's structure comments say.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "output/TicketApplier.h"

using namespace kelvo::output;

namespace {

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

// The markers in the order the sites stand in an applied job.
constexpr std::string_view kMarkers[] = {"%KelvoFuzzHeader", "%KelvoFuzzFeature", "%KelvoFuzzPageSize",
                                         "%KelvoFuzzAfter"};

const std::vector<InjectionPiece>& Ticket() {
    static const std::vector<InjectionPiece> ticket = {
        {kInjectSuppressFeature, Bytes("*Duplex")},
        {kInjectAfterEndSetup, Bytes("%KelvoFuzzAfter\n")},
        {kInjectBeforeEndSetup, Bytes("%KelvoFuzzPageSize")}, // no line end: the applier adds one
        {kInjectFeatureCode, Bytes("%KelvoFuzzFeature\n")},
        {kInjectHeaderComment, Bytes("%KelvoFuzzHeader\n")},
        {kInjectMailboxPath, Bytes("/tmp/mailbox")},
        {7, Bytes("unknown site")},
    };
    return ticket;
}

ApplyResult Run(const std::vector<InjectionPiece>& pieces, const std::string& job, std::size_t buffer,
                std::string& out) {
    std::istringstream in(job);
    std::ostringstream os;
    const ApplyResult result = ApplyTicket(pieces, in, os, {buffer});
    out = os.str();
    return result;
}

std::size_t Count(const std::string& text, std::string_view what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string job(reinterpret_cast<const char*>(data), size);
    const bool postScript = job.size() >= 2 && job[0] == '%' && job[1] == '!';

    // Nothing to place: the job as it is, with any buffer size.
    for (std::size_t buffer : {kMinApplyBufferBytes, std::size_t{4096}}) {
        std::string out;
        const ApplyResult result = Run({}, job, buffer, out);
        if (result.status != (postScript ? ApplyStatus::kApplied : ApplyStatus::kNotPostScript))
            std::abort();
        if (out != (postScript ? job : std::string()))
            std::abort();
        if (result.bytesRead != size && postScript)
            std::abort();
    }

    std::string out;
    const ApplyResult result = Run(Ticket(), job, kMinApplyBufferBytes, out);
    if (!postScript) {
        if (result.ok() || !out.empty())
            std::abort();
        return 0;
    }
    if (!result.ok() || result.piecesPlaced != 4 || result.piecesSkipped != 1 || result.mailboxPaths.size() != 1)
        std::abort();
    if (result.bytesWritten != out.size())
        std::abort();
    // A job that names a marker itself proves nothing about ours.
    if (job.find("KelvoFuzz") != std::string::npos)
        return 0;
    std::size_t previous = 0;
    for (std::string_view marker : kMarkers) {
        const std::size_t at = out.find(marker);
        if (Count(out, marker) != 1 || at < previous)
            std::abort();
        // Each piece stands on lines of its own.
        if (at > 0 && out[at - 1] != '\n' && out[at - 1] != '\r')
            std::abort();
        previous = at;
    }
    return 0;
}
