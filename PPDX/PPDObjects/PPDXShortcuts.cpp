// Shortcut list: popup-only walk and finders.
#include "PPDX/PPDObjects/PPDXShortcuts.h"

#include <climits>
#include <cstring>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/PPDXControls.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

namespace snap = kelvo::snapshot;

PPDXShortcuts::PPDXShortcuts(Settings& settings, const PPDXControls& controls) {
    const std::uint64_t count =
        snap::BoundedCount(settings, snap::ReadCount(settings, kShortcutTag, kShortcutCountId));
    for (std::uint64_t k = 1; k <= count && k < static_cast<std::uint64_t>(INT32_MAX - kShortcutCountId); ++k) {
        const auto keyword = snap::ReadText(settings, kShortcutTag, static_cast<std::int32_t>(kShortcutCountId + k));
        if (PPDXControl* control = keyword ? controls.FindAny(keyword->c_str()) : nullptr)
            mControls.push_back(control);
    }
}

SettingsStatus PPDXShortcuts::Save(Settings& settings) const {
    if (mControls.size() > static_cast<std::size_t>(INT32_MAX - kShortcutCountId - 1))
        return kSettingsIdOverflow;
    SettingsStatus status = snap::AddCount(settings, kShortcutTag, kShortcutCountId, mControls.size());
    std::int32_t id = kShortcutCountId + 1;
    for (const PPDXControl* control : mControls) {
        if (status != kSettingsNoErr)
            break;
        status = snap::AddText(settings, kShortcutTag, id++, control->Keyword() ? control->Keyword() : "");
    }
    return status;
}

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
