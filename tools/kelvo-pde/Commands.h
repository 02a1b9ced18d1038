// The kelvo-pde subcommands, callable from main and from tests.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "PPDX/QJVPPD.h"

namespace kelvo::tool {

/// Exit codes of the tool.
enum ExitCode { kExitOK = 0, kExitUsage = 1, kExitBadPPD = 2 };

struct OpenRequest {
    std::string path;
    std::string hostApp;
    bool allErrorsFatal = false;
};

/// Opens a PPD for inspection (orphans and hidden elements included). When
/// the document is unusable, writes one line naming the file and the error
/// code to `err` and returns null.
QJVPPDRef OpenForTool(const OpenRequest& request, std::ostream& err);

/// The whole document as one JSON object, walked with everything displayable.
nlohmann::json InspectJSON(QJVPPD& doc);
/// A readable tree: header, pages with their panes and roll-downs, groups,
/// controls with values, constraints and errors.
void InspectTree(QJVPPD& doc, std::ostream& out);

/// Framed PostScript of one control after applying an optional value text.
/// With `isNote`, the control must be a job note and the value is its text.
/// Returns an exit code; diagnostics go to `err`.
int PrintPostScript(QJVPPD& doc, const std::string& key, const std::optional<std::string>& value,
                    std::ostream& out, std::ostream& err, bool isNote = false);

} // namespace kelvo::tool

namespace kelvo::tool {

/// What `kelvo-pde check` was asked.
struct CheckRequest {
    std::vector<std::string> sets;  ///< KEY=CHOICE selections, applied in order
    std::optional<std::string> tryPair; ///< KEY=CHOICE to test
    bool resolve = false;           ///< search for changes that make the try consistent
    std::vector<std::string> locks; ///< KEY (every choice) or KEY=CHOICE the search may not pick
    bool grey = false;              ///< list the constrained choices of every popup and Boolean
    bool json = false;
};

/// Runs a constraint check; returns an exit code, diagnostics to `err`.
int RunCheck(QJVPPD& doc, const CheckRequest& request, std::ostream& out, std::ostream& err);

} // namespace kelvo::tool
