// The desktop programs run as a user runs them: kelvo-panel over the sample
// and over a plain PPD, kelvo-print against a private print server, and
// both rendering their windows for the documentation.
#include <gtest/gtest.h>

#include "Screenshots.h"

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <QImage>

#include "CupsServerSuite.h"
#include "store/PlistTestSupport.h"
#include "TestSupport.h"

using namespace kelvotest;

namespace {

#if defined(KELVO_PANEL_BIN) && defined(KELVO_PRINT_BIN)

struct ProgramRun {
    int status = -1;
    std::string out;
    std::string err;
};

/// Runs `program` with `args` on the offscreen platform, both outputs kept.
ProgramRun RunProgram(const std::string& program, const std::vector<std::string>& args) {
    const TempFile errors("", "stderr.txt");
    std::string command = "QT_QPA_PLATFORM=offscreen " + ShellQuote(program);
    for (const std::string& arg : args)
        command += " " + ShellQuote(arg);
    command += " </dev/null 2>" + ShellQuote(errors.PathString());
    ProgramRun run;
    run.status = RunShell(command, run.out);
    run.err = ReadFile(errors.Path());
    return run;
}

std::size_t Count(const std::string& text, std::string_view what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

/// A PNG of at least the given size that Qt reads back.
void ExpectPicture(const std::filesystem::path& png, int minWidth, int minHeight) {
    const QImage image(QString::fromStdString(png.string()));
    ASSERT_FALSE(image.isNull()) << png;
    EXPECT_GE(image.width(), minWidth) << png;
    EXPECT_GE(image.height(), minHeight) << png;
    // A window that did not lay out is one flat colour; text, frames and
    // fields give many.
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7)
        for (int x = 0; x < image.width(); x += 7)
            colours.insert(image.pixel(x, y));
    EXPECT_GE(colours.size(), 10u) << png;
}

// Another maker's printer. Qt's dialog reads the PPD's text encoding when
// Print is pressed and fails without one, so the PPD names it.
const std::string kPlainPPD = "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*LanguageEncoding: ISOLatin1\n"
                              "*LanguageVersion: English\n*ModelName: \"Plain\"\n"
                              "*NickName: \"Plain\"\n*OpenUI *Duplex/Duplex: PickOne\n*DefaultDuplex: None\n"
                              "*Duplex None/Off: \"\"\n*CloseUI: *Duplex\n";

TEST(Programs, HelpAndManualPageListEveryOption) {
    struct Row {
        const char* program;
        const char* manual;
        std::vector<std::string> options;
    } rows[] = {
        {KELVO_PANEL_BIN, "kelvo-panel.1", {"--ppd", "--queue", "--state", "--screenshot", "--help", "--version"}},
        {KELVO_PRINT_BIN, "kelvo-print.1", {"--queue", "--title", "--screenshot", "--accept", "--help", "--version"}},
    };
    for (const Row& row : rows) {
        const ProgramRun run = RunProgram(row.program, {"--help"});
        EXPECT_EQ(run.status, 0) << row.program << run.err;
        // The manual page writes a minus as "\-".
        const std::string manual = ReadFile(std::filesystem::path(KELVO_SOURCE_DIR) / "docs" / row.manual);
        for (const std::string& option : row.options) {
            EXPECT_NE(run.out.find(option), std::string::npos) << row.program << " lacks " << option;
            EXPECT_NE(manual.find("\\-\\-" + option.substr(2)), std::string::npos) << row.manual << " lacks " << option;
        }
    }
}

TEST(Programs, MistakesAreNamedWithTheirReason) {
    const TempFile plain(kPlainPPD, "plain.ppd");
    const TempFile notPPD("just text\n", "notes.txt");
    struct Row {
        const char* program;
        std::vector<std::string> args;
        int status;
        std::string message;
    } rows[] = {
        {KELVO_PANEL_BIN, {"--ppd", plain.PathString()}, 2,
         "kelvo-panel: " + plain.PathString() + ": the printer's PPD has no Kelvo options\n"},
        {KELVO_PANEL_BIN, {"--ppd", notPPD.PathString()}, 2,
         "kelvo-panel: " + notPPD.PathString() + ": not a usable PPD\n"},
        {KELVO_PANEL_BIN, {"--ppd", "/nonexistent/a.ppd"}, 2,
         "kelvo-panel: /nonexistent/a.ppd: No such file or directory\n"},
        {KELVO_PANEL_BIN, {"--state", "x.json"}, 1, "kelvo-panel: --state requires --ppd"},
        {KELVO_PRINT_BIN, {"/nonexistent/a.ps"}, 2, "kelvo-print: /nonexistent/a.ps: No such file or directory\n"},
        // Qt's own answer would be an abort about plugins.
        {"/usr/bin/env",
         {"-u", "QT_QPA_PLATFORM", "-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", KELVO_PANEL_BIN, "--ppd",
          SamplePath("kelvo-sample.ppd").string()},
         2, "kelvo-panel: no display to open the window on"},
    };
    for (const Row& row : rows) {
        const ProgramRun run = RunProgram(row.program, row.args);
        EXPECT_EQ(run.status, row.status) << row.message;
        EXPECT_NE(run.err.find(row.message), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "");
    }
}

TEST(Programs, PanelScreenshotShowsTheWholeWindow) {
    const std::vector<std::filesystem::path> places = kelvotest::ScreenshotPlaces("kelvo-panel.png");
    for (const std::filesystem::path& png : places) {
        const ProgramRun run =
            RunProgram(KELVO_PANEL_BIN, {"--ppd", SamplePath("kelvo-sample.ppd").string(), "--screenshot", png.string()});
        ASSERT_EQ(run.status, 0) << run.err;
        ExpectPicture(png, 800, 600);
    }
}

class KelvoPrint : public CupsServerSuite {
protected:
    // The filter reads tickets from /tmp only: kelvo-print must write its
    // there, not in this process's private temporary folder.
    ScopedEnv mTicketsInTmp{"KELVO_TMPDIR", std::nullopt};

    static std::filesystem::path AddQueue(const std::string& name, const std::filesystem::path& ppd) {
        return AddKelvoQueue(name, ppd);
    }
};

TEST_F(KelvoPrint, KelvoQueueJobCarriesThePanelsPieces) {
    const std::filesystem::path out = AddQueue("kelvo_dialog", SamplePath("kelvo-sample.ppd"));
    // A choice saved with the queue earlier: the panel in the dialog starts
    // from it and the job must carry it.
    const TempFile ticket("", "ticket.plist");
    const FullRun saved =
        RunToolFull({"job", "--queue", "kelvo_dialog", "--set", "QJStaple=TopLeft", "-o", ticket.PathString()});
    ASSERT_EQ(saved.status, 0) << saved.err;

    const ProgramRun run = RunProgram(KELVO_PRINT_BIN, {"--queue", "kelvo_dialog", "--accept", "--title", "dialog job",
                                                        DataPath("jobs/two-pages.ps").string()});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_GT(std::atoi(run.out.c_str()), 0) << "no job id: " << run.out;
    ASSERT_TRUE(server->WaitForJobs()) << "the job did not finish";
    const std::string job = ReadFile(out);
    ASSERT_TRUE(job.starts_with("%!PS-Adobe-3.0")) << Tail(server->ErrorLog());
    const std::size_t endComments = job.find("%%EndComments");
    const std::size_t beginSetup = job.find("%%BeginSetup");
    const std::size_t endSetup = job.find("%%EndSetup");
    ASSERT_NE(endSetup, std::string::npos);
    EXPECT_LT(job.find("%%Orientation: Portrait\n"), endComments);
    // One block per keyword the panel writes itself, in the setup, with the
    // saved choice.
    for (const char* keyword : {"*QJStaple ", "*InputSlot ", "*QJDuplex ", "*MediaType "}) {
        const std::string feature = std::string("%%BeginFeature: ") + keyword;
        EXPECT_EQ(Count(job, feature), 1u) << keyword;
        EXPECT_GT(job.find(feature), beginSetup) << keyword;
        EXPECT_LT(job.find(feature), endSetup) << keyword;
    }
    EXPECT_NE(job.find("%%BeginFeature: *QJStaple TopLeft\n"), std::string::npos);
    EXPECT_EQ(Count(job, "%%Page: "), 2u);
    EXPECT_EQ(server->ErrorLog().find("no injection file for this job"), std::string::npos);
}

TEST_F(KelvoPrint, AnotherPrintersQueueGetsTheFilesPlainly) {
    const TempFile plain(kPlainPPD, "plain.ppd");
    const std::filesystem::path out = AddQueue("plain_dialog", plain.Path());
    const ProgramRun run =
        RunProgram(KELVO_PRINT_BIN, {"--queue", "plain_dialog", "--accept", DataPath("jobs/two-pages.ps").string()});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_GT(std::atoi(run.out.c_str()), 0) << "no job id: " << run.out;
    ASSERT_TRUE(server->WaitForJobs()) << "the job did not finish";
    const std::string job = ReadFile(out);
    ASSERT_FALSE(job.empty()) << Tail(server->ErrorLog());
    EXPECT_EQ(job.find("%%QJVCustom"), std::string::npos);
    EXPECT_EQ(job.find("%%BeginFeature: *QJStaple"), std::string::npos);
}

TEST_F(KelvoPrint, AQueueThatIsNotThereIsAnError) {
    const std::string file = DataPath("jobs/two-pages.ps").string();
    struct Row {
        const char* program;
        std::vector<std::string> args;
        std::string message;
    } rows[] = {
        {KELVO_PRINT_BIN, {"--queue", "no_such_queue", "--accept", file}, "kelvo-print: no queue no_such_queue"},
        {KELVO_PANEL_BIN, {"--queue", "no_such_queue"}, "kelvo-panel: no queue no_such_queue"},
        // From the menu without a default printer on the server.
        {KELVO_PANEL_BIN, {}, "kelvo-panel: there is no default printer: give --queue NAME or --ppd PPD\n"},
    };
    for (const Row& row : rows) {
        const ProgramRun run = RunProgram(row.program, row.args);
        EXPECT_EQ(run.status, 2) << row.message;
        EXPECT_EQ(run.err.rfind(row.message, 0), 0u) << run.err;
        EXPECT_EQ(run.out, "");
    }
}

TEST_F(KelvoPrint, DialogScreenshotShowsThePanelTab) {
    AddQueue("kelvo_shot", SamplePath("kelvo-sample.ppd"));
    for (const std::filesystem::path& png : kelvotest::ScreenshotPlaces("kelvo-print-dialog.png")) {
        const ProgramRun run = RunProgram(KELVO_PRINT_BIN, {"--queue", "kelvo_shot", "--screenshot", png.string(),
                                                            DataPath("jobs/two-pages.ps").string()});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "") << "a screenshot prints nothing";
        // Unfolded, with the panel's tab current: far larger than the bare
        // dialog's 339x181.
        ExpectPicture(png, 700, 500);
    }
    EXPECT_TRUE(server->WaitForJobs());
}

#endif

} // namespace
