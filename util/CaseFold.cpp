// Case-insensitive comparison of UTF-8 text through iconv and the C.UTF-8 case map.
#include "util/CaseFold.h"

#include <iconv.h>
#include <locale.h>
#include <strings.h>
#include <wctype.h>

#include <cerrno>
#include <optional>
#include <string>

namespace kelvo {

namespace {

/// The C.UTF-8 locale, opened once: its case map covers all of Unicode and
/// does not change with the user's locale settings.
locale_t CaseLocale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
    return locale;
}

/// The text as lowered code points, or nothing when it is not valid UTF-8.
std::optional<std::wstring> Lowered(std::string_view text) {
    std::wstring out(text.size(), L'\0'); // never more code points than bytes
    iconv_t cd = iconv_open("WCHAR_T", "UTF-8");
    if (cd == reinterpret_cast<iconv_t>(-1))
        return std::nullopt;
    char* in = const_cast<char*>(text.data());
    std::size_t inLeft = text.size();
    char* dst = reinterpret_cast<char*>(out.data());
    std::size_t outLeft = out.size() * sizeof(wchar_t);
    const std::size_t rc = iconv(cd, &in, &inLeft, &dst, &outLeft);
    iconv_close(cd);
    if (rc == static_cast<std::size_t>(-1) || inLeft != 0)
        return std::nullopt;
    out.resize(out.size() - outLeft / sizeof(wchar_t));
    const locale_t locale = CaseLocale();
    for (wchar_t& c : out)
        c = locale ? static_cast<wchar_t>(towlower_l(static_cast<wint_t>(c), locale))
                   : static_cast<wchar_t>(towlower(static_cast<wint_t>(c)));
    return out;
}

bool AsciiEqualsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && (a.empty() || strncasecmp(a.data(), b.data(), a.size()) == 0);
}

} // namespace

bool EqualsIgnoringCaseUTF8(std::string_view a, std::string_view b) {
    if (AsciiEqualsIgnoringCase(a, b))
        return true;
    // Only text with bytes above 0x7F can match beyond ASCII folding.
    auto ascii = [](std::string_view s) {
        for (unsigned char c : s)
            if (c >= 0x80)
                return false;
        return true;
    };
    if (ascii(a) && ascii(b))
        return false;
    const std::optional<std::wstring> la = Lowered(a);
    const std::optional<std::wstring> lb = Lowered(b);
    return la && lb && *la == *lb;
}

} // namespace kelvo
