// Fuzz target: translation strings through the text converter.
//
// Input: byte 0 picks the "*LanguageEncoding" name (and an explicit target
// encoding), byte 1 the language version, a buffer size and the job-note
// language; the rest is the translation text, <hex> runs and all.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "PPDX/PopupJobNotesState.h"
#include "TextConverter/TextConverter.h"
#include "util/Log.h"

namespace {

// Every name the readers know, plus ones they do not (null and unknown).
constexpr const char* kEncodingNames[] = {
    "ISOLatin1", "ISOLatin2", "ISOLatin5", "JIS83-RKSJ", "MacStandard", "WindowsANSI", "UTF-8", "Unknown", nullptr,
};
constexpr unsigned kEncodings[] = {
    kTextEncodingMacRoman,  kTextEncodingISOLatin1,    kTextEncodingISOLatin2, kTextEncodingISOLatin5,
    kTextEncodingWindowsLatin1, kTextEncodingShiftJIS, kTextEncodingUnicodeUTF16, kTextEncodingUTF8,
    kTextEncodingUnknown,
};
// One language of the trusted list, one outside it, and none.
constexpr const char* kLanguages[] = {"English", "Japanese", "Polish", nullptr};

template <class T, std::size_t N>
const T& Pick(const T (&table)[N], unsigned index) {
    return table[index % N];
}

void Require(bool condition) {
    if (!condition)
        std::abort();
}

bool IsUtf8(std::string_view text) {
    bool ok = false;
    TextConverter::ConvertBytes(text, kTextEncodingUTF8, kTextEncodingUTF8, &ok);
    return ok || text.empty();
}

// A heap copy of exactly `size` bytes, so a write past it is reported.
std::unique_ptr<char[]> Block(std::string_view text, std::size_t size) {
    auto block = std::make_unique<char[]>(size);
    std::memcpy(block.get(), text.data(), std::min(text.size(), size));
    return block;
}

void CheckConvert(TextConverter& converter, const std::string& text, long size) {
    auto buffer = Block(text, static_cast<std::size_t>(size));
    buffer[size - 1] = '\0';
    converter.Convert(buffer.get(), size);
    Require(strnlen(buffer.get(), static_cast<std::size_t>(size)) < static_cast<std::size_t>(size));
}

} // namespace

// Diagnostic lines (encoding notes, job-note notices) would flood the log.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    kelvo::SetLogSink([](std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const unsigned selector = data[0];
    const unsigned options = data[1];
    const std::string_view raw(reinterpret_cast<const char*>(data) + 2, size - 2);
    // Translations reach the converter as C strings: up to the first NUL.
    const std::string text(raw.data(), strnlen(raw.data(), raw.size()));

    const char* encodingName = Pick(kEncodingNames, selector);
    const char* language = Pick(kLanguages, options);
    const unsigned target = Pick(kEncodings, selector >> 4);
    const long smallSize = 1 + static_cast<long>((options >> 2) & 0x1F);
    gPopupJobNotesLangIsJapanese = (options & 0x80) != 0;

    // Hex decoding alone: never longer than its input, always terminated.
    auto dehexed = std::make_unique<char[]>(text.size() + 1);
    const long length = TextConverter::DehexBufferFill(text.c_str(), dehexed.get());
    Require(length >= 1 && static_cast<std::size_t>(length) <= text.size() + 1);
    Require(dehexed[static_cast<std::size_t>(length) - 1] == '\0');

    // The document's converter: display text is always valid UTF-8.
    TextConverter document(encodingName, language);
    Require(IsUtf8(document.ConvertToCFString(text.c_str(), 256)));
    CheckConvert(document, text, static_cast<long>(text.size()) + 1);
    CheckConvert(document, text, smallSize);
    // After an 8-bit Convert may have switched the source to Mac Roman.
    Require(IsUtf8(document.ConvertToCFString(text.c_str(), 256)));

    TextConverter toTarget(encodingName, language, target);
    CheckConvert(toTarget, text, static_cast<long>(text.size()) + 1);
    TextConverter between(Pick(kEncodings, selector), target);
    CheckConvert(between, text, smallSize);
    Require(IsUtf8(between.ConvertToCFString(text.c_str(), 256)));

    // Whole byte strings, NULs included.
    TextConverter::ConvertBytes(raw, Pick(kEncodings, selector), target);
    auto out = std::make_unique<char[]>(static_cast<std::size_t>(smallSize));
    TextConverter::CFStringToCstring(raw, out.get(), smallSize);
    Require(strnlen(out.get(), static_cast<std::size_t>(smallSize)) < static_cast<std::size_t>(smallSize));
    TextConverter::ToSystemText(raw);

    const char* utf8 = macRomanToUTF8(text.c_str());
    Require(utf8 != nullptr && std::strlen(utf8) < 255);
    auto app = std::make_unique<char[]>(4 * text.size() + 1);
    ConvertTextFromApplicationToUTF8(text.c_str(), app.get());

    TextConverter::LanguageStringToEncoding(text.c_str());
    HexLanguageExceptions::IsException(text.c_str());
    return 0;
}
