// TextConverter: hex runs, encoding names, display text, in-place conversion.
#include "TextConverter/TextConverter.h"

#include "PPDX/PopupJobNotesState.h"
#include "TestSupport.h"
#include "util/Log.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Hex(const std::string& bytes) {
    std::string out;
    char digits[4];
    for (unsigned char c : bytes) {
        std::snprintf(digits, sizeof digits, "%02X ", c);
        out += digits;
    }
    return out;
}

TEST(TextConverterDehex, DecodesBracketsUntilTheFirstBadOne) {
    struct Row {
        const char* in;
        std::string out;
    };
    const Row rows[] = {
        {"Duplex<20>Unit", "Duplex Unit"},
        {"a<2>b<41>", "a<2>b<41>"},           // odd digit count: rest unchanged
        {"a<4G>b<41>", "a<4G>b<41>"},         // not a hex digit
        {"<41>x<4>y<42>", "Ax<4>y<42>"},      // an error keeps later brackets as written
        {"x<41", "x<41"},                     // no closing bracket
        {"<<41>>", "<<41>>"},                 // '<' inside the bracket
        {"ab>c<e9>", "ab>c\xE9"},             // stray '>' before, lower-case digits
        {"<4 1\t4\r\n2 >", "AB"},             // white space anywhere between digits
        {"<>end", "end"},                     // zero digits is an even count
        {"<41 00 42>", std::string("A\0B", 3)}, // hex 00 is kept as a byte
        {"", ""},
    };
    for (const Row& row : rows) {
        std::vector<char> out(std::strlen(row.in) + 1, '#');
        const long length = TextConverter::DehexBufferFill(row.in, out.data());
        ASSERT_EQ(static_cast<std::size_t>(length), row.out.size() + 1) << row.in;
        EXPECT_EQ(std::string(out.data(), row.out.size()), row.out) << row.in;
        EXPECT_EQ(out[row.out.size()], '\0') << row.in;
    }
}

TEST(TextConverterDehex, DigitValues) {
    const std::pair<char, short> rows[] = {{'0', 0}, {'9', 9}, {'A', 10}, {'f', 15}, {'G', 0}, {' ', 0}, {'\xE9', 0}};
    for (auto [c, value] : rows)
        EXPECT_EQ(TextConverter::toShort(c), value) << c;
}

TEST(TextConverterNames, ExactNamesAndLanguageExceptions) {
    const std::pair<const char*, unsigned> names[] = {
        {"ISOLatin1", kTextEncodingISOLatin1},   {"ISOLatin2", kTextEncodingISOLatin2},
        {"ISOLatin5", kTextEncodingISOLatin5},   {"JIS83-RKSJ", kTextEncodingShiftJIS},
        {"MacStandard", kTextEncodingMacRoman}, {"WindowsANSI", kTextEncodingWindowsLatin1},
        {"isolatin1", kTextEncodingUnknown},    {"ISOLatin1 ", kTextEncodingUnknown},
        {"None", kTextEncodingUnknown},         {nullptr, kTextEncodingUnknown},
    };
    for (auto [name, value] : names)
        EXPECT_EQ(TextConverter::LanguageStringToEncoding(name), value) << (name ? name : "(null)");

    // "UTF-8" reports its value on the log, not on standard output.
    std::vector<std::string> lines;
    auto previous = kelvo::SetLogSink([&](std::string_view line) { lines.emplace_back(line); });
    testing::internal::CaptureStdout();
    EXPECT_EQ(TextConverter::LanguageStringToEncoding("UTF-8"), kTextEncodingUTF8);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    kelvo::SetLogSink(previous);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "CFStringGetMostCompatibleMacStringEncoding theEncoding = 8000100 (134217984)\n");

    const std::pair<const char*, bool> languages[] = {
        {"Polish", true},   {"Russian", true},   {"Bulg", true},   {"Japanese", true}, {"Slovenian", true},
        {"Bulgarian", false}, {"polish", false}, {"English", false}, {"French", false}, {nullptr, false},
    };
    for (auto [language, expected] : languages)
        EXPECT_EQ(HexLanguageExceptions::IsException(language), expected) << (language ? language : "(null)");
}

// The value of a "*Keyword: value" line, or of the translation of the OpenUI.
std::string LineValue(const std::string& ppd, const std::string& prefix, char end) {
    const auto start = ppd.find(prefix);
    if (start == std::string::npos)
        return {};
    const auto from = start + prefix.size();
    return ppd.substr(from, ppd.find(end, from) - from);
}

TEST(TextConverterDisplay, DecodesEachEncodingTestFile) {
    const char* names[] = {"ISOLatin1", "ISOLatin2",   "ISOLatin5", "JIS83-RKSJ",
                           "MacStandard", "WindowsANSI", "UTF-8",     "Unknown"};
    for (const char* name : names) {
        const std::string base = std::string("encodings/") + name;
        const std::string ppd = kelvotest::ReadFile(kelvotest::DataPath(base + ".ppd"));
        const std::string expected = kelvotest::ReadFile(kelvotest::DataPath(base + ".expected.txt"));
        ASSERT_FALSE(ppd.empty()) << name;
        ASSERT_FALSE(expected.empty()) << name;
        const std::string encoding = LineValue(ppd, "*LanguageEncoding: ", '\n');
        const std::string language = LineValue(ppd, "*LanguageVersion: ", '\n');
        const std::string translation = LineValue(ppd, "*OpenUI *QJDuplex/", ':');

        TextConverter converter(encoding.c_str(), language.c_str(), kTextEncodingUTF8);
        EXPECT_EQ(converter.ConvertToCFString(translation.c_str(), 256), expected) << name;
    }
}

TEST(TextConverterDisplay, FallbacksAndHex) {
    struct Row {
        const char* encoding;
        const char* language;
        const char* in;
        const char* out;
    };
    const Row rows[] = {
        {"ISOLatin2", "Polish", "<B1>", "\u0105"},
        {"JIS83-RKSJ", "Japanese", "<97BC96CA>", "\u4E21\u9762"},
        {"JIS83-RKSJ", "Japanese", "C:\\a~b", "C:\\a~b"},     // backslash and tilde stay ASCII
        {"ISOLatin1", "English", "Dup<00>lex", "Dup"},           // hex 00 ends the text
        // Bad Shift-JIS: the whole text is read as UTF-8 instead, not just the bad byte.
        {"JIS83-RKSJ", "Japanese", "\x97\xBC\x81", "\uFFFD\uFFFD\uFFFD"},
        {"ISOLatin5", "Turkish", "\xC3\xA9", "\u00C3\u00A9"},   // valid Latin 5 is not second-guessed
        {"WindowsANSI", "German", "\x80\x81", "\u20AC\uFFFD"},  // 0x81 is undefined in cp1252
        {"MacStandard", "French", "\x8E", "\u00E9"},
        {"None", "English", "ok\xFF\xC3\xA9", "ok\uFFFD\u00E9"}, // unknown: UTF-8, bad bytes replaced
    };
    for (const Row& row : rows) {
        TextConverter converter(row.encoding, row.language, kTextEncodingUTF8);
        EXPECT_EQ(converter.ConvertToCFString(row.in, 256), row.out) << row.encoding << " " << row.in;
    }
    TextConverter converter("ISOLatin1", "English");
    EXPECT_EQ(converter.ConvertToCFString(nullptr, 256), "");
}

TEST(TextConverterConvert, InPlace) {
    struct Row {
        const char* encoding;
        const char* language;
        unsigned output;
        std::string in;
        long size;
        std::string out;
        int status;
        unsigned ppdEncodingAfter;
    };
    const Row rows[] = {
        {"ISOLatin2", "Polish", kTextEncodingUTF8, "Dwustronny \xB1", 64, "Dwustronny \u0105", 0, 514},
        // French is outside the exception set: its 8-bit bytes are Mac Roman (0xE9 is È).
        {"ISOLatin1", "French", kTextEncodingUTF8, "Caf\xE9", 64, "Caf\u00C8", 0, 0},
        {"ISOLatin1", "French", kTextEncodingUTF8, "Caf<E9>", 64, "Caf\u00E9", 0, 513},
        {"UTF-8", "Japanese", kTextEncodingShiftJIS, "\u4E21\u9762", 64, "\x97\xBC\x96\xCA", 0, kTextEncodingUTF8},
        {"JIS83-RKSJ", "Japanese", kTextEncodingShiftJIS, "abc", 64, "ab", 0, 2561}, // even length to Shift-JIS
        {"ISOLatin1", "English", kTextEncodingUTF8, "Duplex", 4, "Dup", 0, 513},
        {"ISOLatin2", "Polish", kTextEncodingISOLatin1, "<B1>x", 64, "\xB1x", kTextStatusConversionFailed, 514},
        {"None", "English", kTextEncodingUTF8, "Caf\xE9", 64, "Caf\xE9", kTextStatusConversionFailed, 65535},
    };
    for (const Row& row : rows) {
        TextConverter converter(row.encoding, row.language, row.output);
        char buffer[64] = {};
        std::memcpy(buffer, row.in.data(), row.in.size());
        EXPECT_EQ(converter.Convert(buffer, row.size), row.status) << row.encoding << " " << row.in;
        EXPECT_EQ(Hex(buffer), Hex(row.out)) << row.encoding << " " << row.in;
        EXPECT_EQ(converter.GetPPDEncoding(), row.ppdEncodingAfter) << row.encoding << " " << row.in;
        EXPECT_EQ(converter.ValidConverter(), row.ppdEncodingAfter != kTextEncodingUnknown);
    }
}

TEST(TextConverterConvert, MacRomanTakeoverLastsForTheConverter) {
    TextConverter converter("ISOLatin1", "English", kTextEncodingUTF8);
    char first[16] = "x\xE9";
    EXPECT_EQ(converter.Convert(first, sizeof first), 0);
    EXPECT_STREQ(first, "x\u00C8");
    char second[16] = "<E9>"; // plain ASCII now, still read as Mac Roman
    EXPECT_EQ(converter.Convert(second, sizeof second), 0);
    EXPECT_STREQ(second, "\u00C8");
    EXPECT_EQ(converter.ConvertToCFString("\x8E", 256), "\u00E9");
    EXPECT_EQ(converter.Convert(nullptr, 16), kTextStatusBadParam);

    // A converter between two given encodings trusts its source.
    TextConverter direct(kTextEncodingISOLatin1, kTextEncodingUTF8);
    char third[16] = "\xE9";
    EXPECT_EQ(direct.Convert(third, sizeof third), 0);
    EXPECT_STREQ(third, "\u00E9");
}

TEST(TextConverterSystem, ToSystemEncodingAndBack) {
    // The tests run in the C locale, which is served as UTF-8.
    ASSERT_EQ(TextConverter::GetCurrentEncoding(), kTextEncodingUTF8);
    struct Row {
        std::string in;
        long size;
        const char* out;
        int status;
    };
    const Row rows[] = {
        {"\u00E9", 3, "\u00E9", 0},
        {"\u00E9", 2, "T", kTextStatusConversionFailed}, // does not fit
        {"\xFF", 64, "Translation Error", kTextStatusConversionFailed},
    };
    for (const Row& row : rows) {
        char out[64];
        EXPECT_EQ(TextConverter::CFStringToCstring(row.in, out, row.size), row.status) << row.in;
        EXPECT_STREQ(out, row.out) << row.in;
    }
    char untouched[4] = "abc";
    EXPECT_EQ(TextConverter::CFStringToCstring("x", untouched, 0), kTextStatusBadParam);
    EXPECT_STREQ(untouched, "abc");

    char out[16];
    EXPECT_EQ(ConvertTextFromApplicationToUTF8("\u00E9!", out), 0);
    EXPECT_STREQ(out, "\u00E9!");
    EXPECT_EQ(ConvertTextFromApplicationToUTF8("a\xFF", out), kTextStatusConversionFailed);
    EXPECT_STREQ(out, "");
}

TEST(TextConverterPanel, MacRomanOrShiftJISToUTF8) {
    struct Row {
        bool japanese;
        std::string in;
        std::string out;
    };
    const Row rows[] = {
        {false, "Note \x8E", "Note \u00E9"},
        {true, "\x97\xBC\x96\xCA", "\u4E21\u9762"},
        {true, "\x81", "[conv from MR or SJ failed]"},
        {false, std::string(127, '\x8E'), [] { std::string s; for (int i = 0; i < 127; ++i) s += "\u00E9"; return s; }()},
        {false, std::string(128, '\x8E'), "[MR or SJ conv to UTF8 failed]"}, // 256 bytes > 254
    };
    for (const Row& row : rows) {
        gPopupJobNotesLangIsJapanese = row.japanese;
        EXPECT_EQ(std::string(macRomanToUTF8(row.in.c_str())), row.out) << Hex(row.in);
    }
    gPopupJobNotesLangIsJapanese = false;
}

TEST(TextConverterBytes, GrowsTheOutputAndRefusesBadInput) {
    bool ok = false;
    const std::string grown = TextConverter::ConvertBytes(std::string(300, '\x8E'), kTextEncodingMacRoman,
                                                          kTextEncodingUTF8, &ok);
    EXPECT_TRUE(ok);
    ASSERT_EQ(grown.size(), 600u);
    EXPECT_EQ(grown.substr(598), "\u00E9");

    EXPECT_EQ(TextConverter::ConvertBytes("\x81", kTextEncodingShiftJIS, kTextEncodingUTF8, &ok), "\x81");
    EXPECT_FALSE(ok);
    EXPECT_EQ(TextConverter::ConvertBytes("abc", kTextEncodingUnknown, kTextEncodingUTF8, &ok), "abc");
    EXPECT_FALSE(ok);
}

} // namespace
