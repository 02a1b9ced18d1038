// kelvo-pde inspect: the document as JSON or as a readable tree.
#include <functional>
#include <vector>
#include <ostream>

#include "Commands.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"

namespace kelvo::tool {

using nlohmann::json;

namespace {

json OrNull(const char* text) { return text ? json(text) : json(nullptr); }

const char* GroupKind(const PPDXElement& e) {
    if (dynamic_cast<const PPDXProperty*>(&e))
        return "page";
    if (dynamic_cast<const PPDXRollDown*>(&e))
        return "rolldown";
    if (dynamic_cast<const PPDXScrollPane*>(&e))
        return "scrollpane";
    return "group";
}

json ParentOf(const PPDXElement& e) { return e.GetParent() ? OrNull(e.GetParent()->Keyword()) : json(nullptr); }

json ElementJSON(const PPDXElement& e) {
    return {{"keyword", OrNull(e.Keyword())},
            {"name", e.CFStringUserName()},
            {"visible", e.IsVisible()},
            {"kind", GroupKind(e)},
            {"parent", ParentOf(e)}};
}

/// Bounds of a whole-number or decimal range.
template <class Range>
void AddBounds(json& j, const Range& r) {
    j["min"] = r.MinVal();
    j["max"] = r.MaxVal();
    j["increment"] = r.Increment();
    j["default"] = r.DefaultValue();
}

json ControlJSON(PPDXControl& c) {
    json flags = json::array();
    for (const CString& f : c.ControlFlags())
        flags.push_back(f.Str());
    json j = {{"keyword", OrNull(c.Keyword())},
              {"name", c.CFStringUserName()},
              {"type", static_cast<int>(c.Type())},
              {"flags", flags},
              {"visible", c.IsVisible()},
              {"parent", ParentOf(c)},
              {"value", c.HasCurrentValue() ? json(c.CopyCurrentControlValueString()) : json(nullptr)}};
    if (auto* p = dynamic_cast<PPDXPopupControl*>(&c)) {
        j["multiple"] = p->CanSelectMultipleItems();
        j["installable"] = p->IsInstallableOption();
        j["default"] = OrNull(p->GetDefaultKeyword());
        json items = json::array();
        for (std::size_t i = 0; i < p->ItemCount(); ++i) {
            const _PopupItem* item = p->ItemAt(i);
            items.push_back({{"keyword", OrNull(item->Keyword())},
                             {"name", item->localName ? json(*item->localName) : json(nullptr)},
                             {"selected", item->selected != 0}});
        }
        j["items"] = items;
    } else if (auto* b = dynamic_cast<PPDXBooleanControl*>(&c)) {
        j["default"] = b->DefaultState();
    } else if (auto* r = dynamic_cast<PPDXRangeControl*>(&c)) {
        AddBounds(j, *r);
    } else if (auto* f = dynamic_cast<PPDXFloatRangeControl*>(&c)) {
        AddBounds(j, *f);
    } else if (auto* s = dynamic_cast<PPDXCustomPageSizeControl*>(&c)) {
        j["minWidth"] = s->MinWidth();
        j["maxWidth"] = s->MaxWidth();
        j["minHeight"] = s->MinHeight();
        j["maxHeight"] = s->MaxHeight();
    } else if (auto* n = dynamic_cast<PPDXJobNote*>(&c)) {
        j["maxLength"] = n->MaxLength();
        j["minLength"] = n->MinLength();
        j["flagBits"] = n->Flags();
        json words = json::array();
        for (int i = 0; i < kJobNoteFlagWordCount; ++i)
            if (n->Flags() & (1u << i))
                words.push_back(kJobNoteFlagWords[i]);
        j["flagWords"] = words;
        j["defaultNotes"] = OrNull(n->GetDefaultNotes());
        j["notes"] = OrNull(n->GetNotes());
    } else if (auto* o = dynamic_cast<PPDXSpecialOption*>(&c)) {
        j["value"] = OrNull(o->GetValue());
    }
    return j;
}

} // namespace

json InspectJSON(QJVPPD& doc) {
    const _DISPLAY_OPTIONS_ saved = PPDX::Options();
    PPDX::Options(kDisplayAll);

    json j;
    j["valid"] = doc.IsValidPPD();
    json header = json::object();
    const std::pair<const char*, const char*> fields[] = {
        {"FormatVersion", doc.FormatVersion()},     {"FileVersion", doc.FileVersion()},
        {"PCFileName", doc.PCFileName()},           {"LanguageVersion", doc.LanguageVersion()},
        {"LanguageEncoding", doc.LanguageEncoding()}, {"ModelName", doc.ModelName()},
        {"APDialogExtension", doc.PathToPDE()},     {"QJFileVersion", doc.QJFileVersion()},
        {"QJVersion", doc.MakerQJVersion()},        {"QJVersionMac", doc.QJVersionMac()},
    };
    for (const auto& [name, value] : fields)
        if (value)
            header[name] = value;
    j["header"] = header;

    j["makerStatements"] = doc.HasMakerStatements();

    // "line" is the 1-based physical line, null for what concerns the whole
    // document (no pages, no controls...).
    json errors = json::array();
    for (std::size_t i = 0; const PPDXErrorObj* e = doc.GetErrors()->At(i); ++i) {
        errors.push_back({{"code", e->Code()},
                          {"name", OrNull(PPDErrName(e->Code()))},
                          {"message", OrNull(PPDErrMessage(e->Code()))},
                          {"line", e->Line() > 0 ? json(e->Line()) : json(nullptr)},
                          {"keyword", OrNull(e->Keyword())},
                          {"fatal", e->IsFatal()}});
    }
    j["errors"] = errors;

    json pages = json::array();
    for (PPDXProperty* page : doc.GetProperties()->All()) {
        json p = ElementJSON(*page);
        p["showInApp"] = page->ShowInApp();
        p["showInPrintProp"] = page->ShowInPrintProp();
        pages.push_back(p);
    }
    j["pages"] = pages;
    json groups = json::array();
    for (PPDXGroup* group : doc.GetGroups()->All())
        groups.push_back(ElementJSON(*group));
    j["groups"] = groups;

    json controls = json::array();
    CNTL_TYPE type;
    PPDXControls& all = *doc.GetControls();
    for (PPDXControl* c = all.First(type); c; c = all.Next(type))
        controls.push_back(ControlJSON(*c));
    j["controls"] = controls;

    json shortcuts = json::array();
    for (PPDXControl* c : doc.GetShortcuts()->All())
        shortcuts.push_back(OrNull(c->Keyword()));
    j["shortcuts"] = shortcuts;
    json popupShortcuts = json::array();
    for (PPDXPopupControl* p = doc.GetShortcuts()->First(); p; p = doc.GetShortcuts()->Next())
        popupShortcuts.push_back(OrNull(p->Keyword()));
    j["popupShortcuts"] = popupShortcuts;

    j["constraints"] = {{"count", doc.GetUIConstraints()->GetConstraintForest().Count()}};
    j["requires"] = {{"count", doc.GetUIConstraints()->GetRequiresForest().Count()}};

    PPDX::Options(saved);
    return j;
}


namespace {

/// PPD text for the terminal; `absent` stands for a missing value.
std::string Shown(const char* text, const char* absent = "-") { return text ? ForTerminal(text) : absent; }

/// The quoted name of an element, or its keyword when the name is empty.
std::string ShownName(const std::string& name, const char* keyword) {
    return "\"" + ForTerminal(DisplayName(name, keyword)) + "\"";
}

/// The document-wide errors a plain PPD always gets: said once as "no maker
/// statements" instead.
bool IsEmptyModelError(std::int16_t code) {
    return code == PPDErr_NoPropertyPages || code == PPDErr_NoGroups || code == PPDErr_NoControls;
}

void PrintControl(PPDXControl& c, std::ostream& out, const std::string& indent) {
    static const char* kTypeNames[] = {"?",       "job note", "range",       "float range",
                                       "boolean", "popup",    "special",     "custom size"};
    const auto type = static_cast<unsigned>(c.Type());
    out << indent << Shown(c.Keyword(), "(no keyword)") << "  " << ShownName(c.CFStringUserName(), c.Keyword())
        << "  [" << (type < 8 ? kTypeNames[type] : "?") << (c.IsVisible() ? "" : ", hidden") << "]";
    if (c.HasCurrentValue())
        out << " = " << ForTerminal(c.CopyCurrentControlValueString());
    out << "\n";
    if (auto* p = dynamic_cast<PPDXPopupControl*>(&c)) {
        for (std::size_t i = 0; i < p->ItemCount(); ++i) {
            const _PopupItem* item = p->ItemAt(i);
            out << indent << "    " << (item->selected ? "* " : "  ") << Shown(item->Keyword(), "")
                << (item->localName ? "  " + ShownName(*item->localName, item->Keyword()) : std::string()) << "\n";
        }
    } else if (auto* r = dynamic_cast<PPDXRangeControl*>(&c)) {
        out << indent << "    range " << r->MinVal() << ".." << r->MaxVal() << " step " << r->Increment()
            << " default " << r->DefaultValue() << "\n";
    } else if (auto* f = dynamic_cast<PPDXFloatRangeControl*>(&c)) {
        out << indent << "    range " << f->MinVal() << ".." << f->MaxVal() << " step " << f->Increment()
            << " default " << f->DefaultValue() << "\n";
    } else if (auto* s = dynamic_cast<PPDXCustomPageSizeControl*>(&c)) {
        out << indent << "    width " << s->MinWidth() << ".." << s->MaxWidth() << ", height " << s->MinHeight()
            << ".." << s->MaxHeight() << "\n";
    }
}

} // namespace

void InspectTree(QJVPPD& doc, std::ostream& out) {
    const _DISPLAY_OPTIONS_ saved = PPDX::Options();
    PPDX::Options(kDisplayAll);
    out << "Model:    " << Shown(doc.ModelName()) << "\n"
        << "File:     " << Shown(doc.PCFileName()) << "  (format " << Shown(doc.FormatVersion())
        << ", file version " << Shown(doc.FileVersion()) << ")\n"
        << "Language: " << Shown(doc.LanguageVersion()) << " / " << Shown(doc.LanguageEncoding()) << "\n"
        << "Maker:    version " << Shown(doc.MakerQJVersion()) << ", file version " << Shown(doc.QJFileVersion())
        << "\n"
        << "Valid:    " << (doc.IsValidPPD() ? "yes" : "no") << "\n\n";
    const bool plain = !doc.HasMakerStatements();
    if (plain)
        out << "No maker statements: a plain PPD, the panel has nothing to show.\n";

    const auto& controls = doc.GetControls()->All();
    auto controlsUnder = [&](const PPDXElement* parent, const std::string& indent) {
        for (PPDXControl* c : controls)
            if (c->GetParent() == parent)
                PrintControl(*c, out, indent);
    };
    auto title = [](const PPDXElement& e) {
        return Shown(e.Keyword(), "?") + "  " + ShownName(e.CFStringUserName(), e.Keyword()) +
               (e.IsVisible() ? "" : " (hidden)");
    };

    for (PPDXProperty* page : doc.GetProperties()->All()) {
        out << "Page " << title(*page) << "\n";
        for (PPDXGroup* g : doc.GetGroups()->All()) {
            auto* pane = dynamic_cast<PPDXScrollPane*>(g);
            if (!pane || pane->GetParent() != page)
                continue;
            out << "  Scroll pane " << title(*pane) << "\n";
            for (PPDXGroup* r : pane->RollDowns().All()) {
                out << "    Roll-down " << title(*r) << "\n";
                controlsUnder(r, "      ");
            }
        }
    }
    for (PPDXGroup* g : doc.GetGroups()->All()) {
        if (dynamic_cast<PPDXScrollPane*>(g) || (dynamic_cast<PPDXRollDown*>(g) && g->GetParent()))
            continue;
        out << (dynamic_cast<PPDXRollDown*>(g) ? "Roll-down " : "Group ") << title(*g) << "\n";
        controlsUnder(g, "  ");
    }
    bool anyOrphan = false;
    for (PPDXControl* c : controls) {
        if (!c->IsOrphan())
            continue;
        if (!anyOrphan)
            out << "Without a group\n";
        anyOrphan = true;
        PrintControl(*c, out, "  ");
    }

    const PPDXShortcuts& shortcuts = *doc.GetShortcuts();
    if (!shortcuts.Empty()) {
        out << "\nShortcuts:";
        for (PPDXControl* c : shortcuts.All())
            out << " " << Shown(c->Keyword(), "?");
        out << "\n";
    }
    out << "\nConstraints: " << doc.GetUIConstraints()->GetConstraintForest().Count() << " pairs, requires "
        << doc.GetUIConstraints()->GetRequiresForest().Count() << " pairs\n";

    std::vector<const PPDXErrorObj*> shown;
    for (std::size_t i = 0; const PPDXErrorObj* e = doc.GetErrors()->At(i); ++i)
        if (!(plain && IsEmptyModelError(e->Code())))
            shown.push_back(e);
    out << "Errors: " << shown.size() << "\n";
    for (const PPDXErrorObj* e : shown) {
        const char* name = PPDErrName(e->Code());
        const char* message = PPDErrMessage(e->Code());
        out << "  " << (name ? name : "?") << " (" << e->Code() << ")" << (e->IsFatal() ? " fatal" : "");
        if (e->Line() > 0)
            out << ", line " << e->Line();
        if (e->Keyword())
            out << ", " << ForTerminal(e->Keyword());
        out << ": " << (message ? message : "?") << "\n";
    }
    PPDX::Options(saved);
}

} // namespace kelvo::tool
