// PropertyListFile (loading, HOME-relative paths, saving) and the
// PrinterListFile's PCFILENAME names.
#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "PlistTestSupport.h"
#include "store/PropertyListFile.h"

using namespace kelvo::store;
using kelvotest::ScopedEnv;
using kelvotest::TempDir;

TEST(PropertyListFile, MissingFileIsLoadedWithAnEmptyRoot) {
    TempDir dir;
    PropertyListFile file(dir / "absent.plist");
    EXPECT_TRUE(file.IsLoaded());
    EXPECT_EQ(file.Root(), nullptr);
    EXPECT_EQ(file.LastError(), ENOENT);
    EXPECT_FALSE(file.IsMutable());
}

TEST(PropertyListFile, SaveThenLoadGivesTheSameRoot) {
    TempDir dir;
    const PropertyValue root(PropertyDictionary{{"Printers", PropertyValue(PropertyArray{PropertyValue("A")})},
                                                {"Count", PropertyValue(-3)}});
    PropertyListFile writer(dir.Path(), "prefs.plist", true);
    EXPECT_TRUE(writer.IsMutable());
    ASSERT_TRUE(writer.Save(root)) << PlistStatusText(writer.LastError());
    EXPECT_EQ(writer.LastError(), kPlistOK);

    PropertyListFile reader(dir / "prefs.plist");
    ASSERT_NE(reader.Root(), nullptr);
    EXPECT_EQ(*reader.Root(), root);
    EXPECT_TRUE(reader.Path().is_absolute());

    EXPECT_FALSE(writer.Save(PropertyValue(std::string("a\0b", 3))));
    EXPECT_EQ(writer.LastError(), kPlistBadString);
    EXPECT_FALSE(writer.CreatePropertyListFromFile(dir / "other.plist"));
    EXPECT_EQ(writer.Root(), nullptr);
}

TEST(PropertyListFile, PathUnderHome) {
    TempDir home;
    std::filesystem::create_directories(home / "Library");
    ASSERT_TRUE(PropertyListFile(home / "Library" / "x.plist").Save(PropertyValue("mine")));
    {
        ScopedEnv env("HOME", home.Path().string());
        PropertyListFile file(PropertyListFile::UnderHome{}, "/Library/x.plist");
        EXPECT_EQ(file.Path(), home / "Library" / "x.plist");
        ASSERT_NE(file.Root(), nullptr);
        EXPECT_EQ(*file.Root(), PropertyValue("mine"));
    }
    {
        ScopedEnv env("HOME", std::nullopt);
        PropertyListFile file(PropertyListFile::UnderHome{}, "/Library/x.plist");
        EXPECT_TRUE(file.IsLoaded());
        EXPECT_TRUE(file.Path().empty());
        EXPECT_EQ(file.LastError(), kPlistNoHome);
        EXPECT_FALSE(file.Save(PropertyValue("x")));
        EXPECT_EQ(file.LastError(), kPlistNoHome);
    }
}

TEST(PrinterListFile, NamesFromPCFileName) {
    using Names = std::optional<std::vector<std::string>>;
    const struct {
        const char* name;
        std::optional<PropertyValue> root; // nullopt: no file
        bool loaded;
        Names names;
    } rows[] = {
        {"no file", std::nullopt, false, std::nullopt},
        {"no key", PropertyValue(PropertyDictionary{{"Other", PropertyValue("x")}}), false, std::nullopt},
        {"root not a dict", PropertyValue(PropertyArray{PropertyValue("PCFILENAME")}), false, std::nullopt},
        {"one name", PropertyValue(PropertyDictionary{{"PCFILENAME", PropertyValue("KPL9200.PPD")}}), true,
         Names{{"KPL9200.PPD"}}},
        {"names", PropertyValue(PropertyDictionary{{"PCFILENAME", PropertyValue(PropertyArray{
                                                                      PropertyValue("KPL9200.PPD"), PropertyValue(7),
                                                                      PropertyValue("KPL9300.PPD")})}}),
         true, Names{{"KPL9200.PPD", "KPL9300.PPD"}}},
        {"empty list", PropertyValue(PropertyDictionary{{"PCFILENAME", PropertyValue(PropertyArray{})}}), true,
         Names{std::vector<std::string>{}}},
        {"other kind", PropertyValue(PropertyDictionary{{"PCFILENAME", PropertyValue(true)}}), true, std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        TempDir dir;
        if (row.root) {
            ASSERT_TRUE(PropertyListFile(dir / "PrinterList.plist").Save(*row.root));
        }
        PrinterListFile list(dir.Path());
        EXPECT_EQ(list.IsLoaded(), row.loaded);
        EXPECT_EQ(list.Value() != nullptr, row.loaded);
        EXPECT_EQ(list.Names(), row.names);
    }
}
