// Watermarks: definition parsing, text in the printer's encoding, the five procedure sets.
#include <gtest/gtest.h>

#include <sstream>

#include "TestSupport.h"
#include "output/Watermark.h"

using kelvo::output::BuildWatermarkProcedure;
using kelvo::output::ChooseWatermarkTemplate;
using kelvo::output::PostScriptFontName;
using kelvo::output::QJVWatermark;
using kelvo::output::WatermarkTemplate;

namespace {

/// The fields a definition gave, in their order; font name and text after a bar.
std::string Fields(const QJVWatermark& w) {
    std::ostringstream out;
    out << w.ClearToner() << ' ' << w.XOffset() << ' ' << w.YOffset() << ' ' << w.Red() << ' ' << w.Green() << ' '
        << w.Blue() << ' ' << w.FirstPageOnly() << ' ' << w.Angle() << ' ' << w.FontSize() << ' ' << w.FontName() << '|'
        << w.Text();
    return out.str();
}

/// A definition with every number at zero but the font size 10.
std::string Definition(const std::string& font, const std::string& text) {
    return "0,0,0,0,0,0,u,0,u,0,u,u,10," + font + "," + text;
}

} // namespace

TEST(Watermark, DefinitionFieldsByPositionAndTheirLimits) {
    // Fields 7, 9, 11 and 12 are read past; a run of commas is one
    // separator, so an empty field takes no position; the text keeps its commas.
    constexpr char kWithNul[] = "0,0,0,0,0,0,u,0,u,0,u,u,10,F,ab\0cd";
    const std::pair<std::string, std::string> rows[] = {
        {"1,-12,34,255,128,0,x,1,y,450,z,w,72,Helvetica-Bold,Top, secret,,",
         "1 -12 34 255 128 0 1 450 72 Helvetica-Bold|Top, secret,,"},
        // Position 8 is "one", not "1"; only the comma that ends the font name is taken.
        {",,0,,5,6,7,8,9,skip,one,x,10,y,z,20,Courier,,two", "0 5 6 7 8 9 0 10 20 Courier|,two"},
        {"", "0 0 0 0 0 0 0 0 0 |"},
        // 63 bytes of font name; 255 of text, cut back to a whole character (é straddles byte 255).
        {Definition(std::string(70, 'F'), std::string(254, 'a') + "\xC3\xA9" "tail"),
         "0 0 0 0 0 0 0 0 10 " + std::string(63, 'F') + "|" + std::string(254, 'a')},
        {"0,99999999999,0,0,0,0,u,0,u,0,u,u,10,F,T", "0 0 0 0 0 0 0 0 10 F|T"}, // out of range: 0
        {std::string(kWithNul, sizeof kWithNul - 1), "0 0 0 0 0 0 0 0 10 F|ab"},
    };
    for (const auto& [definition, fields] : rows)
        EXPECT_EQ(Fields(QJVWatermark(definition)), fields) << definition;
}

TEST(Watermark, SetFirstPageOnlyWantsTrue) {
    QJVWatermark w("0,0,0,0,0,0,u,1,u,0,u,u,10,F,T");
    for (const auto& [word, first] : {std::pair{"False", false}, {"True", true}, {"true", false}, {"1", false}}) {
        w.SetFirstPageOnly(word);
        EXPECT_EQ(w.FirstPageOnly(), first) << word;
    }
}

TEST(Watermark, TextInHexTable) {
    struct Row {
        const char* language;
        const char* font;
        const char* text;
        const char* hex;
    } rows[] = {
        {"English", "Helvetica", "A\tB", "41942"},            // "%X": 0x09 is one digit
        {"English", "Helvetica", "5\xE2\x82\xAC", "3580"},    // the Euro: Latin-9 0xA4 becomes 0x80
        {"English", "Helvetica", "\xC3\xA9\xE2\x86\x92", "E93F"}, // no arrow in Latin-9: "?"
        {"German", "Helvetica", "\xC3\xBC", "FC"},
        {"Chinese", "AdobeSongStd-Light", "\xE6\x9C\xBA", "BBFA"},
        {"Chinese", "Helvetica", "\xE3\x81\x82", "80A2"},  // GBK A4A2, then 0xA4 -> 0x80
        {"Japanese", "Ryumin-Light-H", "\xE3\x81\x82", "82A0"}, // CP932, no 0xA4 rule
        {"Japanese", "Ryumin-Light-V", "\xE2\x91\xA0", "8740"},
        {"Japanese", "Helvetica", "\xE2\x82\xAC", "80"},   // not a CJK font: Latin-9
        {nullptr, "Helvetica", "a", "61"},
        {"English", "Helvetica", "\xFF", "3F"},            // not UTF-8
    };
    for (const Row& row : rows) {
        QJVWatermark w(Definition(row.font, row.text));
        EXPECT_EQ(w.GetWMTextInHex(row.language, row.font), row.hex) << row.text;
    }
}

TEST(Watermark, HexIsComputedOnceAndReplacesTheText) {
    QJVWatermark w("0,0,0,0,0,0,u,0,u,0,u,u,10,Helvetica,\xE2\x82\xAC");
    EXPECT_EQ(w.GetWMTextInHex("English", "Helvetica"), "80");
    EXPECT_EQ(w.Text(), "\x80");
    // A second call with another language answers from the cache.
    EXPECT_EQ(w.GetWMTextInHex("Chinese", "Helvetica"), "80");
}

TEST(Watermark, TemplateChoice) {
    struct Row {
        const char* language;
        const char* definition;
        WatermarkTemplate expected;
    } rows[] = {
        {"Japanese", "1,0,0,0,0,0,u,0,u,0,u,u,10,Helvetica,T", WatermarkTemplate::kLatinClear},
        {"Chinese", "1,0,0,0,0,0,u,0,u,0,u,u,10,STSong-Light-H,T", WatermarkTemplate::kChinese},
        {"English", "0,0,0,0,0,0,u,0,u,0,u,u,10,Ryumin-Light-H,T", WatermarkTemplate::kLatinColor},
        {nullptr, "1,0,0,0,0,0,u,0,u,0,u,u,10,Helvetica,T", WatermarkTemplate::kLatinClear},
    };
    for (const Row& row : rows)
        EXPECT_EQ(ChooseWatermarkTemplate(row.language, QJVWatermark(row.definition)), row.expected)
            << row.definition;
}

TEST(Watermark, FiveProcedureSetsByteForByte) {
    // The expected files hold each procedure set filled in independently
    // of this code, for every template, all four orientations and both
    // page choices.
    struct Row {
        const char* file;
        const char* language;
        const char* definition;
        int orientation;
    } rows[] = {
        {"W1-japanese-clear.ps", "Japanese", "1,30,-40,0,0,0,u,0,u,300,u,u,72,HeiseiMin-W3-H,DRAFT", 2},
        {"W2-japanese-color.ps", "Japanese",
         "0,30,-40,255,128,0,u,1,u,-450,u,u,60,HeiseiKakuGo-W5-V,\xE7\xA4\xBE\xE5\xA4\x96\xE7\xA7\x98 \xE2\x91\xA0", 4},
        {"W3-chinese.ps", "Chinese", "0,0,15,0,0,255,u,1,u,450,u,u,48,AdobeSongStd-Light-Acro,\xE6\x9C\xBA\xE5\xAF\x86",
         1},
        {"W4-latin-clear.ps", "English", "1,-5,5,0,0,0,u,0,u,0,u,u,36,Helvetica-Bold,Prix 5\xE2\x82\xAC", 3},
        {"W5-latin-color.ps", "English", "0,10,-20,255,0,0,u,0,u,450,u,u,96,Times-Roman,Draft, v2", 1},
    };
    for (const Row& row : rows) {
        QJVWatermark w(row.definition);
        const std::optional<std::string> text = BuildWatermarkProcedure(w, row.orientation, row.language);
        ASSERT_TRUE(text) << row.file;
        EXPECT_EQ(*text, kelvotest::ReadFile(kelvotest::DataPath(std::string("watermark/") + row.file))) << row.file;
    }
}

TEST(Watermark, ChineseCIDFontByName) {
    for (const auto& [font, cid] : {std::pair{"X-AdobeHeitiStd-Regular-Acro", "AdobeHeitiStd-Regular"},
                                    {"AdobeSongStd-Light", "AdobeSongStd-Light"}, {"STSong-Light", "STSong-Light"}}) {
        QJVWatermark w(Definition(font, "T"));
        const std::string text = *BuildWatermarkProcedure(w, 1, "Chinese");
        const std::string expected =
            std::string("(Resource/AcroCIDFont/") + cid + ") run \n /Font /GB-EUC-H [/" + cid + "] composefont";
        EXPECT_NE(text.find(expected), std::string::npos) << font;
    }
}

TEST(Watermark, ProcedureLimitIsExclusive) {
    QJVWatermark w(Definition("Helvetica", "T"));
    const std::size_t size = BuildWatermarkProcedure(w, 1, "English")->size();
    EXPECT_FALSE(BuildWatermarkProcedure(w, 1, "English", size)); // "size or more" is dropped
    EXPECT_TRUE(BuildWatermarkProcedure(w, 1, "English", size + 1));
    // The longest fields the definition allows stay far below the limit.
    QJVWatermark longest("0,-2147483647,-2147483647,0,0,0,u,0,u,0,u,u,-2147483647," + std::string(63, 'F') + "," +
                         std::string(255, 'x'));
    EXPECT_TRUE(BuildWatermarkProcedure(longest, 4, "English"));
}

TEST(Watermark, FontNameCannotBreakOutOfTheName) {
    EXPECT_EQ(PostScriptFontName("Helvetica-Bold"), "Helvetica-Bold");
    EXPECT_EQ(PostScriptFontName("Evil) def (x% pwned\n{quit}"), "Evildefxpwnedquit");
    EXPECT_EQ(PostScriptFontName("/ ()"), "Helvetica");
    QJVWatermark w(Definition("A/B C", "T"));
    EXPECT_NE(BuildWatermarkProcedure(w, 1, "English")->find("/ABC findfont"), std::string::npos);
}
