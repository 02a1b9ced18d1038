// The flat C interface: one-line forwards from opaque handles to the model.
//
// Handles are the model's own pointers in disguise. Every element handle is
// made from a PPDXElement* (never from a derived pointer), so turning it back
// and asking dynamic_cast for the kind a function needs is always valid; a
// handle of the wrong kind comes out null and is treated like a null handle.
#include "PPDX/KelvoPPD.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/QJVPPD.h"

namespace {

// Handle <-> model pointer. The const_casts are only the C side's const
// promises being dropped; the functions below keep them.
QJVPPD* Doc(const KelvoDocument* h) { return reinterpret_cast<QJVPPD*>(const_cast<KelvoDocument*>(h)); }
KelvoDocument* H(QJVPPD* p) { return reinterpret_cast<KelvoDocument*>(p); }
PPDXErrors* Errs(const KelvoErrors* h) { return reinterpret_cast<PPDXErrors*>(const_cast<KelvoErrors*>(h)); }
const PPDXErrorObj* Err(const KelvoError* h) { return reinterpret_cast<const PPDXErrorObj*>(h); }
const KelvoError* H(const PPDXErrorObj* p) { return reinterpret_cast<const KelvoError*>(p); }
PPDXGroups* Groups(const KelvoGroups* h) { return reinterpret_cast<PPDXGroups*>(const_cast<KelvoGroups*>(h)); }
PPDXProperties* Pages(const KelvoProperties* h) {
    return reinterpret_cast<PPDXProperties*>(const_cast<KelvoProperties*>(h));
}
PPDXControls* Ctls(const KelvoControls* h) { return reinterpret_cast<PPDXControls*>(const_cast<KelvoControls*>(h)); }
PPDXShortcuts* Cuts(const KelvoShortcuts* h) {
    return reinterpret_cast<PPDXShortcuts*>(const_cast<KelvoShortcuts*>(h));
}
KelvoErrors* H(PPDXErrors* p) { return reinterpret_cast<KelvoErrors*>(p); }
KelvoGroups* H(PPDXGroups* p) { return reinterpret_cast<KelvoGroups*>(p); }
KelvoProperties* H(PPDXProperties* p) { return reinterpret_cast<KelvoProperties*>(p); }
KelvoControls* H(PPDXControls* p) { return reinterpret_cast<KelvoControls*>(p); }
KelvoShortcuts* H(PPDXShortcuts* p) { return reinterpret_cast<KelvoShortcuts*>(p); }

// Elements always cross as PPDXElement*, whatever their class.
KelvoElement* H(PPDXElement* p) { return reinterpret_cast<KelvoElement*>(p); }
template <class T>
T* As(const KelvoElement* h) {
    return h ? dynamic_cast<T*>(reinterpret_cast<PPDXElement*>(const_cast<KelvoElement*>(h))) : nullptr;
}

int B(bool b) { return b ? 1 : 0; }

// Hands a walked control out with its type code; no control reports type 0.
KelvoControl* Typed(PPDXControl* c, CNTL_TYPE t, int* type) {
    if (type)
        *type = c ? static_cast<int>(t) : 0;
    return H(c);
}

int FillItem(const _PopupItem* item, KelvoPopupItemRecord* record) {
    if (record)
        *record = KelvoPopupItemRecord{item ? item->Keyword() : nullptr,
                                       item && item->localName ? item->localName->c_str() : nullptr};
    return B(item != nullptr);
}

}  // namespace

extern "C" {

// Document.

KelvoDocument* KelvoOpenPPD(const char* path, unsigned parseOptions, const char* hostAppID) {
    if (!path)
        return nullptr;
    PPDHostInfo host;
    if (hostAppID)
        host.applicationID = hostAppID;
    return H(new (std::nothrow) QJVPPD(std::filesystem::path(path), parseOptions, {}, std::move(host)));
}
void KelvoRetainPPD(KelvoDocument* doc) {
    if (doc)
        Doc(doc)->Retain();
}
void KelvoReleasePPD(KelvoDocument* doc) {
    if (doc)
        Doc(doc)->Release();
}
int KelvoIsValidPPD(const KelvoDocument* doc) { return doc ? B(Doc(doc)->IsValidPPD()) : 0; }

const char* KelvoGetFormatVersion(const KelvoDocument* doc) { return doc ? Doc(doc)->FormatVersion() : nullptr; }
const char* KelvoGetFileVersion(const KelvoDocument* doc) { return doc ? Doc(doc)->FileVersion() : nullptr; }
const char* KelvoGetPCFileName(const KelvoDocument* doc) { return doc ? Doc(doc)->PCFileName() : nullptr; }
const char* KelvoGetLanguageVersion(const KelvoDocument* doc) { return doc ? Doc(doc)->LanguageVersion() : nullptr; }
const char* KelvoGetLanguageEncoding(const KelvoDocument* doc) {
    return doc ? Doc(doc)->LanguageEncoding() : nullptr;
}
const char* KelvoGetModelName(const KelvoDocument* doc) { return doc ? Doc(doc)->ModelName() : nullptr; }
const char* KelvoGetPathToPDE(const KelvoDocument* doc) { return doc ? Doc(doc)->PathToPDE() : nullptr; }
const char* KelvoGetQJFileVersion(const KelvoDocument* doc) { return doc ? Doc(doc)->QJFileVersion() : nullptr; }
const char* KelvoGetQJVersion(const KelvoDocument* doc) { return doc ? Doc(doc)->MakerQJVersion() : nullptr; }
const char* KelvoGetQJVersionMac(const KelvoDocument* doc) { return doc ? Doc(doc)->QJVersionMac() : nullptr; }

unsigned KelvoGetDisplayOptions(void) { return QJVPPD::Options(); }
void KelvoSetDisplayOptions(unsigned options) { QJVPPD::Options(options); }

KelvoControls* GetControls(KelvoDocument* doc) { return doc ? H(Doc(doc)->GetControls()) : nullptr; }
KelvoGroups* GetGroups(KelvoDocument* doc) { return doc ? H(Doc(doc)->GetGroups()) : nullptr; }
KelvoProperties* GetProperties(KelvoDocument* doc) { return doc ? H(Doc(doc)->GetProperties()) : nullptr; }
KelvoShortcuts* GetShortcuts(KelvoDocument* doc) { return doc ? H(Doc(doc)->GetShortcuts()) : nullptr; }
KelvoErrors* GetErrors(KelvoDocument* doc) { return doc ? H(Doc(doc)->GetErrors()) : nullptr; }

KelvoControl* KelvoGetControlForKey(KelvoDocument* doc, const char* keyword) {
    return doc && keyword ? H(Doc(doc)->GetPPDXControlForKey(keyword)) : nullptr;
}
int IsValidControlKeyword(const KelvoDocument* doc, const char* keyword) {
    return doc && keyword ? B(PPDXControl::ValidKeyword(keyword)) : 0;
}

// Errors.

const KelvoError* FirstError(KelvoErrors* errors) { return errors ? H(Errs(errors)->First()) : nullptr; }
const KelvoError* NextError(KelvoErrors* errors) { return errors ? H(Errs(errors)->Next()) : nullptr; }
size_t ErrorCount(const KelvoErrors* errors) { return errors ? Errs(errors)->Count() : 0; }
int ErrorListIsEmpty(const KelvoErrors* errors) { return errors ? B(Errs(errors)->Empty()) : 0; }
int KelvoGetErrorCode(const KelvoError* error) { return error ? Err(error)->Code() : 0; }
const char* GetErrorKeyword(const KelvoError* error) { return error ? Err(error)->Keyword() : nullptr; }
const char* GetErrorDescription(const KelvoError* error) { return error ? Err(error)->Description() : nullptr; }
int IsErrorFatal(const KelvoError* error) { return error ? B(Err(error)->IsFatal()) : 0; }

// Groups and property pages.

KelvoGroup* FirstGroup(KelvoGroups* groups) { return groups ? H(Groups(groups)->First()) : nullptr; }
KelvoGroup* NextGroup(KelvoGroups* groups) { return groups ? H(Groups(groups)->Next()) : nullptr; }
KelvoGroup* FindGroup(const KelvoGroups* groups, const char* name, int exact) {
    return groups ? H(Groups(groups)->Find(name, exact != 0)) : nullptr;
}
size_t GroupCount(const KelvoGroups* groups) { return groups ? Groups(groups)->Count() : 0; }
int IsGrouPointerListEmpty(const KelvoGroups* groups) { return groups ? B(Groups(groups)->Empty()) : 0; }
int IsRollDown(const KelvoElement* element) { return B(As<PPDXRollDown>(element) != nullptr); }
KelvoControls* GetRollDownControlList(KelvoGroup* group) {
    PPDXRollDown* rollDown = As<PPDXRollDown>(group);
    return rollDown ? H(&rollDown->Controls()) : nullptr;
}
int IsScrollPane(const KelvoElement* element) { return B(As<PPDXScrollPane>(element) != nullptr); }
KelvoGroups* GetScrollPaneRollDowns(KelvoGroup* group) {
    PPDXScrollPane* pane = As<PPDXScrollPane>(group);
    return pane ? H(&pane->RollDowns()) : nullptr;
}

KelvoProperty* FirstProperty(KelvoProperties* pages) { return pages ? H(Pages(pages)->First()) : nullptr; }
KelvoProperty* NextProperty(KelvoProperties* pages) { return pages ? H(Pages(pages)->Next()) : nullptr; }
KelvoProperty* FindProperty(const KelvoProperties* pages, const char* name, int exact) {
    return pages ? H(Pages(pages)->Find(name, exact != 0)) : nullptr;
}
size_t PropertyCount(const KelvoProperties* pages) { return pages ? Pages(pages)->Count() : 0; }
int IsPropertyListEmpty(const KelvoProperties* pages) { return pages ? B(Pages(pages)->Empty()) : 0; }
int IsPropertyPage(const KelvoElement* element) { return B(As<PPDXProperty>(element) != nullptr); }
KelvoGroup* KelvoGetPropertyScrollPane(const KelvoProperty* page) {
    const PPDXProperty* p = As<PPDXProperty>(page);
    return p ? H(p->GetScrollDown()) : nullptr;
}
int KelvoShowInPrintProp(const KelvoProperty* page) {
    const PPDXProperty* p = As<PPDXProperty>(page);
    return p ? B(p->ShowInPrintProp()) : 0;
}
int KelvoShowInApp(const KelvoProperty* page) {
    const PPDXProperty* p = As<PPDXProperty>(page);
    return p ? B(p->ShowInApp()) : 0;
}

// Elements.

const char* KelvoGetKeyword(const KelvoElement* element) {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? e->Keyword() : nullptr;
}
const char* UserName(const KelvoElement* element) {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? e->UserName() : nullptr;
}
const char* KelvoUserNameUTF8(const KelvoElement* element) {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? e->CFStringUserName().c_str() : nullptr;
}
int IsOrphan(const KelvoElement* element) {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? B(e->IsOrphan()) : 0;
}
int IsVisible(const KelvoElement* element) {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? B(e->IsVisible()) : 0;
}
KelvoElement* GetParent(const KelvoElement* element) {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? H(e->GetParent()) : nullptr;
}
int EqualsElement(const KelvoElement* a, const KelvoElement* b) {
    const PPDXElement* x = As<PPDXElement>(a);
    const PPDXElement* y = As<PPDXElement>(b);
    return x && y ? B(*x == *y) : 0;
}
int EqualsKeyWord(const KelvoElement* element, const char* keyword) {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? B(*e == keyword) : 0;
}

// Controls of every type.

int KelvoGetControlType(const KelvoElement* element) {
    const PPDXControl* c = As<PPDXControl>(element);
    return c ? static_cast<int>(c->Type()) : KELVO_CONTROL_NONE;
}
const char* KelvoControlTypeName(int type) {
    switch (type) {
    case KELVO_CONTROL_JOB_NOTE: return "job note";
    case KELVO_CONTROL_RANGE: return "range";
    case KELVO_CONTROL_FLOAT_RANGE: return "float range";
    case KELVO_CONTROL_BOOLEAN: return "boolean";
    case KELVO_CONTROL_POPUP: return "popup";
    case KELVO_CONTROL_SPECIAL_OPTION: return "special option";
    case KELVO_CONTROL_CUSTOM_PAGE_SIZE: return "custom page size";
    default: return "unknown";
    }
}

size_t GetControlFlagCount(const KelvoControl* control) {
    const PPDXControl* c = As<PPDXControl>(control);
    return c ? c->ControlFlagCount() : 0;
}
const char* GetFirstControlFlag(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? c->FirstControlFlag() : nullptr;
}
const char* GetNextControlFlag(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? c->NextControlFlag() : nullptr;
}
int KelvoFindControlFlag(KelvoControl* control, const char* flag) {
    PPDXControl* c = As<PPDXControl>(control);
    return c && flag ? B(c->FindControlFlag(flag)) : 0;
}
int IsCommandControl(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsCommand()) : 0;
}
int IsSpoolerControl(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsSpooler()) : 0;
}
int IsSetupControl(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsSetup()) : 0;
}
int IsMacFJNControl(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsMacFJN()) : 0;
}
int IsMacImgShiftControl(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsMacImgShift()) : 0;
}
int IsNoKelvoDriverUIControl(KelvoControl* control) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsNoKelvoDriverUI()) : 0;
}
int KelvoIsInstallableOption(const KelvoControl* control) {
    const PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsInstallableOption()) : 0;
}

long GetPostScript(KelvoControl* control, unsigned char* buffer) {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? c->PostScript(buffer) : 0;
}
void ResetControlToDefault(KelvoControl* control) {
    if (PPDXControl* c = As<PPDXControl>(control))
        c->ResetToDefaultValue();
}

int KelvoHasControlValue(const KelvoControl* control) {
    const PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->HasCurrentValue()) : 0;
}
size_t KelvoCopyControlValue(KelvoControl* control, char* buffer, size_t size) {
    PPDXControl* c = As<PPDXControl>(control);
    if (!c || !c->HasCurrentValue()) {
        if (buffer && size)
            buffer[0] = '\0';
        return 0;
    }
    const std::string value = c->CopyCurrentControlValueString();
    if (buffer && size) {
        const size_t n = std::min(value.size(), size - 1);
        std::memcpy(buffer, value.data(), n);
        buffer[n] = '\0';
    }
    return value.size();
}
int KelvoSetControlValue(KelvoControl* control, const char* value) {
    PPDXControl* c = As<PPDXControl>(control);
    // A special option's value is fixed by the PPD; its setter stops the program.
    if (!c || !value || c->Type() == kControlTypeSpecialOption)
        return 0;
    c->SetCurrentControlWithCFString(value);
    return 1;
}

// Control lists.

KelvoControl* GetFirst(KelvoControls* controls, int* type) {
    CNTL_TYPE t = kControlTypeNone;
    PPDXControl* c = controls ? Ctls(controls)->First(t) : nullptr;
    return Typed(c, t, type);
}
KelvoControl* GetNext(KelvoControls* controls, int* type) {
    CNTL_TYPE t = kControlTypeNone;
    PPDXControl* c = controls ? Ctls(controls)->Next(t) : nullptr;
    return Typed(c, t, type);
}
KelvoControl* Find(const KelvoControls* controls, const char* keyword, int exact, int* type) {
    CNTL_TYPE t = kControlTypeNone;
    PPDXControl* c = controls ? Ctls(controls)->Find(keyword, t, exact != 0) : nullptr;
    return Typed(c, t, type);
}

KelvoControl* GetFirstPopupControl(KelvoControls* c) { return c ? H(Ctls(c)->FirstPopupControl()) : nullptr; }
KelvoControl* GetNextPopupControl(KelvoControls* c) { return c ? H(Ctls(c)->NextPopupControl()) : nullptr; }
KelvoControl* GetFindPopup(const KelvoControls* c, const char* keyword, int exact) {
    return c ? H(Ctls(c)->FindPopup(keyword, exact != 0)) : nullptr;
}
KelvoControl* GetFirstBooleanControl(KelvoControls* c) { return c ? H(Ctls(c)->FirstBooleanControl()) : nullptr; }
KelvoControl* GetNextBooleanControl(KelvoControls* c) { return c ? H(Ctls(c)->NextBooleanControl()) : nullptr; }
KelvoControl* GetFindBoolean(const KelvoControls* c, const char* keyword, int exact) {
    return c ? H(Ctls(c)->FindBoolean(keyword, exact != 0)) : nullptr;
}
KelvoControl* GetFirstRangeControl(KelvoControls* c) { return c ? H(Ctls(c)->FirstRangeControl()) : nullptr; }
KelvoControl* GetNextRangeControl(KelvoControls* c) { return c ? H(Ctls(c)->NextRangeControl()) : nullptr; }
KelvoControl* GetFindRangeControl(const KelvoControls* c, const char* keyword, int exact) {
    return c ? H(Ctls(c)->FindRangeControl(keyword, exact != 0)) : nullptr;
}
KelvoControl* GetFirstFloatRangeControl(KelvoControls* c) {
    return c ? H(Ctls(c)->FirstFloatRangeControl()) : nullptr;
}
KelvoControl* GetNextFloatRangeControl(KelvoControls* c) {
    return c ? H(Ctls(c)->NextFloatRangeControl()) : nullptr;
}
KelvoControl* GetFindFloatRangeControl(const KelvoControls* c, const char* keyword, int exact) {
    return c ? H(Ctls(c)->FindFloatRangeControl(keyword, exact != 0)) : nullptr;
}
KelvoControl* GetFirstJobNote(KelvoControls* c) { return c ? H(Ctls(c)->FirstJobNote()) : nullptr; }
KelvoControl* GetNextJobNote(KelvoControls* c) { return c ? H(Ctls(c)->NextJobNote()) : nullptr; }
KelvoControl* GetFindJobNote(const KelvoControls* c, const char* keyword, int exact) {
    return c ? H(Ctls(c)->FindJobNote(keyword, exact != 0)) : nullptr;
}
KelvoControl* GetFirstSpecialOption(KelvoControls* c) { return c ? H(Ctls(c)->FirstSpecialOption()) : nullptr; }
KelvoControl* GetNextSpecialOption(KelvoControls* c) { return c ? H(Ctls(c)->NextSpecialOption()) : nullptr; }
KelvoControl* GetFindSpecialOption(const KelvoControls* c, const char* keyword, int exact) {
    return c ? H(Ctls(c)->FindSpecialOption(keyword, exact != 0)) : nullptr;
}

size_t GetPopupCount(const KelvoControls* c) { return c ? Ctls(c)->PopupCount() : 0; }
size_t GetBooleanCount(const KelvoControls* c) { return c ? Ctls(c)->BooleanCount() : 0; }
size_t GetRangeCount(const KelvoControls* c) { return c ? Ctls(c)->RangeCount() : 0; }
size_t GetFloatRangeCount(const KelvoControls* c) { return c ? Ctls(c)->FloatRangeCount() : 0; }
size_t GetJobnoteCount(const KelvoControls* c) { return c ? Ctls(c)->JobNoteCount() : 0; }
size_t GetSpecialOptionCount(const KelvoControls* c) { return c ? Ctls(c)->SpecialOptionsCount() : 0; }
size_t GetControlCount(const KelvoControls* c) { return c ? Ctls(c)->ControlCount() : 0; }
int GetNoPopups(const KelvoControls* c) { return c ? B(Ctls(c)->NoPopups()) : 0; }
int GetNoBooleanControls(const KelvoControls* c) { return c ? B(Ctls(c)->NoBooleanControls()) : 0; }
int GetNoRangeControls(const KelvoControls* c) { return c ? B(Ctls(c)->NoRangeControls()) : 0; }
int GetNoFloatRangeControls(const KelvoControls* c) { return c ? B(Ctls(c)->NoFloatRangeControls()) : 0; }
int GetNoJobNotes(const KelvoControls* c) { return c ? B(Ctls(c)->NoJobNotes()) : 0; }
int GetEmpty(const KelvoControls* c) { return c ? B(Ctls(c)->Empty()) : 0; }

// Popups.

size_t PopupItemCount(const KelvoControl* popup) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->ItemCount() : 0;
}
int FirstItem(KelvoControl* popup, KelvoPopupItemRecord* record) {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return FillItem(p ? p->FirstItem() : nullptr, record);
}
int NextItem(KelvoControl* popup, KelvoPopupItemRecord* record) {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return FillItem(p ? p->NextItem() : nullptr, record);
}
long GetPopupValue(const KelvoControl* popup) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->GetValue() : 0;
}
void SetPopupValue(KelvoControl* popup, long n) {
    if (PPDXPopupControl* p = As<PPDXPopupControl>(popup))
        p->SetValue(n);
}
long GetPopupDefaultValue(const KelvoControl* popup) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->DefaultValue() : 0;
}
const char* GetKeywordLocalName(const KelvoControl* popup, const char* choice) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p && choice ? p->GetKeywordLocalName(choice) : nullptr;
}
long GetKeywordPSData(const KelvoControl* popup, const char* choice, unsigned char* buffer) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p && choice ? p->GetKeywordPSData(choice, buffer) : 0;
}
int IsKeywordSelected(const KelvoControl* popup, const char* choice) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p && choice ? B(p->IsKeywordSelected(choice)) : 0;
}
int SetKeywordSelect(KelvoControl* popup, const char* choice, int select) {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? B(p->SetKeywordSelect(choice, select != 0)) : 0;
}
int CanSelectMultipleItems(const KelvoControl* popup) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? B(p->CanSelectMultipleItems()) : 0;
}
const char* GetDefaultKeyword(const KelvoControl* popup) {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->GetDefaultKeyword() : nullptr;
}
long PopupPostScript(KelvoControl* popup, unsigned char* buffer) {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->PostScript(buffer) : 0;
}

// Booleans.

int IsTrue(const KelvoControl* boolean) {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? B(b->IsTrue()) : 0;
}
void SetValue(KelvoControl* boolean, int value) {
    if (PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean))
        b->SetValue(value != 0);
}
int DefaultState(const KelvoControl* boolean) {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? B(b->DefaultState()) : 0;
}
const char* TrueDisplayText(const KelvoControl* boolean) {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? b->TrueDisplayText() : nullptr;
}
const char* FalseDisplayText(const KelvoControl* boolean) {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? b->FalseDisplayText() : nullptr;
}
long BooleanPostScript(KelvoControl* boolean, unsigned char* buffer) {
    PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? b->PostScript(buffer) : 0;
}

// Ranges.

long GetRangeValue(const KelvoControl* range) {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->GetValue() : 0;
}
void SetRangeValue(KelvoControl* range, long value) {
    if (PPDXRangeControl* r = As<PPDXRangeControl>(range))
        r->SetValue(value);
}
long GetRangeDefaultVal(const KelvoControl* range) {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->DefaultValue() : 0;
}
long GetRangeIncrement(const KelvoControl* range) {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->Increment() : 0;
}
long GetRangeMinimum(const KelvoControl* range) {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->MinVal() : 0;
}
long GetRangeMaximum(const KelvoControl* range) {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->MaxVal() : 0;
}
long RangePostScript(KelvoControl* range, unsigned char* buffer) {
    PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->PostScript(buffer) : 0;
}

double GetFloatRangeValue(const KelvoControl* range) {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->GetValue() : 0.0;
}
void SetFloatRangeValue(KelvoControl* range, double value) {
    if (PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range))
        r->SetValue(static_cast<float>(value));
}
double GetFloatRangeDefaultVal(const KelvoControl* range) {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->DefaultValue() : 0.0;
}
double GetFloatRangeIncrement(const KelvoControl* range) {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->Increment() : 0.0;
}
double GetFloatRangeMinimum(const KelvoControl* range) {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->MinVal() : 0.0;
}
double GetFloatRangeMaximum(const KelvoControl* range) {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->MaxVal() : 0.0;
}
long FloatRangePostScript(KelvoControl* range, unsigned char* buffer) {
    PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->PostScript(buffer) : 0;
}

// Custom page size.

int KelvoGetCustomPageSize(const KelvoControl* control, KelvoCustomPageSize* size) {
    const PPDXCustomPageSizeControl* c = As<PPDXCustomPageSizeControl>(control);
    if (!c)
        return 0;
    if (size)
        *size = KelvoCustomPageSize{c->MinWidth(), c->MaxWidth(), c->MinHeight(),
                                    c->MaxHeight(), c->GetWidth(), c->GetHeight()};
    return 1;
}
void KelvoSetCustomPageSize(KelvoControl* control, double width, double height) {
    if (PPDXCustomPageSizeControl* c = As<PPDXCustomPageSizeControl>(control)) {
        c->SetWidth(static_cast<float>(width));
        c->SetHeight(static_cast<float>(height));
    }
}

// Job notes.

const char* KelvoGetJobNoteText(const KelvoControl* note) {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->GetNotes() : nullptr;
}
void KelvoSetJobNoteText(KelvoControl* note, const char* text) {
    if (PPDXJobNote* n = As<PPDXJobNote>(note))
        n->SetNotes(text);
}
const char* KelvoGetJobNoteDefaultText(const KelvoControl* note) {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->GetDefaultNotes() : nullptr;
}
void KelvoSetJobNoteDefaultText(KelvoControl* note, const char* text) {
    if (PPDXJobNote* n = As<PPDXJobNote>(note))
        n->SetDefaultNotes(text);
}
long KelvoGetJobNoteMaxLength(const KelvoControl* note) {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->MaxLength() : 0;
}
long KelvoGetJobNoteMinLength(const KelvoControl* note) {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->MinLength() : 0;
}
unsigned long KelvoGetJobNoteFlags(const KelvoControl* note) {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->Flags() : 0;
}
int KelvoGetJobNoteOn(const KelvoControl* note) {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? B(n->GetNotesOnValue()) : 0;
}
void KelvoSetJobNoteOn(KelvoControl* note, int on) {
    if (PPDXJobNote* n = As<PPDXJobNote>(note))
        n->SetNotesOnValue(on != 0);
}
long KelvoJobNotePostScript(KelvoControl* note, unsigned char* buffer) {
    PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->PostScript(buffer) : 0;
}

// Special options.

const char* KelvoGetSpecialOptionValue(const KelvoControl* option) {
    const PPDXSpecialOption* s = As<PPDXSpecialOption>(option);
    return s ? s->GetValue() : nullptr;
}

// Shortcuts.

KelvoControl* FirstShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->First()) : nullptr; }
KelvoControl* NextShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->Next()) : nullptr; }
KelvoControl* FindShortcut(KelvoShortcuts* s, const char* keyword, int exact) {
    return s ? H(Cuts(s)->Find(keyword, exact != 0)) : nullptr;
}
size_t GetShortcutCount(const KelvoShortcuts* s) { return s ? Cuts(s)->Count() : 0; }
int IsShortcutsListEmpty(const KelvoShortcuts* s) { return s ? B(Cuts(s)->Empty()) : 0; }
KelvoControl* KelvoGetShortcutAt(const KelvoShortcuts* s, size_t index) {
    return s && index < Cuts(s)->Count() ? H(Cuts(s)->All()[index]) : nullptr;
}
KelvoControl* GetPageSizeShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->PageSize()) : nullptr; }
KelvoControl* GetInputSlotShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->InputSlot()) : nullptr; }
KelvoControl* GetDuplexShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->Duplex()) : nullptr; }
KelvoControl* GetOrientationShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->Orientation()) : nullptr; }
KelvoControl* GetMediaSourceShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->MediaSource()) : nullptr; }
KelvoControl* GetChromaquaShortcut(KelvoShortcuts* s) { return s ? H(Cuts(s)->Chromaqua()) : nullptr; }

}  // extern "C"
