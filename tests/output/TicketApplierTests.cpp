// Applying a ticket to a job: where each site lands, feature removal, jobs
// without a setup section, nested documents, long lines, line ends, and
// `kelvo-pde apply` over the same.
#include <gtest/gtest.h>

#include <algorithm>
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

/// A job and what the applier makes of it, from one text: <ins>...</ins>
/// marks what the applier adds and <del>...</del> what it removes; <H>, <S>,
/// <F>, <E>, <A> are short for adding the header piece "%%H", a new
/// "%%BeginSetup", the feature piece "F" in its bracket, "%%EndSetup" and the
/// piece "A" after the setup, <N> for adding a line end.
std::pair<std::string, std::string> JobAndResult(std::string_view text) {
    static constexpr std::pair<std::string_view, std::string_view> kShort[] = {
        {"<H>", "%%H\n"},      {"<S>", "%%BeginSetup\n"}, {"<F>", "[{\nF\n} stopped cleartomark\n"},
        {"<E>", "%%EndSetup\n"}, {"<A>", "A\n"},          {"<N>", "\n"}};
    std::string job, result;
    bool inJob = true, inResult = true;
    for (std::size_t i = 0; i < text.size();) {
        const std::string_view rest = text.substr(i);
        const auto* added = std::find_if(std::begin(kShort), std::end(kShort),
                                         [&](const auto& s) { return rest.starts_with(s.first); });
        if (added != std::end(kShort)) {
            result += added->second;
            i += added->first.size();
        } else if (rest.starts_with("<ins>") || rest.starts_with("</ins>")) {
            inJob = rest[1] == '/';
            i += inJob ? 6 : 5;
        } else if (rest.starts_with("<del>") || rest.starts_with("</del>")) {
            inResult = rest[1] == '/';
            i += inResult ? 6 : 5;
        } else {
            const std::size_t next = std::min(text.find('<', i + 1), text.size());
            if (inJob)
                job += text.substr(i, next - i);
            if (inResult)
                result += text.substr(i, next - i);
            i = next;
        }
    }
    return {job, result};
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

/// What pstops writes, in small, and what the applier makes of it with kEverySite.
const auto [kPstopsJob, kPstopsJobApplied] = JobAndResult(R"(%!PS-Adobe-3.0
%%Title: t
%%Pages: 1
<ins>%%MacCoreNUp: true
%%QJVCustom1: Room 4
%%QJVDriver
</ins>%%EndComments
%%BeginProlog
prolog
%%EndProlog
%%BeginSetup
<del>[{
%%BeginFeature: *Duplex DuplexNoTumble
<</Duplex true>> setpagedevice
%%EndFeature
} stopped cleartomark
</del>[{
%%BeginFeature: *InputSlot Tray2
tray
%%EndFeature
} stopped cleartomark
<del>%%BeginFeature: *Duplex None
bare duplex
%%EndFeature
</del>document setup
<ins>[{
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
</ins>%%EndSetup
<ins>%%EndKelvoPreparse1: True
/ZTXPPDInsertionComplete where { pop ZTXPPDInsertionComplete } if
</ins>%%Page: 1 1
page
showpage
%%Trailer
%%EOF
)");

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
    EXPECT_TRUE(std::any_of(a.log.begin(), a.log.end(),
                            [](const std::string& line) { return line.find("unknown site 12") != std::string::npos; }));
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
        {501, Bytes("%%H\n")}, {81, Bytes("F\n")}, {71, Bytes("A\n")}, {-9, Bytes("*Duplex")}};
    const std::pair<const char*, std::string_view> rows[] = {
        {"header ended by the prolog",
         "%!PS-Adobe-3.0\n%%Title: x\n<H>%%BeginProlog\n%%EndProlog\n%%BeginSetup\n<F>%%EndSetup\n<A>%%Page: 1 1\n"},
        {"header ended by code", "%!PS-Adobe-3.0\n%%Title: x\n<H>\n/a 1 def\n<S><F><E><A>%%Page: 1 1\n"},
        {"no setup: one after the prolog",
         "%!PS-Adobe-3.0\n<H>%%EndComments\n%%BeginProlog\np\n%%EndProlog\n\n<S><F><E><A>code\n"},
        {"no setup, no prolog: one before the first page",
         "%!PS-Adobe-3.0\n<H>%%EndComments\n/p 1 def\n<S><F><E><A>%%Page: 1 1\nx\n"},
        {"no setup, no pages: one at the end", "%!PS-Adobe-3.0\n<H>%%EndComments\nshowpage<N><S><F><E><A>"},
        {"only a header, no last line end", "%!PS-Adobe-3.0\n%%Title: x<N><H><S><F><E><A>"},
        {"setup not closed before the pages",
         "%!PS-Adobe-3.0\n<H>%%EndComments\n%%BeginSetup\ns\n<F><E><A>%%Page: 1 1\n"},
        {"setup not closed at the end", "%!PS-Adobe-3.0\n<H>%%EndComments\n%%BeginSetup\ns\n<F><E><A>"},
        {"no structure: everything after the first line", "%!\n<H><S><F><E><A>%%BeginSetup\n%%EndSetup\nshowpage\n"},
        {"nested documents are not looked into",
         "%!PS-Adobe-3.0\n<H>%%EndComments\n%%BeginProlog\n%%BeginDocument: e.eps\n%!PS-Adobe-3.0 EPSF-3.0\n"
         "%%EndComments\n%%BeginSetup\n[{\n%%BeginFeature: *Duplex True\nd\n%%EndFeature\n} stopped cleartomark\n"
         "%%BeginDocument: inner\n%%EndDocument\n%%EndSetup\n%%Page: 1 1\n%%EndDocument\n%%EndProlog\n%%BeginSetup\n"
         "<del>%%BeginFeature: *Duplex True\nd\n%%EndFeature\n</del><F>%%EndSetup\n<A>"},
        {"data sections are not looked into",
         "%!PS-Adobe-3.0\n<H>%%EndComments\n%%BeginSetup\n%%BeginData: 2 ASCII Lines\n%%EndSetup\n"
         "%%BeginFeature: *Duplex X\n%%EndData\n%%BeginBinary: 24\n%%EndSetup\n[{\n%%Page: 1\n%%EndBinary\n"
         "%%BeginData: 11 Binary\n\r%%EndSetup\r%%EndData\n<F>%%EndSetup\n<A>"},
    };
    for (const auto& [name, text] : rows) {
        SCOPED_TRACE(name);
        const auto [job, expected] = JobAndResult(text);
        const Applied a = Apply(ticket, job);
        ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
        EXPECT_EQ(a.out, expected);
        EXPECT_EQ(a.result.setupCreated, text.find("<S>") != std::string_view::npos);
        EXPECT_EQ(a.result.piecesPlaced, 3u);
    }
}

TEST(TicketApplier, RemovesOnlyTheSuppressedKeywordsFeatureCode) {
    struct Row {
        const char* name;
        const char* suppress; ///< the -9 piece
        std::string_view setup;
        std::size_t removed;
    };
    const Row rows[] = {
        {"wrapped", "*Duplex",
         "<del>[{\n%%BeginFeature: *Duplex DuplexTumble\nd\n%%EndFeature\n} stopped cleartomark\n</del>", 1},
        {"bare", "*Duplex", "<del>%%BeginFeature: *Duplex DuplexTumble\nd\n%%EndFeature\n</del>", 1},
        {"blanks around the words", "*Duplex",
         "<del> [{ \n%%BeginFeature:\t*Duplex\n d\n%%EndFeature\n  }  stopped\tcleartomark \n</del>", 1},
        {"keyword without its asterisk, with a line end", "Duplex\n",
         "<del>%%BeginFeature: *Duplex X\nd\n%%EndFeature\n</del>", 1},
        {"include request", "*Duplex",
         "<del>%%IncludeFeature: *Duplex DuplexTumble\n</del>%%IncludeFeature: *InputSlot Upper\n", 1},
        {"other keywords stay", "*Duplex",
         "[{\n%%BeginFeature: *DuplexFold X\nf\n%%EndFeature\n} stopped cleartomark\n%%BeginFeature: *duplex X\n"
         "d\n%%EndFeature\n%%BeginFeature: *Duplexer On\n%%EndFeature\n",
         0},
        {"closer not right after: the bracket stays around the rest", "*Duplex",
         "[{\n<del>%%BeginFeature: *Duplex X\nd\n%%EndFeature\n</del>more\n} stopped cleartomark\n", 1},
        {"no end comment before the end of setup: kept whole", "*Duplex",
         "[{\n%%BeginFeature: *Duplex X\nd\n} stopped cleartomark\n", 0},
        {"a second block starts before the end: the first is kept", "*Duplex",
         "%%BeginFeature: *Duplex X\nd\n<del>%%BeginFeature: *Duplex Y\ne\n%%EndFeature\n</del>", 1},
        {"bracket before another feature", "*Duplex",
         "[{\n<del>[{\n%%BeginFeature: *Duplex X\n%%EndFeature\n} stopped cleartomark\n</del>} stopped cleartomark\n",
         1},
        {"nothing suppressed", "", "[{\n%%BeginFeature: *Duplex X\n%%EndFeature\n} stopped cleartomark\n", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<InjectionPiece> ticket;
        if (*row.suppress)
            ticket.push_back({-9, Bytes(row.suppress)});
        const auto [job, expected] =
            JobAndResult("%!PS-Adobe-3.0\n%%EndComments\n%%BeginSetup\n" + std::string(row.setup) + "%%EndSetup\n");
        const Applied a = Apply(ticket, job);
        ASSERT_EQ(a.result.status, ApplyStatus::kApplied);
        EXPECT_EQ(a.out, expected);
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
    const auto [job, expected] =
        JobAndResult("%!PS-Adobe-3.0\n%%Title: " + title + "\n<H>%%EndComments\n%%BeginSetup\n" + code +
                     "\n<del>%%BeginFeature: *Duplex A\n" + inside + "\n%%EndFeature\n</del>" +
                     "%%BeginFeature: *Duplex B\n" + tooLong + "\n%%EndFeature\n<F>%%EndSetup\n");
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

TEST(ApplyCommand, WritesTheJobOrNamesTheFileAndTheReason) {
    std::string xml;
    ASSERT_EQ(SerializeInjectionList(kEverySite, xml), 0);
    const kelvotest::TempFile ticketFile(xml, "Kelvo.temp"), jobFile(kPstopsJob, "job.ps");
    const kelvotest::TempFile pdf("%PDF-1.4\n", "doc.pdf"), badTicket("<plist><dict/></plist>", "bad.plist");
    const std::string ticket = ticketFile.PathString(), job = jobFile.PathString();
    const std::string out = (jobFile.Path().parent_path() / "out.ps").string();
    const std::string missing = (jobFile.Path().parent_path() / "missing.ps").string();
    struct Row {
        std::vector<std::string> args;
        std::string input; ///< file given as standard input
        int status;
        std::string out;                  ///< standard output, exactly
        std::vector<std::string> said;    ///< in standard error
    };
    const std::vector<Row> rows = {
        {{ticket, job, "-o", out}, "", 0, "", {}},
        {{ticket}, job, 0, kPstopsJobApplied, {}}, // standard input to standard output
        {{ticket, "-"}, job, 0, kPstopsJobApplied, {}},
        {{"-v", ticket, job, "-o", out}, "", 0, "", {"unknown site 12", "/home/ann/box.ps"}},
        {{missing, job}, "", 2, "", {missing + ": No such file or directory"}},
        {{badTicket.PathString(), job}, "", 2, "", {badTicket.PathString() + ": the root element is not an array"}},
        {{ticket, missing}, "", 2, "", {missing + ": No such file or directory"}},
        {{ticket, pdf.PathString(), "-o", out}, "", 2, "",
         {pdf.PathString() + ": not a PostScript job (it does not start with %!)"}},
        {{ticket, job, "-o", "/nonexistent-dir/out.ps"}, "", 2, "", {"/nonexistent-dir/out.ps: "}},
        {{}, "", 1, "", {"TICKET is required"}},
    };
    for (const Row& row : rows) {
        std::vector<std::string> args = {"apply"};
        args.insert(args.end(), row.args.begin(), row.args.end());
        SCOPED_TRACE(args.back());
        std::filesystem::remove(out);
        const kelvotest::FullRun run = kelvotest::RunToolFull(args, row.input);
        EXPECT_EQ(run.status, row.status) << run.err;
        EXPECT_EQ(run.out, row.out);
        for (const std::string& text : row.said)
            EXPECT_NE(run.err.find(text), std::string::npos) << text << "\n" << run.err;
        // A file written holds the whole job; a failed run leaves none behind.
        if (std::find(args.begin(), args.end(), out) != args.end()) {
            EXPECT_EQ(std::filesystem::exists(out) ? kelvotest::ReadFile(out) : "(none)",
                      row.status == 0 ? kPstopsJobApplied : "(none)");
        }
    }
}
