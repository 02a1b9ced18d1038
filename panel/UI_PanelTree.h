// The shallow tree the customize pane draws: groups of controls, and the quick-access shortcuts.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kelvo::panel {

/// Fixed capacities of the tree. The pane is laid out for them; a PPD that
/// asks for more gets the first ones and a log line for each element left
/// out, never a write past the end.
inline constexpr std::size_t kMaxTreeGroups = 30;
inline constexpr std::size_t kMaxGroupControls = 30;
inline constexpr std::size_t kMaxTreeShortcuts = 99;
/// Bytes of a node's keyword, terminator included: longer keywords are cut
/// to 63 bytes.
inline constexpr std::size_t kTreeKeywordSize = 64;

struct PPDTreeControl {
    std::string name;
    std::string keyword;
};

struct PPDTreeGroup {
    std::string name;
    std::string keyword;
    std::array<PPDTreeControl, kMaxGroupControls> controls{};
    std::size_t controlCount = 0;
};

struct PPDTreeShortcut {
    std::string name;
    std::string keyword;
    /// 100 * (group index + 1) + the control's index in that group; 0 when
    /// the shortcut's control is placed in no group.
    std::int32_t position = 0;
};

/// Groups, their controls and the shortcuts, each with its count. Only the
/// first `count` entries of an array are meaningful.
struct PPDTree {
    std::array<PPDTreeGroup, kMaxTreeGroups> groups{};
    std::size_t groupCount = 0;
    std::array<PPDTreeShortcut, kMaxTreeShortcuts> shortcuts{};
    std::size_t shortcutCount = 0;

    void Clear();
    /// Appends a node; null (and a log line naming the keyword) when the
    /// tree is full.
    PPDTreeShortcut* AddShortcut(std::string_view name, std::string_view keyword);
    PPDTreeGroup* AddGroup(std::string_view name, std::string_view keyword);
    /// Appends a control to `group`; false (and a log line) when it is full.
    bool AddControl(PPDTreeGroup& group, std::string_view name, std::string_view keyword);
    /// The first shortcut / group node whose keyword equals `keyword`.
    PPDTreeShortcut* FindShortcut(std::string_view keyword);
    const PPDTreeShortcut* FindShortcut(std::string_view keyword) const;
    /// Index of the first group node of that keyword, or kMaxTreeGroups.
    std::size_t FindGroup(std::string_view keyword) const;
    /// Drops the groups that received no control, moving the later ones up.
    void RemoveEmptyGroups();
};

/// A keyword as a node keeps it: cut to kTreeKeywordSize - 1 bytes.
std::string TreeKeyword(std::string_view keyword);

} // namespace kelvo::panel
