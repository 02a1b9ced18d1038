// The per-dialog companion of a document: settings that are no PPD options,
// the PPD copy for the job-properties helper, and the print-time assembly.
#pragma once

#include <sys/types.h>

#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "output/JobTicket.h"
#include "output/KeyFile.h"
#include "output/Watermark.h"
#include "platform/Host.h"
#include "store/PrinterAddressList.h"

class PPDXControl;
class QJVPPD;

namespace kelvo::panel {

struct PPDTree;

/// A (keyword, option) pair of a list the panel keeps beside the PPD's
/// options. Both are UTF-8 text.
using KeyValuePair = std::pair<std::string, std::string>;

/// Print-settings keys of the state kept here.
inline constexpr std::string_view kWatermarkFirstPageKey = "WatermarkFirstPageInfo";
inline constexpr std::string_view kSelectedWatermarkKey = ".SelectedWatermarkKey";
inline constexpr std::string_view kMixedMediaCountKey = ".MMKey";
inline constexpr std::string_view kPadCoverCountKey = ".PadCov";
/// The copy count, as the printing system names its option.
inline constexpr std::string_view kCopiesKey = "copies";
inline constexpr std::string_view kPrimaryPaperFeedKey = "com.apple.print.PrintSettings.PMPrimaryPaperFeed";
/// The user's quick-access selection: control keywords separated by blanks.
inline constexpr std::string_view kQuickAccessKey = ".QuickAccessKeys";

/// Most mixed-media pairs, pad-cover pairs, and bytes of a restored pair's text.
inline constexpr std::size_t kMaxMixedMedia = 255;
inline constexpr std::size_t kMaxPadCovers = 16;
inline constexpr std::size_t kMaxPairText = 256;
/// Bytes of a paper-catalog value (the rest is cut).
inline constexpr std::size_t kMaxPaperCatalogText = 4095;
/// The paper-catalog keywords, in order; each is also its print-settings key.
inline constexpr std::array<const char*, 4> kPaperCatalogKeywords = {"*QJPCMID", "*QJPCName", "*QJCoverSizePCMID",
                                                                     "*QJCoverSizePCName"};
/// A paper-catalog value that means "not set".
inline constexpr std::string_view kPaperCatalogUnset = "-1";
/// The printer address list's blob of watermark definitions.
inline constexpr int kWatermarkBlobId = 1;

/// How PDEData is set up beyond the document, printer and host.
struct PDEDataOptions {
    /// The printer address list to read and write (default: the user's,
    /// QJVTessaryPrinterPList::DefaultPath()).
    std::optional<std::filesystem::path> addressList;
    /// Copy the PPD for the job-properties helper (the command-line tool
    /// has no helper and may leave it).
    bool copyPPD = true;
};

/// What a dialog keeps for one document, printer and host.
///
/// The document and the host are borrowed and must outlive this object;
/// either may be null (no document: nothing to copy or emit; no host: the
/// settings calls do nothing). Not copyable: it owns the PPD copy.
class PDEData {
public:
    /// Reads the printer's address and bidirectional flag from the address
    /// list, and copies the PPD to TemporaryFolder()/NAME ("NAME.ppd" when
    /// the name holds no ".ppd"). The copy is created exclusively and never
    /// through a symbolic link; a leftover copy of our own (a regular file
    /// we own) is replaced, anything else there is left alone and no copy
    /// is made (HasPPDCopy() is false, the reason logged). Mode 0600.
    PDEData(QJVPPD* document, std::string printerName, platform::Host* host, PDEDataOptions options = {});
    /// Removes the PPD copy when this object made it.
    ~PDEData();
    PDEData(const PDEData&) = delete;
    PDEData& operator=(const PDEData&) = delete;

    // ---- print time ----

    /// Fills `ticket` with the job's pieces in their fixed order: the host's
    /// feature code suppressed, every control's feature code, the N-up and
    /// source-application comments, mixed media and covers, the colour
    /// controls, the job notes, the watermark, scale, paper catalog, custom
    /// and print sizes, the mailbox path of a file destination, and the
    /// closing comments (docs/print-time-output.md). Controls are walked
    /// under the document-wide display option. Returns 0. `printSession`
    /// is unused on this platform.
    int OutPostscriptData(output::QJVJobTicket& ticket, void* printSession = nullptr);
    /// Adds every control's keyword but "*PageSize" at kInjectSuppressFeature.
    void SuppressApplePostscript(output::QJVJobTicket& ticket);

    // ---- state kept in the print settings ----

    /// Writes the watermark choice, the mixed-media and the pad-cover lists
    /// to the print settings. Returns 0 (also when there is no host).
    int SaveNonPSSettings();
    /// Reads them back, with the paper-catalog values; a stored watermark
    /// index is kept only when it names one of the printer's stored
    /// watermarks. Counts and texts are bounded (kMaxMixedMedia,
    /// kMaxPadCovers, kMaxPairText). Returns 0, or -1 without a host.
    int RestoreNonPSSettings();

    // ---- state kept in the printer address list ----

    /// Stores the watermark definitions as the printer's blob 1 and saves
    /// the list. A definition longer than 1023 bytes is cut. False when the
    /// printer is not listed or the list cannot be written.
    bool SaveWatermarksToPreferences();
    /// Replaces the watermark list with the printer's blob 1 (the selection
    /// is dropped when it no longer names one). False when there is none.
    bool GetWatermarksFromPreferences();
    /// The printer is in the address list and its bidirectional flag is set.
    bool isBIDIEnabled() const;

    // ---- questions about controls and the host ----

    /// The keyword holds "*QJOutProfile", "*QJSimulation" or "*QJRGBOverride"
    /// (a substring test: related keywords count too).
    static bool isSpecialChromaquaControl(std::string_view keyword);
    /// Whether a control may appear on the basic panel: every control but
    /// those of the features only the full job properties can set up
    /// (mixed media, image shift, booklet creep, N-up options, clear coat,
    /// image-wise ranges, embedded profiles), see kFullPropertiesOnly in
    /// the source. False for null.
    static bool IsValidBasicPanelControl(PPDXControl* control);
    /// The copy count of the print settings (1 when absent or not a
    /// positive whole number).
    int GetNumCopiesFromOS() const;
    /// The page format's orientation code (1 when there is no host).
    int GetPageOrientationFromOS() const;
    /// The primary paper feed of the print settings; false when absent.
    bool GetPrimayPaperFeedFromOS(std::string& out) const;

    /// Adds the user's quick-access controls kept in the print settings
    /// (kQuickAccessKey) to the tree's shortcuts: each keyword that names a
    /// control allowed on the basic panel and is not a shortcut yet, while
    /// the tree has room. Returns how many were added.
    std::size_t GetPPDShortcuts(PPDTree& tree);
    /// Keeps the tree's shortcut keywords in the print settings.
    void SetPPDShortcuts(const PPDTree& tree);
    /// Whether the print settings hold a quick-access list of the user's
    /// (even an empty one): it then replaces the PPD's shortcuts.
    bool HasSavedShortcuts() const;

    /// Hands the job to the workflow client when one is installed
    /// (docs/print-time-output.md): loads libsv2client.so from
    /// /usr/lib/kelvo/driver/MODEL/ or /usr/lib/kelvo/lib/ and calls its
    /// SVOpenSession, SVCreateNewJobEx(session, kind), SVCloseSession.
    /// Returns 0 when done, 1 when no client is installed (nothing done),
    /// -1 when the client failed.
    int UploadSwivaneXMLFiles(int kind);

    // ---- the lists ----

    bool UsesOSPageSize() const { return mUsesOSPageSize; }
    void SetUsesOSPageSize(bool uses) { mUsesOSPageSize = uses; }
    QJVPPD* Document() const { return mDocument; }
    platform::Host* Host() const { return mHost; }

    std::vector<output::QJVWatermark>& Watermarks() { return mWatermarks; }
    /// The selected watermark's index, -1 for none.
    int SelectedWatermark() const { return mSelectedWatermark; }
    /// Selects a watermark; false (and nothing selected) when `index` is
    /// neither -1 nor an index of the list.
    bool SelectWatermark(int index);

    const std::vector<KeyValuePair>& MixedMedia() const { return mMixedMedia; }
    /// Appends a pair; false when the list is full.
    bool AddMixedMedia(std::string keyword, std::string option);
    const std::vector<KeyValuePair>& PadCovers() const { return mPadCovers; }
    bool AddPadCover(std::string keyword, std::string option);
    void ClearMixedMedia() { mMixedMedia.clear(); }
    void ClearPadCovers() { mPadCovers.clear(); }
    /// The four paper-catalog pairs (kPaperCatalogKeywords, values "-1" when unset).
    const std::array<KeyValuePair, 4>& PaperCatalog() const { return mPaperCatalog; }
    void SetPaperCatalogValue(std::size_t index, std::string value);

    /// The orientation code read when this object was made.
    int PageOrientation() const { return mPageOrientation; }
    const std::filesystem::path& PPDCopyPath() const { return mPPDCopyPath; }
    bool HasPPDCopy() const { return mOwnsCopy; }
    const std::string& PrinterName() const { return mPrinterName; }
    const std::string& PrinterAddress() const { return mPrinterAddress; }
    /// The bidirectional flag kept with the address (the address list's at
    /// creation).
    bool PrinterBidiFlag() const { return mPrinterBidi; }
    /// Records the printer's address and flag for this dialog.
    void SetTessaryPrinterAddress(std::string address, bool bidi) {
        mPrinterAddress = std::move(address);
        mPrinterBidi = bidi;
    }
    const store::QJVTessaryPrinterPList& AddressList() const { return *mAddressList; }

    /// Keys for encrypted job notes and the credentials (not owned; null:
    /// notes that need a key are left out of the job).
    void SetKeys(const output::KeySet* keys) { mKeys = keys; }
    /// Job-note comment text goes out as UTF-8 (the default).
    void SetJobNotesUTF8(bool utf8) { mJobNotesUTF8 = utf8; }

private:
    void MakePPDCopy();
    void AddWatermark(output::QJVJobTicket& ticket);
    void AddColourControls(output::QJVJobTicket& ticket, bool bidi);
    void AddPaperCatalog(output::QJVJobTicket& ticket);
    void AddPrintSizes(output::QJVJobTicket& ticket);
    void AddFileDestination(output::QJVJobTicket& ticket);

    bool mUsesOSPageSize = false;
    QJVPPD* mDocument;
    std::vector<output::QJVWatermark> mWatermarks;
    int mSelectedWatermark = -1;
    std::vector<KeyValuePair> mMixedMedia;
    std::array<KeyValuePair, 4> mPaperCatalog;
    std::vector<KeyValuePair> mPadCovers;
    std::filesystem::path mPPDCopyPath;
    bool mOwnsCopy = false;
    /// The copy this panel made (device, inode): another dialog's panel for
    /// the same PPD puts its own copy at the same name, which this one must
    /// not remove when it goes.
    dev_t mCopyDevice = 0;
    ino_t mCopyInode = 0;
    platform::Host* mHost;
    std::unique_ptr<store::QJVTessaryPrinterPList> mAddressList;
    std::string mPrinterName;
    std::string mPrinterAddress;
    bool mPrinterBidi = false;
    int mPageOrientation = 1;
    const output::KeySet* mKeys = nullptr;
    bool mJobNotesUTF8 = true;
};

} // namespace kelvo::panel
