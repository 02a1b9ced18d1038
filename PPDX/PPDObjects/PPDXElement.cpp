// Element base: keyword, display name cache, visibility tests.
#include "PPDX/PPDObjects/PPDXElement.h"

#include <vector>

#include "TextConverter/TextConverter.h"

PPDXElement::PPDXElement(const char* keyword, std::string localName, bool visible)
    : mLocalName(std::move(localName)), mVisible(visible ? 1 : 0) {
    if (keyword && *keyword)
        mKeyword.emplace(keyword);
}

PPDXElement::~PPDXElement() = default;

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
