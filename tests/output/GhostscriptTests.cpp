// Ghostscript as the judge of applied jobs: a hand-built ticket applied with
// `kelvo-pde apply` to our test jobs must run without a PostScript error,
// with our feature code in effect and the job's duplex code gone.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "output/InjectionFile.h"
#include "output/JobTicket.h"

using namespace kelvo::output;
using kelvotest::RunShell;
using kelvotest::ShellQuote;

namespace {

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

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

/// Runs gs on `file` with `device`; standard output and error together
/// (PostScript errors are reported on standard output).
int Ghostscript(const std::string& device, const std::string& file, std::string& out, const std::string& before = "") {
    return RunShell("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=" + device + " -o - " + before + " -f " +
                        ShellQuote(file) + " 2>&1",
                    out);
}

/// Every setpagedevice request of the job, one "SPD /Key value" line per entry.
int PageDeviceRequests(const std::string& file, std::string& out) {
    return Ghostscript("nullpage", file, out,
                       "-c " + ShellQuote("userdict /setpagedevice { dup { exch (SPD ) print ==only ( ) print == } "
                                          "forall //setpagedevice } bind put"));
}

std::size_t Count(const std::string& text, std::string_view what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

} // namespace

TEST(Ghostscript, AppliedJobsRunWithTheTicketInEffect) {
    if (!HaveGhostscript())
        GTEST_SKIP() << "gs is not installed (Debian package ghostscript; scripts/install-deps.sh all)";
    std::string xml;
    ASSERT_EQ(SerializeInjectionList(kTicket, xml), 0);
    const kelvotest::TempFile ticket(xml, "Kelvo.temp");
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
        std::string original;
        ASSERT_EQ(PageDeviceRequests(kelvotest::DataPath(std::string("jobs/") + row.job).string(), original), 0)
            << original;
        EXPECT_EQ(Count(original, "SPD /Duplex true"), row.duplexBefore) << original;

        const std::string applied = (ticket.Path().parent_path() / (std::string(row.job) + ".out")).string();
        const kelvotest::FullRun run = kelvotest::RunToolFull(
            {"apply", ticket.PathString(), kelvotest::DataPath(std::string("jobs/") + row.job).string(), "-o", applied});
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
        ASSERT_EQ(Ghostscript("txtwrite", applied, out), 0) << out;
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

TEST(Ghostscript, EachPieceRunsOnItsOwn) {
    // Inside "[{ ... } stopped cleartomark" an error goes unnoticed, so each
    // piece is also run bare; a faulty piece shows that the check can fail.
    if (!HaveGhostscript())
        GTEST_SKIP() << "gs is not installed (Debian package ghostscript; scripts/install-deps.sh all)";
    const std::pair<std::string_view, bool> rows[] = {
        {kProofPiece, true},
        {kDuplexPiece, true},
        {kPageSizePiece, true},
        {kPreparsePiece, true},
        {"%%BeginFeature: *KelvoBroken True\nkelvoUndefinedOperator\n%%EndFeature\n", false},
    };
    for (const auto& [piece, runs] : rows) {
        SCOPED_TRACE(piece);
        const kelvotest::TempFile job("%!PS\n" + std::string(piece) + "showpage\n", "piece.ps");
        std::string out;
        EXPECT_EQ(Ghostscript("nullpage", job.PathString(), out) == 0, runs) << out;
        EXPECT_EQ(out.find("Error") == std::string::npos, runs) << out;
    }
}
