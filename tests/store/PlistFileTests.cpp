// Property values through XML and binary property-list files: round trips,
// the exact XML we write, hostile input, and the atomic file update.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "PlistTestSupport.h"
#include "TestSupport.h"
#include "store/PlistFile.h"

using namespace kelvo::store;
using kelvotest::ReadFile;
using kelvotest::TempDir;

namespace {

/// `depth` arrays nested in one another, the innermost holding a string.
PropertyValue Nested(int depth) {
    PropertyValue value("leaf");
    for (int i = 0; i < depth; ++i)
        value = PropertyValue(PropertyArray{value});
    return value;
}

void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
    ASSERT_EQ(WriteFileAtomically(path, bytes), kPlistOK);
}

/// A binary property list from raw object bytes: 2-byte offsets, 1-byte
/// references, root `top`.
std::string BinaryList(const std::vector<std::string>& objects, std::uint8_t top) {
    std::string out = "bplist00";
    std::vector<std::size_t> offsets;
    for (const std::string& object : objects) {
        offsets.push_back(out.size());
        out += object;
    }
    const std::size_t table = out.size();
    for (std::size_t offset : offsets) {
        out += static_cast<char>(offset >> 8);
        out += static_cast<char>(offset & 0xFF);
    }
    std::string trailer(32, '\0');
    trailer[6] = 2; // offset size
    trailer[7] = 1; // reference size
    trailer[15] = static_cast<char>(objects.size());
    trailer[23] = static_cast<char>(top);
    trailer[30] = static_cast<char>(table >> 8);
    trailer[31] = static_cast<char>(table & 0xFF);
    return out + trailer;
}

std::string Bytes(std::initializer_list<unsigned> bytes) {
    std::string out;
    for (unsigned b : bytes)
        out += static_cast<char>(b);
    return out;
}

} // namespace

TEST(PlistFile, ValuesRoundTripThroughXmlAndBinaryFiles) {
    PropertyDictionary settings{{"Copies", PropertyValue(3)},
                                {"*QJStaple", PropertyValue("TopLeft")},
                                {"Nested", PropertyValue(PropertyArray{PropertyValue(false), PropertyValue(-1.5)})}};
    const struct {
        const char* name;
        PropertyValue value;
    } rows[] = {
        {"utf8 string", PropertyValue("Épreuve <couchée> & \"x\"")},
        {"empty string", PropertyValue("")},
        {"int64 min", PropertyValue(std::numeric_limits<std::int64_t>::min())},
        {"int64 max", PropertyValue(std::numeric_limits<std::int64_t>::max())},
        {"real", PropertyValue(0.1)},
        {"negative real", PropertyValue(-2.5e300)},
        {"nan", PropertyValue(std::nan(""))},
        {"true", PropertyValue(true)},
        {"false", PropertyValue(false)},
        {"empty data", PropertyValue(PropertyData{})},
        {"data", PropertyValue(PropertyData{0x00, 0xFF, 0x10, 0x80})},
        {"empty array", PropertyValue(PropertyArray{})},
        {"empty dict", PropertyValue(PropertyDictionary{})},
        {"dict", PropertyValue(settings)},
        {"array of kinds", PropertyValue(PropertyArray{PropertyValue("a"), PropertyValue(-7), PropertyValue(true),
                                                       PropertyValue(PropertyData{1}), PropertyValue(settings)})},
        {"deepest allowed", Nested(kMaxPlistDepth)},
    };
    TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        PropertyValue back;
        ASSERT_EQ(WritePropertyListXML(dir / "x.plist", row.value), kPlistOK);
        ASSERT_EQ(ReadPropertyList(dir / "x.plist", back), kPlistOK);
        EXPECT_EQ(back, row.value);
        EXPECT_EQ(back.GetKind(), row.value.GetKind());

        std::string binary;
        ASSERT_EQ(SerializePropertyListBinary(row.value, binary), kPlistOK);
        WriteBytes(dir / "b.plist", binary);
        PropertyValue fromBinary;
        ASSERT_EQ(ReadPropertyList(dir / "b.plist", fromBinary), kPlistOK);
        EXPECT_EQ(fromBinary, row.value);
    }
}

TEST(PlistFile, WritesTheExpectedXml) {
    const PropertyDictionary dict{{"Name", PropertyValue("Kelvo")}, {"Copies", PropertyValue(-9)},
                                  {"Scale", PropertyValue(0.5)}};
    const PropertyValue value(PropertyArray{PropertyValue("a&b"), PropertyValue(true), PropertyValue(PropertyData{}),
                                            PropertyValue(PropertyData{1, 2, 0xFF}), PropertyValue(dict),
                                            PropertyValue(PropertyArray{})});
    TempDir dir;
    ASSERT_EQ(WritePropertyListXML(dir / "x.plist", value), kPlistOK);
    // Dictionary keys come out sorted; negative integers as written.
    EXPECT_EQ(ReadFile(dir / "x.plist"), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<array>
	<string>a&amp;b</string>
	<true/>
	<data>
	</data>
	<data>
	AQL/
	</data>
	<dict>
		<key>Copies</key>
		<integer>-9</integer>
		<key>Name</key>
		<string>Kelvo</string>
		<key>Scale</key>
		<real>0.5</real>
	</dict>
	<array/>
</array>
</plist>
)");
}

TEST(PlistFile, RefusesWhatItCannotRead) {
    auto deepXml = [](int depth) {
        std::string text = "<plist version=\"1.0\">";
        for (int i = 0; i < depth; ++i)
            text += "<array>";
        for (int i = 0; i < depth; ++i)
            text += "</array>";
        return text + "</plist>";
    };
    // obj 0 an empty array; obj k an array holding obj k-1 twice (shared).
    std::vector<std::string> doubling{Bytes({0xA0})};
    for (unsigned k = 1; k <= 40; ++k)
        doubling.push_back(Bytes({0xA2, k - 1, k - 1}));
    // obj k an array holding obj k-1: a chain deeper than the limit.
    std::vector<std::string> chain{Bytes({0xA0})};
    for (unsigned k = 1; k <= 100; ++k)
        chain.push_back(Bytes({0xA1, k - 1}));
    std::vector<std::string> shallow(chain.begin(), chain.begin() + 10);

    const struct {
        const char* name;
        std::string bytes;
        PlistStatus expected;
    } rows[] = {
        {"empty", "", kPlistMalformed},
        {"text", "hello, world", kPlistMalformed},
        {"unclosed xml", "<plist version=\"1.0\"><array><string>x</string>", kPlistMalformed},
        {"date", "<plist version=\"1.0\"><date>2020-01-01T00:00:00Z</date></plist>", kPlistUnsupportedType},
        {"xml deepest allowed", deepXml(kMaxPlistDepth + 1), kPlistOK},
        {"xml too deep", deepXml(kMaxPlistDepth + 2), kPlistTooDeep},
        {"xml very deep", deepXml(200000), kPlistTooDeep},
        {"binary magic only", "bplist00", kPlistMalformed},
        {"binary garbage", "bplist00" + std::string(40, '\xFF'), kPlistMalformed},
        {"binary int in array", BinaryList({Bytes({0x10, 5}), Bytes({0xA1, 0})}, 1), kPlistOK},
        {"binary reference out of range", BinaryList({Bytes({0xA1, 7})}, 0), kPlistMalformed},
        {"binary cycle", BinaryList({Bytes({0xA1, 0})}, 0), kPlistMalformed},
        // Keys libplist would abort on: with a NUL (ASCII, UTF-16), not a string.
        {"binary key with nul", BinaryList({Bytes({0x52, 'a', 0}), Bytes({0x10, 1}), Bytes({0xD1, 0, 1})}, 2),
         kPlistMalformed},
        {"binary utf16 key with nul", BinaryList({Bytes({0x61, 0, 0}), Bytes({0x10, 1}), Bytes({0xD1, 0, 1})}, 2),
         kPlistMalformed},
        {"binary integer key", BinaryList({Bytes({0x10, 1}), Bytes({0xD1, 0, 0})}, 1), kPlistMalformed},
        {"binary string key", BinaryList({Bytes({0x51, 'a'}), Bytes({0x10, 1}), Bytes({0xD1, 0, 1})}, 2), kPlistOK},
        {"binary shared explosion", BinaryList(doubling, 40), kPlistTooLarge},
        {"binary chain within limit", BinaryList(shallow, 9), kPlistOK},
        {"binary chain too deep", BinaryList(chain, 100), kPlistTooDeep},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        PropertyValue out("untouched");
        EXPECT_EQ(ParsePropertyList(row.bytes, out), row.expected);
        if (row.expected != kPlistOK) {
            EXPECT_EQ(out, PropertyValue("untouched"));
        }
    }
    PropertyValue five;
    ASSERT_EQ(ParsePropertyList(BinaryList({Bytes({0x10, 5}), Bytes({0xA1, 0})}, 1), five), kPlistOK);
    EXPECT_EQ(five, PropertyValue(PropertyArray{PropertyValue(5)}));
}

TEST(PlistFile, RefusesValuesItCannotWrite) {
    const struct {
        const char* name;
        PropertyValue value;
        PlistStatus expected;
    } rows[] = {
        {"nul in string", PropertyValue(std::string("a\0b", 3)), kPlistBadString},
        {"nul in key", PropertyValue(PropertyDictionary{{std::string("k\0", 2), PropertyValue(1)}}), kPlistBadString},
        {"too deep", Nested(kMaxPlistDepth + 1), kPlistTooDeep},
    };
    TempDir dir;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string xml;
        EXPECT_EQ(SerializePropertyListXML(row.value, xml), row.expected);
        EXPECT_EQ(WritePropertyListXML(dir / "x.plist", row.value), row.expected);
        EXPECT_FALSE(std::filesystem::exists(dir / "x.plist"));
    }
}

TEST(PlistFile, ReadingFileErrors) {
    TempDir dir;
    PropertyValue out;
    EXPECT_EQ(ReadPropertyList(dir / "missing.plist", out), ENOENT);
    EXPECT_EQ(ReadPropertyList(dir.Path(), out), kPlistNotAFile);
    EXPECT_NE(PlistStatusText(ENOENT).find("No such file"), std::string::npos);
    EXPECT_NE(PlistStatusText(kPlistTooDeep).find("64"), std::string::npos);
}

TEST(PlistFile, AtomicWriteKeepsModeAndLeavesNoTemporaryFiles) {
    TempDir dir;
    const auto path = dir / "list.plist";
    ASSERT_EQ(WritePropertyListXML(path, PropertyValue("one")), kPlistOK);
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u) << "a new file is private";

    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    ASSERT_EQ(WritePropertyListXML(path, PropertyValue("two")), kPlistOK);
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u) << "a replaced file keeps its mode";

    PropertyValue back;
    ASSERT_EQ(ReadPropertyList(path, back), kPlistOK);
    EXPECT_EQ(back, PropertyValue("two"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 1) << "no temporary file left";

    EXPECT_EQ(WritePropertyListXML(dir / "no-such-folder" / "x.plist", PropertyValue("x")), ENOENT);
}

/// A folder holding one written list, to check that a failed write leaves
/// that file as it was and no temporary file behind.
class OldFile {
public:
    OldFile() {
        EXPECT_EQ(WritePropertyListXML(Path(), PropertyValue("old")), kPlistOK);
        mBefore = ReadFile(Path());
    }
    std::filesystem::path Path() const { return mDir / "list.plist"; }
    const std::filesystem::path& Folder() const { return mDir.Path(); }
    void ExpectUntouched() const {
        EXPECT_EQ(ReadFile(Path()), mBefore);
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(mDir.Path()), {}), 1) << "no temporary file left";
    }

private:
    TempDir mDir;
    std::string mBefore;
};

TEST(PlistFile, WriteCutShortLeavesTheOldFileIntact) {
    // The file size limit stands in for a full disk; root is bound by it too.
    OldFile file;
    struct rlimit old {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = signal(SIGXFSZ, SIG_IGN);
    struct rlimit low = old;
    low.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &low), 0);
    const PlistStatus status = WritePropertyListXML(file.Path(), PropertyValue(std::string(4096, 'n')));
    setrlimit(RLIMIT_FSIZE, &old);
    signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(status, EFBIG);
    file.ExpectUntouched();
}

TEST(PlistFile, ReadOnlyFolderLeavesTheOldFileIntact) {
    if (geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only folders";
    OldFile file;
    ASSERT_EQ(chmod(file.Folder().c_str(), 0500), 0);
    EXPECT_EQ(WritePropertyListXML(file.Path(), PropertyValue("new")), EACCES);
    chmod(file.Folder().c_str(), 0700);
    file.ExpectUntouched();
}
