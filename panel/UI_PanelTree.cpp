// The customize pane's tree: bounded appends that say what they leave out.
#include "panel/UI_PanelTree.h"

#include <utility>

#include "util/Log.h"
#include "util/Utf8Cut.h"

namespace kelvo::panel {

std::string TreeKeyword(std::string_view keyword) { return std::string(CutUTF8(keyword, kTreeKeywordSize - 1)); }

void PPDTree::Clear() {
    for (std::size_t i = 0; i < groupCount; ++i)
        groups[i] = PPDTreeGroup{};
    for (std::size_t i = 0; i < shortcutCount; ++i)
        shortcuts[i] = PPDTreeShortcut{};
    groupCount = 0;
    shortcutCount = 0;
}

PPDTreeShortcut* PPDTree::AddShortcut(std::string_view name, std::string_view keyword) {
    if (shortcutCount >= kMaxTreeShortcuts) {
        Log("UI_Panel tree: shortcut " + std::string(keyword) + " left out: the panel holds at most " +
            std::to_string(kMaxTreeShortcuts) + " shortcuts");
        return nullptr;
    }
    PPDTreeShortcut& node = shortcuts[shortcutCount++];
    node = PPDTreeShortcut{std::string(name), TreeKeyword(keyword), 0};
    return &node;
}

PPDTreeGroup* PPDTree::AddGroup(std::string_view name, std::string_view keyword) {
    if (groupCount >= kMaxTreeGroups) {
        Log("UI_Panel tree: group " + std::string(keyword) + " left out: the panel holds at most " +
            std::to_string(kMaxTreeGroups) + " groups");
        return nullptr;
    }
    PPDTreeGroup& node = groups[groupCount++];
    node = PPDTreeGroup{};
    node.name = std::string(name);
    node.keyword = TreeKeyword(keyword);
    return &node;
}

bool PPDTree::AddControl(PPDTreeGroup& group, std::string_view name, std::string_view keyword) {
    if (group.controlCount >= kMaxGroupControls) {
        Log("UI_Panel tree: control " + std::string(keyword) + " of group " + group.keyword +
            " left out: a group holds at most " + std::to_string(kMaxGroupControls) + " controls");
        return false;
    }
    group.controls[group.controlCount++] = PPDTreeControl{std::string(name), TreeKeyword(keyword)};
    return true;
}

PPDTreeShortcut* PPDTree::FindShortcut(std::string_view keyword) {
    return const_cast<PPDTreeShortcut*>(std::as_const(*this).FindShortcut(keyword));
}

const PPDTreeShortcut* PPDTree::FindShortcut(std::string_view keyword) const {
    for (std::size_t i = 0; i < shortcutCount; ++i)
        if (shortcuts[i].keyword == keyword)
            return &shortcuts[i];
    return nullptr;
}

std::size_t PPDTree::FindGroup(std::string_view keyword) const {
    for (std::size_t i = 0; i < groupCount; ++i)
        if (groups[i].keyword == keyword)
            return i;
    return kMaxTreeGroups;
}

void PPDTree::RemoveEmptyGroups() {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < groupCount; ++i) {
        if (groups[i].controlCount == 0)
            continue;
        if (kept != i)
            groups[kept] = std::move(groups[i]);
        ++kept;
    }
    for (std::size_t i = kept; i < groupCount; ++i)
        groups[i] = PPDTreeGroup{};
    groupCount = kept;
}

} // namespace kelvo::panel
