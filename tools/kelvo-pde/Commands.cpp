// kelvo-pde: opening a PPD (file or standard input), checking value texts,
// terminal-safe text, and the ps subcommand.
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <ostream>
#include <strings.h>
#include <unistd.h>

#include "Commands.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "util/FileDescriptor.h"

namespace kelvo::tool {

namespace {


/// "line 12: *QJStaple: the same keyword is declared twice (PPDErr_Duplicate)";
/// a file error gives the system's reason instead of the code's sentence.
std::string Describe(const QJVPPD& doc, const PPDXErrorObj& e) {
    const char* name = PPDErrName(e.Code());
    const char* message = PPDErrMessage(e.Code());
    std::string text;
    if (e.Code() == PPDErr_FileError && !doc.FileErrorText().empty()) {
        text = doc.FileErrorText();
    } else {
        if (e.Line() > 0)
            text = "line " + std::to_string(e.Line()) + ": ";
        if (e.Keyword())
            text += ForTerminal(e.Keyword()) + ": ";
        text += message ? message : "error";
    }
    return text + " (" + (name ? name : "code " + std::to_string(e.Code())) + ")";
}

/// Length of the well-formed UTF-8 sequence starting at text[i], or 0.
std::size_t Utf8Length(std::string_view text, std::size_t i) {
    const auto at = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char b = at(i);
    std::size_t len = 0;
    unsigned char lo = 0x80, hi = 0xBF; // bounds of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
        len = 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
        len = 3;
        lo = b == 0xE0 ? 0xA0 : 0x80; // no overlong forms
        hi = b == 0xED ? 0x9F : 0xBF; // no surrogates
    } else if (b >= 0xF0 && b <= 0xF4) {
        len = 4;
        lo = b == 0xF0 ? 0x90 : 0x80;
        hi = b == 0xF4 ? 0x8F : 0xBF; // nothing beyond U+10FFFF
    } else {
        return 0;
    }
    if (i + len > text.size() || at(i + 1) < lo || at(i + 1) > hi)
        return 0;
    for (std::size_t k = 2; k < len; ++k)
        if (at(i + k) < 0x80 || at(i + k) > 0xBF)
            return 0;
    return len;
}

/// A whole number; nullopt unless the whole text is one (a leading '+' is allowed).
std::optional<long long> WholeNumber(std::string_view text, bool& tooLarge) {
    tooLarge = false;
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    long long v = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (end != text.data() + text.size() || text.empty())
        return std::nullopt;
    if (ec == std::errc::result_out_of_range) {
        tooLarge = true;
        return std::nullopt;
    }
    return ec == std::errc() ? std::optional<long long>(v) : std::nullopt;
}

/// A decimal number that a float holds: finite and within FLT_MAX.
std::optional<double> DecimalNumber(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    double v = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size() || !std::isfinite(v) ||
        std::fabs(v) > FLT_MAX)
        return std::nullopt;
    return v;
}

std::string Quoted(std::string_view text) { return "\"" + ForTerminal(text) + "\""; }

} // namespace

std::string ForTerminal(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    const auto escape = [&out](unsigned char b) {
        static const char kHex[] = "0123456789ABCDEF";
        out += "\\x";
        out += kHex[b >> 4];
        out += kHex[b & 0xF];
    };
    for (std::size_t i = 0; i < text.size();) {
        const auto b = static_cast<unsigned char>(text[i]);
        if (b < 0x80) {
            if (b < 0x20 || b == 0x7F)
                escape(b);
            else
                out += static_cast<char>(b);
            ++i;
            continue;
        }
        const std::size_t len = Utf8Length(text, i);
        if (len == 0) {
            escape(b);
            ++i;
        } else if (b == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
            // U+0080..U+009F: the C1 controls, CSI among them.
            escape(b);
            escape(static_cast<unsigned char>(text[i + 1]));
            i += 2;
        } else {
            out.append(text.substr(i, len));
            i += len;
        }
    }
    return out;
}

std::string ShownPath(std::string_view path) {
    return path == kStdinPath ? std::string("(standard input)") : ForTerminal(path);
}

std::string DisplayName(const std::string& name, const char* keyword) {
    if (!name.empty() || !keyword)
        return name;
    return keyword[0] == '*' ? keyword + 1 : keyword;
}

bool ReadAll(int fd, std::string& bytes, std::string& why) {
    const int status = ReadAllUpTo(fd, kMaxStdinBytes, bytes);
    if (status == EFBIG)
        why = "more than " + std::to_string(kMaxStdinBytes >> 20) + " MiB";
    else if (status != 0)
        why = std::strerror(status);
    return status == 0;
}

QJVPPDRef OpenForTool(const OpenRequest& request, std::ostream& err) {
    PPDX::Options(kDisplayAll);
    PPDHostInfo host{request.hostApp, request.allErrorsFatal};
    const bool fromStdin = request.path == kStdinPath;
    const std::string shown = ShownPath(request.path);
    QJVPPDRef doc;
    if (fromStdin) {
        std::string bytes, why;
        if (!ReadAll(STDIN_FILENO, bytes, why)) {
            err << "kelvo-pde: " << shown << ": " << why << " (" << PPDErrName(PPDErr_FileError) << ")\n";
            return nullptr;
        }
        doc = QJVPPD::FromBytes(bytes, kParseAll, host);
    } else {
        doc.reset(new QJVPPD(request.path, kParseAll, {}, host));
    }
    if (doc->IsValidPPD()) {
        // A shortened read still gives a valid document; say so where it is
        // seen whatever the command prints.
        for (std::size_t i = 0; const PPDXErrorObj* e = doc->GetErrors()->At(i); ++i)
            if (e->Code() == PPDErr_ReadEndedEarly)
                err << "kelvo-pde: " << shown << ": warning: " << Describe(*doc, *e) << "\n";
        return doc;
    }
    // Name the error that made the document unusable: the first fatal one,
    // or with every error fatal, the first of all.
    const PPDXErrorObj* culprit = nullptr;
    for (std::size_t i = 0; const PPDXErrorObj* e = doc->GetErrors()->At(i); ++i) {
        if (e->IsFatal() || request.allErrorsFatal) {
            culprit = e;
            break;
        }
    }
    if (culprit) {
        err << "kelvo-pde: " << shown << ": " << Describe(*doc, *culprit) << "\n";
    } else {
        const char* message = PPDErrMessage(PPDErr_NotPPDFile);
        err << "kelvo-pde: " << shown << ": " << (message ? message : "not a PPD file") << " ("
            << PPDErrName(PPDErr_NotPPDFile) << ")\n";
    }
    return nullptr;
}

int RunValidate(const std::string& path, const std::optional<std::vector<std::string>>& names, std::ostream& out,
                std::ostream& err) {
    const std::string shown = ShownPath(path);
    std::unique_ptr<PPDFile> file;
    if (path == kStdinPath) {
        std::string bytes, why;
        if (!ReadAll(STDIN_FILENO, bytes, why)) {
            err << "kelvo-pde: " << shown << ": " << why << " (" << PPDErrName(PPDErr_FileError) << ")\n";
            return kExitBadPPD;
        }
        file = PPDFile::FromBytes(bytes);
    } else {
        file = std::make_unique<PPDFile>(path);
    }
    // Open first, so that a file that cannot be read is named as such rather
    // than reported as a PPD that does not match.
    if (!file->Open()) {
        err << "kelvo-pde: " << shown << ": " << file->ErrorText() << " (" << PPDErrName(PPDErr_FileError) << ")\n";
        return kExitBadPPD;
    }
    const bool valid = PPDX::ValidateFileName(path, names, file.get());
    out << shown << ": " << (valid ? "valid" : "not valid");
    if (!names)
        out << " (no names given: every PPD is served)";
    out << "\n";
    return valid ? kExitOK : kExitNotValid;
}

std::optional<std::string> AcceptedValue(PPDXControl& control, const std::string& key, std::string_view value,
                                         std::ostream& err) {
    const std::string shownKey = ForTerminal(control.Keyword() ? control.Keyword() : key);
    if (auto* popup = dynamic_cast<PPDXPopupControl*>(&control)) {
        const bool profile = PPDXPopupControl::IsProfileKeyword(control.Keyword());
        std::string choices;
        for (std::size_t i = 0; i < popup->ItemCount(); ++i) {
            const _PopupItem* item = popup->ItemAt(i);
            if (!item->Keyword())
                continue;
            if (value == item->Keyword())
                return std::string(value);
            // The colour-profile menus also answer to their choices' names.
            if (profile && item->localName && item->localName->size() == value.size() &&
                strncasecmp(item->localName->data(), value.data(), value.size()) == 0)
                return std::string(item->Keyword());
            choices += std::string(" ") + item->Keyword();
        }
        err << "kelvo-pde: " << shownKey << " has no choice " << ForTerminal(value) << " (choices:" << ForTerminal(choices)
            << ")\n";
        return std::nullopt;
    }
    if (dynamic_cast<PPDXBooleanControl*>(&control)) {
        for (const char* word : {"True", "False"})
            if (value.size() == std::strlen(word) && strncasecmp(value.data(), word, value.size()) == 0)
                return std::string(word);
        err << "kelvo-pde: " << shownKey << " is True or False, not " << Quoted(value) << "\n";
        return std::nullopt;
    }
    if (dynamic_cast<PPDXRangeControl*>(&control)) {
        bool tooLarge = false;
        const std::optional<long long> v = WholeNumber(value, tooLarge);
        if (!v || *v < std::numeric_limits<std::int32_t>::min() || *v > std::numeric_limits<std::int32_t>::max()) {
            err << "kelvo-pde: " << shownKey << " wants a whole number"
                << (v || tooLarge ? " within 32 bits (-2147483648..2147483647)" : "") << ", not " << Quoted(value)
                << "\n";
            return std::nullopt;
        }
        return std::to_string(*v);
    }
    if (dynamic_cast<PPDXFloatRangeControl*>(&control)) {
        if (!DecimalNumber(value)) {
            err << "kelvo-pde: " << shownKey << " wants a finite decimal number, not " << Quoted(value) << "\n";
            return std::nullopt;
        }
        return std::string(value);
    }
    if (dynamic_cast<PPDXCustomPageSizeControl*>(&control)) {
        const std::size_t blank = value.find(' ');
        if (blank == std::string_view::npos || !DecimalNumber(value.substr(0, blank)) ||
            !DecimalNumber(value.substr(blank + 1))) {
            err << "kelvo-pde: " << shownKey << " wants \"WIDTH HEIGHT\" in points, not " << Quoted(value) << "\n";
            return std::nullopt;
        }
        return std::string(value);
    }
    if (control.Type() == kControlTypeSpecialOption) {
        err << "kelvo-pde: " << shownKey << " is a special option; its value is fixed by the PPD\n";
        return std::nullopt;
    }
    return std::string(value); // a job note: any text
}

int PrintPostScript(QJVPPD& doc, const std::string& key, const std::optional<std::string>& value,
                    std::ostream& out, std::ostream& err, bool isNote) {
    PPDXControl* control = doc.GetPPDXControlForKey(key);
    if (!control) {
        err << "kelvo-pde: no control " << ForTerminal(key) << " in this PPD\n";
        return kExitUsage;
    }
    if (isNote && control->Type() != kControlTypeJobNote) {
        err << "kelvo-pde: " << ForTerminal(key) << " is not a job note\n";
        return kExitUsage;
    }
    if (value) {
        const std::optional<std::string> accepted = AcceptedValue(*control, key, *value, err);
        if (!accepted)
            return kExitUsage;
        control->SetCurrentControlWithCFString(*accepted);
    }
    out << control->PostScriptText();
    return kExitOK;
}

} // namespace kelvo::tool
