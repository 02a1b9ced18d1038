// Roll-downs and scroll panes: the listing collections they carry.
#include "PPDX/PPDObjects/PPDXGroup.h"

#include "PPDX/PPDObjects/PPDXGroups.h"

PPDXRollDown::PPDXRollDown(const char* name, std::string translation, bool visible)
    : PPDXGroup(name, std::move(translation), visible), mControls(std::make_unique<PPDXControls>(false)) {}

PPDXRollDown::~PPDXRollDown() = default;

PPDXScrollPane::PPDXScrollPane(const char* name, std::string translation, bool visible)
    : PPDXGroup(name, std::move(translation), visible), mRollDowns(std::make_unique<PPDXGroups>(false)) {}

PPDXScrollPane::~PPDXScrollPane() = default;
