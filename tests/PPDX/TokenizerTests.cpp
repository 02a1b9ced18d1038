// Tokens, quoted strings and PostScript strings, including continuation lines.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "PPDX/PPDX.h"
#include "TestSupport.h"

namespace {

/// A bare document whose continuation lines come from a given text.
class Tokenizer : public PPDX {
public:
    explicit Tokenizer(const std::string& following = "")
        : PPDX(std::nullopt, kParseAll, {}, {}), mFile(following.empty() ? "\n" : following) {
        mPPD = std::make_unique<PPDFile>(mFile.Path());
        mStream = std::make_unique<PPDFileStream>(mPPD.get(), true);
        mFileStream = mStream.get();
    }

    std::string Quoted(const std::string& line, long* count = nullptr, unsigned limit = kQuotesStringSizeLimit) {
        PPDStream stream(line.data(), static_cast<long>(line.size()));
        std::memset(mOut, 'Z', sizeof mOut);
        long n = GetQuotedString(stream, mOut, limit);
        if (count)
            *count = n;
        return n > 0 ? std::string(mOut, static_cast<std::size_t>(n - 1)) : std::string();
    }

    std::string PostScript(const std::string& line, long* count = nullptr) {
        PPDStream stream(line.data(), static_cast<long>(line.size()));
        std::memset(mOut, 0, sizeof mOut);
        unsigned limit = kQuotesStringSizeLimit;
        long n = GetPostscriptString(stream, mOut, limit);
        if (count)
            *count = n;
        return std::string(mOut, static_cast<std::size_t>(n > 0 ? n : 0));
    }

    std::string NextLine() {
        char buf[kJoinedLineSize];
        return mFileStream->GetLine(buf) ? std::string(buf) : std::string("<none>");
    }

private:
    kelvotest::TempFile mFile;
    std::unique_ptr<PPDFile> mPPD;
    std::unique_ptr<PPDFileStream> mStream;
    char mOut[kQuotesStringSizeLimit + 8];
};

} // namespace

TEST(Tokenizer, OpenUILineSplitsIntoItsTokens) {
    Tokenizer t;
    const char line[] = "*OpenUI *Duplex/Two-Sided: PickOne\r\n";
    PPDStream s(line, static_cast<long>(std::strlen(line)));
    char out[kLineSizeLimit];
    ASSERT_TRUE(t.NextToken(s, out, kMainKeywordDelimiters, true));
    EXPECT_STREQ(out, "*OpenUI");
    s.SkipWhiteSpace();
    ASSERT_TRUE(t.NextToken(s, out, kMainKeywordDelimiters, true));
    EXPECT_STREQ(out, "*Duplex/Two-Sided");
    ASSERT_TRUE(t.NextToken(s, out, kEndofLineDelimiters, true));
    EXPECT_STREQ(out, "PickOne"); // no CR left behind
    EXPECT_FALSE(t.NextToken(s, out, kEndofLineDelimiters, true));
}

TEST(Tokenizer, NextTokenEdgeRows) {
    Tokenizer t;
    struct Row {
        const char* text;
        const char* delimiters;
        bool strip;
        bool ok;
        const char* token;
    } rows[] = {
        {":rest", kMainKeywordDelimiters, true, false, ""},   // delimiter first: nothing
        {"  word  ", nullptr, true, true, "word"},            // stripped, no delimiters
        {"  word  ", nullptr, false, true, "  word  "},
        {"a\rb", nullptr, false, true, "a"},                  // lone CR ends the line
        {"ab\r\n", nullptr, false, true, "ab"},               // CRLF: CR removed
        {"x|y", kFlagKeywordDelimiters, true, true, "x"},
        {"\n", nullptr, false, false, ""},
    };
    for (const Row& r : rows) {
        PPDStream s(r.text, static_cast<long>(std::strlen(r.text)));
        char out[kLineSizeLimit] = "junk";
        EXPECT_EQ(t.NextToken(s, out, r.delimiters, r.strip), r.ok) << r.text;
        if (r.ok) {
            EXPECT_STREQ(out, r.token) << r.text;
        }
    }
    std::string longToken(400, 'k');
    PPDStream s(longToken.data(), static_cast<long>(longToken.size()));
    char out[kLineSizeLimit];
    ASSERT_TRUE(t.NextToken(s, out, nullptr, false));
    EXPECT_EQ(std::strlen(out), 255u);
    EXPECT_FALSE(t.NextToken(s, nullptr, nullptr, false));
}

// The scan reads the range directly; the stream must be left exactly as
// byte-by-byte reading would leave it, whatever the delimiter set.
TEST(Tokenizer, NextTokenLeavesStreamAsByteReadingWould) {
    Tokenizer t;
    struct Row {
        std::string text;
        const char* delimiters;
        const char* token;
        long remaining;   // bytes left after the call
        bool endOfFile;
    } rows[] = {
        {"ab:cd", kMainKeywordDelimiters, "ab", 2, false},
        {"abcd", kMainKeywordDelimiters, "abcd", 0, true},  // ran into the end
        {"a;b(c", kRangeStringDelimiters, "a", 3, false},
        {"a=b", "=", "a", 1, false},                         // byte outside the usual sets
        {"ab,c;d", ",;:!?", "ab", 3, false},                 // five delimiters
        {"ab", ",;:!?", "ab", 0, true},
        {std::string(255, 'k'), nullptr, nullptr, 0, false}, // full token: the end not yet tried
    };
    for (const Row& r : rows) {
        PPDStream s(r.text.data(), static_cast<long>(r.text.size()));
        char out[kLineSizeLimit];
        ASSERT_TRUE(t.NextToken(s, out, r.delimiters, true)) << r.text;
        if (r.token) {
            EXPECT_STREQ(out, r.token) << r.text;
        }
        EXPECT_EQ(s.Remaining(), r.remaining) << r.text;
        EXPECT_EQ(s.EndOfFile(), r.endOfFile) << r.text;
    }
}

TEST(Tokenizer, QuotedStringOnOneLine) {
    Tokenizer t;
    long count = 0;
    EXPECT_EQ(t.Quoted("*ModelName: \"Kelvo 9000\"", &count), "Kelvo 9000");
    EXPECT_EQ(count, 11);
    EXPECT_EQ(t.Quoted("*X: \"\"", &count), "");
    EXPECT_EQ(count, 0); // empty counts as absent
    // Cut at limit - 1 with the NUL at limit - 1.
    EXPECT_EQ(t.Quoted("*X: \"abcdefgh\"", &count, 5), "abc");
    EXPECT_EQ(count, 4);
}

TEST(Tokenizer, QuotedStringContinuationKeepsNulSeparators) {
    Tokenizer t("\nsecond line\"\n*Next: 1\n");
    long count = 0;
    std::string value = t.Quoted("*Note: \"first line", &count);
    EXPECT_EQ(value, std::string("first line\0second line", 22));
    EXPECT_EQ(count, 23);
    EXPECT_STREQ(value.c_str(), "first line"); // C-string readers see the first line only
    EXPECT_EQ(t.NextLine(), "*Next: 1");
}

TEST(Tokenizer, QuotedStringEndsAtKeywordLineAndFailsAtEndOfFile) {
    Tokenizer t("more\n*Next: 1\nafter\n");
    long count = 0;
    std::string value = t.Quoted("*Note: \"open", &count);
    EXPECT_EQ(count, 10); // "open", NUL, "more", NUL: the keyword line is consumed
    EXPECT_EQ(t.NextLine(), "after");

    Tokenizer eof("no closing quote\n");
    eof.Quoted("*Note: \"open", &count);
    EXPECT_EQ(count, 0);
}

TEST(Tokenizer, PostScriptOverLinesDropsBlanksAndStarPercent) {
    Tokenizer t("\n*%b\nc\"\n*Next: 1\n");
    long count = 0;
    EXPECT_EQ(t.PostScript("*Opt X: \"a", &count), "a\nb\nc\n");
    EXPECT_EQ(count, 6);
    EXPECT_EQ(t.NextLine(), "*Next: 1");
}

TEST(Tokenizer, PostScriptClosedByKeywordLineEndsInTwoLineFeeds) {
    Tokenizer t("more code\n*Next: 1\nafter\n");
    EXPECT_EQ(t.PostScript("*Opt X: \"code"), "code\nmore code\n\n");
    EXPECT_EQ(t.NextLine(), "after"); // the keyword line went with the code
}

TEST(Tokenizer, PostScriptRows) {
    Tokenizer t;
    long count = -1;
    EXPECT_EQ(t.PostScript("*Opt X: \"1 dict\"", &count), "1 dict\n");
    EXPECT_EQ(count, 7);
    EXPECT_EQ(t.PostScript("*Opt X: \"\"", &count), "");
    EXPECT_EQ(count, 0);
    EXPECT_EQ(t.PostScript("*Opt X: no quote", &count), "");
    EXPECT_EQ(count, 0); // code must open on its statement line

    Tokenizer unterminated("tail");
    EXPECT_EQ(unterminated.PostScript("*Opt X: \"head", &count), "head\n"); // last line without LF is lost
}

TEST(Tokenizer, StripAndMainKeyword) {
    Tokenizer t;
    char text[] = " \t word \t";
    PPDX::StripLeadingWhiteSpace(text);
    PPDX::StripTrailingWhiteSpace(text);
    EXPECT_STREQ(text, "word");
    char cr[] = "word\r";
    PPDX::StripTrailingWhiteSpace(cr);
    EXPECT_STREQ(cr, "word\r"); // only blanks and tabs are white space
    char out[kLineSizeLimit];
    EXPECT_EQ(t.ParseMainKeyword("*Duplex/Two-Sided", out), 0);
    EXPECT_STREQ(out, "Two-Sided");
    t.ParseMainKeyword("*Duplex", out);
    EXPECT_STREQ(out, "");
}
