// Groups that hold controls: plain groups, roll-down sections and scroll panes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "PPDX/PPDObjects/PPDXControls.h"
#include "PPDX/PPDObjects/PPDXElement.h"

class PPDXGroups;

/// A named group of controls. The keyword is the group name.
class PPDXGroup : public PPDXElement {
public:
    PPDXGroup(const char* name, std::string translation, bool visible)
        : PPDXElement(name, std::move(translation), visible) {}
    /// From a snapshot: the element part. The kind is the collection's
    /// business (it reads the marker and builds the right class).
    PPDXGroup(Settings& settings, int index) : PPDXElement(settings, index) {}
    ~PPDXGroup() override = default;

    /// The element part, then a one-byte marker naming the kind of group.
    SettingsStatus Save(Settings& settings, const int& index) const override;

protected:
    /// The marker tag of this kind: plain group, roll-down or scroll pane.
    virtual std::uint32_t KindTag() const;
};

/// A collapsible section inside a scroll pane. Lists (does not own) the
/// controls placed in it.
class PPDXRollDown : public PPDXGroup {
public:
    PPDXRollDown(const char* name, std::string translation, bool visible);
    PPDXRollDown(Settings& settings, int index);
    ~PPDXRollDown() override;
    PPDXControls& Controls() { return *mControls; }
    const PPDXControls& Controls() const { return *mControls; }

protected:
    std::uint32_t KindTag() const override;

private:
    std::unique_ptr<PPDXControls> mControls;
};

/// The scrolling area of a property page. Lists (does not own) its roll-downs.
class PPDXScrollPane : public PPDXGroup {
public:
    PPDXScrollPane(const char* name, std::string translation, bool visible);
    PPDXScrollPane(Settings& settings, int index);
    ~PPDXScrollPane() override;
    PPDXGroups& RollDowns() { return *mRollDowns; }
    const PPDXGroups& RollDowns() const { return *mRollDowns; }

protected:
    std::uint32_t KindTag() const override;

private:
    std::unique_ptr<PPDXGroups> mRollDowns;
};

/// A declared group that no control has used yet.
struct GroupName {
    CString name;
    std::string translation;
    bool visible = false;
};

/// The declared groups in declaration order, with a look-up by name. A name
/// may be declared more than once; the look-up reports its first record.
class GroupNameList {
public:
    void push_back(GroupName record);
    /// The first record named `name`, or null (also for a null name). The
    /// pointer is valid until the next push_back or clear.
    const GroupName* Find(const char* name) const;
    void clear();
    std::size_t size() const { return mRecords.size(); }
    auto begin() const { return mRecords.begin(); }
    auto end() const { return mRecords.end(); }

private:
    struct NameHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };

    std::vector<GroupName> mRecords;
    // Name -> index of its first record: every control's group line and
    // every parent line looks a name up, and a file can declare tens of
    // thousands of groups.
    std::unordered_map<std::string, std::size_t, NameHash, std::equal_to<>> mFirst;
};
