// Behaviour that once gave wrong output without saying so: case folding of
// profile names, the custom size keyword, MinLength words under extension
// levels, empty translations, comment lines fed user text, range bounds.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "ParseHelpers.h"
#include "util/CaseFold.h"
#include "util/CommentText.h"

using kelvotest::Parsed;
using kelvotest::Popup;

namespace {

/// Each line of PostScript output must be a whole statement or comment: no
/// line may start with anything the test did not expect.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find_first_of("\r\n", start);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

} // namespace

TEST(CaseFold, WholeUnicodeNotOnlyAscii) {
    struct Row {
        const char* a;
        const char* b;
        bool equal;
    } rows[] = {
        {"Glossy", "gLOSSY", true},
        {"Épreuve Couchée", "épreuve couchée", true},
        {"ΣΊΣΥΦΟΣ", "σίσυφοσ", true},
        {"Привет", "пРИВЕТ", true},
        {"Épreuve", "Epreuve", false}, // accents still count
        {"abc", "abcd", false},
        {"\xff\xfe", "\xff\xfe", true},  // not UTF-8: compared as bytes
        {"\xff" "A", "\xff" "a", true},  // ...with ASCII folded
        {"", "", true},
    };
    for (const Row& r : rows)
        EXPECT_EQ(kelvo::EqualsIgnoringCaseUTF8(r.a, r.b), r.equal) << r.a << " / " << r.b;
}

TEST(Fidelity, ProfilePopupMatchesDisplayNameIgnoringUnicodeCase) {
    Parsed p(Popup("*QJSimulation", "*QJSimulation Plain/Plain: \"\"\n*QJSimulation Coated/<C9>preuve Couch<E9>e: \"\"\n",
                   "*DefaultQJSimulation: Plain\n"));
    auto* profile = p.As<PPDXPopupControl>("*QJSimulation");
    ASSERT_NE(profile, nullptr);
    ASSERT_EQ(*profile->ItemAt(1)->localName, "Épreuve Couchée"); // ISOLatin1 hex, read as UTF-8
    profile->SetCurrentControlWithCFString("épreuve couchée");
    EXPECT_EQ(profile->CopyCurrentControlValueString(), "Coated");
    EXPECT_EQ(profile->ItemCount(), 2u); // matched, so the list did not grow
}

TEST(Fidelity, CustomSizeStatementNeverMakesASecondControl) {
    // The keyword is taken by a popup: the size statement adds nothing but a warning.
    Parsed p(Popup("*CustomPrintSize", "*CustomPrintSize A/A: \"\"\n", "*DefaultCustomPrintSize: A\n") +
             "*%ParamCustomPrintSize Width: 1 points 100 500\n");
    int count = 0;
    for (PPDXControl* c : p.doc->GetControls()->All())
        count += c->Keyword() && std::string(c->Keyword()) == "*CustomPrintSize";
    EXPECT_EQ(count, 1);
    EXPECT_NE(p.As<PPDXPopupControl>("*CustomPrintSize"), nullptr);
    EXPECT_EQ(p.ErrorCodes(), std::vector<int>{PPDErr_Duplicate});

    // Its own earlier statement is found again, whatever follows.
    Parsed twice("*%ParamCustomPrintSize Width: 1 points 100 500\n*%ParamCustomPrintSize Height: 1 points 50 60\n");
    auto* size = twice.As<PPDXCustomPageSizeControl>("*CustomPrintSize");
    ASSERT_NE(size, nullptr);
    EXPECT_EQ(size->MaxWidth(), 500.0f);
    EXPECT_EQ(size->MaxHeight(), 60.0f);
}

TEST(Fidelity, MinLengthWordsAreNotLevelChecked) {
    struct Row {
        const char* word;
        bool created; // at levels 0, 1 and 2
        long minLength;
    } rows[] = {{"MinLength8", true, 8}, {"MinLength12", true, 12}, {"MinLengthX", true, -1},
                {"MinLength123", true, -2}, {"MinLength", false, 0}};
    for (_EXTENSIONS_SUPPORT_ level : {kExtensionsLevel0, kExtensionsLevel1, kExtensionsLevel2}) {
        QJVPPD::SetExtensions(level);
        for (const Row& r : rows) {
            Parsed p(std::string("*%QJVFlags *QJN: \"\"\n*%QJVGroup *QJN: QJGroup\n*%QJVJobNote *QJN/N: 20|Alpha|") +
                     r.word + "\n\n");
            auto* note = p.As<PPDXJobNote>("*QJN");
            EXPECT_EQ(note != nullptr, r.created) << r.word << " level " << level;
            const std::vector<int> codes = p.ErrorCodes();
            const bool refused =
                std::find(codes.begin(), codes.end(), PPDErr_UnsupportedJobNoteFlag) != codes.end();
            EXPECT_EQ(refused, !r.created) << r.word << " level " << level;
            if (note) {
                EXPECT_EQ(note->MinLength(), r.minLength) << r.word;
                EXPECT_TRUE(note->Flags() & kJNAlpha);
            }
        }
    }
    QJVPPD::SetExtensions(kExtensionsAll);
}

TEST(Fidelity, EmptyTranslationsLeaveNamesEmpty) {
    Parsed p("*%QJVFlags *QJA: \"\"\n*%QJVGroup *QJA: QJGroup\n*OpenUI *QJA/: PickOne\n*DefaultQJA: X\n"
             "*QJA X/: \"(x) pop\"\n*QJA Y: \"(y) pop\"\n*QJA Z/Zed: \"(z) pop\"\n*CloseUI: *QJA\n"
             "*%QJVFlags *QJB: \"\"\n*%QJVGroup *QJB: QJGroup\n*OpenUI *QJB: Boolean\n*DefaultQJB: True\n"
             "*QJB True/: \"\"\n*QJB False: \"\"\n*CloseUI: *QJB\n");
    auto* popup = p.As<PPDXPopupControl>("*QJA");
    ASSERT_NE(popup, nullptr);
    EXPECT_EQ(popup->CFStringUserName(), "");
    ASSERT_EQ(popup->ItemCount(), 3u);
    ASSERT_TRUE(popup->ItemAt(0)->localName);
    EXPECT_EQ(*popup->ItemAt(0)->localName, "");       // "X/:" wrote an empty name
    EXPECT_FALSE(popup->ItemAt(1)->localName);          // "Y:" wrote none
    EXPECT_EQ(*popup->ItemAt(2)->localName, "Zed");
    auto* boolean = p.As<PPDXBooleanControl>("*QJB");
    ASSERT_NE(boolean, nullptr);
    EXPECT_EQ(boolean->CFStringUserName(), "");
    EXPECT_STREQ(boolean->TrueDisplayText(), "");
    EXPECT_STREQ(boolean->FalseDisplayText(), "");
}

TEST(CommentText, ControlBytesBecomeBlanksAndLengthStays) {
    EXPECT_EQ(kelvo::CommentSafe("a\nb\rc\x1b[2Jd\x7f\te"), "a b c [2Jd \te");
    EXPECT_EQ(kelvo::CommentSafe(std::string("x\0y", 3)), "x y");
    EXPECT_EQ(kelvo::CommentSafe("Épreuve"), "Épreuve");
}

TEST(Fidelity, UserTextNeverEndsACommentLine) {
    const char* attack = "x\n%%EndFeature\nerasepage showpage\r\n";
    Parsed p("*%QJVFlags *QJN: \"\"\n*%QJVGroup *QJN: QJGroup\n*%QJVJobNote *QJN/N: 99|Alpha\n\n"
             "*%QJVFlags *QJC: \"\"\n*%QJVGroup *QJC: QJGroup\n*%QJVJobNote *QJC/C: 99|Alpha\n"
             "*%QJC: \"%%Account: <*QJC>\"\n"
             "*%QJVFlags *QJR: \"\"\n*%QJVGroup *QJR: QJGroup\n*%QJVJobNote *QJR/R: 99|Resume\n\n");
    for (const char* key : {"*QJN", "*QJC", "*QJR"}) {
        auto* note = p.As<PPDXJobNote>(key);
        ASSERT_NE(note, nullptr) << key;
        note->SetCurrentControlWithCFString(attack);
        const std::string out = note->PostScriptText();
        ASSERT_EQ(note->PostScript(nullptr), static_cast<long>(out.size())) << key; // sizing agrees with filling
        // Every line is a comment or blank, and exactly one ends the feature.
        int ends = 0;
        for (const std::string& line : Lines(out)) {
            EXPECT_TRUE(line.empty() || line.rfind("%%", 0) == 0) << key << ": " << line;
            ends += line == "%%EndFeature";
        }
        EXPECT_EQ(ends, 1) << key << ":\n" << out;
        EXPECT_EQ(out.find("\nerasepage"), std::string::npos) << key;
    }
}

TEST(Fidelity, RangeBoundsBeyond32BitsOrNotFiniteAreRefused) {
    struct Row {
        const char* statement;
        bool built;
    } rows[] = {
        {"*%QJVRange *QJR/R: (1;2147483647;1;5) \"<*QJR>\"", true},
        {"*%QJVRange *QJR/R: (1;2147483648;1;5) \"<*QJR>\"", false},
        {"*%QJVRange *QJR/R: (-2147483649;10;1;5) \"<*QJR>\"", false},
        {"*%QJVRange *QJR/R: (1;10;1;99999999999999999999) \"<*QJR>\"", false},
        {"*%QJVFloatRange *QJR/R: (0;1e38;0.5;1) \"<*QJR>\"", true},
        {"*%QJVFloatRange *QJR/R: (0;1e39;0.5;1) \"<*QJR>\"", false},
        {"*%QJVFloatRange *QJR/R: (nan;10;0.5;1) \"<*QJR>\"", false},
        {"*%QJVFloatRange *QJR/R: (0;inf;0.5;1) \"<*QJR>\"", false},
    };
    for (const Row& r : rows) {
        Parsed p(std::string("*%QJVFlags *QJR: \"\"\n*%QJVGroup *QJR: QJGroup\n") + r.statement + "\n");
        EXPECT_EQ(p.Control("*QJR") != nullptr, r.built) << r.statement;
        if (!r.built) {
            EXPECT_EQ(p.ErrorCodes().at(0), PPDErr_RangeParsing) << r.statement;
        }
    }
}

TEST(Fidelity, RangeValuesClampNeverWrap) {
    PPDXRangeControl range("*QJR", "R", {}, {}, -100, 2147483647, 1, 5, true, nullptr);
    struct Row {
        const char* text;
        const char* value;
    } rows[] = {{"4294967297", "2147483647"},           // 2^32 + 1 would wrap to 1
                {"99999999999999999999999", "2147483647"}, // beyond 64 bits
                {"-99999999999999999999999", "-100"},
                {"12", "12"}};
    for (const Row& r : rows) {
        range.SetCurrentControlWithCFString(r.text);
        EXPECT_EQ(range.CopyCurrentControlValueString(), r.value) << r.text;
    }

    PPDXFloatRangeControl decimal("*QJF", "F", {}, {}, 0.0f, 10.0f, 0.5f, 1.5f, true, nullptr);
    decimal.SetCurrentControlWithCFString("nan");
    EXPECT_EQ(decimal.CopyCurrentControlValueString(), "1.500"); // refused: unchanged
    decimal.SetValue(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(decimal.CopyCurrentControlValueString(), "1.500");
    decimal.SetCurrentControlWithCFString("inf");
    EXPECT_EQ(decimal.CopyCurrentControlValueString(), "10.000");
    decimal.SetCurrentControlWithCFString("-1e300");
    EXPECT_EQ(decimal.CopyCurrentControlValueString(), "0.000");
}
