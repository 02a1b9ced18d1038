// The flat C interface over single controls: the functions of every control,
// then those of each kind (popups, Booleans, ranges, custom page sizes, job
// notes, special options). A handle of the wrong kind acts as a null handle.
#include "PPDX/KelvoPPD.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "PPDX/KelvoPPDHandles.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"

using namespace kelvo::capi;

namespace {

int FillItem(const _PopupItem* item, KelvoPopupItemRecord* record) {
    if (record)
        *record = KelvoPopupItemRecord{item ? item->Keyword() : nullptr,
                                       item && item->localName ? item->localName->c_str() : nullptr};
    return B(item != nullptr);
}

} // namespace

extern "C" {

// Controls of every type.

int KelvoGetControlType(const KelvoElement* element) try {
    const PPDXControl* c = As<PPDXControl>(element);
    return c ? static_cast<int>(c->Type()) : KELVO_CONTROL_NONE;
} catch (...) { return Failed(0); }
const char* KelvoControlTypeName(int type) try {
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
} catch (...) { return Failed(nullptr); }

size_t KelvoGetControlFlagCount(const KelvoControl* control) try {
    const PPDXControl* c = As<PPDXControl>(control);
    return c ? c->ControlFlagCount() : 0;
} catch (...) { return Failed(0); }
const char* KelvoGetFirstControlFlag(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? c->FirstControlFlag() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoGetNextControlFlag(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? c->NextControlFlag() : nullptr;
} catch (...) { return Failed(nullptr); }
int KelvoFindControlFlag(KelvoControl* control, const char* flag) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c && flag ? B(c->FindControlFlag(flag)) : 0;
} catch (...) { return Failed(0); }
int KelvoIsCommandControl(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsCommand()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsSpoolerControl(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsSpooler()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsSetupControl(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsSetup()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsMacFJNControl(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsMacFJN()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsMacImgShiftControl(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsMacImgShift()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsNoKelvoDriverUIControl(KelvoControl* control) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsNoKelvoDriverUI()) : 0;
} catch (...) { return Failed(0); }
int KelvoIsInstallableOption(const KelvoControl* control) try {
    const PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->IsInstallableOption()) : 0;
} catch (...) { return Failed(0); }

long KelvoGetPostScript(KelvoControl* control, unsigned char* buffer) try {
    PPDXControl* c = As<PPDXControl>(control);
    return c ? c->PostScript(buffer) : 0;
} catch (...) { return Failed(0); }
void KelvoResetControlToDefault(KelvoControl* control) try {
    if (PPDXControl* c = As<PPDXControl>(control))
        c->ResetToDefaultValue();
} catch (...) { Failed(); }

int KelvoHasControlValue(const KelvoControl* control) try {
    const PPDXControl* c = As<PPDXControl>(control);
    return c ? B(c->HasCurrentValue()) : 0;
} catch (...) { return Failed(0); }
size_t KelvoCopyControlValue(KelvoControl* control, char* buffer, size_t size) try {
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
} catch (...) {
    if (buffer && size)
        buffer[0] = '\0';
    return Failed(0);
}
int KelvoSetControlValue(KelvoControl* control, const char* value) try {
    PPDXControl* c = As<PPDXControl>(control);
    // A special option's value is fixed by the PPD; its setter stops the program.
    if (!c || !value || c->Type() == kControlTypeSpecialOption)
        return 0;
    c->SetCurrentControlWithCFString(value);
    return 1;
} catch (...) { return Failed(0); }

// Popups.

size_t KelvoPopupItemCount(const KelvoControl* popup) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->ItemCount() : 0;
} catch (...) { return Failed(0); }
int KelvoFirstItem(KelvoControl* popup, KelvoPopupItemRecord* record) try {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return FillItem(p ? p->FirstItem() : nullptr, record);
} catch (...) {
    FillItem(nullptr, record);
    return Failed(0);
}
int KelvoNextItem(KelvoControl* popup, KelvoPopupItemRecord* record) try {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return FillItem(p ? p->NextItem() : nullptr, record);
} catch (...) {
    FillItem(nullptr, record);
    return Failed(0);
}
long KelvoGetPopupValue(const KelvoControl* popup) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->GetValue() : 0;
} catch (...) { return Failed(0); }
void KelvoSetPopupValue(KelvoControl* popup, long n) try {
    if (PPDXPopupControl* p = As<PPDXPopupControl>(popup))
        p->SetValue(n);
} catch (...) { Failed(); }
long KelvoGetPopupDefaultValue(const KelvoControl* popup) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->DefaultValue() : 0;
} catch (...) { return Failed(0); }
const char* KelvoGetKeywordLocalName(const KelvoControl* popup, const char* choice) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p && choice ? p->GetKeywordLocalName(choice) : nullptr;
} catch (...) { return Failed(nullptr); }
long KelvoGetKeywordPSData(const KelvoControl* popup, const char* choice, unsigned char* buffer) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p && choice ? p->GetKeywordPSData(choice, buffer) : 0;
} catch (...) { return Failed(0); }
int KelvoIsKeywordSelected(const KelvoControl* popup, const char* choice) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p && choice ? B(p->IsKeywordSelected(choice)) : 0;
} catch (...) { return Failed(0); }
int KelvoSetKeywordSelect(KelvoControl* popup, const char* choice, int select) try {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? B(p->SetKeywordSelect(choice, select != 0)) : 0;
} catch (...) { return Failed(0); }
int KelvoCanSelectMultipleItems(const KelvoControl* popup) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? B(p->CanSelectMultipleItems()) : 0;
} catch (...) { return Failed(0); }
const char* KelvoGetDefaultKeyword(const KelvoControl* popup) try {
    const PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->GetDefaultKeyword() : nullptr;
} catch (...) { return Failed(nullptr); }
long KelvoPopupPostScript(KelvoControl* popup, unsigned char* buffer) try {
    PPDXPopupControl* p = As<PPDXPopupControl>(popup);
    return p ? p->PostScript(buffer) : 0;
} catch (...) { return Failed(0); }

// Booleans.

int KelvoIsTrue(const KelvoControl* boolean) try {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? B(b->IsTrue()) : 0;
} catch (...) { return Failed(0); }
void KelvoSetValue(KelvoControl* boolean, int value) try {
    if (PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean))
        b->SetValue(value != 0);
} catch (...) { Failed(); }
int KelvoDefaultState(const KelvoControl* boolean) try {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? B(b->DefaultState()) : 0;
} catch (...) { return Failed(0); }
const char* KelvoTrueDisplayText(const KelvoControl* boolean) try {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? b->TrueDisplayText() : nullptr;
} catch (...) { return Failed(nullptr); }
const char* KelvoFalseDisplayText(const KelvoControl* boolean) try {
    const PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? b->FalseDisplayText() : nullptr;
} catch (...) { return Failed(nullptr); }
long KelvoBooleanPostScript(KelvoControl* boolean, unsigned char* buffer) try {
    PPDXBooleanControl* b = As<PPDXBooleanControl>(boolean);
    return b ? b->PostScript(buffer) : 0;
} catch (...) { return Failed(0); }

// Ranges.

long KelvoGetRangeValue(const KelvoControl* range) try {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->GetValue() : 0;
} catch (...) { return Failed(0); }
void KelvoSetRangeValue(KelvoControl* range, long value) try {
    if (PPDXRangeControl* r = As<PPDXRangeControl>(range))
        r->SetValue(value);
} catch (...) { Failed(); }
long KelvoGetRangeDefaultVal(const KelvoControl* range) try {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->DefaultValue() : 0;
} catch (...) { return Failed(0); }
long KelvoGetRangeIncrement(const KelvoControl* range) try {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->Increment() : 0;
} catch (...) { return Failed(0); }
long KelvoGetRangeMinimum(const KelvoControl* range) try {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->MinVal() : 0;
} catch (...) { return Failed(0); }
long KelvoGetRangeMaximum(const KelvoControl* range) try {
    const PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->MaxVal() : 0;
} catch (...) { return Failed(0); }
long KelvoRangePostScript(KelvoControl* range, unsigned char* buffer) try {
    PPDXRangeControl* r = As<PPDXRangeControl>(range);
    return r ? r->PostScript(buffer) : 0;
} catch (...) { return Failed(0); }

double KelvoGetFloatRangeValue(const KelvoControl* range) try {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->GetValue() : 0.0;
} catch (...) { return Failed(0.0); }
void KelvoSetFloatRangeValue(KelvoControl* range, double value) try {
    if (PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range))
        r->SetValue(static_cast<float>(value));
} catch (...) { Failed(); }
double KelvoGetFloatRangeDefaultVal(const KelvoControl* range) try {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->DefaultValue() : 0.0;
} catch (...) { return Failed(0.0); }
double KelvoGetFloatRangeIncrement(const KelvoControl* range) try {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->Increment() : 0.0;
} catch (...) { return Failed(0.0); }
double KelvoGetFloatRangeMinimum(const KelvoControl* range) try {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->MinVal() : 0.0;
} catch (...) { return Failed(0.0); }
double KelvoGetFloatRangeMaximum(const KelvoControl* range) try {
    const PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->MaxVal() : 0.0;
} catch (...) { return Failed(0.0); }
long KelvoFloatRangePostScript(KelvoControl* range, unsigned char* buffer) try {
    PPDXFloatRangeControl* r = As<PPDXFloatRangeControl>(range);
    return r ? r->PostScript(buffer) : 0;
} catch (...) { return Failed(0); }

// Custom page size.

int KelvoGetCustomPageSize(const KelvoControl* control, KelvoCustomPageSize* size) try {
    const PPDXCustomPageSizeControl* c = As<PPDXCustomPageSizeControl>(control);
    if (!c)
        return 0;
    if (size)
        *size = KelvoCustomPageSize{c->MinWidth(), c->MaxWidth(), c->MinHeight(),
                                    c->MaxHeight(), c->GetWidth(), c->GetHeight()};
    return 1;
} catch (...) { return Failed(0); }
void KelvoSetCustomPageSize(KelvoControl* control, double width, double height) try {
    if (PPDXCustomPageSizeControl* c = As<PPDXCustomPageSizeControl>(control)) {
        c->SetWidth(static_cast<float>(width));
        c->SetHeight(static_cast<float>(height));
    }
} catch (...) { Failed(); }

// Job notes.

const char* KelvoGetJobNoteText(const KelvoControl* note) try {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->GetNotes() : nullptr;
} catch (...) { return Failed(nullptr); }
void KelvoSetJobNoteText(KelvoControl* note, const char* text) try {
    if (PPDXJobNote* n = As<PPDXJobNote>(note))
        n->SetNotes(text);
} catch (...) { Failed(); }
const char* KelvoGetJobNoteDefaultText(const KelvoControl* note) try {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->GetDefaultNotes() : nullptr;
} catch (...) { return Failed(nullptr); }
void KelvoSetJobNoteDefaultText(KelvoControl* note, const char* text) try {
    if (PPDXJobNote* n = As<PPDXJobNote>(note))
        n->SetDefaultNotes(text);
} catch (...) { Failed(); }
long KelvoGetJobNoteMaxLength(const KelvoControl* note) try {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->MaxLength() : 0;
} catch (...) { return Failed(0); }
long KelvoGetJobNoteMinLength(const KelvoControl* note) try {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->MinLength() : 0;
} catch (...) { return Failed(0); }
unsigned long KelvoGetJobNoteFlags(const KelvoControl* note) try {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->Flags() : 0;
} catch (...) { return Failed(0); }
int KelvoGetJobNoteOn(const KelvoControl* note) try {
    const PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? B(n->GetNotesOnValue()) : 0;
} catch (...) { return Failed(0); }
void KelvoSetJobNoteOn(KelvoControl* note, int on) try {
    if (PPDXJobNote* n = As<PPDXJobNote>(note))
        n->SetNotesOnValue(on != 0);
} catch (...) { Failed(); }
long KelvoJobNotePostScript(KelvoControl* note, unsigned char* buffer) try {
    PPDXJobNote* n = As<PPDXJobNote>(note);
    return n ? n->PostScript(buffer) : 0;
} catch (...) { return Failed(0); }

// Special options.

const char* KelvoGetSpecialOptionValue(const KelvoControl* option) try {
    const PPDXSpecialOption* s = As<PPDXSpecialOption>(option);
    return s ? s->GetValue() : nullptr;
} catch (...) { return Failed(nullptr); }

} // extern "C"
