// Pages, sections and controls of a document, in the order the panel shows them.
#include "panel/PanelLayout.h"

#include <unordered_map>
#include <unordered_set>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "PPDX/PPDObjects/PPDXGroups.h"
#include "PPDX/QJVPPD.h"

namespace kelvo::panel {

namespace {

/// The PPD's translation without the trailing blanks many files leave in
/// it; the keyword when nothing is left.
std::string Title(const PPDXElement& element) {
    std::string title = element.CFStringUserName();
    const auto end = title.find_last_not_of(" \t\r\n");
    title.erase(end == std::string::npos ? 0 : end + 1);
    if (title.empty() && element.Keyword())
        title = element.Keyword();
    return title;
}

std::string KeywordOf(const PPDXElement& element) { return element.Keyword() ? element.Keyword() : std::string(); }

/// Whether the control itself qualifies, leaving its groups aside.
bool ControlQualifies(PPDXControl& control) {
    if (!control.IsVisible() || !control.Keyword() || !*control.Keyword())
        return false;
    if (control.Type() == kControlTypeSpecialOption || control.Type() == kControlTypeCustomPageSize)
        return false;
    return !control.IsNoKelvoDriverUI();
}

/// Every control grouped under its direct parent, in file order: one pass
/// over the controls, so laying out never scans all groups per control.
using ControlsByParent = std::unordered_map<const PPDXElement*, std::vector<PPDXControl*>>;

ControlsByParent GroupControls(QJVPPD& doc) {
    ControlsByParent byParent;
    for (PPDXControl* control : doc.GetControls()->All()) {
        if (control && control->GetParent() && ControlQualifies(*control))
            byParent[control->GetParent()].push_back(control);
    }
    return byParent;
}

LayoutSection MakeSection(const PPDXGroup& group, LayoutSection::Kind kind, ControlsByParent& byParent) {
    LayoutSection section;
    section.kind = kind;
    section.keyword = KeywordOf(group);
    section.title = Title(group);
    if (auto it = byParent.find(&group); it != byParent.end())
        section.controls = std::move(it->second);
    return section;
}

} // namespace

std::size_t PanelLayout::ControlCount() const {
    std::size_t count = 0;
    for (const LayoutPage& page : pages)
        for (const LayoutSection& section : page.sections)
            count += section.controls.size();
    return count;
}

bool PanelLayout::Find(const std::string& keyword, std::size_t& page, std::size_t& section) const {
    for (std::size_t p = 0; p < pages.size(); ++p) {
        for (std::size_t s = 0; s < pages[p].sections.size(); ++s) {
            for (const PPDXControl* control : pages[p].sections[s].controls) {
                if (control->Keyword() && keyword == control->Keyword()) {
                    page = p;
                    section = s;
                    return true;
                }
            }
        }
    }
    return false;
}

bool HasEditor(PPDXControl& control) {
    if (!ControlQualifies(control))
        return false;
    // A hidden group (or the page above it) hides everything inside. The
    // chain is at most page / pane / roll-down deep; the bound guards
    // against a damaged parent loop.
    int depth = 0;
    for (const PPDXElement* up = control.GetParent(); up && depth < 16; up = up->GetParent(), ++depth) {
        if (!up->IsVisible())
            return false;
    }
    return true;
}

PanelLayout BuildPanelLayout(QJVPPD& doc) {
    PanelLayout layout;
    if (!doc.GetControls() || !doc.GetGroups() || !doc.GetProperties())
        return layout;
    ControlsByParent byParent = GroupControls(doc);

    // A page's scroll pane is normally linked from the page; a pane that
    // only names the page as its parent counts too.
    std::unordered_map<const PPDXElement*, PPDXScrollPane*> paneOfPage;
    for (PPDXGroup* group : doc.GetGroups()->All())
        if (auto* pane = dynamic_cast<PPDXScrollPane*>(group); pane && pane->GetParent())
            paneOfPage.try_emplace(pane->GetParent(), pane);

    std::unordered_set<const PPDXGroup*> placed;
    for (PPDXProperty* property : doc.GetProperties()->All()) {
        if (!property || !property->IsVisible())
            continue;
        PPDXScrollPane* pane = property->GetScrollDown();
        if (!pane) {
            auto it = paneOfPage.find(property);
            pane = it == paneOfPage.end() ? nullptr : it->second;
        }
        if (!pane)
            continue;
        placed.insert(pane);
        LayoutPage page;
        page.keyword = KeywordOf(*property);
        page.title = Title(*property);
        if (pane->IsVisible()) {
            for (PPDXGroup* rollDown : pane->RollDowns().All()) {
                if (!rollDown)
                    continue;
                placed.insert(rollDown);
                if (!rollDown->IsVisible())
                    continue;
                LayoutSection section = MakeSection(*rollDown, LayoutSection::Kind::kRollDown, byParent);
                if (!section.controls.empty())
                    page.sections.push_back(std::move(section));
            }
        }
        if (!page.sections.empty())
            layout.pages.push_back(std::move(page));
    }

    // Top-level groups no page holds: each a page of its own, one section.
    for (PPDXGroup* group : doc.GetGroups()->All()) {
        if (!group || placed.count(group) || !group->IsVisible() || dynamic_cast<PPDXScrollPane*>(group))
            continue;
        const bool rollDown = dynamic_cast<PPDXRollDown*>(group) != nullptr;
        // A roll-down with a parent belongs to a pane; if that pane's page
        // was hidden, so is it.
        if (rollDown && group->GetParent())
            continue;
        if (!rollDown && group->GetParent())
            continue;
        LayoutSection section =
            MakeSection(*group, rollDown ? LayoutSection::Kind::kRollDown : LayoutSection::Kind::kGroup, byParent);
        if (section.controls.empty())
            continue;
        LayoutPage page;
        page.keyword = section.keyword;
        page.title = section.title;
        page.sections.push_back(std::move(section));
        layout.pages.push_back(std::move(page));
    }
    return layout;
}

} // namespace kelvo::panel
