// Base of every named thing the panel shows: keyword, display name, visibility, parent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "store/SettingsStatus.h"
#include "util/CString.h"

class Settings;

/// Which elements a walk over the model offers: 0 visible elements that
/// have a parent, 1 visible elements, 2 elements that have a parent, 3 all.
/// Bit 0 admits orphans, bit 1 hidden elements.
using _DISPLAY_OPTIONS_ = std::uint32_t;
enum : _DISPLAY_OPTIONS_ {
    kDisplayVisibleParented = 0,
    kDisplayIncludeOrphans = 1,
    kDisplayIncludeHidden = 2,
    kDisplayAll = 3,
};

/// A PPD main keyword (with its asterisk), a localised display name held as
/// UTF-8, a visibility flag and a borrowed parent link.
class PPDXElement {
public:
    /// The keyword is copied only when non-null and non-empty.
    PPDXElement(const char* keyword, std::string localName, bool visible);
    /// From a snapshot: keyword, display name, parent name and visibility
    /// of the member saved under `index`. The parent is only a name until
    /// the document links it again (TakeSavedParentName).
    PPDXElement(Settings& settings, const int& index);
    virtual ~PPDXElement() = 0;
    PPDXElement(const PPDXElement&) = delete;
    PPDXElement& operator=(const PPDXElement&) = delete;

    /// The keyword text, or null for an element built without one.
    const char* Keyword() const { return mKeyword ? mKeyword->c_str() : nullptr; }
    /// The display name in the system encoding, converted once and cached.
    const char* UserName() const;
    /// The display name as UTF-8 (the platform-neutral "local name").
    const std::string& CFStringUserName() const { return mLocalName; }
    void SetLocalName(std::string localName);

    bool IsVisible() const { return mVisible != 0; }
    void SetVisible(bool visible) { mVisible = visible ? 1 : 0; }
    bool IsOrphan() const { return mParent == nullptr; }
    PPDXElement* GetParent() const { return mParent; }
    void SetParent(PPDXElement* parent) { mParent = parent; }

    /// Whether a walk under `option` offers this element.
    virtual bool OkayToDisplay(const _DISPLAY_OPTIONS_& option) const;

    /// Writes keyword, display name (as system text and as 16-bit Unicode),
    /// visibility and the parent's keyword under `index`. Returns the status
    /// of the last item added (nonzero: failure).
    virtual SettingsStatus Save(Settings& settings, const int& index) const;
    /// The parent keyword a snapshot named, handed over once.
    std::optional<CString> TakeSavedParentName() { return std::exchange(mSavedParent, std::nullopt); }
    const std::optional<CString>& SavedParentName() const { return mSavedParent; }

    /// Equal only when both have a keyword and the keywords match.
    bool operator==(const PPDXElement& other) const;
    /// Equal only when this element has a keyword and `keyword` matches it.
    bool operator==(const char* keyword) const;

private:
    std::optional<CString> mKeyword;
    mutable std::optional<CString> mUserName;
    std::string mLocalName;
    std::uint32_t mVisible;
    PPDXElement* mParent = nullptr;
    std::optional<CString> mSavedParent;
};
