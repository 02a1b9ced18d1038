// The panel's entry: the factory the print dialog instantiates and the panel object that answers the dialog's calls.
//
// The dialog loads the bundle, makes the factory (initWithBundle), asks it
// for its panels (PDEPanelsForType) and from then on talks to the panel:
// show, hide, save, restore, print. The panel owns the document, the
// per-dialog data and the state controller, and turns each of the dialog's
// calls into their operations. Everything the panel needs of the dialog and
// of the system comes in through PDEHostCallback, so the same object runs
// under a desktop toolkit, in `kelvo-pde panel` and in tests.
//
// Both class names carry the bundle's suffix: two versions of the bundle
// loaded into one dialog process must not clash. Short aliases follow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "PPDX/QJVPPD.h"
#include "panel/PDEData.h"
#include "panel/UI_Panel.h"

namespace kelvo::platform {
class Bundle;
class Host;
} // namespace kelvo::platform

namespace kelvo::panel {

class PopupJobNotesWindow;

/// The panel type the factory serves.
inline constexpr std::string_view kPDEPanelType = "BDB091F4-E57F-11D3-B5CC-0050E4603277";
/// The kind the panel reports.
inline constexpr std::string_view kPDEPanelKind = "com.qjv.print.pde.5D660F68-4131-4BE6-AD6C-D05E4C176E58.PInf";
/// The "Localizable" key of the panel's title.
inline constexpr std::string_view kPanelTitleKey = "PDE Panel Title";
/// The identifier the values are saved under when the bundle has none.
inline constexpr std::string_view kDefaultBundleIdentifier = "com.qjv.print.pde.5D660F68-4131-4BE6-AD6C-D05E4C176E58";
/// A print asked for sooner than this after the panel's creation is refused
/// (popup job notes only: the dialog's own print at creation must not pass
/// the accounting window).
inline constexpr std::int64_t kPrintGuardSeconds = 4;
/// The print-settings key naming the automation file, and its largest size.
inline constexpr std::string_view kAutomationFileKey = "KelvoAutomationFile";
inline constexpr std::size_t kMaxAutomationFileBytes = 1024 * 1024;
/// Longest printer address shown as it is; longer ones are shortened.
inline constexpr std::size_t kMaxShownAddress = 60;
/// The program that opens the help page.
inline constexpr const char* kHelpOpener = "/usr/bin/xdg-open";

/// Finds a printer announced by service discovery ("dnssd:" and "mdns:"
/// device addresses) and says where it is now.
class PrinterAddressDiscovery {
public:
    virtual ~PrinterAddressDiscovery() = default;
    /// The address the printer answers at, or empty when not known.
    virtual std::string CurrentAddress() const = 0;
};

/// Knows no address: the panel keeps the one of the address list.
class NullPrinterAddressDiscovery final : public PrinterAddressDiscovery {
public:
    explicit NullPrinterAddressDiscovery(std::string deviceURI) : mDeviceURI(std::move(deviceURI)) {}
    std::string CurrentAddress() const override { return {}; }
    const std::string& DeviceURI() const { return mDeviceURI; }

private:
    std::string mDeviceURI;
};

/// The customize window and the printer address dialog, as far as hiding
/// the panel concerns them. Null in PDEHostCallback: neither exists.
class PanelSideWindows {
public:
    virtual ~PanelSideWindows() = default;
    virtual bool IsCustomizeWindowOpen() const = 0;
    /// Cancels the customize window (its Cancel button).
    virtual void doButtonCancelClicked() = 0;
    virtual bool IsAddressDialogOpen() const = 0;
    /// Cancels the printer address dialog.
    virtual void clickedCancel() = 0;
};

/// What the print dialog hands the panel: its host (print settings, page
/// format, printer), the system around the panel and the panel's windows.
/// Every reference must outlive the panel.
struct PDEHostCallback {
    platform::Host& host;
    UI_PanelPlatform& platform;
    /// The popup job-notes window of print time.
    PopupJobNotesWindow& popupWindow;
    UI_PanelViews views{};
    PrinterAddressDialog* addressDialog = nullptr;
    PanelSideWindows* sideWindows = nullptr;
    /// Makes the discovery object for a "dnssd"/"mdns" device address (null:
    /// NullPrinterAddressDiscovery).
    std::function<std::unique_ptr<PrinterAddressDiscovery>(std::string_view deviceURI)> makeDiscovery{};
    /// The per-dialog data's options (address list, PPD copy).
    PDEDataOptions dataOptions{};
    /// The key file for encrypted job notes and credentials (empty: the
    /// default, $KELVO_KEYS else /etc/kelvo/keys; missing keys leave those
    /// out of the job).
    std::string keyFile{};
};

/// The panel. Made only by initWithCallback (through the factory).
class KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58 {
public:
    /// Panel creation: null when the PPD is not one the bundle serves, cannot
    /// be read, or has no version string; the dialog then shows no panel.
    static std::unique_ptr<KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58>
    initWithCallback(PDEHostCallback& callback, const platform::Bundle* bundle);
    ~KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58();
    KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58(const KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58&) =
        delete;
    KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58&
    operator=(const KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58&) = delete;

    // ---- the dialog's calls ----

    /// The localised title, looked up once.
    const std::string& panelName();
    std::string_view panelKind() const { return kPDEPanelKind; }
    /// The option keys the bundle claims (Info "PMPPDKeysSupported").
    std::vector<std::string> supportedPPDOptionKeys() const;
    /// Opens the bundle's help page (Resources/help/index.html) with
    /// kHelpOpener; whether that program started.
    bool shouldShowHelp();
    void willShow();
    /// Cancels the customize window and the address dialog when open.
    bool shouldHide();
    /// Both answer true; `error` stays empty (the parts report in the log).
    bool saveValuesAndReturnError(std::string& error);
    bool restoreValuesAndReturnError(std::string& error);
    /// Whether the job goes ahead (see docs/panel.md, "Printing").
    bool shouldPrint();
    /// No summary: always empty.
    std::vector<std::pair<std::string, std::string>> summaryInfo() const { return {}; }
    /// Nothing: changes made elsewhere are taken at the next restore.
    void PPDOptionKeyValueDidChange(std::string_view, std::string_view) {}
    /// The print info changed: the primary paper feed selects "*InputSlot".
    void printInfoDidChange();
    /// The destination's paper changed: the paper is read again and the
    /// pane redrawn.
    void updateDestinationSheet();

    // ---- for the controllers and the tool ----

    /// Writes everything the job needs: the injection file and every value
    /// into the print settings. Returns the file written, or nullopt.
    std::optional<std::filesystem::path> Sync();
    /// The Defaults button.
    void DefaultsButton();
    /// The Full Properties button: the helper's main window.
    void launchFullProperties();
    /// Applies the automation file named by the print settings (kAutomation-
    /// FileKey): {"settings": {"KEY": "VALUE", ...}} through the state
    /// controller. A file that is missing, no regular file, larger than
    /// kMaxAutomationFileBytes or not of that form is refused with a log
    /// line. Returns how many settings were applied.
    std::size_t loadAutomationFileAndLoadPrintSetting();

    UI_Panel* GetUI_PanelPtr() const { return mPanel.get(); }
    PDEData* GetPDEDataPtr() const { return mData.get(); }
    QJVPPD* Document() const { return mDocument.get(); }
    const platform::Bundle* pdeBundle() const { return mBundle; }
    const std::string& bundleVersion() const { return mBundleVersion; }
    /// The printer address in use (discovered, else the address list's).
    std::string currentIPAddress() const;
    /// The address as the panel shows it (shortened past kMaxShownAddress).
    const std::string& ShownAddress() const { return mShownAddress; }
    bool isCustomPageSize() const;
    std::string customPapername() const;
    const PrinterAddressDiscovery* Discovery() const { return mDiscovery.get(); }
    /// Seconds since the epoch when the panel was made; the dialog's clock
    /// is the platform's `now`.
    std::int64_t CreationTime() const { return mCreationTime; }
    void SetCreationTime(std::int64_t seconds) { mCreationTime = seconds; }
    /// The injection file the last Sync wrote.
    const std::optional<std::filesystem::path>& InjectionFile() const { return mInjectionFile; }
    /// How often Sync ran.
    int SyncCount() const { return mSyncCount; }

private:
    KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58(PDEHostCallback& callback, const platform::Bundle* bundle);
    void updateUI();
    void SelectPrimaryPaperFeed();
    std::string BundlePath() const;
    std::string BundleIdentifier() const;

    PDEHostCallback& mCallback;
    const platform::Bundle* mBundle;
    std::optional<std::string> mPanelName;
    std::string mBundleVersion;
    QJVPPDRef mDocument;
    std::unique_ptr<PDEData> mData;
    std::unique_ptr<UI_Panel> mPanel;
    std::unique_ptr<PrinterAddressDiscovery> mDiscovery;
    output::KeySet mKeys;
    bool mUsable = false;
    std::int64_t mCreationTime = 0;
    std::string mShownAddress;
    std::optional<std::filesystem::path> mInjectionFile;
    int mSyncCount = 0;
};

/// The factory the dialog instantiates.
class KelvoFeaturesPDEPlugIn5D660F6841314BE6AD6CD05E4C176E58 {
public:
    /// Keeps the bundle (borrowed; may be null: no helper, no printer list).
    explicit KelvoFeaturesPDEPlugIn5D660F6841314BE6AD6CD05E4C176E58(const platform::Bundle* bundle)
        : mBundle(bundle) {}
    static std::unique_ptr<KelvoFeaturesPDEPlugIn5D660F6841314BE6AD6CD05E4C176E58>
    initWithBundle(const platform::Bundle* bundle) {
        return std::make_unique<KelvoFeaturesPDEPlugIn5D660F6841314BE6AD6CD05E4C176E58>(bundle);
    }
    /// For kPDEPanelType one new panel (none when creation refused the
    /// printer); any other type gets nothing.
    std::vector<std::unique_ptr<KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58>>
    PDEPanelsForType(std::string_view type, PDEHostCallback& callback) const;

private:
    const platform::Bundle* mBundle;
};

using KelvoFeaturesPDE = KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58;
using KelvoFeaturesPDEPlugIn = KelvoFeaturesPDEPlugIn5D660F6841314BE6AD6CD05E4C176E58;

/// The live panel (for the controllers), or null.
extern KelvoFeaturesPDE* sKelvoFeaturesPDE;
/// The bundle version of the last panel made.
extern std::string sKelvoFeaturesPDEsaved;

} // namespace kelvo::panel
