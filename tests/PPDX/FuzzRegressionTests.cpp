// Reading from memory (the fuzz targets' way in) and inputs the fuzzers found.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "PPDX/QJVPPD.h"
#include "TestSupport.h"

namespace {

/// What a parse produced, in a form two parses can be compared by.
struct Outcome {
    bool valid = false;
    std::vector<int> errors;
    std::vector<std::string> controls;
    std::map<std::string, std::string> values;
    std::size_t groups = 0, pages = 0, shortcuts = 0;

    explicit Outcome(const QJVPPD& doc) : valid(doc.IsValidPPD()), values(doc.CopyAllValues()) {
        for (std::size_t i = 0; const PPDXErrorObj* e = doc.GetErrors()->At(i); ++i)
            errors.push_back(e->Code());
        for (const PPDXControl* c : doc.GetControls()->All())
            controls.emplace_back(c->Keyword() ? c->Keyword() : "");
        groups = doc.GetGroups()->Count();
        pages = doc.GetProperties()->Count();
        shortcuts = doc.GetShortcuts()->Count();
    }
    bool operator==(const Outcome&) const = default;
};

std::vector<std::filesystem::path> FilesUnder(const std::filesystem::path& dir) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir))
        if (entry.is_regular_file() && entry.path().extension() == ".ppd")
            files.push_back(entry.path());
    return files;
}

} // namespace

TEST(FuzzInputPath, ReadsEveryProjectPPDAsTheFileIsRead) {
    std::vector<std::filesystem::path> files = FilesUnder(kelvotest::DataPath(""));
    files.push_back(kelvotest::SamplePath("kelvo-sample.ppd"));
    ASSERT_GT(files.size(), 20u);
    for (const auto& path : files) {
        QJVPPDRef fromFile(new QJVPPD(path, kParseAll));
        QJVPPDRef fromBytes = QJVPPD::FromBytes(kelvotest::ReadFile(path), kParseAll);
        EXPECT_TRUE(Outcome(*fromFile) == Outcome(*fromBytes)) << path;
        EXPECT_FALSE(fromBytes->FilePath().has_value());
    }
}

TEST(FuzzInputPath, BytesBeyondOneChunkAreReadLikeAFile) {
    // Comment lines up to just before the 1,000,000-byte chunk edge, then a
    // popup whose choice line crosses it.
    std::string text = "*PPD-Adobe: \"4.3\"\n*LanguageEncoding: ISOLatin1\n"
                       "*%QJVPropPage QJPage/Page: \"True\"\n*%QJVGroupName QJGroup/Options: \"True\"\n"
                       "*%QJVFlags *QJStaple: \"\"\n*%QJVGroup *QJStaple: QJGroup\n"
                       "*OpenUI *QJStaple/Staple: PickOne\n*DefaultQJStaple: Saddle\n";
    while (text.size() + 200 < kChunkSize)
        text += "*% " + std::string(96, 'f') + "\n";
    text += "*%" + std::string(kChunkSize - 30 - text.size(), 'p') + "\n";
    text += "*QJStaple Saddle/Saddle Stitch: \"<</Staple 4>> setpagedevice\"\n*CloseUI: *QJStaple\n";
    kelvotest::TempFile file(text);
    QJVPPDRef fromFile(new QJVPPD(file.Path(), kParseAll));
    QJVPPDRef fromBytes = QJVPPD::FromBytes(text, kParseAll);
    EXPECT_TRUE(Outcome(*fromFile) == Outcome(*fromBytes));
    EXPECT_EQ(fromBytes->CopyValueForKey("*QJStaple"), "Saddle");
}

TEST(FuzzInputPath, EmptyAndUnterminatedInputsAreNotPPDs) {
    // As with files: no bytes at all is a file error; a version string that
    // never closes is no version.
    const std::vector<std::pair<std::string, int>> cases = {
        {"", PPDErr_FileError},
        {"*PPD-Adobe: \"4.3", PPDErr_NotPPDFile},
        {"*PPD-Adobe: \"4.3\\\"\n", PPDErr_NotPPDFile},
    };
    for (const auto& [text, firstError] : cases) {
        QJVPPDRef doc = QJVPPD::FromBytes(text, kParseAll);
        EXPECT_FALSE(doc->IsValidPPD()) << text;
        ASSERT_NE(doc->GetErrors()->At(0), nullptr) << text;
        EXPECT_EQ(doc->GetErrors()->At(0)->Code(), firstError) << text;
    }
}

// A blank line's stream has no byte range at all (a length of 0 leaves it
// unset); every delimiter set, the fast ones and the general one, must read
// it as no token without touching the missing range.
TEST(FuzzRegressions, BlankLineYieldsNoToken) {
    QJVPPD doc(kParseAll);
    for (const char* delimiters : {kMainKeywordDelimiters, kOptionKeywordDelimiters, kFlagKeywordDelimiters,
                                   kConstraintDelimiters, kEndofLineDelimiters, " \t:/|\";", "#"}) {
        PPDStream blank("", 0);
        char out[kLineSizeLimit] = "stale";
        EXPECT_FALSE(doc.NextToken(blank, out, delimiters, true)) << delimiters;
        EXPECT_STREQ(out, "") << delimiters;
        EXPECT_TRUE(blank.EndOfFile()) << delimiters;
    }
}

// Inputs under tests/data/fuzz-regressions once crashed, leaked, hung or
// tripped a sanitizer; each must now parse and be walked without incident
// (run this suite in the sanitized build to see the difference).
TEST(FuzzRegressions, EveryFoundInputParsesAndWalks) {
    const std::filesystem::path dir = kelvotest::DataPath("fuzz-regressions");
    ASSERT_TRUE(std::filesystem::is_directory(dir));
    for (const auto& path : FilesUnder(dir)) {
        QJVPPDRef doc = QJVPPD::FromBytes(kelvotest::ReadFile(path), kParseAll);
        for (PPDXControl* control : doc->GetControls()->All()) {
            control->CopyCurrentControlValueString();
            control->PostScriptText();
        }
        doc->SetAllValues(doc->CopyAllValues());
    }
}
