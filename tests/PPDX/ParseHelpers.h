// Builds small PPD texts and parses them for the parser tests.
#pragma once

#include <string>
#include <vector>

#include "PPDX/QJVPPD.h"
#include "TestSupport.h"

namespace kelvotest {

inline const char* kHeader =
    "*PPD-Adobe: \"4.3\"\n"
    "*FormatVersion: \"4.3\"\n"
    "*FileVersion: \"1.2\"\n"
    "*LanguageVersion: English\n"
    "*LanguageEncoding: ISOLatin1\n"
    "*PCFileName: \"KELVOT.PPD\"\n"
    "*ModelName: \"Kelvo Test\"\n"
    "*%QJVPropPage QJPage/Page: \"True\"\n"
    "*%QJVGroupName QJGroup/Options: \"True\"\n";

inline std::vector<int> ErrorCodes(const QJVPPD& doc) {
    std::vector<int> codes;
    for (std::size_t i = 0; const PPDXErrorObj* e = doc.GetErrors()->At(i); ++i)
        codes.push_back(e->Code());
    return codes;
}

/// A parsed document that keeps its file alive and restores the display option.
struct Parsed {
    explicit Parsed(const std::string& body, _PARSE_OPTIONS_ options = kParseAll, PPDHostInfo host = {},
                    bool withHeader = true)
        : file((withHeader ? std::string(kHeader) : std::string()) + body),
          savedOptions(ShowEverything()),
          doc(new QJVPPD(file.Path(), options, {}, std::move(host))) {}
    ~Parsed() { PPDX::Options(savedOptions); }
    static _DISPLAY_OPTIONS_ ShowEverything() {
        _DISPLAY_OPTIONS_ saved = PPDX::Options();
        PPDX::Options(kDisplayAll);
        return saved;
    }

    std::vector<int> ErrorCodes() const { return kelvotest::ErrorCodes(*doc); }
    PPDXControl* Control(const char* keyword) const { return doc->GetControls()->FindAny(keyword); }
    template <class T>
    T* As(const char* keyword) const {
        return dynamic_cast<T*>(Control(keyword));
    }

    TempFile file;
    _DISPLAY_OPTIONS_ savedOptions;
    QJVPPDRef doc;
};

/// A popup declaration in the group QJGroup.
inline std::string Popup(const std::string& key, const std::string& choices, const std::string& defaultLine,
                         const std::string& type = "PickOne", const std::string& group = "QJGroup") {
    return "*%QJVFlags " + key + ": \"Dynamic\"\n*%QJVGroup " + key + ": " + group + "\n*OpenUI " + key +
           "/Title: " + type + "\n" + defaultLine + choices + "*CloseUI: " + key + "\n";
}

} // namespace kelvotest
