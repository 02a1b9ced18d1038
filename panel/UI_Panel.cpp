// The panel's state controller: tree, settings list, host paper and account, and the helper exchange.
#include "panel/UI_Panel.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <system_error>
#include <thread>

#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/PPDXGroups.h"
#include "PPDX/QJVPPD.h"
#include "output/TempFiles.h"
#include "panel/PDEData.h"
#include "panel/PopupJobNotes.h"
#include "platform/Alerts.h"
#include "platform/Bundle.h"
#include "platform/EventLoop.h"
#include "platform/Host.h"
#include "platform/MessagePort.h"
#include "platform/ProcessLauncher.h"
#include "platform/SharedSegment.h"
#include "platform/SimplePing.h"
#include "platform/StringsTable.h"
#include "util/CaseFold.h"
#include "util/Log.h"
#include "util/Utf8Cut.h"

namespace kelvo::panel {

namespace {

using platform::PropertyValue;

constexpr std::string_view kInstallableGroup = "QJPPInstallableOptions";
constexpr std::string_view kScrollPaneGroup = "QJScrollPane";
constexpr const char* kJobNotesGroup = "FPQJNotes";
/// Job notes that carry the colour set-up the helper chose.
constexpr std::array<const char*, 3> kSpecialNotes = {"*QJOutProfile", "*QJSimulation", "*QJRGBOverride"};
/// Job notes of the preset the helper applied.
constexpr std::array<const char*, 3> kPresetNotes = {"*PresetName", "*PresetType", "*PresetTimestampModified"};
/// Keys of the range (mixed media) list.
constexpr std::array<std::string_view, 5> kRangePrefixes = {"*RangeProp", "*RangeNum", "*Chapters",
                                                            "*SubsetFinishing", "*MM_A"};
/// Longest value text of a setting, and of a key with its "*", in bytes.
constexpr std::size_t kMaxValueBytes = 1023;
constexpr std::size_t kMaxKeyBytes = 64;
/// Longest text of a job note made for the helper's colour choice.
constexpr std::size_t kMaxSpecialNoteChars = 700;
/// Longest printer address written to the segment, in bytes.
constexpr std::size_t kMaxAddressBytes = 255;
/// Longest kept host paper name.
constexpr std::size_t kMaxSavedPageSize = 62;
/// Highest watermark number; higher ones select the last slot.
constexpr long kMaxWatermarkNumber = 20;

/// The host's paper-info ticket and its entries.
constexpr std::string_view kPaperInfoTicketKey = "com.apple.print.subTicket.paper_info_ticket";
constexpr std::string_view kPaperNameKey = "com.apple.print.PaperInfo.ppd.PMPaperName";
constexpr std::string_view kUnadjustedPaperRectKey = "com.apple.print.PaperInfo.PMUnadjustedPaperRect";

UI_PanelState& State() { return UI_PanelState::Instance(); }

/// UTF-8 to wide text; a byte that starts no valid sequence becomes U+FFFD.
std::wstring Wide(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        std::uint32_t code = 0;
        if (lead < 0x80) {
            length = 1;
            code = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2;
            code = lead & 0x1F;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
            code = lead & 0x0F;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
            code = lead & 0x07;
        }
        bool valid = length != 0 && i + length <= text.size();
        for (std::size_t k = 1; valid && k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            valid = (next & 0xC0) == 0x80;
            code = (code << 6) | (next & 0x3F);
        }
        static constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (valid && (code < kSmallest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)))
            valid = false;
        if (!valid) {
            out.push_back(static_cast<wchar_t>(0xFFFD));
            ++i;
            continue;
        }
        out.push_back(static_cast<wchar_t>(code));
        i += length;
    }
    return out;
}

/// Wide text to UTF-8; a unit that is no character becomes U+FFFD.
std::string Narrow(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t unit : text) {
        auto code = static_cast<std::uint32_t>(unit);
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            code = 0xFFFD;
        if (code < 0x80) {
            out.push_back(static_cast<char>(code));
        } else if (code < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (code >> 6)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else if (code < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (code >> 12)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (code >> 18)));
            out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        }
    }
    return out;
}

void Add(SDMKeyValueList& list, std::string_view key, std::string_view value) {
    list.entries.push_back({Wide(key), Wide(CutUTF8(value, kMaxValueBytes))});
}

bool StartsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

/// The group keyword of a control's parent, empty when it has none.
std::string_view ParentKeyword(const PPDXControl& control) {
    const PPDXElement* parent = control.GetParent();
    return parent && parent->Keyword() ? std::string_view(parent->Keyword()) : std::string_view();
}

/// The document's version string without the quotes a PPD may put around it.
std::string VersionString(const QJVPPD& document) {
    std::string_view text = document.MakerQJVersion() ? document.MakerQJVersion() : "";
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.front() == '"'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '"'))
        text.remove_suffix(1);
    return std::string(text);
}

/// A whole number from a text the helper wrote: the digits after an
/// optional "-", nullopt for anything else or a number out of range.
std::optional<long> ParseNumber(std::string_view text) {
    long value = 0;
    bool negative = !text.empty() && text.front() == '-';
    if (negative)
        text.remove_prefix(1);
    if (text.empty() || text.size() > 9)
        return std::nullopt;
    for (char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return negative ? -value : value;
}

/// The job note of `keyword`, made in the notes group when the document has
/// none (the helper's colour and preset choices travel as notes).
PPDXJobNote* EnsureJobNote(QJVPPD& document, const char* keyword) {
    PPDXControls* controls = document.GetControls();
    if (!controls)
        return nullptr;
    if (PPDXJobNote* note = controls->FindJobNote(keyword, true))
        return note;
    PPDXGroup* group = document.GetGroups() ? document.GetGroups()->Find(kJobNotesGroup, true) : nullptr;
    if (!group)
        group = document.FindAndCreateParent(kJobNotesGroup);
    if (!group && document.GetGroups()) {
        // Not declared by this PPD: a plain visible group, as the reader
        // makes for notes that name no group.
        auto made = std::make_unique<PPDXGroup>(kJobNotesGroup, std::string(kJobNotesGroup) + " ", true);
        group = made.get();
        document.GetGroups()->Add(std::move(made));
    }
    auto note = std::make_unique<PPDXJobNote>(keyword, std::string(keyword + 1), FlagList{}, PSBytes{}, std::nullopt,
                                              true, static_cast<long>(kMaxSpecialNoteChars), kJNUTF8, 0,
                                              document.GetUIConstraints());
    note->SetParent(group);
    PPDXJobNote* raw = note.get();
    controls->Add(std::move(note));
    return raw;
}

/// Makes sure the popup of `keyword` (if any) holds `value` as a choice,
/// and selects it. The helper may name a profile the PPD does not list; a
/// choice already there is reused, so returns do not pile up copies.
void SelectOrAppendChoice(QJVPPD& document, const char* keyword, const std::string& value) {
    PPDXPopupControl* popup = document.GetControls() ? document.GetControls()->FindPopup(keyword, true) : nullptr;
    if (!popup || value.empty())
        return;
    if (!popup->SetKeywordSelect(value.c_str(), true)) {
        popup->AppendPopupItem(std::make_unique<_PopupItem>(value.c_str(), value, PSBytes{}));
        popup->SetKeywordSelect(value.c_str(), true);
    }
}

/// Creates `path` as a private file holding `text`. A leftover of our own
/// (a regular file we own, from an earlier dialog) is replaced; a file or
/// link of anybody else's is left alone.
int WritePrivateFile(const std::filesystem::path& path, std::string_view text) {
    int error = output::CreatePrivateFile(path, text);
    if (error != EEXIST)
        return error;
    struct stat st {};
    if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != geteuid())
        return EEXIST;
    if (unlink(path.c_str()) != 0)
        return errno;
    return output::CreatePrivateFile(path, text);
}

void MarkSegmentOnceAttached(UI_PanelState& state) {
    // The helper attaches the segment before it opens its port, so both
    // sides are attached now: marked, the segment cannot outlive a crash.
    if (state.segmentMarkedForRemoval || state.gSharedMemoryFileDescriptor < 0 || !state.platform)
        return;
    state.segmentMarkedForRemoval = true;
    if (!state.platform->segments.Remove(state.gSharedMemoryFileDescriptor))
        Log("UI_Panel: the shared segment " + std::to_string(state.gSharedMemoryFileDescriptor) +
            " could not be marked for removal");
}

void ArmPollTimer(UI_PanelState& state) {
    state.pollTimer = state.platform->loop.InstallTimer(kJPReturnPollSeconds, [] {
        UI_PanelState& now = State();
        TimerCheckForJPReturn(now.pollTimer, nullptr);
    });
}

} // namespace

std::string_view JPActionText(JP_ACTIONS action) {
    switch (action) {
    case kJPOpenMainUI:
        return "jpOpenMainUI";
    case kJPOpenChromaquaUI:
        return "jpOpenChromaquaUI";
    case kJPOpenMixedMediaUI:
        return "jpOpenMixedMediaUI";
    }
    return {};
}

void UseSystemDefaults(UI_PanelPlatform& platform) {
    if (!platform.now)
        platform.now = [] { return static_cast<std::int64_t>(std::time(nullptr)); };
    if (!platform.sleep)
        platform.sleep = [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); };
    if (!platform.ping)
        platform.ping = [](std::string_view address) {
            return platform::SimplePing(address, 2, std::chrono::milliseconds(1000));
        };
    if (!platform.loginName)
        platform.loginName = [] { return platform::CurrentLoginName(); };
    if (platform.argsFile.empty())
        platform.argsFile = output::TemporaryFolder() / "KDArgs.txt";
}

UI_PanelState& UI_PanelState::Instance() {
    static UI_PanelState state;
    return state;
}

// ---- free functions of the exchange ----

bool CheckRemote(bool wait) {
    UI_PanelState& state = State();
    if (!state.platform || state.gSharedMemoryFileDescriptor < 0) {
        state.sLoadingHelper = false;
        return false;
    }
    UI_PanelPlatform& platform = *state.platform;
    const std::string name = platform::MessagePortName(state.gSharedMemoryFileDescriptor);
    bool exists = platform.ports.PortExists(name);
    while (!exists && (state.sLoadingHelper || wait)) {
        platform.sleep(std::chrono::seconds(1));
        exists = platform.ports.PortExists(name);
        if (exists || platform.now() - state.sLoadingTime > kHelperStartSeconds)
            state.sLoadingHelper = false;
    }
    state.sLoadingHelper = false;
    if (exists)
        MarkSegmentOnceAttached(state);
    return exists;
}

void SetTimerCheckForJPReturn() {
    UI_PanelState& state = State();
    state.gIgnoreButtonEvents = true;
    if (!state.platform)
        return;
    if (state.pollTimer)
        state.platform->loop.RemoveTimer(state.pollTimer);
    ArmPollTimer(state);
}

void TimerCheckForJPReturn(platform::TimerId timer, void*) {
    UI_PanelState& state = State();
    if (!state.platform)
        return;
    state.platform->loop.RemoveTimer(timer);
    state.pollTimer = 0;
    state.platform->launcher.Reap();
    UI_Panel* panel = state.sUiPanelOnJPReturn;
    const std::optional<SharedMemoryList> segment = panel ? panel->Segment() : std::nullopt;
    if (segment && segment->Status() == -1) {
        ArmPollTimer(state);
        return;
    }
    state.gIgnoreButtonEvents = false;
    if (panel)
        panel->OnJPReturn();
}

PPDTreeShortcut* GetShortcutFromKeyword(std::string_view keyword) {
    UI_Panel* panel = State().sUiPanelOnJPReturn;
    return panel ? panel->GetTree().FindShortcut(keyword) : nullptr;
}

// ---- the panel ----

UI_Panel::UI_Panel(PDEData* data, UI_PanelPlatform& platform, UI_PanelViews views)
    : mData(data), mPlatform(platform), mCustomize(views.customize), mButtons(views.buttons) {
    UseSystemDefaults(mPlatform);
    UI_PanelState& state = State();
    state.platform = &mPlatform;
    state.mPPD = Document();
    state.sLoadingHelper = false;
    state.segmentMarkedForRemoval = false;

    PopulatePPDTreeStructure();
    if (!GetOSPageSize()) {
        if (mData)
            mData->SetUsesOSPageSize(false);
        if (QJVPPD* document = Document(); document && document->GetControls())
            if (PPDXPopupControl* printSize = document->GetControls()->FindPopup("*QJPrintSize", true))
                printSize->SetValue(1);
    }
    if (mData)
        mData->Watermarks().clear();
    state.sUiPanelOnJPReturn = this;

    int error = 0;
    mSegment = mPlatform.segments.Create(kSharedMemoryListSize, error);
    std::optional<SharedMemoryList> segment = mSegment ? SharedMemoryList::Over(mSegment->Bytes()) : std::nullopt;
    if (!segment) {
        Log("UI_Panel: no shared segment (" + std::string(error ? std::strerror(error) : "wrong size") +
            "); the full job properties are not available");
        mSegment.reset();
        return;
    }
    mSegmentId = mSegment->Id();
    state.gSharedMemoryFileDescriptor = mSegmentId;
    segment->Clear();
    state.sSharedList = mSegment.get();

    if (mData) {
        if (mData->PrinterAddress().empty())
            mData->SetTessaryPrinterAddress("", mAddressDialog && mAddressDialog->isBIDIEnabled());
        WriteStoredAddress();
    }
    GetWatermarks();
    std::unique_ptr<SDMKeyValueList> list = GetDefaultSettings();
    Create_SharedMemoryList_From_SDMList(*list);
    if (mData && mData->HasPPDCopy())
        segment->SetPPDCopyPath(mData->PPDCopyPath().string());

    mHelperStartPending = true;
    LoadHelperModule();
}

UI_Panel::~UI_Panel() {
    UI_PanelState& state = State();
    const bool current = state.sUiPanelOnJPReturn == this;
    if (current && state.pollTimer) {
        mPlatform.loop.RemoveTimer(state.pollTimer);
        state.pollTimer = 0;
        state.gIgnoreButtonEvents = false;
    }
    if (mSegment) {
        if (std::optional<SharedMemoryList> segment = Segment())
            RemoveOverflowSegment(*segment, mPlatform.segments, mSegmentId);
        // A helper that never came leaves the segment unmarked: nobody else
        // will remove it.
        if (!(current && state.segmentMarkedForRemoval))
            mPlatform.segments.Remove(mSegmentId);
        mSegment.reset();
    }
    if (current) {
        state.sUiPanelOnJPReturn = nullptr;
        state.sSharedList = nullptr;
        state.gSharedMemoryFileDescriptor = -1;
        state.segmentMarkedForRemoval = false;
        state.sLoadingHelper = false;
        state.mPPD = nullptr;
        state.platform = nullptr;
    }
}

QJVPPD* UI_Panel::Document() const { return mData ? mData->Document() : nullptr; }

bool UI_Panel::Bidi() const { return mData && mData->isBIDIEnabled(); }

std::optional<SharedMemoryList> UI_Panel::Segment() const {
    return mSegment ? SharedMemoryList::Over(mSegment->Bytes()) : std::nullopt;
}

void UI_Panel::WriteStoredAddress() {
    std::optional<SharedMemoryList> segment = Segment();
    if (!segment || !mData)
        return;
    segment->SetBidiFlag(mData->PrinterBidiFlag());
    if (mData->PrinterBidiFlag())
        segment->SetPrinterAddress(CutUTF8(mData->PrinterAddress(), kMaxAddressBytes));
}

void UI_Panel::Show() {
    if (!mAddressDialog || !mData)
        return;
    mAddressDialog->setprinterIPField(mData->PrinterAddress());
    mAddressDialog->setBIDIStatusON(mShown ? mData->PrinterBidiFlag() : State().gIsBonjourKelvo);
    mShown = true;
}

void UI_Panel::DrawUserPane() {
    if (mCustomize)
        mCustomize->drawControlsInTree();
}

void UI_Panel::SetButtons(bool on) {
    if (!mButtons)
        return;
    mButtons->setFullPropertiesButtonStatusON(on);
    mButtons->setDefaultsButtonStatusON(on);
    mButtons->setCustomizeQuickAccessButtonButtonStatusON(on);
}

// ---- the settings list ----

std::unique_ptr<SDMKeyValueList> UI_Panel::GetDefaultSettings() {
    auto list = std::make_unique<SDMKeyValueList>();
    QJVPPD* document = Document();
    if (!document || !mData || !document->GetControls())
        return list;
    PPDXControls& controls = *document->GetControls();
    const bool bidi = Bidi();
    const bool customSize = mData->UsesOSPageSize() && mCustomSizeText.has_value();
    const bool hasOrientation = controls.FindAny("*QJOrientation") != nullptr;
    list->entries.reserve(controls.All().size() + mData->MixedMedia().size() + mData->PadCovers().size() +
                          (hasOrientation ? 0 : 1) + 8 + (customSize ? 1 : 0));
    std::optional<SharedMemoryList> segment = Segment();
    if (segment)
        segment->ClearInstallablePositions();

    CNTL_TYPE type = kControlTypeNone;
    for (PPDXControl* control = controls.First(type); control; control = controls.Next(type)) {
        if (!control->Keyword() || !control->Keyword()[0])
            continue;
        const std::string_view keyword = control->Keyword();
        if (bidi && PDEData::isSpecialChromaquaControl(keyword))
            continue;
        if (keyword == "*CustomPrintSize" || (keyword == "*PageSize" && customSize))
            continue;
        if (bidi && type == kControlTypePopup && control->IsDynamic()) {
            auto* popup = static_cast<PPDXPopupControl*>(control);
            if (popup->GetValue() == popup->DefaultValue())
                continue;
        }
        if (segment && ParentKeyword(*control) == kInstallableGroup)
            segment->AppendInstallablePosition(static_cast<long>(list->entries.size()));
        Add(*list, keyword.substr(keyword.front() == '*' ? 1 : 0), control->CopyCurrentControlValueString());
    }

    if (PPDXControl* customPrintSize = controls.FindAny("*CustomPrintSize")) {
        PPDXControl* printSize = controls.FindAny("*QJPrintSize");
        const bool notCustom =
            printSize && !EqualsIgnoringCaseUTF8(printSize->CopyCurrentControlValueString(), "CustomPrintSize");
        Add(*list, "CustomPrintSize", notCustom ? "False" : customPrintSize->CopyCurrentControlValueString());
    }
    if (customSize) {
        Add(*list, "PageSize", "Custom");
        Add(*list, "CustomPageSize", *mCustomSizeText);
    }
    if (bidi)
        for (const char* keyword : kSpecialNotes)
            if (PPDXJobNote* note = controls.FindJobNote(keyword, true))
                Add(*list, keyword + 1, note->CopyNotes());

    const int selected = mData->SelectedWatermark();
    Add(*list, "*QJ_WATERMARK", std::to_string(selected + 1));
    bool firstPageOnly = false;
    if (selected >= 0 && static_cast<std::size_t>(selected) < mData->Watermarks().size()) {
        output::QJVWatermark& watermark = mData->Watermarks()[static_cast<std::size_t>(selected)];
        std::optional<long long> stored;
        if (mData->Host())
            stored = platform::NumberSetting(mData->Host()->Settings(), kWatermarkFirstPageKey);
        if (stored) {
            firstPageOnly = *stored == 1;
            watermark.SetFirstPageOnly(firstPageOnly ? "True" : "False");
        } else {
            firstPageOnly = watermark.FirstPageOnly();
        }
    }
    Add(*list, "*QJ_WATERMARK_FIRSTPAGEONLY", firstPageOnly ? "True" : "False");

    for (const KeyValuePair& pair : mData->MixedMedia())
        Add(*list, pair.first, pair.second);
    for (const KeyValuePair& pair : mData->PadCovers())
        Add(*list, pair.first, pair.second);

    const std::string copies = std::to_string(std::clamp(mData->GetNumCopiesFromOS(), 1, 9999));
    Add(*list, "*QJ_COPIES", copies);
    Add(*list, "num copies", copies);
    if (!hasOrientation) {
        const int orientation = mData->GetPageOrientationFromOS();
        Add(*list, "*QJOrientation", orientation == 1 || orientation == 3 ? "Portrait" : "Landscape");
    }
    for (const KeyValuePair& pair : mData->PaperCatalog())
        Add(*list, pair.first, pair.second);
    return list;
}

void UI_Panel::SetUpdatedSettings(const SDMKeyValueList& list) {
    QJVPPD* document = Document();
    if (!document || !mData || !document->GetControls())
        return;
    PPDXControls& controls = *document->GetControls();
    const bool bidi = Bidi();
    mData->ClearMixedMedia();
    mData->ClearPadCovers();
    for (std::size_t i = 0; i < mData->PaperCatalog().size(); ++i)
        mData->SetPaperCatalogValue(i, std::string(kPaperCatalogUnset));

    for (const SDMKeyValue& entry : list.entries) {
        // Control keys come without their "*"; the pseudo-keys keep it.
        std::string key = Narrow(entry.key);
        if (key.empty() || key.front() != '*')
            key.insert(key.begin(), '*');
        key = std::string(CutUTF8(key, kMaxKeyBytes));
        const std::string value(CutUTF8(Narrow(entry.value), kMaxValueBytes));
        PPDXControl* control = controls.FindAny(key.c_str());

        if (key == "*QJ_WATERMARK_FIRSTPAGEONLY") {
            const int selected = mData->SelectedWatermark();
            if (selected >= 0 && static_cast<std::size_t>(selected) < mData->Watermarks().size())
                mData->Watermarks()[static_cast<std::size_t>(selected)].SetFirstPageOnly(value);
        } else if (key == "*QJ_WATERMARK") {
            const long number = ParseNumber(value).value_or(0);
            const long index = number <= 0 ? -1 : std::min(number, kMaxWatermarkNumber) - 1;
            if (!mData->SelectWatermark(static_cast<int>(index))) {
                Log("UI_Panel: watermark " + value + " is not in the list; none selected");
                mData->SelectWatermark(-1);
            }
        } else if (key == "*QJ_COPIES") {
            if (mData->Host())
                if (std::optional<long> copies = ParseNumber(value); copies && *copies > 0)
                    mData->Host()->Settings().Set(kCopiesKey, PropertyValue(static_cast<std::int64_t>(*copies)));
        } else if (std::any_of(kRangePrefixes.begin(), kRangePrefixes.end(),
                               [&](std::string_view prefix) { return StartsWith(key, prefix); })) {
            if (!mData->AddMixedMedia(key, value))
                Log("UI_Panel: range list full; " + key + " dropped");
        } else if (StartsWith(key, "*PadCover")) {
            if (!mData->AddPadCover(key, value))
                Log("UI_Panel: pad-cover list full; " + key + " dropped");
        } else if (auto at = std::find(kPaperCatalogKeywords.begin(), kPaperCatalogKeywords.end(), key);
                   at != kPaperCatalogKeywords.end()) {
            mData->SetPaperCatalogValue(static_cast<std::size_t>(at - kPaperCatalogKeywords.begin()), value);
            if (mData->Host())
                mData->Host()->Settings().Set(key, PropertyValue(value));
        } else if (bidi && PDEData::isSpecialChromaquaControl(key)) {
            const std::string text = Narrow(Wide(value).substr(0, kMaxSpecialNoteChars));
            if (PPDXJobNote* note = EnsureJobNote(*document, key.c_str()))
                note->SetCurrentControlWithCFString(text);
            if (std::find_if(kSpecialNotes.begin(), kSpecialNotes.end(),
                             [&](const char* k) { return key == k; }) != kSpecialNotes.end())
                SelectOrAppendChoice(*document, key.c_str(), text);
        } else if (bidi && std::find_if(kPresetNotes.begin(), kPresetNotes.end(),
                                        [&](const char* k) { return key == k; }) != kPresetNotes.end()) {
            if (PPDXJobNote* note = EnsureJobNote(*document, key.c_str()))
                note->SetCurrentControlWithCFString(value);
        } else if (control) {
            control->SetCurrentControlWithCFString(value);
        }
    }
    DrawUserPane();
}

SegmentWriteResult UI_Panel::Create_SharedMemoryList_From_SDMList(const SDMKeyValueList& list) {
    std::optional<SharedMemoryList> segment = Segment();
    if (!segment)
        return {};
    return panel::Create_SharedMemoryList_From_SDMList(*segment, list, mPlatform.segments, mSegmentId);
}

std::unique_ptr<SDMKeyValueList> UI_Panel::Create_SDMList_From_SharedMemoryList() {
    std::optional<SharedMemoryList> segment = Segment();
    if (!segment)
        return std::make_unique<SDMKeyValueList>();
    return panel::Create_SDMList_From_SharedMemoryList(*segment, mPlatform.segments);
}

std::size_t UI_Panel::GetWatermarks() {
    if (!mData)
        return 0;
    if (!mData->GetWatermarksFromPreferences() || mData->Watermarks().empty()) {
        mData->Watermarks().clear();
        for (int i = 0; i < 5; ++i)
            mData->Watermarks().emplace_back(mPlatform.localizable.Lookup("Watermark" + std::to_string(i)));
        if (mData->SelectedWatermark() >= static_cast<int>(mData->Watermarks().size()))
            mData->SelectWatermark(-1);
    }
    std::optional<SharedMemoryList> segment = Segment();
    if (!segment)
        return mData->Watermarks().size();
    std::vector<std::string> definitions;
    for (const output::QJVWatermark& watermark : mData->Watermarks())
        definitions.push_back(watermark.Definition());
    return segment->SetWatermarks(definitions);
}

std::size_t UI_Panel::UpdateWatermarks() {
    std::optional<SharedMemoryList> segment = Segment();
    if (!segment || !mData)
        return 0;
    const std::vector<std::string> definitions = segment->Watermarks();
    mData->Watermarks().clear();
    for (const std::string& definition : definitions)
        mData->Watermarks().emplace_back(definition);
    if (mData->SelectedWatermark() >= static_cast<int>(definitions.size()))
        mData->SelectWatermark(-1);
    return definitions.size();
}

// ---- the helper ----

bool UI_Panel::LoadHelperModule() {
    UI_PanelState& state = State();
    state.sLoadingHelper = true;
    state.sLoadingTime = mPlatform.now();
    std::optional<SharedMemoryList> segment = Segment();
    if (!mPlatform.bundle || !segment) {
        // Nothing is starting, so nobody should wait for it.
        state.sLoadingHelper = false;
        if (!mPlatform.bundle)
            Log("UI_Panel: no panel bundle; the job-properties helper is not started");
        return false;
    }
    const platform::HelperVersion version =
        platform::HelperVersionFor(Document() ? VersionString(*Document()) : std::string());
    segment->SetBundleNameFromPath(mPlatform.bundle->Path().string());
    segment->SetBundleVersion(mPlatform.bundle->Version());

    const std::vector<std::string> arguments = {mPlatform.bundle->HelperPath(version.text), std::to_string(mSegmentId),
                                                std::to_string(version.minor)};
    pid_t pid = 0;
    if (const int error = mPlatform.launcher.Launch(arguments, pid); error != 0) {
        Log("UI_Panel: the job-properties helper " + arguments[0] + " did not start: " + std::strerror(error));
        state.sLoadingHelper = false;
        return false;
    }
    if (const int error = WritePrivateFile(mPlatform.argsFile, std::to_string(mSegmentId) + "\n"); error != 0)
        Log("UI_Panel: " + mPlatform.argsFile.string() + " not written: " + std::strerror(error));
    return true;
}

void UI_Panel::ShowInvalidAddressAlert() {
    mPlatform.alerts.ShowAlert(mPlatform.bidiStrings.Lookup("INVALID_IP_ADDRESS"), "OK",
                               mPlatform.bidiStrings.Lookup("PRESS_OKAY"));
}

void UI_Panel::LaunchJobProperties(JP_ACTIONS action) {
    UI_PanelState& state = State();
    std::optional<SharedMemoryList> segment = Segment();
    if (!segment || !mPlatform.bundle) {
        Log("UI_Panel: no shared segment or no panel bundle; the full job properties cannot open");
        return;
    }
    if (state.pollTimer) {
        Log("UI_Panel: the job-properties window is already open");
        return;
    }
    const std::string_view request = JPActionText(action);
    if (request.empty()) {
        Log("UI_Panel: unknown job-properties action " + std::to_string(static_cast<int>(action)));
        return;
    }
    std::unique_ptr<SDMKeyValueList> list = GetDefaultSettings();
    GetWatermarks();

    bool started = true;
    if (!CheckRemote(false)) {
        if (mHelperStartPending) {
            bool found = false;
            for (int poll = 0; poll < kHelperPortPolls && !found; ++poll) {
                mPlatform.sleep(std::chrono::milliseconds(100));
                found = CheckRemote(false);
            }
            if (!found) {
                started = LoadHelperModule();
                if (started && !mHelperStartPending)
                    started = LoadHelperModule();
            }
        } else {
            started = LoadHelperModule();
        }
    }
    // The wait below ends only when the helper's port appears: a helper
    // that could not even be started would hold the dialog for ever.
    if (!started && !CheckRemote(false)) {
        Log("UI_Panel: the job-properties helper could not be started; the window does not open");
        return;
    }
    CheckRemote(true);

    if (mData && mData->HasPPDCopy())
        segment->SetPPDCopyPath(mData->PPDCopyPath().string());
    if (mAddressDialog && mAddressDialog->isBIDIEnabled()) {
        const std::string address = mAddressDialog->getprinterIPField();
        if (mPlatform.ping(address) != platform::kPingReplied) {
            ShowInvalidAddressAlert();
            return;
        }
        segment->SetBidiFlag(true);
        segment->SetPrinterAddress(CutUTF8(address, kMaxAddressBytes));
    } else {
        segment->SetBidiFlag(false);
    }

    SetButtons(false);
    if (mCustomize)
        mCustomize->greyoutShortcutControls(true);
    if (mAddressDialog) {
        mAddressDialog->greyoutConfigureButton(false);
        mAddressDialog->greyoutBIDICheckbox(false);
    }
    Create_SharedMemoryList_From_SDMList(*list);
    list.reset();

    // The hand-over mark goes in before the request: a helper that answers
    // at once must not have its status overwritten.
    segment->SetStatus(-1);
    const int error = mPlatform.ports.SendToPort(platform::MessagePortName(mSegmentId), request);
    if (error != 0) {
        // Nobody will answer: let the poll's first turn hand the panel back.
        Log("UI_Panel: request " + std::string(request) + " not sent: " + std::strerror(error));
        segment->SetStatus(1);
    }
    SetTimerCheckForJPReturn();
}

void UI_Panel::OnJPReturn() {
    mHelperStartPending = false;
    mReturnFromJP = 1;
    if (mButtons)
        mButtons->bringDialogForward();
    SetButtons(true);
    if (mCustomize)
        mCustomize->greyoutShortcutControls(false);
    const bool bidi = Bidi();
    if (mAddressDialog) {
        if (bidi)
            mAddressDialog->greyoutConfigureButton(true);
        mAddressDialog->greyoutBIDICheckbox(true);
    }
    std::optional<SharedMemoryList> segment = Segment();
    const std::optional<long> status = segment ? segment->Status() : std::nullopt;
    if (status == 0) {
        std::unique_ptr<SDMKeyValueList> list = Create_SDMList_From_SharedMemoryList();
        UpdateWatermarks();
        SetUpdatedSettings(*list);
        if (mData)
            mData->SaveWatermarksToPreferences();
        // Kept, not freed: the preset comparison looks at it later.
        mJPReturnedSDMList = std::move(list);
    } else if (status == 1) {
        DrawUserPane();
    } else if (status == -1) {
        // The window is still open: nothing came back.
    } else if (bidi) {
        ShowInvalidAddressAlert();
    }
}

// ---- controls ----

void UI_Panel::ResetControlsToDefault() {
    QJVPPD* document = Document();
    if (!document || !document->GetControls())
        return;
    PPDXControls& controls = *document->GetControls();
    for (const char* keyword : kSpecialNotes) {
        PPDXJobNote* note = controls.FindJobNote(keyword, true);
        if (!note)
            continue;
        if (PPDXPopupControl* popup = controls.FindPopup(keyword, true)) {
            popup->ResetToDefaultValue();
            note->SetCurrentControlWithCFString(popup->CopyCurrentControlValueString());
        }
    }
    for (const char* keyword : kPresetNotes)
        if (PPDXJobNote* note = controls.FindJobNote(keyword, true))
            note->SetCurrentControlWithCFString("");
    for (PPDXControl* control : controls.All()) {
        const std::string_view parent = ParentKeyword(*control);
        // Controls without a group are the panel's own: they keep their value.
        if (parent.empty() || parent == kInstallableGroup)
            continue;
        if (control->Keyword() && std::string_view(control->Keyword()) == "*PageSize")
            continue;
        control->ResetToDefaultValue();
    }
    if (mData) {
        mData->SelectWatermark(-1);
        mData->ClearMixedMedia();
        mData->ClearPadCovers();
        for (std::size_t i = 0; i < mData->PaperCatalog().size(); ++i)
            mData->SetPaperCatalogValue(i, std::string(kPaperCatalogUnset));
    }
    DrawUserPane();
    NoteFirstReset(*document, PopupJobNotes::Instance());
}

void UI_Panel::PopulatePPDTreeStructure() {
    mTree.Clear();
    QJVPPD* document = Document();
    if (!document || !document->GetControls())
        return;
    // The user's own quick-access list, once customized, replaces the PPD's:
    // otherwise a shortcut the user took out would come back with every
    // rebuild of the tree.
    if (!mData || !mData->HasSavedShortcuts())
        if (PPDXShortcuts* shortcuts = document->GetShortcuts())
            for (PPDXPopupControl* popup = shortcuts->First(); popup; popup = shortcuts->Next())
                if (popup->Keyword() && PDEData::IsValidBasicPanelControl(popup))
                    mTree.AddShortcut(popup->CFStringUserName(), popup->Keyword());
    if (mData)
        mData->GetPPDShortcuts(mTree);

    if (PPDXGroups* groups = document->GetGroups())
        for (PPDXGroup* group : groups->All()) {
            if (!group->Keyword())
                continue;
            const std::string_view keyword = group->Keyword();
            if (keyword == kInstallableGroup || keyword == kScrollPaneGroup)
                continue;
            mTree.AddGroup(group->CFStringUserName(), keyword);
        }

    PPDXControls& controls = *document->GetControls();
    CNTL_TYPE type = kControlTypeNone;
    for (PPDXControl* control = controls.First(type); control; control = controls.Next(type)) {
        if (type != kControlTypeJobNote && type != kControlTypeBoolean && type != kControlTypePopup)
            continue;
        if (!control->Keyword() || !PDEData::IsValidBasicPanelControl(control))
            continue;
        const std::size_t index = mTree.FindGroup(TreeKeyword(ParentKeyword(*control)));
        if (index >= mTree.groupCount)
            continue;
        mTree.AddControl(mTree.groups[index], control->CFStringUserName(), control->Keyword());
    }
    mTree.RemoveEmptyGroups();
    // Position codes name the group as the pane shows it, so they are given
    // once the empty groups are gone.
    for (std::size_t g = 0; g < mTree.groupCount; ++g) {
        const PPDTreeGroup& group = mTree.groups[g];
        for (std::size_t c = 0; c < group.controlCount; ++c) {
            PPDTreeShortcut* shortcut = mTree.FindShortcut(group.controls[c].keyword);
            if (shortcut && shortcut->position == 0)
                shortcut->position = static_cast<std::int32_t>(100 * (g + 1) + c);
        }
    }
}

bool UI_Panel::GetOSPageSize() {
    QJVPPD* document = Document();
    platform::Host* host = mData ? mData->Host() : nullptr;
    if (!document || !host || !document->GetControls())
        return false;
    const std::optional<PropertyValue> ticket = host->Settings().Get(kPaperInfoTicketKey);
    std::string name;
    const PropertyValue* rect = nullptr;
    if (ticket && ticket->IsDictionary()) {
        if (const PropertyValue* paper = ticket->Find(kPaperNameKey))
            name = std::string(paper->StringOr(""));
        rect = ticket->Find(kUnadjustedPaperRectKey);
    } else {
        name = mPlatform.localizable.Lookup("DocumentSizeCustom");
    }
    if (name.empty())
        return false;
    std::string saved;
    for (char c : name.substr(0, kMaxSavedPageSize))
        saved.push_back(static_cast<unsigned char>(c) < 0x80 ? c : '?');
    State().sSavedOSPageSize = saved;

    bool matched = false;
    if (PPDXPopupControl* pageSize = document->GetControls()->FindPopup("*PageSize", true)) {
        static constexpr std::pair<std::string_view, std::string_view> kAliases[] = {{"US Letter", "Letter"},
                                                                                     {"US Legal", "Legal"}};
        pageSize->SetCurrentControlWithCFString(name);
        matched = EqualsIgnoringCaseUTF8(pageSize->CopyCurrentControlValueString(), name);
        for (const auto& [alias, ppdName] : kAliases)
            if (!matched && name == alias) {
                pageSize->SetCurrentControlWithCFString(ppdName);
                matched = EqualsIgnoringCaseUTF8(pageSize->CopyCurrentControlValueString(), ppdName);
            }
    }
    if (matched)
        return false;

    platform::PaperRect paper = host->Page().unadjustedPaper;
    if (rect && rect->AsArray() && rect->AsArray()->size() == 4) {
        double sides[4] = {};
        bool numbers = true;
        for (std::size_t i = 0; i < 4; ++i) {
            const PropertyValue& side = (*rect->AsArray())[i];
            if (const double* real = side.AsReal())
                sides[i] = *real;
            else if (const std::int64_t* whole = side.AsInteger())
                sides[i] = static_cast<double>(*whole);
            else
                numbers = false;
        }
        if (numbers)
            paper = platform::PaperRect{sides[0], sides[1], sides[2], sides[3]};
    }
    const double width = std::fabs(paper.left) + std::fabs(paper.right);
    const double height = std::fabs(paper.top) + std::fabs(paper.bottom);
    char text[96];
    std::snprintf(text, sizeof text, "%f %f", width, height);
    mCustomPaperName = name;
    mCustomSizeText = std::string(text);
    mData->SetUsesOSPageSize(true);
    return true;
}

void UI_Panel::GetOSAccountName() {
    QJVPPD* document = Document();
    if (!document || !document->GetControls())
        return;
    PPDXControl* control = document->GetControls()->FindAny("*QJUserAuthName");
    if (!control)
        return;
    control->ResetToDefaultValue();
    // The control's setter takes UTF-8 and converts it for the printer.
    control->SetCurrentControlWithCFString(mPlatform.loginName());
}

// ---- presets ----

bool UI_Panel::compareJPServerPresets() {
    std::unique_ptr<SDMKeyValueList> current = GetDefaultSettings();
    if (!mJPReturnedSDMList) {
        Log("mJPReturnedSDMList is NULL");
        return true;
    }
    for (const SDMKeyValue& entry : current->entries) {
        if (entry.key == L"PresetName" || entry.key == L"PresetType" || entry.key == L"PresetTimestampModified")
            continue;
        for (const SDMKeyValue& returned : mJPReturnedSDMList->entries) {
            if (returned.key != entry.key)
                continue;
            if (returned.value == entry.value)
                break;
            // The helper writes numbers with fewer digits than the panel
            // ("1.5" for "1.50"): such a pair still counts as equal.
            const bool shorterNumber = returned.value.find(L'.') != std::wstring::npos &&
                                       entry.value.find(returned.value) != std::wstring::npos;
            if (!shorterNumber)
                return false;
            break;
        }
    }
    return true;
}

void UI_Panel::revertBackJPServerPresets() {
    QJVPPD* document = Document();
    if (!mJPReturnedSDMList || !document)
        return;
    for (const char* keyword : {"*PresetType", "*PresetName", "*PresetTimestampModified"}) {
        const std::wstring key = Wide(keyword + 1);
        for (const SDMKeyValue& entry : mJPReturnedSDMList->entries)
            if (entry.key == key || entry.key == Wide(keyword)) {
                if (PPDXJobNote* note = EnsureJobNote(*document, keyword))
                    note->SetCurrentControlWithCFString(Narrow(entry.value));
                break;
            }
    }
}

void UI_Panel::makeJobNotesForSpecialControls() {
    QJVPPD* document = Document();
    if (!document || !Bidi())
        return;
    const bool japanese =
        document->LanguageVersion() && std::string_view(document->LanguageVersion()) == "Japanese";
    for (const char* keyword : kSpecialNotes) {
        if (!PDEData::isSpecialChromaquaControl(keyword))
            continue;
        PPDXJobNote* note = EnsureJobNote(*document, keyword);
        if (!note)
            continue;
        const std::string text = note->CopyNotes();
        if (!japanese)
            note->SetUTF8Notes(text);
        SelectOrAppendChoice(*document, keyword, text);
    }
}

bool UI_Panel::isGlint3() const {
    QJVPPD* document = Document();
    if (!document)
        return false;
    const std::string version = VersionString(*document);
    return version.find("4.2") != std::string::npos || version.find("4.3") != std::string::npos;
}

} // namespace kelvo::panel
