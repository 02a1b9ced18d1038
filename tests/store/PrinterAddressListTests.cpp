// The printer address list: record lookup, upgrades, blobs, hostile files,
// the file it writes and where it lives.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "PlistTestSupport.h"
#include "TestSupport.h"
#include "store/PrinterAddressList.h"

using namespace kelvo::store;
using kelvotest::ReadFile;
using kelvotest::ScopedEnv;
using kelvotest::TempDir;

namespace {

constexpr const char* kEnd = "----- Data End -----";
using List = QJVTessaryPrinterPList;

/// A list file holding `records`, in a temporary folder.
class ListFile {
public:
    explicit ListFile(const PropertyArray& records) {
        EXPECT_EQ(WritePropertyListXML(Path(), PropertyValue(records)), kPlistOK);
    }
    std::filesystem::path Path() const { return mDir / "list.plist"; }

private:
    TempDir mDir;
};

PropertyValue S(const char* text) {
    return PropertyValue(text);
}

PropertyArray Record(const char* name, const char* address, bool enabled, std::vector<PropertyValue> blobs = {}) {
    PropertyArray out{S(name), S(address), PropertyValue(enabled), S("2")};
    out.insert(out.end(), blobs.begin(), blobs.end());
    out.push_back(S(kEnd));
    return out;
}

PropertyArray Join(std::initializer_list<PropertyArray> parts) {
    PropertyArray out;
    for (const PropertyArray& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

/// Blocks of 1024 bytes, one per text.
std::vector<char> Blocks(std::initializer_list<const char*> texts) {
    std::vector<char> out(texts.size() * List::kBlockSize, '\0');
    std::size_t k = 0;
    for (const char* text : texts)
        std::memcpy(out.data() + List::kBlockSize * k++, text, std::strlen(text));
    return out;
}

std::vector<std::string> Blob(const List& list, const char* name, int id, bool expectFound = true) {
    std::vector<std::string> out;
    EXPECT_EQ(list.GetDataBlob(name, id, out), expectFound) << name << " blob " << id;
    return out;
}

} // namespace

TEST(PrinterAddressList, LookupIsTwoSided) {
    // Printer "Office" has the address "Lab"; printer "Lab" is listed after it.
    ListFile file(Join({Record("Office", "Lab", true), Record("Lab", "10.0.0.7", false)}));
    List list(file.Path());
    const struct {
        const char* name;
        bool found;
        std::size_t index;
        const char* address;
        bool enabled;
    } rows[] = {
        {"Office", true, 0, "Lab", true},
        {"office", true, 0, "Lab", true},
        {"Lab", true, 5, "10.0.0.7", false},
        {"LAB", true, 5, "10.0.0.7", false},
        {"10.0.0.7", false, 10, "", false},
        {"Nobody", false, 10, "", false},
        {"", false, 10, "", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        bool found = !row.found;
        EXPECT_EQ(list.Exists(row.name, found), row.index);
        EXPECT_EQ(found, row.found);
        EXPECT_EQ(list.Find(row.name), row.address);
        EXPECT_EQ(list.getIPEnabled(row.name), row.enabled);
    }
    EXPECT_TRUE(list.IsReady());
    EXPECT_FALSE(list.IsChanged());
}

TEST(PrinterAddressList, AddAppendsOrUpdatesOneRecord) {
    TempDir dir;
    List list(dir / "list.plist");
    EXPECT_EQ(list.LastError(), ENOENT);
    EXPECT_TRUE(list.Records().empty());
    list.Add("Office", "10.0.0.1", false);
    EXPECT_TRUE(list.IsChanged());
    list.Add("Lab", "10.0.0.2", true);
    list.Add("OFFICE", "10.0.0.9", true);
    EXPECT_EQ(list.Records(), Join({Record("Office", "10.0.0.9", true), Record("Lab", "10.0.0.2", true)}));

    EXPECT_TRUE(list.setIPEnabled("lab", false));
    EXPECT_FALSE(list.getIPEnabled("Lab"));
    EXPECT_FALSE(list.setIPEnabled("Nobody", true));
    EXPECT_FALSE(list.getIPEnabled("Nobody"));
}

TEST(PrinterAddressList, AddUpgradesOldRecords) {
    const PropertyArray next = Record("Next", "10.0.0.3", false);
    const struct {
        const char* name;
        PropertyArray before;
        PropertyArray after;
    } rows[] = {
        {"version 0 at the end", {S("P"), S("old"), PropertyValue(false), S("0")}, Record("P", "new", true)},
        {"version 0, element after it overwritten",
         {S("P"), S("old"), PropertyValue(false), S("0"), S("stale")},
         Record("P", "new", true)},
        {"version 1 with three old elements",
         Join({{S("P"), S("old"), PropertyValue(true), S("1"), S("3"), S("a"), S("b"), S("c"), S(kEnd)}, next}),
         Join({Record("P", "new", true), next})},
        {"version 1 at the end", {S("P"), S("old"), PropertyValue(true), S("1"), S("2"), S("a"), S("b")},
         Record("P", "new", true)},
        {"version 1 counting past the end", {S("P"), S("old"), PropertyValue(true), S("1"), S("99"), S("a")},
         Record("P", "new", true)},
        {"version 1 count not a string", {S("P"), S("old"), PropertyValue(true), S("1"), PropertyValue(false), S("a")},
         Record("P", "new", true)},
        {"version 1 negative count", {S("P"), S("old"), PropertyValue(true), S("1"), S("-4"), S(kEnd)},
         Record("P", "new", true)},
        {"version 2 keeps its blobs", Record("P", "old", false, {S("1:1"), S("wm")}),
         Record("P", "new", true, {S("1:1"), S("wm")})},
        {"record cut short", {S("P")}, Record("P", "new", true)},
        {"flag of another kind", {S("P"), S("old"), S("yes"), S("2"), S(kEnd)}, Record("P", "new", true)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ListFile file(row.before);
        List list(file.Path());
        list.Add("P", "new", true);
        EXPECT_EQ(list.Records(), row.after);
    }
}

TEST(PrinterAddressList, BlobsAreWrittenNewestFirstAndReplaced) {
    TempDir dir;
    List list(dir / "list.plist");
    list.Add("P", "10.0.0.1", true);
    list.Add("Q", "10.0.0.2", false);

    ASSERT_TRUE(list.AddDataBlob("P", 2, 1, Blocks({"a", "b"})));
    ASSERT_TRUE(list.AddDataBlob("P", 1, 2, Blocks({"x"})));
    EXPECT_EQ(list.Records(), Join({Record("P", "10.0.0.1", true, {S("2:1"), S("x"), S("1:2"), S("a"), S("b")}),
                                    Record("Q", "10.0.0.2", false)}));
    EXPECT_EQ(Blob(list, "p", 1), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Blob(list, "P", 2), (std::vector<std::string>{"x"}));
    Blob(list, "P", 3, false);
    Blob(list, "Q", 1, false);

    // Blob 1 again: the old one goes, the new one stands first.
    ASSERT_TRUE(list.AddDataBlob("P", 1, 1, Blocks({"c"})));
    EXPECT_EQ(list.Records(), Join({Record("P", "10.0.0.1", true, {S("1:1"), S("c"), S("2:1"), S("x")}),
                                    Record("Q", "10.0.0.2", false)}));

    // A count of zero: a header and nothing else, still found.
    ASSERT_TRUE(list.AddDataBlob("Q", 0, 1, {}));
    EXPECT_EQ(Blob(list, "Q", 1), std::vector<std::string>{});
    EXPECT_EQ(list.Find("Q"), "10.0.0.2");
    std::vector<std::string> appended{"kept"};
    ASSERT_TRUE(list.GetDataBlob("P", 1, appended));
    EXPECT_EQ(appended, (std::vector<std::string>{"kept", "c"}));
}

TEST(PrinterAddressList, BlobArgumentsAndUnknownPrinters) {
    ListFile file(Record("P", "10.0.0.1", true));
    List list(file.Path());
    const PropertyArray before = list.Records();

    EXPECT_TRUE(list.AddDataBlob("Nobody", 1, 1, Blocks({"lost"})));
    EXPECT_EQ(list.Records(), before) << "a blob for an unknown printer is dropped";
    EXPECT_FALSE(list.IsChanged());

    const std::vector<char> one = Blocks({"a"});
    EXPECT_FALSE(list.AddDataBlob("P", 2, 1, one)) << "fewer blocks than the count";
    EXPECT_FALSE(list.AddDataBlob("P", -1, 1, one));
    EXPECT_FALSE(list.AddDataBlob("P", List::kMaxBlobCount + 1, 1, one));
    EXPECT_EQ(list.Records(), before);

    // A block without NUL is taken whole, and nothing beyond it.
    std::vector<char> full(2 * List::kBlockSize, 'w');
    full[List::kBlockSize] = 'z';
    full[List::kBlockSize + 1] = '\0';
    ASSERT_TRUE(list.AddDataBlob("P", 2, 1, full));
    EXPECT_EQ(Blob(list, "P", 1), (std::vector<std::string>{std::string(List::kBlockSize, 'w'), "z"}));
}

TEST(PrinterAddressList, OldRecordsHaveNoBlobs) {
    ListFile file(Join({{S("P"), S("a"), PropertyValue(true), S("1"), S("2"), S("1:1"), S("old")},
                        {S("Q"), S("b"), PropertyValue(false), S("0"), S("1:1"), S("x"), S(kEnd)}}));
    List list(file.Path());
    Blob(list, "P", 1, false);
    Blob(list, "Q", 1, false);
    EXPECT_EQ(list.Find("Q"), "b");
}

TEST(PrinterAddressList, HostileFilesGiveNotFoundAnswers) {
    const std::pair<std::string, PlistStatus> unreadable[] = {
        {"<plist version=\"1.0\"><dict/></plist>", kPlistWrongRoot},
        {"<plist><array><string>x</string>", kPlistMalformed}};
    for (const auto& [text, status] : unreadable) {
        TempDir dir;
        ASSERT_EQ(WriteFileAtomically(dir / "list.plist", text), kPlistOK);
        List list(dir / "list.plist");
        EXPECT_EQ(list.LastError(), status) << text;
        EXPECT_TRUE(list.Records().empty());
    }
    // A header counting more strings than the array holds; no terminator.
    ListFile file({S("P"), S("a"), PropertyValue(true), S("2"), S("1:1000000"), S("only")});
    List list(file.Path());
    EXPECT_EQ(Blob(list, "P", 1), std::vector<std::string>{"only"});
    ASSERT_TRUE(list.AddDataBlob("P", 1, 1, Blocks({"new"})));
    EXPECT_EQ(list.Records(), (PropertyArray{S("P"), S("a"), PropertyValue(true), S("2"), S("1:1"), S("new")}));

    // A name as the last element; elements of other kinds.
    ListFile tail({PropertyValue(7), PropertyValue(PropertyData{1}), S("Last")});
    List cut(tail.Path());
    bool found = false;
    EXPECT_EQ(cut.Exists("Last", found), 2u);
    EXPECT_TRUE(found);
    EXPECT_EQ(cut.Find("Last"), "");
    EXPECT_FALSE(cut.getIPEnabled("Last"));
    EXPECT_FALSE(cut.setIPEnabled("Last", true));
    Blob(cut, "Last", 1, false);
    EXPECT_TRUE(cut.AddDataBlob("Last", 1, 1, Blocks({"b"})));
    Blob(cut, "Last", 1, false);
}

TEST(PrinterAddressList, SaveWritesTheFileAndReloads) {
    TempDir dir;
    const auto path = dir / "config" / "kelvo" / "QJV.TessaryPrinterV2.plist";
    List list(path);
    list.Add("Office", "10.0.0.1", true);
    ASSERT_TRUE(list.AddDataBlob("Office", 1, 1, Blocks({"Draft"})));
    ASSERT_TRUE(list.Save()) << PlistStatusText(list.LastError());
    EXPECT_FALSE(list.IsChanged());

    struct stat st {};
    ASSERT_EQ(stat((dir / "config" / "kelvo").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_EQ(ReadFile(path), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<array>
	<string>Office</string>
	<string>10.0.0.1</string>
	<true/>
	<string>2</string>
	<string>1:1</string>
	<string>Draft</string>
	<string>----- Data End -----</string>
</array>
</plist>
)");
    List again(path);
    EXPECT_EQ(again.LastError(), kPlistOK);
    EXPECT_EQ(again.Records(), list.Records());
}

TEST(PrinterAddressList, DefaultPathFollowsTheEnvironment) {
    using Env = std::optional<std::string>;
    const struct {
        Env list, config, home;
        std::string expected;
    } rows[] = {
        {"/tmp/my.plist", "/cfg", "/home/u", "/tmp/my.plist"},
        {std::nullopt, "/cfg", "/home/u", "/cfg/kelvo/QJV.TessaryPrinterV2.plist"},
        {std::nullopt, "relative", "/home/u", "/home/u/.config/kelvo/QJV.TessaryPrinterV2.plist"},
        {"", "", "/home/u", "/home/u/.config/kelvo/QJV.TessaryPrinterV2.plist"},
        {std::nullopt, std::nullopt, std::nullopt, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        ScopedEnv a("KELVO_PRINTER_LIST", row.list), b("XDG_CONFIG_HOME", row.config), c("HOME", row.home);
        EXPECT_EQ(List::DefaultPath().string(), row.expected);
    }
    ScopedEnv a("KELVO_PRINTER_LIST", std::nullopt), b("XDG_CONFIG_HOME", std::nullopt), c("HOME", std::nullopt);
    List nowhere;
    EXPECT_EQ(nowhere.LastError(), kPlistNoHome);
    nowhere.Add("P", "a", true);
    EXPECT_FALSE(nowhere.Save());
    EXPECT_EQ(nowhere.LastError(), kPlistNoHome);
}

TEST(PrinterAddressList, PrintersFollowsRecordsOfEveryVersion) {
    ListFile file(Join({{S("Old0"), S("a0"), PropertyValue(false), S("0")},
                        {S("Old1"), S("a1"), PropertyValue(true), S("1"), S("2"), S("x"), S("y")},
                        // A blob string that looks like a header is skipped with its blob.
                        Record("Cur", "a2", true, {S("2:2"), S("3:1"), S("s"), S("1:0")}),
                        {PropertyValue(7), S("stray"), PropertyValue(true)},
                        {S("Cut"), S("a3")}}));
    List list(file.Path());
    const auto printers = list.Printers();
    const struct {
        const char* name;
        std::size_t index;
        const char* address;
        bool enabled;
        const char* version;
        std::vector<int> blobs;
    } expected[] = {
        {"Old0", 0, "a0", false, "0", {}},
        {"Old1", 4, "a1", true, "1", {}},
        {"Cur", 11, "a2", true, "2", {2, 1}},
        {"Cut", 23, "a3", false, "", {}},
    };
    ASSERT_EQ(printers.size(), std::size(expected));
    for (std::size_t k = 0; k < printers.size(); ++k) {
        SCOPED_TRACE(expected[k].name);
        EXPECT_EQ(printers[k].name, expected[k].name);
        EXPECT_EQ(printers[k].index, expected[k].index);
        EXPECT_EQ(printers[k].address, expected[k].address);
        EXPECT_EQ(printers[k].enabled, expected[k].enabled);
        EXPECT_EQ(printers[k].version, expected[k].version);
        EXPECT_EQ(printers[k].blobIds, expected[k].blobs);
    }
}
