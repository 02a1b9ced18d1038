// Ghostscript as the judge: `kelvo-pde job` then `kelvo-pde apply` on a
// small multi-page job, and what a PostScript interpreter makes of it.
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "TestSupport.h"
#include "output/InjectionFile.h"

using kelvotest::FullRun;
using kelvotest::RunToolFull;
using kelvotest::TempFile;

namespace {

// Page size, the printer's duplex keyword (so that the job's own duplex
// code is suppressed), a scale, operator notes and user authentication.
constexpr const char* kProofPPD = R"(*PPD-Adobe: "4.3"
*FormatVersion: "4.3"
*FileVersion: "1.0"
*LanguageVersion: English
*LanguageEncoding: ISOLatin1
*PCFileName: "KPROOF.PPD"
*ModelName: "Kelvo Proof"
*%QJVersion: "3.0"
*%QJVPropPage QJPage/Page: "True"
*%QJVGroupName QJGroup/Options: "True"
*%QJVFlags *PageSize: ""
*%QJVGroup *PageSize: QJGroup
*OpenUI *PageSize/Paper Size: PickOne
*DefaultPageSize: Letter
*PageSize Letter/Letter: "<</PageSize [612 792]>> setpagedevice"
*PageSize A4/A4: "<</PageSize [595 842]>> setpagedevice"
*CloseUI: *PageSize
*%QJVFlags *Duplex: ""
*%QJVGroup *Duplex: QJGroup
*OpenUI *Duplex/Two-Sided: PickOne
*DefaultDuplex: None
*Duplex None/Off: "<</Duplex false /Tumble false>> setpagedevice"
*Duplex DuplexNoTumble/Long Edge: "<</Duplex true /Tumble false>> setpagedevice"
*Duplex DuplexTumble/Short Edge: "<</Duplex true /Tumble true>> setpagedevice"
*CloseUI: *Duplex
*%QJVFlags *QJScale: ""
*%QJVGroup *QJScale: QJGroup
*%QJVRange *QJScale/Scale: (25;400;1;100) "userdict /QJScaleSeen <*QJScale> put"
*%QJVJobNote *Notes1/Notes 1: 64
*% Operator notes.
*%QJVJobNote *QJUserAuthName/User: 64
*% The user's account.
*%QJVJobNote *QJUserAuthPwd/Password: 64|Password
*% The account's password.
*%QJVSpecialOption *CopierUserAuth: True
)";

bool HaveGhostscript() {
    std::string out;
    return kelvotest::RunShell("command -v gs", out) == 0;
}

std::string RandomHex() {
    std::random_device device;
    std::string hex;
    for (int i = 0; i < 32; ++i) {
        char byte[3];
        std::snprintf(byte, sizeof byte, "%02X", static_cast<unsigned>(device() & 0xFF));
        hex += byte;
    }
    return hex;
}

/// A folder with the proof PPD and a key file of fresh test keys.
struct Proof {
    Proof() : ppd(kProofPPD, "proof.ppd"), folder(ppd.Path().parent_path()) {
        const std::filesystem::path keyPath = folder / "keys";
        std::FILE* f = std::fopen(keyPath.c_str(), "w");
        std::fprintf(f, "master %s\nnote2 %s\n", RandomHex().c_str(), RandomHex().c_str());
        std::fclose(f);
        std::filesystem::permissions(keyPath, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        keys = keyPath.string();
    }

    /// Runs `kelvo-pde job` with `args`, applies the ticket to the test job,
    /// and returns the job written; fails the test on the way if a step does.
    std::string Print(const std::vector<std::string>& args, const std::string& name) {
        ticket = (folder / (name + ".plist")).string();
        std::vector<std::string> job = {"job", ppd.PathString(), "-o", ticket, "--key-file", keys};
        job.insert(job.end(), args.begin(), args.end());
        const FullRun made = RunToolFull(job);
        EXPECT_EQ(made.status, 0) << made.err;
        const std::string out = (folder / (name + ".ps")).string();
        const FullRun applied =
            RunToolFull({"apply", ticket, kelvotest::DataPath("jobs/three-pages.ps").string(), "-o", out});
        EXPECT_EQ(applied.status, 0) << applied.err;
        return out;
    }

    /// gs over `file` on `device` with `output`; the exit status, and all gs
    /// says in `said` (its error messages included).
    int Ghostscript(const std::string& file, const std::string& device, const std::string& output,
                    std::string& said) const {
        return kelvotest::RunShell("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=" + device + " -sstdout=%stderr -o " +
                                       kelvotest::ShellQuote(output) + " " + kelvotest::ShellQuote(file) + " 2>&1",
                                   said);
    }

    /// Each page's text, by txtwrite.
    std::vector<std::string> PageTexts(const std::string& file) const {
        std::string said;
        const std::string pattern = (folder / "page%d.txt").string();
        EXPECT_EQ(Ghostscript(file, "txtwrite", pattern, said), 0) << said;
        std::vector<std::string> pages;
        for (int n = 1; std::filesystem::exists(folder / ("page" + std::to_string(n) + ".txt")); ++n) {
            const std::filesystem::path page = folder / ("page" + std::to_string(n) + ".txt");
            pages.push_back(kelvotest::ReadFile(page));
            std::filesystem::remove(page);
        }
        return pages;
    }

    /// Each page's C, M, Y, K coverage, by inkcov.
    std::vector<std::array<double, 4>> Coverage(const std::string& file) const {
        std::string said;
        EXPECT_EQ(Ghostscript(file, "inkcov", "-", said), 0) << said;
        std::vector<std::array<double, 4>> pages;
        std::istringstream lines(said);
        for (std::string line; std::getline(lines, line);) {
            std::array<double, 4> c{};
            if (std::sscanf(line.c_str(), "%lf %lf %lf %lf", &c[0], &c[1], &c[2], &c[3]) == 4)
                pages.push_back(c);
        }
        return pages;
    }

    TempFile ppd;
    std::filesystem::path folder;
    std::string keys;
    std::string ticket;
};

const std::vector<std::string> kEverything = {
    "--set",  "Duplex=DuplexTumble", "--set",  "QJScale=150",         "--note",
    "Notes1=Rush",                   "--note", "QJUserAuthName=ann",  "--note",
    "QJUserAuthPwd=pa55word",        "--watermark", "0,0,0,255,0,0,x,1,x,450,x,x,48,Helvetica,DRAFT"};

} // namespace

TEST(JobProof, EveryPieceRunsCleanOnItsOwnAndInTheJob) {
    if (!HaveGhostscript())
        GTEST_SKIP() << "Ghostscript is not installed (Debian package ghostscript)";
    for (const char* orientation : {"1", "2"}) {
        Proof proof;
        std::vector<std::string> args = kEverything;
        args.insert(args.end(), {"--orientation", orientation});
        const std::string job = proof.Print(args, "all");
        std::string said;
        EXPECT_EQ(proof.Ghostscript(job, "nullpage", "/dev/null", said), 0) << said;
        EXPECT_EQ(said.find("Error"), std::string::npos) << said;

        // In the job most pieces sit inside "stopped", which hides their
        // errors: run each PostScript piece alone as well.
        const kelvo::output::InjectionReadResult ticket = kelvo::output::ReadInjectionFile(proof.ticket);
        ASSERT_TRUE(ticket.ok()) << ticket.status.Text();
        int checked = 0;
        for (const kelvo::output::InjectionPiece& piece : ticket.pieces) {
            if (piece.site != kelvo::output::kInjectFeatureCode && piece.site != kelvo::output::kInjectBeforeEndSetup &&
                piece.site != kelvo::output::kInjectAfterEndSetup)
                continue;
            if (piece.bytes.empty())
                continue;
            const std::string code(piece.bytes.begin(), piece.bytes.end());
            TempFile alone("%!PS\n" + code + "\nshowpage\n", "piece.ps");
            EXPECT_EQ(proof.Ghostscript(alone.PathString(), "nullpage", "/dev/null", said), 0) << code << said;
            EXPECT_EQ(said.find("Error"), std::string::npos) << code << said;
            ++checked;
        }
        EXPECT_GE(checked, 6); // page size, duplex, source, watermark, scale, print end...
        const std::string text = kelvotest::ReadFile(job);
        EXPECT_NE(text.find("[ 1.50 ]"), std::string::npos);
    }
}

TEST(JobProof, WatermarkOnTheRightPagesInItsColour) {
    if (!HaveGhostscript())
        GTEST_SKIP() << "Ghostscript is not installed (Debian package ghostscript)";
    struct Row {
        const char* orientation;
        const char* firstPage; // field 8 of the definition
        std::vector<bool> marked;
    } rows[] = {
        {"1", "1", {true, false, false}},
        {"1", "0", {true, true, true}},
        {"2", "0", {true, true, true}},
        {"4", "1", {true, false, false}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string("orientation ") + row.orientation + ", first page only " + row.firstPage);
        Proof proof;
        const std::string job = proof.Print(
            {"--orientation", row.orientation, "--watermark",
             std::string("0,0,0,255,0,0,x,") + row.firstPage + ",x,300,x,x,48,Helvetica,SECRET"},
            "mark");
        const std::vector<std::string> pages = proof.PageTexts(job);
        const std::vector<std::array<double, 4>> ink = proof.Coverage(job);
        ASSERT_EQ(pages.size(), 3u);
        ASSERT_EQ(ink.size(), 3u);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(pages[i].find("SECRET") != std::string::npos, row.marked[i]) << "page " << i + 1 << pages[i];
            // Red is magenta and yellow; the job's own text is black.
            EXPECT_EQ(ink[i][1] > 0.0005 && ink[i][2] > 0.0005, row.marked[i]) << "page " << i + 1;
            EXPECT_LT(ink[i][0], 0.0005) << "page " << i + 1;
        }
    }
}
