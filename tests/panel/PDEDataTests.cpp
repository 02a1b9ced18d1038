// Per-dialog data: settings kept in the print settings and the address list, the PPD copy, host questions.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "PPDX/ParseHelpers.h"
#include "panel/PDEData.h"
#include "platform/memory/InMemoryHost.h"
#include "store/PrinterAddressList.h"

using kelvo::panel::PDEData;
using kelvo::panel::PDEDataOptions;
using kelvo::platform::PropertyValue;
using kelvo::store::QJVTessaryPrinterPList;
using kelvotest::Parsed;
using kelvotest::TempFile;

namespace {

const std::string kDuplex = kelvotest::Popup("*QJDuplex", "*QJDuplex None/Off: \"\"\n*QJDuplex Long/Long: \"\"\n",
                                             "*DefaultQJDuplex: None\n");

/// An address list in a folder of its own, with printer "office".
struct AddressList {
    explicit AddressList(bool bidi = true, std::vector<std::string> watermarks = {}) : folder("", "keep") {
        path = folder.Path().parent_path() / "list.plist";
        QJVTessaryPrinterPList list(path);
        list.Add("office", "10.1.2.3", bidi);
        if (!watermarks.empty()) {
            std::vector<char> blocks(watermarks.size() * QJVTessaryPrinterPList::kBlockSize, '\0');
            for (std::size_t i = 0; i < watermarks.size(); ++i)
                std::copy(watermarks[i].begin(), watermarks[i].end(), blocks.begin() + i * 1024);
            EXPECT_TRUE(list.AddDataBlob("office", static_cast<int>(watermarks.size()), 1, blocks));
        }
        EXPECT_TRUE(list.Save());
    }
    PDEDataOptions Options() const {
        PDEDataOptions options;
        options.addressList = path;
        options.copyPPD = false;
        return options;
    }
    TempFile folder;
    std::filesystem::path path;
};

/// Sets an environment variable for the scope, putting the old value back.
struct ScopedEnv {
    ScopedEnv(const char* name, const std::string& value) : name(name) {
        if (const char* now = std::getenv(name))
            old = now;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() { old ? setenv(name, old->c_str(), 1) : unsetenv(name); }
    const char* name;
    std::optional<std::string> old;
};

const char* kMark1 = "0,0,0,255,0,0,u,1,u,0,u,u,40,Helvetica,ONE";
const char* kMark2 = "1,0,0,0,0,0,u,0,u,0,u,u,40,Helvetica,TWO";

} // namespace

TEST(PDEData, SaveWritesEveryKeyInOrderOfTheLists) {
    AddressList addresses;
    kelvo::platform::InMemoryHost host;
    PDEData data(nullptr, "office", &host, addresses.Options());
    data.Watermarks().emplace_back(kMark1);
    ASSERT_TRUE(data.SelectWatermark(0));
    data.AddMixedMedia("*QJMMRange", "1-3");
    data.AddMixedMedia("*QJMMRange", "");
    data.AddPadCover("QJFront", "Printed");
    EXPECT_EQ(data.SaveNonPSSettings(), 0);
    const kelvo::platform::PropertyDictionary expected = {
        {"WatermarkFirstPageInfo", PropertyValue(1)}, {".SelectedWatermarkKey", PropertyValue(0)},
        {".MMKey", PropertyValue(2)},                 {"MMKey0", PropertyValue("*QJMMRange")},
        {"MMValue0", PropertyValue("1-3")},           {"MMKey1", PropertyValue("*QJMMRange")},
        {"MMValue1", PropertyValue("")},              {".PadCov", PropertyValue(1)},
        {"PCovKey0", PropertyValue("QJFront")},       {"PCovValue0", PropertyValue("Printed")},
    };
    EXPECT_EQ(host.Settings().CopyAsDictionary(), expected);

    // Read back into a fresh dialog of the same printer.
    PDEData again(nullptr, "office", &host, addresses.Options());
    EXPECT_EQ(again.RestoreNonPSSettings(), 0);
    EXPECT_EQ(again.MixedMedia(), data.MixedMedia());
    EXPECT_EQ(again.PadCovers(), data.PadCovers());
}

TEST(PDEData, RestoreBoundsCountsAndTexts) {
    AddressList addresses;
    kelvo::platform::InMemoryHost host;
    auto& settings = host.Settings();
    settings.Set(".MMKey", PropertyValue(1000));
    for (int i = 0; i < 300; ++i) {
        settings.Set("MMKey" + std::to_string(i), PropertyValue(std::string(300, 'k')));
        settings.Set("MMValue" + std::to_string(i), PropertyValue("v"));
    }
    settings.Set(".PadCov", PropertyValue("3")); // text, as the printing system keeps options
    settings.Set("PCovKey0", PropertyValue("A"));
    settings.Set("PCovValue0", PropertyValue(7)); // not a string: empty
    settings.Set("*QJPCName", PropertyValue("Glossy \xC3\xA9"));
    settings.Set("*QJPCMID", PropertyValue(12)); // not a string: stays unset
    PDEData data(nullptr, "office", &host, addresses.Options());
    EXPECT_EQ(data.RestoreNonPSSettings(), 0);
    ASSERT_EQ(data.MixedMedia().size(), kelvo::panel::kMaxMixedMedia);
    EXPECT_EQ(data.MixedMedia()[0].first, std::string(256, 'k'));
    ASSERT_EQ(data.PadCovers().size(), 3u);
    EXPECT_EQ(data.PadCovers()[0], (kelvo::panel::KeyValuePair{"A", ""}));
    EXPECT_EQ(data.PadCovers()[2], (kelvo::panel::KeyValuePair{"", ""}));
    EXPECT_EQ(data.PaperCatalog()[0], (kelvo::panel::KeyValuePair{"*QJPCMID", "-1"}));
    EXPECT_EQ(data.PaperCatalog()[1], (kelvo::panel::KeyValuePair{"*QJPCName", "Glossy \xC3\xA9"}));

    settings.Set(".PadCov", PropertyValue(-4));
    settings.Set(".MMKey", PropertyValue("many"));
    EXPECT_EQ(data.RestoreNonPSSettings(), 0);
    EXPECT_TRUE(data.MixedMedia().empty());
    EXPECT_TRUE(data.PadCovers().empty());
}

TEST(PDEData, StoredWatermarkIndexMustNameAStoredWatermark) {
    AddressList addresses(true, {kMark1, kMark2});
    struct Row {
        std::optional<PropertyValue> index;
        std::optional<PropertyValue> firstPage;
        int selected;
        bool firstPageOnly; // of the selected watermark
    } rows[] = {
        {std::nullopt, std::nullopt, -1, false},
        {PropertyValue(0), std::nullopt, 0, true}, // kMark1 is first-page-only by definition
        {PropertyValue(0), PropertyValue(0), 0, false},
        {PropertyValue(1), PropertyValue(1), 1, true},
        {PropertyValue("1"), PropertyValue(2), 1, false}, // only 1 means first page
        {PropertyValue(2), PropertyValue(1), -1, false},  // beyond the stored two
        {PropertyValue(-5), PropertyValue(1), -1, false},
        {PropertyValue(-1), std::nullopt, -1, false},
        {PropertyValue(1.5), std::nullopt, -1, false},
    };
    for (const Row& row : rows) {
        kelvo::platform::InMemoryHost host;
        if (row.index)
            host.Settings().Set(".SelectedWatermarkKey", *row.index);
        if (row.firstPage)
            host.Settings().Set("WatermarkFirstPageInfo", *row.firstPage);
        PDEData data(nullptr, "office", &host, addresses.Options());
        ASSERT_TRUE(data.GetWatermarksFromPreferences());
        ASSERT_EQ(data.Watermarks().size(), 2u);
        EXPECT_EQ(data.RestoreNonPSSettings(), 0);
        EXPECT_EQ(data.SelectedWatermark(), row.selected) << (row.index ? "index" : "none");
        if (row.selected >= 0) {
            EXPECT_EQ(data.Watermarks()[static_cast<std::size_t>(row.selected)].FirstPageOnly(), row.firstPageOnly);
        }
    }
}

TEST(PDEData, WatermarksThroughTheAddressList) {
    AddressList addresses(false);
    kelvo::platform::InMemoryHost host;
    {
        PDEData data(nullptr, "office", &host, addresses.Options());
        EXPECT_FALSE(data.GetWatermarksFromPreferences()); // no blob yet
        data.Watermarks().emplace_back(kMark1);
        data.Watermarks().emplace_back("0,0,0,0,0,0,u,0,u,0,u,u,10,F," + std::string(2000, 'x'));
        EXPECT_TRUE(data.SaveWatermarksToPreferences());
        PDEData stranger(nullptr, "elsewhere", &host, addresses.Options());
        stranger.Watermarks().emplace_back(kMark2);
        EXPECT_FALSE(stranger.SaveWatermarksToPreferences()); // not in the list
    }
    PDEData data(nullptr, "OFFICE", &host, addresses.Options()); // names match ignoring case
    ASSERT_TRUE(data.GetWatermarksFromPreferences());
    ASSERT_EQ(data.Watermarks().size(), 2u);
    EXPECT_EQ(data.Watermarks()[0].Definition(), kMark1);
    EXPECT_EQ(data.Watermarks()[1].Definition().size(), 1023u);
    EXPECT_EQ(data.PrinterAddress(), "10.1.2.3");
}

TEST(PDEData, ControlQuestions) {
    for (const auto& [keyword, special] :
         {std::pair{"*QJOutProfile", true}, {"*QJSimulation", true}, {"*QJRGBOverride", true},
          {"*QJOutProfileName", true}, {"x*QJSimulation", true}, {"*QJOutput", false}, {"QJSimulation", false}})
        EXPECT_EQ(PDEData::isSpecialChromaquaControl(keyword), special) << keyword;

    Parsed p(kDuplex + kelvotest::Popup("*QJMMInUse", "*QJMMInUse On/On: \"\"\n", "*DefaultQJMMInUse: On\n") +
             kelvotest::Popup("*QJClearCoat", "*QJClearCoat On/On: \"\"\n", "*DefaultQJClearCoat: On\n"));
    EXPECT_TRUE(PDEData::IsValidBasicPanelControl(p.Control("*QJDuplex")));
    EXPECT_FALSE(PDEData::IsValidBasicPanelControl(p.Control("*QJMMInUse")));
    EXPECT_FALSE(PDEData::IsValidBasicPanelControl(p.Control("*QJClearCoat")));
    EXPECT_FALSE(PDEData::IsValidBasicPanelControl(nullptr));
}

TEST(PDEData, HostQuestions) {
    AddressList addresses;
    struct Row {
        std::optional<PropertyValue> copies;
        int expected;
    } rows[] = {{std::nullopt, 1},          {PropertyValue(3), 3},       {PropertyValue("12"), 12},
                {PropertyValue(2.0), 2},     {PropertyValue(0), 1},       {PropertyValue(-2), 1},
                {PropertyValue("2 x"), 1},   {PropertyValue(std::int64_t{1} << 40), 1}, {PropertyValue(true), 1}};
    for (const Row& row : rows) {
        kelvo::platform::InMemoryHost host;
        if (row.copies)
            host.Settings().Set("copies", *row.copies);
        PDEData data(nullptr, "office", &host, addresses.Options());
        EXPECT_EQ(data.GetNumCopiesFromOS(), row.expected);
    }
    kelvo::platform::InMemoryHost host;
    host.Page().orientation = 4;
    std::string feed = "unchanged";
    PDEData data(nullptr, "office", &host, addresses.Options());
    EXPECT_EQ(data.GetPageOrientationFromOS(), 4);
    EXPECT_EQ(data.PageOrientation(), 4);
    EXPECT_FALSE(data.GetPrimayPaperFeedFromOS(feed));
    host.Settings().Set("com.apple.print.PrintSettings.PMPrimaryPaperFeed", PropertyValue("Tray2"));
    EXPECT_TRUE(data.GetPrimayPaperFeedFromOS(feed));
    EXPECT_EQ(feed, "Tray2");

    PDEData hostless(nullptr, "office", nullptr, addresses.Options());
    EXPECT_EQ(hostless.SaveNonPSSettings(), 0);
    EXPECT_EQ(hostless.RestoreNonPSSettings(), -1);
    EXPECT_EQ(hostless.GetNumCopiesFromOS(), 1);
    EXPECT_EQ(hostless.GetPageOrientationFromOS(), 1);
}

TEST(PDEData, WorkflowClientAbsentMeansNothingDone) {
    if (std::filesystem::exists("/usr/lib/kelvo"))
        GTEST_SKIP() << "/usr/lib/kelvo exists on this machine: a client may be installed";
    Parsed p(kDuplex + "*%QJVSpecialOption *Quorant: True\n");
    AddressList addresses;
    PDEData data(p.doc.get(), "office", nullptr, addresses.Options());
    EXPECT_EQ(data.UploadSwivaneXMLFiles(2), 1);
}

TEST(PDEData, PPDCopyIsMadeSafelyAndRemoved) {
    TempFile tmp("", "keep");
    const std::filesystem::path temporary = tmp.Path().parent_path(), folder = temporary / "ppds";
    std::filesystem::create_directory(folder);
    ScopedEnv env("KELVO_TMPDIR", temporary.string());
    AddressList addresses;
    PDEDataOptions options = addresses.Options();
    options.copyPPD = true;
    Parsed p(kDuplex);
    const std::string text = kelvotest::ReadFile(p.file.Path());
    const auto source = [&](const char* name) {
        std::filesystem::copy_file(p.file.Path(), folder / name);
        return QJVPPDRef(new QJVPPD(folder / name, kParseAll));
    };
    for (const auto& [name, copy] :
         {std::pair{"model", "model.ppd"}, {"model.ppd", "model.ppd"}, {"model.ppd.gz", "model.ppd.gz"}}) {
        QJVPPDRef doc = source(name);
        {
            PDEData data(doc.get(), "office", nullptr, options);
            ASSERT_TRUE(data.HasPPDCopy()) << name;
            EXPECT_EQ(data.PPDCopyPath(), temporary / copy);
            EXPECT_EQ(kelvotest::ReadFile(data.PPDCopyPath()), text);
            struct stat st {};
            ASSERT_EQ(stat(data.PPDCopyPath().c_str(), &st), 0);
            EXPECT_EQ(st.st_mode & 0777, 0600u);
        }
        EXPECT_FALSE(std::filesystem::exists(temporary / copy)) << "removed with the dialog";
        std::filesystem::remove(folder / name);
    }

    // A leftover copy of our own is replaced; a link is never followed.
    QJVPPDRef doc = source("printer.ppd");
    const std::filesystem::path copy = folder / "copies" / "printer.ppd";
    std::filesystem::create_directory(folder / "copies");
    ScopedEnv copies("KELVO_TMPDIR", (folder / "copies").string());
    std::ofstream(copy.string()).close(); // an empty leftover
    {
        PDEData data(doc.get(), "office", nullptr, options);
        EXPECT_TRUE(data.HasPPDCopy());
        EXPECT_EQ(kelvotest::ReadFile(copy), text);
    }
    std::filesystem::create_symlink(folder / "target", copy);
    {
        PDEData data(doc.get(), "office", nullptr, options);
        EXPECT_FALSE(data.HasPPDCopy());
        EXPECT_FALSE(std::filesystem::exists(folder / "target"));
    }
    EXPECT_TRUE(std::filesystem::is_symlink(copy)); // not ours: left alone

    // Two dialogs for the same printer: the later one's copy replaces the
    // first one's in place, and the first one going does not take it along.
    std::filesystem::remove(copy);
    {
        auto first = std::make_unique<PDEData>(doc.get(), "office", nullptr, options);
        PDEData second(doc.get(), "office", nullptr, options);
        ASSERT_TRUE(first->HasPPDCopy());
        ASSERT_TRUE(second.HasPPDCopy());
        first.reset();
        EXPECT_EQ(kelvotest::ReadFile(copy), text) << "the second dialog's helper still reads it";
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / "copies"),
                                std::filesystem::directory_iterator()),
                  1) << "no staging file left behind";
    }
    EXPECT_FALSE(std::filesystem::exists(copy));

    // A PPD that sits where its copy would go is neither copied nor removed.
    ScopedEnv beside("KELVO_TMPDIR", folder.string());
    {
        PDEData data(doc.get(), "office", nullptr, options);
        EXPECT_FALSE(data.HasPPDCopy());
    }
    EXPECT_EQ(kelvotest::ReadFile(folder / "printer.ppd"), text);
}
