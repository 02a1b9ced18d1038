// Control behaviour without a PPD: framing, injection, value rules, selection.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "PPDX/Constraints/UIConstraints.h"
#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXCustomPageSizeControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/PPDXGroup.h"

namespace {

PSBytes Bytes(const char* text) { return PSBytes(text, text + std::strlen(text)); }

std::unique_ptr<PPDXPopupControl> MakePopup(const char* keyword, bool multiple, UIConstraints* constraints = nullptr,
                                            const char* defaultChoice = "B") {
    PopupItemList items;
    for (const char* k : {"A", "B", "C"})
        items.push_back(std::make_unique<_PopupItem>(k, std::string("Choice ") + k, Bytes("(code) pop\n")));
    return std::make_unique<PPDXPopupControl>(keyword, "Title", FlagList{}, true, multiple, false, std::move(items),
                                              defaultChoice ? std::optional<CString>(defaultChoice) : std::nullopt,
                                              constraints);
}

std::unique_ptr<PPDXJobNote> MakeNote(const char* keyword, const char* templ, std::uint32_t flags) {
    return std::make_unique<PPDXJobNote>(keyword, "Note", FlagList{}, templ ? Bytes(templ) : PSBytes{}, std::nullopt,
                                         true, 127, flags, 0, nullptr);
}

} // namespace

TEST(Element, EqualityNeedsKeywordsOnBothSides) {
    PPDXGroup none1(nullptr, "a", true), none2("", "b", true), named("QJG", "c", true), same("QJG", "d", false);
    EXPECT_FALSE(none1 == none2);
    EXPECT_FALSE(none1 == named);
    EXPECT_TRUE(named == same);
    EXPECT_TRUE(named == "QJG");
    EXPECT_FALSE(named == static_cast<const char*>(nullptr));
    EXPECT_EQ(none2.Keyword(), nullptr);
}

TEST(Element, OkayToDisplayTable) {
    PPDXGroup parent("P", "p", true);
    PPDXGroup visibleOrphan("V", "v", true), hiddenOrphan("H", "h", false), hiddenChild("C", "c", false);
    hiddenChild.SetParent(&parent);
    auto note = MakeNote("*Note", nullptr, 0);
    struct Row {
        const PPDXElement* e;
        _DISPLAY_OPTIONS_ option;
        bool ok;
    } rows[] = {
        {&visibleOrphan, 0, false}, {&visibleOrphan, 1, true},  {&visibleOrphan, 2, false},
        {&hiddenChild, 0, false},   {&hiddenChild, 2, true},    {&hiddenOrphan, 3, true},
        {&hiddenOrphan, 5, true},   {note.get(), 0, true},      {note.get(), 2, true}, // notes need no parent
    };
    for (const Row& r : rows)
        EXPECT_EQ(r.e->OkayToDisplay(r.option), r.ok) << r.e->Keyword() << " option " << r.option;
}

TEST(Control, FlagsAndKeywordFilter) {
    PPDXCustomPageSizeControl c("*QJX", FlagList{CString("Dynamic"), CString("DriverUserDisplayHidden")});
    EXPECT_TRUE(c.IsDynamic());
    EXPECT_FALSE(c.IsCommand());
    EXPECT_TRUE(c.IsNoKelvoDriverUI());
    EXPECT_STREQ(c.FirstControlFlag(), "Dynamic");
    EXPECT_STREQ(c.NextControlFlag(), "DriverUserDisplayHidden");
    EXPECT_EQ(c.NextControlFlag(), nullptr);
    EXPECT_FALSE(PPDXControl::ValidKeyword("*QJ_PROP_WATERMARK"));
    EXPECT_FALSE(PPDXControl::ValidKeyword("*QJChromaQua"));
    EXPECT_FALSE(PPDXControl::ValidKeyword(nullptr));
    EXPECT_TRUE(PPDXControl::ValidKeyword("*QJ_PROP_WATERMARKS"));
    EXPECT_EQ(c.PostScript(nullptr), 0); // no template of its own
}

TEST(Control, FramingWithoutTemplate) {
    PPDXCustomPageSizeControl c("*QJX", FlagList{});
    unsigned char out[64];
    EXPECT_EQ(c.GeneratePSOutputData(nullptr, nullptr, 0, "opt", false), 1);
    EXPECT_EQ(c.GeneratePSOutputData(out, nullptr, 0, "opt", false), 1);
    EXPECT_EQ(out[0], '\n');
    const long framed = c.GeneratePSOutputData(out, nullptr, 0, "opt", true);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), static_cast<std::size_t>(framed)),
              "%%BeginFeature: *QJX opt\n\n%%EndFeature\n");
}

TEST(Control, InjectTable) {
    auto note = MakeNote("*QJNote", nullptr, 0);
    PPDXRangeControl range("*QJNote", "Range", FlagList{}, {}, 0, 10, 1, 0, true, nullptr);
    struct Row {
        const PPDXControl* control;
        const char* templ;
        const char* value;
        const char* expected;
    } rows[] = {
        {note.get(), "(<*QJNote>) show", "A\\", "<415C> show"},
        {&range, "(<*QJNote>) show", "A\\", "(A\\\\) show"},
        {note.get(), "%%Note: <*QJNote>", "A\\", "%%Note: A\\"}, // comments: no hex, no doubling
        {note.get(), "<*QJNote> <*QJNote>", "", " "},            // empty note: plain empty text
        {note.get(), "x <*QJNote>", "\x01z", "x <017A>"},
        {&range, "no placeholder", "5", "no placeholder"},
    };
    for (const Row& r : rows) {
        std::string result;
        long n = r.control->Inject("*QJNote", reinterpret_cast<const unsigned char*>(r.templ),
                                   static_cast<long>(std::strlen(r.templ)), r.value, result);
        EXPECT_EQ(result, r.expected) << r.templ << " / " << r.value;
        EXPECT_EQ(n, static_cast<long>(result.size()));
    }
}

TEST(Range, SnapFromZeroThenClamp) {
    PPDXRangeControl tens("*QJR", "R", FlagList{}, Bytes("<*QJR> x\n"), 0, 100, 10, 20, true, nullptr);
    PPDXRangeControl threes("*QJR", "R", FlagList{}, {}, 1, 100, 3, 1, true, nullptr);
    struct Row {
        PPDXRangeControl* control;
        long in, out;
    } rows[] = {{&tens, 57, 50}, {&tens, -7, 0}, {&tens, 150, 100}, {&tens, 60, 60}, {&threes, 2, 1}, {&threes, 7, 6}};
    for (const Row& r : rows) {
        r.control->SetValue(r.in);
        EXPECT_EQ(r.control->GetValue(), r.out) << r.in;
    }
    tens.SetValue(30);
    EXPECT_EQ(tens.PostScriptText(), "%%BeginFeature: *QJR 30\n30 x\n%%EndFeature\n");
    tens.SetCurrentControlWithCFString("40");
    EXPECT_EQ(tens.PostScriptText(), "%%BeginFeature: *QJR 40\n40 x\n%%EndFeature\n"); // cache dropped
}

TEST(FloatRange, ClampWithoutSnappingAndPaddedOutput) {
    PPDXFloatRangeControl f("*QJF", "F", FlagList{}, Bytes("<*QJF> s\n"), 0.5f, 20.0f, 0.5f, 1.0f, true, nullptr);
    f.SetValue(1.3f);
    EXPECT_FLOAT_EQ(f.GetValue(), 1.3f);
    f.SetValue(99.0f);
    EXPECT_FLOAT_EQ(f.GetValue(), 20.0f);
    f.SetValue(12.25f);
    EXPECT_EQ(f.CopyCurrentControlValueString(), "12.250");
    EXPECT_EQ(f.PostScriptText(), "%%BeginFeature: *QJF   12.2500\n  12.2500 s\n%%EndFeature\n");
    PPDXFloatRangeControl zero("*QJZ", "Z", FlagList{}, {}, 0.0f, 5.0f, 0.0f, 1.0f, true, nullptr);
    zero.SetValue(2.7f);
    EXPECT_FLOAT_EQ(zero.GetValue(), 2.7f);
}

TEST(Boolean, ValueTextsAndCacheUpdates) {
    UIConstraints constraints;
    PPDXBooleanControl b("*QJB", "B", FlagList{}, true, CString("On"), Bytes("on\n"), CString("Off"), {}, false,
                         &constraints);
    const CStringSoup& soup = constraints.GetConstraintStrings();
    EXPECT_EQ(constraints.CurrentSelections().GetItem(soup.Find("*QJB")), soup.Find("False")); // known from the start
    struct Row {
        const char* text;
        bool value;
    } rows[] = {{"True", true}, {"TRUE", true}, {"true-ish", true}, {"yes", false}, {"Tru", false}};
    for (const Row& r : rows) {
        b.SetCurrentControlWithCFString(r.text);
        EXPECT_EQ(b.IsTrue(), r.value) << r.text;
    }
    b.SetValue(true);
    EXPECT_EQ(constraints.CurrentSelections().GetItem(soup.Find("*QJB")), soup.Find("True"));
    b.ResetToDefaultValue();
    EXPECT_EQ(b.CopyCurrentControlValueString(), "False");
}

TEST(Popup, SelectionRulesPickOneAndPickMany) {
    UIConstraints constraints;
    auto one = MakePopup("*QJOne", false, &constraints);
    EXPECT_EQ(one->GetValue(), 2);
    EXPECT_TRUE(one->SetKeywordSelect("C", true));
    EXPECT_FALSE(one->IsKeywordSelected("B")); // PickOne clears the others
    EXPECT_EQ(one->CopyCurrentControlValueString(), "C");
    const CStringSoup& soup = constraints.GetConstraintStrings();
    EXPECT_EQ(constraints.CurrentSelections().GetItem(soup.Find("*QJOne")), soup.Find("C"));

    auto many = MakePopup("*QJMany", true);
    EXPECT_TRUE(many->SetKeywordSelect("A", true));
    EXPECT_TRUE(many->IsKeywordSelected("A"));
    EXPECT_TRUE(many->IsKeywordSelected("B")); // PickMany keeps the others
    EXPECT_EQ(many->CopyCurrentControlValueString(), "A");
    EXPECT_FALSE(many->SetKeywordSelect("Z", true));
    EXPECT_FALSE(many->SetKeywordSelect(nullptr, true));

    one->SetValue(0); // out of range: nothing selected, current kept
    EXPECT_EQ(one->GetValue(), 0);
    EXPECT_EQ(one->CopyCurrentControlValueString(), "C");
    one->ResetToDefaultValue();
    EXPECT_EQ(one->GetValue(), 2);
    one->SetDefaultValue(3);
    EXPECT_EQ(one->DefaultValue(), 3);
    EXPECT_EQ(one->PostScriptText(), "%%BeginFeature: *QJOne B\n(code) pop\n%%EndFeature\n");
}

TEST(Popup, ValueTextAndProfileGrowth) {
    auto plain = MakePopup("*QJPlain", false);
    plain->SetCurrentControlWithCFString("Choice C"); // names do not match ordinary popups
    EXPECT_EQ(plain->GetValue(), 2);
    plain->SetCurrentControlWithCFString("Unknown");
    EXPECT_EQ(plain->ItemCount(), 3u);
    plain->SetCurrentControlWithCFString("A");
    EXPECT_EQ(plain->GetValue(), 1);

    auto profile = MakePopup("*QJSimulation", false);
    profile->SetCurrentControlWithCFString("choice c"); // by name, ignoring case
    EXPECT_EQ(profile->GetValue(), 3);
    profile->SetCurrentControlWithCFString("Newsprint Profile");
    ASSERT_EQ(profile->ItemCount(), 4u);
    EXPECT_EQ(profile->GetValue(), 4);
    EXPECT_EQ(profile->CopyCurrentControlValueString(), "Newsprint Profile");
}

TEST(Popup, RebuildKeepsTheUsersChoice) {
    auto popup = MakePopup("*QJR", false);
    popup->SetKeywordSelect("C", true);
    PopupItemList items;
    for (const char* k : {"C", "D"})
        items.push_back(std::make_unique<_PopupItem>(k, std::string(k), PSBytes{}));
    EXPECT_TRUE(popup->Rebuild("New Title", std::move(items), CString("D")));
    EXPECT_EQ(popup->CFStringUserName(), "New Title");
    EXPECT_STREQ(popup->GetDefaultKeyword(), "D");
    EXPECT_EQ(popup->CopyCurrentControlValueString(), "C");
    EXPECT_EQ(popup->GetValue(), 1);

    auto empty = MakePopup("*QJE", false, nullptr, nullptr);
    EXPECT_FALSE(empty->Rebuild("x", PopupItemList{}, std::nullopt)); // no current item
    EXPECT_EQ(empty->ItemCount(), 3u);
}

TEST(JobNote, OutputBodies) {
    auto resume = MakeNote("*QJPers", nullptr, kJNResume);
    resume->SetNotes("1234");
    EXPECT_EQ(resume->PostScriptText(), "%%BeginFeature: *QJPers 1234\n%%PersPassword: 1234\n%%EndFeature\n");
    auto member = MakeNote("*QJDept", nullptr, kJNMember);
    member->SetNotes("77");
    EXPECT_EQ(member->PostScriptText(), "%%BeginFeature: *QJDept 77\n%%DeptPassword: 77\n%%EndFeature\n");
    auto plain = MakeNote("*Notes1", nullptr, 0);
    plain->SetNotes("anything");
    EXPECT_EQ(plain->PostScriptText(), "%%BeginFeature: *Notes1 anything\n%%EmptyOption\n\n%%EndFeature\n");
    auto empty = MakeNote("*QJEmpty", nullptr, 0);
    EXPECT_EQ(empty->PostScript(nullptr), 0);
}

TEST(JobNote, LongTextIsCutInTheBodyOnly) {
    auto note = MakeNote("*QJN", "(<*QJN>) show\n", 0);
    const std::string text(600, 'a');
    note->SetNotes(text.c_str());
    const std::string out = note->PostScriptText();
    const std::string head = "%%BeginFeature: *QJN " + text + "\n";
    ASSERT_EQ(out.compare(0, head.size(), head), 0);
    std::string hex = "<";
    for (int i = 0; i < 511; ++i)
        hex += "61";
    EXPECT_EQ(out.substr(head.size()), hex + "> show\n%%EndFeature\n");
}

TEST(CustomSize, ValueText) {
    PPDXCustomPageSizeControl c("*CustomPrintSize", FlagList{}, 72, 1224, 72, 1800);
    c.SetCurrentControlWithCFString("612.5 792");
    EXPECT_FLOAT_EQ(c.GetWidth(), 612.5f);
    EXPECT_FLOAT_EQ(c.GetHeight(), 792.0f);
    EXPECT_EQ(c.CopyCurrentControlValueString(), "612.500000 792.000000");
    c.SetWidth(5000); // no clamping
    EXPECT_FLOAT_EQ(c.GetWidth(), 5000.0f);
}
