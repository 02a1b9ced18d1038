// Checks that the generator writes what the benchmarks rely on: exact sizes,
// lines and PostScript values under the reader's limits, files that both
// readers take without complaint, and checks that do catch a wrong file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "GenerateExtendedPPD.h"
#include "GeneratedPPDCheck.h"

namespace {

using kelvobench::GeneratedPPD;
using kelvobench::GenerateExtendedPPD;

struct Shape {
    std::size_t longestLine = 0;
    std::size_t longestQuoted = 0; // PPD values never nest or escape quotes
    std::size_t constraintLines = 0;
};

Shape Measure(const std::string& text) {
    Shape s;
    std::size_t lineStart = 0, quoteStart = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            if (quoted)
                s.longestQuoted = std::max(s.longestQuoted, i - quoteStart - 1);
            quoted = !quoted;
            quoteStart = i;
        } else if (text[i] == '\n') {
            s.longestLine = std::max(s.longestLine, i - lineStart);
            if (text.compare(lineStart, 15, "*UIConstraints:") == 0)
                ++s.constraintLines;
            lineStart = i + 1;
        }
    }
    return s;
}

class TempPPD {
public:
    explicit TempPPD(const std::string& text)
        : mPath(std::filesystem::temp_directory_path() /
                ("kelvo-genppd-test-" + std::to_string(::getpid()) + "-" + std::to_string(sCount++) + ".ppd")) {
        std::ofstream(mPath, std::ios::binary) << text;
    }
    ~TempPPD() { std::filesystem::remove(mPath); }
    const std::filesystem::path& Path() const { return mPath; }

private:
    static inline int sCount = 0;
    std::filesystem::path mPath;
};

TEST(GenerateExtendedPPD, ExactSizeShortLinesAndBothReadersAgree) {
    struct Row {
        std::size_t target;
        std::size_t minControls;
    };
    // 4 KiB is below the fixed preamble: the preamble alone comes back.
    const Row rows[] = {{4 * 1024, 13}, {64 * 1024, 50}, {300 * 1024, 350}, {1024 * 1024, 1300}};
    for (const Row& row : rows) {
        SCOPED_TRACE("target " + std::to_string(row.target));
        const GeneratedPPD ppd = GenerateExtendedPPD(row.target);
        if (row.target > 16 * 1024) {
            EXPECT_EQ(ppd.text.size(), row.target);
        }
        ASSERT_FALSE(ppd.text.empty());
        EXPECT_EQ(ppd.text.back(), '\n'); // the reader drops an unterminated last line
        const Shape shape = Measure(ppd.text);
        EXPECT_LT(shape.longestLine, 255u);     // a longer line ends the reader's statement loop
        EXPECT_LT(shape.longestQuoted, 4095u);  // longer code would be cut
        EXPECT_EQ(shape.constraintLines, ppd.constraintLines);
        EXPECT_GE(ppd.controls.Total(), row.minControls);
        if (row.target >= 64 * 1024) {
            // Both answers are asked, alternating.
            ASSERT_GE(ppd.queries.size(), 2u);
            EXPECT_TRUE(ppd.queries[0].conflicts);
            EXPECT_FALSE(ppd.queries[1].conflicts);
        }
        const TempPPD file(ppd.text);
        EXPECT_EQ(kelvobench::CheckOurReader(file.Path(), ppd), "");
        EXPECT_EQ(kelvobench::CheckLibcups(file.Path(), ppd), "");
    }
}

TEST(GenerateExtendedPPD, SameTargetSameBytesAndContentScalesWithSize) {
    const GeneratedPPD half = GenerateExtendedPPD(512 * 1024);
    EXPECT_EQ(GenerateExtendedPPD(512 * 1024).text, half.text);
    // Time against size only means something if the content grows with it.
    const GeneratedPPD whole = GenerateExtendedPPD(1024 * 1024);
    const double controls = static_cast<double>(whole.controls.Total()) / static_cast<double>(half.controls.Total());
    const double lines = static_cast<double>(whole.constraintLines) / static_cast<double>(half.constraintLines);
    EXPECT_NEAR(controls, 2.0, 0.2);
    EXPECT_NEAR(lines, 2.0, 0.2);
}

// The benchmark refuses to measure a file these checks reject, so they must
// notice a wrong count or a wrong answer.
TEST(GeneratedPPDCheck, ReportsEveryKindOfMismatch) {
    const GeneratedPPD good = GenerateExtendedPPD(64 * 1024);
    const TempPPD file(good.text);
    struct Row {
        const char* what;
        void (*spoil)(GeneratedPPD&);
        bool oursNotices;
        bool libcupsNotices;
    };
    const Row rows[] = {
        {"one popup too many", [](GeneratedPPD& p) { ++p.controls.popups; }, true, false},
        {"one job note too few", [](GeneratedPPD& p) { --p.controls.jobNotes; }, true, false},
        {"a constraint line too many", [](GeneratedPPD& p) { ++p.constraintLines; }, false, true},
        {"a conflicting answer flipped", [](GeneratedPPD& p) { p.queries[0].conflicts = false; }, true, true},
        {"a free answer flipped", [](GeneratedPPD& p) { p.queries[1].conflicts = true; }, true, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        GeneratedPPD spoilt = good;
        row.spoil(spoilt);
        EXPECT_EQ(!kelvobench::CheckOurReader(file.Path(), spoilt).empty(), row.oursNotices);
        EXPECT_EQ(!kelvobench::CheckLibcups(file.Path(), spoilt).empty(), row.libcupsNotices);
    }
}

} // namespace
