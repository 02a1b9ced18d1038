// The flat C interface over the document and its lists: one-line forwards
// from opaque handles to the model (the per-kind control functions are in
// KelvoPPDControls.cpp, the newer queries in KelvoPPDQueries.cpp).
#include "PPDX/KelvoPPD.h"

#include "PPDX/KelvoPPDHandles.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"

using namespace kelvo::capi;

namespace {

// Hands a walked control out with its type code; no control reports type 0.
KelvoControl* Typed(PPDXControl* c, CNTL_TYPE t, int* type) {
    if (type)
        *type = c ? static_cast<int>(t) : 0;
    return H(c);
}

} // namespace

extern "C" {

// Document.

KelvoDocument* KelvoOpenPPD(const char* path, unsigned parseOptions, const char* hostAppID) try {
    if (!path)
        return nullptr;
    PPDHostInfo host;
    if (hostAppID)
        host.applicationID = hostAppID;
    return H(new QJVPPD(std::filesystem::path(path), parseOptions, {}, std::move(host)));
} catch (...) { return Failed(nullptr); }
void KelvoRetainPPD(KelvoDocument* doc) try {
    if (doc)
        Doc(doc)->Retain();
} catch (...) { Failed(); }
void KelvoReleasePPD(KelvoDocument* doc) try {
    if (doc)
        Doc(doc)->Release();
} catch (...) { Failed(); }
int KelvoIsValidPPD(const KelvoDocument* doc) try {
    return doc ? B(Doc(doc)->IsValidPPD()) : 0;
} catch (...) { return Failed(0); }

const char* KelvoGetFormatVersion(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->FormatVersion() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetFileVersion(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->FileVersion() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetPCFileName(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->PCFileName() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetLanguageVersion(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->LanguageVersion() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetLanguageEncoding(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->LanguageEncoding() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetModelName(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->ModelName() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetPathToPDE(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->PathToPDE() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetQJFileVersion(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->QJFileVersion() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetQJVersion(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->MakerQJVersion() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetQJVersionMac(const KelvoDocument* doc) try {
    return doc ? Doc(doc)->QJVersionMac() : nullptr;
} catch (...) { return Failed(nullptr); }

unsigned KelvoGetDisplayOptions(void) try { return QJVPPD::Options(); } catch (...) { return Failed(0); }
void KelvoSetDisplayOptions(unsigned options) try { QJVPPD::Options(options); } catch (...) { Failed(); }

KelvoControls* KelvoGetControls(KelvoDocument* doc) try {
    return doc ? H(Doc(doc)->GetControls()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoGroups* KelvoGetGroups(KelvoDocument* doc) try {
    return doc ? H(Doc(doc)->GetGroups()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoProperties* KelvoGetProperties(KelvoDocument* doc) try {
    return doc ? H(Doc(doc)->GetProperties()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoShortcuts* KelvoGetShortcuts(KelvoDocument* doc) try {
    return doc ? H(Doc(doc)->GetShortcuts()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoErrors* KelvoGetErrors(KelvoDocument* doc) try {
    return doc ? H(Doc(doc)->GetErrors()) : nullptr;
} catch (...) { return Failed(nullptr); }

KelvoControl* KelvoGetControlForKey(KelvoDocument* doc, const char* keyword) try {
    return doc && keyword ? H(Doc(doc)->GetPPDXControlForKey(keyword)) : nullptr;
} catch (...) { return Failed(nullptr); }
int KelvoIsValidControlKeyword(const KelvoDocument* doc, const char* keyword) try {
    return doc && keyword ? B(PPDXControl::ValidKeyword(keyword)) : 0;
} catch (...) { return Failed(0); }

// Errors.

const KelvoError* KelvoFirstError(KelvoErrors* errors) try {
    return errors ? H(Errs(errors)->First()) : nullptr;
} catch (...) { return Failed(nullptr); }
const KelvoError* KelvoNextError(KelvoErrors* errors) try {
    return errors ? H(Errs(errors)->Next()) : nullptr;
} catch (...) { return Failed(nullptr); }
size_t KelvoErrorCount(const KelvoErrors* errors) try {
    return errors ? Errs(errors)->Count() : 0;
} catch (...) { return Failed(0); }
int KelvoErrorListIsEmpty(const KelvoErrors* errors) try {
    return errors ? B(Errs(errors)->Empty()) : 0;
} catch (...) { return Failed(0); }
int KelvoGetErrorCode(const KelvoError* error) try {
    return error ? Err(error)->Code() : 0;
} catch (...) { return Failed(0); }
const char* KelvoGetErrorKeyword(const KelvoError* error) try {
    return error ? Err(error)->Keyword() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetErrorDescription(const KelvoError* error) try {
    return error ? Err(error)->Description() : nullptr;
} catch (...) { return Failed(nullptr); }
int KelvoIsErrorFatal(const KelvoError* error) try {
    return error ? B(Err(error)->IsFatal()) : 0;
} catch (...) { return Failed(0); }

// Groups and property pages.

KelvoGroup* KelvoFirstGroup(KelvoGroups* groups) try {
    return groups ? H(Groups(groups)->First()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoGroup* KelvoNextGroup(KelvoGroups* groups) try {
    return groups ? H(Groups(groups)->Next()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoGroup* KelvoFindGroup(const KelvoGroups* groups, const char* name, int exact) try {
    return groups ? H(Groups(groups)->Find(name, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
size_t KelvoGroupCount(const KelvoGroups* groups) try {
    return groups ? Groups(groups)->Count() : 0;
} catch (...) { return Failed(0); }
int KelvoIsGrouPointerListEmpty(const KelvoGroups* groups) try {
    return groups ? B(Groups(groups)->Empty()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsRollDown(const KelvoElement* element) try {
    return B(As<PPDXRollDown>(element) != nullptr);
} catch (...) { return Failed(0); }
KelvoControls* KelvoGetRollDownControlList(KelvoGroup* group) try {
    PPDXRollDown* rollDown = As<PPDXRollDown>(group);
    return rollDown ? H(&rollDown->Controls()) : nullptr;
} catch (...) { return Failed(nullptr); }
int KelvoIsScrollPane(const KelvoElement* element) try {
    return B(As<PPDXScrollPane>(element) != nullptr);
} catch (...) { return Failed(0); }
KelvoGroups* KelvoGetScrollPaneRollDowns(KelvoGroup* group) try {
    PPDXScrollPane* pane = As<PPDXScrollPane>(group);
    return pane ? H(&pane->RollDowns()) : nullptr;
} catch (...) { return Failed(nullptr); }

KelvoProperty* KelvoFirstProperty(KelvoProperties* pages) try {
    return pages ? H(Pages(pages)->First()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoProperty* KelvoNextProperty(KelvoProperties* pages) try {
    return pages ? H(Pages(pages)->Next()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoProperty* KelvoFindProperty(const KelvoProperties* pages, const char* name, int exact) try {
    return pages ? H(Pages(pages)->Find(name, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
size_t KelvoPropertyCount(const KelvoProperties* pages) try {
    return pages ? Pages(pages)->Count() : 0;
} catch (...) { return Failed(0); }
int KelvoIsPropertyListEmpty(const KelvoProperties* pages) try {
    return pages ? B(Pages(pages)->Empty()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsPropertyPage(const KelvoElement* element) try {
    return B(As<PPDXProperty>(element) != nullptr);
} catch (...) { return Failed(0); }
KelvoGroup* KelvoGetPropertyScrollPane(const KelvoProperty* page) try {
    const PPDXProperty* p = As<PPDXProperty>(page);
    return p ? H(p->GetScrollDown()) : nullptr;
} catch (...) { return Failed(nullptr); }
int KelvoShowInPrintProp(const KelvoProperty* page) try {
    const PPDXProperty* p = As<PPDXProperty>(page);
    return p ? B(p->ShowInPrintProp()) : 0;
} catch (...) { return Failed(0); }
int KelvoShowInApp(const KelvoProperty* page) try {
    const PPDXProperty* p = As<PPDXProperty>(page);
    return p ? B(p->ShowInApp()) : 0;
} catch (...) { return Failed(0); }

// Elements.

const char* KelvoGetKeyword(const KelvoElement* element) try {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? e->Keyword() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoUserName(const KelvoElement* element) try {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? e->UserName() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoUserNameUTF8(const KelvoElement* element) try {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? e->CFStringUserName().c_str() : nullptr;
} catch (...) { return Failed(nullptr); }
int KelvoIsOrphan(const KelvoElement* element) try {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? B(e->IsOrphan()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsVisible(const KelvoElement* element) try {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? B(e->IsVisible()) : 0;
} catch (...) { return Failed(0); }
KelvoElement* KelvoGetParent(const KelvoElement* element) try {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? H(e->GetParent()) : nullptr;
} catch (...) { return Failed(nullptr); }
int KelvoEqualsElement(const KelvoElement* a, const KelvoElement* b) try {
    const PPDXElement* x = As<PPDXElement>(a);
    const PPDXElement* y = As<PPDXElement>(b);
    return x && y ? B(*x == *y) : 0;
} catch (...) { return Failed(0); }
int KelvoEqualsKeyWord(const KelvoElement* element, const char* keyword) try {
    const PPDXElement* e = As<PPDXElement>(element);
    return e ? B(*e == keyword) : 0;
} catch (...) { return Failed(0); }

// Control lists.

KelvoControl* KelvoGetFirst(KelvoControls* controls, int* type) try {
    CNTL_TYPE t = kControlTypeNone;
    PPDXControl* c = controls ? Ctls(controls)->First(t) : nullptr;
    return Typed(c, t, type);
} catch (...) {
    Typed(nullptr, kControlTypeNone, type);
    return Failed(nullptr);
}
KelvoControl* KelvoGetNext(KelvoControls* controls, int* type) try {
    CNTL_TYPE t = kControlTypeNone;
    PPDXControl* c = controls ? Ctls(controls)->Next(t) : nullptr;
    return Typed(c, t, type);
} catch (...) {
    Typed(nullptr, kControlTypeNone, type);
    return Failed(nullptr);
}
KelvoControl* KelvoFind(const KelvoControls* controls, const char* keyword, int exact, int* type) try {
    CNTL_TYPE t = kControlTypeNone;
    PPDXControl* c = controls ? Ctls(controls)->Find(keyword, t, exact != 0) : nullptr;
    return Typed(c, t, type);
} catch (...) {
    Typed(nullptr, kControlTypeNone, type);
    return Failed(nullptr);
}

KelvoControl* KelvoGetFirstPopupControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->FirstPopupControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetNextPopupControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->NextPopupControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFindPopup(const KelvoControls* c, const char* keyword, int exact) try {
    return c ? H(Ctls(c)->FindPopup(keyword, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFirstBooleanControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->FirstBooleanControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetNextBooleanControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->NextBooleanControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFindBoolean(const KelvoControls* c, const char* keyword, int exact) try {
    return c ? H(Ctls(c)->FindBoolean(keyword, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFirstRangeControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->FirstRangeControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetNextRangeControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->NextRangeControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFindRangeControl(const KelvoControls* c, const char* keyword, int exact) try {
    return c ? H(Ctls(c)->FindRangeControl(keyword, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFirstFloatRangeControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->FirstFloatRangeControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetNextFloatRangeControl(KelvoControls* c) try {
    return c ? H(Ctls(c)->NextFloatRangeControl()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFindFloatRangeControl(const KelvoControls* c, const char* keyword, int exact) try {
    return c ? H(Ctls(c)->FindFloatRangeControl(keyword, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFirstJobNote(KelvoControls* c) try {
    return c ? H(Ctls(c)->FirstJobNote()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetNextJobNote(KelvoControls* c) try {
    return c ? H(Ctls(c)->NextJobNote()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFindJobNote(const KelvoControls* c, const char* keyword, int exact) try {
    return c ? H(Ctls(c)->FindJobNote(keyword, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFirstSpecialOption(KelvoControls* c) try {
    return c ? H(Ctls(c)->FirstSpecialOption()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetNextSpecialOption(KelvoControls* c) try {
    return c ? H(Ctls(c)->NextSpecialOption()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetFindSpecialOption(const KelvoControls* c, const char* keyword, int exact) try {
    return c ? H(Ctls(c)->FindSpecialOption(keyword, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }

size_t KelvoGetPopupCount(const KelvoControls* c) try {
    return c ? Ctls(c)->PopupCount() : 0;
} catch (...) { return Failed(0); }
size_t KelvoGetBooleanCount(const KelvoControls* c) try {
    return c ? Ctls(c)->BooleanCount() : 0;
} catch (...) { return Failed(0); }
size_t KelvoGetRangeCount(const KelvoControls* c) try {
    return c ? Ctls(c)->RangeCount() : 0;
} catch (...) { return Failed(0); }
size_t KelvoGetFloatRangeCount(const KelvoControls* c) try {
    return c ? Ctls(c)->FloatRangeCount() : 0;
} catch (...) { return Failed(0); }
size_t KelvoGetJobnoteCount(const KelvoControls* c) try {
    return c ? Ctls(c)->JobNoteCount() : 0;
} catch (...) { return Failed(0); }
size_t KelvoGetSpecialOptionCount(const KelvoControls* c) try {
    return c ? Ctls(c)->SpecialOptionsCount() : 0;
} catch (...) { return Failed(0); }
size_t KelvoGetControlCount(const KelvoControls* c) try {
    return c ? Ctls(c)->ControlCount() : 0;
} catch (...) { return Failed(0); }
int KelvoGetNoPopups(const KelvoControls* c) try {
    return c ? B(Ctls(c)->NoPopups()) : 0;
} catch (...) { return Failed(0); }
int KelvoGetNoBooleanControls(const KelvoControls* c) try {
    return c ? B(Ctls(c)->NoBooleanControls()) : 0;
} catch (...) { return Failed(0); }
int KelvoGetNoRangeControls(const KelvoControls* c) try {
    return c ? B(Ctls(c)->NoRangeControls()) : 0;
} catch (...) { return Failed(0); }
int KelvoGetNoFloatRangeControls(const KelvoControls* c) try {
    return c ? B(Ctls(c)->NoFloatRangeControls()) : 0;
} catch (...) { return Failed(0); }
int KelvoGetNoJobNotes(const KelvoControls* c) try {
    return c ? B(Ctls(c)->NoJobNotes()) : 0;
} catch (...) { return Failed(0); }
int KelvoGetEmpty(const KelvoControls* c) try { return c ? B(Ctls(c)->Empty()) : 0; } catch (...) { return Failed(0); }

// Shortcuts.

KelvoControl* KelvoFirstShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->First()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoNextShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->Next()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoFindShortcut(KelvoShortcuts* s, const char* keyword, int exact) try {
    return s ? H(Cuts(s)->Find(keyword, exact != 0)) : nullptr;
} catch (...) { return Failed(nullptr); }
size_t KelvoGetShortcutCount(const KelvoShortcuts* s) try {
    return s ? Cuts(s)->Count() : 0;
} catch (...) { return Failed(0); }
int KelvoIsShortcutsListEmpty(const KelvoShortcuts* s) try {
    return s ? B(Cuts(s)->Empty()) : 0;
} catch (...) { return Failed(0); }
KelvoControl* KelvoGetShortcutAt(const KelvoShortcuts* s, size_t index) try {
    return s && index < Cuts(s)->Count() ? H(Cuts(s)->All()[index]) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetPageSizeShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->PageSize()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetInputSlotShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->InputSlot()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetDuplexShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->Duplex()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetOrientationShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->Orientation()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetMediaSourceShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->MediaSource()) : nullptr;
} catch (...) { return Failed(nullptr); }
KelvoControl* KelvoGetChromaquaShortcut(KelvoShortcuts* s) try {
    return s ? H(Cuts(s)->Chromaqua()) : nullptr;
} catch (...) { return Failed(nullptr); }

} // extern "C"
