// Putting a job ticket's pieces into a PostScript job as the job streams past.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "output/JobTicket.h"

namespace kelvo::output {

/// How an application of a ticket ended.
enum class ApplyStatus {
    kApplied,       ///< the whole job was written with the pieces in place
    kNotPostScript, ///< the job does not start with "%!" (or is empty): nothing was written
    kReadFailed,    ///< the job stream was not readable from the start: nothing was written
    kWriteFailed,   ///< the output refused bytes: what was written is incomplete
};

/// Words for a status ("the job is not PostScript (it does not start with %!)").
const char* ApplyStatusText(ApplyStatus status);

/// Read buffer used when the caller does not choose one.
inline constexpr std::size_t kDefaultApplyBufferBytes = 64u << 10;
/// Smallest read buffer taken; smaller requests are raised to it.
inline constexpr std::size_t kMinApplyBufferBytes = 64;
/// Most bytes of one feature block held back while it is being removed. A
/// block that has not reached its "%%EndFeature" by then is written out
/// unchanged after all: removing it would mean guessing where it ends.
inline constexpr std::size_t kMaxRemovedFeatureBytes = 256u << 10;

struct ApplyOptions {
    /// The read buffer's size. It bounds the memory held for the job: a line
    /// longer than this is passed on in parts of at most this size, and only
    /// a line's first part is looked at for a structure comment.
    std::size_t bufferBytes = kDefaultApplyBufferBytes;
};

/// What an application did. Counts are of pieces of the ticket.
struct ApplyResult {
    ApplyStatus status = ApplyStatus::kApplied;
    /// The job claims the document structure ("%!PS-Adobe-" first line) and
    /// the pieces were placed by its comments; otherwise they went right
    /// after the first line.
    bool structured = false;
    /// The job had no setup section and one was written for the pieces.
    bool setupCreated = false;
    std::size_t piecesPlaced = 0;    ///< written into the job (an empty piece counts)
    std::size_t piecesSkipped = 0;   ///< at a site the applier does not know: logged, not written
    std::size_t featuresRemoved = 0; ///< feature blocks of the job dropped for a suppressed keyword
    /// The paths of mailbox-path pieces, in ticket order. They are not
    /// written into the job: acting on them is the caller's business.
    std::vector<std::string> mailboxPaths;
    std::uint64_t bytesRead = 0;
    std::uint64_t bytesWritten = 0;

    bool ok() const { return status == ApplyStatus::kApplied; }
};

/// Copies `job` to `out` line by line and puts every piece of `pieces` at
/// its site, as docs/injection-sites.md lays down:
///   - header comments, layout comments and job-note lines (501, 504, 30) at
///     the end of the header, before "%%EndComments";
///   - feature code (81), then the page-size code (70), each piece wrapped
///     in "[{" ... "} stopped cleartomark", at the end of the setup section,
///     before "%%EndSetup"; the preparse marker (71) right after it;
///   - a setup section is created (after the prolog, else before the first
///     page) when the job has none and there is something to put in it;
///   - a suppressed keyword (-9) removes the job's own feature blocks for
///     it, bare and wrapped, outside embedded documents;
///   - mailbox paths (900) go to ApplyResult::mailboxPaths, unknown sites
///     are logged and skipped.
/// Bytes are kept as they are, line ends included (LF, CR LF or CR); what
/// the applier writes itself ends with the job's first line end. Memory
/// stays bounded by the options and the ticket, whatever the job's size.
/// `job` and `out` are borrowed; their stream buffers are used directly.
ApplyResult ApplyTicket(std::span<const InjectionPiece> pieces, std::istream& job, std::ostream& out,
                        const ApplyOptions& options = {});

} // namespace kelvo::output
