// Property pages, group declarations, parents and the placement of controls.
#include <cstring>

#include "PPDX/QJVPPD.h"

PPDXErrorPtr QJVPPD::ParsePropertyPage(PPDStream& stream) {
    char name[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, name, kOptionKeywordDelimiters, true))
        return MakePPDError(PPDErr_PropPageParsing, false);
    if (mProperties->Find(name, true))
        return MakePPDError(PPDErr_Duplicate, false, name);
    char translation[kLineSizeLimit] = "";
    if (stream.PrevChar() == '/')
        NextToken(stream, translation, kTranslationStringDelimiters, false);
    std::string title = ConvertTranslation(translation);
    bool visible = false, showInPrintProp = true, showInApp = true;
    for (const CString& flag : ReadFlags(stream)) {
        if (flag == "True")
            visible = true;
        else if (flag == "App")
            showInPrintProp = false;
        else if (flag == "Prop")
            showInApp = false;
    }
    if (visible || KeepsHidden())
        mProperties->Add(std::make_unique<PPDXProperty>(name, std::move(title), visible, showInPrintProp, showInApp));
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseGroupName(PPDStream& stream) {
    char name[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, name, kOptionKeywordDelimiters, true))
        return MakePPDError(PPDErr_GroupNameParsing, false, name);
    if (mGroups->Find(name, true))
        return MakePPDError(PPDErr_Duplicate, false, name);
    char translation[kLineSizeLimit];
    if (stream.PrevChar() != '/' || !NextToken(stream, translation, kTranslationStringDelimiters, false))
        return nullptr;
    // Every group title carries one trailing blank; the panel lays titles out with it.
    std::string withBlank = std::string(translation) + " ";
    bool visible = false;
    for (const CString& flag : ReadFlags(stream))
        if (flag == "True")
            visible = true;
    if (!visible && !KeepsHidden())
        return nullptr;
    AddGroupNameToList(GroupName{CString(name), ConvertTranslation(withBlank.c_str()), visible});
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseSubGroupName(PPDStream& stream) {
    char name[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, name, kOptionKeywordDelimiters, true))
        return MakePPDError(PPDErr_SubGroupNameParsing, false, name);
    if (std::strcmp(name, "FPPopupAccounting") != 0)
        return nullptr;
    char translation[kLineSizeLimit];
    if (stream.PrevChar() == '/' && NextToken(stream, translation, kTranslationStringDelimiters, false)) {
        std::string withBlank = std::string(translation) + " ";
        mPopupAccountingTitle = ConvertTranslation(withBlank.c_str());
    }
    return nullptr;
}

PPDXErrorPtr QJVPPD::ParseParent(PPDStream& stream) {
    char child[kLineSizeLimit];
    char parent[kLineSizeLimit];
    stream.SkipWhiteSpace();
    if (!NextToken(stream, child, kOptionKeywordDelimiters, true))
        return MakePPDError(PPDErr_ParentParsing, false);
    if (stream.PrevChar() != '/' || !NextToken(stream, parent, kOptionKeywordDelimiters, true))
        return MakePPDError(PPDErr_ParentParsing, false, child);
    bool visible = false;
    int kind = 0;
    for (const CString& flag : ReadFlags(stream)) {
        if (flag == "True")
            visible = true;
        else if (flag == "Scrollpane")
            kind = 1;
        else if (flag == "Rolldown")
            kind = 2;
    }
    if (!visible && !KeepsHidden())
        return nullptr;
    const GroupName* record = FindGroupNameFromList(child);
    if (!record || kind == 0)
        return nullptr;
    if (kind == 1) {
        PPDXProperty* page = mProperties->Find(parent, true);
        if (!page)
            return MakePPDError(PPDErr_ParentParsingNoParent, false, parent);
        auto pane = std::make_unique<PPDXScrollPane>(record->name.c_str(), record->translation, record->visible);
        pane->SetParent(page);
        page->SetScrollDown(pane.get());
        mGroups->Add(std::move(pane));
        return nullptr;
    }
    auto* pane = dynamic_cast<PPDXScrollPane*>(mGroups->Find(parent, true));
    if (!pane)
        return MakePPDError(PPDErr_ParentParsingNoParent, false, parent);
    auto owned = std::make_unique<PPDXRollDown>(record->name.c_str(), record->translation, record->visible);
    PPDXRollDown* rollDown = owned.get();
    rollDown->SetParent(pane);
    // The document owns it first; the pane's listing only points at it.
    mGroups->Add(std::move(owned));
    pane->RollDowns().Add(rollDown);
    return nullptr;
}

void QJVPPD::AddGroupNameToList(GroupName record) {
    if (mGroups->Find(record.name.c_str(), true))
        return;
    mGroupNames.push_back(std::move(record));
}

const GroupName* QJVPPD::FindGroupNameFromList(const char* name) const { return mGroupNames.Find(name); }

PPDXGroup* QJVPPD::FindAndCreateParent(const char* name) {
    const GroupName* record = FindGroupNameFromList(name);
    if (!record)
        return nullptr;
    if (PPDXGroup* existing = mGroups->Find(name, true))
        return existing;
    auto group = std::make_unique<PPDXGroup>(record->name.c_str(), record->translation, record->visible);
    PPDXGroup* raw = group.get();
    mGroups->Add(std::move(group));
    return raw;
}

PPDXGroup* QJVPPD::FindOrCreateGroup(const char* name) {
    if (PPDXGroup* group = mGroups->Find(name, true))
        return group;
    if (PPDXGroup* group = FindAndCreateParent(name))
        return group;
    auto group = std::make_unique<PPDXGroup>(name, std::string(name) + " ", true);
    PPDXGroup* raw = group.get();
    mGroups->Add(std::move(group));
    return raw;
}

void QJVPPD::CollectOrphanGroups() {
    for (const GroupName& record : mGroupNames)
        if (!mGroups->Find(record.name.c_str(), true))
            mGroups->Add(std::make_unique<PPDXGroup>(record.name.c_str(), record.translation, record.visible));
}

PPDXControl* QJVPPD::SetupControl(std::unique_ptr<PPDXControl> control, PPDXGroup* group, bool place) {
    // Colour, first/back page and watermark options are drawn by the panel itself.
    if (!control || !PPDXControl::ValidKeyword(control->Keyword()))
        return nullptr;
    if (group)
        control->SetParent(group);
    PPDXControl* raw = control.get();
    // The document owns it first; a roll-down's listing only points at it.
    mControls->Add(std::move(control));
    if (place)
        if (auto* rollDown = dynamic_cast<PPDXRollDown*>(group))
            rollDown->Controls().Add(raw);
    return raw;
}

PPDXGroup* QJVPPD::DefaultGroup() const { return mInInstallableOptions ? mInstallableRollDown : nullptr; }
