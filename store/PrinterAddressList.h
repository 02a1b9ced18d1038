// The per-user printer address list: printers, their addresses, the
// bidirectional flag and data blobs, in one flat property-list array.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/PropertyListFile.h"

namespace kelvo::store {

/// One printer of the address list as a listing shows it.
struct PrinterRecordSummary {
    std::size_t index = 0; ///< position of the name element
    std::string name;
    std::string address;
    bool enabled = false;
    std::string version;
    std::vector<int> blobIds; ///< in file order (newest first)
};

/// The printer address list. Its file is one array in which each printer is
/// a record of consecutive elements:
///
///   name, address, bidirectional (boolean), version ("2"),
///   blobs: header "ID:COUNT" then COUNT strings (newest blob first),
///   "----- Data End -----"
///
/// Older records have version "0" (nothing after it) or "1" (a count of
/// old elements at position 4, then those elements); Add rewrites them.
/// Every lookup is bounded by the array: a damaged or hostile file gives
/// "not found" answers, never an access out of range.
class QJVTessaryPrinterPList : public PropertyListFile {
public:
    static constexpr std::string_view kFileName = "QJV.TessaryPrinterV2.plist";
    static constexpr std::string_view kTerminator = "----- Data End -----";
    static constexpr std::string_view kCurrentVersion = "2";
    /// Each string given to AddDataBlob sits in a block of this many bytes.
    static constexpr std::size_t kBlockSize = 1024;
    /// Most strings one blob may hold (a bound on the caller's count).
    static constexpr int kMaxBlobCount = 65536;

    /// The user's list at DefaultPath().
    QJVTessaryPrinterPList();
    /// The list at `file` (tests, tools).
    explicit QJVTessaryPrinterPList(const std::filesystem::path& file);
    /// The list for `file` holding `root` as if read from it; nothing is
    /// read (fuzzing, tools that parsed the file already). A root that is
    /// no array gives an empty list and kPlistWrongRoot.
    QJVTessaryPrinterPList(const std::filesystem::path& file, PropertyValue root);

    /// Where the user's list lives: $KELVO_PRINTER_LIST when set, otherwise
    /// ${XDG_CONFIG_HOME:-$HOME/.config}/kelvo/QJV.TessaryPrinterV2.plist.
    /// Empty when none of these variables is set.
    static std::filesystem::path DefaultPath();

    /// Index of the printer's name element. A match is a string equal to
    /// `name` ignoring case, which is not followed by a boolean: the address
    /// of a record is always followed by its flag, so an address equal to
    /// another printer's name is never taken for that name. The first match
    /// wins; without one `found` is false and the result is the array size.
    std::size_t Exists(std::string_view name, bool& found) const;
    /// The printer's address, or "" when it is not listed.
    std::string Find(std::string_view name) const;
    /// Adds the printer, or updates its address and flag and brings an old
    /// record to the current form. Sets the changed flag.
    void Add(std::string_view name, std::string_view address, bool enabled);
    /// Sets the bidirectional flag; false for an unknown printer.
    bool setIPEnabled(std::string_view name, bool enabled);
    /// The bidirectional flag; false for an unknown printer or a missing flag.
    bool getIPEnabled(std::string_view name) const;
    /// Appends the strings of blob `id` of the printer to `out`; returns
    /// whether the blob was found.
    bool GetDataBlob(std::string_view name, int id, std::vector<std::string>& out) const;
    /// Stores `count` strings as blob `id`, replacing an older blob of that
    /// id. String k is the text up to the first NUL of block k of `blocks`
    /// (kBlockSize bytes each; a block without NUL is taken whole). Fails
    /// when count is negative or beyond kMaxBlobCount or `blocks` holds fewer
    /// than count blocks. A blob for an unlisted printer is dropped and the
    /// call still succeeds.
    bool AddDataBlob(std::string_view name, int count, int id, std::span<const char> blocks);
    /// Writes the list to its file, creating the folder (mode 0700) when
    /// needed. Returns success; the reason is in LastError().
    bool Save();

    /// Every record in array order, for listings. Records are followed
    /// structurally (a blob's strings are skipped by its count), and
    /// elements that start no record are passed over.
    std::vector<PrinterRecordSummary> Printers() const;

    /// The working array.
    const PropertyArray& Records() const { return mRecords; }
    bool IsChanged() const { return mChanged; }
    bool IsReady() const { return mReady; }

private:
    void MakeWorkingArray();
    /// Position of blob `id`'s header in the record at `record`, or npos.
    std::size_t FindBlobHeader(std::size_t record, int id, std::size_t& count) const;
    std::string_view StringAt(std::size_t index) const;

    PropertyArray mRecords;
    bool mChanged = false;
    bool mReady = false;
};

} // namespace kelvo::store
