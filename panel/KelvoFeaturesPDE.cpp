#include "panel/KelvoFeaturesPDE.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <strings.h>

#include <nlohmann/json.hpp>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "output/KeyFile.h"
#include "output/TempFiles.h"
#include "panel/PopupJobNotes.h"
#include "platform/Bundle.h"
#include "platform/Host.h"
#include "platform/ProcessLauncher.h"
#include "platform/StringsTable.h"
#include "store/PropertyListFile.h"
#include "util/FileDescriptor.h"
#include "util/Log.h"

namespace kelvo::panel {

KelvoFeaturesPDE* sKelvoFeaturesPDE = nullptr;
std::string sKelvoFeaturesPDEsaved;

namespace {

bool StartsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

/// UTF-8 (already checked by the JSON reader) as wide text.
std::wstring WideFromUTF8(std::string_view text) {
    std::wstring out;
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : 4;
        std::uint32_t code = length == 1 ? lead : length == 2 ? lead & 0x1Fu : length == 3 ? lead & 0x0Fu : lead & 0x07u;
        for (std::size_t k = 1; k < length && i + k < text.size(); ++k)
            code = (code << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
        out.push_back(static_cast<wchar_t>(code));
        i += length;
    }
    return out;
}

/// `text` cut to at most `limit` bytes at a character boundary, with "..."
/// in place of what was cut.
std::string Shortened(const std::string& text, std::size_t limit) {
    if (text.size() <= limit)
        return text;
    std::size_t end = limit - 3;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end) + "...";
}

/// Reads a whole regular file of at most `limit` bytes; nullopt (and the
/// reason) for anything else.
std::optional<std::string> ReadSmallRegularFile(const std::string& path, std::size_t limit, std::string& why) {
    // O_NONBLOCK: a FIFO put in the file's place must not hold the dialog.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        why = std::strerror(errno);
        return std::nullopt;
    }
    struct stat info {};
    std::string text;
    int error = ::fstat(fd, &info) != 0 ? errno : 0;
    if (error == 0 && !S_ISREG(info.st_mode))
        why = "not a regular file";
    else if (error == 0 && static_cast<std::uint64_t>(info.st_size) > limit)
        error = EFBIG;
    else if (error == 0)
        error = ReadAllUpTo(fd, limit, text); // the file may grow meanwhile
    ::close(fd);
    if (error == EFBIG)
        why = "larger than " + std::to_string(limit) + " bytes";
    else if (error != 0)
        why = std::strerror(error);
    if (!why.empty())
        return std::nullopt;
    return text;
}

} // namespace

// ---- the factory ----

std::vector<std::unique_ptr<KelvoFeaturesPDE>>
KelvoFeaturesPDEPlugIn::PDEPanelsForType(std::string_view type, PDEHostCallback& callback) const {
    std::vector<std::unique_ptr<KelvoFeaturesPDE>> panels;
    if (type != kPDEPanelType)
        return panels;
    if (std::unique_ptr<KelvoFeaturesPDE> panel = KelvoFeaturesPDE::initWithCallback(callback, mBundle))
        panels.push_back(std::move(panel));
    return panels;
}

// ---- creation ----

KelvoFeaturesPDE::KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58(PDEHostCallback& callback,
                                                                   const platform::Bundle* bundle)
    : mCallback(callback), mBundle(bundle) {}

std::unique_ptr<KelvoFeaturesPDE> KelvoFeaturesPDE::initWithCallback(PDEHostCallback& callback,
                                                                     const platform::Bundle* bundle) {
    // 1. A new dialog starts the popup job notes afresh.
    UseSystemDefaults(callback.platform);
    PopupJobNotes& popup = PopupJobNotes::Instance();
    popup.Reset();
    std::unique_ptr<KelvoFeaturesPDE> pde(new KelvoFeaturesPDE(callback, bundle));
    platform::Host& host = callback.host;
    const platform::PrinterInfo& printer = host.Printer();

    // 2. A printer found by service discovery moves: its address is asked for.
    UI_PanelState& panelState = UI_PanelState::Instance();
    panelState.gIsBonjourKelvo = false;
    if (StartsWith(printer.deviceURI, "dnssd") || StartsWith(printer.deviceURI, "mdns")) {
        pde->mDiscovery = callback.makeDiscovery ? callback.makeDiscovery(printer.deviceURI) : nullptr;
        if (!pde->mDiscovery)
            pde->mDiscovery = std::make_unique<NullPrinterAddressDiscovery>(printer.deviceURI);
        panelState.gIsBonjourKelvo = true;
    }

    // 3. Only the models the bundle's printer list names are served.
    std::optional<std::vector<std::string>> names;
    if (bundle)
        names = store::PrinterListFile(bundle->ResourcesPath()).Names();
    pde->mUsable = !printer.ppdPath.empty() && PPDX::ValidateFileName(printer.ppdPath, names);

    // 4. The document.
    if (pde->mUsable) {
        pde->mDocument.reset(
            new QJVPPD(printer.ppdPath, kParseAll, {}, PPDHostInfo{host.ApplicationID(), false}));
        pde->mUsable = pde->mDocument->IsValidPPD();
    }
    QJVPPD* document = pde->mDocument.get();

    // 5. The print settings carry the model's file name.
    if (document && document->PCFileName()) {
        const std::string pcFileName = document->PCFileName();
        const std::optional<platform::PropertyValue> stored = host.Settings().Get("PCFILENAME");
        const std::string storedText = stored && stored->IsString() ? std::string(stored->StringOr("")) : std::string();
        if (!stored || ::strcasecmp(storedText.c_str(), pcFileName.c_str()) != 0)
            host.Settings().Set("PCFILENAME", platform::PropertyValue(pcFileName));
    }

    // 6. No panel for a PPD not ours.
    if (!pde->mUsable || (!document->MakerQJVersion() && !document->QJVersionMac())) {
        Log("KelvoFeaturesPDE: no panel for " + printer.ppdPath +
            (pde->mUsable ? ": the PPD has no version string" : ": the PPD is not one this panel serves"));
        return nullptr;
    }

    // 7. The per-dialog data and the state controller.
    pde->mData = std::make_unique<PDEData>(document, printer.name, &host, callback.dataOptions);
    output::KeyFileError keyError;
    if (output::LoadKeys(callback.keyFile, pde->mKeys, keyError))
        pde->mData->SetKeys(&pde->mKeys);
    else
        Log("KelvoFeaturesPDE: " + keyError.Text() + ": encrypted job notes and user credentials are left out");
    pde->mBundleVersion = bundle ? bundle->Version() : std::string();
    sKelvoFeaturesPDEsaved = pde->mBundleVersion;
    sKelvoFeaturesPDE = pde.get();
    pde->mPanel = std::make_unique<UI_Panel>(pde->mData.get(), callback.platform, callback.views);
    if (callback.addressDialog)
        pde->mPanel->setsBonjourModuleController(callback.addressDialog);

    // 8. The dialog's notifications come as printInfoDidChange and
    // updateDestinationSheet calls.

    // 9. The user's own stale injection files go before the first new one.
    output::RemoveStaleInjectionFiles();
    std::string error;
    pde->restoreValuesAndReturnError(error);
    pde->Sync();

    // 10., 11.
    LogPopupJobNotesSetup(popup);
    popup.AdoptDocument(*document);
    pde->mCreationTime = callback.platform.now();
    return pde;
}

KelvoFeaturesPDE::~KelvoFeaturesPDE5D660F6841314BE6AD6CD05E4C176E58() {
    if (sKelvoFeaturesPDE == this)
        sKelvoFeaturesPDE = nullptr;
    // The controller before the data, the data (and its PPD copy) before the
    // document they borrow.
    mPanel.reset();
    mData.reset();
}

// ---- the dialog's calls ----

std::string KelvoFeaturesPDE::BundlePath() const { return mBundle ? mBundle->Path().string() : std::string(); }

std::string KelvoFeaturesPDE::BundleIdentifier() const {
    return mBundle && !mBundle->Identifier().empty() ? mBundle->Identifier() : std::string(kDefaultBundleIdentifier);
}

const std::string& KelvoFeaturesPDE::panelName() {
    if (!mPanelName)
        mPanelName = mCallback.platform.localizable.Lookup(kPanelTitleKey);
    return *mPanelName;
}

std::vector<std::string> KelvoFeaturesPDE::supportedPPDOptionKeys() const {
    return mBundle ? mBundle->SupportedKeys() : std::vector<std::string>();
}

bool KelvoFeaturesPDE::shouldShowHelp() {
    if (!mBundle)
        return false;
    const std::filesystem::path page = mBundle->ResourcesPath() / "help" / "index.html";
    std::error_code ec;
    if (!std::filesystem::is_regular_file(page, ec)) {
        Log("KelvoFeaturesPDE: no help page at " + page.string());
        return false;
    }
    pid_t pid = 0;
    if (const int error = mCallback.platform.launcher.Launch({kHelpOpener, page.string()}, pid); error != 0) {
        Log(std::string("KelvoFeaturesPDE: ") + kHelpOpener + " did not start: " + std::strerror(error));
        return false;
    }
    return true;
}

void KelvoFeaturesPDE::SelectPrimaryPaperFeed() {
    std::string feed;
    if (mData->GetPrimayPaperFeedFromOS(feed) && !feed.empty())
        mDocument->SetValueForKey("*InputSlot", feed);
}

void KelvoFeaturesPDE::willShow() {
    loadAutomationFileAndLoadPrintSetting();
    mPanel->GetOSPageSize();
    if (PPDXPopupControl* printSize = mDocument->GetControls()->FindPopup("*QJPrintSize", true)) {
        const long count = static_cast<long>(printSize->ItemCount());
        if (count > 0 && (printSize->GetValue() < 1 || printSize->GetValue() > count))
            printSize->SetValue(printSize->GetValue() < 1 ? 1 : count);
    }
    SelectPrimaryPaperFeed();
    mPanel->DrawUserPane();
    mPanel->Show();
    mShownAddress = Shortened(currentIPAddress(), kMaxShownAddress);
}

bool KelvoFeaturesPDE::shouldHide() {
    if (PanelSideWindows* windows = mCallback.sideWindows) {
        if (windows->IsCustomizeWindowOpen())
            windows->doButtonCancelClicked();
        if (windows->IsAddressDialogOpen())
            windows->clickedCancel();
    }
    return true;
}

bool KelvoFeaturesPDE::saveValuesAndReturnError(std::string& error) {
    error.clear();
    mData->SaveNonPSSettings();
    if (mData->isBIDIEnabled())
        mPanel->makeJobNotesForSpecialControls();
    Sync();
    return true;
}

bool KelvoFeaturesPDE::restoreValuesAndReturnError(std::string& error) {
    error.clear();
    const platform::PropertyDictionary settings = mCallback.host.Settings().CopyAsDictionary();
    if (mCallback.host.Printer().presets.empty())
        mPanel->ResetControlsToDefault();
    // The settings hold every control's value under its keyword.
    mPanel->ResetControlsToDefault();
    std::map<std::string, std::string> values;
    for (const auto& [key, value] : settings)
        if (!key.empty() && key[0] == '*' && value.IsString())
            values.emplace(key, std::string(value.StringOr("")));
    mDocument->SetAllValues(values);
    PopupJobNotes& popup = PopupJobNotes::Instance();
    if (!popup.gPopupJobNotesDoneInitializing || popup.gPopupJobNotesFoundOne)
        ReadPUJNPrefs(*mDocument, popup, BundlePath());

    if (mData->isBIDIEnabled())
        mPanel->makeJobNotesForSpecialControls();
    if (mPanel->GetTree().shortcutCount > 0) {
        mPanel->DrawUserPane();
        mData->RestoreNonPSSettings();
    } else {
        mPanel->ResetControlsToDefault();
    }
    updateUI();
    willShow();
    return true;
}

bool KelvoFeaturesPDE::shouldPrint() {
    PopupJobNotes& popup = PopupJobNotes::Instance();
    // Known since the first reset: without popup notes there is nothing to
    // ask and the settings were written by the last save.
    if (popup.gPopupJobNotesDoneInitializing && !popup.gPopupJobNotesFoundOne)
        return true;
    return PopupJobNotesShouldPrint(*mDocument, popup, mCallback.popupWindow, [this] { Sync(); }, BundlePath(),
                                    PopupJobNotesClock{mCreationTime, mCallback.platform.now()});
}

void KelvoFeaturesPDE::printInfoDidChange() { SelectPrimaryPaperFeed(); }

void KelvoFeaturesPDE::updateDestinationSheet() {
    mPanel->GetOSPageSize();
    mPanel->DrawUserPane();
}

// ---- the controllers' operations ----

std::optional<std::filesystem::path> KelvoFeaturesPDE::Sync() {
    ++mSyncCount;
    platform::PrintSettings& settings = mCallback.host.Settings();
    const std::string key = output::CreatePostscriptDataFileKey();
    output::PrintSettingsTicket settingsTicket(nullptr, &settings);
    output::QJVJobTicket ticket(&settingsTicket, &settings, key);
    mData->OutPostscriptData(ticket);
    ticket.SavePPDForAllKeys(mDocument.get(), BundleIdentifier());
    const std::optional<std::filesystem::path> previous = mInjectionFile;
    mInjectionFile = ticket.Save();
    // Only the newest file travels with the job (the print settings name
    // it); the one an earlier Sync wrote is ours and superseded.
    if (previous && previous != mInjectionFile) {
        std::error_code ec;
        std::filesystem::remove(*previous, ec);
    }
    return mInjectionFile;
}

void KelvoFeaturesPDE::DefaultsButton() { mPanel->ResetControlsToDefault(); }

void KelvoFeaturesPDE::launchFullProperties() { mPanel->LaunchJobProperties(kJPOpenMainUI); }

void KelvoFeaturesPDE::updateUI() { mPanel->DrawUserPane(); }

std::string KelvoFeaturesPDE::currentIPAddress() const {
    if (mDiscovery)
        if (std::string found = mDiscovery->CurrentAddress(); !found.empty())
            return found;
    return mData->PrinterAddress();
}

bool KelvoFeaturesPDE::isCustomPageSize() const { return mPanel->CustomSizeText().has_value(); }

std::string KelvoFeaturesPDE::customPapername() const { return mPanel->CustomPaperName().value_or(""); }

std::size_t KelvoFeaturesPDE::loadAutomationFileAndLoadPrintSetting() {
    const std::optional<platform::PropertyValue> named = mCallback.host.Settings().Get(kAutomationFileKey);
    if (!named || !named->IsString() || named->StringOr("").empty())
        return 0;
    const std::string path(named->StringOr(""));
    std::string why;
    const std::optional<std::string> text = ReadSmallRegularFile(path, kMaxAutomationFileBytes, why);
    if (!text) {
        Log("KelvoFeaturesPDE: automation file " + path + " not read: " + why);
        return 0;
    }
    const nlohmann::json root = nlohmann::json::parse(*text, nullptr, false);
    if (root.is_discarded() || !root.is_object() || !root.contains("settings") || !root["settings"].is_object()) {
        Log("KelvoFeaturesPDE: automation file " + path + " is not {\"settings\": {\"KEY\": \"VALUE\", ...}}");
        return 0;
    }
    SDMKeyValueList list;
    for (const auto& [key, value] : root["settings"].items()) {
        if (!value.is_string() || key.empty()) {
            Log("KelvoFeaturesPDE: automation file " + path + ": setting \"" + key + "\" skipped (no text value)");
            continue;
        }
        list.entries.push_back({WideFromUTF8(key), WideFromUTF8(value.get_ref<const std::string&>())});
    }
    mPanel->SetUpdatedSettings(list);
    return list.count();
}

} // namespace kelvo::panel
