// Applying a ticket to a job: where each site lands, feature removal, jobs
// without a setup section, nested documents, long lines, line ends, and
// `kelvo-pde apply` over the same.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "output/InjectionFile.h"
#include "output/TicketApplier.h"
#include "util/Log.h"

using namespace kelvo::output;

namespace {

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

struct Applied {
    std::string out;
    ApplyResult result;
    std::vector<std::string> log;
};

Applied Apply(const std::vector<InjectionPiece>& pieces, std::string_view job,
              std::size_t bufferBytes = kDefaultApplyBufferBytes) {
    Applied applied;
    const kelvo::LogSink old =
        kelvo::SetLogSink([&applied](std::string_view line) { applied.log.emplace_back(line); });
    std::istringstream in{std::string(job)};
    std::ostringstream out;
    applied.result = ApplyTicket(pieces, in, out, {bufferBytes});
    applied.out = out.str();
    kelvo::SetLogSink(old);
    return applied;
}

/// `text` with every LF made CR LF (or another line end).
std::string WithLineEnds(std::string_view text, std::string_view eol) {
    std::string s;
    for (char c : text)
        s += c == '\n' ? std::string(eol) : std::string(1, c);
    return s;
}

/// A ticket with a piece at every site, one the applier does not know, and a
/// suppression of "*Duplex".
const std::vector<InjectionPiece> kEverySite = {
    {-9, Bytes("*Duplex")},
    {81, Bytes("%%BeginFeature: *QJStaple One\nstaple\n%%EndFeature\n")},
    {504, Bytes("%%MacCoreNUp: true\n")},
    {30, Bytes("%%QJVCustom1: Room 4\n")},
    {70, Bytes("%%BeginFeature: *PageSize A4\na4\n%%EndFeature\n")},
    {12, Bytes("% never written\n")},
    {81, Bytes("%%BeginFeature: *QJOrientation False\n%%EndFeature")}, // no final line end
    {900, Bytes("/home/ann/box.ps")},
    {501, Bytes("%%QJVDriver\n")},
    {71, Bytes("%%EndKelvoPreparse1: True\n/ZTXPPDInsertionComplete where { pop ZTXPPDInsertionComplete } if\n")},
};

/// What pstops writes, in small.
constexpr std::string_view kPstopsJob = R"(%!PS-Adobe-3.0
%%Title: t
%%Pages: 1
%%EndComments
%%BeginProlog
prolog
%%EndProlog
%%BeginSetup
[{
%%BeginFeature: *Duplex DuplexNoTumble
<</Duplex true>> setpagedevice
%%EndFeature
} stopped cleartomark
[{
%%BeginFeature: *InputSlot Tray2
tray
%%EndFeature
} stopped cleartomark
%%BeginFeature: *Duplex None
bare duplex
%%EndFeature
document setup
%%EndSetup
%%Page: 1 1
page
showpage
%%Trailer
%%EOF
)";

constexpr std::string_view kPstopsJobApplied = R"(%!PS-Adobe-3.0
%%Title: t
%%Pages: 1
%%MacCoreNUp: true
%%QJVCustom1: Room 4
%%QJVDriver
%%EndComments
%%BeginProlog
prolog
%%EndProlog
%%BeginSetup
[{
%%BeginFeature: *InputSlot Tray2
tray
%%EndFeature
} stopped cleartomark
document setup
[{
%%BeginFeature: *QJStaple One
staple
%%EndFeature
} stopped cleartomark
[{
%%BeginFeature: *QJOrientation False
%%EndFeature
} stopped cleartomark
[{
%%BeginFeature: *PageSize A4
a4
%%EndFeature
} stopped cleartomark
%%EndSetup
%%EndKelvoPreparse1: True
/ZTXPPDInsertionComplete where { pop ZTXPPDInsertionComplete } if
%%Page: 1 1
page
showpage
%%Trailer
%%EOF
)";

} // namespace

TEST(TicketApplier, PutsEverySiteWhereTheTableSays) {
    const Applied a = Apply(kEverySite, kPstopsJob);
    ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
    EXPECT_EQ(a.out, kPstopsJobApplied);
    EXPECT_TRUE(a.result.structured);
    EXPECT_FALSE(a.result.setupCreated);
    EXPECT_EQ(a.result.piecesPlaced, 7u);
    EXPECT_EQ(a.result.piecesSkipped, 1u);
    EXPECT_EQ(a.result.featuresRemoved, 2u);
    EXPECT_EQ(a.result.mailboxPaths, std::vector<std::string>{"/home/ann/box.ps"});
    EXPECT_EQ(a.result.bytesRead, kPstopsJob.size());
    EXPECT_EQ(a.result.bytesWritten, a.out.size());
    // The unknown site is named in the log.
    bool named = false;
    for (const std::string& line : a.log)
        named = named || line.find("unknown site 12") != std::string::npos;
    EXPECT_TRUE(named);
}

TEST(TicketApplier, KeepsTheJobsLineEnds) {
    // Pieces stay as they are; what the applier adds ("[{", the closer, a
    // line end after a piece without one) takes the job's line end.
    for (std::string_view eol : {std::string_view("\r\n"), std::string_view("\r")}) {
        SCOPED_TRACE(eol == "\r" ? "CR" : "CR LF");
        const Applied a = Apply(kEverySite, WithLineEnds(kPstopsJob, eol));
        ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
        std::string expected = WithLineEnds(kPstopsJobApplied, eol);
        // The pieces' own LFs come through unchanged.
        for (const InjectionPiece& piece : kEverySite) {
            const std::string text(piece.bytes.begin(), piece.bytes.end());
            if (piece.site != kInjectSuppressFeature && piece.site != kInjectMailboxPath && piece.site != 12) {
                const std::string converted = WithLineEnds(text, eol);
                const std::size_t at = expected.find(converted);
                ASSERT_NE(at, std::string::npos) << text;
                expected.replace(at, converted.size(), text);
            }
        }
        EXPECT_EQ(a.out, expected);
        EXPECT_EQ(a.result.featuresRemoved, 2u);
    }
}

TEST(TicketApplier, FollowsTheStructureTheJobHas) {
    const std::vector<InjectionPiece> ticket = {
        {501, Bytes("%%H\n")},
        {81, Bytes("F\n")},
        {71, Bytes("A\n")},
        {-9, Bytes("*Duplex")},
    };
    struct Row {
        const char* name;
        std::string_view job;
        std::string_view expected;
        bool setupCreated;
    };
    const Row rows[] = {
        {"header ended by the prolog", "%!PS-Adobe-3.0\n%%Title: x\n%%BeginProlog\n%%EndProlog\n%%BeginSetup\n"
                                       "%%EndSetup\n%%Page: 1 1\n",
         "%!PS-Adobe-3.0\n%%Title: x\n%%H\n%%BeginProlog\n%%EndProlog\n%%BeginSetup\n[{\nF\n} stopped cleartomark\n"
         "%%EndSetup\nA\n%%Page: 1 1\n",
         false},
        {"header ended by code", "%!PS-Adobe-3.0\n%%Title: x\n\n/a 1 def\n%%Page: 1 1\n",
         "%!PS-Adobe-3.0\n%%Title: x\n%%H\n\n/a 1 def\n%%BeginSetup\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n"
         "%%Page: 1 1\n",
         true},
        {"no setup: one after the prolog", "%!PS-Adobe-3.0\n%%EndComments\n%%BeginProlog\np\n%%EndProlog\n\ncode\n",
         "%!PS-Adobe-3.0\n%%H\n%%EndComments\n%%BeginProlog\np\n%%EndProlog\n\n%%BeginSetup\n[{\nF\n} stopped "
         "cleartomark\n%%EndSetup\nA\ncode\n",
         true},
        {"no setup, no prolog: one before the first page", "%!PS-Adobe-3.0\n%%EndComments\n/p 1 def\n%%Page: 1 1\nx\n",
         "%!PS-Adobe-3.0\n%%H\n%%EndComments\n/p 1 def\n%%BeginSetup\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n"
         "%%Page: 1 1\nx\n",
         true},
        {"no setup, no pages: one at the end", "%!PS-Adobe-3.0\n%%EndComments\nshowpage",
         "%!PS-Adobe-3.0\n%%H\n%%EndComments\nshowpage\n%%BeginSetup\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n",
         true},
        {"only a header, no last line end", "%!PS-Adobe-3.0\n%%Title: x",
         "%!PS-Adobe-3.0\n%%Title: x\n%%H\n%%BeginSetup\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n", true},
        {"setup not closed before the pages", "%!PS-Adobe-3.0\n%%EndComments\n%%BeginSetup\ns\n%%Page: 1 1\n",
         "%!PS-Adobe-3.0\n%%H\n%%EndComments\n%%BeginSetup\ns\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n"
         "%%Page: 1 1\n",
         false},
        {"setup not closed at the end", "%!PS-Adobe-3.0\n%%EndComments\n%%BeginSetup\ns\n",
         "%!PS-Adobe-3.0\n%%H\n%%EndComments\n%%BeginSetup\ns\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n",
         false},
        {"no structure: everything after the first line", "%!\n%%BeginSetup\n%%EndSetup\nshowpage\n",
         "%!\n%%H\n%%BeginSetup\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n%%BeginSetup\n%%EndSetup\nshowpage\n",
         true},
        {"nested documents are not looked into",
         "%!PS-Adobe-3.0\n%%EndComments\n%%BeginProlog\n%%BeginDocument: e.eps\n%!PS-Adobe-3.0 EPSF-3.0\n"
         "%%EndComments\n%%BeginSetup\n[{\n%%BeginFeature: *Duplex True\nd\n%%EndFeature\n} stopped cleartomark\n"
         "%%BeginDocument: inner\n%%EndDocument\n%%EndSetup\n%%Page: 1 1\n%%EndDocument\n%%EndProlog\n%%BeginSetup\n"
         "%%BeginFeature: *Duplex True\nd\n%%EndFeature\n%%EndSetup\n",
         "%!PS-Adobe-3.0\n%%H\n%%EndComments\n%%BeginProlog\n%%BeginDocument: e.eps\n%!PS-Adobe-3.0 EPSF-3.0\n"
         "%%EndComments\n%%BeginSetup\n[{\n%%BeginFeature: *Duplex True\nd\n%%EndFeature\n} stopped cleartomark\n"
         "%%BeginDocument: inner\n%%EndDocument\n%%EndSetup\n%%Page: 1 1\n%%EndDocument\n%%EndProlog\n%%BeginSetup\n"
         "[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n",
         false},
        {"data sections are not looked into",
         "%!PS-Adobe-3.0\n%%EndComments\n%%BeginSetup\n%%BeginData: 2 ASCII Lines\n%%EndSetup\n"
         "%%BeginFeature: *Duplex X\n%%EndData\n%%BeginBinary: 24\n%%EndSetup\n[{\n%%Page: 1\n%%EndBinary\n"
         "%%BeginData: 11 Binary\n\r%%EndSetup\r%%EndData\n%%EndSetup\n",
         "%!PS-Adobe-3.0\n%%H\n%%EndComments\n%%BeginSetup\n%%BeginData: 2 ASCII Lines\n%%EndSetup\n"
         "%%BeginFeature: *Duplex X\n%%EndData\n%%BeginBinary: 24\n%%EndSetup\n[{\n%%Page: 1\n%%EndBinary\n"
         "%%BeginData: 11 Binary\n\r%%EndSetup\r%%EndData\n[{\nF\n} stopped cleartomark\n%%EndSetup\nA\n",
         false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const Applied a = Apply(ticket, row.job);
        ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
        EXPECT_EQ(a.out, row.expected);
        EXPECT_EQ(a.result.setupCreated, row.setupCreated);
        EXPECT_EQ(a.result.piecesPlaced, 3u);
    }
}

TEST(TicketApplier, RemovesOnlyTheSuppressedKeywordsFeatureCode) {
    constexpr std::string_view kHead = "%!PS-Adobe-3.0\n%%EndComments\n%%BeginSetup\n";
    constexpr std::string_view kTail = "%%EndSetup\n";
    struct Row {
        const char* name;
        const char* suppress; ///< the -9 piece
        std::string_view setup;
        std::string_view expected;
        std::size_t removed;
    };
    const Row rows[] = {
        {"wrapped", "*Duplex", "[{\n%%BeginFeature: *Duplex DuplexTumble\nd\n%%EndFeature\n} stopped cleartomark\n",
         "", 1},
        {"bare", "*Duplex", "%%BeginFeature: *Duplex DuplexTumble\nd\n%%EndFeature\n", "", 1},
        {"blanks around the words", "*Duplex",
         " [{ \n%%BeginFeature:\t*Duplex\n d\n%%EndFeature\n  }  stopped\tcleartomark \n", "", 1},
        {"keyword without its asterisk, with a line end", "Duplex\n",
         "%%BeginFeature: *Duplex X\nd\n%%EndFeature\n", "", 1},
        {"include request", "*Duplex", "%%IncludeFeature: *Duplex DuplexTumble\n%%IncludeFeature: *InputSlot Upper\n",
         "%%IncludeFeature: *InputSlot Upper\n", 1},
        {"other keywords stay", "*Duplex",
         "[{\n%%BeginFeature: *DuplexFold X\nf\n%%EndFeature\n} stopped cleartomark\n%%BeginFeature: *duplex X\n"
         "d\n%%EndFeature\n%%BeginFeature: *Duplexer On\n%%EndFeature\n",
         "[{\n%%BeginFeature: *DuplexFold X\nf\n%%EndFeature\n} stopped cleartomark\n%%BeginFeature: *duplex X\n"
         "d\n%%EndFeature\n%%BeginFeature: *Duplexer On\n%%EndFeature\n",
         0},
        {"closer not right after: the bracket stays around the rest", "*Duplex",
         "[{\n%%BeginFeature: *Duplex X\nd\n%%EndFeature\nmore\n} stopped cleartomark\n",
         "[{\nmore\n} stopped cleartomark\n", 1},
        {"no end comment before the end of setup: kept whole", "*Duplex",
         "[{\n%%BeginFeature: *Duplex X\nd\n} stopped cleartomark\n",
         "[{\n%%BeginFeature: *Duplex X\nd\n} stopped cleartomark\n", 0},
        {"a second block starts before the end: the first is kept", "*Duplex",
         "%%BeginFeature: *Duplex X\nd\n%%BeginFeature: *Duplex Y\ne\n%%EndFeature\n",
         "%%BeginFeature: *Duplex X\nd\n", 1},
        {"bracket before another feature", "*Duplex", "[{\n[{\n%%BeginFeature: *Duplex X\n%%EndFeature\n} stopped "
                                                      "cleartomark\n} stopped cleartomark\n",
         "[{\n} stopped cleartomark\n", 1},
        {"nothing suppressed", "", "[{\n%%BeginFeature: *Duplex X\n%%EndFeature\n} stopped cleartomark\n",
         "[{\n%%BeginFeature: *Duplex X\n%%EndFeature\n} stopped cleartomark\n", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<InjectionPiece> ticket;
        if (*row.suppress)
            ticket.push_back({-9, Bytes(row.suppress)});
        const Applied a = Apply(ticket, std::string(kHead) + std::string(row.setup) + std::string(kTail));
        ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
        EXPECT_EQ(a.out, std::string(kHead) + std::string(row.expected) + std::string(kTail));
        EXPECT_EQ(a.result.featuresRemoved, row.removed);
    }
}

TEST(TicketApplier, WorksOnLinesLongerThanItsBuffer) {
    // A 1 MiB line of code in the setup, a 300 KiB comment in the header, a
    // 100 KiB line inside a removed block and a block too long to hold.
    const std::string code(1u << 20, 'c');
    const std::string title(300u << 10, 't');
    const std::string inside(100u << 10, 'd');
    const std::string tooLong(kMaxRemovedFeatureBytes + 1, 'x');
    const std::string job = "%!PS-Adobe-3.0\n%%Title: " + title + "\n%%EndComments\n%%BeginSetup\n" + code +
                            "\n%%BeginFeature: *Duplex A\n" + inside + "\n%%EndFeature\n%%BeginFeature: *Duplex B\n" +
                            tooLong + "\n%%EndFeature\n%%EndSetup\n";
    const std::string expected = "%!PS-Adobe-3.0\n%%Title: " + title + "\n%%H\n%%EndComments\n%%BeginSetup\n" + code +
                                 "\n%%BeginFeature: *Duplex B\n" + tooLong +
                                 "\n%%EndFeature\n[{\nF\n} stopped cleartomark\n%%EndSetup\n";
    const std::vector<InjectionPiece> ticket = {{501, Bytes("%%H\n")}, {81, Bytes("F\n")}, {-9, Bytes("*Duplex")}};
    for (std::size_t buffer : {kMinApplyBufferBytes, std::size_t{4096}, kDefaultApplyBufferBytes}) {
        SCOPED_TRACE(buffer);
        const Applied a = Apply(ticket, job, buffer);
        ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
        EXPECT_TRUE(a.out == expected) << "output of " << a.out.size() << " bytes differs";
        EXPECT_EQ(a.result.featuresRemoved, 1u);
    }
    // A last line that fills the buffer to the end of the job, without a
    // line end: what goes after it still comes.
    const std::string oneLine = "%!" + std::string(3 * kMinApplyBufferBytes, 'x');
    const Applied a = Apply(ticket, oneLine, kMinApplyBufferBytes);
    EXPECT_EQ(a.out, oneLine + "\n%%H\n%%BeginSetup\n[{\nF\n} stopped cleartomark\n%%EndSetup\n");
}

TEST(TicketApplier, PassesJobsUnchangedWithoutPieces) {
    // Without pieces nothing is added: no setup section, no "%%EndSetup"
    // for one left open, no line end after a last line without one.
    std::vector<std::pair<std::string, std::string>> jobs = {
        {"setup left open", "%!PS-Adobe-3.0\n%%BeginSetup\ns\n%%Page: 1 1\n%%BeginSetup\n"},
        {"no structure, no last line end", "%!\nshowpage"},
    };
    for (const char* name : {"three-pages.ps", "no-setup.ps", "crlf.ps", "plain.ps"})
        jobs.emplace_back(name, kelvotest::ReadFile(kelvotest::DataPath(std::string("jobs/") + name)));
    for (const auto& [name, job] : jobs) {
        SCOPED_TRACE(name);
        ASSERT_FALSE(job.empty());
        for (std::size_t buffer : {kMinApplyBufferBytes, kDefaultApplyBufferBytes}) {
            const Applied a = Apply({}, job, buffer);
            ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
            EXPECT_EQ(a.out, job);
            EXPECT_FALSE(a.result.setupCreated);
        }
    }
}

TEST(TicketApplier, RefusesWhatIsNotPostScript) {
    for (std::string_view job : {std::string_view(""), std::string_view("%PDF-1.4\n"), std::string_view("\n%!PS\n"),
                                 std::string_view("%"), std::string_view("\x04%!PS-Adobe-3.0\n")}) {
        const Applied a = Apply(kEverySite, job);
        EXPECT_EQ(a.result.status, ApplyStatus::kNotPostScript);
        EXPECT_EQ(a.out, "");
        EXPECT_EQ(a.result.piecesPlaced, 0u);
    }
}

namespace {

/// An output that takes `room` bytes and then refuses.
class FullDisk : public std::streambuf {
public:
    explicit FullDisk(std::size_t room) : mRoom(room) {}

protected:
    int_type overflow(int_type c) override {
        if (mRoom == 0 || traits_type::eq_int_type(c, traits_type::eof()))
            return traits_type::eof();
        --mRoom;
        return c;
    }

private:
    std::size_t mRoom;
};

} // namespace

TEST(TicketApplier, ReportsAnOutputThatRefusesBytes) {
    for (std::size_t room : {std::size_t{0}, std::size_t{20}, kPstopsJobApplied.size() - 1}) {
        SCOPED_TRACE(room);
        FullDisk disk(room);
        std::ostream out(&disk);
        std::istringstream in{std::string(kPstopsJob)};
        const ApplyResult result = ApplyTicket(kEverySite, in, out);
        EXPECT_EQ(result.status, ApplyStatus::kWriteFailed);
        EXPECT_LE(result.bytesWritten, room);
    }
}

// ---- kelvo-pde apply -------------------------------------------------------

namespace {

/// A ticket file as the panel writes it, and a job file, in a folder of their own.
struct ApplyFiles {
    kelvotest::TempFile ticket;
    kelvotest::TempFile job;
    std::filesystem::path Out() const { return job.Path().parent_path() / "out.ps"; }

    static std::string TicketXml() {
        std::string xml;
        EXPECT_EQ(SerializeInjectionList(kEverySite, xml), 0);
        return xml;
    }
    ApplyFiles() : ticket(TicketXml(), "Kelvo.temp"), job(kPstopsJob, "job.ps") {}
};

} // namespace

TEST(ApplyCommand, WritesTheJobToAFileOrStandardOutput) {
    const ApplyFiles files;
    kelvotest::FullRun run =
        kelvotest::RunToolFull({"apply", files.ticket.PathString(), files.job.PathString(), "-o", files.Out()});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(kelvotest::ReadFile(files.Out()), kPstopsJobApplied);

    // The job from standard input (with and without "-"), to standard output.
    for (std::vector<std::string> args : {std::vector<std::string>{"apply", files.ticket.PathString()},
                                          std::vector<std::string>{"apply", files.ticket.PathString(), "-"}}) {
        run = kelvotest::RunToolFull(args, files.job.PathString());
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, kPstopsJobApplied);
    }
    // --verbose shows what was skipped and the mailbox path.
    run = kelvotest::RunToolFull({"apply", "-v", files.ticket.PathString(), files.job.PathString()});
    EXPECT_NE(run.err.find("unknown site 12"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("/home/ann/box.ps"), std::string::npos) << run.err;
}

TEST(ApplyCommand, NamesTheFileAndTheReasonOnFailure) {
    const ApplyFiles files;
    const kelvotest::TempFile pdf("%PDF-1.4\n", "doc.pdf");
    const kelvotest::TempFile badTicket("<plist><dict/></plist>", "bad.plist");
    const std::string missing = (files.job.Path().parent_path() / "missing.ps").string();
    struct Row {
        std::vector<std::string> args;
        int status;
        std::string message;
    };
    const std::vector<Row> rows = {
        {{"apply", missing, files.job.PathString()}, 2, missing + ": No such file or directory"},
        {{"apply", badTicket.PathString(), files.job.PathString()}, 2,
         badTicket.PathString() + ": the root element is not an array"},
        {{"apply", files.ticket.PathString(), missing}, 2, missing + ": No such file or directory"},
        {{"apply", files.ticket.PathString(), pdf.PathString()}, 2,
         pdf.PathString() + ": not a PostScript job (it does not start with %!)"},
        {{"apply", files.ticket.PathString(), files.job.PathString(), "-o", "/nonexistent-dir/out.ps"}, 2,
         "/nonexistent-dir/out.ps: "},
        {{"apply"}, 1, "TICKET is required"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.args.back());
        const kelvotest::FullRun run = kelvotest::RunToolFull(row.args);
        EXPECT_EQ(run.status, row.status);
        EXPECT_NE(run.err.find(row.message), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "");
    }
    // A failed run leaves no output file behind.
    const kelvotest::FullRun run =
        kelvotest::RunToolFull({"apply", files.ticket.PathString(), pdf.PathString(), "-o", files.Out()});
    EXPECT_EQ(run.status, 2);
    EXPECT_FALSE(std::filesystem::exists(files.Out()));
}
