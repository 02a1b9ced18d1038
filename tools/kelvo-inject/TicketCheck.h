// Deciding whether the injection file a job names may be used for that job:
// the path rule, the owner rule, and the reading of the list itself.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "output/JobTicket.h"

namespace kelvo::inject {

/// The only folder and name prefix the filter reads an injection file
/// from. The panel's KELVO_TMPDIR is not honoured here on purpose: the
/// filter runs under the printing system with its own environment, and a
/// fixed prefix keeps a job option from naming any other file.
inline constexpr std::string_view kTicketPathPrefix = "/tmp/Kelvo.temp";

/// True when `path` is kTicketPathPrefix followed by a UUID in the upper
/// case 8-4-4-4-12 hexadecimal form and nothing else. Such a path has no
/// "..", no further slash and no byte outside [0-9A-F-].
bool IsTicketPath(std::string_view path);

/// The outcome of TicketForJob.
struct TicketCheck {
    bool ok = false;
    std::string reason; ///< why the file was refused, in words (empty when ok)
    std::vector<output::InjectionPiece> pieces;
};

/// Reads the injection file at `path` for a job of the user named `user`.
/// Refuses, without opening anything, a path that IsTicketPath rejects and
/// a user the system does not know; then opens the file once (never
/// following a symbolic link, never blocking on a FIFO) and refuses what is
/// not a regular file, what is not owned by `user`, what is larger than
/// output::kMaxInjectionFileBytes and what is not a well-formed injection
/// list. Every check is made on the one open descriptor, so the file
/// checked is the file read.
TicketCheck TicketForJob(std::string_view path, std::string_view user);

} // namespace kelvo::inject
