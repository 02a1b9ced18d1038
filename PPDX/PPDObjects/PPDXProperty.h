// A property page: holds at most one scroll pane and says where it is shown.
#pragma once

#include <cstdint>

#include "PPDX/PPDObjects/PPDXElement.h"

class PPDXScrollPane;

class PPDXProperty : public PPDXElement {
public:
    PPDXProperty(const char* name, std::string translation, bool visible, bool showInPrintProp, bool showInApp)
        : PPDXElement(name, std::move(translation), visible),
          mShowInPrintProp(showInPrintProp ? 1 : 0),
          mShowInApp(showInApp ? 1 : 0) {}
    /// From a snapshot: the element part and both show flags. The scroll
    /// pane is linked again by the document.
    PPDXProperty(Settings& settings, int index);

    /// The element part, then show-in-application and show-in-print-page.
    SettingsStatus Save(Settings& settings, const int& index) const override;

    PPDXScrollPane* GetScrollDown() const { return mScrollPane; }
    void SetScrollDown(PPDXScrollPane* pane) { mScrollPane = pane; }
    bool ShowInPrintProp() const { return mShowInPrintProp != 0; }
    bool ShowInApp() const { return mShowInApp != 0; }

private:
    PPDXScrollPane* mScrollPane = nullptr;
    std::uint32_t mShowInPrintProp;
    std::uint32_t mShowInApp;
};
