// Watermark definitions, their text in the printer's encoding, and the five procedure sets.
#include "output/Watermark.h"

#include <iconv.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "util/Numbers.h"
#include "util/Format.h"
#include "util/Utf8Cut.h"

namespace kelvo::output {

namespace {

// The procedure sets, as the controller expects them byte for byte. Each is
// a printf format: "%%%%" comes out as the "%%" of a DSC comment. Their
// arguments are listed in BuildWatermarkProcedure.

// Japanese, CJK font, clear toner.
constexpr char kW1[] =
    "%%%%QJV Begin Watermark resource \n"
    " globaldict /landscapeDoc %s put \n"
    " globaldict /invLandscapeDoc %s put \n"
    " 20 dict begin \n"
    " /%s findfont /Encoding get StandardEncoding ne \n"
    " { /WatermarkFontName /%s def } \n"
    " { \n"
    " currentglobal true setglobal ISOLatin1Encoding dup length array copy \n"
    " /ISOLatin1EncodingCopy exch def setglobal \n"
    " ISOLatin1EncodingCopy 128 /Euro put \n"
    " /%s findfont dup length dict begin \n"
    " {1 index /FID ne {def} {pop pop} ifelse} forall \n"
    "                                                    end                                   \n"
    " /WatermarkFontName /%s           def \n"
    " } ifelse \n"
    " userdict /QJVWaterMark \n"
    " { \n"
    " 20 dict begin \n"
    " /Font WatermarkFontName def \n"
    " /Watermark <%s> def \n"
    " /FontSize %d def \n"
    " /WaterMarkColor { true setoverprint [ /Separation (Clear) /DeviceCMYK {0.0 0.0 0.0 0.0} ] setcolorspace 1.0 setcolor } bind def \n"
    " /landscapeDoc %s def \n"
    " /invLandscapeDoc %s def \n"
    " /Angle %.1f def \n"
    " landscapeDoc { /Angle Angle 90 add def } if \n"
    " invLandscapeDoc { /Angle Angle -90 add def } if \n"
    " /XOffset %d def \n"
    " /YOffset %d def \n"
    " gsave \n"
    " userdict /KelvoZTdict known \n"
    " { \n"
    " globaldict /AdobeInitMatrix get exec \n"
    " KelvoZTdict /GetPgNum get exec KelvoZTdict /KelvoBeginPage get exec \n"
    " userdict /origSizeW get 2 div XOffset add userdict /origSizeH get 2 div YOffset add translate \n"
    " } \n"
    " { \n"
    " initmatrix clippath pathbbox \n"
    " /MaxY exch def /MaxX exch def /MinY exch def /MinX exch def \n"
    " MaxX 2 div MinX 2 div add XOffset add \n"
    " MaxY 2 div MinY 2 div add YOffset add translate } ifelse \n"
    " Angle rotate Font findfont FontSize scalefont setfont WaterMarkColor \n"
    " Watermark stringwidth pop 2 div neg FontSize 3 div neg moveto \n"
    " Watermark show \n"
    " grestore \n"
    " end \n"
    " } bind put \n"
    " globaldict /pageCount 0 put \n"
    " globaldict /waterMarkAllPages %s put \n"
    " userdict /QJVDRVRMACOriginalshowpage /showpage load put \n"
    " userdict /showpage \n"
    " { \n"
    " globaldict /pageCount globaldict /pageCount get 1 add put \n"
    " globaldict /pageCount get 1 eq \n"
    " globaldict /waterMarkAllPages get or \n"
    " { \n"
    " userdict /QJVWaterMark get exec \n"
    " } if \n"
    " userdict /QJVDRVRMACOriginalshowpage get exec \n"
    " } bind put \n"
    " %%%%QJV End Watermark resource \n";

// Japanese, CJK font, colour.
constexpr char kW2[] =
    "%%%%QJV Begin Watermark resource \n"
    " globaldict /landscapeDoc %s put \n"
    " globaldict /invLandscapeDoc %s put \n"
    " 20 dict begin \n"
    " /%s findfont /Encoding get StandardEncoding ne \n"
    " { /WatermarkFontName /%s def } \n"
    " { \n"
    " currentglobal true setglobal ISOLatin1Encoding dup length array copy \n"
    " /ISOLatin1EncodingCopy exch def setglobal \n"
    " ISOLatin1EncodingCopy 128 /Euro put \n"
    " /%s findfont dup length dict begin \n"
    " {1 index /FID ne {def} {pop pop} ifelse} forall \n"
    "                                                    end                                   \n"
    " /WatermarkFontName /%s           def \n"
    " } ifelse \n"
    " userdict /QJVWaterMark \n"
    " { \n"
    " 20 dict begin \n"
    " /Font WatermarkFontName def \n"
    " /Watermark <%s> def \n"
    " /FontSize %d def \n"
    " /WaterMarkColor {%1.2f %1.2f %1.2f setrgbcolor} bind def \n"
    " /landscapeDoc %s def \n"
    " /invLandscapeDoc %s def \n"
    " /Angle %.1f def \n"
    " landscapeDoc { /Angle Angle 90 add def } if \n"
    " invLandscapeDoc { /Angle Angle -90 add def } if \n"
    " /XOffset %d def \n"
    " /YOffset %d def \n"
    " gsave \n"
    " userdict /KelvoZTdict known \n"
    " { \n"
    " globaldict /AdobeInitMatrix get exec \n"
    " KelvoZTdict /GetPgNum get exec KelvoZTdict /KelvoBeginPage get exec \n"
    " userdict /origSizeW get 2 div XOffset add userdict /origSizeH get 2 div YOffset add translate \n"
    " } \n"
    " { \n"
    " initmatrix clippath pathbbox \n"
    " /MaxY exch def /MaxX exch def /MinY exch def /MinX exch def \n"
    " MaxX 2 div MinX 2 div add XOffset add \n"
    " MaxY 2 div MinY 2 div add YOffset add translate } ifelse \n"
    " Angle rotate Font findfont FontSize scalefont setfont WaterMarkColor \n"
    " Watermark stringwidth pop 2 div neg FontSize 3 div neg moveto \n"
    " Watermark show \n"
    " grestore \n"
    " end \n"
    " } bind put \n"
    " globaldict /pageCount 0 put \n"
    " globaldict /waterMarkAllPages %s put \n"
    " userdict /QJVDRVRMACOriginalshowpage /showpage load put \n"
    " userdict /showpage \n"
    " { \n"
    " globaldict /pageCount globaldict /pageCount get 1 add put \n"
    " globaldict /pageCount get 1 eq \n"
    " globaldict /waterMarkAllPages get or \n"
    " { \n"
    " userdict /QJVWaterMark get exec \n"
    " } if \n"
    " userdict /QJVDRVRMACOriginalshowpage get exec \n"
    " } bind put \n"
    " %%%%QJV End Watermark resource \n";

// Chinese: a CID font composed with GB-EUC-H, Helvetica when that fails.
constexpr char kW3[] =
    "%%%%QJV Begin Watermark resource \n"
    " globaldict /landscapeDoc %s put \n"
    " globaldict /invLandscapeDoc %s put \n"
    " userdict /QJVWaterMark \n"
    " { \n"
    " 20 dict begin \n"
    " { \n"
    " (Resource/AcroCIDFont/%s) run \n"
    " /Font /GB-EUC-H [/%s] composefont pop \n"
    " } stopped { \n"
    " pop  \n"
    " /Font /Helvetica def \n"
    " } if \n"
    " /Watermark <%s> def /FontSize %d def  \n"
    " /WaterMarkColor {%1.2f %1.2f %1.2f setrgbcolor} bind def \n"
    " /landscapeDoc %s def \n"
    "  /invLandscapeDoc %s def \n"
    " /Angle %.1f def \n"
    " landscapeDoc { /Angle Angle 90 add def } if \n"
    " invLandscapeDoc { /Angle Angle -90 add def } if \n"
    " /XOffset %d def /YOffset %d def gsave \n"
    " userdict /KelvoZTdict known \n"
    " { \n"
    " globaldict /AdobeInitMatrix get exec \n"
    " KelvoZTdict /GetPgNum get exec KelvoZTdict /KelvoBeginPage get exec \n"
    " userdict /origSizeW get 2 div XOffset add \n"
    " userdict /origSizeH get 2 div YOffset add translate \n"
    " } \n"
    " { \n"
    " initmatrix \n"
    " clippath pathbbox /MaxY exch def /MaxX exch def /MinY exch def /MinX exch def \n"
    " MaxX 2 div MinX 2 div add XOffset add MaxY 2 div MinY 2 div add YOffset add translate } ifelse \n"
    " Angle rotate \n"
    " /Font findfont FontSize scalefont setfont WaterMarkColor \n"
    " Watermark stringwidth pop 2 div neg FontSize 3 div neg moveto Watermark show \n"
    " grestore end \n"
    " } bind put \n"
    " globaldict /pageCount 0 put \n"
    " globaldict /waterMarkAllPages %s put \n"
    " userdict /QJVDRVRMACOriginalshowpage /showpage load put \n"
    " userdict /showpage \n"
    " { \n"
    " globaldict /pageCount globaldict /pageCount get 1 add put \n"
    " globaldict /pageCount get 1 eq \n"
    " globaldict /waterMarkAllPages get or \n"
    " { \n"
    " userdict /QJVWaterMark get exec \n"
    " } if \n"
    " userdict /QJVDRVRMACOriginalshowpage get exec \n"
    " } bind put \n"
    " %%%%QJV End Watermark resource \n";

// Any other language, clear toner: the font re-encoded with the Euro at 128.
constexpr char kW4[] =
    "%%%%QJV Begin Watermark resource \n"
    " globaldict /landscapeDoc %s put \n"
    " globaldict /invLandscapeDoc %s put \n"
    " 20 dict begin \n"
    " /%s findfont /Encoding get StandardEncoding ne \n"
    " { /WatermarkFontName /%s def } \n"
    " { \n"
    " currentglobal true setglobal ISOLatin1Encoding dup length array copy \n"
    " /ISOLatin1EncodingCopy exch def setglobal \n"
    " ISOLatin1EncodingCopy 128 /Euro put \n"
    " /%s findfont dup length dict begin \n"
    " {1 index /FID ne {def} {pop pop} ifelse} forall \n"
    " /Encoding ISOLatin1EncodingCopy def currentdict \n"
    " end /%s-ISOLatin1 exch definefont pop \n"
    " /WatermarkFontName /%s-ISOLatin1 def \n"
    " } ifelse \n"
    " userdict /QJVWaterMark \n"
    " { \n"
    " 20 dict begin \n"
    " /Font WatermarkFontName def \n"
    " /Watermark <%s> def \n"
    " /FontSize %d def \n"
    " /WaterMarkColor { true setoverprint [ /Separation (Clear) /DeviceCMYK {0.0 0.0 0.0 0.0} ] setcolorspace 1.0 setcolor } bind def \n"
    " /landscapeDoc %s def \n"
    " /invLandscapeDoc %s def \n"
    " /Angle %.1f def \n"
    " landscapeDoc { /Angle Angle 90 add def } if \n"
    " invLandscapeDoc { /Angle Angle -90 add def } if \n"
    " /XOffset %d def \n"
    " /YOffset %d def \n"
    " gsave \n"
    " userdict /KelvoZTdict known \n"
    " { \n"
    " globaldict /AdobeInitMatrix get exec \n"
    " KelvoZTdict /GetPgNum get exec KelvoZTdict /KelvoBeginPage get exec \n"
    " userdict /origSizeW get 2 div XOffset add userdict /origSizeH get 2 div YOffset add translate \n"
    " } \n"
    " { \n"
    " initmatrix clippath pathbbox \n"
    " /MaxY exch def /MaxX exch def /MinY exch def /MinX exch def \n"
    " MaxX 2 div MinX 2 div add XOffset add \n"
    " MaxY 2 div MinY 2 div add YOffset add translate } ifelse \n"
    " Angle rotate Font findfont FontSize scalefont setfont WaterMarkColor \n"
    " Watermark stringwidth pop 2 div neg FontSize 3 div neg moveto \n"
    " Watermark show \n"
    " grestore \n"
    " end \n"
    " } bind put \n"
    " globaldict /pageCount 0 put \n"
    " globaldict /waterMarkAllPages %s put \n"
    " userdict /QJVDRVRMACOriginalshowpage /showpage load put \n"
    " userdict /showpage \n"
    " { \n"
    " globaldict /pageCount globaldict /pageCount get 1 add put \n"
    " globaldict /pageCount get 1 eq \n"
    " globaldict /waterMarkAllPages get or \n"
    " { \n"
    " userdict /QJVWaterMark get exec \n"
    " } if \n"
    " userdict /QJVDRVRMACOriginalshowpage get exec \n"
    " } bind put \n"
    " %%%%QJV End Watermark resource \n";

// Any other language, colour.
constexpr char kW5[] =
    "%%%%QJV Begin Watermark resource \n"
    " globaldict /landscapeDoc %s put \n"
    " globaldict /invLandscapeDoc %s put \n"
    " 20 dict begin \n"
    " /%s findfont /Encoding get StandardEncoding ne \n"
    " { /WatermarkFontName /%s def } \n"
    " { \n"
    " currentglobal true setglobal ISOLatin1Encoding dup length array copy \n"
    " /ISOLatin1EncodingCopy exch def setglobal \n"
    " ISOLatin1EncodingCopy 128 /Euro put \n"
    " /%s findfont dup length dict begin \n"
    " {1 index /FID ne {def} {pop pop} ifelse} forall \n"
    " /Encoding ISOLatin1EncodingCopy def currentdict \n"
    " end /%s-ISOLatin1 exch definefont pop \n"
    " /WatermarkFontName /%s-ISOLatin1 def \n"
    " } ifelse \n"
    " userdict /QJVWaterMark \n"
    " { \n"
    " 20 dict begin \n"
    " /Font WatermarkFontName def \n"
    " /Watermark <%s> def \n"
    " /FontSize %d def \n"
    " /WaterMarkColor {%1.2f %1.2f %1.2f setrgbcolor} bind def \n"
    " /landscapeDoc %s def \n"
    " /invLandscapeDoc %s def \n"
    " /Angle %.1f def \n"
    " landscapeDoc { /Angle Angle 90 add def } if \n"
    " invLandscapeDoc { /Angle Angle -90 add def } if \n"
    " /XOffset %d def \n"
    " /YOffset %d def \n"
    " gsave \n"
    " userdict /KelvoZTdict known \n"
    " { \n"
    " globaldict /AdobeInitMatrix get exec \n"
    " KelvoZTdict /GetPgNum get exec KelvoZTdict /KelvoBeginPage get exec \n"
    " userdict /origSizeW get 2 div XOffset add userdict /origSizeH get 2 div YOffset add translate \n"
    " } \n"
    " { \n"
    " initmatrix clippath pathbbox \n"
    " /MaxY exch def /MaxX exch def /MinY exch def /MinX exch def \n"
    " MaxX 2 div MinX 2 div add XOffset add \n"
    " MaxY 2 div MinY 2 div add YOffset add translate } ifelse \n"
    " Angle rotate Font findfont FontSize scalefont setfont WaterMarkColor \n"
    " Watermark stringwidth pop 2 div neg FontSize 3 div neg moveto \n"
    " Watermark show \n"
    " grestore \n"
    " end \n"
    " } bind put \n"
    " globaldict /pageCount 0 put \n"
    " globaldict /waterMarkAllPages %s put \n"
    " userdict /QJVDRVRMACOriginalshowpage /showpage load put \n"
    " userdict /showpage \n"
    " { \n"
    " globaldict /pageCount globaldict /pageCount get 1 add put \n"
    " globaldict /pageCount get 1 eq \n"
    " globaldict /waterMarkAllPages get or \n"
    " { \n"
    " userdict /QJVWaterMark get exec \n"
    " } if \n"
    " userdict /QJVDRVRMACOriginalshowpage get exec \n"
    " } bind put \n"
    " %%%%QJV End Watermark resource \n";

using kelvo::Format;

int FieldNumber(std::string_view field) {
    const std::string text(field);
    return LeadingInt32(text.c_str()).value_or(0);
}

/// Converts UTF-8 text to `target` (an iconv name). A character the target
/// lacks, or a byte that is not UTF-8, becomes "?"; the text is never lost
/// as a whole. Without a converter for `target` the bytes stay as they are.
std::string ConvertFromUTF8(std::string_view text, const char* target) {
    iconv_t cd = iconv_open(target, "UTF-8");
    if (cd == reinterpret_cast<iconv_t>(-1))
        return std::string(text);
    std::string out;
    char buffer[256];
    std::size_t pos = 0;
    while (pos < text.size()) {
        char* in = const_cast<char*>(text.data() + pos);
        std::size_t inLeft = text.size() - pos;
        char* dst = buffer;
        std::size_t dstLeft = sizeof buffer;
        const std::size_t result = iconv(cd, &in, &inLeft, &dst, &dstLeft);
        const int error = errno;
        out.append(buffer, static_cast<std::size_t>(dst - buffer));
        pos = text.size() - inLeft;
        if (result != static_cast<std::size_t>(-1) || error == E2BIG)
            continue;
        // EILSEQ or EINVAL: skip the offending lead byte and its
        // continuation bytes.
        out += '?';
        ++pos;
        while (pos < text.size() && (static_cast<unsigned char>(text[pos]) & 0xC0) == 0x80)
            ++pos;
    }
    char* dst = buffer;
    std::size_t dstLeft = sizeof buffer;
    iconv(cd, nullptr, nullptr, &dst, &dstLeft);
    out.append(buffer, static_cast<std::size_t>(dst - buffer));
    iconv_close(cd);
    return out;
}

bool EndsWith(std::string_view text, std::string_view tail) {
    return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

bool IsCJKFont(const char* fontName) {
    const std::string_view name = fontName ? fontName : "";
    return EndsWith(name, "-H") || EndsWith(name, "-V");
}

bool LanguageIs(const char* language, const char* name) { return language && std::strcmp(language, name) == 0; }

} // namespace

QJVWatermark::QJVWatermark(std::string_view definition) {
    // The definition was a C string on the wire: a NUL ends it.
    definition = definition.substr(0, definition.find('\0'));
    mDefinition = std::string(definition);
    std::size_t pos = 0;
    // Like strtok with "," as the delimiter: leading commas are skipped, and
    // only the one comma that ends a field is consumed.
    auto next = [&]() -> std::string_view {
        while (pos < definition.size() && definition[pos] == ',')
            ++pos;
        const std::size_t start = pos;
        while (pos < definition.size() && definition[pos] != ',')
            ++pos;
        const std::string_view field = definition.substr(start, pos - start);
        if (pos < definition.size())
            ++pos;
        return field;
    };
    mClearToner = FieldNumber(next()) != 0;
    mXOffset = FieldNumber(next());
    mYOffset = FieldNumber(next());
    mRed = FieldNumber(next());
    mGreen = FieldNumber(next());
    mBlue = FieldNumber(next());
    next();
    mFirstPageOnly = next() == "1";
    next();
    mAngle = FieldNumber(next());
    next();
    next();
    mFontSize = FieldNumber(next());
    mFontName = std::string(next().substr(0, kMaxFontName));
    mText = std::string(CutUTF8(definition.substr(pos), kMaxText));
}

const std::string& QJVWatermark::GetWMTextInHex(const char* language, const char* fontName) {
    if (!mHexCache.empty())
        return mHexCache;
    const bool chinese = LanguageIs(language, "Chinese");
    const bool japanese = !chinese && LanguageIs(language, "Japanese") && IsCJKFont(fontName);
    mText = ConvertFromUTF8(mText, chinese ? "GBK" : japanese ? "CP932" : "ISO-8859-15");
    if (!japanese) {
        for (char& c : mText)
            if (static_cast<unsigned char>(c) == 0xA4)
                c = static_cast<char>(0x80);
    }
    for (const char c : mText) {
        char digits[3];
        const int n = std::snprintf(digits, sizeof digits, "%X", static_cast<unsigned char>(c));
        if (mHexCache.size() + static_cast<std::size_t>(n) >= kHexCacheSize)
            break;
        mHexCache.append(digits, static_cast<std::size_t>(n));
    }
    return mHexCache;
}

WatermarkTemplate ChooseWatermarkTemplate(const char* language, const QJVWatermark& watermark) {
    if (LanguageIs(language, "Japanese") && IsCJKFont(watermark.FontName().c_str()))
        return watermark.ClearToner() ? WatermarkTemplate::kJapaneseClear : WatermarkTemplate::kJapaneseColor;
    if (LanguageIs(language, "Chinese"))
        return WatermarkTemplate::kChinese;
    return watermark.ClearToner() ? WatermarkTemplate::kLatinClear : WatermarkTemplate::kLatinColor;
}

std::string PostScriptFontName(std::string_view fontName) {
    std::string name;
    for (const char c : fontName) {
        const auto b = static_cast<unsigned char>(c);
        if (b <= 0x20 || b > 0x7E || std::strchr("()<>[]{}/%", c))
            continue;
        name += c;
    }
    return name.empty() ? std::string("Helvetica") : name;
}

std::optional<std::string> BuildWatermarkProcedure(QJVWatermark& watermark, int orientation, const char* language,
                                                   std::size_t limit) {
    int x = watermark.XOffset();
    int y = watermark.YOffset();
    const char* landscapeDoc = "false";
    const char* invLandscapeDoc = "false";
    if (orientation == 2) {
        landscapeDoc = "true";
        const int turned = -y;
        y = x;
        x = turned;
    } else if (orientation == 4) {
        invLandscapeDoc = "true";
        const int turned = y;
        y = -x;
        x = turned;
    }
    const char* allPages = watermark.FirstPageOnly() ? "false" : "true";
    const double angle = watermark.Angle() / 10.0;
    const double red = watermark.Red() / 255.0;
    const double green = watermark.Green() / 255.0;
    const double blue = watermark.Blue() / 255.0;
    const int size = watermark.FontSize();
    const std::string font = PostScriptFontName(watermark.FontName());
    const char* f = font.c_str();
    const WatermarkTemplate which = ChooseWatermarkTemplate(language, watermark);
    const std::string hex = watermark.GetWMTextInHex(language, watermark.FontName().c_str());
    const char* h = hex.c_str();

    std::string text;
    switch (which) {
    case WatermarkTemplate::kJapaneseClear:
        text = Format(kW1, landscapeDoc, invLandscapeDoc, f, f, f, f, h, size, landscapeDoc, invLandscapeDoc, angle,
                      x, y, allPages);
        break;
    case WatermarkTemplate::kJapaneseColor:
        text = Format(kW2, landscapeDoc, invLandscapeDoc, f, f, f, f, h, size, red, green, blue, landscapeDoc,
                      invLandscapeDoc, angle, x, y, allPages);
        break;
    case WatermarkTemplate::kChinese: {
        const char* cid = font.find("AdobeHeitiStd-Regular") != std::string::npos ? "AdobeHeitiStd-Regular"
                          : font.find("AdobeSongStd-Light") != std::string::npos ? "AdobeSongStd-Light"
                                                                                 : f;
        text = Format(kW3, landscapeDoc, invLandscapeDoc, cid, cid, h, size, red, green, blue, landscapeDoc,
                      invLandscapeDoc, angle, x, y, allPages);
        break;
    }
    case WatermarkTemplate::kLatinClear:
        text = Format(kW4, landscapeDoc, invLandscapeDoc, f, f, f, f, f, h, size, landscapeDoc, invLandscapeDoc, angle,
                      x, y, allPages);
        break;
    case WatermarkTemplate::kLatinColor:
        text = Format(kW5, landscapeDoc, invLandscapeDoc, f, f, f, f, f, h, size, red, green, blue, landscapeDoc,
                      invLandscapeDoc, angle, x, y, allPages);
        break;
    }
    if (text.size() >= limit)
        return std::nullopt;
    return text;
}

} // namespace kelvo::output
