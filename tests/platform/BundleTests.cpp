// The bundle: helper versions and paths, the name in the exchange, the info file, finding the folder, what the build ships.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "TestSupport.h"
#include "output/Watermark.h"
#include "platform/Bundle.h"
#include "platform/StringsTable.h"
#include "store/PropertyListFile.h"

namespace fs = std::filesystem;
using kelvo::platform::Bundle;
using kelvo::platform::HelperVersion;

namespace {

void WriteText(const fs::path& path, std::string_view text) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string InfoPlist(std::string_view body) {
    return R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)" + std::string(body) + "</plist>";
}

/// Sets or clears an environment variable for one test, restoring it after.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const char* value) : mName(name) {
        if (const char* old = std::getenv(name))
            mOld = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnvironment() {
        if (mOld)
            setenv(mName, mOld->c_str(), 1);
        else
            unsetenv(mName);
    }

private:
    const char* mName;
    std::optional<std::string> mOld;
};

} // namespace

TEST(Bundle, HelperVersionTable) {
    const struct {
        const char* version;
        HelperVersion expected;
    } rows[] = {
        {"4", {"4", 0}},        {"4.0", {"4", 0}},        {"4.1", {"4.1", 1}},     {"4.2", {"4.2", 2}},
        {"4.3", {"4.2", 2}},    {"4.4", {"4.4", 4}},      {"4.5", {"4.4", 5}},     {"4.10", {"4.4", 10}},
        {"4.1.2", {"4.4", 1}},  {"4.x", {"4.4", 0}},      {"4.", {"4.4", 0}},      {"4.99999999999", {"4.4", 0}},
        {"", {"3", 0}},         {"3.9", {"3", 0}},        {"40", {"3", 0}},        {"5.0", {"3", 0}},
        {" 4.1", {"3", 0}},     {"4.00", {"4.4", 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.version);
        EXPECT_EQ(kelvo::platform::HelperVersionFor(row.version), row.expected);
    }
}

TEST(Bundle, HelperPathAndSegmentName) {
    EXPECT_EQ(kelvo::platform::HelperPath("/usr/lib/kelvo/QJVKelvoPDE.plugin", "4.2"),
              "/usr/lib/kelvo/QJVKelvoPDE.plugin/Contents/QJV KD4.2toJP.app/Contents/MacOS/QJV KD4.2toJP");
    EXPECT_EQ(kelvo::platform::HelperPath("/opt/My Printers/QJV X", "3"),
              "/opt/My Printers/QJV X/Contents/QJV KD3toJP.app/Contents/MacOS/QJV KD3toJP");

    const std::pair<const char*, const char*> names[] = {
        {"/usr/lib/kelvo/QJVKelvoPDE.plugin", "QJVKelvoPDE.plugin"},
        {"/Library/Printers/QJV Kelvo PDE.plugin", "QJV"},
        {"/usr/lib/kelvo/QJVKelvoPDE.plugin//", "QJVKelvoPDE.plugin"},
        {"/a folder/with blanks/Name", "Name"},
        {"QJVOnly", "QJVOnly"},
        {" leading", ""},
        {"", ""},
    };
    for (const auto& [path, name] : names) {
        SCOPED_TRACE(path);
        EXPECT_EQ(kelvo::platform::BundleNameForSegment(path), name);
    }
}

TEST(Bundle, OpenReadsTheInfoFile) {
    kelvotest::TempFile scratch("", "unused");
    const fs::path folder = scratch.Path().parent_path() / "QJV Test.plugin";
    WriteText(folder / "Contents/Info.plist",
              InfoPlist("<dict><key>CFBundleIdentifier</key><string>org.example.panel</string>"
                        "<key>CFBundleVersion</key><string>1.2.3-build4-\xC3\xA9</string>"
                        "<key>PMPPDKeysSupported</key><array><string>QJDuplex</string><integer>3</integer>"
                        "<string>QJStaple</string></array><key>Extra</key><true/></dict>"));
    std::string error;
    const std::optional<Bundle> bundle = Bundle::Open(folder.string() + "/", error);
    ASSERT_TRUE(bundle) << error;
    EXPECT_EQ(bundle->Path(), folder);
    EXPECT_EQ(bundle->Identifier(), "org.example.panel");
    // 14 bytes would split the "é": cut before it.
    EXPECT_EQ(bundle->Version(), "1.2.3-build4-");
    EXPECT_EQ(bundle->SupportedKeys(), (std::vector<std::string>{"QJDuplex", "QJStaple"}));
    ASSERT_NE(bundle->InfoValue("Extra"), nullptr);
    EXPECT_TRUE(bundle->InfoValue("Extra")->BooleanOr(false));
    EXPECT_EQ(bundle->NameForSegment(), "QJV");
    EXPECT_EQ(bundle->HelperPath("4"), folder.string() + "/Contents/QJV KD4toJP.app/Contents/MacOS/QJV KD4toJP");
    EXPECT_EQ(bundle->ResourcesPath(), folder / "Contents/Resources");
}

TEST(Bundle, OpenRefusesWhatIsNoBundle) {
    kelvotest::TempFile scratch("", "unused");
    const fs::path base = scratch.Path().parent_path();
    WriteText(base / "array/Contents/Info.plist", InfoPlist("<array/>"));
    WriteText(base / "garbage/Contents/Info.plist", "not a property list at all");
    fs::create_directories(base / "empty/Contents");
    WriteText(base / "file", "x");
    const std::pair<fs::path, const char*> rows[] = {
        {base / "missing", "not a folder"},
        {base / "file", "not a folder"},
        {base / "empty", "Info.plist"},
        {base / "array", "not a dictionary"},
        {base / "garbage", "Info.plist"},
        {fs::path(), "no bundle folder"},
    };
    for (const auto& [folder, why] : rows) {
        SCOPED_TRACE(folder.string());
        std::string error;
        EXPECT_FALSE(Bundle::Open(folder, error));
        EXPECT_NE(error.find(why), std::string::npos) << error;
    }
}

TEST(Bundle, FindsTheFolderByEnvironmentInstallOrBuildTree) {
    kelvotest::TempFile scratch("", "unused");
    const fs::path base = scratch.Path().parent_path();
    const std::string name(kelvo::platform::kBundleName);
    const std::string info = InfoPlist("<dict/>");
    // An installed prefix, a build tree with its bundle, a build tree without.
    WriteText(base / "prefix/lib/kelvo" / name / "Contents/Info.plist", info);
    WriteText(base / "prefix/bin/kelvo-pde", "");
    WriteText(base / "build/CMakeCache.txt", "");
    WriteText(base / "build" / name / "Contents/Info.plist", info);
    WriteText(base / "bare/CMakeCache.txt", "");
    WriteText(base / "bare/sub" / name / "Contents/Info.plist", info);
    // Above the build tree's top: must not be taken.
    WriteText(base / name / "Contents/Info.plist", info);

    const struct {
        fs::path program;
        const char* environment;
        std::optional<fs::path> expected;
    } rows[] = {
        {base / "prefix/bin/kelvo-pde", "/elsewhere/B", fs::path("/elsewhere/B")},
        {base / "prefix/bin/kelvo-pde", "", base / "prefix/lib/kelvo" / name},
        {base / "build/tests/platform_tests", nullptr, base / "build" / name},
        {base / "build/kelvo-pde", nullptr, base / "build" / name},
        {base / "bare/sub/deeper/prog", nullptr, std::nullopt},
        {base / "nowhere/bin/prog", nullptr, std::nullopt},
        {fs::path(), nullptr, std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.program.string());
        std::string error;
        const std::optional<fs::path> found = kelvo::platform::FindBundleFolder(row.program, row.environment, error);
        EXPECT_EQ(found, row.expected);
        if (!row.expected) {
            EXPECT_NE(error.find("KELVO_BUNDLE"), std::string::npos) << error;
        }
    }
}

// The bundle the build makes beside the test programs: found from the test
// program, with the texts and lists the panel relies on.
TEST(Bundle, TheBuiltBundleShipsItsTexts) {
    ScopedEnvironment noOverride("KELVO_BUNDLE", nullptr);
    std::string error;
    const std::optional<Bundle> bundle = Bundle::Find(error);
    ASSERT_TRUE(bundle) << error;
    EXPECT_EQ(bundle->Path().filename(), kelvo::platform::kBundleName);
    EXPECT_FALSE(bundle->Identifier().empty());
    EXPECT_FALSE(bundle->Version().empty());
    EXPECT_FALSE(bundle->SupportedKeys().empty());

    const auto english = std::vector<std::string>{"en"};
    const auto bidi = kelvo::platform::StringsTable::Load(bundle->ResourcesPath(), "BidiStrings", english);
    EXPECT_EQ(bidi.Lookup("INVALID_IP_ADDRESS"), "You have entered an invalid IP Address or DNS Name");
    EXPECT_EQ(bidi.Lookup("PRESS_OKAY"), "Press OK to enter a new IP Address or DNS Name.");

    const auto texts = kelvo::platform::StringsTable::Load(bundle->ResourcesPath(), "Localizable", english);
    for (const char* key : {"PDE Panel Title", "DocumentSizeCustom", "Accounting"})
        EXPECT_NE(texts.Find(key), nullptr) << key;
    const char* watermarks[] = {"Draft", "Confidential", "Copy", "Sample", "Do not copy"};
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        const std::string* definition = texts.Find("Watermark" + std::to_string(i));
        ASSERT_NE(definition, nullptr);
        const kelvo::output::QJVWatermark watermark(*definition);
        EXPECT_EQ(watermark.Text(), watermarks[i]);
        EXPECT_GT(watermark.FontSize(), 0);
        EXPECT_FALSE(watermark.FontName().empty());
        EXPECT_FALSE(watermark.ClearToner());
        EXPECT_FALSE(watermark.Red() == 255 && watermark.Green() == 255 && watermark.Blue() == 255);
    }

    // No model list by default: every PPD with the maker's statements is served.
    const kelvo::store::PrinterListFile printers(bundle->ResourcesPath());
    EXPECT_EQ(printers.LastError(), kelvo::store::kPlistOK);
    EXPECT_FALSE(printers.Names());
}
