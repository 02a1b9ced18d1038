// The panel's layout of a document: pages, sections, which controls get an
// editor, and finding a control's place.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PPDX/PPDObjects/Controls/PPDXControl.h"
#include "PPDX/QJVPPD.h"
#include "TestSupport.h"
#include "panel/PanelLayout.h"

using kelvo::panel::BuildPanelLayout;
using kelvo::panel::HasEditor;
using kelvo::panel::LayoutSection;
using kelvo::panel::PanelLayout;

namespace {

QJVPPDRef Load(const std::filesystem::path& path) {
    QJVPPDRef doc(new QJVPPD(path, kParseAll));
    return doc;
}

std::vector<std::string> PageTitles(const PanelLayout& layout) {
    std::vector<std::string> titles;
    for (const auto& page : layout.pages)
        titles.push_back(page.title);
    return titles;
}

std::vector<std::string> Keywords(const LayoutSection& section) {
    std::vector<std::string> keywords;
    for (const PPDXControl* control : section.controls)
        keywords.push_back(control->Keyword());
    return keywords;
}

} // namespace

TEST(PanelLayout, SamplePagesInFileOrderThenFreeGroups) {
    auto doc = Load(kelvotest::SamplePath("kelvo-sample.ppd"));
    ASSERT_TRUE(doc->IsValidPPD());
    const PanelLayout layout = BuildPanelLayout(*doc);
    EXPECT_EQ(PageTitles(layout),
              (std::vector<std::string>{"Kelvo General", "Kelvo Finishing", "Kelvo Image Quality",
                                        "Kelvo Job Information", "Expert Settings", "Installed Options",
                                        "Options Installed"}));
    ASSERT_EQ(layout.pages.size(), 7u);

    // Sections: roll-downs of the page's pane, titles without trailing blanks.
    const auto& general = layout.pages[0];
    EXPECT_EQ(general.keyword, "QJPageGeneral");
    ASSERT_EQ(general.sections.size(), 2u);
    EXPECT_EQ(general.sections[0].title, "Paper Source");
    EXPECT_EQ(general.sections[0].kind, LayoutSection::Kind::kRollDown);
    EXPECT_EQ(Keywords(general.sections[0]),
              (std::vector<std::string>{"*PageSize", "*QJPrintSize", "*InputSlot", "*MediaType", "*QJPaperWeight"}));
    EXPECT_EQ(general.sections[1].title, "Layout");
    EXPECT_EQ(Keywords(general.sections[1]),
              (std::vector<std::string>{"*QJDuplex", "*QJ_PAPER_ORIENTATION", "*QJCopies", "*QJCollate",
                                        "*QJReversePrint", "*QJImageShift"}));

    // A plain group is a page of one group section; the control kept out of
    // the driver UI is left out of it.
    const auto& expert = layout.pages[4];
    ASSERT_EQ(expert.sections.size(), 1u);
    EXPECT_EQ(expert.sections[0].kind, LayoutSection::Kind::kGroup);
    EXPECT_EQ(Keywords(expert.sections[0]), (std::vector<std::string>{"*QJTrapping"}));
    // The orphan roll-down keeps its kind.
    EXPECT_EQ(layout.pages[6].sections[0].kind, LayoutSection::Kind::kRollDown);
    EXPECT_EQ(Keywords(layout.pages[6].sections[0]), (std::vector<std::string>{"*QJHCIInstalled"}));

    // 11 + 10 + 8 + 6 on the pages, then 1 + 2 + 1 in the free groups.
    EXPECT_EQ(layout.ControlCount(), 39u);
}

TEST(PanelLayout, WhoGetsAnEditor) {
    auto doc = Load(kelvotest::SamplePath("kelvo-sample.ppd"));
    struct Row {
        const char* keyword;
        bool editor;
    } rows[] = {
        {"*PageSize", true},         {"*QJInsertSheets", true},    {"*QJAccount", true},
        {"*CustomPrintSize", false}, // page setup owns the custom size
        {"*QJControllerModel", false}, {"*QJJobFormat", false},   // special options
        {"*QJSmoothing", false},     // NoKelvoDriverUI
        {"*QJHCIInstalled", true},
    };
    for (const Row& row : rows) {
        PPDXControl* control = doc->GetControls()->FindAny(row.keyword);
        ASSERT_NE(control, nullptr) << row.keyword;
        EXPECT_EQ(HasEditor(*control), row.editor) << row.keyword;
    }
}

TEST(PanelLayout, HiddenAndEmptyPartsLeftOut) {
    auto doc = Load(kelvotest::DataPath("panel/layout.ppd"));
    ASSERT_TRUE(doc->IsValidPPD());
    const PanelLayout layout = BuildPanelLayout(*doc);
    // The hidden page, the hidden roll-down and the roll-down whose only
    // control has no editor give nothing; a blank group title falls back to
    // the keyword.
    EXPECT_EQ(PageTitles(layout), (std::vector<std::string>{"Shown Page", "GrpPlain"}));
    ASSERT_EQ(layout.pages.size(), 2u);
    ASSERT_EQ(layout.pages[0].sections.size(), 1u);
    EXPECT_EQ(layout.pages[0].sections[0].title, "First Section");
    EXPECT_EQ(Keywords(layout.pages[0].sections[0]), (std::vector<std::string>{"*KVAlpha", "*KVBeta"}));
    EXPECT_EQ(layout.pages[1].sections[0].title, "GrpPlain");
    EXPECT_EQ(Keywords(layout.pages[1].sections[0]), (std::vector<std::string>{"*KVPlain"}));

    for (const char* keyword : {"*KVSecret", "*KVOnHiddenPage", "*KVHiddenUI"}) {
        PPDXControl* control = doc->GetControls()->FindAny(keyword);
        ASSERT_NE(control, nullptr) << keyword;
        EXPECT_FALSE(HasEditor(*control)) << keyword;
    }
}

TEST(PanelLayout, FindGivesPageAndSection) {
    auto doc = Load(kelvotest::SamplePath("kelvo-sample.ppd"));
    const PanelLayout layout = BuildPanelLayout(*doc);
    struct Row {
        const char* keyword;
        bool found;
        std::size_t page, section;
    } rows[] = {
        {"*PageSize", true, 0, 0},       {"*QJCopies", true, 0, 1},       {"*QJCreep", true, 1, 1},
        {"*Instruc", true, 3, 1},        {"*QJTrapping", true, 4, 0},     {"*QJHCIInstalled", true, 6, 0},
        {"*CustomPrintSize", false, 0, 0}, {"*QJSmoothing", false, 0, 0}, {"PageSize", false, 0, 0},
        {"", false, 0, 0},
    };
    for (const Row& row : rows) {
        std::size_t page = 99, section = 99;
        EXPECT_EQ(layout.Find(row.keyword, page, section), row.found) << row.keyword;
        if (row.found) {
            EXPECT_EQ(page, row.page) << row.keyword;
            EXPECT_EQ(section, row.section) << row.keyword;
        }
    }
}
