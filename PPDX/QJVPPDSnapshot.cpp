// The document's snapshot: writing the model into a settings store, rebuilding it, restoring values.
#include "PPDX/QJVPPD.h"

#include <climits>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

namespace snap = kelvo::snapshot;

namespace {

/// Adds an optional header text; true when absent or added.
bool AddOptionalText(Settings& settings, std::uint32_t tag, std::int32_t id, const std::optional<CString>& text) {
    return !text || snap::AddText(settings, tag, id, text->View()) == kSettingsNoErr;
}

std::optional<CString> ReadOptionalText(Settings& settings, std::uint32_t tag, std::int32_t id) {
    auto text = snap::ReadText(settings, tag, id);
    return text ? std::optional<CString>(CString(std::move(*text))) : std::nullopt;
}

} // namespace

bool PPDX::Save(Settings& settings) {
    if (settings.AddValue(tagPPD, kMemAlloc, kMemAllocValue) != kSettingsNoErr)
        return false;
    if (mFileRef) {
        const auto record = mFileRef->Bytes();
        if (settings.Add(tagPPD, kFSRef, std::span<const std::uint8_t>(record)) != kSettingsNoErr)
            return false;
    }
    return AddOptionalText(settings, tagPPD, kFormatVersionStr, mFormatVersion) &&
           AddOptionalText(settings, tagPPD, kFileVersionStr, mFileVersion) &&
           AddOptionalText(settings, tagPPD, kPCFileNameStr, mPCFileName) &&
           AddOptionalText(settings, tagPPD, kLanguageVersionStr, mLanguageVersion) &&
           AddOptionalText(settings, tagPPD, kLanguageEncodingStr, mLanguageEncoding) &&
           AddOptionalText(settings, tagPPD, kModelNameStr, mModelName) &&
           AddOptionalText(settings, tagPPD, kQJVersionStr, mBaseQJVersion);
}

bool PPDX::RestoreHeader(Settings& settings) {
    std::int32_t mark = 0;
    if (!snap::ReadNumber(settings, tagPPD, kMemAlloc, mark) || mark != kMemAllocValue)
        return false;
    mFileRef = PPDFileRef::FromBytes(snap::ReadBytes(settings, tagPPD, kFSRef));
    mFormatVersion = ReadOptionalText(settings, tagPPD, kFormatVersionStr);
    mFileVersion = ReadOptionalText(settings, tagPPD, kFileVersionStr);
    mPCFileName = ReadOptionalText(settings, tagPPD, kPCFileNameStr);
    mLanguageVersion = ReadOptionalText(settings, tagPPD, kLanguageVersionStr);
    mLanguageEncoding = ReadOptionalText(settings, tagPPD, kLanguageEncodingStr);
    mModelName = ReadOptionalText(settings, tagPPD, kModelNameStr);
    mBaseQJVersion = ReadOptionalText(settings, tagPPD, kQJVersionStr);
    RebuildTextConverter();
    return true;
}

QJVPPD::QJVPPD(Settings& settings, const std::optional<std::filesystem::path>& path,
               const std::optional<std::vector<std::string>>& names)
    : PPDX(std::nullopt, kParseAll, {}, {}) {
    mPath = path;
    // The collections exist whatever happens next, so a document that could
    // not be rebuilt still answers every question (with nothing).
    mConstraints = std::make_unique<UIConstraints>();
    mProperties = std::make_unique<PPDXProperties>();
    mGroups = std::make_unique<PPDXGroups>();
    mControls = std::make_unique<PPDXControls>();
    mShortcuts = std::make_unique<PPDXShortcuts>(std::vector<PPDXControl*>{});
    if (!RestoreHeader(settings)) {
        AddError(MakePPDError(PPDErr_NotSnapshot, true));
        return;
    }
    if (path) {
        // A snapshot stands in for the PPD only while it is that very file
        // and the file is still one the printer list serves; otherwise the
        // caller must read the PPD again.
        const std::optional<PPDFileRef> current = PPDFileRef::FromPath(*path);
        const bool sameFile = mFileRef && current && current->SameFile(*mFileRef);
        if (!sameFile || !ValidateFileName(*path, names)) {
            AddError(MakePPDError(PPDErr_StaleSnapshot, true));
            return;
        }
        mValidPrinterName = true;
    }
    if (!BuildFromSettings(settings))
        AddError(MakePPDError(PPDErr_NotSnapshot, true));
}

QJVPPDRef QJVPPD::FromSettings(Settings& settings, const std::optional<std::filesystem::path>& path,
                               const std::optional<std::vector<std::string>>& names) {
    return QJVPPDRef(new QJVPPD(settings, path, names));
}

SettingsStatus QJVPPD::CheckSnapshotRoom() {
    // Members of one collection must not reach the ids of the next: pages
    // 3001-4000, groups 4001-5000, controls from 5001, and popup items at
    // control id * 100 + k.
    constexpr std::size_t kMaxPagesOrGroups = 1000;
    constexpr std::size_t kMaxControls = std::size_t{kFirstControlId} * kPopupItemSpacing - kFirstControlId;
    if (mProperties->Count() > kMaxPagesOrGroups || mGroups->Count() > kMaxPagesOrGroups ||
        mControls->All().size() > kMaxControls)
        return kSettingsIdOverflow;
    const auto& all = mControls->All();
    for (std::size_t i = 0; i + 1 < all.size(); ++i) {
        const auto* popup = dynamic_cast<const PPDXPopupControl*>(all[i]);
        if (popup && popup->ItemCount() > static_cast<std::size_t>(kPopupItemSpacing))
            return kSettingsIdOverflow;
    }
    return kSettingsNoErr;
}

bool QJVPPD::Save(Settings& settings) {
    mSaveStatus = CheckSnapshotRoom();
    if (mSaveStatus != kSettingsNoErr)
        return false;
    if (!PPDX::Save(settings) || !AddOptionalText(settings, tagQJVPPD, kQJFileVersionStr, mQJFileVersion) ||
        !AddOptionalText(settings, tagQJVPPD, mQJVersionStr, mQJVersion)) {
        mSaveStatus = settings.LastError();
        return false;
    }
    // Every element goes in, hidden ones and orphans too, whatever the
    // panel shows now.
    DisplayOptionsScope all(kDisplayAll);
    mSaveStatus = mProperties->Save(settings);
    if (mSaveStatus == kSettingsNoErr)
        mSaveStatus = mGroups->Save(settings);
    if (mSaveStatus == kSettingsNoErr)
        mSaveStatus = mControls->Save(settings);
    if (mSaveStatus == kSettingsNoErr)
        mSaveStatus = mShortcuts->Save(settings);
    return mSaveStatus == kSettingsNoErr;
}

void QJVPPD::Restore(Settings& settings) {
    DisplayOptionsScope all(kDisplayAll);
    mControls->Restore(settings);
}

bool QJVPPD::BuildFromSettings(Settings& settings) {
    std::int32_t mark = 0;
    if (!snap::ReadNumber(settings, tagPPD, kMemAlloc, mark) || mark != kMemAllocValue)
        return false;
    DisplayOptionsScope all(kDisplayAll);
    // The constraint declarations are not part of a snapshot: the rebuilt
    // controls get a table of their own that forbids nothing.
    mShortcuts.reset();
    mControls.reset();
    mConstraints = std::make_unique<UIConstraints>();
    mQJFileVersion = ReadOptionalText(settings, tagQJVPPD, kQJFileVersionStr);
    mQJVersion = ReadOptionalText(settings, tagQJVPPD, mQJVersionStr);
    mProperties = std::make_unique<PPDXProperties>(settings);
    mGroups = std::make_unique<PPDXGroups>(settings);
    mControls = std::make_unique<PPDXControls>(settings, mConstraints.get());
    mShortcuts = std::make_unique<PPDXShortcuts>(settings, *mControls);
    ResolveHeirarchy();
    mMakerStatements = mQJFileVersion || mQJVersion || !mProperties->Empty() || !mGroups->Empty() ||
                       !mControls->All().empty();
    mValid = true;
    return true;
}

void QJVPPD::ResolveHeirarchy() {
    for (PPDXGroup* group : mGroups->All()) {
        const std::optional<CString> parentName = group->TakeSavedParentName();
        if (!parentName)
            continue;
        if (auto* pane = dynamic_cast<PPDXScrollPane*>(group)) {
            if (PPDXProperty* page = mProperties->Find(parentName->c_str())) {
                pane->SetParent(page);
                page->SetScrollDown(pane);
            }
        } else if (auto* rollDown = dynamic_cast<PPDXRollDown*>(group)) {
            if (auto* pane = dynamic_cast<PPDXScrollPane*>(mGroups->Find(parentName->c_str()))) {
                rollDown->SetParent(pane);
                pane->RollDowns().Add(static_cast<PPDXGroup*>(rollDown));
            }
        }
    }
    for (PPDXProperty* page : mProperties->All())
        page->TakeSavedParentName();
    for (PPDXControl* control : mControls->All()) {
        const std::optional<CString> parentName = control->TakeSavedParentName();
        PPDXGroup* group = parentName ? mGroups->Find(parentName->c_str()) : nullptr;
        if (!group)
            continue;
        control->SetParent(group);
        if (auto* rollDown = dynamic_cast<PPDXRollDown*>(group))
            rollDown->Controls().Add(control);
    }
    // Controls were counted as orphans while their parents were names.
    mControls->Recount();
}
