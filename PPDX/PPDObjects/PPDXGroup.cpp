// Groups, roll-downs, scroll panes and pages: their listings, their snapshot records; the list of declared group names.
#include "PPDX/PPDObjects/PPDXGroup.h"

#include "PPDX/PPDObjects/PPDXGroups.h"
#include "PPDX/PPDObjects/SnapshotItems.h"

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

namespace snap = kelvo::snapshot;

PPDXRollDown::PPDXRollDown(Settings& settings, int index)
    : PPDXGroup(settings, index), mControls(std::make_unique<PPDXControls>(false)) {}

PPDXScrollPane::PPDXScrollPane(Settings& settings, int index)
    : PPDXGroup(settings, index), mRollDowns(std::make_unique<PPDXGroups>(false)) {}

std::uint32_t PPDXGroup::KindTag() const { return tagOrdinaryGroup; }
std::uint32_t PPDXRollDown::KindTag() const { return tagRollDown; }
std::uint32_t PPDXScrollPane::KindTag() const { return tagScrollPane; }

SettingsStatus PPDXGroup::Save(Settings& settings, const int& index) const {
    const SettingsStatus status = PPDXElement::Save(settings, index);
    return status != kSettingsNoErr ? status : snap::AddMarker(settings, KindTag(), index);
}

PPDXGroups::PPDXGroups(Settings& settings) : PPDXElementCollection(true) {
    for (const std::int32_t id : snap::MemberIds(settings, kGroupTag, kGroupCount, kFirstGroupId)) {
        if (snap::Has(settings, tagRollDown, id))
            Add(std::unique_ptr<PPDXGroup>(std::make_unique<PPDXRollDown>(settings, id)));
        else if (snap::Has(settings, tagScrollPane, id))
            Add(std::unique_ptr<PPDXGroup>(std::make_unique<PPDXScrollPane>(settings, id)));
        else
            Add(std::make_unique<PPDXGroup>(settings, id));
    }
}

SettingsStatus PPDXGroups::Save(Settings& settings) const {
    return snap::SaveCollection(settings, kGroupTag, kGroupCount, kFirstGroupId, All());
}

PPDXProperty::PPDXProperty(Settings& settings, int index)
    : PPDXElement(settings, index), mShowInPrintProp(0), mShowInApp(0) {
    std::uint32_t flag = 0;
    if (snap::ReadNumber(settings, tagShowInApp, index, flag))
        mShowInApp = flag;
    if (snap::ReadNumber(settings, tagShowInPrintPage, index, flag))
        mShowInPrintProp = flag;
}

SettingsStatus PPDXProperty::Save(Settings& settings, const int& index) const {
    SettingsStatus status = PPDXElement::Save(settings, index);
    if (status == kSettingsNoErr)
        status = settings.AddValue(tagShowInApp, index, mShowInApp);
    if (status == kSettingsNoErr)
        status = settings.AddValue(tagShowInPrintPage, index, mShowInPrintProp);
    return status;
}

PPDXProperties::PPDXProperties(Settings& settings) : PPDXElementCollection(true) {
    for (const std::int32_t id : snap::MemberIds(settings, kPropertyTag, kPropertyCount, kFirstPropertyId))
        Add(std::make_unique<PPDXProperty>(settings, id));
}

SettingsStatus PPDXProperties::Save(Settings& settings) const {
    return snap::SaveCollection(settings, kPropertyTag, kPropertyCount, kFirstPropertyId, All());
}
