// The print-time assembly: the order and bytes of every piece, and `kelvo-pde job`.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/ParseHelpers.h"
#include "output/Watermark.h"
#include "panel/PDEData.h"
#include "platform/memory/InMemoryHost.h"
#include "store/PrinterAddressList.h"

using namespace kelvo::output;
using kelvo::panel::PDEData;
using kelvo::panel::PDEDataOptions;
using kelvotest::Parsed;
using kelvotest::TempFile;

namespace {

/// A control of the test group: flags, group, the menu and its choices.
std::string Ui(const std::string& key, const char* type, const char* def, const char* choices) {
    const std::string name = key.substr(1);
    return "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key + "/" + name + ": " + type +
           "\n*Default" + name + ": " + def + "\n" + choices + "*CloseUI: " + key + "\n";
}

// Controls for every step, in the order the walk meets them.
const std::string kFullPPD =
    "*%QJVersion: \"3.1\"\n" +
    Ui("*Collate", "Boolean", "True", R"(*Collate True/On: "<</Collate true>> setpagedevice"
*Collate False/Off: "<</Collate false>> setpagedevice"
)") + Ui("*PageSize", "PickOne", "A4", R"(*PageSize Letter/Letter: "<</PageSize [612 792]>> setpagedevice"
*PageSize A4/A4: "<</PageSize [595 842]>> setpagedevice"
)") + Ui("*QJPrintSize", "PickOne", "SameAsPageSize", R"(*QJPrintSize SameAsPageSize/Same: ""
*QJPrintSize A4/A4: "/QJPrintSize (A4) def"
*QJPrintSize CustomPrintSize/Custom: "/QJPrintSize (Custom) def"
)") + R"(*%ParamCustomPrintSize Width: 1 points 288 1296
*%ParamCustomPrintSize Height: 2 points 288 3600
)" + Ui("*QJOrientation", "Boolean", "False", "*QJOrientation True/On: \"/QJO true def\"\n"
                                              "*QJOrientation False/Off: \"/QJO false def\"\n") +
    R"(*%QJVFlags *QJScale: ""
*%QJVGroup *QJScale: QJGroup
*%QJVRange *QJScale/Scale: (5;400;1;100) "/QJScale <*QJScale> def"
)" + Ui("*QJOutProfile", "PickOne", "Std", "*QJOutProfile Std/Standard: \"/QJOut (Std) def\"\n"
                                            "*QJOutProfile Vivid/Vivid: \"/QJOut (Vivid) def\"\n") +
    R"(*%QJVJobNote *QJOutProfile/Profile Name: 64
*% The profile name the controller reports.
)" + Ui("*QJDestination", "PickOne", "Print", "*QJDestination Print/Print: \"/QJDest 0 def\"\n"
                                              "*QJDestination File/File: \"/QJDest 1 def\"\n") +
    R"(*%QJVJobNote *QJMailboxName/Mailbox: 255
*% Where a file destination writes.
*%QJVJobNote *Notes1/Notes 1: 64
*% A comment line for the controller.
)" + Ui("*QJDuplex", "PickOne", "None", R"(*QJDuplex None/Off: "<</Duplex false>> setpagedevice"
*QJDuplex Long/Long Edge: "<</Duplex true>> setpagedevice"
)") + "*%QJVSpecialOption *QJUTF8_Version: 3\n*%QJVSpecialOption *Quorant: True\n";

std::string Text(const InjectionPiece& piece) { return std::string(piece.bytes.begin(), piece.bytes.end()); }

/// "SITE|TEXT" per piece; a watermark procedure set is shown by its name
/// only (its bytes are the watermark tests' business).
std::vector<std::string> Rendered(const std::vector<InjectionPiece>& pieces) {
    std::vector<std::string> out;
    for (const InjectionPiece& piece : pieces) {
        std::string text = Text(piece);
        if (text.rfind("%%QJV Begin Watermark resource", 0) == 0)
            text = "<watermark>";
        out.push_back(std::to_string(piece.site) + "|" + text);
    }
    return out;
}

std::vector<std::string> AtSite(const std::vector<InjectionPiece>& pieces, std::int32_t site) {
    std::vector<std::string> out;
    for (const InjectionPiece& piece : pieces)
        if (piece.site == site)
            out.push_back(Text(piece));
    return out;
}

bool AnyPieceHas(const std::vector<InjectionPiece>& pieces, std::string_view text) {
    return std::any_of(pieces.begin(), pieces.end(),
                       [&](const InjectionPiece& p) { return Text(p).find(text) != std::string::npos; });
}

/// `path` with no file there.
const std::filesystem::path& Fresh(const std::filesystem::path& path) {
    std::filesystem::remove(path);
    return path;
}

/// A dialog over a parsed PPD: the in-memory host, an address list of its
/// own (printer "office", bidirectional or not) and no PPD copy.
struct Dialog {
    explicit Dialog(const std::string& body, bool bidi = false)
        : parsed(body), folder("", "list.plist"), list(Fresh(folder.Path())) {
        list.Add("office", "10.0.0.5", bidi);
        EXPECT_TRUE(list.Save());
        host.MutablePrinter().name = "office";
        host.SetProcessName("writer");
    }
    PDEData& Data() {
        if (!data) {
            PDEDataOptions options;
            options.addressList = folder.Path();
            options.copyPPD = false;
            data = std::make_unique<PDEData>(parsed.doc.get(), "office", &host, options);
        }
        return *data;
    }
    std::vector<InjectionPiece> Assemble() {
        kelvo::platform::InMemoryPrintSettings& settings =
            static_cast<kelvo::platform::InMemoryPrintSettings&>(host.Settings());
        PrintSettingsTicket base(nullptr, &settings);
        QJVJobTicket ticket(&base, &settings, CreatePostscriptDataFileKey());
        EXPECT_EQ(Data().OutPostscriptData(ticket), 0);
        return ticket.Pieces();
    }
    void Set(const char* key, const char* value) { ASSERT_TRUE(parsed.doc->SetValueForKey(key, value)) << key; }
    void SetNote(const char* key, const char* text) {
        PPDXJobNote* note = parsed.doc->GetControls()->FindJobNote(key, true);
        ASSERT_NE(note, nullptr) << key;
        note->SetNotes(text);
    }

    Parsed parsed;
    TempFile folder;
    kelvo::store::QJVTessaryPrinterPList list;
    kelvo::platform::InMemoryHost host;
    std::unique_ptr<PDEData> data;
};

std::string Dir(const TempFile& file) { return file.Path().parent_path().string(); }

} // namespace

TEST(Assembly, StepOrderByteForByte) {
    Dialog d(kFullPPD, true);
    TempFile box("", "unused");
    const std::string mailbox = Dir(box) + "/mailbox.prn";
    d.host.SetApplicationID("com.adobe.InDesign");
    d.host.Page().orientation = 2;
    d.Set("*QJPrintSize", "CustomPrintSize");
    d.Set("*QJScale", "150");
    d.Set("*QJDestination", "File");
    d.Set("*QJDuplex", "Long");
    auto* custom = dynamic_cast<PPDXCustomPageSizeControl*>(d.parsed.doc->GetPPDXControlForKey("*CustomPrintSize"));
    ASSERT_NE(custom, nullptr);
    custom->SetWidth(300.5f);
    custom->SetHeight(400.25f);
    d.SetNote("*QJOutProfile", "Fine (EFBBBF)");
    d.SetNote("*QJMailboxName", mailbox.c_str());
    d.SetNote("*Notes1", "Rush");
    PDEData& data = d.Data();
    data.AddMixedMedia("*QJMMRange", "1-3 Tray2");
    data.AddMixedMedia("*QJMMRange", "4 Tray3");
    data.AddPadCover("QJFrontCover", "Printed");
    data.SetPaperCatalogValue(0, "17");
    data.SetPaperCatalogValue(1, "Glossy 200");
    data.Watermarks().emplace_back("0,0,0,255,0,0,u,0,u,450,u,u,48,Helvetica,DRAFT");
    ASSERT_TRUE(data.SelectWatermark(0));

    const std::vector<InjectionPiece> pieces = d.Assemble();
    const std::vector<std::string> expected = {
        // 1. suppression: every keyword but *PageSize
        "-9|*Collate", "-9|*QJPrintSize", "-9|*CustomPrintSize", "-9|*QJOrientation", "-9|*QJScale",
        "-9|*QJOutProfile", "-9|*QJOutProfile", "-9|*QJDestination", "-9|*QJMailboxName", "-9|*Notes1",
        "-9|*QJDuplex", "-9|*QJUTF8_Version", "-9|*Quorant",
        // 3. the first control, whatever it is
        "81|%%BeginFeature: *Collate True\n<</Collate true>> setpagedevice\n%%EndFeature\n",
        // 4. N-up for a landscape InDesign document
        "81|%%QJV Begin N-Up_Setting\r\nuserdict /KelvoZTdict known\r\n{\r\nKelvoZTdict /QJVDoing_N_Up known\r\n"
        "{ 1 false KelvoZTdict /QJVDoing_N_Up get exec } if\r\n} if\r\n%%QJV End\r\n",
        // 5. source application
        "81|%%BeginFeature: *QJSourceAppType WRITER\n\n%%EndFeature\n",
        // 6. feature code
        "70|%%BeginFeature: *PageSize A4\n<</PageSize [595 842]>> setpagedevice\n%%EndFeature\n",
        "81|", // the custom size has no code of its own
        "81|%%BeginFeature: *QJOrientation False\n%%EndFeature\n",
        "81|%%BeginFeature: *QJDestination File\n/QJDest 1 def\n%%EndFeature\n",
        "81|%%BeginFeature: *QJDuplex Long\n<</Duplex true>> setpagedevice\n%%EndFeature\n",
        "81|", "81|", // special options
        // 7, 8. mixed media, covers
        "81|%%BeginFeature: *QJMMRange 1-3 Tray2\n%%EndFeature\n",
        "81|%%BeginFeature: *QJMMRange 4 Tray3\n%%EndFeature\n",
        "81|%%BeginFeature: *QJFrontCover Printed\n%%EndFeature\n",
        // 9. colour control with its text (bidirectional printer)
        "81|%%BeginFeature: *QJOutProfile Fine (\xEF\xBB\xBF)\n /ZTXsetDynamicOption where\n"
        "        { pop (*QJOutProfile) (Fine \\(\xEF\xBB\xBF\\)) ZTXsetDynamicOption } if\n%%EndFeature\n",
        // 10. job notes
        "504|%%MacCoreNUp: true\n", "504|%%Orientation: Landscape\n",
        "81|%%BeginFeature: *QJOutProfile Fine (EFBBBF)\n%%EmptyOption\n\n%%EndFeature\n",
        "81|%%BeginFeature: *QJMailboxName " + mailbox + "\n%%EmptyOption\n\n%%EndFeature\n",
        "30|%%QJVCustom1: Rush\n",
        // 11. watermark
        "81|<watermark>",
        // 12. scale
        "81|%%BeginFeature: *QJScale 150\n userdict /ZTXQJVsetpageproperties known {  << /ZTXSetQJScale [ 1.50 ] >> "
        "ZTXQJVsetpageproperties } { /ZTXSetQJScale where { pop 1.50 ZTXSetQJScale } if } ifelse \n%%EndFeature\n",
        // 13. paper catalog: set values only, then the size they go with
        "81|%%BeginFeature: **QJPCMID 17\n%%EndFeature\n",
        "81|%%BeginFeature: **QJPCName Glossy 200\n%%EndFeature\n",
        "81|%%BeginFeature: *QJPCPPDSize CustomPageSize0\n%%EndFeature\n",
        // 14. custom print size
        "81|%%BeginFeature: *CustomPrintSize 300.50 400.25\n   userdict /ZTXQJVsetpageproperties known\n"
        "   {<< /ZTXsetPrintSize [ 300.50 400.25 0 0 1 ] >> ZTXQJVsetpageproperties} if\n%%EndFeature\n",
        // 15. print size differs from the page size: its own code
        "81|%%BeginFeature: *QJPrintSize CustomPrintSize\n/QJPrintSize (Custom) def\n%%EndFeature\n",
        // 16. file destination
        "900|" + mailbox,
        // 17-19. closing comments
        "501|%%QJVDriver\n",
        "71|%%EndKelvoPreparse1: True\n/ZTXPPDInsertionComplete where { pop ZTXPPDInsertionComplete } if\n",
        "501|%%QJUTF8_Version: 3 \n",
    };
    const std::vector<std::string> actual = Rendered(pieces);
    for (std::size_t i = 0; i < std::max(actual.size(), expected.size()); ++i)
        EXPECT_EQ(i < actual.size() ? actual[i] : "(none)", i < expected.size() ? expected[i] : "(none)")
            << "piece " << i;
    // The watermark is the selected one's procedure set for the page's orientation.
    QJVWatermark same("0,0,0,255,0,0,u,0,u,450,u,u,48,Helvetica,DRAFT");
    const auto it = std::find_if(pieces.begin(), pieces.end(), [](const InjectionPiece& p) {
        return Text(p).rfind("%%QJV Begin Watermark", 0) == 0;
    });
    ASSERT_NE(it, pieces.end());
    EXPECT_EQ(Text(*it), *BuildWatermarkProcedure(same, 2, "English"));
    EXPECT_TRUE(std::filesystem::is_regular_file(mailbox));
}

TEST(Assembly, ScaleDigits) {
    for (const auto& [value, factor] : {std::pair{"5", "0.05"}, {"75", "0.75"}, {"100", "1.00"}, {"150", "1.50"},
                                        {"400", "4.00"}, {"10", "0.10"}}) {
        Dialog d(kFullPPD);
        d.Set("*QJScale", value);
        const std::string line = std::string("%%BeginFeature: *QJScale ") + value +
                                 "\n userdict /ZTXQJVsetpageproperties known {  << /ZTXSetQJScale [ " + factor +
                                 " ] >> ZTXQJVsetpageproperties } { /ZTXSetQJScale where { pop " + factor +
                                 " ZTXSetQJScale } if } ifelse \n%%EndFeature\n";
        const std::vector<std::string> feature = AtSite(d.Assemble(), kInjectFeatureCode);
        EXPECT_EQ(std::count(feature.begin(), feature.end(), line), 1) << value;
    }
}

TEST(Assembly, FirstControlAlwaysCollateOtherwiseNever) {
    // *Collate first: emitted once by the first-control rule only.
    for (const char* value : {"True", "False"}) {
        Dialog d(kFullPPD);
        d.Set("*Collate", value);
        const auto feature = AtSite(d.Assemble(), kInjectFeatureCode);
        EXPECT_EQ(std::count_if(feature.begin(), feature.end(),
                                [](const std::string& t) { return t.find("*Collate") != std::string::npos; }),
                  1)
            << value;
        EXPECT_EQ(feature.front().rfind(std::string("%%BeginFeature: *Collate ") + value, 0), 0u);
    }
    // *Collate later: never emitted, whatever its value.
    const std::string later =
        "*%QJVJobNote *Memo/Memo: 64\n*% first of all\n" + kFullPPD.substr(kFullPPD.find('\n') + 1);
    for (const char* value : {"True", "False"}) {
        Dialog d(later);
        d.Set("*Collate", value);
        d.SetNote("*Memo", "First");
        const auto feature = AtSite(d.Assemble(), kInjectFeatureCode);
        for (const std::string& text : feature)
            EXPECT_EQ(text.find("Collate"), std::string::npos) << value;
        // A job note first is emitted as a control too, besides its own output.
        const std::string memo = "%%BeginFeature: *Memo First\n%%EmptyOption\n\n%%EndFeature\n";
        EXPECT_EQ(feature.front(), memo);
        EXPECT_EQ(std::count(feature.begin(), feature.end(), memo), 2);
    }
}

TEST(Assembly, PaperCatalogSkipsUnsetValues) {
    struct Row {
        std::vector<const char*> values; // the four values
        bool bidi;
        const char* printSize;
        std::vector<std::string> lines;
    } rows[] = {
        {{"-1", "-1", "-1", "-1"}, true, "A4", {}},
        {{"-1", "Plain", "-1abc", "-1"}, true, "A4",
         {"%%BeginFeature: **QJPCName Plain\n%%EndFeature\n", "%%BeginFeature: *QJPCPPDSize A4\n%%EndFeature\n"}},
        {{"3", "A\nB", "-2", "x"}, true, "SameAsPageSize",
         {"%%BeginFeature: **QJPCMID 3\n%%EndFeature\n", "%%BeginFeature: **QJPCName A B\n%%EndFeature\n",
          "%%BeginFeature: **QJCoverSizePCMID -2\n%%EndFeature\n",
          "%%BeginFeature: **QJCoverSizePCName x\n%%EndFeature\n",
          "%%BeginFeature: *QJPCPPDSize SameAsPageSize\n%%EndFeature\n"}},
        {{"3", "-1", "-1", "-1"}, false, "A4", {}}, // needs the bidirectional printer
    };
    for (const Row& row : rows) {
        Dialog d(kFullPPD, row.bidi);
        d.Set("*QJPrintSize", row.printSize);
        for (std::size_t i = 0; i < 4; ++i)
            d.Data().SetPaperCatalogValue(i, row.values[i]);
        std::vector<std::string> lines;
        for (const std::string& text : AtSite(d.Assemble(), kInjectFeatureCode))
            if (text.find("PC") != std::string::npos)
                lines.push_back(text);
        EXPECT_EQ(lines, row.lines) << row.values[1];
    }
    // Only a version 3 document names the size.
    Dialog old("*%QJVersion: \"2.9\"\n" + kFullPPD.substr(kFullPPD.find('\n') + 1), true);
    old.Data().SetPaperCatalogValue(0, "5");
    EXPECT_FALSE(AnyPieceHas(old.Assemble(), "QJPCPPDSize"));
}

TEST(Assembly, PrintSizeAndTheHostPageSize) {
    const std::string same = "%%BeginFeature: *QJPrintSize SameAsPageSize\n\n%%EndFeature\n";
    const std::string own = "%%BeginFeature: *QJPrintSize A4\n/QJPrintSize (A4) def\n%%EndFeature\n";
    struct Row {
        const char* pageSize;
        bool usesOS;
        std::string printSizePiece;
        std::vector<std::string> pageSizePieces; // at the site before the end of the setup
    } rows[] = {
        // Print size A4 equal to the page size: the fixed text.
        {"A4", false, same, {"%%BeginFeature: *PageSize A4\n<</PageSize [595 842]>> setpagedevice\n%%EndFeature\n"}},
        // The host's page size: its own code, even when equal; no *PageSize.
        {"A4", true, own, {}},
        // Different: its own code.
        {"Letter", false, own,
         {"%%BeginFeature: *PageSize Letter\n<</PageSize [612 792]>> setpagedevice\n%%EndFeature\n"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.pageSize) + (row.usesOS ? ", host page size" : ""));
        Dialog d(kFullPPD);
        d.Set("*PageSize", row.pageSize);
        d.Set("*QJPrintSize", "A4");
        d.Data().SetUsesOSPageSize(row.usesOS);
        const std::vector<InjectionPiece> pieces = d.Assemble();
        const auto feature = AtSite(pieces, kInjectFeatureCode);
        EXPECT_EQ(std::count(feature.begin(), feature.end(), row.printSizePiece), 1);
        EXPECT_EQ(AtSite(pieces, kInjectBeforeEndSetup), row.pageSizePieces);
        // *PageSize is never suppressed, whoever writes it.
        const auto suppressed = AtSite(pieces, kInjectSuppressFeature);
        EXPECT_EQ(std::count(suppressed.begin(), suppressed.end(), "*PageSize"), 0);
    }
}

TEST(Assembly, UserAndPPDTextStaysOnItsCommentLine) {
    Dialog d(kFullPPD, true);
    TempFile box("", "unused");
    const std::string folder = Dir(box);
    d.host.SetProcessName("wri\nter");
    d.Set("*QJDestination", "File");
    d.SetNote("*QJMailboxName", (folder + "/box\nshowpage").c_str());
    d.SetNote("*QJOutProfile", "Pro\nfile)");
    d.SetNote("*Notes1", "a\nb");
    d.Data().AddMixedMedia("*QJMM\nRange", "1-3\n Tray2");
    d.Data().AddPadCover("QJCover\r", "Front\nBack");
    d.Data().SetPaperCatalogValue(1, "Gloss\ny");
    const std::vector<InjectionPiece> pieces = d.Assemble();
    // No piece holds a line that starts with anything but a comment, a
    // blank or known code: every typed line break became a space.
    for (const char* injected : {"\nter", "\nshowpage", "\nfile", "\nb", "\nRange", "\n Tray2", "\nBack", "\ny", "\r"})
        EXPECT_FALSE(AnyPieceHas(pieces, injected)) << injected;
    for (const char* kept : {"*QJSourceAppType WRI TER\n", "*QJMM Range 1-3  Tray2\n", "*QJCover  Front Back\n",
                             "**QJPCName Gloss y\n", "%%QJVCustom1: a b\n", "*QJOutProfile Pro file)\n",
                             "(Pro\\012file\\)) ZTXsetDynamicOption"})
        EXPECT_TRUE(AnyPieceHas(pieces, kept)) << kept;
    EXPECT_EQ(AtSite(pieces, kInjectMailboxPath), std::vector<std::string>{folder + "/box showpage"});
    EXPECT_TRUE(std::filesystem::exists(folder + "/box showpage"));
}

TEST(Assembly, MailboxFileIsCreatedSafely) {
    TempFile box("", "unused");
    const std::string folder = Dir(box), target = folder + "/target";
    std::filesystem::create_symlink(target, folder + "/link.prn");
    std::ofstream(folder + "/mine.prn") << "kept";
    const std::pair<std::string, bool> rows[] = {{folder + "/new.prn", true},
                                                 {folder + "/link.prn", false},
                                                 {folder + "/mine.prn", false},
                                                 {"relative.prn", false}};
    for (const auto& [path, created] : rows) {
        SCOPED_TRACE(path);
        Dialog d(kFullPPD);
        d.Set("*QJDestination", "File");
        d.SetNote("*QJMailboxName", path.c_str());
        EXPECT_EQ(AtSite(d.Assemble(), kInjectMailboxPath), std::vector<std::string>{path});
        struct stat st {};
        if (created) {
            ASSERT_EQ(lstat(path.c_str(), &st), 0);
            EXPECT_TRUE(S_ISREG(st.st_mode));
            EXPECT_EQ(st.st_mode & 07007, 0u); // nothing for others
            EXPECT_EQ(st.st_mode & 0600, 0600u);
        }
    }
    // A link is never followed, a file there never truncated, a relative path never made.
    EXPECT_FALSE(std::filesystem::exists(target));
    EXPECT_TRUE(std::filesystem::is_symlink(folder + "/link.prn"));
    EXPECT_EQ(kelvotest::ReadFile(folder + "/mine.prn"), "kept");
    EXPECT_FALSE(std::filesystem::exists("relative.prn"));
    // No file destination: no path.
    Dialog d(kFullPPD);
    d.SetNote("*QJMailboxName", (folder + "/unused.prn").c_str());
    EXPECT_TRUE(AtSite(d.Assemble(), kInjectMailboxPath).empty());
    EXPECT_FALSE(std::filesystem::exists(folder + "/unused.prn"));
}

TEST(Assembly, ColourControlsWithoutTheirTextOrPrinterAnswers) {
    // With both, the text goes out (see the step order); without the
    // bidirectional printer the text is dropped, and without a note the menu speaks.
    const std::string popupCode = "%%BeginFeature: *QJOutProfile Vivid\n/QJOut (Vivid) def\n%%EndFeature\n";
    for (const bool bidi : {false, true}) {
        std::string body = kFullPPD;
        if (bidi) {
            const std::size_t at = body.find("*%QJVJobNote *QJOutProfile");
            body.erase(at, body.find("*%QJVFlags *QJDestination") - at);
        }
        Dialog d(body, bidi);
        d.Set("*QJOutProfile", "Vivid");
        if (!bidi)
            d.SetNote("*QJOutProfile", "My Profile");
        std::vector<std::string> colour;
        for (const std::string& text : AtSite(d.Assemble(), kInjectFeatureCode))
            if (text.rfind("%%BeginFeature: *QJOutProfile", 0) == 0 && text.find("EmptyOption") == std::string::npos)
                colour.push_back(text);
        EXPECT_EQ(colour, std::vector<std::string>{popupCode}) << bidi;
        if (!bidi) {
            EXPECT_STREQ(d.parsed.doc->GetControls()->FindJobNote("*QJOutProfile", true)->GetNotes(), "");
        }
    }
}

TEST(Assembly, NUpSettingOnlyForLandscapeInDesign) {
    struct Row {
        const char* app;
        int orientation;
        bool nup;
    } rows[] = {{"com.adobe.InDesign", 2, true}, {"com.adobe.InDesign.CC", 4, true},
                {"com.adobe.InDesign", 1, false}, {"com.adobe.InDesign", 3, false}, {"org.example.Writer", 2, false}};
    for (const Row& row : rows) {
        Dialog d(kFullPPD);
        d.host.SetApplicationID(row.app);
        d.host.Page().orientation = row.orientation;
        EXPECT_EQ(AnyPieceHas(d.Assemble(), "N-Up_Setting"), row.nup) << row.app << " " << row.orientation;
    }
}

TEST(Assembly, NoWatermarkWhenNoneIsSelected) {
    Dialog d(kFullPPD);
    d.Data().Watermarks().emplace_back("0,0,0,0,0,0,u,0,u,0,u,u,10,Helvetica,T");
    EXPECT_FALSE(AnyPieceHas(d.Assemble(), "Watermark"));
    EXPECT_FALSE(d.Data().SelectWatermark(1));
    EXPECT_EQ(d.Data().SelectedWatermark(), -1);
    EXPECT_FALSE(AnyPieceHas(d.Assemble(), "Watermark"));
}

// ---- kelvo-pde job ----

TEST(JobCommand, SampleTicketLoadsAsAlternatingIntegersAndData) {
    std::string found;
    if (kelvotest::RunShell("command -v python3", found) != 0)
        GTEST_SKIP() << "python3 is not installed";
    TempFile out("", "ticket.plist");
    const kelvotest::FullRun run =
        kelvotest::RunToolFull({"job", kelvotest::SamplePath("kelvo-sample.ppd").string(), "-o", out.PathString(),
                                "--set", "QJDuplex=DuplexTumble", "--note", "Notes1=Rush job", "--watermark",
                                "0,0,0,255,0,0,u,1,u,450,u,u,48,Helvetica,DRAFT"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, out.PathString() + "\n");
    const std::string script =
        "import plistlib,sys\n"
        "a=plistlib.load(open(sys.argv[1],'rb'))\n"
        "assert isinstance(a,list) and len(a)%2==0, 'not pairs'\n"
        "for i in range(0,len(a),2):\n"
        "  assert type(a[i]) is int and isinstance(a[i+1],bytes), i\n"
        "sites=[a[i] for i in range(0,len(a),2)]\n"
        "data=b''.join(a[i] for i in range(1,len(a),2))\n"
        "assert sites[0]==-9 and 70 in sites and 501 in sites and 71 in sites, sites\n"
        "assert b'*QJDuplex DuplexTumble' in data and b'QJV Begin Watermark' in data\n"
        "print(len(a)//2)\n";
    TempFile check(script, "check.py");
    std::string output;
    EXPECT_EQ(kelvotest::RunShell("python3 " + check.PathString() + " " + out.PathString(), output), 0) << output;
    EXPECT_GT(std::stoi(output), 40);
}

TEST(JobCommand, StateCarriesTheValuesAndThePath) {
    TempFile state("", "state.json");
    std::filesystem::remove(state.Path());
    const std::string ticket = Dir(state) + "/t.plist";
    const std::string ppd = kelvotest::SamplePath("kelvo-sample.ppd").string();
    auto run = kelvotest::RunToolFull({"job", ppd, "--state", state.PathString(), "-o", ticket, "--set",
                                       "QJStaple=TopLeft", "--orientation", "2", "--process", "draw"});
    ASSERT_EQ(run.status, 0) << run.err;
    // The ticket's path is kept in the print settings, as the panel keeps it.
    const std::string saved = kelvotest::ReadFile(state.Path());
    EXPECT_NE(saved.find("\"QJV.PSData.com.qjv.print.pde.5D660F68-4131-4BE6-AD6C-D05E4C176E58.PInf\""),
              std::string::npos)
        << saved;
    // A second run starts from the saved values.
    run = kelvotest::RunToolFull({"job", ppd, "--state", state.PathString(), "-o", ticket});
    ASSERT_EQ(run.status, 0) << run.err;
    run = kelvotest::RunToolFull({"ticket", "show", ticket});
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char* text : {"%%Orientation: Landscape", "*QJStaple TopLeft", "*QJSourceAppType DRAW"})
        EXPECT_NE(run.out.find(text), std::string::npos) << text;
}

TEST(JobCommand, Refusals) {
    const std::string ppd = kelvotest::SamplePath("kelvo-sample.ppd").string();
    TempFile out("", "t.plist");
    struct Row {
        std::vector<std::string> args;
        int status;
        std::string message;
    } rows[] = {
        {{"--set", "QJStaple=Sideways"}, 1, "has no choice"},
        {{"--set", "NoSuch=1"}, 1, "no control"},
        {{"--set", "QJStaple"}, 1, "KEY=VALUE"},
        {{"--note", "QJStaple=text"}, 1, "not a job note"},
        {{"--orientation", "5"}, 1, "orientation"},
        {{"--key-file", "/nonexistent/keys"}, 2, "/nonexistent/keys"},
        // A missing state starts empty, but one that cannot be written is an error.
        {{"--state", out.PathString() + "/state.json"}, 2, out.PathString() + "/state.json"},
    };
    for (const Row& row : rows) {
        std::vector<std::string> args = {"job", ppd, "-o", out.PathString()};
        args.insert(args.end(), row.args.begin(), row.args.end());
        const kelvotest::FullRun run = kelvotest::RunToolFull(args);
        EXPECT_EQ(run.status, row.status) << row.args[0];
        EXPECT_NE(run.err.find(row.message), std::string::npos) << run.err;
    }
    EXPECT_EQ(kelvotest::RunToolFull({"job", "/nonexistent.ppd"}).status, 2);
}
