// kelvo-pde snapshot run as a separate process: a saved snapshot shows what
// inspect shows, the item listing, and the errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "PPDX/PPDObjects/PPDXErrors.h"
#include "TestSupport.h"
#include "store/Settings.h"

using nlohmann::json;
using kelvotest::FullRun;
using kelvotest::RunToolFull;
using kelvotest::TempFile;
namespace fs = std::filesystem;

namespace {

std::string Sample() { return kelvotest::SamplePath("kelvo-sample.ppd").string(); }

/// The sample and every PPD under tests/data.
std::vector<std::string> Corpus() {
    std::vector<std::string> paths = {Sample()};
    for (const auto& entry : fs::recursive_directory_iterator(kelvotest::DataPath(""))) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && (name.ends_with(".ppd") || name.ends_with(".ppd.gz")))
            paths.push_back(entry.path().string());
    }
    return paths;
}

/// Removes from an inspect object what a snapshot does not keep.
void DropUnkept(json& doc) {
    for (const char* member : {"errors", "valid", "constraints", "requires"})
        doc.erase(member);
    doc["header"].erase("APDialogExtension");
    doc["header"].erase("QJVersionMac");
    for (json& control : doc["controls"])
        if (control["type"] == 7)
            for (const char* bound : {"minWidth", "maxWidth", "minHeight", "maxHeight"})
                control.erase(bound);
}

} // namespace

TEST(KelvoPdeSnapshot, ShowGivesWhatInspectGives) {
    TempFile dir("", "unused");
    int compared = 0;
    for (const std::string& ppd : Corpus()) {
        SCOPED_TRACE(ppd);
        const FullRun inspect = RunToolFull({"inspect", ppd, "--json"});
        json expected = json::parse(inspect.out, nullptr, false);
        if (inspect.status != 0 || expected.is_discarded() || expected["valid"] != true)
            continue;
        const std::string snap = (dir.Path().parent_path() / (std::to_string(compared) + ".snap")).string();
        ASSERT_EQ(RunToolFull({"snapshot", "save", ppd, "-o", snap}).status, 0);
        const FullRun show = RunToolFull({"snapshot", "show", snap, "--json"});
        ASSERT_EQ(show.status, 0) << show.err;
        json rebuilt = json::parse(show.out, nullptr, false);
        ASSERT_FALSE(rebuilt.is_discarded());
        EXPECT_EQ(json({rebuilt["errors"], rebuilt["valid"], rebuilt["constraints"], rebuilt["requires"]}),
                  json({json::array(), true, {{"count", 0}}, {{"count", 0}}}));
        DropUnkept(expected);
        DropUnkept(rebuilt);
        EXPECT_EQ(json::diff(expected, rebuilt), json::array()); // each member that differs, by path
        ++compared;
    }
    EXPECT_GE(compared, 15); // the corpus has not silently shrunk to nothing valid
}

TEST(KelvoPdeSnapshot, StandardOutputAndInputCarryTheSameBlock) {
    TempFile file("", "sample.snap");
    ASSERT_EQ(RunToolFull({"snapshot", "save", Sample(), "-o", file.PathString()}).status, 0);
    EXPECT_EQ(RunToolFull({"snapshot", "save", Sample(), "-o", "-"}).out, kelvotest::ReadFile(file.Path()));
    const FullRun fromFile = RunToolFull({"snapshot", "show", file.PathString()});
    EXPECT_NE(fromFile.out.find("\nGroup "), std::string::npos) << fromFile.out; // the tree, not JSON
    EXPECT_EQ(RunToolFull({"snapshot", "show", "-"}, file.PathString()).out, fromFile.out);
}

TEST(KelvoPdeSnapshot, ItemsListTheHeaderFirst) {
    TempFile dir("", "unused");
    const std::string snap = (dir.Path().parent_path() / "small.snap").string();
    const std::string ppd = kelvotest::DataPath("line-endings/small-lf.ppd").string();
    ASSERT_EQ(RunToolFull({"snapshot", "save", ppd, "-o", snap}).status, 0);
    // The allocation mark 1024, a number in this machine's byte order.
    const std::int32_t mark = 1024;
    unsigned char b[4];
    std::memcpy(b, &mark, 4);
    char hex[16], spaced[16];
    std::snprintf(hex, sizeof hex, "%02x%02x%02x%02x", b[0], b[1], b[2], b[3]);
    std::snprintf(spaced, sizeof spaced, "%02x %02x %02x %02x", b[0], b[1], b[2], b[3]);

    const FullRun text = RunToolFull({"snapshot", "items", snap});
    std::string squeezed; // the first three lines, each run of blanks as one
    for (std::size_t i = 0, lines = 0; i < text.out.size() && lines < 3; ++i) {
        lines += text.out[i] == '\n';
        if (text.out[i] != ' ' || squeezed.empty() || squeezed.back() != ' ')
            squeezed += text.out[i];
    }
    EXPECT_TRUE(squeezed.starts_with("1000 1001 4 " + std::string(spaced) + " |....|\n1000 1002 80 ")) << text.out;
    EXPECT_TRUE(squeezed.ends_with("\n1000 1003 3 34 2e 33 |4.3|\n")) << text.out;
    const json items = json::parse(RunToolFull({"snapshot", "items", snap, "--json"}).out, nullptr, false);
    ASSERT_TRUE(items.is_array() && !items.empty());
    EXPECT_EQ(items[0], json({{"tag", 1000}, {"id", 1001}, {"size", 4}, {"attributes", 0}, {"head", hex}}));
    EXPECT_EQ(std::count(text.out.begin(), text.out.end(), '\n'), static_cast<std::ptrdiff_t>(items.size()));
    // A four-character tag is shown as its characters.
    EXPECT_TRUE(std::any_of(items.begin(), items.end(), [](const json& i) { return i["tag"] == "KyWd"; }));
}

TEST(KelvoPdeSnapshot, ErrorsNameTheFileAndTheReason) {
    TempFile zero("", "zero.snap");
    const fs::path at = zero.Path().parent_path();
    const std::string saved = (at / "whole.snap").string(), missing = (at / "missing.snap").string();
    ASSERT_EQ(RunToolFull({"snapshot", "save", Sample(), "-o", saved}).status, 0);
    const std::string block = kelvotest::ReadFile(saved);
    TempFile cut(block.substr(0, block.size() / 2), "cut.snap");
    std::vector<std::uint8_t> none;
    Settings().GetSettingsHandle(none);
    TempFile empty(std::string(none.begin(), none.end()), "empty.snap");
    // A popup of 101 choices before another control: its last choice would
    // take the next control's id.
    std::string many = "*PPD-Adobe: \"4.3\"\n*%QJVPropPage P/Page: \"True\"\n*%QJVGroupName G/Group: \"True\"\n";
    for (const char* key : {"QJTray", "QJStaple"}) {
        many += std::string("*%QJVFlags *") + key + ": \"\"\n*%QJVGroup *" + key + ": G\n*OpenUI *" + key +
                ": PickOne\n*Default" + key + ": T0\n";
        for (int i = 0; i <= (key[2] == 'T' ? 100 : 1); ++i)
            many += std::string("*") + key + " T" + std::to_string(i) + ": \"\"\n";
        many += std::string("*CloseUI: *") + key + "\n";
    }
    TempFile big(many, "big.ppd");

    struct Row {
        std::vector<std::string> args; // after "snapshot"
        std::string shown, reason;     // standard error is "kelvo-pde: SHOWN: REASON"
    };
    const std::string damaged = "not a settings block: the block is cut or damaged";
    const Row rows[] = {
        {{"show", missing}, missing, "No such file or directory"},
        {{"items", at.string()}, at.string(), "Is a directory"},
        {{"show", cut.PathString()}, cut.PathString(), damaged},
        {{"items", cut.PathString()}, cut.PathString(), damaged},
        {{"show", zero.PathString()}, zero.PathString(), "not a settings block: the file is empty"},
        {{"show", empty.PathString()}, empty.PathString(),
         PPDErrMessage(PPDErr_NotSnapshot) + std::string(" (PPDErr_NotSnapshot)")},
        {{"save", Sample(), "-o", missing + "/x"}, missing + "/x", "No such file or directory"},
        {{"save", big.PathString(), "-o", saved}, big.PathString(),
         "cannot make a snapshot: the model has more pages, groups or popup choices than a snapshot can number"},
    };
    for (const Row& r : rows) {
        std::vector<std::string> args = {"snapshot"};
        args.insert(args.end(), r.args.begin(), r.args.end());
        SCOPED_TRACE(r.args[0] + " " + r.args[1]);
        const FullRun run = RunToolFull(args);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, "kelvo-pde: " + r.shown + ": " + r.reason + "\n");
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(kelvotest::ReadFile(saved), block); // a refused save leaves the old file alone
    EXPECT_EQ(RunToolFull({"snapshot", "items", empty.PathString()}).status, 0); // no items is no error
}
