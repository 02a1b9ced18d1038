// Where each control of a document is shown: pages, their sections, and the
// controls in file order. Toolkit-free, so every window that lays a
// document out (the panel, the job-properties window) agrees, and tests and
// benchmarks see the same layout without a display.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class PPDXControl;
class QJVPPD;

namespace kelvo::panel {

/// A titled block of controls: a roll-down section of a page (shown
/// collapsible) or a plain group (shown as a framed group).
struct LayoutSection {
    enum class Kind { kRollDown, kGroup };
    Kind kind = Kind::kGroup;
    std::string keyword;
    /// The translation from the PPD (trailing blanks removed); the keyword
    /// when the PPD gave none.
    std::string title;
    /// Controls that get an editor, in file order. Borrowed from the document.
    std::vector<PPDXControl*> controls;
};

/// One tab: a property page with its scroll pane's roll-downs, or a
/// top-level group (plain or roll-down) that no page holds, as a page of
/// its own after the property pages.
struct LayoutPage {
    std::string keyword;
    std::string title;
    std::vector<LayoutSection> sections;
};

struct PanelLayout {
    std::vector<LayoutPage> pages;
    /// Editors in all (the sum over every section).
    std::size_t ControlCount() const;
    /// The page and section index of a control keyword (with its asterisk);
    /// false when it has no editor.
    bool Find(const std::string& keyword, std::size_t& page, std::size_t& section) const;
};

/// Whether a control gets an editor: it is visible, has a keyword, is not a
/// special option, not a custom page size (page setup owns that), and not
/// marked for no driver display. Hidden groups and pages hide theirs.
bool HasEditor(PPDXControl& control);

/// The layout of `doc`. Empty sections and pages are left out; nothing in
/// the document changes.
PanelLayout BuildPanelLayout(QJVPPD& doc);

} // namespace kelvo::panel
