// kelvo-pde options: one line per control, in the shape a print system's
// option listing has ("Keyword/Name: choice *current choice").
#include <ostream>
#include <sstream>

#include "Commands.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"

namespace kelvo::tool {

namespace {

/// Free text shown as one quoted word, so that the line still splits on blanks.
std::string QuotedText(const char* text) {
    std::string quoted = "\"";
    for (const char* p = text ? text : ""; *p; ++p) {
        if (*p == '"' || *p == '\\')
            quoted += '\\';
        quoted += *p;
    }
    return ForTerminal(quoted + "\"");
}

/// What follows "Keyword/Name:": the choices, the current one starred; for
/// the controls without a list of choices, the current value starred and,
/// in parentheses, what may be given instead.
std::string Choices(PPDXControl& c) {
    std::ostringstream line;
    if (auto* p = dynamic_cast<PPDXPopupControl*>(&c)) {
        for (std::size_t i = 0; i < p->ItemCount(); ++i) {
            const _PopupItem* item = p->ItemAt(i);
            line << " " << (item->selected ? "*" : "") << ForTerminal(item->Keyword() ? item->Keyword() : "");
        }
    } else if (dynamic_cast<PPDXBooleanControl*>(&c)) {
        const std::string current = c.CopyCurrentControlValueString();
        for (const char* word : {"True", "False"})
            line << " " << (current == word ? "*" : "") << word;
    } else if (auto* r = dynamic_cast<PPDXRangeControl*>(&c)) {
        line << " *" << r->GetValue() << " (whole number " << r->MinVal() << ".." << r->MaxVal() << ", step "
             << r->Increment() << ")";
    } else if (auto* f = dynamic_cast<PPDXFloatRangeControl*>(&c)) {
        line << " *" << ForTerminal(f->CopyCurrentControlValueString()) << " (decimal " << f->MinVal() << ".."
             << f->MaxVal() << ", step " << f->Increment() << ")";
    } else if (auto* n = dynamic_cast<PPDXJobNote*>(&c)) {
        line << " *" << QuotedText(n->GetNotes()) << " (text, ";
        if (n->MinLength() > 0)
            line << n->MinLength() << "..";
        else
            line << "up to ";
        line << n->MaxLength() << " characters)";
    } else if (auto* s = dynamic_cast<PPDXCustomPageSizeControl*>(&c)) {
        line << " ";
        if (s->GetWidth() > 0 && s->GetHeight() > 0)
            line << "*Custom." << s->GetWidth() << "x" << s->GetHeight();
        else
            line << "Custom.WIDTHxHEIGHT";
        line << " (points, width " << s->MinWidth() << ".." << s->MaxWidth() << ", height " << s->MinHeight()
             << ".." << s->MaxHeight() << ")";
    } else if (auto* o = dynamic_cast<PPDXSpecialOption*>(&c)) {
        line << " *" << QuotedText(o->GetValue()) << " (fixed)";
    }
    return line.str();
}

} // namespace

void ListOptions(QJVPPD& doc, std::ostream& out, bool panelOnly) {
    for (PPDXControl* c : doc.GetControls()->All()) {
        if (panelOnly && (!c->IsVisible() || c->IsOrphan()))
            continue;
        const char* keyword = c->Keyword() ? c->Keyword() : "";
        const std::string bare = keyword[0] == '*' ? keyword + 1 : keyword;
        // Special options carry their keyword as their name.
        const std::string& name = c->CFStringUserName() == keyword ? std::string() : c->CFStringUserName();
        out << ForTerminal(bare) << "/" << ForTerminal(DisplayName(name, keyword)) << ":"
            << Choices(*c) << "\n";
    }
}

} // namespace kelvo::tool
