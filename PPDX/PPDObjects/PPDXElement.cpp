// Element base: keyword, display name cache, visibility tests.
#include "PPDX/PPDObjects/PPDXElement.h"

#include <vector>

#include "PPDX/PPDObjects/SnapshotItems.h"
#include "TextConverter/TextConverter.h"

namespace snap = kelvo::snapshot;

PPDXElement::PPDXElement(const char* keyword, std::string localName, bool visible)
    : mLocalName(std::move(localName)), mVisible(visible ? 1 : 0) {
    if (keyword && *keyword)
        mKeyword.emplace(keyword);
}

PPDXElement::PPDXElement(Settings& settings, const int& index) : mVisible(0) {
    // Texts end at a NUL, as the C strings they become: a keyword that
    // starts with one is no keyword.
    if (auto keyword = snap::ReadText(settings, tagKeyWord, index); keyword && keyword->c_str()[0] != '\0')
        mKeyword.emplace(keyword->c_str());
    if (auto name = snap::ReadUnicode(settings, tagLocalCFStrName, index))
        mLocalName = std::move(*name);
    if (auto parent = snap::ReadText(settings, tagParName, index); parent && parent->c_str()[0] != '\0')
        mSavedParent.emplace(parent->c_str());
    std::uint32_t visible = 0;
    if (snap::ReadNumber(settings, tagVisState, index, visible))
        mVisible = visible;
}

PPDXElement::~PPDXElement() = default;

SettingsStatus PPDXElement::Save(Settings& settings, const int& index) const {
    // The display name goes in twice: as system text for readers that only
    // take bytes, and as 16-bit Unicode, which is what a rebuild reads.
    constexpr std::size_t kLocalNameBytes = 512;
    SettingsStatus status = kSettingsNoErr;
    if (mKeyword && (status = snap::AddText(settings, tagKeyWord, index, mKeyword->View())) != kSettingsNoErr)
        return status;
    std::string_view userName = UserName();
    if (userName.size() >= kLocalNameBytes)
        userName = userName.substr(0, kLocalNameBytes - 1);
    if ((status = snap::AddText(settings, tagLocalName, index, userName)) != kSettingsNoErr)
        return status;
    const std::vector<std::uint8_t> external = CFStringToExternal(mLocalName);
    if ((status = snap::AddBytes(settings, tagLocalCFStrName, index, external)) != kSettingsNoErr)
        return status;
    if ((status = settings.AddValue(tagVisState, index, mVisible)) != kSettingsNoErr)
        return status;
    if (mParent && mParent->Keyword())
        status = snap::AddText(settings, tagParName, index, mParent->Keyword());
    return status;
}

const char* PPDXElement::UserName() const {
    if (!mUserName)
        mUserName.emplace(TextConverter::ToSystemText(mLocalName));
    return mUserName->c_str();
}

void PPDXElement::SetLocalName(std::string localName) {
    mLocalName = std::move(localName);
    mUserName.reset();
}

bool PPDXElement::OkayToDisplay(const _DISPLAY_OPTIONS_& option) const {
    switch (option) {
    case kDisplayVisibleParented:
        return mParent != nullptr && IsVisible();
    case kDisplayIncludeOrphans:
        return IsVisible();
    case kDisplayIncludeHidden:
        return mParent != nullptr;
    default:
        return true;
    }
}

bool PPDXElement::operator==(const PPDXElement& other) const {
    return mKeyword && other.mKeyword && *mKeyword == *other.mKeyword;
}

bool PPDXElement::operator==(const char* keyword) const {
    return mKeyword && keyword && *mKeyword == keyword;
}
