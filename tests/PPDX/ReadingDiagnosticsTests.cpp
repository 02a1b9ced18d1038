// What the reader says about the file itself: why it could not be read, the
// line of each error, lines that cut the reading short, gzip input, plain
// PPDs, and a library that stays silent unless asked.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PopupJobNotesState.h"
#include "ParseHelpers.h"
#include "util/Log.h"

using kelvotest::Parsed;
using kelvotest::Popup;
using kelvotest::TempFile;

namespace {

const std::string kDuplex = Popup("*QJDuplex", "*QJDuplex None/Off: \"\"\n*QJDuplex Long/Long: \"\"\n",
                                  "*DefaultQJDuplex: None\n");

/// Line numbers of the errors, in order, paired with their codes.
std::vector<std::pair<int, std::uint32_t>> CodesAndLines(const QJVPPD& doc) {
    std::vector<std::pair<int, std::uint32_t>> out;
    for (std::size_t i = 0; const PPDXErrorObj* e = doc.GetErrors()->At(i); ++i)
        out.emplace_back(e->Code(), e->Line());
    return out;
}

/// Gzip-compresses `path` in place (as path + ".gz") with the system's gzip.
std::filesystem::path Gzip(const std::filesystem::path& path) {
    const std::string command = "gzip -kf '" + path.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return path.string() + ".gz";
}

} // namespace

TEST(ReadingDiagnostics, FileErrorsSayWhy) {
    TempFile file("x");
    TempFile empty("");
    struct Row {
        std::filesystem::path path;
        const char* text;
    } rows[] = {
        {"/nonexistent/kelvo.ppd", "No such file or directory"},
        {file.Path().parent_path(), "Is a directory"},
        {"/dev/null", "not a regular file"},
        {file.Path() / "below-a-file.ppd", "Not a directory"},
        {empty.Path(), "empty file"},
    };
    for (const Row& r : rows) {
        QJVPPDRef doc(new QJVPPD(r.path, kParseAll));
        EXPECT_FALSE(doc->IsValidPPD()) << r.path;
        ASSERT_GT(doc->GetErrors()->Count(), 0u);
        EXPECT_EQ(doc->GetErrors()->At(0)->Code(), PPDErr_FileError) << r.path;
        EXPECT_TRUE(doc->GetErrors()->At(0)->IsFatal()) << r.path;
        EXPECT_EQ(doc->FileErrorText(), r.text) << r.path;
    }
    QJVPPDRef good(new QJVPPD(file.Path(), kParseAll));
    EXPECT_EQ(good->FileErrorText(), "");
}

TEST(ReadingDiagnostics, ErrorsCarryTheirStatementsLine) {
    // Header lines 1-9, then the body.
    Parsed p("*%QJVFlags *QJBad: \"\"\n"                 // 10: no group or OpenUI line follows
             "*Junk: 1\n"                                 // 11
             + kDuplex +                                  // 12-18
             "*%QJVFlags *QJNoDefault: \"\"\n"            // 19: the block's first line
             "*%QJVGroup *QJNoDefault: QJGroup\n*OpenUI *QJNoDefault/T: PickOne\n*QJNoDefault A/A: \"\"\n"
             "*CloseUI: *QJNoDefault\n" +
             kDuplex);                                    // 24: declared twice
    EXPECT_EQ(CodesAndLines(*p.doc), (std::vector<std::pair<int, std::uint32_t>>{
                                         {PPDErr_ControlParsing, 10},
                                         {PPDErr_NoDefaultValueFlag, 19},
                                         {PPDErr_Duplicate, 24}}));

    Parsed empty("", kParseAll, {}, false);
    for (const auto& [code, line] : CodesAndLines(*empty.doc))
        EXPECT_EQ(line, 0u) << code; // about the document as a whole

    Parsed notPPD("*PPD-Adobe: \"4.2\"\n", kParseAll, {}, false);
    const auto notPPDErrors = CodesAndLines(*notPPD.doc);
    EXPECT_NE(std::find(notPPDErrors.begin(), notPPDErrors.end(), std::pair<int, std::uint32_t>{PPDErr_NotPPDFile, 1}),
              notPPDErrors.end());
}

TEST(ReadingDiagnostics, ALineThatCutsTheReadingShortIsAWarningWithItsLine) {
    struct Row {
        std::string badLine;
        const char* what;
    } rows[] = {{"*% " + std::string(300, 'x'), "255 bytes or more"},
                {"*% a\xff" "b", "a 0xFF byte"}};
    for (const Row& r : rows) {
        Parsed p(kDuplex + r.badLine + "\n" + Popup("*QJLater", "*QJLater A/A: \"\"\n", "*DefaultQJLater: A\n"));
        EXPECT_NE(p.Control("*QJDuplex"), nullptr) << r.what;
        EXPECT_EQ(p.Control("*QJLater"), nullptr) << r.what;
        const auto errors = CodesAndLines(*p.doc);
        ASSERT_EQ(errors.size(), 1u) << r.what;
        EXPECT_EQ(errors[0], (std::pair<int, std::uint32_t>{PPDErr_ReadEndedEarly, 17})) << r.what;
        EXPECT_TRUE(p.doc->IsValidPPD()) << "a warning, not fatal: " << r.what;
    }
    // A file that ends without a line end is not cut short.
    Parsed clean(kDuplex + "*End");
    EXPECT_TRUE(CodesAndLines(*clean.doc).empty());
}

TEST(ReadingDiagnostics, GzipFilesAndBytesReadLikeThePlainText) {
    const std::string text = std::string(kelvotest::kHeader) + kDuplex + "*%QJShortcut: *QJDuplex\n";
    TempFile plain(text);
    const std::filesystem::path gz = Gzip(plain.Path());
    const std::string compressed = kelvotest::ReadFile(gz);
    ASSERT_GT(compressed.size(), 2u);

    auto expectSame = [&](QJVPPD& doc, const char* how) {
        EXPECT_TRUE(doc.IsValidPPD()) << how;
        EXPECT_STREQ(doc.ModelName(), "Kelvo Test") << how;
        EXPECT_NE(doc.GetControls()->FindAny("*QJDuplex"), nullptr) << how;
        EXPECT_EQ(doc.GetShortcuts()->Count(), 1u) << how;
    };
    QJVPPDRef fromFile(new QJVPPD(gz, kParseAll));
    expectSame(*fromFile, "file");
    QJVPPDRef fromBytes = QJVPPD::FromBytes(compressed, kParseAll);
    expectSame(*fromBytes, "bytes");
    // Two gzip members one after the other are one stream (as `cat a.gz b.gz`).
    const std::size_t half = text.size() / 2;
    TempFile first(text.substr(0, half), "a.ppd"), second(text.substr(half), "b.ppd");
    QJVPPDRef joined = QJVPPD::FromBytes(kelvotest::ReadFile(Gzip(first.Path())) +
                                         kelvotest::ReadFile(Gzip(second.Path())), kParseAll);
    expectSame(*joined, "two members");

    // Damaged data is a file error that says so, never a silent partial read.
    struct Row {
        std::string bytes;
        const char* text;
    } rows[] = {
        {compressed.substr(0, compressed.size() / 2), "bad gzip data: unexpected end of file"},
        {compressed.substr(0, 10) + std::string(40, '\x55'), "bad gzip data"},
    };
    for (const Row& r : rows) {
        QJVPPDRef bad = QJVPPD::FromBytes(r.bytes, kParseAll);
        EXPECT_FALSE(bad->IsValidPPD()) << r.text;
        EXPECT_EQ(bad->FileErrorText().rfind(r.text, 0), 0u) << bad->FileErrorText();
    }
}

TEST(ReadingDiagnostics, PlainPPDHasNoMakerStatements) {
    TempFile file("*PPD-Adobe: \"4.3\"\n*ModelName: \"Plain\"\n*OpenUI *Duplex/Duplex: PickOne\n"
                  "*DefaultDuplex: None\n*Duplex None/Off: \"\"\n*CloseUI: *Duplex\n");
    QJVPPDRef doc(new QJVPPD(file.Path(), kParseAll));
    EXPECT_FALSE(doc->HasMakerStatements());
    Parsed maker(kDuplex);
    EXPECT_TRUE(maker.doc->HasMakerStatements());
}

TEST(ReadingDiagnostics, LibraryIsSilentUnlessASinkIsSet) {
    // Asking a popup job note whether it is one logs a line.
    auto ask = [](const Parsed& p) {
        auto* note = p.As<PPDXJobNote>("*QJN");
        ASSERT_NE(note, nullptr);
        EXPECT_TRUE(note->IsPopupJN());
    };
    const std::string body = "*%QJVFlags *QJN: \"\"\n*%QJVGroup *QJN: QJGroup\n*%QJVJobNote *QJN/N: 20|PopupJN\n\n";
    testing::internal::CaptureStderr();
    {
        Parsed quiet(body);
        ask(quiet);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    // The line is written once per process: let it be written again.
    gPopupJobNotesFoundOne = false;
    std::vector<std::string> lines;
    kelvo::LogSink previous = kelvo::SetLogSink([&](std::string_view line) { lines.emplace_back(line); });
    {
        Parsed heard(body);
        ask(heard);
    }
    kelvo::SetLogSink(previous);
    EXPECT_FALSE(lines.empty());
}
