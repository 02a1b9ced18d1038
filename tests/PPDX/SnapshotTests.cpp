// The model's snapshot: item order, round trips, foreign byte order, stale files, restoring values.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>

#include "PPDX/PPDObjects/Controls/PPDXBooleanControl.h"
#include "PPDX/PPDObjects/Controls/PPDXJobNote.h"
#include "PPDX/PPDObjects/Controls/PPDXPopupControl.h"
#include "PPDX/PPDObjects/Controls/PPDXRangeControl.h"
#include "PPDX/PPDObjects/SnapshotTags.h"
#include "ParseHelpers.h"

using namespace kelvotest;

namespace {

/// Hidden page and group, an orphan group, an orphan control, a note with
/// empty text, a popup and a Boolean.
const std::string kMixed =
    "*%QJVPropPage QJHiddenPage/Hidden Page: \"\"\n"
    "*%QJVGroupName QJHiddenGroup/Hidden Group: \"\"\n"
    "*%QJVGroupName QJUnused/Never Used: \"True\"\n" +
    Popup("*QJTray", "*QJTray Upper/Upper: \"1 tray\"\n*QJTray Lower/Lower: \"2 tray\"\n",
          "*DefaultQJTray: Lower\n") +
    "*%QJVFlags *QJFold: \"Dynamic|Command\"\n*%QJVGroup *QJFold: QJHiddenGroup\n"
    "*OpenUI *QJFold/Fold: Boolean\n*DefaultQJFold: True\n*QJFold True: \"fold\"\n*QJFold False: \"\"\n"
    "*CloseUI: *QJFold\n"
    "*%QJVJobNote *QJEmpty/Empty Note: 20|Alpha\n*%QJEmpty: \"(<*QJEmpty>) show\"\n"
    "*%QJVSpecialOption *QJFixed: fixed value\n"
    "*%QJShortcut: *QJTray\n*%QJShortcut: *QJFold\n";

std::vector<std::uint8_t> Snapshot(QJVPPD& doc) {
    Settings settings;
    EXPECT_TRUE(doc.Save(settings)) << doc.SaveStatus();
    std::vector<std::uint8_t> block;
    EXPECT_EQ(settings.GetSettingsHandle(block), kSettingsNoErr);
    return block;
}

QJVPPDRef Rebuild(std::span<const std::uint8_t> block) {
    Settings settings(block);
    EXPECT_EQ(settings.LastError(), kSettingsNoErr);
    return QJVPPD::FromSettings(settings);
}

std::vector<std::pair<std::uint32_t, std::int32_t>> Addresses(const Settings& settings) {
    std::vector<std::pair<std::uint32_t, std::int32_t>> out;
    for (const SettingsItem& item : settings.Collection()->Items())
        out.emplace_back(item.tag, item.id);
    return out;
}

} // namespace

TEST(Snapshot, SaveOfARebuildIsTheSameBlockAndKeepsHiddenAndOrphanElements) {
    for (const bool sample : {false, true}) {
        SCOPED_TRACE(sample ? "sample" : "mixed");
        TempFile file(std::string(kHeader) + kMixed);
        const std::filesystem::path path = sample ? SamplePath("kelvo-sample.ppd") : file.Path();
        QJVPPDRef doc(new QJVPPD(path, kParseAll));
        // The panel's option hides orphans and hidden elements: saving and
        // rebuilding must not, and must leave the option as it was.
        PPDX::Options(kDisplayVisibleParented);
        const std::vector<std::uint8_t> first = Snapshot(*doc);
        QJVPPDRef rebuilt = Rebuild(first);
        EXPECT_EQ(PPDX::Options(), kDisplayVisibleParented);
        ASSERT_TRUE(rebuilt->IsValidPPD());
        EXPECT_EQ(Snapshot(*rebuilt), first);
        EXPECT_EQ(rebuilt->GetControls()->All().size(), doc->GetControls()->All().size());
        EXPECT_EQ(rebuilt->GetGroups()->Count(), doc->GetGroups()->Count());
        EXPECT_EQ(rebuilt->GetProperties()->Count(), doc->GetProperties()->Count());
        EXPECT_EQ(rebuilt->GetShortcuts()->Count(), doc->GetShortcuts()->Count());
        EXPECT_EQ(rebuilt->GetControls()->PopupCount(), doc->GetControls()->PopupCount());
        if (!sample) {
            ASSERT_NE(rebuilt->GetControls()->FindAny("*QJFixed"), nullptr);
            EXPECT_FALSE(rebuilt->GetProperties()->Find("QJHiddenPage")->IsVisible());
            EXPECT_TRUE(rebuilt->GetGroups()->Find("QJUnused")->IsOrphan());
            EXPECT_EQ(rebuilt->GetControls()->FindAny("*QJFold")->GetParent(),
                      rebuilt->GetGroups()->Find("QJHiddenGroup"));
            EXPECT_TRUE(rebuilt->GetControls()->FindAny("*QJFixed")->IsOrphan());
        }
        PPDX::Options(kDisplayAll);
    }
}

TEST(Snapshot, ItemsComeInTheDocumentedOrder) {
    Parsed p(Popup("*QJTray", "*QJTray Upper/Upper: \"1\"\n*QJTray Lower: \"2\"\n", "*DefaultQJTray: Lower\n") +
             "*%QJShortcut: *QJTray\n");
    Settings settings;
    ASSERT_TRUE(p.doc->Save(settings));
    const std::uint32_t K = tagKeyWord, N = tagLocalName, U = tagLocalCFStrName, V = tagVisState, P = tagParName;
    const std::vector<std::pair<std::uint32_t, std::int32_t>> expected = {
        {tagPPD, kMemAlloc}, {tagPPD, kFSRef}, {tagPPD, kFormatVersionStr}, {tagPPD, kFileVersionStr},
        {tagPPD, kPCFileNameStr}, {tagPPD, kLanguageVersionStr}, {tagPPD, kLanguageEncodingStr},
        {tagPPD, kModelNameStr},
        {kPropertyTag, kPropertyCount}, {K, 3001}, {N, 3001}, {U, 3001}, {V, 3001}, {tagShowInApp, 3001},
        {tagShowInPrintPage, 3001},
        {kGroupTag, kGroupCount}, {K, 4001}, {N, 4001}, {U, 4001}, {V, 4001}, {tagOrdinaryGroup, 4001},
        {kControlTag, kControlCount}, {K, 5001}, {N, 5001}, {U, 5001}, {V, 5001}, {P, 5001},
        {tagCNTL_Order, 5001}, {tagCNTL_CntlFlags, 5001}, {tagPopupControl, 5001}, {tagPC_MultiSel, 5001},
        {tagPC_DefKeyWord, 5001}, {tagPC_ItemCount, 5001},
        {tagPC_ItemKeyWord, 500100}, {tagPC_ItemCFUserName, 500100}, {tagPC_ItemPSData, 500100},
        {tagPC_ItemSelected, 500100},
        // The second choice has no translation: no name item.
        {tagPC_ItemKeyWord, 500101}, {tagPC_ItemPSData, 500101}, {tagPC_ItemSelected, 500101},
        {kShortcutTag, kShortcutCountId}, {kShortcutTag, 6001}};
    EXPECT_EQ(Addresses(settings), expected);
    EXPECT_EQ(GetSettingsString(settings, tagCNTL_CntlFlags, 5001)->Str(), "Dynamic|");
}

TEST(Snapshot, TextsKeepEmptyApartFromAbsentAndFlagsSplitAtBars) {
    Parsed p(kMixed + "*%QJVJobNote *QJNone/No Default: 20|Alpha\n");
    p.As<PPDXJobNote>("*QJEmpty")->SetNotes("");
    p.As<PPDXJobNote>("*QJEmpty")->SetDefaultNotes("");
    p.As<PPDXJobNote>("*QJNone")->SetNotes(nullptr);
    Settings settings;
    ASSERT_TRUE(p.doc->Save(settings));
    // An empty flag word between bars written by another writer is dropped.
    const std::int32_t foldId = 5002;
    ASSERT_EQ(GetSettingsString(settings, tagKeyWord, foldId)->Str(), "*QJFold");
    ASSERT_EQ(settings.Set(tagCNTL_CntlFlags, foldId, std::span<const std::uint8_t>(
                                                          reinterpret_cast<const std::uint8_t*>("Dynamic||Setup|"), 15)),
              kSettingsNoErr);
    QJVPPDRef rebuilt = QJVPPD::FromSettings(settings);
    const auto* empty = dynamic_cast<PPDXJobNote*>(rebuilt->GetControls()->FindAny("*QJEmpty"));
    ASSERT_NE(empty, nullptr);
    ASSERT_NE(empty->GetNotes(), nullptr);
    EXPECT_STREQ(empty->GetNotes(), "");
    EXPECT_STREQ(empty->GetDefaultNotes(), "");
    const auto* none = dynamic_cast<PPDXJobNote*>(rebuilt->GetControls()->FindAny("*QJNone"));
    EXPECT_EQ(none->GetNotes(), nullptr);
    EXPECT_EQ(none->GetDefaultNotes(), nullptr);
    const FlagList& flags = rebuilt->GetControls()->FindAny("*QJFold")->ControlFlags();
    ASSERT_EQ(flags.size(), 2u);
    EXPECT_EQ(flags[0].Str(), "Dynamic");
    EXPECT_EQ(flags[1].Str(), "Setup");
}

TEST(Snapshot, AKeywordStartingWithNulIsNoKeywordSoASecondRoundSavesTheSame) {
    Parsed p(kMixed);
    Settings settings;
    ASSERT_TRUE(p.doc->Save(settings));
    const std::uint8_t keyword[] = {0, 'P', 'a', 'g', 'e'};
    ASSERT_EQ(settings.Set(tagKeyWord, kFirstPropertyId, keyword), kSettingsNoErr);
    ASSERT_EQ(settings.Set(tagParName, kFirstControlId, keyword), kSettingsNoErr);
    QJVPPDRef once = QJVPPD::FromSettings(settings);
    EXPECT_EQ(once->GetProperties()->All()[0]->Keyword(), nullptr);
    const std::vector<std::uint8_t> first = Snapshot(*once);
    EXPECT_EQ(Snapshot(*Rebuild(first)), first);
}

TEST(Snapshot, PopupsWithoutItemsAndBeyondOneHundredItems) {
    Parsed p("");
    QJVPPD& doc = *p.doc;
    PopupItemList none;
    doc.PPDCreatePopupMenu("QJGroup", "*QJNone", "None", std::move(none), std::nullopt);
    auto items = [](int n) {
        PopupItemList list;
        for (int i = 0; i < n; ++i)
            list.push_back(std::make_unique<_PopupItem>(("c" + std::to_string(i)).c_str(), std::nullopt, PSBytes{}));
        return list;
    };
    doc.PPDCreatePopupMenu("QJGroup", "*QJMany", "Many", items(101), CString("c100"));
    {
        Settings settings;
        ASSERT_TRUE(doc.Save(settings));
        std::size_t size = 0;
        EXPECT_EQ(settings.Get(tagPC_ItemCount, kFirstControlId, {}, size), kSettingsItemNotFound);
        // The last control may run past 100 items: no control follows it.
        QJVPPDRef rebuilt = QJVPPD::FromSettings(settings);
        auto* many = dynamic_cast<PPDXPopupControl*>(rebuilt->GetControls()->FindAny("*QJMany"));
        ASSERT_NE(many, nullptr);
        EXPECT_EQ(many->ItemCount(), 101u);
        EXPECT_EQ(many->CopyCurrentControlValueString(), "c100");
    }
    // Before another control, item 100 would take that control's item ids.
    doc.PPDCreatePopupMenu("QJGroup", "*QJLast", "Last", items(1), std::nullopt);
    Settings settings;
    EXPECT_FALSE(doc.Save(settings));
    EXPECT_EQ(doc.SaveStatus(), kSettingsIdOverflow);
}

namespace {

/// Writes `settings` as a machine of the other byte order would have: every
/// number inside a value turned by its size, 16-bit Unicode units turned
/// (mark included), and the block's own fields in that order.
std::vector<std::uint8_t> ForeignBlock(const Settings& settings) {
    const std::set<std::uint32_t> fourBytes = {
        tagVisState,  tagPC_MultiSel,   tagPC_ItemSelected, tagBC_CurrentVal, tagBC_DefaultVal, tagFC_Val,
        tagFC_DefaultVal, tagFC_MinVal, tagFC_MaxVal,       tagFC_Increment,  tagJN_OnOffNotes, tagJN_NotesFlags,
        tagShowInApp, tagShowInPrintPage};
    const std::set<std::uint32_t> eightBytes = {kPropertyTag, kGroupTag,        kControlTag,  tagPC_ItemCount,
                                                tagRC_Val,    tagRC_DefaultVal, tagRC_MinVal, tagRC_MaxVal,
                                                tagRC_Increment, tagJN_MinLength, tagJN_MaxLength};
    const std::set<std::uint32_t> unicode = {tagLocalCFStrName, tagPC_ItemCFUserName};
    // Header texts, the file record (little-endian on every machine) and
    // shortcut keywords are bytes; only the numbers among them turn.
    auto isNumber = [&](std::uint32_t tag, std::int32_t id) {
        if (tag == tagPPD)
            return id == kMemAlloc;
        if (tag == kShortcutTag)
            return id == kShortcutCountId;
        return tag == tagCNTL_Order || fourBytes.count(tag) > 0 || eightBytes.count(tag) > 0;
    };
    std::vector<std::uint8_t> out;
    auto put = [&out](std::uint64_t v, int bytes) {
        for (int i = bytes - 1; i >= 0; --i)
            out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
    };
    const auto& items = settings.Collection()->Items();
    out = {'K', 'V', 'S', 'T', 0xFE, 0xFF, 0, 1};
    put(items.size(), 4);
    const std::size_t lengthAt = out.size();
    put(0, 4);
    for (SettingsItem item : items) {
        std::vector<std::uint8_t>& v = item.value;
        if (isNumber(item.tag, item.id))
            std::reverse(v.begin(), v.end());
        else if (unicode.count(item.tag))
            for (std::size_t i = 0; i + 1 < v.size(); i += 2)
                std::swap(v[i], v[i + 1]);
        put(item.tag, 4);
        put(static_cast<std::uint32_t>(item.id), 4);
        put(item.attributes, 4);
        put(v.size(), 4);
        out.insert(out.end(), v.begin(), v.end());
        out.resize(out.size() + (4 - v.size() % 4) % 4, 0);
    }
    const std::size_t bodyLength = out.size() - 16;
    for (int i = 0; i < 4; ++i)
        out[lengthAt + i] = static_cast<std::uint8_t>(bodyLength >> (8 * (3 - i)));
    return out;
}

} // namespace

TEST(Snapshot, AForeignWritersSnapshotReadsBackWithEveryNumberRight) {
    Parsed p(kMixed +
             "*%QJVFlags *QJCopies: \"Dynamic\"\n*%QJVGroup *QJCopies: QJGroup\n"
             "*%QJVRange *QJCopies/Copies: (1;9999;1;3) \"<</NumCopies <*QJCopies>>> setpagedevice\"\n"
             "*%QJVFlags *QJGamma: \"Dynamic\"\n*%QJVGroup *QJGamma: QJGroup\n"
             "*%QJVFloatRange *QJGamma/Gamma: (0.5;2.5;0.1;1.8) \"{<*QJGamma> exp} settransfer\"\n");
    p.As<PPDXRangeControl>("*QJCopies")->SetValue(-1000000); // clamps to 1
    p.As<PPDXRangeControl>("*QJCopies")->SetValue(4321);
    Settings native;
    ASSERT_TRUE(p.doc->Save(native));
    ASSERT_TRUE(p.doc->GetControls()->FindRangeControl("*QJCopies", true));

    const std::vector<std::uint8_t> foreign = ForeignBlock(native);
    Settings read(foreign);
    ASSERT_EQ(read.LastError(), kSettingsNoErr);
    ASSERT_TRUE(read.IsForeign());
    QJVPPDRef rebuilt = QJVPPD::FromSettings(read);
    ASSERT_TRUE(rebuilt->IsValidPPD());
    Settings again;
    ASSERT_TRUE(rebuilt->Save(again));
    EXPECT_EQ(again.Collection()->Items(), native.Collection()->Items());
    EXPECT_EQ(rebuilt->GetControls()->FindRangeControl("*QJCopies", true)->GetValue(), 4321);
}

TEST(Snapshot, AStoredFileStandsInForThePPDOnlyWhileItIsTheSameServedFile) {
    TempFile file(std::string(kHeader) + kMixed, "served.ppd");
    TempFile other(std::string(kHeader) + kMixed, "other.ppd");
    QJVPPDRef doc(new QJVPPD(file.Path(), kParseAll));
    Settings settings;
    ASSERT_TRUE(doc->Save(settings));
    using Names = std::optional<std::vector<std::string>>;
    struct Row {
        const char* what;
        std::optional<std::filesystem::path> path;
        Names names;
        bool valid;
    };
    const Row rows[] = {
        {"no file given: the snapshot alone", std::nullopt, Names{{"NOTSERVED"}}, true},
        {"the same file, no printer list", file.Path(), std::nullopt, true},
        {"the same file, its name served", file.Path(), Names{{"OTHER", "KELVOT"}}, true},
        {"the same file, no longer served", file.Path(), Names{{"OTHER"}}, false},
        {"another file with equal contents", other.Path(), std::nullopt, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        QJVPPDRef rebuilt = QJVPPD::FromSettings(settings, row.path, row.names);
        EXPECT_EQ(rebuilt->IsValidPPD(), row.valid);
        EXPECT_EQ(rebuilt->GetControls()->All().empty(), !row.valid);
        if (!row.valid) {
            EXPECT_EQ(ErrorCodes(*rebuilt), std::vector<int>{PPDErr_StaleSnapshot});
        }
    }
    Settings empty;
    QJVPPDRef none = QJVPPD::FromSettings(empty);
    EXPECT_FALSE(none->IsValidPPD());
    EXPECT_EQ(ErrorCodes(*none), std::vector<int>{PPDErr_NotSnapshot});
}

TEST(Snapshot, RestoreSetsTheValuesOfAnotherCopyOfTheDocument) {
    Parsed changed(kMixed + "*%QJVJobNote *QJNote/Note: 20|Alpha\n");
    changed.As<PPDXPopupControl>("*QJTray")->SetKeywordSelect("Upper", true);
    changed.As<PPDXBooleanControl>("*QJFold")->SetValue(false);
    changed.As<PPDXJobNote>("*QJNote")->SetNotes("call me");
    Settings settings;
    ASSERT_TRUE(changed.doc->Save(settings));

    Parsed fresh(kMixed + "*%QJVJobNote *QJNote/Note: 20|Alpha\n");
    PPDX::Options(kDisplayVisibleParented);
    fresh.doc->Restore(settings);
    EXPECT_EQ(PPDX::Options(), kDisplayVisibleParented);
    PPDX::Options(kDisplayAll);
    EXPECT_EQ(fresh.doc->CopyAllValues(), changed.doc->CopyAllValues());
    EXPECT_EQ(fresh.doc->CopyValueForKey("*QJTray"), "Upper");
}
