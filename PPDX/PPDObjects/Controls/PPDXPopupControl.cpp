// Popup control: selection rules, defaults, framed PostScript of the current choice.
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"

#include <strings.h>

#include <cstdint>
#include <cstring>

#include "PPDX/PPDObjects/SnapshotItems.h"
#include "PPDX/PopupJobNotesState.h"
#include "TextConverter/TextConverter.h"
#include "util/CaseFold.h"

const char* _PopupItem::displayName() const {
    if (!localName)
        return nullptr;
    if (!mDisplayName)
        mDisplayName.emplace(TextConverter::ToSystemText(*localName));
    return mDisplayName->c_str();
}

PPDXPopupControl::PPDXPopupControl(const char* keyword, std::string localName, FlagList flags, bool visible,
                                   bool multiple, bool installable, PopupItemList items,
                                   std::optional<CString> defaultKeyword, UIConstraints* constraints)
    : PPDXControl(keyword, std::move(localName), std::move(flags), {}, visible, constraints),
      mMultiple(multiple ? 1 : 0),
      mInstallable(installable ? 1 : 0),
      mDefaultKeyword(std::move(defaultKeyword)),
      mItems(std::move(items)) {
    mType = kControlTypePopup;
    if (mDefaultKeyword)
        SetKeywordSelect(mDefaultKeyword->c_str(), true);
}

namespace snap = kelvo::snapshot;

namespace {

/// The id of item k of the popup saved under `index`; nothing when it does
/// not fit in an id (only a damaged snapshot gets there).
std::optional<std::int32_t> ItemId(int index, std::uint64_t k) {
    const std::int64_t id = std::int64_t{index} * kPopupItemSpacing + static_cast<std::int64_t>(k);
    if (k > static_cast<std::uint64_t>(INT32_MAX) || id > INT32_MAX || id < INT32_MIN)
        return std::nullopt;
    return static_cast<std::int32_t>(id);
}

} // namespace

PPDXPopupControl::PPDXPopupControl(Settings& settings, int index, UIConstraints* constraints)
    : PPDXControl(settings, index, constraints), mMultiple(0), mInstallable(0) {
    mType = kControlTypePopup;
    std::uint32_t multiple = 0;
    if (snap::ReadNumber(settings, tagPC_MultiSel, index, multiple))
        mMultiple = multiple;
    if (auto def = snap::ReadText(settings, tagPC_DefKeyWord, index))
        mDefaultKeyword.emplace(def->c_str());
    if (const CString* parent = SavedParentName() ? &*SavedParentName() : nullptr)
        mInstallable = *parent == kInstallableGroupName ? 1 : 0;
    const std::uint64_t count = snap::BoundedCount(settings, snap::ReadCount(settings, tagPC_ItemCount, index));
    for (std::uint64_t k = 0; k < count; ++k) {
        const auto id = ItemId(index, k);
        if (!id)
            break;
        auto item = std::make_unique<_PopupItem>();
        if (auto key = snap::ReadText(settings, tagPC_ItemKeyWord, *id))
            item->keyword.emplace(key->c_str());
        if (auto name = snap::ReadUnicode(settings, tagPC_ItemCFUserName, *id))
            item->localName = std::move(name);
        else if (auto text = snap::ReadText(settings, tagPC_ItemName, *id))
            item->localName = std::move(text);
        item->psData = snap::ReadBytes(settings, tagPC_ItemPSData, *id);
        std::uint32_t selected = 0;
        if (snap::ReadNumber(settings, tagPC_ItemSelected, *id, selected) && selected) {
            item->selected = selected;
            mCurrent = mItems.size();
        }
        mItems.push_back(std::move(item));
    }
    if (const _PopupItem* current = CurrentItem())
        UpdateKVCache(Keyword(), current->Keyword());
}

SettingsStatus PPDXPopupControl::Save(Settings& settings, const int& index) const {
    SettingsStatus status = PPDXControl::Save(settings, index);
    if (status != kSettingsNoErr)
        return status;
    if ((status = snap::AddMarker(settings, tagPopupControl, index)) != kSettingsNoErr ||
        (status = settings.AddValue(tagPC_MultiSel, index, mMultiple)) != kSettingsNoErr)
        return status;
    if (mDefaultKeyword &&
        (status = snap::AddText(settings, tagPC_DefKeyWord, index, mDefaultKeyword->View())) != kSettingsNoErr)
        return status;
    if (mItems.empty())
        return status;
    if ((status = snap::AddCount(settings, tagPC_ItemCount, index, mItems.size())) != kSettingsNoErr)
        return status;
    for (std::size_t k = 0; k < mItems.size(); ++k) {
        const auto id = ItemId(index, k);
        if (!id)
            return kSettingsIdOverflow;
        const _PopupItem& item = *mItems[k];
        if (item.keyword &&
            (status = snap::AddText(settings, tagPC_ItemKeyWord, *id, item.keyword->View())) != kSettingsNoErr)
            return status;
        if (item.localName &&
            (status = snap::AddBytes(settings, tagPC_ItemCFUserName, *id, CFStringToExternal(*item.localName))) !=
                kSettingsNoErr)
            return status;
        if (!item.psData.empty() &&
            (status = snap::AddBytes(settings, tagPC_ItemPSData, *id, item.psData)) != kSettingsNoErr)
            return status;
        if ((status = settings.AddValue(tagPC_ItemSelected, *id, item.selected)) != kSettingsNoErr)
            return status;
    }
    return status;
}

void PPDXPopupControl::Restore(Settings& settings, int index) {
    const std::uint64_t count = snap::BoundedCount(settings, snap::ReadCount(settings, tagPC_ItemCount, index));
    bool any = false;
    for (std::uint64_t k = 0; k < count && k < mItems.size(); ++k) {
        const auto id = ItemId(index, k);
        if (!id)
            break;
        _PopupItem& item = *mItems[k];
        const auto key = snap::ReadText(settings, tagPC_ItemKeyWord, *id);
        const bool sameItem = key ? item.keyword && *key == item.keyword->View() : !item.keyword;
        std::uint32_t selected = 0;
        if (!sameItem ||
            !snap::ReadNumber(settings, tagPC_ItemSelected, *id, selected))
            continue;
        item.selected = selected;
        if (selected) {
            mCurrent = static_cast<std::size_t>(k);
            any = true;
        }
    }
    if (any)
        UpdateKVCache(Keyword(), CurrentItem()->Keyword());
}

_PopupItem* PPDXPopupControl::FirstItem() {
    mItemCursor = 0;
    return NextItem();
}

_PopupItem* PPDXPopupControl::NextItem() {
    return mItemCursor < mItems.size() ? mItems[mItemCursor++].get() : nullptr;
}

void PPDXPopupControl::AppendPopupItem(std::unique_ptr<_PopupItem> item) {
    if (item)
        mItems.push_back(std::move(item));
}

long PPDXPopupControl::GetValue() const {
    for (std::size_t i = 0; i < mItems.size(); ++i)
        if (mItems[i]->selected)
            return static_cast<long>(i + 1);
    return 0;
}

const _PopupItem* PPDXPopupControl::CurrentItem() const {
    return mCurrent < mItems.size() ? mItems[mCurrent].get() : nullptr;
}

void PPDXPopupControl::SetValue(long n) {
    const bool inRange = n >= 1 && static_cast<std::size_t>(n) <= mItems.size();
    for (std::size_t i = 0; i < mItems.size(); ++i)
        mItems[i]->selected = (inRange && i + 1 == static_cast<std::size_t>(n)) ? 1 : 0;
    if (inRange)
        mCurrent = static_cast<std::size_t>(n - 1);
    if (const _PopupItem* current = CurrentItem())
        UpdateKVCache(Keyword(), current->Keyword());
}

long PPDXPopupControl::DefaultValue() const {
    long found = 0;
    if (mDefaultKeyword) {
        for (std::size_t i = 0; i < mItems.size(); ++i) {
            if (mItems[i]->keyword && *mItems[i]->keyword == *mDefaultKeyword) {
                found = static_cast<long>(i + 1);
                break;
            }
        }
    }
    // Once the popup job notes have been set up and none exists, a default
    // remembered for them no longer applies: the PPD's default stands.
    if (mDefaultOverride && !(gPopupJobNotesDoneInitializing && !gPopupJobNotesFoundOne))
        return static_cast<long>(mDefaultOverride);
    return found;
}

bool PPDXPopupControl::SetKeywordSelect(const char* choice, bool select) {
    if (!choice)
        return false;
    bool found = false;
    for (std::size_t i = 0; i < mItems.size(); ++i) {
        _PopupItem& item = *mItems[i];
        if (item.keyword && *item.keyword == choice) {
            item.selected = select ? 1 : 0;
            mCurrent = i;
            found = true;
            if (mMultiple)
                break;
        } else if (!mMultiple) {
            item.selected = 0;
        }
    }
    UpdateKVCache(Keyword(), choice);
    return found;
}

bool PPDXPopupControl::IsKeywordSelected(const char* choice) const {
    if (!choice)
        return false;
    for (const auto& item : mItems)
        if (item->keyword && *item->keyword == choice)
            return item->selected != 0;
    return false;
}

const char* PPDXPopupControl::GetKeywordLocalName(const char* choice) const {
    if (!choice)
        return nullptr;
    for (const auto& item : mItems)
        if (item->keyword && *item->keyword == choice)
            return item->displayName();
    return nullptr;
}

const std::string* PPDXPopupControl::GetKeywordCFLocalName(const char* choice) const {
    if (!choice)
        return nullptr;
    for (const auto& item : mItems)
        if (item->keyword && *item->keyword == choice)
            return item->localName ? &*item->localName : nullptr;
    return nullptr;
}

long PPDXPopupControl::GetKeywordPSData(const char* choice, unsigned char* out) const {
    if (!choice || !Keyword())
        return 0;
    for (const auto& item : mItems) {
        if (item->keyword && *item->keyword == choice)
            return GeneratePSOutputData(out, item->psData.data(), static_cast<long>(item->psData.size()), choice,
                                        true);
    }
    return 0;
}

long PPDXPopupControl::PostScript(unsigned char* out) {
    const _PopupItem* current = CurrentItem();
    return current ? GetKeywordPSData(current->Keyword(), out) : 0;
}

std::string PPDXPopupControl::CopyCurrentControlValueString() {
    const _PopupItem* current = CurrentItem();
    return current && current->Keyword() ? std::string(current->Keyword()) : std::string();
}

bool PPDXPopupControl::IsProfileKeyword(const char* keyword) {
    return keyword && (std::strcmp(keyword, "*QJSimulation") == 0 || std::strcmp(keyword, "*QJOutProfile") == 0 ||
                       std::strcmp(keyword, "*QJRGBOverride") == 0);
}

void PPDXPopupControl::SetCurrentControlWithCFString(std::string_view value) {
    const bool profile = IsProfileKeyword(Keyword());
    std::string text(value);
    for (std::size_t i = 0; i < mItems.size(); ++i) {
        const _PopupItem& item = *mItems[i];
        bool match = false;
        if (profile && item.localName)
            match = kelvo::EqualsIgnoringCaseUTF8(*item.localName, text);
        if (!match)
            match = item.keyword && *item.keyword == text.c_str();
        if (match) {
            SetValue(static_cast<long>(i + 1));
            return;
        }
    }
    if (!profile)
        return;
    // Profiles named by a saved setting need not be listed in the PPD: the
    // list grows so the setting survives.
    AppendPopupItem(std::make_unique<_PopupItem>(text.c_str(), text, PSBytes{}));
    if (!SetKeywordSelect(text.c_str(), true))
        SetValue(DefaultValue());
}

bool PPDXPopupControl::Rebuild(const char* userName, PopupItemList items, std::optional<CString> defaultKeyword) {
    const _PopupItem* current = CurrentItem();
    if (!current)
        return false;
    std::string remembered = current->Keyword() ? current->Keyword() : "";
    if (userName && CFStringUserName() != userName)
        SetLocalName(userName);
    mItems = std::move(items);
    mCurrent = kNoItem;
    mDefaultKeyword = std::move(defaultKeyword);
    if (mDefaultKeyword)
        SetKeywordSelect(mDefaultKeyword->c_str(), true);
    SetKeywordSelect(remembered.c_str(), true);
    return true;
}
