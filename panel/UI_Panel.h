// The panel's state controller: the customize tree, the flat settings list, and the job-properties helper exchange.
//
// One UI_Panel exists per print dialog panel. It sits between the views
// (panel/PanelViews.h) and the document: it builds the tree the customize
// pane draws, reads the paper size and the account name from the host,
// flattens the whole panel state into a settings list and applies such a
// list back, and runs the full job-properties window, which is a program of
// its own (the helper), through one shared segment (panel/SharedMemoryList),
// a message port and a 100 Hz poll of the segment's status field.
//
// Everything the controller needs of the system comes in through
// UI_PanelPlatform, so tests run it over in-memory segments, a recording
// launcher and a poll loop, and the programs over the real ones. The
// exchange itself is described in docs/panel.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "panel/PanelViews.h"
#include "panel/SDMKeyValueList.h"
#include "panel/SharedMemoryList.h"
#include "panel/UI_PanelTree.h"
#include "platform/EventLoop.h"

class QJVPPD;

namespace kelvo::platform {
class Alerts;
class Bundle;
class EventLoop;
class MessagePorts;
class ProcessLauncher;
class SharedSegments;
class StringsTable;
} // namespace kelvo::platform

namespace kelvo::panel {

class PDEData;
class UI_Panel;

/// What the helper is asked to open.
enum JP_ACTIONS : int {
    kJPOpenMainUI = 1,
    kJPOpenChromaquaUI = 2,
    kJPOpenMixedMediaUI = 3,
};

/// The request text of an action ("jpOpenMainUI"...); empty for others.
std::string_view JPActionText(JP_ACTIONS action);

/// Seconds a helper start is waited for before the panel stops waiting
/// for it (unless a caller insists).
inline constexpr std::int64_t kHelperStartSeconds = 10;
/// Polls of 100 ms for a helper started with the panel before it is
/// started again.
inline constexpr int kHelperPortPolls = 401;
/// The poll interval of the helper's status, in seconds (100 Hz).
inline constexpr double kJPReturnPollSeconds = 0.01;

/// The system around the panel. Every reference must outlive the panel.
struct UI_PanelPlatform {
    platform::SharedSegments& segments;
    platform::MessagePorts& ports;
    platform::ProcessLauncher& launcher;
    platform::EventLoop& loop;
    platform::Alerts& alerts;
    /// The bundle's "Localizable" and "BidiStrings" tables.
    const platform::StringsTable& localizable;
    const platform::StringsTable& bidiStrings;
    /// The panel bundle; null: no helper is ever started (there is none).
    const platform::Bundle* bundle = nullptr;
    /// Seconds since the epoch.
    std::function<std::int64_t()> now{};
    /// Sleeps; tests advance their clock instead.
    std::function<void(std::chrono::milliseconds)> sleep{};
    /// Reachability of the printer's address: 0 when it answered
    /// (platform::SimplePing with two tries by default).
    std::function<int(std::string_view address)> ping{};
    /// The account name of the user printing (platform::CurrentLoginName).
    std::function<std::string()> loginName{};
    /// Where the helper's arguments file goes (TemporaryFolder()/KDArgs.txt).
    std::filesystem::path argsFile{};
};

/// Fills the unset functions and the arguments file of `platform` with the
/// real ones.
void UseSystemDefaults(UI_PanelPlatform& platform);

/// The views a panel talks to; any may be null (nothing is drawn then).
/// The address dialog comes later, through setsBonjourModuleController.
struct UI_PanelViews {
    CustomizePane* customize = nullptr;
    PanelButtons* buttons = nullptr;
};

/// The process-wide state of the panel. There is one print dialog panel
/// per process at a time, so this is one object (Instance()).
class UI_PanelState {
public:
    static UI_PanelState& Instance();
    UI_PanelState(const UI_PanelState&) = delete;
    UI_PanelState& operator=(const UI_PanelState&) = delete;

    /// The current document, taken from the per-dialog data.
    QJVPPD* mPPD = nullptr;
    /// The shared segment's id (-1: none); its decimal text names the
    /// helper's message port.
    int gSharedMemoryFileDescriptor = -1;
    /// The attached segment (owned by the panel), or null.
    platform::SharedSegment* sSharedList = nullptr;
    /// A helper start is in progress, and when it began (seconds since the
    /// epoch).
    bool sLoadingHelper = false;
    std::int64_t sLoadingTime = 0;
    /// The panel the helper's return goes to.
    UI_Panel* sUiPanelOnJPReturn = nullptr;
    /// Set while the helper's window is up.
    bool gIgnoreButtonEvents = false;
    /// The host's paper name last read (ASCII, at most 62 characters).
    std::string sSavedOSPageSize;
    /// The printer was found through service discovery (set by the panel's
    /// creation).
    bool gIsBonjourKelvo = false;

    /// The platform of the current panel, for the free functions.
    UI_PanelPlatform* platform = nullptr;
    /// The poll timer while one is armed, else 0.
    platform::TimerId pollTimer = 0;
    /// The segment was marked for removal once the helper was there.
    bool segmentMarkedForRemoval = false;

private:
    UI_PanelState() = default;
};

/// Whether the helper's message port exists. While a helper start is in
/// progress, or with `wait` while there is no port, waits in 1 s steps: a
/// start is given up after kHelperStartSeconds; with `wait` the wait ends
/// only when the port appears. Once the port exists, the shared segment is
/// marked for removal (both sides are attached by then).
bool CheckRemote(bool wait);
/// Marks the pending return (gIgnoreButtonEvents) and arms the poll timer.
void SetTimerCheckForJPReturn();
/// The poll timer's callback: collects ended helpers, re-arms while the
/// status field reads -1, else hands the return to the panel.
void TimerCheckForJPReturn(platform::TimerId timer, void* data);
/// The first shortcut node of the current panel's tree with `keyword`.
PPDTreeShortcut* GetShortcutFromKeyword(std::string_view keyword);

/// The panel's state controller (see the top of this file).
class UI_Panel {
public:
    using Tree = PPDTree;

    /// Builds the tree, reads the host's paper size, creates and fills the
    /// shared segment and starts the helper in the background. Without a
    /// segment the panel works, without the full job properties.
    UI_Panel(PDEData* data, UI_PanelPlatform& platform, UI_PanelViews views = {});
    /// Stops the poll, removes the overflow segment, and detaches the
    /// segment (marking it for removal if the helper never came).
    virtual ~UI_Panel();
    UI_Panel(const UI_Panel&) = delete;
    UI_Panel& operator=(const UI_Panel&) = delete;

    /// Puts the printer's address and bidirectional switch into the
    /// address dialog.
    void Show();

    /// The whole panel state as a settings list (docs/panel.md has the order).
    std::unique_ptr<SDMKeyValueList> GetDefaultSettings();
    /// Applies a list the helper returned (or saved automation settings).
    void SetUpdatedSettings(const SDMKeyValueList& list);

    /// The list conversions over this panel's segment (nothing without one).
    SegmentWriteResult Create_SharedMemoryList_From_SDMList(const SDMKeyValueList& list);
    std::unique_ptr<SDMKeyValueList> Create_SDMList_From_SharedMemoryList();
    /// Writes the watermarks into the segment (the printer's stored ones, or
    /// five from the "Watermark0".."Watermark4" strings); returns the count.
    std::size_t GetWatermarks();
    /// Takes the watermarks back from the segment; returns the count.
    std::size_t UpdateWatermarks();

    /// Opens the helper's window for `action` and starts the poll.
    void LaunchJobProperties(JP_ACTIONS action);
    /// Starts the helper in the background; false when it could not be
    /// started (no bundle, no segment, or the launch failed).
    bool LoadHelperModule();
    /// Handles the helper's return by the status field.
    void OnJPReturn();

    void ResetControlsToDefault();
    void PopulatePPDTreeStructure();
    /// True when the host's paper is no PPD size (then custom size text and
    /// paper name are kept).
    bool GetOSPageSize();
    void GetOSAccountName();
    /// Whether the current settings still match what the helper returned.
    bool compareJPServerPresets();
    void revertBackJPServerPresets();
    void makeJobNotesForSpecialControls();
    /// The document's version string names the third controller generation.
    bool isGlint3() const;

    int getReturnFromJP() const { return mReturnFromJP; }
    void setReturnFromJP(int value) { mReturnFromJP = value; }
    int getfromCustomizepanel() const { return mFromCustomizePanel; }
    void setfromCustomizepanel(int value) { mFromCustomizePanel = value; }
    void setsBonjourModuleController(PrinterAddressDialog* dialog) { mAddressDialog = dialog; }
    PrinterAddressDialog* GetsBonjourModuleController() const { return mAddressDialog; }
    void DrawUserPane();

    // ---- for the views and tests ----

    const Tree& GetTree() const { return mTree; }
    Tree& GetTree() { return mTree; }
    PDEData* Data() const { return mData; }
    /// The segment's id, -1 without one.
    int SegmentId() const { return mSegmentId; }
    /// A view over the segment, nullopt without one.
    std::optional<SharedMemoryList> Segment() const;
    bool HelperStartPending() const { return mHelperStartPending; }
    const std::optional<std::string>& CustomSizeText() const { return mCustomSizeText; }
    const std::optional<std::string>& CustomPaperName() const { return mCustomPaperName; }
    /// The list the helper returned last, or null.
    const SDMKeyValueList* JPReturnedList() const { return mJPReturnedSDMList.get(); }

private:
    bool Bidi() const;
    QJVPPD* Document() const;
    void SetButtons(bool on);
    void ShowInvalidAddressAlert();
    void WriteStoredAddress();

    PDEData* mData;
    UI_PanelPlatform& mPlatform;
    CustomizePane* mCustomize;
    PanelButtons* mButtons;
    PrinterAddressDialog* mAddressDialog = nullptr;
    int mReturnFromJP = 0;
    int mFromCustomizePanel = 0;
    std::unique_ptr<SDMKeyValueList> mJPReturnedSDMList;
    std::optional<std::string> mCustomSizeText;
    std::optional<std::string> mCustomPaperName;
    std::unique_ptr<platform::SharedSegment> mSegment;
    int mSegmentId = -1;
    bool mHelperStartPending = false;
    bool mShown = false;
    Tree mTree;
};

} // namespace kelvo::panel
