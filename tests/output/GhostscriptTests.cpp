// Ghostscript as the judge: tickets applied to our test jobs with `kelvo-pde
// apply`, one built by hand and ones `kelvo-pde job` writes, and what a
// PostScript interpreter makes of the result.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "PPDX/ParseHelpers.h"
#include "TestSupport.h"
#include "output/InjectionFile.h"
#include "output/JobTicket.h"

using namespace kelvo::output;
using kelvotest::FullRun;
using kelvotest::RunShell;
using kelvotest::RunToolFull;
using kelvotest::ShellQuote;
using kelvotest::TempFile;

namespace {

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

// Page size, the printer's duplex keyword (so that the job's own duplex
// code is suppressed), a scale, operator notes and user authentication.
const std::string kProofPPD = std::string(kelvotest::kHeader) + R"(*%QJVersion: "3.0"
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

/// Draws a line of text at the foot of every page, through the page's own
/// showpage: visible in the text the pages carry.
constexpr std::string_view kProofPiece = R"(%%BeginFeature: *KelvoProof True
userdict /KelvoProofShowpage known not {
  userdict /KelvoProofShowpage /showpage load put
  userdict /showpage {
    gsave /Helvetica findfont 10 scalefont setfont 72 36 moveto (KELVO PROOF 81) show grestore
    KelvoProofShowpage
  } bind put
} if
%%EndFeature
)";
constexpr std::string_view kDuplexPiece = "%%BeginFeature: *Duplex None\n<</Duplex false>> setpagedevice\n"
                                          "%%EndFeature\n";
constexpr std::string_view kPageSizePiece = "%%BeginFeature: *PageSize A4\n<</PageSize [595 842]>> setpagedevice\n"
                                            "%%EndFeature\n";
constexpr std::string_view kPreparsePiece =
    "%%EndKelvoPreparse1: True\n/ZTXPPDInsertionComplete where { pop ZTXPPDInsertionComplete } if\n";

const std::vector<InjectionPiece> kTicket = {
    {kInjectSuppressFeature, Bytes("*Duplex")},
    {kInjectFeatureCode, Bytes(kProofPiece)},
    {kInjectFeatureCode, Bytes(kDuplexPiece)},
    {kInjectLayoutComment, Bytes("%%Orientation: Portrait\n")},
    {kInjectJobNoteData, Bytes("%%QJVCustom1: Room 4\n")},
    {kInjectBeforeEndSetup, Bytes(kPageSizePiece)},
    {kInjectHeaderComment, Bytes("%%QJVDriver\n")},
    {kInjectAfterEndSetup, Bytes(kPreparsePiece)},
};

bool HaveGhostscript() {
    std::string out;
    return RunShell("command -v gs", out) == 0;
}

/// gs over `file` on `device`, its output to `output`; the exit status, and
/// all gs says in `said` (PostScript errors are reported on standard output).
int Ghostscript(const std::string& device, const std::string& output, const std::string& file, std::string& said,
                const std::string& before = "") {
    return RunShell("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=" + device + " -sstdout=%stderr -o " +
                        ShellQuote(output) + " " + before + " -f " + ShellQuote(file) + " 2>&1",
                    said);
}

/// Every setpagedevice request of the job, one "SPD /Key value" line per entry.
int PageDeviceRequests(const std::string& file, std::string& said) {
    return Ghostscript("nullpage", "/dev/null", file, said,
                       "-c " + ShellQuote("userdict /setpagedevice { dup { exch (SPD ) print ==only ( ) print == } "
                                          "forall //setpagedevice } bind put"));
}

std::size_t Count(const std::string& text, std::string_view what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

std::string RandomHex() {
    std::random_device device;
    std::string hex;
    for (int i = 0; i < 64; ++i)
        hex += "0123456789ABCDEF"[device() & 0xF];
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

    /// Each page's text, by txtwrite.
    std::vector<std::string> PageTexts(const std::string& file) const {
        std::string said;
        EXPECT_EQ(Ghostscript("txtwrite", (folder / "page%d.txt").string(), file, said), 0) << said;
        std::vector<std::string> pages;
        for (int n = 1; std::filesystem::exists(folder / ("page" + std::to_string(n) + ".txt")); ++n) {
            const std::filesystem::path page = folder / ("page" + std::to_string(n) + ".txt");
            pages.push_back(kelvotest::ReadFile(page));
            std::filesystem::remove(page);
        }
        return pages;
    }

    /// Each page's C, M, Y, K coverage, by inkcov.
    static std::vector<std::array<double, 4>> Coverage(const std::string& file) {
        std::string said;
        EXPECT_EQ(Ghostscript("inkcov", "-", file, said), 0) << said;
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

} // namespace

TEST(Ghostscript, AppliedJobsRunWithTheTicketInEffect) {
    if (!HaveGhostscript())
        GTEST_SKIP() << "gs is not installed (Debian package ghostscript; scripts/install-deps.sh all)";
    std::string xml;
    ASSERT_EQ(SerializeInjectionList(kTicket, xml), 0);
    const TempFile ticket(xml, "Kelvo.temp");
    const std::string kProof = "KELVO PROOF 81";
    struct Row {
        const char* job;
        std::vector<std::string> texts; ///< the pages' text in order; the proof line at the foot of each
        std::size_t duplexBefore;       ///< "/Duplex true" requests of the job as it is
        std::size_t duplexAfter;        ///< ... and after: only the embedded document's
        std::vector<std::string> kept;  ///< other requests of the job that must still be made
    };
    const Row rows[] = {
        {"three-pages.ps",
         {"Page one of three", kProof, "Page two of three", "Embedded text", kProof, "Page three of three", kProof},
         3,
         1,
         {"SPD /Tumble true", "SPD /HWResolution [600 600]"}},
        {"crlf.ps", {"CRLF page one", kProof, "CRLF page two", kProof}, 1, 0, {}},
        {"no-setup.ps", {"First page without setup", kProof, "Second page without setup", kProof}, 0, 0, {}},
        {"plain.ps", {"Plain program", kProof}, 0, 0, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.job);
        const std::string job = kelvotest::DataPath(std::string("jobs/") + row.job).string();
        std::string original;
        ASSERT_EQ(PageDeviceRequests(job, original), 0) << original;
        EXPECT_EQ(Count(original, "SPD /Duplex true"), row.duplexBefore) << original;

        const std::string applied = (ticket.Path().parent_path() / (std::string(row.job) + ".out")).string();
        const FullRun run = RunToolFull({"apply", ticket.PathString(), job, "-o", applied});
        ASSERT_EQ(run.status, 0) << run.err;
        std::string out;
        ASSERT_EQ(PageDeviceRequests(applied, out), 0) << out;
        EXPECT_EQ(out.find("Error"), std::string::npos) << out;
        // The job's duplex requests are gone, ours is made once.
        EXPECT_EQ(Count(out, "SPD /Duplex true"), row.duplexAfter) << out;
        EXPECT_EQ(Count(out, "SPD /Duplex false"), 1u) << out;
        EXPECT_EQ(Count(out, "SPD /PageSize [595 842]"), 1u) << out;
        for (const std::string& request : row.kept)
            EXPECT_EQ(Count(out, request), 1u) << request << "\n" << out;

        // The proof line stands at the foot of every page.
        ASSERT_EQ(Ghostscript("txtwrite", "-", applied, out), 0) << out;
        EXPECT_EQ(Count(out, kProof), static_cast<std::size_t>(std::count(row.texts.begin(), row.texts.end(), kProof)))
            << out;
        std::size_t at = 0;
        for (const std::string& text : row.texts) {
            at = out.find(text, at);
            ASSERT_NE(at, std::string::npos) << text << " missing or out of order in\n" << out;
            at += text.size();
        }
    }
}

TEST(JobProof, EveryPieceRunsCleanOnItsOwnAndInTheJob) {
    if (!HaveGhostscript())
        GTEST_SKIP() << "Ghostscript is not installed (Debian package ghostscript)";
    for (const char* orientation : {"1", "2"}) {
        Proof proof;
        const std::string job =
            proof.Print({"--orientation", orientation, "--set", "Duplex=DuplexTumble", "--set", "QJScale=150", "--note",
                         "Notes1=Rush", "--note", "QJUserAuthName=ann", "--note", "QJUserAuthPwd=pa55word",
                         "--watermark", "0,0,0,255,0,0,x,1,x,450,x,x,48,Helvetica,DRAFT"},
                        "all");
        std::string said;
        EXPECT_EQ(Ghostscript("nullpage", "/dev/null", job, said), 0) << said;
        EXPECT_EQ(said.find("Error"), std::string::npos) << said;

        // In the job most pieces sit inside "stopped", which hides their
        // errors: run each PostScript piece alone as well. A faulty piece
        // last shows that the check can fail.
        InjectionReadResult ticket = ReadInjectionFile(proof.ticket);
        ASSERT_TRUE(ticket.ok()) << ticket.status.Text();
        ticket.pieces.push_back(
            {kInjectFeatureCode, Bytes("%%BeginFeature: *KelvoBroken True\nkelvoUndefined\n%%EndFeature\n")});
        int checked = 0;
        for (const InjectionPiece& piece : ticket.pieces) {
            if ((piece.site != kInjectFeatureCode && piece.site != kInjectBeforeEndSetup &&
                 piece.site != kInjectAfterEndSetup) ||
                piece.bytes.empty())
                continue;
            const std::string code(piece.bytes.begin(), piece.bytes.end());
            const bool runs = &piece != &ticket.pieces.back();
            TempFile alone("%!PS\n" + code + "\nshowpage\n", "piece.ps");
            EXPECT_EQ(Ghostscript("nullpage", "/dev/null", alone.PathString(), said) == 0, runs) << code << said;
            EXPECT_EQ(said.find("Error") == std::string::npos, runs) << code << said;
            ++checked;
        }
        EXPECT_GE(checked, 7); // page size, duplex, source, watermark, scale, print end..., the faulty one

        // The notes reach the header; the password only packed with the
        // name, under the key file's master key.
        const std::string text = kelvotest::ReadFile(job);
        const std::string header = text.substr(0, text.find("%%EndComments"));
        EXPECT_NE(header.find("\n%%QJVCustom1: Rush\n"), std::string::npos) << header;
        EXPECT_EQ(text.find("pa55word"), std::string::npos);
        const std::size_t tag = header.find("\n%%QJVUATag: ");
        ASSERT_NE(tag, std::string::npos) << header;
        const std::string packed = header.substr(tag + 13, header.find('\n', tag + 13) - tag - 13);
        const FullRun unpacked = RunToolFull({"auth", "unpack", packed, "--key-file", proof.keys, "--json"});
        ASSERT_EQ(unpacked.status, 0) << unpacked.err;
        for (const char* field : {"\"name\": \"ann\"", "\"password\": \"pa55word\""})
            EXPECT_NE(unpacked.out.find(field), std::string::npos) << unpacked.out;
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
