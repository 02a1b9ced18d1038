// Statements that build the model: hierarchy, popups, Booleans, ranges, notes, constraints.
#include <gtest/gtest.h>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXFixedOption.h"
#include "ParseHelpers.h"

using kelvotest::Parsed;
using kelvotest::Popup;

namespace {
const std::string kChoicesAB = "*QJP A/Choice A: \"(a) pop\"\n*QJP B/Choice B: \"(b) pop\"\n";
}

TEST(Hierarchy, PagesPanesRollDownsAndTitles) {
    Parsed p("*%QJVPropPage QJApp/App Only: \"True|App\"\n"
             "*%QJVPropPage QJHidden/Hidden: \"\"\n"
             "*%QJVGroupName QJPane/Pane: \"True\"\n"
             "*%QJVGroupName QJRoll/Roll: \"True\"\n"
             "*%QJVParent QJPane/QJPage: \"True|Scrollpane\"\n"
             "*%QJVParent QJRoll/QJPane: \"True|Rolldown\"\n"
             "*%QJVParent QJRoll/QJNoPane: \"True|Rolldown\"\n"
             "*%QJVParent QJPane/QJNoPage: \"True|Scrollpane\"\n" +
             Popup("*QJP", kChoicesAB, "*DefaultQJP: A\n", "PickOne", "QJRoll"));
    QJVPPD& d = *p.doc;
    EXPECT_EQ(p.ErrorCodes(), (std::vector<int>{PPDErr_ParentParsingNoParent, PPDErr_ParentParsingNoParent}));
    EXPECT_STREQ(d.GetErrors()->At(0)->Keyword(), "QJNoPane");

    PPDXProperty* app = d.GetProperties()->Find("QJApp");
    ASSERT_NE(app, nullptr);
    EXPECT_FALSE(app->ShowInPrintProp());
    EXPECT_TRUE(app->ShowInApp());
    ASSERT_NE(d.GetProperties()->Find("QJHidden"), nullptr); // hidden pages kept when parsing hidden
    EXPECT_FALSE(d.GetProperties()->Find("QJHidden")->IsVisible());

    auto* pane = dynamic_cast<PPDXScrollPane*>(d.GetGroups()->Find("QJPane"));
    ASSERT_NE(pane, nullptr);
    PPDXProperty* page = d.GetProperties()->Find("QJPage");
    EXPECT_EQ(pane->GetParent(), page);
    EXPECT_EQ(page->GetScrollDown(), pane); // the later, failed declaration did not replace it
    auto* roll = dynamic_cast<PPDXRollDown*>(d.GetGroups()->Find("QJRoll"));
    ASSERT_NE(roll, nullptr);
    EXPECT_EQ(roll->GetParent(), pane);
    EXPECT_EQ(pane->RollDowns().Find("QJRoll"), roll);
    EXPECT_EQ(roll->CFStringUserName(), "Roll "); // group titles end in one blank
    PPDXControl* popup = p.Control("*QJP");
    EXPECT_EQ(popup->GetParent(), roll);
    EXPECT_EQ(roll->Controls().FindAny("*QJP"), popup);
}

TEST(Hierarchy, GroupsAreCreatedOnFirstUseAndOrphansOnlyOnRequest) {
    const std::string body = "*%QJVGroupName QJUnused/Unused: \"True\"\n"
                             "*%QJVGroupName QJGroup/Second Title: \"True\"\n" + // duplicate before use: kept
                             Popup("*QJP", kChoicesAB, "*DefaultQJP: A\n") +
                             "*%QJVGroupName QJGroup/Third: \"True\"\n"; // after creation: duplicate
    Parsed all(body);
    EXPECT_EQ(all.ErrorCodes(), std::vector<int>{PPDErr_Duplicate});
    EXPECT_EQ(all.doc->GetGroups()->Find("QJGroup")->CFStringUserName(), "Options "); // the first record wins
    EXPECT_NE(all.doc->GetGroups()->Find("QJUnused"), nullptr);

    Parsed strict(body, kParseHidden);
    EXPECT_EQ(strict.doc->GetGroups()->Find("QJUnused"), nullptr);
    EXPECT_EQ(strict.doc->GetGroups()->Count(), 1u);
}

TEST(Hierarchy, InvisibleDeclarationsDependOnParseHidden) {
    const std::string body = "*%QJVGroupName QJInvisible/Invisible: \"\"\n" +
                             Popup("*QJP", kChoicesAB, "*DefaultQJP: A\n", "PickOne", "QJInvisible");
    Parsed keep(body, kParseAll);
    ASSERT_NE(keep.Control("*QJP"), nullptr);
    EXPECT_FALSE(keep.Control("*QJP")->GetParent()->IsVisible());
    Parsed drop(body, kParseNone); // no group and no orphans: the control is refused
    EXPECT_EQ(drop.Control("*QJP"), nullptr);
    EXPECT_EQ(drop.ErrorCodes().front(), PPDErr_NoParent);
}

TEST(Hierarchy, InstallableOptionsAndSubGroupTitle) {
    Parsed p("*%QJVSubGroupName FPPopupAccounting/Accounting: \n"
             "*OpenGroup: InstallableOptions/Installed Options\n"
             "*%QJVFlags *QJFinisher: \"\"\n*OpenUI *QJFinisher/Finisher: PickOne\n"
             "*DefaultQJFinisher: None\n*QJFinisher None/None: \"\"\n*QJFinisher F1/Stapler: \"\"\n"
             "*CloseUI: *QJFinisher\n*CloseGroup: InstallableOptions\n"
             "*%QJVGroupName QJPPInstallableOptions/Installed: \"True\"\n" +
             Popup("*QJTray", "*QJTray T1/One: \"\"\n", "*DefaultQJTray: T1\n", "PickOne", "QJPPInstallableOptions"));
    EXPECT_EQ(p.doc->PopupAccountingTitle(), "Accounting ");
    auto* roll = dynamic_cast<PPDXRollDown*>(p.doc->GetGroups()->Find("InstallableOptions"));
    ASSERT_NE(roll, nullptr);
    EXPECT_EQ(roll->CFStringUserName(), "Installed Options");
    EXPECT_EQ(p.Control("*QJFinisher")->GetParent(), roll);
    EXPECT_FALSE(p.Control("*QJFinisher")->IsInstallableOption());
    EXPECT_TRUE(p.Control("*QJTray")->IsInstallableOption());
}

TEST(PopupParsing, DefaultsChoicesAndPostScript) {
    Parsed p(Popup("*QJP",
                   "*QJP A/Choice<20>A: \"line one\n*%line two\nline three\"\n*OrderDependency: 10 AnySetup *QJP\n"
                   "*QJP B: \"(b) pop\"\n",
                   "*DefaultQJP: B\n") +
             Popup("*QJNoDefault", "*QJNoDefault X/X: \"x\"\n", "") +
             Popup("*QJUnknownDefault", "*QJUnknownDefault X/X: \"x\"\n*QJUnknownDefault Y/Y: \"y\"\n",
                   "*DefaultQJUnknownDefault: Zed\n") +
             Popup("*QJExplicit", "*QJExplicit X/X: \"x\"\n*QJExplicit Y/Y: \"y\"\n", "*Default *QJExplicit: Y\n") +
             Popup("*QJTwice", "*QJTwice X/X: \"x\"\n", "*DefaultQJTwice: X\n*DefaultQJTwice: X\n") +
             Popup("*QJMany", kChoicesAB, "*DefaultQJMany: A\n", "PickMany"));
    EXPECT_EQ(p.ErrorCodes(), (std::vector<int>{PPDErr_NoDefaultValueFlag, PPDErr_PopupParsing}));
    EXPECT_STREQ(p.doc->GetErrors()->At(0)->Keyword(), "*QJNoDefault");

    auto* popup = p.As<PPDXPopupControl>("*QJP");
    ASSERT_NE(popup, nullptr);
    ASSERT_EQ(popup->ItemCount(), 2u);
    EXPECT_EQ(*popup->ItemAt(0)->localName, "Choice A");
    EXPECT_FALSE(popup->ItemAt(1)->localName); // no translation: no name (displays show the keyword)
    EXPECT_EQ(popup->GetValue(), 2);
    popup->SetValue(1);
    EXPECT_EQ(popup->PostScriptText(), "%%BeginFeature: *QJP A\nline one\nline two\nline three\n%%EndFeature\n");

    auto* none = p.As<PPDXPopupControl>("*QJNoDefault");
    EXPECT_EQ(none->DefaultValue(), 0);
    EXPECT_EQ(none->GetValue(), 0);
    EXPECT_EQ(none->PostScript(nullptr), 0);
    EXPECT_STREQ(p.As<PPDXPopupControl>("*QJUnknownDefault")->GetDefaultKeyword(), "X");
    EXPECT_EQ(p.As<PPDXPopupControl>("*QJExplicit")->GetValue(), 2);
    EXPECT_EQ(p.Control("*QJTwice"), nullptr);
    EXPECT_TRUE(p.As<PPDXPopupControl>("*QJMany")->CanSelectMultipleItems());
}

TEST(BooleanParsing, ChoicesDefaultsAndErrors) {
    auto boolean = [](const std::string& key, const std::string& lines) {
        return "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": QJGroup\n*OpenUI " + key +
               "/Flag: Boolean\n" + lines + "*CloseUI: " + key + "\n";
    };
    Parsed p(boolean("*QJOn", "*DefaultQJOn: True\n*QJOn True/Yes: \"true-code\"\n*QJOn False/No: \"\"\n") +
             boolean("*QJLower", "*DefaultQJLower: true\n*QJLower True: \"t\"\n") +
             boolean("*QJNoDefault", "*QJNoDefault True: \"t\"\n") +
             boolean("*QJBad", "*DefaultQJBad: True\n*QJBad Maybe: \"m\"\n"));
    EXPECT_EQ(p.ErrorCodes(), (std::vector<int>{PPDErr_NoDefaultValueFlag, PPDErr_BooleanParsing}));
    auto* on = p.As<PPDXBooleanControl>("*QJOn");
    ASSERT_NE(on, nullptr);
    EXPECT_TRUE(on->IsTrue());
    EXPECT_STREQ(on->TrueDisplayText(), "Yes");
    EXPECT_EQ(on->PostScriptText(), "%%BeginFeature: *QJOn True\ntrue-code\n%%EndFeature\n");
    on->SetValue(false);
    EXPECT_EQ(on->PostScriptText(), "%%BeginFeature: *QJOn False\n\n%%EndFeature\n"); // framed even when empty
    EXPECT_FALSE(p.As<PPDXBooleanControl>("*QJLower")->DefaultState()); // only exactly "True"
    EXPECT_FALSE(p.As<PPDXBooleanControl>("*QJNoDefault")->DefaultState());
    EXPECT_EQ(p.Control("*QJBad"), nullptr);
}

TEST(RangeParsing, StatementsAndErrors) {
    auto range = [](const std::string& key, const std::string& statement) {
        return "*%QJVFlags " + key + ": \"\"\n*%QJVGroup " + key + ": QJGroup\n" + statement + "\n";
    };
    Parsed p(range("*QJCopies", "*%QJVRange *QJCopies/Copies: (1;999;1;1) \"<*QJCopies> /#copies exch def\"") +
             range("*QJNoParen", "*%QJVRange *QJNoParen/No Paren: 1;9;1;1 \"x\"") +
             range("*QJNoTitle", "*%QJVRange *QJNoTitle: (1;9;1;1) \"x\"") +
             range("*QJShort", "*%QJVRange *QJShort/Short: (1;9;1) \"x\"") +
             range("*QJNoCode", "*%QJVUnitRange *QJNoCode/No Code: (0;100;10;50) \"\"") +
             range("*QJZeroStep", "*%QJVRange *QJZeroStep/Zero: (0;10;0;5) \"x\"") +
             range("*QJScale", "*%QJVFloatRange *QJScale/Scale: (0.5;4;0.25;1.5) \"<*QJScale> scale\""));
    EXPECT_EQ(p.ErrorCodes(), (std::vector<int>{PPDErr_RangeParsing, PPDErr_RangeParsing, PPDErr_NoPostscript,
                                                PPDErr_RangeParsing}));
    auto* copies = p.As<PPDXRangeControl>("*QJCopies");
    ASSERT_NE(copies, nullptr);
    EXPECT_EQ(copies->MaxVal(), 999);
    copies->SetCurrentControlWithCFString("3");
    EXPECT_EQ(copies->PostScriptText(), "%%BeginFeature: *QJCopies 3\n3 /#copies exch def\n%%EndFeature\n");
    EXPECT_EQ(p.Control("*QJNoTitle"), nullptr);
    auto* noCode = p.As<PPDXRangeControl>("*QJNoCode");
    ASSERT_NE(noCode, nullptr);
    EXPECT_EQ(noCode->GetValue(), 50);
    auto* scale = p.As<PPDXFloatRangeControl>("*QJScale");
    ASSERT_NE(scale, nullptr);
    EXPECT_EQ(scale->PostScriptText(), "%%BeginFeature: *QJScale    1.5000\n   1.5000 scale\n%%EndFeature\n");
}

TEST(CustomSize, BoundsFromParamStatements) {
    Parsed p("*%ParamCustomPrintSize Width: 1 points 72 1224\n*%ParamCustomPrintSize Height: 2 points 144 1800\n");
    auto* size = p.As<PPDXCustomPageSizeControl>("*CustomPrintSize");
    ASSERT_NE(size, nullptr);
    EXPECT_FLOAT_EQ(size->MinWidth(), 72);
    EXPECT_FLOAT_EQ(size->MaxWidth(), 1224);
    EXPECT_FLOAT_EQ(size->MinHeight(), 144);
    EXPECT_FLOAT_EQ(size->MaxHeight(), 1800);
    EXPECT_STREQ(size->GetParent()->Keyword(), "FPPaperSource");
    EXPECT_EQ(p.doc->GetControls()->All().size(), 1u);
}

TEST(JobNoteParsing, FormsFlagsAndTemplates) {
    Parsed p("*%QJVJobNote *Notes1/Note One: 127|Alpha|Required|MinLength8\n*%Notes1: \"(<*Notes1>) show\"\n"
             "*%QJVJobNote *Notes2/Note Two: 64|Resume|OnOfSwitch|MinLength\n*%DefaultNotes2: \"hello\"\n"
             "*%QJVJobNote *Notes3/Bad: 10|MinLengthX\n*SomethingElse: 1\n"
             "*%QJVFlags *QJAcct: \"Command\"\n*%QJVGroup *QJAcct: QJGroup\n"
             "*%QJVJobNote *QJAcct/Account: 32|Numeric|MinLength12\n*%QJAcct: \"%%Account: <*QJAcct>\"\n");
    auto* one = p.As<PPDXJobNote>("*Notes1");
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->MaxLength(), 127);
    EXPECT_EQ(one->Flags(), kJNAlpha | kJNRequired); // MinLength8 sets no bit...
    EXPECT_EQ(one->MinLength(), 0);                  // ...and stand-alone notes always have 0
    EXPECT_STREQ(one->GetParent()->Keyword(), "FPQJNotes");
    one->SetNotes("A\\");
    EXPECT_EQ(one->PostScriptText(), "%%BeginFeature: *Notes1 A\\\n<415C> show\n%%EndFeature\n");

    auto* two = p.As<PPDXJobNote>("*Notes2");
    EXPECT_EQ(two->Flags(), kJNResume | kJNOnOfSwitch | kJNMinLength);
    EXPECT_STREQ(two->GetNotes(), "hello");
    EXPECT_EQ(two->PostScriptText(), "%%BeginFeature: *Notes2 hello\n%%PersPassword: hello\n%%EndFeature\n");
    EXPECT_EQ(p.As<PPDXJobNote>("*Notes3")->MinLength(), 0);

    auto* acct = p.As<PPDXJobNote>("*QJAcct");
    EXPECT_EQ(acct->MinLength(), 12);
    EXPECT_EQ(acct->Flags(), kJNNumeric);
    EXPECT_TRUE(acct->IsCommand());
    acct->SetNotes("1\\2");
    EXPECT_EQ(acct->PostScriptText(), "%%BeginFeature: *QJAcct 1\\2\n%%Account: 1\\2\n%%EndFeature\n"); // comment template
}

TEST(JobNoteParsing, ExtensionLevelsLimitFlags) {
    const std::string body = "*%QJVJobNote *NoteA/A: 10|SecPrint\n\n*%QJVJobNote *NoteB/B: 10|Command\n\n";
    struct Row {
        _EXTENSIONS_SUPPORT_ level;
        bool a, b;
    } rows[] = {{kExtensionsLevel0, false, false}, {kExtensionsLevel1, true, false}, {kExtensionsLevel2, true, true}};
    for (const Row& r : rows) {
        QJVPPD::SetExtensions(r.level);
        Parsed p(body);
        EXPECT_EQ(p.Control("*NoteA") != nullptr, r.a) << r.level;
        EXPECT_EQ(p.Control("*NoteB") != nullptr, r.b) << r.level;
    }
    QJVPPD::SetExtensions(kExtensionsAll);
    Parsed p(body);
    EXPECT_EQ(p.ErrorCodes(), std::vector<int>{PPDErr_NoControls}); // notes alone leave the collection empty
}

TEST(Shortcuts, ResolvedAfterTheLoop) {
    Parsed p("*%QJShortcut: *QJP\n*%QJShortcut: *QJMissing\n*%QJShortcut: *QJ_PROP_WATERMARK\n"
             "*%QJShortcut: *QJOn\n*%QJShortcut: *QJP\n" +
             Popup("*QJP", kChoicesAB, "*DefaultQJP: A\n") +
             "*%QJVFlags *QJOn: \"\"\n*%QJVGroup *QJOn: QJGroup\n*OpenUI *QJOn/On: Boolean\n*DefaultQJOn: False\n"
             "*QJOn True: \"t\"\n*CloseUI: *QJOn\n");
    EXPECT_EQ(p.ErrorCodes(), (std::vector<int>{PPDErr_BadShortcut, PPDErr_BadShortcut}));
    EXPECT_STREQ(p.doc->GetErrors()->At(0)->Keyword(), "*QJ_PROP_WATERMARK"); // refused while reading
    EXPECT_STREQ(p.doc->GetErrors()->At(1)->Keyword(), "*QJMissing");          // unresolved afterwards
    PPDXShortcuts& s = *p.doc->GetShortcuts();
    EXPECT_EQ(s.Count(), 3u); // duplicates kept, the Boolean counted
    int walked = 0;
    for (PPDXPopupControl* c = s.First(); c; c = s.Next())
        ++walked;
    EXPECT_EQ(walked, 2);
    EXPECT_EQ(s.Find("*QJOn", true), nullptr);
    EXPECT_NE(s.Find("QJ", false), nullptr);
    EXPECT_EQ(s.MediaSource(), nullptr);
}

TEST(SpecialOption, ValueAndIgnoredForms) {
    Parsed p("*%QJVSpecialOption *QJUTF8_Version:   3 and more  \n*%QJVSpecialOption *QJNoColon value\n");
    auto* option = p.As<PPDXSpecialOption>("*QJUTF8_Version");
    ASSERT_NE(option, nullptr);
    EXPECT_STREQ(option->GetValue(), "3 and more");
    EXPECT_TRUE(option->IsOrphan());
    EXPECT_EQ(p.doc->GetControls()->All().size(), 1u);
    option->ResetToDefaultValue();
    EXPECT_STREQ(option->GetValue(), "");
}

TEST(Constraints, FourFormsAndWholeKeyExpansion) {
    Parsed p("*UIConstraints: *QJP A *QJQ Y\n"            // 1 pair
             "*%QJVUIConstraints: *QJQ *QJP B\n"           // Q's X,Y (not None) -> (P,B): 2
             "*UIConstraints: *QJP B *QJQ\n"               // (P,B) -> Q's X,Y: 2
             "*UIConstraints: *QJP *QJQ\n"                 // 2 x 2 = 4
             "*%QJVUIRequires: *QJP A *QJQ X\n"
             "*UIConstraints: *QJP\n" +                    // bad
             Popup("*QJP", kChoicesAB, "*DefaultQJP: A\n") +
             Popup("*QJQ", "*QJQ X/X: \"\"\n*QJQ Y/Y: \"\"\n*QJQ None/None: \"\"\n", "*DefaultQJQ: None\n"));
    EXPECT_EQ(p.ErrorCodes(), std::vector<int>{PPDErr_BadConstraint});
    // 1 + 2 + 2 + 4 declared; the first statement and the third repeat pairs
    // of the fourth, and a pair is stored once.
    EXPECT_EQ(p.doc->GetUIConstraints()->GetConstraintForest().Count(), 6u);
    EXPECT_EQ(p.doc->GetUIConstraints()->GetRequiresForest().Count(), 1u);
}

TEST(Constraints, FieldsAreRunsBetweenAnyBlanks) {
    Parsed p("*UIConstraints:\t*QJP   A\t\t*QJQ  Y  \r\n"
             "*UIConstraints: *QJQ\tX *QJP\t\n" +
             Popup("*QJP", kChoicesAB, "*DefaultQJP: A\n") +
             Popup("*QJQ", "*QJQ X/X: \"\"\n*QJQ Y/Y: \"\"\n", "*DefaultQJQ: X\n"));
    EXPECT_TRUE(p.ErrorCodes().empty());
    const UIConstraints& table = *p.doc->GetUIConstraints();
    const CStringSoup& soup = table.GetConstraintStrings();
    auto partners = [&](const std::string& key, const std::string& choice) {
        std::vector<std::pair<std::string, std::string>> out;
        if (auto list = table.GetConstraintForest().GetConstraintList(soup.Find(key), soup.Find(choice)))
            for (const KVPair& pair : *list)
                out.emplace_back(*soup.Text(pair.first), *soup.Text(pair.second));
        return out;
    };
    using Pairs = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(partners("*QJP", "A"), (Pairs{{"*QJQ", "Y"}}));
    // A trailing blank is no field: the second statement names all of *QJP.
    EXPECT_EQ(partners("*QJQ", "X"), (Pairs{{"*QJP", "A"}, {"*QJP", "B"}}));
    EXPECT_EQ(table.ExcludesDeclared(), 2u);
}

TEST(JobNoteParsing, MinLengthSuffixCodes) {
    struct Row {
        const char* word;
        long minLength;
        bool bit;
    } rows[] = {{"MinLength", 0, true}, {"MinLength7", 7, false}, {"MinLength42", 42, false},
                {"MinLengthX", -1, false}, {"MinLength4X", -3, false}, {"MinLength123", -2, false}};
    for (const Row& r : rows) {
        Parsed p(std::string("*%QJVFlags *QJN: \"\"\n*%QJVGroup *QJN: QJGroup\n*%QJVJobNote *QJN/N: 20|") + r.word +
                 "\n\n");
        auto* note = p.As<PPDXJobNote>("*QJN");
        ASSERT_NE(note, nullptr) << r.word;
        EXPECT_EQ(note->MinLength(), r.minLength) << r.word;
        EXPECT_EQ((note->Flags() & kJNMinLength) != 0, r.bit) << r.word;
    }
}
