// Opening a Kelvo queue and submitting a job to it through libcups.
#include "platform/cups/CupsJob.h"

#include <cups/cups.h>

#include <limits>
#include <set>
#include <utility>

#include "PPDX/PPDObjects/PPDXErrors.h"
#include "PPDX/QJVPPD.h"

namespace kelvo::platform {

namespace {

/// libcups's option array, freed with the object.
class OptionArray {
public:
    OptionArray() = default;
    OptionArray(const OptionArray&) = delete;
    OptionArray& operator=(const OptionArray&) = delete;
    ~OptionArray() { cupsFreeOptions(mCount, mOptions); }
    void Add(const std::string& name, const std::string& value) {
        mCount = cupsAddOption(name.c_str(), value.c_str(), mCount, &mOptions);
    }
    int Count() const { return mCount; }
    cups_option_t* Data() const { return mOptions; }

private:
    int mCount = 0;
    cups_option_t* mOptions = nullptr;
};

/// Why a document is unusable: its first fatal error in words.
std::string WhyUnusable(QJVPPD& doc) {
    for (std::size_t i = 0; const PPDXErrorObj* e = doc.GetErrors()->At(i); ++i) {
        if (!e->IsFatal())
            continue;
        const char* message = PPDErrMessage(e->Code());
        const char* name = PPDErrName(e->Code());
        std::string why = message ? message : "unknown error";
        if (name)
            why += std::string(" (") + name + ")";
        return why;
    }
    return std::string(PPDErrMessage(PPDErr_NotPPDFile) ? PPDErrMessage(PPDErr_NotPPDFile) : "not a PPD file");
}

} // namespace

void DescribeQueueControls(QJVPPD& doc, CupsPrintSettings& settings) {
    std::set<std::string, std::less<>> controls, notes;
    // A plain PPD has no control list at all.
    const PPDXControls* all = doc.GetControls();
    for (PPDXControl* control : all ? all->All() : std::vector<PPDXControl*>{}) {
        if (!control->Keyword())
            continue;
        controls.insert(control->Keyword());
        if (control->Type() == kControlTypeJobNote)
            notes.insert(control->Keyword());
    }
    settings.DescribeControls(std::move(controls), std::move(notes));
}

std::unique_ptr<CupsHost> OpenKelvoQueue(std::string_view name, std::string& error) {
    std::unique_ptr<CupsHost> host = CupsHost::Open(name, error);
    if (!host)
        return nullptr;
    const std::string& ppd = host->Printer().ppdPath;
    if (ppd.empty()) {
        error = std::string(name) + ": the printer has no PPD";
        return nullptr;
    }
    QJVPPDRef doc(new QJVPPD(ppd, kParseAll, {}, PPDHostInfo{}));
    if (!doc->IsValidPPD()) {
        error = std::string(name) + ": the printer's PPD cannot be read: " + WhyUnusable(*doc);
        return nullptr;
    }
    DescribeQueueControls(*doc, host->Settings());
    return host;
}

int SubmitFiles(std::string_view queue, std::span<const std::string> files, std::string_view title,
                const std::vector<CupsOption>& options, std::string& error) {
    const std::string shown(queue);
    if (files.empty() || files.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()) ||
        options.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        error = shown + ": the job was not accepted: no files to print";
        return 0;
    }
    OptionArray array;
    for (const auto& [name, value] : options)
        array.Add(name, value);
    std::vector<const char*> paths;
    paths.reserve(files.size());
    for (const std::string& file : files)
        paths.push_back(file.c_str());
    // An instance ("NAME/INSTANCE") prints on its queue with its own options.
    const std::string destination = shown.substr(0, shown.find('/'));
    const std::string jobTitle(title);
    const int id = cupsPrintFiles2(CUPS_HTTP_DEFAULT, destination.c_str(), static_cast<int>(paths.size()),
                                   paths.data(), jobTitle.c_str(), array.Count(), array.Data());
    if (id <= 0) {
        error = shown + ": the job was not accepted: " + cupsLastErrorString();
        return 0;
    }
    return id;
}

} // namespace kelvo::platform
