// The quick-access list: controls named by shortcut statements, in order.
#pragma once

#include <vector>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"

class PPDXPopupControl;
class PPDXControls;

/// Lists (does not own) controls. First/Next/Find deliver popups only, so
/// Count() may exceed what a walk returns: the quick-access list shows menus.
class PPDXShortcuts {
public:
    explicit PPDXShortcuts(std::vector<PPDXControl*> controls) : mControls(std::move(controls)) {}
    /// From a snapshot: each saved keyword looked up exactly among
    /// `controls`; a keyword that finds nothing is left out.
    PPDXShortcuts(Settings& settings, const PPDXControls& controls);
    /// The count (id 6000), then each shortcut's keyword from id 6001, all
    /// under the shortcut tag.
    SettingsStatus Save(Settings& settings) const;
    virtual ~PPDXShortcuts() = default;

    bool Empty() const { return mControls.empty(); }
    std::size_t Count() const { return mControls.size(); }
    PPDXPopupControl* First();
    PPDXPopupControl* Next();
    PPDXPopupControl* Find(const char* keyword, const bool& exact);

    PPDXPopupControl* PageSize() { return Find("*PageSize", true); }
    PPDXPopupControl* InputSlot() { return Find("*InputSlot", true); }
    PPDXPopupControl* Duplex() { return Find("*QJDuplex", true); }
    PPDXPopupControl* Orientation() { return Find("*QJ_PAPER_ORIENTATION", true); }
    // No option keyword was ever settled for these two; they find nothing.
    PPDXPopupControl* MediaSource() { return Find("Need media source keyword... stay tuned", true); }
    PPDXPopupControl* Chromaqua() { return Find("Need Chromaqua keyword... stay tuned", true); }

    const std::vector<PPDXControl*>& All() const { return mControls; }

private:
    std::vector<PPDXControl*> mControls;
    std::size_t mCursor = 0;
};
