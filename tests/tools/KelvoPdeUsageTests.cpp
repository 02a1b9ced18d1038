// kelvo-pde's command line run as a separate process: usage errors and their
// exit status, --version, the options listing, the values ps refuses or
// clamps, the man page and completion against --help, and the sample PPD
// against the print system's own PPD checker.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

using kelvotest::FullRun;
using kelvotest::RunToolFull;
using kelvotest::SamplePath;

namespace {

const std::string& Sample() {
    static const std::string path = SamplePath("kelvo-sample.ppd").string();
    return path;
}

const char* const kSubcommands[] = {"inspect", "options", "ps",    "check", "validate", "printers", "snapshot",
                                    "job",     "apply",   "ticket", "queue", "print",    "auth",     "note-crypt", "panel"};
/// Subcommands of subcommands, whose options the documentation must cover too.
const std::vector<std::vector<std::string>> kNestedCommands = {
    {"printers", "list"},   {"printers", "add"},     {"printers", "find"},       {"printers", "blob"},
    {"printers", "set-blob"}, {"snapshot", "save"},  {"snapshot", "show"},       {"snapshot", "items"},
    {"ticket", "show"},     {"queue", "add"},        {"queue", "remove"},        {"queue", "list"},
    {"auth", "pack"},       {"auth", "unpack"},      {"note-crypt", "encrypt"},  {"note-crypt", "decrypt"}};

/// Sets an environment variable for the tools this process starts, and puts
/// the old value back when it goes.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : mName(name) {
        if (const char* old = std::getenv(name))
            mOld = old;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() {
        if (mOld)
            setenv(mName, mOld->c_str(), 1);
        else
            unsetenv(mName);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* mName;
    std::optional<std::string> mOld;
};

} // namespace

TEST(KelvoPdeUsage, EveryUsageErrorExitsOneWithThePrefix) {
    const std::vector<std::vector<std::string>> rows = {
        {},
        {"frobnicate"},
        {"inspect"},
        {"inspect", Sample(), "--bogus"},
        {"inspect", Sample(), "--host-app"},
        {"options", Sample(), "extra"},
        {"ps", Sample()},
        {"ps", Sample(), "QJCopies", "5", "6"},
        {"ps", Sample(), "Notes1", "v", "--note", "x"}, // a value and a note
        {"check", Sample(), "--grey", "-o"},
        {"check", Sample(), "--grey", "-o", "QJBooklet"},
    };
    for (const auto& args : rows) {
        std::string trace;
        for (const std::string& a : args)
            trace += " " + a;
        SCOPED_TRACE(trace);
        const FullRun run = RunToolFull(args);
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(run.err.starts_with("kelvo-pde: ")) << run.err;
        EXPECT_EQ(run.out, "");
    }
}

// What --queue, queue and print refuse from the command line alone. The
// server named is a socket that does not exist: a check that ran only after
// asking the server would fail there with another message.
TEST(KelvoPdeUsage, QueueCommandsRefuseBadLinesBeforeAskingTheServer) {
    const ScopedEnv server("CUPS_SERVER", "/nonexistent/kelvo-test/cups.sock");
    const std::string missing = "/nonexistent/kelvo-test/missing.ps";
    struct Row {
        std::vector<std::string> args;
        int status;
        std::string message; // somewhere in standard error
    };
    const Row rows[] = {
        // --queue in place of the PPD.
        {{"inspect", Sample(), "--queue", "q"}, 1, "excludes"},
        {{"ps", "--queue", "q"}, 1, "ps needs the control's KEY"},
        {{"ps", "--queue", "q", "A", "B", "C"}, 1, "ps takes KEY [VALUE] after --queue NAME, not a PPD"},
        // KEY [VALUE] after --queue is a good line: only the server fails.
        {{"ps", "--queue", "q", "QJStaple", "None"}, 2, ""},
        {{"job"}, 1, "job needs a PPD or --queue NAME"},
        {{"job", Sample(), "--queue", "q"}, 1, "excludes"},
        {{"job", "--queue", "q", "--state", "state.json"}, 1, "--state and --printer are for a PPD file"},
        {{"job", "--queue", "q", "--printer", "office"}, 1, "--state and --printer are for a PPD file"},
        // queue: required options, and names the server must never see.
        {{"queue", "add", "q", "--ppd", Sample()}, 1, "--device"},
        {{"queue", "add", "a/b", "--ppd", Sample(), "--device", "file:///dev/null"}, 2, "cannot name a queue"},
        {{"queue", "add", "a b", "--ppd", Sample(), "--device", "file:///dev/null"}, 2, "cannot name a queue"},
        {{"queue", "add", "q", "--ppd", missing, "--device", "file:///dev/null"}, 2, missing},
        {{"queue", "remove", "a#b"}, 2, "cannot name a queue"},
        // print: every file is looked at before the queue is opened.
        {{"print", "--queue", "q"}, 1, "FILE"},
        {{"print", Sample()}, 1, "--queue"},
        {{"print", "--queue", "q", Sample(), "--copies", "0"}, 1, "--copies"},
        {{"print", "--queue", "q", Sample(), "--orientation", "5"}, 1, "--orientation"},
        {{"print", "--queue", "q", Sample(), missing}, 2, missing + ": No such file or directory"},
    };
    for (const Row& r : rows) {
        std::string trace;
        for (const std::string& a : r.args)
            trace += " " + a;
        SCOPED_TRACE(trace);
        const FullRun run = RunToolFull(r.args);
        EXPECT_EQ(run.status, r.status);
        EXPECT_TRUE(run.err.starts_with("kelvo-pde: ")) << run.err;
        EXPECT_NE(run.err.find(r.message), std::string::npos) << run.err;
        EXPECT_EQ(run.out, "");
    }
}

TEST(KelvoPdeUsage, VersionAndHelp) {
    const FullRun version = RunToolFull({"--version"});
    EXPECT_EQ(version.status, 0);
    // "kelvo-pde MAJOR.MINOR.PATCH", each run of digits written as one 9.
    std::string shape;
    for (char c : version.out)
        if (!std::isdigit(static_cast<unsigned char>(c)) || shape.empty() || shape.back() != '9')
            shape += std::isdigit(static_cast<unsigned char>(c)) ? '9' : c;
    EXPECT_EQ(shape, "kelvo-pde 9.9.9\n") << version.out;
    const FullRun help = RunToolFull({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* sub : kSubcommands)
        EXPECT_NE(help.out.find(std::string("\n  ") + sub + " "), std::string::npos) << sub;
    EXPECT_NE(help.out.find("Exit status:\n  0  "), std::string::npos) << help.out;
}

TEST(KelvoPdeOptions, ListsChoicesWithTheCurrentStarred) {
    const FullRun all = RunToolFull({"options", Sample()});
    ASSERT_EQ(all.status, 0);
    // One row per kind of control, as the listing shows it.
    const char* const lines[] = {
        "PageSize/Paper Size: *Letter Legal Tabloid A4 A3 SRA3 12x18",
        "QJInsertSheets/Insert Blank Sheets: *BeforeFirst AfterLast BetweenCopies",
        "QJCollate/Collate: *True False",
        "QJReversePrint/Reverse Order: True *False",
        "QJBrightness/Brightness: *0 (whole number -50..50, step 5)",
        "QJGamma/Gamma: *1.800 (decimal 1..2.6, step 0.1)",
        "CustomPrintSize/CustomPrintSize: Custom.WIDTHxHEIGHT (points, width 288..1296, height 288..3600)",
        "QJAccount/Account Number: *\"\" (text, 4..16 characters)",
        "Notes2/Notes 2: *\"Deliver to the mail room\" (text, up to 64 characters)",
        "QJFinisherModel/Finisher: None F200 *F400",
        "QJControllerModel/QJControllerModel: *\"Kelvo CX-900 Print Controller\" (fixed)",
    };
    for (const char* line : lines)
        EXPECT_NE(("\n" + all.out).find("\n" + std::string(line) + "\n"), std::string::npos) << line;
    std::size_t rows = 0;
    for (char c : all.out)
        rows += c == '\n';
    EXPECT_EQ(rows, 43u); // every control, hidden and ungrouped ones included

    // --panel leaves out what the panel does not show: here the special
    // options, which belong to no group.
    const FullRun panel = RunToolFull({"options", Sample(), "--panel"});
    EXPECT_EQ(panel.status, 0);
    EXPECT_EQ(panel.out.find("QJControllerModel"), std::string::npos);
    EXPECT_NE(panel.out.find("\nQJGamma/Gamma: "), std::string::npos);
    EXPECT_EQ(all.out.size() - panel.out.size(),
              std::string("QJControllerModel/QJControllerModel: *\"Kelvo CX-900 Print Controller\" (fixed)\n"
                          "QJJobFormat/QJJobFormat: *\"PDL 2\" (fixed)\n")
                  .size());
}

TEST(KelvoPdePs, RefusesValuesThePPDDoesNotOffer) {
    const std::string whole = " wants a whole number, not ";
    const std::string bits = " wants a whole number within 32 bits (-2147483648..2147483647), not ";
    const std::string decimal = " wants a finite decimal number, not ";
    struct Row {
        const char* key;
        const char* value;
        std::string message; // after "kelvo-pde: "
    };
    const Row rows[] = {
        {"PageSize", "letter", "*PageSize has no choice letter (choices: Letter Legal Tabloid A4 A3 SRA3 12x18)"},
        {"*QJStaple", "Middle", "*QJStaple has no choice Middle (choices: None TopLeft TopRight DualLeft DualTop)"},
        {"QJBooklet", "yes", "*QJBooklet is True or False, not \"yes\""},
        {"QJBooklet", "Truely", "*QJBooklet is True or False, not \"Truely\""},
        {"QJCopies", "abc", "*QJCopies" + whole + "\"abc\""},
        {"QJCopies", "12abc", "*QJCopies" + whole + "\"12abc\""},
        {"QJCopies", "1.5", "*QJCopies" + whole + "\"1.5\""},
        {"QJCopies", " 5", "*QJCopies" + whole + "\" 5\""},
        {"QJCopies", "0x10", "*QJCopies" + whole + "\"0x10\""},
        {"QJCopies", "2147483648", "*QJCopies" + bits + "\"2147483648\""},
        {"QJCopies", "-2147483649", "*QJCopies" + bits + "\"-2147483649\""},
        {"QJCopies", "99999999999999999999", "*QJCopies" + bits + "\"99999999999999999999\""},
        {"QJGamma", "nan", "*QJGamma" + decimal + "\"nan\""},
        {"QJGamma", "inf", "*QJGamma" + decimal + "\"inf\""},
        {"QJGamma", "-infinity", "*QJGamma" + decimal + "\"-infinity\""},
        {"QJGamma", "1e39", "*QJGamma" + decimal + "\"1e39\""}, // beyond single precision
        {"QJGamma", "2,2", "*QJGamma" + decimal + "\"2,2\""},
        {"QJGamma", "0x1p1", "*QJGamma" + decimal + "\"0x1p1\""},
        {"QJControllerModel", "x", "*QJControllerModel is a special option; its value is fixed by the PPD"},
        {"QJNothing", "x", "no control QJNothing in this PPD"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(r.key) + " " + r.value);
        // A value that starts with "-" and is no number would read as an option.
        const FullRun run = r.value[0] == '-' && !std::isdigit(static_cast<unsigned char>(r.value[1]))
                                ? RunToolFull({"ps", Sample(), r.key, "--", r.value})
                                : RunToolFull({"ps", Sample(), r.key, r.value});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, "kelvo-pde: " + r.message + "\n");
        EXPECT_EQ(run.out, "");
    }
}

TEST(KelvoPdePs, AcceptedValuesAreSpeltOutOrClamped) {
    struct Row {
        const char* key;
        const char* value;
        const char* featureLine; // the first line of the output
    };
    const Row rows[] = {
        {"QJBooklet", "TRUE", "%%BeginFeature: *QJBooklet True"},
        {"QJBooklet", "false", "%%BeginFeature: *QJBooklet False"},
        // Within 32 bits, a number outside the bounds is clamped by the control.
        {"QJCopies", "2147483647", "%%BeginFeature: *QJCopies 9999"},
        {"QJCopies", "-2147483648", "%%BeginFeature: *QJCopies 1"},
        {"QJCopies", "+7", "%%BeginFeature: *QJCopies 7"},
        {"QJGamma", "1e0", "%%BeginFeature: *QJGamma    1.0000"},
        {"QJImageShift", "-99.5", "%%BeginFeature: *QJImageShift  -20.0000"},
        {"QJImageShift", "3.4e38", "%%BeginFeature: *QJImageShift   20.0000"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(std::string(r.key) + " " + r.value);
        const FullRun run = RunToolFull({"ps", Sample(), r.key, r.value});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.out.substr(0, run.out.find('\n')), r.featureLine);
    }
}

TEST(KelvoPdeDocs, ManPageAndCompletionNameEveryCommandAndOption) {
    // Roff writes a hyphen as "\-"; compare with plain ones.
    std::string man = kelvotest::ReadFile(kelvotest::SourcePath("docs/kelvo-pde.1"));
    ASSERT_FALSE(man.empty());
    for (std::size_t at; (at = man.find("\\-")) != std::string::npos;)
        man.erase(at, 1);
    const std::string completion =
        kelvotest::ReadFile(kelvotest::SourcePath("tools/kelvo-pde/kelvo-pde.bash-completion"));
    ASSERT_FALSE(completion.empty());

    // Option names: words that start a line, follow a blank or a comma, and
    // are "-" or "--" then a letter.
    std::set<std::string> options;
    const auto collect = [&options](const std::string& text) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            const bool starts = i == 0 || text[i - 1] == ' ' || text[i - 1] == ',' || text[i - 1] == '\n';
            if (!starts || text[i] != '-')
                continue;
            std::size_t j = i + (i + 1 < text.size() && text[i + 1] == '-' ? 2 : 1);
            if (j >= text.size() || !std::isalpha(static_cast<unsigned char>(text[j])))
                continue;
            while (j < text.size() && (std::isalpha(static_cast<unsigned char>(text[j])) || text[j] == '-'))
                ++j;
            options.insert(text.substr(i, j - i));
            i = j;
        }
    };
    std::vector<std::vector<std::string>> helps = {{"--help"}};
    for (const char* sub : kSubcommands)
        helps.push_back({sub, "--help"});
    for (std::vector<std::string> nested : kNestedCommands) {
        nested.push_back("--help");
        helps.push_back(nested);
    }
    for (const auto& args : helps) {
        const FullRun help = RunToolFull(args);
        ASSERT_EQ(help.status, 0);
        collect(help.out);
    }
    EXPECT_GE(options.size(), 15u);
    for (const std::string& o : options) {
        EXPECT_NE(man.find(o), std::string::npos) << "man page lacks " << o;
        EXPECT_NE(completion.find(o), std::string::npos) << "completion lacks " << o;
    }
    for (const char* sub : kSubcommands) {
        const bool described = man.find(std::string(".B ") + sub) != std::string::npos ||
                               man.find(std::string("\\fB") + sub + "\\fR") != std::string::npos;
        EXPECT_TRUE(described) << "man page lacks " << sub;
        EXPECT_NE(completion.find(sub), std::string::npos) << "completion lacks " << sub;
    }
    EXPECT_NE(man.find(".SH EXIT STATUS"), std::string::npos);
}

TEST(KelvoPdeSample, PassesThePrintSystemsPPDCheck) {
    std::string out;
    if (kelvotest::RunShell("command -v cupstestppd", out) != 0)
        GTEST_SKIP() << "cupstestppd is not installed (Debian package cups-client; scripts/install-deps.sh all)";
    const int status =
        kelvotest::RunShell("cupstestppd -v " + kelvotest::ShellQuote(Sample()) + " 2>&1", out);
    EXPECT_EQ(out.find("FAIL"), std::string::npos) << out;
    EXPECT_EQ(status, 0) << out;
}
