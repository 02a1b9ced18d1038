// kelvo-pde: opening a PPD for the tool, and the ps subcommand.
#include <ostream>

#include "Commands.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"

namespace kelvo::tool {

QJVPPDRef OpenForTool(const OpenRequest& request, std::ostream& err) {
    PPDX::Options(kDisplayAll);
    PPDHostInfo host{request.hostApp, request.allErrorsFatal};
    QJVPPDRef doc(new QJVPPD(request.path, kParseAll, {}, host));
    if (doc->IsValidPPD())
        return doc;
    // Name the error that made the document unusable: the first fatal one,
    // or with every error fatal, the first of all.
    const PPDXErrorObj* culprit = nullptr;
    for (std::size_t i = 0; const PPDXErrorObj* e = doc->GetErrors()->At(i); ++i) {
        if (e->IsFatal() || request.allErrorsFatal) {
            culprit = e;
            break;
        }
    }
    const char* name = culprit ? PPDErrName(culprit->Code()) : PPDErrName(PPDErr_NotPPDFile);
    err << "kelvo-pde: " << request.path << ": " << name << "\n";
    return nullptr;
}

int PrintPostScript(QJVPPD& doc, const std::string& key, const std::optional<std::string>& value,
                    std::ostream& out, std::ostream& err, bool isNote) {
    PPDXControl* control = doc.GetPPDXControlForKey(key);
    if (!control) {
        err << "kelvo-pde: no control " << key << " in this PPD\n";
        return kExitUsage;
    }
    if (isNote && control->Type() != kControlTypeJobNote) {
        err << "kelvo-pde: " << key << " is not a job note\n";
        return kExitUsage;
    }
    if (value) {
        if (control->Type() == kControlTypeSpecialOption) {
            err << "kelvo-pde: " << key << " is a special option; its value is fixed by the PPD\n";
            return kExitUsage;
        }
        control->SetCurrentControlWithCFString(*value);
    }
    out << control->PostScriptText();
    return kExitOK;
}

} // namespace kelvo::tool
