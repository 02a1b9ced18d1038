// PPD translation strings to display text and to the system encoding, over iconv.
#include "TextConverter/TextConverter.h"

#include "PPDX/PopupJobNotesState.h"
#include "util/Log.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <langinfo.h>
#include <memory>
#include <new>
#include <strings.h>

namespace {

constexpr std::string_view kReplacementChar = "\xEF\xBF\xBD"; // U+FFFD in UTF-8
constexpr std::size_t kMinBlock = 32;
constexpr const char* kOutOfMemoryText = "Out Of Memory";
constexpr const char* kTranslationErrorText = "Translation Error";

/// A heap block that reports allocation failure instead of throwing, so the
/// conversion calls can answer "out of memory" with a status.
class ByteBlock {
public:
    bool Allocate(std::size_t size) {
        mData.reset(new (std::nothrow) char[size]);
        mSize = mData ? size : 0;
        return mData != nullptr;
    }
    /// Enlarges the block by `extra` bytes, keeping its contents.
    bool Grow(std::size_t extra) {
        std::unique_ptr<char[]> bigger(new (std::nothrow) char[mSize + extra]);
        if (!bigger)
            return false;
        if (mSize)
            std::memcpy(bigger.get(), mData.get(), mSize);
        mData = std::move(bigger);
        mSize += extra;
        return true;
    }
    char* Data() const { return mData.get(); }
    std::size_t Size() const { return mSize; }

private:
    std::unique_ptr<char[]> mData;
    std::size_t mSize = 0;
};

enum class OnInvalid { Fail, Replace };

/// Runs `in` through `cd` from a clean state and flushes it. The output block
/// starts at `initial` bytes (at least 32) and grows by that step whenever
/// iconv runs out of room. With OnInvalid::Replace (UTF-8 output only) each
/// byte iconv rejects becomes U+FFFD and the conversion goes on.
int RunIconv(iconv_t cd, std::string_view in, std::size_t initial, OnInvalid onInvalid, ByteBlock& out,
             std::size_t& produced) {
    const std::size_t step = std::max(initial, kMinBlock);
    produced = 0;
    if (!out.Allocate(step))
        return kTextStatusOutOfMemory;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);

    // iconv's interface is not const-correct; it never writes through inbuf.
    char* src = const_cast<char*>(in.data());
    std::size_t srcLeft = in.size();
    bool flushing = false;
    for (;;) {
        char* dst = out.Data() + produced;
        std::size_t dstLeft = out.Size() - produced;
        const std::size_t result = flushing ? iconv(cd, nullptr, nullptr, &dst, &dstLeft)
                                            : iconv(cd, &src, &srcLeft, &dst, &dstLeft);
        const int error = errno;
        produced = static_cast<std::size_t>(dst - out.Data());
        if (result != static_cast<std::size_t>(-1)) {
            if (flushing)
                return kTextStatusOK;
            flushing = true;
            continue;
        }
        if (error == E2BIG) {
            if (!out.Grow(step))
                return kTextStatusOutOfMemory;
            continue;
        }
        if (onInvalid == OnInvalid::Fail || flushing || srcLeft == 0)
            return kTextStatusConversionFailed;
        // EILSEQ or EINVAL (a truncated sequence at the end): replace one byte.
        if (out.Size() - produced < kReplacementChar.size() && !out.Grow(step))
            return kTextStatusOutOfMemory;
        std::memcpy(out.Data() + produced, kReplacementChar.data(), kReplacementChar.size());
        produced += kReplacementChar.size();
        ++src;
        --srcLeft;
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
    }
}

/// Reads bytes as UTF-8, replacing each invalid byte with U+FFFD.
std::string Utf8Lenient(std::string_view bytes) {
    TextConverter::IconvHandle cd;
    if (!cd.Open(kTextEncodingUTF8, kTextEncodingUTF8))
        return std::string(bytes);
    ByteBlock block;
    std::size_t produced = 0;
    if (RunIconv(cd.Get(), bytes, bytes.size(), OnInvalid::Replace, block, produced) != kTextStatusOK)
        return std::string(bytes);
    return std::string(block.Data(), produced);
}

/// Dehexes `length` bytes of `text` (no NUL among them) and converts them with
/// `cd` into `out`. When the output encoding is Shift-JIS the input is cut to
/// an even length first, so a lone trailing byte is dropped. If iconv refuses
/// the text, `out` gets the dehexed bytes unconverted.
int PpdStringConvert(iconv_t cd, unsigned outputEncoding, const char* text, std::size_t length, ByteBlock& out,
                     std::size_t& produced) {
    produced = 0;
    ByteBlock source;
    ByteBlock dehexed;
    if (!source.Allocate(length + 1) || !dehexed.Allocate(length + 1))
        return kTextStatusOutOfMemory;
    std::memcpy(source.Data(), text, length);
    source.Data()[length] = '\0';
    // Never longer than the source: each bracketed pair shrinks to one byte.
    std::size_t count = static_cast<std::size_t>(TextConverter::DehexBufferFill(source.Data(), dehexed.Data())) - 1;
    if (outputEncoding == kTextEncodingShiftJIS)
        count &= ~std::size_t{1};

    const int status = RunIconv(cd, {dehexed.Data(), count}, 3 * length, OnInvalid::Fail, out, produced);
    if (status != kTextStatusConversionFailed)
        return status;
    if (!out.Allocate(std::max<std::size_t>(count, 1)))
        return kTextStatusOutOfMemory;
    std::memcpy(out.Data(), dehexed.Data(), count);
    produced = count;
    return status;
}

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool IsHexSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

} // namespace

// ---- HexLanguageExceptions ----

bool HexLanguageExceptions::IsException(const char* languageVersion) {
    static constexpr std::array<std::string_view, 17> kExceptionsList = {
        "Japanese", "ChineseTrad", "ChineseSimp", "Chinese",   "Korean",     "Czech",
        "Russian",  "Bulg",        "Estonian",    "Greek",     "Hungarian",  "Latvian",
        "Lithuanian", "Polish",    "Romanian",    "Slovak",    "Slovenian",
    };
    if (!languageVersion)
        return false;
    return std::find(kExceptionsList.begin(), kExceptionsList.end(), std::string_view(languageVersion)) !=
           kExceptionsList.end();
}

// ---- IconvHandle ----

bool TextConverter::IconvHandle::Open(unsigned from, unsigned to) {
    Close();
    const char* fromName = IconvName(from);
    const char* toName = IconvName(to);
    if (!fromName || !toName)
        return false;
    mCd = iconv_open(toName, fromName);
    return IsOpen();
}

void TextConverter::IconvHandle::Close() {
    if (IsOpen())
        iconv_close(mCd);
    mCd = None();
}

// ---- TextConverter ----

TextConverter::TextConverter(const char* languageEncoding, const char* languageVersion) {
    Setup(languageEncoding, languageVersion, GetCurrentEncoding());
}

TextConverter::TextConverter(const char* languageEncoding, const char* languageVersion, unsigned outputEncoding) {
    Setup(languageEncoding, languageVersion, outputEncoding);
}

TextConverter::TextConverter(unsigned from, unsigned to)
    : mPPDEncoding(from), mOutputEncoding(to), mTrustSource(true) {
    mValid = CreateConverter(from, to);
}

TextConverter::~TextConverter() = default;

void TextConverter::Setup(const char* languageEncoding, const char* languageVersion, unsigned outputEncoding) {
    mPPDEncoding = LanguageStringToEncoding(languageEncoding);
    if (mPPDEncoding == kTextEncodingUnknown) {
        // Display text is still read as UTF-8; Convert leaves text alone.
        mStatus = kTextStatusConversionFailed;
        return;
    }
    mLanguageVersion = languageVersion ? languageVersion : "";
    mOutputEncoding = outputEncoding;
    mValid = CreateConverter(mPPDEncoding, mOutputEncoding);
}

bool TextConverter::CreateConverter(unsigned from, unsigned to) {
    if (!mConverter.Open(from, to)) {
        mStatus = kTextStatusConversionFailed;
        return false;
    }
    mStatus = kTextStatusOK;
    return true;
}

void TextConverter::DisposeConverter() {
    mConverter.Close();
    mValid = false;
}

unsigned TextConverter::DisplaySourceEncoding() const {
    switch (mPPDEncoding) {
    case kTextEncodingMacRoman:
    case kTextEncodingISOLatin1:
    case kTextEncodingWindowsLatin1:
    case kTextEncodingISOLatin2:
    case kTextEncodingISOLatin5:
    case kTextEncodingShiftJIS:
        return mPPDEncoding;
    default:
        return kTextEncodingUTF8;
    }
}

bool TextConverter::EnsureToUnicode(unsigned from) {
    if (mToUnicode.IsOpen() && mToUnicodeEncoding == from)
        return true;
    mToUnicodeEncoding = from;
    return mToUnicode.Open(from, kTextEncodingUTF8);
}

int TextConverter::Convert(char* text, long size) {
    if (!mValid || !mConverter.IsOpen())
        return mStatus;
    if (!text || size < 1)
        return mStatus = kTextStatusBadParam;
    mStatus = kTextStatusOK;

    const std::size_t length = strnlen(text, static_cast<std::size_t>(size));
    if (!mTrustSource && mPPDEncoding != kTextEncodingMacRoman &&
        !HexLanguageExceptions::IsException(mLanguageVersion.c_str())) {
        // Files in other languages are trusted only while they are plain
        // ASCII; 8-bit text there has in practice been Mac Roman.
        const bool eightBit = std::any_of(text, text + length, [](char c) {
            return static_cast<unsigned char>(c) >= 0x80;
        });
        if (eightBit) {
            DisposeConverter();
            mPPDEncoding = kTextEncodingMacRoman;
            mValid = CreateConverter(kTextEncodingMacRoman, mOutputEncoding);
            if (!mValid)
                return mStatus;
        }
    }

    ByteBlock out;
    std::size_t produced = 0;
    mStatus = PpdStringConvert(mConverter.Get(), mOutputEncoding, text, length, out, produced);
    if (mStatus == kTextStatusOutOfMemory)
        return mStatus;
    const std::size_t kept = std::min(produced, static_cast<std::size_t>(size) - 1);
    std::memcpy(text, out.Data(), kept);
    text[kept] = '\0';
    return mStatus;
}

std::string TextConverter::ConvertToCFString(const char* text, long /*limit*/) {
    if (!text)
        return {};
    const std::size_t length = std::strlen(text);
    std::unique_ptr<char[]> work(new (std::nothrow) char[length + 1]);
    if (!work)
        return kOutOfMemoryText;
    DehexBufferFill(text, work.get());
    const std::string_view bytes(work.get()); // a hex 00 ends the text

    const unsigned source = DisplaySourceEncoding();
    const bool strict = source == kTextEncodingISOLatin2 || source == kTextEncodingISOLatin5 ||
                        source == kTextEncodingShiftJIS;
    if (!EnsureToUnicode(source)) {
        mStatus = kTextStatusConversionFailed;
        return Utf8Lenient(bytes);
    }
    // Bytes below 0x80 read the same in every display source (the Latin
    // sets, Mac Roman, CP932, UTF-8), and most translations are plain ASCII:
    // they need no trip through iconv, which is a large part of parse time.
    if (std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
        mStatus = kTextStatusOK;
        return std::string(bytes);
    }
    ByteBlock block;
    std::size_t produced = 0;
    mStatus = RunIconv(mToUnicode.Get(), bytes, 4 * bytes.size(), strict ? OnInvalid::Fail : OnInvalid::Replace,
                       block, produced);
    if (mStatus == kTextStatusOK)
        return std::string(block.Data(), produced);
    if (mStatus == kTextStatusOutOfMemory)
        return kOutOfMemoryText;
    // The declared encoding did not fit the bytes: show them as they are.
    return Utf8Lenient(bytes);
}

int TextConverter::CFStringToCstring(std::string_view utf8, char* out, long size) {
    if (!out || size < 1)
        return kTextStatusBadParam;
    bool ok = false;
    const std::string converted = ConvertBytes(utf8, kTextEncodingUTF8, GetCurrentEncoding(), &ok);
    const auto capacity = static_cast<std::size_t>(size);
    if (ok && converted.size() < capacity) {
        std::memcpy(out, converted.data(), converted.size());
        out[converted.size()] = '\0';
        return kTextStatusOK;
    }
    const std::size_t kept = std::min(std::strlen(kTranslationErrorText), capacity - 1);
    std::memcpy(out, kTranslationErrorText, kept);
    out[kept] = '\0';
    return kTextStatusConversionFailed;
}

unsigned TextConverter::GetCurrentEncoding() {
    static constexpr struct {
        const char* codeset;
        unsigned encoding;
    } kCodesets[] = {
        {"UTF-8", kTextEncodingUTF8},
        {"ISO-8859-1", kTextEncodingISOLatin1},
        {"ISO-8859-2", kTextEncodingISOLatin2},
        {"ISO-8859-9", kTextEncodingISOLatin5},
        {"CP1252", kTextEncodingWindowsLatin1},
        {"SHIFT_JIS", kTextEncodingShiftJIS},
        {"SJIS", kTextEncodingShiftJIS},
        {"CP932", kTextEncodingShiftJIS},
        {"WINDOWS-31J", kTextEncodingShiftJIS},
        {"MACINTOSH", kTextEncodingMacRoman},
    };
    // The C locale reports plain ASCII; a codeset we have no value for is
    // served as UTF-8 too, which is what Linux desktops run today.
    const char* codeset = nl_langinfo(CODESET);
    if (!codeset)
        return kTextEncodingUTF8;
    for (const auto& entry : kCodesets)
        if (strcasecmp(codeset, entry.codeset) == 0)
            return entry.encoding;
    return kTextEncodingUTF8;
}

unsigned TextConverter::LanguageStringToEncoding(const char* name) {
    static constexpr struct {
        std::string_view name;
        unsigned encoding;
    } kNames[] = {
        {"ISOLatin1", kTextEncodingISOLatin1},   {"ISOLatin2", kTextEncodingISOLatin2},
        {"ISOLatin5", kTextEncodingISOLatin5},   {"JIS83-RKSJ", kTextEncodingShiftJIS},
        {"MacStandard", kTextEncodingMacRoman}, {"WindowsANSI", kTextEncodingWindowsLatin1},
    };
    if (!name)
        return kTextEncodingUnknown;
    const std::string_view value(name);
    for (const auto& entry : kNames)
        if (value == entry.name)
            return entry.encoding;
    if (value == "UTF-8") {
        char line[96];
        std::snprintf(line, sizeof line, "CFStringGetMostCompatibleMacStringEncoding theEncoding = %x (%d)\n",
                      kTextEncodingUTF8, static_cast<int>(kTextEncodingUTF8));
        kelvo::Log(line);
        return kTextEncodingUTF8;
    }
    return kTextEncodingUnknown;
}

const char* TextConverter::IconvName(unsigned encoding) {
    switch (encoding) {
    case kTextEncodingMacRoman:
        return "MACINTOSH";
    case kTextEncodingISOLatin1:
        return "ISO-8859-1";
    case kTextEncodingISOLatin2:
        return "ISO-8859-2";
    case kTextEncodingISOLatin5:
        return "ISO-8859-9";
    case kTextEncodingWindowsLatin1:
        return "CP1252";
    case kTextEncodingShiftJIS:
        // CP932 rather than SHIFT_JIS: it keeps 0x5C and 0x7E as backslash and
        // tilde (PostScript and paths rely on them) and has the NEC and IBM
        // extensions Japanese printer files use.
        return "CP932";
    case kTextEncodingUnicodeUTF16:
        return std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";
    case kTextEncodingUTF8:
        return "UTF-8";
    default:
        return nullptr;
    }
}

long TextConverter::DehexBufferFill(const char* in, char* out) {
    if (!in || !out)
        return 0;
    const char* rest = in;
    char* dst = out;
    while (const char* open = std::strchr(rest, '<')) {
        const char* close = std::strchr(open + 1, '>');
        if (!close)
            break;
        std::size_t digits = 0;
        bool valid = true;
        for (const char* p = open + 1; p < close && valid; ++p) {
            if (IsHexDigit(*p))
                ++digits;
            else
                valid = IsHexSpace(*p);
        }
        if (!valid || digits % 2 != 0)
            break; // the rest, this bracket included, stays as written

        dst = std::copy(rest, open, dst);
        int high = -1;
        for (const char* p = open + 1; p < close; ++p) {
            if (!IsHexDigit(*p))
                continue;
            if (high < 0) {
                high = toShort(*p);
            } else {
                *dst++ = static_cast<char>((high << 4) | toShort(*p));
                high = -1;
            }
        }
        rest = close + 1;
    }
    const std::size_t tail = std::strlen(rest) + 1;
    std::memmove(dst, rest, tail);
    dst += tail;
    return static_cast<long>(dst - out);
}

short TextConverter::toShort(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<short>(c - '0');
    if (c >= 'A' && c <= 'F')
        return static_cast<short>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f')
        return static_cast<short>(c - 'a' + 10);
    return 0;
}

std::string TextConverter::ConvertBytes(std::string_view bytes, unsigned from, unsigned to, bool* ok) {
    if (ok)
        *ok = false;
    IconvHandle cd;
    if (!cd.Open(from, to))
        return std::string(bytes);
    ByteBlock block;
    std::size_t produced = 0;
    if (RunIconv(cd.Get(), bytes, bytes.size(), OnInvalid::Fail, block, produced) != kTextStatusOK)
        return std::string(bytes);
    if (ok)
        *ok = true;
    return std::string(block.Data(), produced);
}

// ---- free functions for the panel ----

const char* macRomanToUTF8(const char* text) {
    static char buffer[255];
    if (!text)
        return "[conv from MR or SJ failed]";
    const unsigned source = gPopupJobNotesLangIsJapanese ? kTextEncodingShiftJIS : kTextEncodingMacRoman;
    bool ok = false;
    const std::string utf8 = TextConverter::ConvertBytes(text, source, kTextEncodingUTF8, &ok);
    if (!ok)
        return "[conv from MR or SJ failed]";
    if (utf8.size() >= sizeof buffer)
        return "[MR or SJ conv to UTF8 failed]";
    std::memcpy(buffer, utf8.data(), utf8.size());
    buffer[utf8.size()] = '\0';
    return buffer;
}

int ConvertTextFromApplicationToUTF8(const char* in, char* out) {
    if (!in || !out)
        return kTextStatusBadParam;
    const std::size_t length = std::strlen(in);
    bool ok = false;
    const std::string utf8 =
        TextConverter::ConvertBytes({in, length}, TextConverter::GetCurrentEncoding(), kTextEncodingUTF8, &ok);
    if (!ok || utf8.size() > 4 * length) {
        out[0] = '\0';
        return kTextStatusConversionFailed;
    }
    std::memcpy(out, utf8.data(), utf8.size());
    out[utf8.size()] = '\0';
    return kTextStatusOK;
}

std::string TextConverter::ToSystemText(std::string_view utf8) {
    if (utf8.empty())
        return {};
    // Plain ASCII is itself in a UTF-8 system, the common case: no
    // converter needs opening for it.
    if (GetCurrentEncoding() == kTextEncodingUTF8 &&
        std::all_of(utf8.begin(), utf8.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80 && c != 0; }))
        return std::string(utf8);
    // Four bytes per source byte covers every multi-byte target encoding.
    std::string buffer(utf8.size() * 4 + 1, '\0');
    CFStringToCstring(utf8, buffer.data(), static_cast<long>(buffer.size()));
    buffer.resize(std::strlen(buffer.c_str()));
    return buffer;
}
