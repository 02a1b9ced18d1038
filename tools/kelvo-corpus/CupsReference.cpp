// libcups's PPD functions are deprecated in favour of IPP Everywhere, but
// they remain the reader most PPD tools use, so they are the reference here.
#include "CupsReference.h"

#include <cups/ppd.h>

#include <memory>

namespace kelvo::corpus {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

struct PPDCloser {
    void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};

std::optional<std::string> Copy(const char* text) {
    if (!text)
        return std::nullopt;
    return std::string(text);
}

std::optional<std::string> Attribute(ppd_file_t* ppd, const char* name) {
    ppd_attr_t* attr = ppdFindAttr(ppd, name, nullptr);
    return attr ? Copy(attr->value) : std::nullopt;
}

} // namespace

HeaderFacts ReadWithCups(const char* path) {
    HeaderFacts facts;
    std::unique_ptr<ppd_file_t, PPDCloser> ppd(ppdOpenFile(path));
    if (!ppd) {
        int line = 0;
        const ppd_status_t status = ppdLastError(&line);
        facts.error = std::string(ppdErrorString(status)) + " (line " + std::to_string(line) + ")";
        return facts;
    }
    facts.opened = true;
    facts.modelName = Copy(ppd->modelname);
    facts.pcFileName = Copy(ppd->pcfilename);
    facts.languageVersion = Copy(ppd->lang_version);
    // ppd->lang_encoding always says "UTF-8" (libcups converts every text
    // as it reads); the statement's own value is kept as an attribute.
    facts.languageEncoding = Attribute(ppd.get(), "LanguageEncoding");
    facts.formatVersion = Attribute(ppd.get(), "FormatVersion");
    facts.fileVersion = Attribute(ppd.get(), "FileVersion");
    facts.constraints = static_cast<std::size_t>(ppd->num_consts);
    return facts;
}

#pragma GCC diagnostic pop

} // namespace kelvo::corpus
