// Checks of generated PPDs against both readers.
#include "GeneratedPPDCheck.h"

#include <cups/ppd.h>

#include <memory>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "PPDX/QJVPPD.h"

namespace kelvobench {
namespace {

std::string Mismatch(const char* what, std::size_t got, std::size_t want) {
    return std::string(what) + ": " + std::to_string(got) + " instead of " + std::to_string(want);
}

struct PPDCloser {
    void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};

} // namespace

std::string CheckOurReader(const std::filesystem::path& file, const GeneratedPPD& expected) {
    QJVPPDRef doc(new QJVPPD(file, kParseAll));
    if (const PPDXErrorObj* error = doc->GetErrors()->At(0))
        return "our reader: " + std::to_string(doc->GetErrors()->Count()) + " errors, the first code " +
               std::to_string(error->Code()) + " at " + (error->Keyword() ? error->Keyword() : "(no keyword)");
    if (!doc->IsValidPPD())
        return "our reader: the document is not valid";

    // Count everything that was built, whatever the display option says.
    const _DISPLAY_OPTIONS_ saved = PPDX::Options();
    PPDX::Options(kDisplayAll);
    const PPDXControls& c = *doc->GetControls();
    const ExpectedControls& e = expected.controls;
    std::string problem;
    if (c.PopupCount() != e.popups)
        problem = Mismatch("popups", c.PopupCount(), e.popups);
    else if (c.BooleanCount() != e.booleans)
        problem = Mismatch("Booleans", c.BooleanCount(), e.booleans);
    else if (c.RangeCount() != e.ranges)
        problem = Mismatch("ranges", c.RangeCount(), e.ranges);
    else if (c.FloatRangeCount() != e.floatRanges)
        problem = Mismatch("float ranges", c.FloatRangeCount(), e.floatRanges);
    else if (c.JobNoteCount() != e.jobNotes)
        problem = Mismatch("job notes", c.JobNoteCount(), e.jobNotes);
    else if (c.CustomPageSizeCount() != e.customPageSizes)
        problem = Mismatch("custom page sizes", c.CustomPageSizeCount(), e.customPageSizes);
    else if (c.SpecialOptionsCount() != e.specialOptions)
        problem = Mismatch("special options", c.SpecialOptionsCount(), e.specialOptions);
    else if (c.All().size() != e.Total())
        problem = Mismatch("controls", c.All().size(), e.Total());
    PPDX::Options(saved);
    if (!problem.empty())
        return "our reader: " + problem;

    for (const ConstraintQuery& q : expected.queries)
        if (doc->IsKVConstrained(q.key.c_str(), q.choice.c_str()) != q.conflicts)
            return "our reader: " + q.key + " " + q.choice + (q.conflicts ? " should" : " should not") + " conflict";
    return {};
}

std::string CheckLibcups(const std::filesystem::path& file, const GeneratedPPD& expected) {
    std::unique_ptr<ppd_file_t, PPDCloser> ppd(ppdOpenFile(file.c_str()));
    if (!ppd) {
        int line = 0;
        const ppd_status_t status = ppdLastError(&line);
        return std::string("libcups: ") + ppdErrorString(status) + " on line " + std::to_string(line);
    }
    if (static_cast<std::size_t>(ppd->num_consts) != expected.constraintLines)
        return "libcups: " +
               Mismatch("constraints", static_cast<std::size_t>(ppd->num_consts), expected.constraintLines);
    ppdMarkDefaults(ppd.get());
    if (const int n = ppdConflicts(ppd.get()); n != 0)
        return "libcups: the defaults have " + std::to_string(n) + " conflicts";
    for (const ConstraintQuery& q : expected.queries) {
        // libcups names options without the asterisk.
        const std::string option = q.key.substr(1);
        ppdMarkOption(ppd.get(), option.c_str(), q.choice.c_str());
        const bool conflicts = ppdConflicts(ppd.get()) > 0;
        ppdMarkOption(ppd.get(), option.c_str(), q.restore.c_str());
        if (conflicts != q.conflicts)
            return "libcups: " + q.key + " " + q.choice + (q.conflicts ? " should" : " should not") + " conflict";
        if (ppdConflicts(ppd.get()) != 0)
            return "libcups: marking the default of " + q.key + " again left conflicts";
    }
    return {};
}

} // namespace kelvobench
