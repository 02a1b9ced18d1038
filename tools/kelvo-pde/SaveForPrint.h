// What `job` and `print` share: the panel's save-for-print sequence over a
// host, and opening a CUPS queue in place of a PPD path.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PPDX/QJVPPD.h"
#include "platform/Host.h"

namespace kelvo::platform {
class CupsHost;
}

namespace kelvo::tool {

/// The choices of one job, as the command line gives them.
struct PrintChoices {
    std::vector<std::string> sets;        ///< KEY=VALUE, applied in order
    std::vector<std::string> notes;       ///< KEY=TEXT
    std::optional<std::string> watermark; ///< a watermark definition selected for this job
    std::string keyFile;                  ///< empty: $KELVO_KEYS, else /etc/kelvo/keys
};

/// The control values a previous run saved into the print settings ("*Key"
/// entries), applied to `doc`. Special options are left alone.
void ApplySavedValues(QJVPPD& doc, const platform::PrintSettings& settings);

/// What the panel does when the job is printed: the saved values, then the
/// choices; the keys; the printer's watermarks and the dialog's saved
/// state; the ticket filled and every value saved into the host's print
/// settings; the injection file written to `output`, or when empty to the
/// temporary folder (after removing the user's own stale ones), its path
/// stored under the injection-file key. Returns an exit code (usage errors
/// and unwritable files are said on `err`); `written` is the file.
int SaveForPrint(QJVPPD& doc, platform::Host& host, const PrintChoices& choices, const std::string& output,
                 std::filesystem::path& written, std::ostream& err);

/// Opens CUPS queue `name` (its PPD fetched from the server, its saved
/// options as print settings). Null after one line on `err`.
std::unique_ptr<platform::CupsHost> OpenQueue(const std::string& name, std::ostream& err);

/// Tells the queue's settings which options are controls and job notes of
/// `doc`, then applies the saved values to it.
void RestoreQueueChoices(QJVPPD& doc, platform::CupsHost& host);

} // namespace kelvo::tool
