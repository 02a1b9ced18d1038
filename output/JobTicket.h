// The job ticket: PostScript pieces tagged with their place in the job, and
// the print-settings entries that travel with them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Host.h"

class PPDXControl;
class QJVPPD;

namespace kelvo::output {

/// Where in the job a piece goes. The numbers are the injection file's
/// wire values and never change.
enum PostScriptInjectionSite : std::int32_t {
    kInjectSuppressFeature = -9, ///< the data is a main keyword: drop the job's own feature code for it
    kInjectJobNoteData = 30,     ///< job-note comment lines
    kInjectBeforeEndSetup = 70,  ///< feature code that must precede the end of the setup ("*PageSize")
    kInjectAfterEndSetup = 71,   ///< the closing preparse marker
    kInjectFeatureCode = 81,     ///< every other feature code
    kInjectHeaderComment = 501,  ///< header comment lines
    kInjectLayoutComment = 504,  ///< layout comments of the job-note output
    kInjectMailboxPath = 900,    ///< the file a file destination writes to
};

/// The constant's name of a site ("kInjectFeatureCode"), or null.
const char* InjectionSiteName(std::int32_t site);

/// One piece: its site and its bytes (not NUL-terminated).
struct InjectionPiece {
    std::int32_t site = 0;
    std::vector<std::uint8_t> bytes;
    bool operator==(const InjectionPiece&) const = default;
};

/// A ticket over the host's print settings.
class JobTicket {
public:
    /// Neither is owned. The session is unused on this platform and kept
    /// for the interface's sake (may be null).
    JobTicket(void* printSession, platform::PrintSettings* settings)
        : mSession(printSession), mSettings(settings) {}
    virtual ~JobTicket() = default;

    /// The print-settings number under `key` as a 32-bit integer: 1 when
    /// it was one (out set), 0 when absent or not a whole number in range.
    int Get(std::string_view key, int& out) const;
    /// Sets every pair of `dictionary` as a top-level print-settings entry.
    /// The two keys are ignored (kept for the interface's sake).
    void Set(std::string_view key, std::string_view key2, const platform::PropertyDictionary& dictionary);

protected:
    void* mSession;
    platform::PrintSettings* mSettings;
};

/// The ticket key/value pairs are written through.
class PrintSettingsTicket : public JobTicket {
public:
    using JobTicket::JobTicket;
};

/// Collects the pieces and writes them as the injection file.
class QJVJobTicket : public JobTicket {
public:
    /// `ticket` is not owned; `key` is the print-settings key the file's
    /// path is stored under.
    QJVJobTicket(PrintSettingsTicket* ticket, platform::PrintSettings* settings, std::string key);

    /// Starts a new, empty list.
    void Create() { mPieces.clear(); }
    /// Appends a piece of exactly these bytes (an empty one too). Null
    /// bytes with a non-zero length add nothing (the log says so).
    void Add(PostScriptInjectionSite site, const char* bytes, unsigned long length);
    void Add(PostScriptInjectionSite site, std::string_view text) { Add(site, text.data(), text.size()); }
    /// Appends the control's framed PostScript when it is at most 1024
    /// bytes (a longer piece is left out). "*PageSize" always goes to
    /// kInjectBeforeEndSetup.
    void Add(PostScriptInjectionSite site, PPDXControl* control);
    /// Every control's value as a print-settings entry named by its keyword.
    void SavePPDForAllKeys(QJVPPD* document, std::string_view key);
    /// Writes the injection file ("/tmp/Kelvo.temp" + UUID, see
    /// docs/injection-file.md) and stores its path in the print settings
    /// under the ticket's key. Returns the path, or nothing when the file
    /// could not be written (the reason is logged); the key is then removed
    /// from the print settings, so that no older ticket travels with the job.
    std::optional<std::filesystem::path> Save();
    /// Sets `value` under `key` in the print settings.
    void InjectTempFileToPSStream(std::string_view key, std::string_view value);

    const std::vector<InjectionPiece>& Pieces() const { return mPieces; }
    const std::string& Key() const { return mKey; }

private:
    PrintSettingsTicket* mTicket;
    std::string mKey;
    std::vector<InjectionPiece> mPieces;
};

/// `prefix` followed directly by a new UUID in upper case.
std::string CreateRandomFileName(std::string_view prefix);

/// The print-settings key of the injection file's path. The printing
/// system passes it to the filter as a job option of the same name.
inline constexpr std::string_view kInjectionFileKey =
    "QJV.PSData.com.qjv.print.pde.5D660F68-4131-4BE6-AD6C-D05E4C176E58.PInf";

/// kInjectionFileKey as a string.
std::string CreatePostscriptDataFileKey();

} // namespace kelvo::output
