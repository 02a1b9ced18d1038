// The statement loop: validity, errors and their fatality, early stops, headers.
#include <gtest/gtest.h>

#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "ParseHelpers.h"

using kelvotest::Parsed;
using kelvotest::Popup;

namespace {
const std::string kDuplex = Popup("*QJDuplex",
                                  "*QJDuplex None/Off: \"<</Duplex false>> setpagedevice\"\n"
                                  "*QJDuplex DuplexNoTumble/Long Edge: \"<</Duplex true>> setpagedevice\"\n",
                                  "*DefaultQJDuplex: None\n");
}

TEST(QJVPPD, HeaderValuesAndMakerVersions) {
    Parsed p("*APDialogExtension: \"/Library/Kelvo.plugin\"\n*%QJFileVersion: 7.1\n"
             "*%QJVersion: \"3.0\"\n" + kDuplex);
    QJVPPD& d = *p.doc;
    EXPECT_TRUE(d.IsValidPPD());
    EXPECT_STREQ(d.FormatVersion(), "4.3");
    EXPECT_STREQ(d.FileVersion(), "1.2");
    EXPECT_STREQ(d.PCFileName(), "KELVOT.PPD");
    EXPECT_STREQ(d.LanguageVersion(), "English");
    EXPECT_STREQ(d.LanguageEncoding(), "ISOLatin1");
    EXPECT_STREQ(d.ModelName(), "Kelvo Test");
    EXPECT_STREQ(d.PathToPDE(), "/Library/Kelvo.plugin");
    EXPECT_STREQ(d.QJFileVersion(), "7.1");
    EXPECT_STREQ(d.MakerQJVersion(), "\"3.0\""); // rest of line: quotes kept
    EXPECT_EQ(d.QJVersion(), nullptr);           // the base copy stays empty
    ASSERT_NE(d.GetTextConverter(), nullptr);
    EXPECT_EQ(p.ErrorCodes(), std::vector<int>{});
}

TEST(QJVPPD, PlatformVersionWinsOverPlainVersion) {
    Parsed p("*%QJVersionMac: 4.5\n*%QJVersion: 3.0\n" + kDuplex);
    EXPECT_STREQ(p.doc->MakerQJVersion(), "4.5");
    EXPECT_STREQ(p.doc->QJVersionMac(), "4.5");
}

TEST(QJVPPD, FirstStatementDecidesValidity) {
    Parsed wrongVersion("*PPD-Adobe: \"4.2\"\n" + kDuplex, kParseAll, {}, false);
    EXPECT_FALSE(wrongVersion.doc->IsValidPPD());
    EXPECT_EQ(wrongVersion.ErrorCodes(), (std::vector<int>{PPDErr_NotPPDFile, PPDErr_NoPropertyPages,
                                                             PPDErr_NoGroups, PPDErr_NoControls}));
    EXPECT_TRUE(wrongVersion.doc->GetErrors()->At(0)->IsFatal());

    Parsed notPPD("hello world\n", kParseAll, {}, false);
    EXPECT_EQ(notPPD.ErrorCodes().front(), PPDErr_NotPPDFile);

    // No first token at all: no test, not valid, but the statements are read.
    Parsed blankFirst(std::string("\n") + kelvotest::kHeader + kDuplex, kParseAll, {}, false);
    EXPECT_FALSE(blankFirst.doc->IsValidPPD());
    EXPECT_NE(blankFirst.Control("*QJDuplex"), nullptr);
}

TEST(QJVPPD, OverlongLineEndsTheLoopButClosingPassesRun) {
    Parsed p(kDuplex + "*% " + std::string(300, 'x') + "\n" +
             Popup("*QJLater", "*QJLater A/A: \"a\"\n", "*DefaultQJLater: A\n") + "*%QJShortcut: *QJDuplex\n");
    EXPECT_NE(p.Control("*QJDuplex"), nullptr);
    EXPECT_EQ(p.Control("*QJLater"), nullptr);
    EXPECT_EQ(p.doc->GetShortcuts()->Count(), 0u); // the loop ended before the statement
    EXPECT_TRUE(p.doc->IsValidPPD());
}

TEST(QJVPPD, ControlDeclarationErrors) {
    Parsed dup(kDuplex + kDuplex);
    EXPECT_EQ(dup.ErrorCodes(), std::vector<int>{PPDErr_Duplicate});
    EXPECT_EQ(dup.doc->GetControls()->All().size(), 1u);

    // The line after the flags is swallowed, not read as a statement.
    Parsed wrongLine("*%QJVFlags *QJX: \"\"\n*%QJShortcut: *QJDuplex\n" + kDuplex);
    EXPECT_EQ(wrongLine.ErrorCodes(), std::vector<int>{PPDErr_ControlParsing});
    EXPECT_EQ(wrongLine.doc->GetShortcuts()->Count(), 0u);

    // A group line for another key drops the declaration silently.
    Parsed mismatch("*%QJVFlags *QJA: \"\"\n*%QJVGroup *QJB: QJGroup\n" + kDuplex);
    EXPECT_EQ(mismatch.ErrorCodes(), std::vector<int>{});
    EXPECT_EQ(mismatch.Control("*QJA"), nullptr);

    Parsed badType("*%QJVFlags *QJT: \"\"\n*%QJVGroup *QJT: QJGroup\n*OpenUI *QJT/T: PickSome\n" + kDuplex);
    EXPECT_EQ(badType.ErrorCodes(), std::vector<int>{PPDErr_InvalidOpenUIType});
}

TEST(QJVPPD, OpenUIQJVBlocks) {
    Parsed closed("*%QJVFlags *QJO: \"\"\n*OpenUIQJV *QJO/O: PickOne\n*QJO A: \"x\"\n*CloseUIQJV: *QJO\n" + kDuplex);
    EXPECT_EQ(closed.ErrorCodes(), std::vector<int>{PPDErr_OpenUIQJVParsing2});
    EXPECT_TRUE(closed.doc->IsValidPPD());
    EXPECT_NE(closed.Control("*QJDuplex"), nullptr);

    Parsed open(kDuplex + "*%QJVFlags *QJO: \"\"\n*OpenUIQJV *QJO/O: PickOne\n*QJO A: \"x\"\n");
    EXPECT_EQ(open.ErrorCodes(), (std::vector<int>{PPDErr_OpenUIQJVParsing2, PPDErr_OpenUIQJVParsing1}));
    EXPECT_FALSE(open.doc->GetErrors()->At(0)->IsFatal());
    EXPECT_TRUE(open.doc->GetErrors()->At(1)->IsFatal());
    EXPECT_FALSE(open.doc->IsValidPPD());
}

TEST(QJVPPD, AllErrorsFatalStopsAtFirstWarning) {
    const std::string body = "*UIConstraints: *QJDuplex\n" + kDuplex;
    Parsed relaxed(body);
    EXPECT_NE(relaxed.Control("*QJDuplex"), nullptr);
    EXPECT_TRUE(relaxed.doc->IsValidPPD());

    Parsed strict(body, kParseAll, PPDHostInfo{"", true});
    EXPECT_EQ(strict.Control("*QJDuplex"), nullptr);
    EXPECT_FALSE(strict.doc->IsValidPPD());
    EXPECT_EQ(strict.ErrorCodes().front(), PPDErr_BadConstraint);
}

TEST(QJVPPD, AnnotationMarkerStopsOnlyForSomeHosts) {
    const std::string body = kDuplex + "*% APLANNOTATE END\n" +
                             Popup("*QJLater", "*QJLater A/A: \"a\"\n", "*DefaultQJLater: A\n");
    struct Row {
        const char* host;
        bool stops;
    } rows[] = {{"com.apple.PREVIEW", true}, {"com.adobe.InDesign", true}, {"net.Vectorworks.app", true},
                {"org.example.editor", false}, {"", false}};
    for (const Row& r : rows) {
        Parsed p(body, kParseAll, PPDHostInfo{r.host, false});
        EXPECT_EQ(p.Control("*QJLater") == nullptr, r.stops) << r.host;
    }
}

TEST(QJVPPD, StandardUIBlocksWithoutFlagsAreIgnored) {
    Parsed p("*OpenUI *Resolution/Resolution: PickOne\n*DefaultResolution: 600dpi\n"
             "*Resolution 600dpi/600 dpi: \"<</HWResolution [600 600]>> setpagedevice\"\n*CloseUI: *Resolution\n" +
             kDuplex);
    EXPECT_EQ(p.Control("*Resolution"), nullptr);
    EXPECT_EQ(p.ErrorCodes(), std::vector<int>{});
}

TEST(QJVPPD, EmptinessErrors) {
    Parsed p(""); // the declared group becomes an orphan group
    EXPECT_EQ(p.ErrorCodes(), (std::vector<int>{PPDErr_NoControls}));
    Parsed strict("", kParseNone);
    EXPECT_EQ(strict.ErrorCodes(), (std::vector<int>{PPDErr_NoGroups, PPDErr_NoControls}));
}

TEST(QJVPPD, ValueAccessByKey) {
    Parsed p(kDuplex);
    QJVPPD& d = *p.doc;
    EXPECT_EQ(d.CopyValueForKey("QJDuplex"), "None");
    EXPECT_TRUE(d.SetValueForKey("*QJDuplex", "DuplexNoTumble"));
    EXPECT_EQ(d.CopyValueForKey("*QJDuplex"), "DuplexNoTumble");
    EXPECT_FALSE(d.SetValueForKey("QJMissing", "x"));
    EXPECT_EQ(d.CopyValueForKey("QJMissing"), std::nullopt);

    auto all = d.CopyAllValues();
    EXPECT_EQ(all, (std::map<std::string, std::string>{{"*QJDuplex", "DuplexNoTumble"}}));
    all["*QJDuplex"] = "None";
    d.SetAllValues(all);
    EXPECT_EQ(d.CopyValueForKey("QJDuplex"), "None");
}

TEST(QJVPPD, PrintSizeFollowingPageSizeIsTestedAsThePageSize) {
    Parsed p(Popup("*PageSize", "*PageSize Letter/Letter: \"\"\n*PageSize A4/A4: \"\"\n", "*DefaultPageSize: Letter\n") +
             Popup("*QJPrintSize",
                   "*QJPrintSize SameAsPageSize/Same: \"\"\n*QJPrintSize Letter/Letter: \"\"\n"
                   "*QJPrintSize A4/A4: \"\"\n*QJPrintSize CustomPrintSize/Custom: \"\"\n",
                   "*DefaultQJPrintSize: SameAsPageSize\n") +
             Popup("*QJDuplex", "*QJDuplex None/Off: \"\"\n*QJDuplex On/On: \"\"\n", "*DefaultQJDuplex: None\n") +
             "*UIConstraints: *QJDuplex On *QJPrintSize A4\n*UIConstraints: *QJDuplex On *QJPrintSize CustomPrintSize\n");
    QJVPPD& d = *p.doc;
    auto* printSize = p.As<PPDXPopupControl>("*QJPrintSize");
    EXPECT_FALSE(d.IsKVConstrained("*QJDuplex", "On")); // follows Letter
    d.SetValueForKey("PageSize", "A4");
    EXPECT_TRUE(d.IsKVConstrained("*QJDuplex", "On")); // follows A4
    EXPECT_EQ(printSize->CopyCurrentControlValueString(), "SameAsPageSize"); // put back afterwards
    d.SetValueForKey("PageSize", "Letter");
    d.SetCustomPageSizeChosen(true);
    EXPECT_TRUE(d.IsKVConstrained("*QJDuplex", "On")); // tested as the custom size
    d.SetCustomPageSizeChosen(false);
    d.SetValueForKey("QJPrintSize", "Letter");
    EXPECT_FALSE(d.IsKVConstrained("*QJDuplex", "On"));
    EXPECT_FALSE(d.IsKVConstrained("*QJNever", "Seen")); // never interned: no conflict
}

TEST(QJVPPD, RunTimeMenusAreCreatedAndRebuilt) {
    Parsed p(kDuplex);
    PopupItemList items;
    items.push_back(std::make_unique<_PopupItem>("Tray1", std::string("Tray 1"), PSBytes{}));
    items.push_back(std::make_unique<_PopupItem>("Tray2", std::string("Tray 2"), PSBytes{}));
    PPDXPopupControl* menu = p.doc->PPDCreatePopupMenu("QJTrays", "*QJTrayMenu", "Trays", std::move(items),
                                                       CString("Tray2"));
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(p.Control("*QJTrayMenu"), menu);
    ASSERT_NE(menu->GetParent(), nullptr);
    EXPECT_STREQ(menu->GetParent()->Keyword(), "QJTrays");
    EXPECT_EQ(menu->CopyCurrentControlValueString(), "Tray2");
    EXPECT_EQ(p.doc->PPDCreatePopupMenu(nullptr, "*QJX", "X", PopupItemList{}, std::nullopt), nullptr);

    PopupItemList fresh;
    fresh.push_back(std::make_unique<_PopupItem>("Tray3", std::string("Tray 3"), PSBytes{}));
    EXPECT_TRUE(p.doc->PPDReconcilePopupMenu("*QJTrayMenu", "Trays", std::move(fresh), CString("Tray3")));
    EXPECT_EQ(menu->CopyCurrentControlValueString(), "Tray3"); // Tray2 is gone: the new default stands
    EXPECT_FALSE(p.doc->PPDReconcilePopupMenu("*QJMissing", "x", PopupItemList{}, std::nullopt));
}
