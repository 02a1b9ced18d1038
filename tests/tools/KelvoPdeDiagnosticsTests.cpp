// kelvo-pde's diagnostics run as a separate process: file errors in the
// system's words, line numbers, shortened reads, standard input and gzip,
// plain PPDs, terminal-safe text, empty translations and the --verbose log.
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <nlohmann/json.hpp>

#include "TestSupport.h"

using nlohmann::json;
using kelvotest::DataPath;
using kelvotest::FullRun;
using kelvotest::RunToolFull;
using kelvotest::SamplePath;
using kelvotest::TempFile;

namespace {

const std::string kHeader = "*PPD-Adobe: \"4.3\"\n*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n"
                            "*ModelName: \"Kelvo Test\"\n";

/// A header, one page and one group "FPFinish", then `body`.
std::string MakerPPD(const std::string& body) {
    return kHeader + "*%QJVPropPage QJPage1/Page: \"True\"\n*%QJVGroupName FPFinish/Finish: \"True\"\n" + body;
}

/// A popup or Boolean block in the group FPFinish.
std::string Block(const std::string& key, const std::string& openUI, const std::string& rest) {
    return "*%QJVFlags *" + key + ": \"\"\n*%QJVGroup *" + key + ": FPFinish\n*OpenUI *" + openUI + "\n" + rest +
           "*CloseUI: *" + key + "\n";
}

const std::string kLongLineWarning =
    "warning: line 20: reading stopped early at a line of 255 bytes or more or at a 0xFF byte "
    "(PPDErr_ReadEndedEarly)\n";

} // namespace

TEST(KelvoPdeFiles, FifoAndCutGzipAreRefused) {
    TempFile dir("", "fifo");
    const std::string fifo = dir.PathString() + ".pipe";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // A FIFO is refused without being opened: opening would wait for a writer.
    const FullRun run = RunToolFull({"inspect", fifo});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "kelvo-pde: " + fifo + ": not a regular file (PPDErr_FileError)\n");
    EXPECT_EQ(run.out, "");
    unlink(fifo.c_str());

    // A gzip header and nothing after it.
    TempFile cutGzip(std::string("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10), "cut.ppd.gz");
    const FullRun cut = RunToolFull({"inspect", cutGzip.PathString()});
    EXPECT_EQ(cut.status, 2);
    EXPECT_TRUE(cut.err.starts_with("kelvo-pde: " + cutGzip.PathString() + ": ")) << cut.err;
    EXPECT_TRUE(cut.err.ends_with(" (PPDErr_FileError)\n")) << cut.err;
    EXPECT_NE(cut.err.find("gzip"), std::string::npos) << cut.err;
}

TEST(KelvoPdeFiles, UnreadableFileSaysPermissionDenied) {
    if (geteuid() == 0)
        GTEST_SKIP() << "running as root: permission bits do not stop root from reading";
    TempFile file(MakerPPD(""));
    ASSERT_EQ(chmod(file.PathString().c_str(), 0), 0);
    const FullRun run = RunToolFull({"inspect", file.PathString()});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "kelvo-pde: " + file.PathString() + ": Permission denied (PPDErr_FileError)\n");
}

TEST(KelvoPdeInput, StandardInputAndGzipReadAsTheFile) {
    const std::string sample = SamplePath("kelvo-sample.ppd").string();
    TempFile gz("", "kelvo-sample.ppd.gz");
    std::string ignored;
    if (kelvotest::RunShell("gzip -c " + kelvotest::ShellQuote(sample) + " >" + kelvotest::ShellQuote(gz.PathString()),
                            ignored) != 0)
        GTEST_SKIP() << "no gzip program to compress the sample with";

    for (const char* command : {"inspect", "options"}) {
        SCOPED_TRACE(command);
        const FullRun fromFile = RunToolFull({command, sample});
        ASSERT_EQ(fromFile.status, 0);
        const struct {
            const char* what;
            FullRun run;
        } variants[] = {
            {"stdin", RunToolFull({command, "-"}, sample)},
            {"gzip file", RunToolFull({command, gz.PathString()})},
            {"gzip on stdin", RunToolFull({command, "-"}, gz.PathString())},
        };
        for (const auto& v : variants) {
            EXPECT_EQ(v.run.status, 0) << v.what;
            EXPECT_EQ(v.run.out, fromFile.out) << v.what;
            EXPECT_EQ(v.run.err, "") << v.what;
        }
    }
    const FullRun ps = RunToolFull({"ps", "-", "QJBrightness", "17"}, gz.PathString());
    EXPECT_EQ(ps.out, "%%BeginFeature: *QJBrightness 15\n/QJBrightness 15 def\n%%EndFeature\n");

    // Standard input is named as such in errors.
    const std::pair<std::string, std::string> bad[] = {
        {DataPath("line-endings").string(), "Is a directory (PPDErr_FileError)"},
        {DataPath("not-a-ppd.txt").string(),
         "line 1: not a PPD file (the first line is not *PPD-Adobe: \"4.3\") (PPDErr_NotPPDFile)"},
    };
    for (const auto& [input, reason] : bad) {
        const FullRun run = RunToolFull({"inspect", "-"}, input);
        EXPECT_EQ(run.status, 2) << input;
        EXPECT_EQ(run.err, "kelvo-pde: (standard input): " + reason + "\n");
    }
}

TEST(KelvoPdeTree, ErrorsCarryTheirLineAndMessage) {
    struct Row {
        std::string path;
        std::string line; // an error line of the tree
    };
    const Row rows[] = {
        {DataPath("duplicate-flags.ppd").string(),
         "  PPDErr_Duplicate (23), line 18, *QJStaple: the same keyword is declared twice\n"},
        {DataPath("long-line.ppd").string(),
         "  PPDErr_ReadEndedEarly (38), line 20: reading stopped early at a line of 255 bytes or more or at a 0xFF "
         "byte\n"},
        // A document-wide error has no line.
        {DataPath("long-line.ppd").string(), "  PPDErr_BadShortcut (19), *QJPunch: a shortcut names no known control\n"},
    };
    for (const Row& r : rows) {
        const FullRun run = RunToolFull({"inspect", r.path});
        EXPECT_EQ(run.status, 0);
        EXPECT_NE(run.out.find("\n" + r.line), std::string::npos) << r.line << run.out;
    }
}

TEST(KelvoPdeErrors, ShortenedReadIsAWarningWhateverTheCommand) {
    const std::string file = DataPath("long-line.ppd").string();
    const std::vector<std::vector<std::string>> commands = {
        {"inspect", file}, {"inspect", file, "--json"}, {"options", file}, {"ps", file, "QJStaple"}};
    for (const auto& args : commands) {
        SCOPED_TRACE(args[0]);
        const FullRun run = RunToolFull(args);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "kelvo-pde: " + file + ": " + kLongLineWarning);
        EXPECT_NE(run.out, "");
    }
}

TEST(KelvoPdeTree, PlainPPDSaysSoInOneLine) {
    TempFile plain(kHeader + "*OpenUI *Duplex/Two-Sided: PickOne\n*DefaultDuplex: None\n*Duplex None/Off: \"\"\n"
                             "*CloseUI: *Duplex\n");
    const FullRun tree = RunToolFull({"inspect", plain.PathString()});
    EXPECT_EQ(tree.status, 0);
    EXPECT_NE(tree.out.find("\nNo maker statements: a plain PPD, the panel has nothing to show.\n"), std::string::npos)
        << tree.out;
    // The three empty-model errors are what that line stands for.
    EXPECT_NE(tree.out.find("\nErrors: 0\n"), std::string::npos) << tree.out;
    EXPECT_EQ(tree.out.find("PPDErr_No"), std::string::npos) << tree.out;
    const json j = json::parse(RunToolFull({"inspect", plain.PathString(), "--json"}).out, nullptr, false);
    EXPECT_EQ(j["makerStatements"], false);
    EXPECT_EQ(j["errors"].size(), 3u); // the JSON keeps every error
    const FullRun options = RunToolFull({"options", plain.PathString()});
    EXPECT_EQ(options.status, 0);
    EXPECT_EQ(options.out, "");
    EXPECT_EQ(options.err, "kelvo-pde: " + plain.PathString() +
                               ": no maker statements: a plain PPD, the panel has no options\n");

    // With a single maker statement the model is merely incomplete.
    TempFile pageOnly(kHeader + "*%QJVPropPage QJPage1/Page: \"True\"\n");
    const FullRun partial = RunToolFull({"inspect", pageOnly.PathString()});
    EXPECT_EQ(partial.out.find("No maker statements"), std::string::npos);
    EXPECT_NE(partial.out.find("  PPDErr_NoGroups (26): the document has no groups\n"), std::string::npos);
    EXPECT_EQ(json::parse(RunToolFull({"inspect", SamplePath("kelvo-sample.ppd").string(), "--json"}).out,
                          nullptr, false)["makerStatements"],
              true);
}

TEST(KelvoPdeTree, ControlBytesFromThePPDAreEscaped) {
    // ESC sequences and BEL through hex in translations, a C1 CSI through
    // ISO Latin 1 (U+009B), DEL, and a raw byte that is no UTF-8 in a choice keyword.
    TempFile file(MakerPPD(Block("QJA", "QJA/Clear<1B>[2J: PickOne",
                                 "*DefaultQJA: X\n*QJA X/Title<1B>]0;pwned<07>: \"\"\n*QJA Bad\x9b/C1\x9b: \"\"\n") +
                           Block("QJB", "QJB/B\x7f: Boolean", "*DefaultQJB: False\n*QJB True/On: \"\"\n"
                                                              "*QJB False/Off: \"\"\n")));
    const FullRun tree = RunToolFull({"inspect", file.PathString()});
    const FullRun options = RunToolFull({"options", file.PathString()});
    const struct {
        const char* what;
        const std::string& out;
        std::vector<std::string> expected;
    } rows[] = {
        {"tree",
         tree.out,
         {"  *QJA  \"Clear\\x1B[2J\"  [popup] = X\n", "      * X  \"Title\\x1B]0;pwned\\x07\"\n",
          "        Bad\\x9B  \"C1\\xC2\\x9B\"\n", "  *QJB  \"B\\x7F\"  [boolean] = False\n"}},
        {"options", options.out, {"QJA/Clear\\x1B[2J: *X Bad\\x9B\n", "QJB/B\\x7F: True *False\n"}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        for (const std::string& line : r.expected)
            EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
        for (std::size_t i = 0; i < r.out.size(); ++i) {
            const auto b = static_cast<unsigned char>(r.out[i]);
            EXPECT_TRUE((b >= 0x20 && b != 0x7F) || b == '\n') << "raw byte " << int(b) << " at " << i;
            if (b == 0xC2 && i + 1 < r.out.size()) {
                EXPECT_GE(static_cast<unsigned char>(r.out[i + 1]), 0xA0) << "C1 control at " << i;
            }
        }
    }
    // Text that is printable UTF-8 is kept as it is.
    const FullRun sample = RunToolFull({"inspect", SamplePath("kelvo-sample.ppd").string()});
    EXPECT_NE(sample.out.find("\"Paper Weight (g/m\u00b2)\""), std::string::npos);
    // JSON carries the text itself, escaped the JSON way.
    const json j = json::parse(RunToolFull({"inspect", file.PathString(), "--json"}).out, nullptr, false);
    ASSERT_FALSE(j.is_discarded());
    EXPECT_EQ(j["controls"][0]["name"], "Clear\x1b[2J");
    EXPECT_EQ(j["controls"][0]["items"][0]["name"], "Title\x1b]0;pwned\x07");
}

TEST(KelvoPdeTree, EmptyTranslationShowsTheKeyword) {
    TempFile file(MakerPPD(Block("QJA", "QJA/: PickOne", "*DefaultQJA: X\n*QJA X/: \"\"\n*QJA Y/Why: \"\"\n")));
    const FullRun tree = RunToolFull({"inspect", file.PathString()});
    EXPECT_NE(tree.out.find("  *QJA  \"QJA\"  [popup] = X\n      * X  \"X\"\n        Y  \"Why\"\n"), std::string::npos)
        << tree.out;
    EXPECT_EQ(RunToolFull({"options", file.PathString()}).out, "QJA/QJA: *X Y\n");
    const json j = json::parse(RunToolFull({"inspect", file.PathString(), "--json"}).out, nullptr, false);
    ASSERT_FALSE(j.is_discarded());
    EXPECT_EQ(j["controls"][0]["name"], "");
    EXPECT_EQ(j["controls"][0]["items"][0]["name"], "");
    EXPECT_EQ(j["controls"][0]["items"][1]["name"], "Why");
}

TEST(KelvoPdeLog, LibraryLinesOnlyWithVerbose) {
    // Reading a UTF-8 PPD makes the text converter log a line.
    TempFile file("*PPD-Adobe: \"4.3\"\n*LanguageVersion: English\n*LanguageEncoding: UTF-8\n"
                  "*%QJVPropPage QJPage1/Page: \"True\"\n");
    const FullRun quiet = RunToolFull({"inspect", file.PathString()});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.err, "");
    for (const auto& args : std::vector<std::vector<std::string>>{{"--verbose", "inspect", file.PathString()},
                                                                  {"inspect", file.PathString(), "-v"}}) {
        const FullRun loud = RunToolFull(args);
        EXPECT_EQ(loud.status, 0);
        EXPECT_TRUE(loud.err.starts_with("kelvo-pde: log: ")) << loud.err;
        EXPECT_TRUE(loud.err.ends_with("\n"));
        EXPECT_EQ(loud.out, quiet.out); // the report itself is the same
    }
}
