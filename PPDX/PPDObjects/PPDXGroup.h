// Groups that hold controls: plain groups, roll-down sections and scroll panes.
#pragma once

#include <memory>
#include <string>

#include "PPDX/PPDObjects/PPDXControls.h"
#include "PPDX/PPDObjects/PPDXElement.h"

class PPDXGroups;

/// A named group of controls. The keyword is the group name.
class PPDXGroup : public PPDXElement {
public:
    PPDXGroup(const char* name, std::string translation, bool visible)
        : PPDXElement(name, std::move(translation), visible) {}
    ~PPDXGroup() override = default;
};

/// A collapsible section inside a scroll pane. Lists (does not own) the
/// controls placed in it.
class PPDXRollDown : public PPDXGroup {
public:
    PPDXRollDown(const char* name, std::string translation, bool visible);
    ~PPDXRollDown() override;
    PPDXControls& Controls() { return *mControls; }
    const PPDXControls& Controls() const { return *mControls; }

private:
    std::unique_ptr<PPDXControls> mControls;
};

/// The scrolling area of a property page. Lists (does not own) its roll-downs.
class PPDXScrollPane : public PPDXGroup {
public:
    PPDXScrollPane(const char* name, std::string translation, bool visible);
    ~PPDXScrollPane() override;
    PPDXGroups& RollDowns() { return *mRollDowns; }
    const PPDXGroups& RollDowns() const { return *mRollDowns; }

private:
    std::unique_ptr<PPDXGroups> mRollDowns;
};

/// A declared group that no control has used yet.
struct GroupName {
    CString name;
    std::string translation;
    bool visible = false;
};
