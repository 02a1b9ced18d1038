// Printing the sample through a real print server: kelvo-pde sets up the
// queue, saves the choices and submits the job; cupsd runs pstops (after
// pdftops for a PDF) and our filter; the job the device receives is judged
// by its comments and by Ghostscript.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CupsServerSuite.h"
#include "TestSupport.h"

using namespace kelvotest;

namespace {

constexpr const char* kRedDraft = "0,0,0,255,0,0,x,0,x,450,x,x,72,Helvetica,DRAFT";

std::size_t Count(const std::string& text, std::string_view what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

/// gs over `file` on `device`; the exit status and everything gs said.
int Ghostscript(const std::string& device, const std::string& file, std::string& said) {
    return RunShell("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=" + device + " -o - -f " + ShellQuote(file) + " 2>&1",
                    said);
}

class PrintThroughCups : public CupsServerSuite {
protected:
    /// A queue of the sample PPD set up by kelvo-pde, writing to its own file.
    std::string AddQueue(const std::string& name) {
        outputs[name] = AddKelvoQueue(name, SamplePath("kelvo-sample.ppd"));
        return name;
    }

    /// Prints `file` on `queue` with `args`, waits for the server to finish
    /// and returns what the device received.
    std::string Print(const std::string& queue, const std::string& file, const std::vector<std::string>& args) {
        std::vector<std::string> command = {"print", "--queue", queue, file};
        command.insert(command.end(), args.begin(), args.end());
        const FullRun printed = RunToolFull(command);
        EXPECT_EQ(printed.status, 0) << printed.err;
        EXPECT_GT(std::atoi(printed.out.c_str()), 0) << "no job id: " << printed.out;
        EXPECT_TRUE(server->WaitForJobs()) << "the job did not finish";
        const std::string job = ReadFile(outputs[queue]);
        EXPECT_FALSE(job.empty()) << "nothing reached the device; the server said:\n" << Tail(server->ErrorLog());
        return job;
    }


    /// What every printed job must show: our pieces where the site table
    /// puts them, the server's own feature code for the keywords the panel
    /// writes itself gone, and a job Ghostscript runs with the red watermark.
    void ExpectPiecesInPlace(const std::string& job, const std::string& path) {
        ASSERT_TRUE(job.starts_with("%!PS-Adobe-3.0")) << job.substr(0, 200);
        const std::size_t endComments = job.find("%%EndComments");
        const std::size_t beginSetup = job.find("%%BeginSetup");
        const std::size_t endSetup = job.find("%%EndSetup");
        ASSERT_NE(endComments, std::string::npos);
        ASSERT_NE(endSetup, std::string::npos);
        // Job notes and layout comments close the header.
        const std::size_t note = job.find("%%QJVCustom1: Rush\n");
        EXPECT_LT(note, endComments);
        EXPECT_LT(job.find("%%Orientation: Portrait\n"), endComments);
        // One block per keyword the panel writes itself: ours, in the setup.
        for (const char* keyword : {"*QJStaple ", "*InputSlot ", "*QJDuplex ", "*QJColorMode ", "*MediaType "}) {
            const std::string feature = std::string("%%BeginFeature: ") + keyword;
            EXPECT_EQ(Count(job, feature), 1u) << keyword;
            const std::size_t at = job.find(feature);
            EXPECT_GT(at, beginSetup) << keyword;
            EXPECT_LT(at, endSetup) << keyword;
        }
        EXPECT_NE(job.find("%%BeginFeature: *QJStaple TopLeft\n"), std::string::npos);

        std::string said;
        EXPECT_EQ(Ghostscript("nullpage", path, said), 0) << said;
        // The red watermark inks magenta and yellow on the first page; the
        // text alone is black.
        ASSERT_EQ(Ghostscript("inkcov", path, said), 0) << said;
        double c = 0, m = 0, y = 0, k = 0;
        ASSERT_EQ(std::sscanf(said.c_str(), "%lf %lf %lf %lf", &c, &m, &y, &k), 4) << said;
        EXPECT_GT(m, 0.001) << said;
        EXPECT_GT(y, 0.001) << said;
    }

    std::map<std::string, std::filesystem::path> outputs;
};

const std::vector<std::string> kChoices = {"--set", "QJStaple=TopLeft", "--note", "Notes1=Rush", "--watermark",
                                           kRedDraft};

TEST_F(PrintThroughCups, PostScriptJobCarriesThePiecesAtTheirSites) {
    const std::string queue = AddQueue("kelvo_ps");
    const std::string job = Print(queue, DataPath("jobs/two-pages.ps").string(), kChoices);
    ExpectPiecesInPlace(job, outputs[queue].string());
    EXPECT_EQ(Count(job, "%%Page: "), 2u);
}

TEST_F(PrintThroughCups, PdfJobGoesThroughPdftopsAndGetsThePiecesToo) {
    const std::filesystem::path pdf = server->Root() / "two-pages.pdf";
    std::string said;
    ASSERT_EQ(RunShell("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=pdfwrite -o " + ShellQuote(pdf.string()) + " " +
                           ShellQuote(DataPath("jobs/two-pages.ps").string()) + " 2>&1",
                       said),
              0)
        << said;
    const std::string queue = AddQueue("kelvo_pdf");
    const std::string job = Print(queue, pdf.string(), kChoices);
    ExpectPiecesInPlace(job, outputs[queue].string());
}

TEST_F(PrintThroughCups, TheNextRunSeesTheChoicesButNeverTheNotes) {
    const std::string queue = AddQueue("kelvo_saved");
    const TempFile ticket("", "ticket.plist");
    FullRun run = RunToolFull({"job", "--queue", queue, "--set", "QJStaple=DualLeft", "--note", "Notes1=Secret words",
                               "-o", ticket.PathString()});
    ASSERT_EQ(run.status, 0) << run.err;

    // The listing shows the saved choice starred, as lpoptions -l does.
    run = RunToolFull({"options", "--queue", queue});
    ASSERT_EQ(run.status, 0) << run.err;
    const std::size_t line = run.out.find("\nQJStaple/Staple:");
    ASSERT_NE(line, std::string::npos) << run.out;
    const std::string staple = run.out.substr(line + 1, run.out.find('\n', line + 1) - line - 1);
    EXPECT_NE(staple.find(" *DualLeft"), std::string::npos) << staple;
    EXPECT_EQ(Count(staple, "*"), 1u) << staple;

    // A second job without choices carries the saved one.
    run = RunToolFull({"job", "--queue", queue, "-o", ticket.PathString()});
    ASSERT_EQ(run.status, 0) << run.err;
    run = RunToolFull({"ticket", "show", ticket.PathString()});
    EXPECT_NE(run.out.find("%%BeginFeature: *QJStaple DualLeft"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("Secret words"), std::string::npos) << "a job note came back from the saved options";

    // The saved options hold the choice, and neither the note nor a ticket.
    std::string saved;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(server->Root()))
        if (entry.path().filename() == "lpoptions")
            saved += ReadFile(entry.path());
    EXPECT_NE(saved.find("QJStaple=DualLeft"), std::string::npos) << saved;
    EXPECT_EQ(saved.find("Secret"), std::string::npos) << saved;
    EXPECT_EQ(saved.find("Kelvo.temp"), std::string::npos) << saved;
}

TEST_F(PrintThroughCups, AJobWithoutTheOptionPassesTheFilterUnchanged) {
    const std::string queue = AddQueue("kelvo_plain");
    std::string said;
    ASSERT_EQ(RunShell("lp -d " + queue + " " + ShellQuote(DataPath("jobs/two-pages.ps").string()) + " 2>&1", said), 0)
        << said;
    ASSERT_TRUE(server->WaitForJobs());
    const std::string job = ReadFile(outputs[queue]);
    ASSERT_TRUE(job.starts_with("%!PS-Adobe-3.0")) << Tail(server->ErrorLog());
    EXPECT_EQ(job.find("%%QJVCustom"), std::string::npos);
    // pstops's own feature code stays when there is no ticket.
    EXPECT_EQ(Count(job, "%%BeginFeature: *QJStaple None"), 1u);
    EXPECT_NE(server->ErrorLog().find("no injection file for this job"), std::string::npos);
    EXPECT_EQ(Ghostscript("nullpage", outputs[queue].string(), said), 0) << said;
}

} // namespace
