// A PickOne or PickMany option: its choices, selection, default and PostScript.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"

/// One choice of a popup.
struct _PopupItem {
    std::optional<CString> keyword;
    /// Translation (UTF-8); absent when the PPD gave none and none was set.
    std::optional<std::string> localName;
    PSBytes psData;
    std::uint32_t selected = 0;

    _PopupItem() = default;
    _PopupItem(const char* key, std::optional<std::string> name, PSBytes ps)
        : localName(std::move(name)), psData(std::move(ps)) {
        if (key)
            keyword.emplace(key);
    }
    const char* Keyword() const { return keyword ? keyword->c_str() : nullptr; }
    /// The local name in the system encoding, converted once.
    const char* displayName() const;

private:
    mutable std::optional<std::string> mDisplayName;
};

using PopupItemList = std::vector<std::unique_ptr<_PopupItem>>;

/// Item numbers used by GetValue/SetValue/DefaultValue are 1-based positions;
/// 0 means none. The current item is what PostScript and the value text use;
/// for PickMany it is the last choice touched.
class PPDXPopupControl : public PPDXControl {
public:
    PPDXPopupControl(const char* keyword, std::string localName, FlagList flags, bool visible, bool multiple,
                     bool installable, PopupItemList items, std::optional<CString> defaultKeyword,
                     UIConstraints* constraints);

    /// From a snapshot: the control part, then selection mode, default
    /// keyword and items with their selected state (item k under index *
    /// 100 + k); the last selected item becomes the current one. The popup
    /// is installable when its saved parent is the installable-options
    /// group, as the reader decides.
    PPDXPopupControl(Settings& settings, int index, UIConstraints* constraints);

    SettingsStatus Save(Settings& settings, const int& index) const override;
    /// Takes the selected state of each saved item whose keyword is the one
    /// at the same position here.
    void Restore(Settings& settings, int index) override;

    std::size_t ItemCount() const { return mItems.size(); }
    _PopupItem* FirstItem();
    _PopupItem* NextItem();
    _PopupItem* ItemAt(std::size_t index) const { return index < mItems.size() ? mItems[index].get() : nullptr; }
    void AppendPopupItem(std::unique_ptr<_PopupItem> item);

    long GetValue() const;
    void SetValue(long n);
    void SetDefaultValue(long n) { mDefaultOverride = n > 0 ? static_cast<std::uint32_t>(n) : 0; }
    long DefaultValue() const;
    void ResetToDefaultValue() override { SetValue(DefaultValue()); }

    bool SetKeywordSelect(const char* choice, bool select);
    bool IsKeywordSelected(const char* choice) const;
    const char* GetKeywordLocalName(const char* choice) const;
    const std::string* GetKeywordCFLocalName(const char* choice) const;
    long GetKeywordPSData(const char* choice, unsigned char* out) const;
    /// The current item, or null.
    const _PopupItem* CurrentItem() const;

    long PostScript(unsigned char* out) override;
    std::string CopyCurrentControlValueString() override;
    void SetCurrentControlWithCFString(std::string_view value) override;
    bool HasCurrentValue() const override { return CurrentItem() != nullptr; }

    /// Replaces the choices, keeping the user's choice when it still exists.
    bool Rebuild(const char* userName, PopupItemList items, std::optional<CString> defaultKeyword);

    bool IsInstallableOption() const override { return mInstallable != 0; }
    bool CanSelectMultipleItems() const { return mMultiple != 0; }
    const char* GetDefaultKeyword() const { return mDefaultKeyword ? mDefaultKeyword->c_str() : nullptr; }

    /// The three colour-profile popups, whose lists may grow from saved values.
    static bool IsProfileKeyword(const char* keyword);
    /// The group whose popups are installable options.
    static constexpr char kInstallableGroupName[] = "QJPPInstallableOptions";

private:
    std::uint32_t mMultiple;
    std::uint32_t mInstallable;
    std::uint32_t mDefaultOverride = 0;
    std::optional<CString> mDefaultKeyword;
    PopupItemList mItems;
    std::size_t mItemCursor = 0;
    static constexpr std::size_t kNoItem = static_cast<std::size_t>(-1);
    std::size_t mCurrent = kNoItem;
};
