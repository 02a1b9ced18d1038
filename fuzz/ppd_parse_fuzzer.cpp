// Fuzz target: a whole PPD read from the input bytes, then the model walked
// the way the panel and kelvo-pde walk it (pages, groups, controls, values,
// PostScript, constraint questions), so faults past the parser show up too.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PopupJobNotesState.h"
#include "PPDX/QJVPPD.h"
#include "util/Log.h"

namespace {

// Value texts a panel or a saved setting could hand any control: the number
// parsers' extremes, a template placeholder, backslashes, 8-bit bytes.
constexpr std::string_view kOddValues[] = {
    "",
    "True",
    "-9223372036854775808",
    "99999999999999999999999",
    "1e39 -1e39",
    "nan",
    "(<*QJX>)\\",
    "\xC3\xA9\xFF\x80",
};

// Anything a fuzz target finds wrong must end the process so libFuzzer keeps the input.
void Require(bool condition) {
    if (!condition)
        std::abort();
}

// The two-call PostScript convention: the size asked for first is exactly
// what the second call writes. The buffer is a heap block of that size so
// that AddressSanitizer sees a byte written past it.
void CheckPostScript(PPDXControl& control) {
    const long size = control.PostScript(nullptr);
    Require(size >= 0);
    if (size == 0)
        return;
    auto buffer = std::make_unique<unsigned char[]>(static_cast<std::size_t>(size));
    Require(control.PostScript(buffer.get()) == size);
}

void WalkPopup(QJVPPD& doc, PPDXPopupControl& popup) {
    for (std::size_t i = 0; i < popup.ItemCount(); ++i) {
        const _PopupItem* item = popup.ItemAt(i);
        const char* choice = item->Keyword();
        item->displayName();
        popup.GetKeywordLocalName(choice);
        const long size = popup.GetKeywordPSData(choice, nullptr);
        if (size > 0) {
            auto buffer = std::make_unique<unsigned char[]>(static_cast<std::size_t>(size));
            Require(popup.GetKeywordPSData(choice, buffer.get()) == size);
        }
        doc.IsKVConstrained(popup.Keyword(), choice);
    }
    popup.SetValue(static_cast<long>(popup.ItemCount()));
    CheckPostScript(popup);
    popup.ResetToDefaultValue();
}

void WalkControl(QJVPPD& doc, PPDXControl& control) {
    control.UserName();
    control.IsDynamic();
    control.IsNoKelvoDriverUI();
    control.CopyCurrentControlValueString();
    control.CopyPresetValueString();
    CheckPostScript(control);
    if (auto* popup = dynamic_cast<PPDXPopupControl*>(&control)) {
        WalkPopup(doc, *popup);
    } else if (auto* boolean = dynamic_cast<PPDXBooleanControl*>(&control)) {
        doc.IsKVConstrained(boolean->Keyword(), "True");
        doc.IsKVConstrained(boolean->Keyword(), "False");
    } else if (auto* range = dynamic_cast<PPDXRangeControl*>(&control)) {
        range->SetValue(range->MinVal());
        CheckPostScript(*range);
        range->SetValue(range->MaxVal());
        CheckPostScript(*range);
    } else if (auto* range = dynamic_cast<PPDXFloatRangeControl*>(&control)) {
        range->SetValue(range->MinVal());
        CheckPostScript(*range);
        range->SetValue(range->MaxVal());
        CheckPostScript(*range);
    } else if (auto* note = dynamic_cast<PPDXJobNote*>(&control)) {
        note->IsPopupJN();
        note->CopyNotes();
        note->BuildPDLString(note->GetNotes());
    }
    // A special option's value is fixed: setting one is a programming error.
    if (control.Type() == kControlTypeSpecialOption || !control.Keyword())
        return;
    for (std::string_view value : kOddValues) {
        doc.SetValueForKey(control.Keyword(), value);
        control.CopyCurrentControlValueString();
        CheckPostScript(control);
    }
    control.ResetToDefaultValue();
}

void WalkGroups(PPDXGroups& groups) {
    for (PPDXGroup* group : groups.All()) {
        group->UserName();
        if (auto* pane = dynamic_cast<PPDXScrollPane*>(group))
            for (PPDXGroup* rollDown : pane->RollDowns().All())
                rollDown->Keyword();
        if (auto* rollDown = dynamic_cast<PPDXRollDown*>(group)) {
            CNTL_TYPE type;
            for (PPDXControl* c = rollDown->Controls().First(type); c; c = rollDown->Controls().Next(type))
                c->Keyword();
        }
    }
}

} // namespace

// Diagnostic lines (encoding notes, job-note notices) would flood the log.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    kelvo::SetLogSink([](std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Process-wide switches persist between inputs; start each one alike.
    gPopupJobNotesFoundOne = false;
    gPopupJobNotesDoneInitializing = false;
    gPopupJobNotesLangIsJapanese = false;
    QJVPPD::SetExtensions(kExtensionsAll);
    PPDX::Options(kDisplayAll);

    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    QJVPPDRef doc = QJVPPD::FromBytes(bytes, kParseAll);
    Require(doc != nullptr);

    doc->IsValidPPD();
    for (std::size_t i = 0; const PPDXErrorObj* e = doc->GetErrors()->At(i); ++i) {
        PPDErrName(e->Code());
        e->Keyword();
    }
    for (PPDXProperty* page : doc->GetProperties()->All()) {
        page->UserName();
        if (PPDXScrollPane* pane = page->GetScrollDown())
            pane->Keyword();
    }
    WalkGroups(*doc->GetGroups());
    for (PPDXPopupControl* p = doc->GetShortcuts()->First(); p; p = doc->GetShortcuts()->Next())
        p->Keyword();

    const std::map<std::string, std::string> values = doc->CopyAllValues();
    for (PPDXControl* control : doc->GetControls()->All())
        WalkControl(*doc, *control);
    doc->SetAllValues(values);
    doc->CopyAllValues();
    for (_DISPLAY_OPTIONS_ display = kDisplayVisibleParented; display <= kDisplayAll; ++display) {
        PPDX::Options(display);
        CNTL_TYPE type;
        for (PPDXControl* c = doc->GetControls()->First(type); c; c = doc->GetControls()->Next(type))
            c->OkayToDisplay(display);
        doc->GetControls()->ControlCount();
    }

    // The same bytes once more under the other settings a caller can choose,
    // picked by the input's length so that every input keeps one meaning.
    QJVPPD::SetExtensions(static_cast<_EXTENSIONS_SUPPORT_>((size >> 4) % 4));
    PPDHostInfo host;
    host.applicationID = size & 8 ? "com.example.Preview" : "";
    host.allErrorsFatal = (size & 4) != 0;
    QJVPPDRef other = QJVPPD::FromBytes(bytes, static_cast<_PARSE_OPTIONS_>(size % 3), host);
    other->IsValidPPD();
    other->CopyAllValues();
    return 0;
}
