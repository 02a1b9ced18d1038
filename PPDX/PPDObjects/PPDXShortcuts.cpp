// Shortcut list: popup-only walk and finders.
#include "PPDX/PPDObjects/PPDXShortcuts.h"

#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"

PPDXPopupControl* PPDXShortcuts::First() {
    mCursor = 0;
    return Next();
}

PPDXPopupControl* PPDXShortcuts::Next() {
    while (mCursor < mControls.size()) {
        if (auto* popup = dynamic_cast<PPDXPopupControl*>(mControls[mCursor++]))
            return popup;
    }
    return nullptr;
}

PPDXPopupControl* PPDXShortcuts::Find(const char* keyword, const bool& exact) {
    if (!keyword)
        return nullptr;
    for (PPDXPopupControl* popup = First(); popup; popup = Next()) {
        if (KeywordMatches(popup->Keyword(), keyword, exact))
            return popup;
    }
    return nullptr;
}
