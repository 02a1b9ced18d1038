// kelvo-pde run as a separate process: the JSON document model of the sample
// PPD, framed PostScript byte for byte, exit statuses and line-end variants.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "TestSupport.h"

using nlohmann::json;
using kelvotest::DataPath;
using kelvotest::RunResult;
using kelvotest::RunTool;
using kelvotest::SamplePath;

namespace {

json Inspect(const std::string& path) {
    RunResult r = RunTool({"inspect", path, "--json"});
    EXPECT_EQ(r.status, 0) << path;
    return json::parse(r.text, nullptr, false);
}

const json& Sample() {
    static const json sample = Inspect(SamplePath("kelvo-sample.ppd").string());
    return sample;
}

const json& Find(const json& list, const std::string& keyword) {
    static const json none;
    for (const json& e : list)
        if (e.is_object() && e.contains("keyword") && e["keyword"] == keyword)
            return e;
    ADD_FAILURE() << "no element " << keyword;
    return none;
}

std::vector<std::string> Keywords(const json& list, const char* member = "keyword") {
    std::vector<std::string> out;
    for (const json& e : list)
        out.push_back(e.at(member).get<std::string>());
    return out;
}

} // namespace

TEST(KelvoPdeInspect, SampleHeaderAndValidity) {
    const json& s = Sample();
    ASSERT_FALSE(s.is_discarded());
    EXPECT_EQ(s["valid"], true);
    // The maker's version statements are taken to the end of the line, quotes included.
    EXPECT_EQ(s["header"], json({{"FormatVersion", "4.3"},
                                 {"FileVersion", "2.4"},
                                 {"PCFileName", "KPL9200.PPD"},
                                 {"LanguageVersion", "English"},
                                 {"LanguageEncoding", "ISOLatin1"},
                                 {"ModelName", "Kelvo ProLine 9200"},
                                 {"APDialogExtension", "/usr/lib/kelvo/pde/KelvoPanel.plugin"},
                                 {"QJFileVersion", "\"5.0.12\""},
                                 {"QJVersion", "\"3.2\""}}));
    EXPECT_EQ(s["errors"], json::array());
}

TEST(KelvoPdeInspect, SamplePagesAndGroups) {
    const json& s = Sample();
    EXPECT_EQ(Keywords(s["pages"]), (std::vector<std::string>{"QJPageGeneral", "QJPageFinishing", "QJPageImage",
                                                              "QJPageJob"}));
    EXPECT_EQ(s["pages"][3], json::parse(R"({"keyword":"QJPageJob","name":"Kelvo Job Information","visible":true,
        "kind":"page","parent":null,"showInApp":false,"showInPrintProp":true})"));

    // Collection order: panes and roll-downs as their parent lines come, plain
    // groups on first use, the installable-options roll-down at its group
    // block, and the unused hidden group last (collected as an orphan).
    const json& groups = s["groups"];
    EXPECT_EQ(Keywords(groups),
              (std::vector<std::string>{"QJPaneGeneral", "QJPaneFinishing", "QJPaneImage", "QJPaneJob", "FPPaperSource",
                                        "FPLayout", "FPFinish", "FPBinding", "FPColor", "FPImage", "FPAccounting",
                                        "FPQJNotes", "QJGrpExpert", "QJPPInstallableOptions", "InstallableOptions",
                                        "QJGrpService"}));
    struct Row {
        const char* keyword;
        const char* kind;
        const char* parent;
        const char* name;
        bool visible;
    };
    const Row rows[] = {
        {"QJPaneGeneral", "scrollpane", "QJPageGeneral", "General ", true},
        {"FPFinish", "rolldown", "QJPaneFinishing", "Stapling, Punching and Folding ", true},
        {"QJPPInstallableOptions", "group", nullptr, "Installed Options ", true},
        {"InstallableOptions", "rolldown", nullptr, "Options Installed", true},
        {"QJGrpService", "group", nullptr, "Service ", false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.keyword);
        const json& g = Find(groups, r.keyword);
        EXPECT_EQ(g["kind"], json(r.kind));
        EXPECT_EQ(g["parent"], r.parent ? json(r.parent) : json(nullptr));
        EXPECT_EQ(g["name"], json(r.name));
        EXPECT_EQ(g["visible"], r.visible);
    }
}

TEST(KelvoPdeInspect, SampleControlsOfEveryType) {
    const json& controls = Sample()["controls"];
    int perType[8] = {};
    for (const json& c : controls) {
        SCOPED_TRACE(c.dump());
        for (const char* member : {"keyword", "name", "type", "flags", "visible", "parent", "value"})
            EXPECT_TRUE(c.contains(member)) << member;
        EXPECT_TRUE(c["flags"].is_array());
        ++perType[c["type"].get<int>()];
    }
    // job note, range, float range, boolean, popup, special option, custom size
    EXPECT_EQ(std::vector<int>(perType + 1, perType + 8), (std::vector<int>{6, 4, 3, 7, 20, 2, 1}));
    // Standard blocks without a *%QJVFlags line are not controls.
    for (const std::string& k : Keywords(controls))
        EXPECT_TRUE(k != "*PageRegion" && k != "*Resolution" && k != "*Option1") << k;

    struct PopupRow {
        const char* keyword;
        const char* parent;
        bool multiple, installable;
        const char* defaultChoice;
        std::size_t items;
        const char* flags;
    };
    const PopupRow popups[] = {
        {"*PageSize", "FPPaperSource", false, false, "Letter", 7, R"(["Dynamic","Command"])"},
        {"*QJInsertSheets", "FPFinish", true, false, "BeforeFirst", 3, R"(["Command"])"},
        {"*QJDuplexer", "QJPPInstallableOptions", false, true, "Installed", 2, R"(["Command"])"},
    };
    for (const PopupRow& r : popups) {
        SCOPED_TRACE(r.keyword);
        const json& c = Find(controls, r.keyword);
        EXPECT_EQ(c["type"], 5);
        EXPECT_EQ(c["parent"], json(r.parent));
        EXPECT_EQ(c["multiple"], r.multiple);
        EXPECT_EQ(c["installable"], r.installable);
        EXPECT_EQ(c["default"], json(r.defaultChoice));
        EXPECT_EQ(c["value"], json(r.defaultChoice));
        EXPECT_EQ(c["flags"], json::parse(r.flags));
        ASSERT_EQ(c["items"].size(), r.items);
        for (const json& item : c["items"])
            EXPECT_EQ(item["selected"], item["keyword"] == r.defaultChoice) << item.dump();
    }
    // Hex runs in translations: <AE> is the registered sign in ISO Latin 1.
    EXPECT_EQ(Find(controls, "*QJFinisherModel")["items"][2],
              json({{"keyword", "F400"}, {"name", "Kelvo\u00ae Booklet Maker F400"}, {"selected", true}}));

    EXPECT_EQ(Find(controls, "*QJReversePrint")["default"], false);
    EXPECT_EQ(Find(controls, "*QJGamma")["value"], "1.800"); // "%.3f"
    for (const char* member : {"min", "max", "increment", "default"})
        EXPECT_TRUE(Find(controls, "*QJCopies")[member].is_number_integer()) << member;
    const json& size = Find(controls, "*CustomPrintSize");
    std::vector<double> bounds;
    for (const char* member : {"minWidth", "maxWidth", "minHeight", "maxHeight"})
        bounds.push_back(size[member].get<double>());
    EXPECT_EQ(bounds, (std::vector<double>{288, 1296, 288, 3600}));
}

TEST(KelvoPdeInspect, SampleJobNotesSpecialOptionsAndShortcuts) {
    const json& s = Sample();
    const json& account = Find(s["controls"], "*QJAccount");
    EXPECT_EQ(account["type"], 1);
    EXPECT_EQ(account["maxLength"], 16);
    EXPECT_EQ(account["minLength"], 4);
    EXPECT_EQ(account["flagWords"], json::parse(R"(["Numeric","Required","Remembered"])"));
    EXPECT_TRUE(account["flagBits"].is_number_unsigned());
    EXPECT_EQ(account["defaultNotes"], nullptr);
    const json& dept = Find(s["controls"], "*QJDeptCode");
    for (const char* member : {"defaultNotes", "notes", "value"})
        EXPECT_EQ(dept[member], "PRINTROOM") << member;

    const json& controller = Find(s["controls"], "*QJControllerModel");
    EXPECT_EQ(controller["type"], 6);
    EXPECT_EQ(controller["value"], "Kelvo CX-900 Print Controller");
    EXPECT_EQ(controller["parent"], nullptr);

    EXPECT_EQ(s["constraints"], json({{"count", 24}}));
    EXPECT_EQ(s["requires"], json({{"count", 1}}));
    // The boolean shortcut is listed but never offered in the quick-access menu.
    const std::vector<std::string> popups = {"*PageSize", "*InputSlot", "*MediaType", "*QJDuplex",
                                             "*QJ_PAPER_ORIENTATION", "*QJStaple"};
    std::vector<std::string> all = popups;
    all.push_back("*QJCollate");
    EXPECT_EQ(s["shortcuts"].get<std::vector<std::string>>(), all);
    EXPECT_EQ(s["popupShortcuts"].get<std::vector<std::string>>(), popups);
}

TEST(KelvoPdePs, FramedPostScriptByteForByte) {
    struct Row {
        std::vector<std::string> args;
        const char* expected;
    };
    const Row rows[] = {
        // Code opening with an empty first line keeps that line end.
        {{"PageSize", "Tabloid"}, R"(%%BeginFeature: *PageSize Tabloid

  <</PageSize [792 1224] /ImagingBBox null>>
  setpagedevice
%%EndFeature
)"},
        // A boolean side without code still gets its frame and one line end.
        {{"QJReversePrint"}, "%%BeginFeature: *QJReversePrint False\n\n%%EndFeature\n"},
        {{"QJBooklet", "true"}, R"(%%BeginFeature: *QJBooklet True

/QJBooklet true def
<</Staple 3 /StapleDetails <</Type 1 /Position 4>>>> setpagedevice
%%EndFeature
)"},
        // Snapped to a multiple of the step counted from 0.
        {{"*QJBrightness", "17"}, R"(%%BeginFeature: *QJBrightness 15
/QJBrightness 15 def
%%EndFeature
)"},
        // Decimal values are nine characters wide, blanks in front.
        {{"QJGamma", "2.2"}, R"(%%BeginFeature: *QJGamma    2.2000
{   2.2000 exp} settransfer
%%EndFeature
)"},
        // Note text goes into a template as hex.
        {{"Notes1", "A\\b"}, R"(%%BeginFeature: *Notes1 A\b
<415C62> /QJNotes1 exch def
%%EndFeature
)"},
    };
    for (const Row& r : rows) {
        std::vector<std::string> args = {"ps", SamplePath("kelvo-sample.ppd").string()};
        args.insert(args.end(), r.args.begin(), r.args.end());
        RunResult result = RunTool(args);
        EXPECT_EQ(result.status, 0) << r.args[0];
        EXPECT_EQ(result.text, r.expected) << r.args[0];
    }
}

TEST(KelvoPdeErrors, UnusableFilesExitTwoWithOneLine) {
    struct Row {
        std::string path;
        std::vector<std::string> options;
        const char* error; // what follows "kelvo-pde: PATH: "
    };
    const char* const notPPD = "line 1: not a PPD file (the first line is not *PPD-Adobe: \"4.3\") (PPDErr_NotPPDFile)";
    const Row rows[] = {
        {DataPath("no-such-file.ppd").string(), {}, "No such file or directory (PPDErr_FileError)"},
        {DataPath("not-a-ppd.txt").string(), {}, notPPD},
        {DataPath("unclosed-openuiqjv.ppd").string(), {},
         "line 23: *QJUnclosed: an OpenUIQJV block is never closed (PPDErr_OpenUIQJVParsing1)"},
        {DataPath("duplicate-flags.ppd").string(), {"--all-errors-fatal"},
         "line 18: *QJStaple: the same keyword is declared twice (PPDErr_Duplicate)"},
    };
    for (const Row& r : rows) {
        for (const char* command : {"inspect", "ps", "options"}) {
            std::vector<std::string> args = {command, r.path};
            if (std::string(command) == "ps")
                args.push_back("QJStaple");
            args.insert(args.end(), r.options.begin(), r.options.end());
            RunResult result = RunTool(args, true);
            EXPECT_EQ(result.status, 2) << command << " " << r.path;
            EXPECT_EQ(result.text, "kelvo-pde: " + r.path + ": " + r.error + "\n") << command;
        }
    }
}

TEST(KelvoPdeErrors, NonFatalErrorsExitZeroAndAreListed) {
    struct Row {
        std::string path;
        const char* errors;
        std::vector<std::string> controls; // the controls built, in any order
    };
    // Only a header and a page: the empty-document errors carry no keyword.
    kelvotest::TempFile pageOnly("*PPD-Adobe: \"4.3\"\n*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n"
                                 "*%QJVPropPage QJPage1/Page: \"True\"\n");
    const Row rows[] = {
        // The first declaration stays; the second one's lines are read as plain statements.
        {DataPath("duplicate-flags.ppd").string(),
         R"([{"code":23,"name":"PPDErr_Duplicate","message":"the same keyword is declared twice","line":18,
              "keyword":"*QJStaple","fatal":false}])",
         {"*QJStaple", "*QJPunch"}},
        // The line after the flags goes with them: *QJSwallowed is never declared.
        {DataPath("flags-wrong-line.ppd").string(),
         R"([{"code":16,"name":"PPDErr_ControlParsing","message":"a control declaration cannot be read","line":12,
              "keyword":"*QJStaple","fatal":false}])",
         {"*QJKept", "*QJPunch"}},
        // Reading stops at the long line, which is said; the shortcut pass
        // still runs after it and concerns no line.
        {DataPath("long-line.ppd").string(),
         R"([{"code":38,"name":"PPDErr_ReadEndedEarly",
              "message":"reading stopped early at a line of 255 bytes or more or at a 0xFF byte","line":20,
              "keyword":null,"fatal":false},
             {"code":19,"name":"PPDErr_BadShortcut","message":"a shortcut names no known control","line":null,
              "keyword":"*QJPunch","fatal":false}])",
         {"*QJStaple"}},
        {pageOnly.PathString(),
         R"([{"code":26,"name":"PPDErr_NoGroups","message":"the document has no groups","line":null,"keyword":null,
              "fatal":false},
             {"code":27,"name":"PPDErr_NoControls","message":"the document has no controls","line":null,
              "keyword":null,"fatal":false}])",
         {}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.path);
        json j = Inspect(r.path);
        ASSERT_FALSE(j.is_discarded());
        EXPECT_EQ(j["valid"], true);
        EXPECT_EQ(j["errors"], json::parse(r.errors));
        std::vector<std::string> built = Keywords(j["controls"]);
        std::sort(built.begin(), built.end());
        std::vector<std::string> expected = r.controls;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(built, expected);
    }
    const json dup = Inspect(DataPath("duplicate-flags.ppd").string());
    EXPECT_EQ(Keywords(Find(dup["controls"], "*QJStaple")["items"]), (std::vector<std::string>{"None", "TopLeft"}));
}

TEST(KelvoPdeLineEnds, LfCrAndCrlfReadAlike) {
    const std::string lf = kelvotest::ReadFile(DataPath("line-endings/small-lf.ppd"));
    ASSERT_FALSE(lf.empty());
    const json expected = Inspect(DataPath("line-endings/small-lf.ppd").string());
    ASSERT_FALSE(expected.is_discarded());
    EXPECT_EQ(expected["errors"], json::array());
    EXPECT_EQ(Keywords(expected["controls"]),
              (std::vector<std::string>{"*QJDuplex", "*QJStaple", "*QJCopies", "*QJShift", "*Notes1", "*Notes2"}));
    EXPECT_EQ(Find(expected["controls"], "*Notes2")["defaultNotes"], "Front desk");

    const std::pair<const char*, const char*> variants[] = {{"lf", "\n"}, {"cr", "\r"}, {"crlf", "\r\n"}};
    for (const auto& [name, end] : variants) {
        SCOPED_TRACE(name);
        const std::string file = DataPath(std::string("line-endings/small-") + name + ".ppd").string();
        // The generated files differ from the LF one in their line ends only.
        std::string same;
        for (char c : lf)
            same += c == '\n' ? std::string(end) : std::string(1, c);
        EXPECT_EQ(kelvotest::ReadFile(file), same);
        EXPECT_EQ(Inspect(file), expected);
        // Code over several lines, with a blank line and a "*%" continuation.
        EXPECT_EQ(RunTool({"ps", file, "QJDuplex"}).text, R"(%%BeginFeature: *QJDuplex DuplexNoTumble
<</Duplex true
/Tumble false>>
setpagedevice
%%EndFeature
)");
    }
}

TEST(KelvoPdePs, NoteTextGoesIntoTheNotesFrame) {
    const std::string sample = SamplePath("kelvo-sample.ppd").string();
    RunResult r = RunTool({"ps", sample, "Notes1", "--note", "Rush \\ A"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.text, "%%BeginFeature: *Notes1 Rush \\ A\n<52757368205C2041> /QJNotes1 exch def\n%%EndFeature\n");
    EXPECT_EQ(RunTool({"ps", sample, "QJDuplex", "--note", "x"}).status, 1); // not a note
}
