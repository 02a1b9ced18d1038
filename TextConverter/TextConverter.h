// Converts PPD translation strings (declared encoding plus <hex> runs) to display text.
#pragma once

#include <iconv.h>

#include <string>
#include <string_view>

/// Encoding values passed around by the readers. They keep the numbering of
/// the desktop platform the PPD extension statements were designed for, so
/// stored values stay comparable; iconv names are derived from them.
enum : unsigned {
    kTextEncodingMacRoman = 0,
    kTextEncodingISOLatin1 = 513,
    kTextEncodingISOLatin2 = 514,
    kTextEncodingISOLatin5 = 521,
    kTextEncodingWindowsLatin1 = 1280,
    kTextEncodingShiftJIS = 2561,
    kTextEncodingMacJapanesePS = 0x0A01, // served by CP932 here
    kTextEncodingUnicodeUTF16 = 0x0100,  // internal: the to-Unicode side
    kTextEncodingUTF8 = 0x08000100,
    kTextEncodingUnknown = 65535,
};

/// Platform-style status codes returned by the conversion calls.
enum : int {
    kTextStatusOK = 0,
    kTextStatusBadParam = -50,
    kTextStatusOutOfMemory = -108,
    kTextStatusConversionFailed = -8738, // no converter or iconv refused the text
};

/// Language names whose PPD bytes are trusted to be in the declared encoding
/// even when they hold bytes of 0x80 and above.
class HexLanguageExceptions {
public:
    static bool IsException(const char* languageVersion);
};

/// One converter per document: PPD encoding -> output encoding (the system's
/// encoding, UTF-8 unless the locale says otherwise), plus a lazily created
/// PPD encoding -> UTF-8 path for display strings.
///
/// Owns its iconv descriptors; not copyable. Every call leaves a usable result
/// on failure (the unconverted bytes or one of the fixed fallback texts).
class TextConverter {
public:
    /// Converter for a document whose "*LanguageEncoding" and
    /// "*LanguageVersion" values are given (either may be null). Output is the
    /// system encoding.
    TextConverter(const char* languageEncoding, const char* languageVersion);
    /// The same with an explicit output encoding.
    TextConverter(const char* languageEncoding, const char* languageVersion, unsigned outputEncoding);
    /// Converter between two encoding values.
    TextConverter(unsigned from, unsigned to);
    ~TextConverter();
    TextConverter(const TextConverter&) = delete;
    TextConverter& operator=(const TextConverter&) = delete;

    bool ValidConverter() const { return mValid; }
    int Status() const { return mStatus; }
    unsigned GetPPDEncoding() const { return mPPDEncoding; }
    unsigned GetOutputEncoding() const { return mOutputEncoding; }
    const char* LanguageVersion() const { return mLanguageVersion.c_str(); }

    /// Converts `text` in place from the PPD encoding to the output encoding,
    /// decoding <hex> runs first. At most size - 1 bytes are written back and
    /// the result is NUL-terminated. Outside the HexLanguageExceptions
    /// languages, any byte >= 0x80 switches the PPD encoding to Mac Roman for
    /// good. Returns a status (0, -50 for null text, -108, or a failure code).
    int Convert(char* text, long size);

    /// Decodes <hex> runs and converts the bytes to UTF-8 display text; a hex
    /// 00 ends the text. A null text gives "". `limit` is the caller's notional
    /// buffer size (callers pass 256); the result is not cut by it.
    ///
    /// Mac Roman, ISO Latin 1 and Windows Latin 1 are decoded leniently: a
    /// byte the encoding leaves undefined becomes U+FFFD. ISO Latin 2/5 and
    /// Shift-JIS are decoded strictly; if that fails, the bytes are read as
    /// UTF-8 instead. Any other encoding is read as UTF-8. Bytes that are not
    /// valid UTF-8 become U+FFFD each, so the result is always valid UTF-8.
    std::string ConvertToCFString(const char* text, long limit);

    /// UTF-8 text -> system encoding into out (size bytes, NUL-terminated).
    /// On failure copies "Translation Error" (cut to size - 1). Returns status.
    static int CFStringToCstring(std::string_view utf8, char* out, long size);
    /// CFStringToCstring into a buffer large enough for any target encoding.
    static std::string ToSystemText(std::string_view utf8);

    /// The system's text encoding: the locale's codeset, UTF-8 by default.
    static unsigned GetCurrentEncoding();
    /// Maps a "*LanguageEncoding" value to an encoding value (exact match).
    static unsigned LanguageStringToEncoding(const char* name);
    /// The iconv name for an encoding value, or null for unknown values.
    static const char* IconvName(unsigned encoding);

    /// Decodes <hex> runs of `in` into `out` (which holds strlen(in) + 1).
    /// Returns the result length including the terminator.
    static long DehexBufferFill(const char* in, char* out);
    /// Value of one hex digit; anything else is 0.
    static short toShort(char c);

    /// Converts bytes between two encodings; sets *ok to false (and returns
    /// the input unchanged) when either encoding is unknown or the bytes are
    /// not valid in `from`.
    static std::string ConvertBytes(std::string_view bytes, unsigned from, unsigned to, bool* ok = nullptr);

    /// Owns one iconv descriptor; closed on destruction or reopen.
    class IconvHandle {
    public:
        IconvHandle() = default;
        ~IconvHandle() { Close(); }
        IconvHandle(const IconvHandle&) = delete;
        IconvHandle& operator=(const IconvHandle&) = delete;
        /// Opens a from -> to descriptor; false (and closed) when iconv refuses.
        bool Open(unsigned from, unsigned to);
        void Close();
        bool IsOpen() const { return mCd != None(); }
        iconv_t Get() const { return mCd; }

    private:
        static iconv_t None() { return reinterpret_cast<iconv_t>(-1); }
        iconv_t mCd = None();
    };

private:
    void Setup(const char* languageEncoding, const char* languageVersion, unsigned outputEncoding);
    bool CreateConverter(unsigned from, unsigned to);
    void DisposeConverter();
    /// The encoding display text is decoded from: the PPD encoding when iconv
    /// knows it, else UTF-8.
    unsigned DisplaySourceEncoding() const;
    bool EnsureToUnicode(unsigned from);

    unsigned mPPDEncoding = kTextEncodingUnknown;
    unsigned mOutputEncoding = kTextEncodingUnknown;
    IconvHandle mConverter;
    int mStatus = 0;
    bool mValid = false;
    /// PPD-built converters distrust 8-bit text outside HexLanguageExceptions;
    /// a converter between two explicit encodings trusts its source.
    bool mTrustSource = false;
    IconvHandle mToUnicode;
    unsigned mToUnicodeEncoding = kTextEncodingUnknown;
    std::string mLanguageVersion;
};

/// Reads `text` as Shift-JIS when gPopupJobNotesLangIsJapanese, else as Mac
/// Roman, and returns it as UTF-8 in a static 255-byte buffer. On failure it
/// returns "[conv from MR or SJ failed]" or "[MR or SJ conv to UTF8 failed]".
const char* macRomanToUTF8(const char* text);

/// Application text encoding (the system encoding here) -> UTF-8. `out` must
/// hold 4 * strlen(in) + 1 bytes; the output is NUL-terminated. Returns status.
int ConvertTextFromApplicationToUTF8(const char* in, char* out);
