// kelvo-pde check run as a separate process over the PPDs in
// tests/data/constraints: reports, resolutions, locks, grey lists, usage errors.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "TestSupport.h"

using nlohmann::json;

namespace {

struct Outcome {
    int status = -1;
    std::string out;
};

// Runs `kelvo-pde check <file> <args>`; with `errors`, captures standard
// error instead of standard output.
Outcome Check(const char* file, const std::vector<std::string>& args, bool errors = false) {
    std::vector<std::string> all = {"check", kelvotest::DataPath("constraints").append(file).string()};
    all.insert(all.end(), args.begin(), args.end());
    kelvotest::RunResult r = kelvotest::RunTool(all, errors);
    return {r.status, r.text};
}

struct Row {
    const char* file;
    std::vector<std::string> args;
    std::string expected;
};

void ExpectOutputs(const std::vector<Row>& rows) {
    for (const Row& r : rows) {
        std::string trace = r.file;
        for (const std::string& a : r.args)
            trace += " " + a;
        SCOPED_TRACE(trace);
        const Outcome o = Check(r.file, r.args);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, r.expected);
    }
}

const char* const kDuplex = "duplex-envelope.ppd";
const std::string kTumbleOnEnvelope = "Duplex=DuplexTumble: constrained\n"
                                      "conflicts: *InputSlot=Envelope\n"
                                      "candidates: *InputSlot=Manual *InputSlot=Tray2 *InputSlot=Tray1\n";
const std::string kBooklet = "QJBooklet=True: constrained\n"
                             "conflicts: *QJStaple=Corner\n"
                             "candidates: *QJStaple=Saddle\n";

} // namespace

TEST(KelvoPdeCheck, TryReportsConflictsAndCandidates) {
    ExpectOutputs({
        {kDuplex, {"--set", "InputSlot=Envelope", "--try", "Duplex=DuplexTumble"}, kTumbleOnEnvelope},
        // A key may be given with its asterisk.
        {kDuplex, {"--set", "InputSlot=Envelope", "--try", "*Duplex=None"},
         "*Duplex=None: allowed\nconflicts: none\ncandidates: none\n"},
    });
}

TEST(KelvoPdeCheck, ResolveWithAndWithoutLocks) {
    const std::vector<std::string> tumble = {"--set", "InputSlot=Envelope", "--try", "Duplex=DuplexTumble",
                                             "--resolve"};
    auto with = [](std::vector<std::string> args, std::vector<std::string> more) {
        args.insert(args.end(), more.begin(), more.end());
        return args;
    };
    const std::string solvedByManual = kTumbleOnEnvelope + "solution: *InputSlot=Manual\n";
    const std::string envelopeLocked = kTumbleOnEnvelope + "unresolved; conflicts left: *InputSlot=Envelope\n";
    const std::vector<std::string> booklet = {"--try", "QJBooklet=True", "--resolve"};
    ExpectOutputs({
        {kDuplex, tumble, solvedByManual},
        // A first-level candidate that is locked ends the search with a report,
        // even though other trays would do.
        {kDuplex, with(tumble, {"--lock", "InputSlot"}), envelopeLocked},
        {kDuplex, with(tumble, {"--lock", "InputSlot=Manual"}), envelopeLocked},
        {"chain.ppd", booklet, kBooklet + "solution: *QJStaple=Saddle *PageSize=A4\n"},
        {"chain.ppd", with(booklet, {"--lock", "QJStaple"}),
         kBooklet + "unresolved; conflicts left: *QJStaple=Corner\n"},
    });

    // The loop ends at the depth bound: seven finishing steps still off, and
    // eleven switched on that each exclude the stacker.
    std::string left = "unresolved; conflicts left:";
    for (const char* step : {"Bind", "Perforate", "Crease", "Trim", "Staple", "Punch", "Fold"})
        left += std::string(" *QJ") + step + "=False";
    for (int i = 0; i < 11; ++i)
        left += " *QJOutputBin=Stacker";
    const Outcome loop = Check("loop.ppd", {"--try", "QJOutputBin=Stacker", "--resolve"});
    EXPECT_EQ(loop.status, 0);
    EXPECT_TRUE(loop.out.ends_with(left + "\n")) << loop.out;
}

TEST(KelvoPdeCheck, JsonReport) {
    struct JsonRow {
        const char* file;
        std::vector<std::string> args;
        const char* expected;
    };
    const JsonRow rows[] = {
        {kDuplex, {"--try", "Duplex=DuplexTumble", "--resolve"},
         R"({"constrained":false,"conflicts":[],"candidates":[],"solution":[]})"},
        {kDuplex, {"--set", "Duplex=DuplexNoTumble", "--try", "InputSlot=Envelope"},
         R"({"constrained":true,"conflicts":[["*Duplex","DuplexNoTumble"]],"candidates":[["*Duplex","None"]],
             "solution":null})"},
        {"chain.ppd", {"--try", "QJBooklet=True", "--resolve"},
         R"({"constrained":true,"conflicts":[["*QJStaple","Corner"]],"candidates":[["*QJStaple","Saddle"]],
             "solution":[["*QJStaple","Saddle"],["*PageSize","A4"]]})"},
        {"chain.ppd", {"--try", "QJBooklet=True", "--resolve", "--lock", "QJStaple"},
         R"({"constrained":true,"conflicts":[["*QJStaple","Corner"]],"candidates":[["*QJStaple","Saddle"]],
             "solution":null,"unresolved":[["*QJStaple","Corner"]]})"},
    };
    for (const JsonRow& r : rows) {
        SCOPED_TRACE(r.expected);
        std::vector<std::string> args = r.args;
        args.push_back("--json");
        const Outcome o = Check(r.file, args);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(json::parse(o.out, nullptr, false), json::parse(r.expected));
    }
}

TEST(KelvoPdeCheck, GreyListsWhatThePanelWouldDisable) {
    ExpectOutputs({
        {kDuplex, {"--set", "InputSlot=Envelope", "--grey"},
         "*Duplex: DuplexNoTumble DuplexTumble\n*InputSlot: (nothing constrained)\n"
         "*QJCollate: (nothing constrained)\n"},
    });
    const Outcome o = Check(kDuplex, {"--set", "Duplex=DuplexTumble", "--grey", "--json"});
    EXPECT_EQ(json::parse(o.out, nullptr, false)["grey"], json::parse(R"([
        {"keyword":"*Duplex","constrained":[]},
        {"keyword":"*InputSlot","constrained":["Envelope"]},
        {"keyword":"*QJCollate","constrained":[]}])"));
}

TEST(KelvoPdeCheck, UsageErrorsExitOne) {
    const struct {
        std::vector<std::string> args;
        const char* message;
    } rows[] = {
        {{"--try", "Duplex"}, "--try wants KEY=CHOICE, got \"Duplex\""},
        {{"--set", "=None", "--try", "Duplex=None"}, "--set wants KEY=CHOICE"},
        {{"--set", "Staple=On", "--try", "Duplex=None"}, "no control *Staple"},
        {{"--set", "InputSlot=Drawer9", "--try", "Duplex=None"}, "*InputSlot has no choice Drawer9"},
        {{"--try", "Bogus=X"}, "no control *Bogus"},
        {{"--try", "Duplex=None", "--resolve", "--lock", "InputSlot=Drawer9"}, "*InputSlot has no choice Drawer9"},
        {{"--resolve", "--grey"}, "--resolve needs --try"},
        {{}, "check needs --try KEY=CHOICE or --grey"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.message);
        const Outcome err = Check(kDuplex, r.args, true);
        EXPECT_EQ(err.status, 1);
        EXPECT_NE(err.out.find(r.message), std::string::npos) << err.out;
        EXPECT_EQ(Check(kDuplex, r.args).out, ""); // nothing half-reported
    }
}

// Conflicts and the search see a print size that follows the page size as
// that size, like the constrained answer does: with A4 paper the transparency
// conflicts with the print size, and following the paper again is no way out.
TEST(KelvoPdeCheck, PrintSizeReportAgreesWithConstrained) {
    const Outcome o = Check("printsize.ppd",
                            {"--set", "PageSize=A4", "--try", "MediaType=Transparency", "--resolve", "--json"});
    const json j = json::parse(o.out, nullptr, false);
    EXPECT_EQ(j["constrained"], true);
    EXPECT_EQ(j["conflicts"], json::parse(R"([["*QJPrintSize","A4"]])"));
    EXPECT_NE(j["solution"], json::array()); // a change is needed
}

TEST(KelvoPdeCheck, DashOSetsLikeSetAndValuesAreChecked) {
    ExpectOutputs({
        {kDuplex, {"-o", "InputSlot=Envelope", "--try", "Duplex=DuplexTumble"}, kTumbleOnEnvelope},
        // -o and --set are one list, applied in the order given.
        {kDuplex, {"-o", "InputSlot=Envelope", "--set", "InputSlot=Tray1", "--try", "Duplex=DuplexTumble"},
         "Duplex=DuplexTumble: allowed\nconflicts: none\ncandidates: none\n"},
        {kDuplex, {"--set", "InputSlot=Tray1", "-o", "InputSlot=Envelope", "--try", "Duplex=DuplexTumble"},
         kTumbleOnEnvelope},
        // A Boolean word in any case is the choice the constraints name.
        {"chain.ppd", {"--try", "QJBooklet=true"}, "QJBooklet=true: constrained\nconflicts: *QJStaple=Corner\n"
                                                   "candidates: *QJStaple=Saddle\n"},
    });
    // The values ps refuses, check refuses too.
    const std::string sample = kelvotest::SamplePath("kelvo-sample.ppd").string();
    const struct {
        std::vector<std::string> args;
        const char* message;
    } rows[] = {
        {{"-o", "QJCopies=abc", "--grey"}, "kelvo-pde: *QJCopies wants a whole number, not \"abc\"\n"},
        {{"-o", "QJGamma=nan", "--grey"}, "kelvo-pde: *QJGamma wants a finite decimal number, not \"nan\"\n"},
        {{"-o", "QJBooklet=yes", "--grey"}, "kelvo-pde: *QJBooklet is True or False, not \"yes\"\n"},
        {{"--try", "QJBooklet=On"}, "kelvo-pde: *QJBooklet is True or False, not \"On\"\n"},
        {{"-o", "QJStaple=", "--grey"}, "kelvo-pde: -o/--set wants KEY=CHOICE, got \"QJStaple=\"\n"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.message);
        std::vector<std::string> args = {"check", sample};
        args.insert(args.end(), r.args.begin(), r.args.end());
        const kelvotest::FullRun run = kelvotest::RunToolFull(args);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, r.message);
        EXPECT_EQ(run.out, "");
    }
}
