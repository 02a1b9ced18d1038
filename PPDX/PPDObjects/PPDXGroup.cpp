// Roll-downs and scroll panes: the listing collections they carry; the list of declared group names.
#include "PPDX/PPDObjects/PPDXGroup.h"

#include "PPDX/PPDObjects/PPDXGroups.h"

PPDXRollDown::PPDXRollDown(const char* name, std::string translation, bool visible)
    : PPDXGroup(name, std::move(translation), visible), mControls(std::make_unique<PPDXControls>(false)) {}

PPDXRollDown::~PPDXRollDown() = default;

PPDXScrollPane::PPDXScrollPane(const char* name, std::string translation, bool visible)
    : PPDXGroup(name, std::move(translation), visible), mRollDowns(std::make_unique<PPDXGroups>(false)) {}

PPDXScrollPane::~PPDXScrollPane() = default;

void GroupNameList::push_back(GroupName record) {
    mFirst.try_emplace(record.name.Str(), mRecords.size());
    mRecords.push_back(std::move(record));
}

const GroupName* GroupNameList::Find(const char* name) const {
    if (!name)
        return nullptr;
    auto it = mFirst.find(std::string_view(name));
    return it == mFirst.end() ? nullptr : &mRecords[it->second];
}

void GroupNameList::clear() {
    mRecords.clear();
    mFirst.clear();
}
