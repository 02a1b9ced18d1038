// The kelvo-pde subcommands, callable from main and from tests.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "PPDX/QJVPPD.h"

namespace kelvo::tool {

/// Exit codes of the tool: every mistake in the command line (CLI11's own
/// parse errors included) and every value the PPD does not offer is 1; a
/// file that cannot be read or is no usable PPD is 2. `validate` answers
/// "not valid" with 1, as a shell test of its answer expects.
enum ExitCode { kExitOK = 0, kExitUsage = 1, kExitNotValid = 1, kExitBadPPD = 2 };

/// The PPD argument that stands for standard input.
inline constexpr std::string_view kStdinPath = "-";
/// More than this from standard input is refused: the largest real PPDs
/// are a few MiB, and the whole input is held in memory.
inline constexpr std::size_t kMaxStdinBytes = 256u << 20;

/// Reads the whole of `fd` into `bytes`, at most kMaxStdinBytes. On
/// failure `why` holds the reason in the system's words.
bool ReadAll(int fd, std::string& bytes, std::string& why);

struct OpenRequest {
    std::string path; ///< a file, or "-" for standard input
    std::string hostApp;
    bool allErrorsFatal = false;
};

/// Opens a PPD for inspection (orphans and hidden elements included), from
/// a file or, for "-", from the whole of standard input (gzip-compressed
/// bytes are read alike). When the document is unusable, writes one line
/// to `err`: the file, the line, why in words, and the error code; then
/// returns null.
QJVPPDRef OpenForTool(const OpenRequest& request, std::ostream& err);

/// Text from a PPD made safe for a terminal: C0 control bytes, DEL, the C1
/// controls (U+0080..U+009F) and bytes that are not UTF-8 are written as
/// \xNN, so that a translation holding escape sequences cannot drive the
/// terminal. Everything else is kept as it is.
std::string ForTerminal(std::string_view text);

/// How diagnostics name the PPD argument: the path made terminal-safe, or
/// "(standard input)" for "-".
std::string ShownPath(std::string_view path);

/// The name to show for an element or control: its translation, or the
/// keyword without its asterisk when the translation is empty (as a print
/// dialog does). JSON keeps the empty name.
std::string DisplayName(const std::string& name, const char* keyword);

/// The whole document as one JSON object, walked with everything displayable.
nlohmann::json InspectJSON(QJVPPD& doc);
/// A readable tree: header, pages with their panes and roll-downs, groups,
/// controls with values, constraints and errors. All PPD text goes through
/// ForTerminal.
void InspectTree(QJVPPD& doc, std::ostream& out);

/// One line per control in the manner of a print system's option listing:
/// "Keyword/Name: choice *current choice". With `panelOnly`, only what the
/// panel shows (visible controls placed in a group).
void ListOptions(QJVPPD& doc, std::ostream& out, bool panelOnly);

/// Checks a value text against what a control accepts before it is set:
/// a popup's choice keyword (exactly), True or False for a Boolean (any
/// case), a finite number for a range (whole and within 32 bits for an
/// integer range; the control then clamps it to its bounds), any text for
/// a job note or a custom size. On success returns the text to apply (the
/// Boolean word spelt True/False); otherwise writes a "kelvo-pde:" line to
/// `err` and returns nullopt. Special options take no value at all.
std::optional<std::string> AcceptedValue(PPDXControl& control, const std::string& key, std::string_view value,
                                         std::ostream& err);

/// Framed PostScript of one control after applying an optional value text
/// (checked by AcceptedValue). With `isNote`, the control must be a job
/// note and the value is its text. Returns an exit code; diagnostics go to
/// `err`.
int PrintPostScript(QJVPPD& doc, const std::string& key, const std::optional<std::string>& value,
                    std::ostream& out, std::ostream& err, bool isNote = false);

} // namespace kelvo::tool

namespace kelvo::tool {

/// What `kelvo-pde check` was asked.
struct CheckRequest {
    std::vector<std::string> sets;  ///< KEY=CHOICE selections (--set or -o), applied in order
    std::optional<std::string> tryPair; ///< KEY=CHOICE to test
    bool resolve = false;           ///< search for changes that make the try consistent
    std::vector<std::string> locks; ///< KEY (every choice) or KEY=CHOICE the search may not pick
    bool grey = false;              ///< list the constrained choices of every popup and Boolean
    bool json = false;
};

/// Runs a constraint check; returns an exit code, diagnostics to `err`.
int RunCheck(QJVPPD& doc, const CheckRequest& request, std::ostream& out, std::ostream& err);

} // namespace kelvo::tool

namespace kelvo::tool {

/// `kelvo-pde validate`: whether the PPD's "*PCFileName" holds one of
/// `names` (none given: every PPD is served). Prints "PATH: valid" or
/// "PATH: not valid"; returns kExitOK, kExitNotValid, or kExitBadPPD when the
/// file cannot be read.
int RunValidate(const std::string& path, const std::optional<std::vector<std::string>>& names, std::ostream& out,
                std::ostream& err);

/// What `kelvo-pde printers` was asked.
struct PrintersRequest {
    std::string action;             ///< list, add, find, blob or set-blob
    std::string name;               ///< the printer (all but list)
    std::string address;            ///< add
    std::optional<bool> bidi;       ///< add: --bidi / --no-bidi; unset keeps a listed printer's flag
    int id = 0;                     ///< blob, set-blob
    std::vector<std::string> texts; ///< set-blob: the blob's strings, each under 1024 bytes
    bool json = false;              ///< list, blob
    std::string file;               ///< --file: another list than the user's
};

/// Runs a printers action over the user's printer address list (or
/// `request.file`); returns an exit code: 1 for an unlisted printer or
/// blob, 2 when the file cannot be read or written (the file and the
/// reason go to `err`).
int RunPrinters(const PrintersRequest& request, std::ostream& out, std::ostream& err);

} // namespace kelvo::tool

namespace kelvo::tool {

/// What `inspect` prints: InspectJSON as indented JSON, or InspectTree.
void PrintInspect(QJVPPD& doc, std::ostream& out, bool asJSON);

/// `kelvo-pde snapshot save`: the model of `doc` (opened from `ppdPath`) as
/// a flattened settings block, written atomically to `output` or, for "-",
/// to `out`. Returns kExitOK, or kExitBadPPD after one line on `err` naming
/// the file and the reason (a model the numbering cannot hold, a file that
/// cannot be written).
int SaveSnapshot(QJVPPD& doc, const std::string& ppdPath, const std::string& output, std::ostream& out,
                 std::ostream& err);

/// `kelvo-pde snapshot show`: reads the block of `path` ("-": standard
/// input, at most kMaxStdinBytes), rebuilds the document from it and prints
/// it as `inspect` does. kExitBadPPD when the file cannot be read, is no
/// settings block, or holds no document.
int ShowSnapshot(const std::string& path, bool asJSON, std::ostream& out, std::ostream& err);

/// `kelvo-pde snapshot items`: every item of the block in order: tag, id,
/// size and the first bytes of the value. Errors as for ShowSnapshot.
int ListSnapshotItems(const std::string& path, bool asJSON, std::ostream& out, std::ostream& err);

} // namespace kelvo::tool
