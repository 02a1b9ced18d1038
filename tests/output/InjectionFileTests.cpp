// Reading injection files: what is accepted (XML, binary, unknown sites), what
// is refused and how it is named, the file checks (links, FIFOs, size), and
// `kelvo-pde ticket show` over them.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "output/InjectionFile.h"
#include "store/PlistFile.h"
#include "store/PlistTestSupport.h"

using namespace kelvo::output;
using kelvo::store::PropertyArray;
using kelvo::store::PropertyData;
using kelvo::store::PropertyValue;
using kelvotest::FullRun;
using kelvotest::RunToolFull;
using kelvotest::TempDir;

namespace {

std::vector<std::uint8_t> Bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string Xml(const PropertyArray& items) {
    std::string xml;
    EXPECT_EQ(kelvo::store::SerializePropertyListXML(PropertyValue(items), xml), 0);
    return xml;
}

void Write(const std::filesystem::path& path, std::string_view bytes) {
    ASSERT_EQ(kelvo::store::WriteFileAtomically(path, bytes), 0);
}

/// A list with a piece at every kind of site, and one the system does not know.
const std::vector<InjectionPiece> kPieces = {
    {-9, Bytes("*Duplex")},
    {81, Bytes("%%BeginFeature: *QJStaple None\n%%EndFeature\n")},
    {30, {}},
    {12345, Bytes("kept")},
    {501, Bytes("%%QJVDriver\r\n\x1b[31mred\xff")},
};

} // namespace

TEST(InjectionFile, AcceptsXMLAndBinaryListsAndKeepsUnknownSites) {
    std::string xml;
    ASSERT_EQ(SerializeInjectionList(kPieces, xml), 0);
    PropertyValue parsed;
    ASSERT_EQ(kelvo::store::ParsePropertyList(xml, parsed), 0);
    std::string binary;
    ASSERT_EQ(kelvo::store::SerializePropertyListBinary(parsed, binary), 0);
    for (const std::string& bytes : {xml, binary}) {
        const InjectionReadResult result = ParseInjectionList(bytes);
        ASSERT_TRUE(result.ok()) << result.status.Text();
        EXPECT_EQ(result.pieces, kPieces);
    }
    const InjectionReadResult empty = ParseInjectionList(Xml({}));
    EXPECT_TRUE(empty.ok());
    EXPECT_TRUE(empty.pieces.empty());
    // The 32-bit limits themselves are sites like any other.
    const InjectionReadResult limits = ParseInjectionList(
        Xml({PropertyValue(std::int64_t{2147483647}), PropertyValue(PropertyData{}),
             PropertyValue(std::int64_t{-2147483648LL}), PropertyValue(PropertyData{})}));
    ASSERT_TRUE(limits.ok()) << limits.status.Text();
    EXPECT_EQ(limits.pieces, (std::vector<InjectionPiece>{{2147483647, {}}, {-2147483647 - 1, {}}}));
}

TEST(InjectionFile, RefusesListsOfTheWrongShapeNamingTheElement) {
    const PropertyValue site(81);
    const PropertyValue data(PropertyData{'x'});
    const struct {
        const char* name;
        std::string bytes;
        InjectionError error;
        std::size_t index;
        const char* text;
    } rows[] = {
        {"not a list", "hello", InjectionError::kNotAPropertyList, 0, "not a property list (XML or binary)"},
        {"empty input", "", InjectionError::kNotAPropertyList, 0, "not a property list (XML or binary)"},
        {"dictionary root", Xml({}).replace(Xml({}).find("<array/>"), 8, "<dict/>"), InjectionError::kRootNotArray, 0,
         "the root element is not an array"},
        {"odd count", Xml({site, data, site}), InjectionError::kOddCount, 3,
         "the array holds 3 elements; sites and pieces must pair up"},
        {"string site", Xml({PropertyValue("81"), data}), InjectionError::kSiteNotInteger, 0,
         "element 0 is a string, not a site (an integer)"},
        {"real site", Xml({site, data, PropertyValue(8.5), data}), InjectionError::kSiteNotInteger, 2,
         "element 2 is a real, not a site (an integer)"},
        {"data site", Xml({data, data}), InjectionError::kSiteNotInteger, 0,
         "element 0 is data, not a site (an integer)"},
        {"string piece", Xml({site, PropertyValue("text")}), InjectionError::kPieceNotData, 1,
         "element 1 is a string, not a piece (data)"},
        {"array piece", Xml({site, data, site, PropertyValue(PropertyArray{})}), InjectionError::kPieceNotData, 3,
         "element 3 is an array, not a piece (data)"},
        {"site above 32 bits", Xml({PropertyValue(std::int64_t{2147483648LL}), data}),
         InjectionError::kSiteOutOfRange, 0, "element 0 is a site outside 32 bits"},
        {"site below 32 bits", Xml({site, data, PropertyValue(std::int64_t{-2147483649LL}), data}),
         InjectionError::kSiteOutOfRange, 2, "element 2 is a site outside 32 bits"},
        {"too large", std::string(kMaxInjectionFileBytes + 1, ' '), InjectionError::kTooLarge, 0,
         "larger than 16 MiB"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        const InjectionReadResult result = ParseInjectionList(r.bytes);
        EXPECT_EQ(result.status.error, r.error);
        EXPECT_EQ(result.status.index, r.index);
        EXPECT_EQ(result.status.Text(), r.text);
        EXPECT_TRUE(result.pieces.empty());
    }
}

TEST(InjectionFile, ReadsOnlyRegularFilesNotThroughLinks) {
    TempDir dir;
    std::string xml;
    ASSERT_EQ(SerializeInjectionList(kPieces, xml), 0);
    Write(dir / "ticket", xml);
    const InjectionReadResult good = ReadInjectionFile(dir / "ticket");
    ASSERT_TRUE(good.ok()) << good.status.Text();
    EXPECT_EQ(good.pieces, kPieces);

    std::filesystem::create_symlink(dir / "ticket", dir / "link");
    std::filesystem::create_directory(dir / "folder");
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0); // must not block the open
    {
        std::ofstream big(dir / "big");
    }
    std::filesystem::resize_file(dir / "big", kMaxInjectionFileBytes + 1);
    Write(dir / "odd", Xml({PropertyValue(81)}));
    const struct {
        const char* name;
        InjectionError error;
        int code;
        const char* text;
    } rows[] = {
        {"link", InjectionError::kSymbolicLink, ELOOP, "a symbolic link, which is not followed"},
        {"folder", InjectionError::kNotAFile, 0, "not a regular file"},
        {"fifo", InjectionError::kNotAFile, 0, "not a regular file"},
        {"missing", InjectionError::kSystem, ENOENT, "No such file or directory"},
        {"big", InjectionError::kTooLarge, 0, "larger than 16 MiB"},
        {"odd", InjectionError::kOddCount, 0, "the array holds 1 elements; sites and pieces must pair up"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        const InjectionReadResult result = ReadInjectionFile(dir / r.name);
        EXPECT_EQ(result.status.error, r.error);
        EXPECT_EQ(result.status.code, r.code);
        EXPECT_EQ(result.status.Text(), r.text);
        EXPECT_TRUE(result.pieces.empty());
    }
}

TEST(TicketShow, ListsThePiecesReadablyAndAsJSON) {
    TempDir dir;
    std::string xml;
    ASSERT_EQ(SerializeInjectionList(kPieces, xml), 0);
    Write(dir / "ticket", xml);
    const std::string file = (dir / "ticket").string();

    const FullRun text = RunToolFull({"ticket", "show", file});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(text.out, "piece 1: site -9 (kInjectSuppressFeature), 7 bytes\n"
                        "    *Duplex\n"
                        "  (no line end)\n"
                        "piece 2: site 81 (kInjectFeatureCode), 44 bytes\n"
                        "    %%BeginFeature: *QJStaple None\n"
                        "    %%EndFeature\n"
                        "piece 3: site 30 (kInjectJobNoteData), 0 bytes\n"
                        "piece 4: site 12345 (unknown site), 4 bytes\n"
                        "    kept\n"
                        "  (no line end)\n"
                        "piece 5: site 501 (kInjectHeaderComment), 22 bytes\n"
                        "    %%QJVDriver\\x0D\n"
                        "    \\x1B[31mred\\xFF\n"
                        "  (no line end)\n");

    // Standard input reads the same.
    EXPECT_EQ(RunToolFull({"ticket", "show", "-"}, file).out, text.out);

    const FullRun json = RunToolFull({"ticket", "show", file, "--json"});
    EXPECT_EQ(json.status, 0) << json.err;
    EXPECT_EQ(nlohmann::json::parse(json.out, nullptr, false), nlohmann::json::parse(R"([
        {"site": -9, "name": "kInjectSuppressFeature", "text": "*Duplex", "base64": "KkR1cGxleA=="},
        {"site": 81, "name": "kInjectFeatureCode", "text": "%%BeginFeature: *QJStaple None\n%%EndFeature\n",
         "base64": "JSVCZWdpbkZlYXR1cmU6ICpRSlN0YXBsZSBOb25lCiUlRW5kRmVhdHVyZQo="},
        {"site": 30, "name": "kInjectJobNoteData", "text": "", "base64": ""},
        {"site": 12345, "name": null, "text": "kept", "base64": "a2VwdA=="},
        {"site": 501, "name": "kInjectHeaderComment", "text": "%%QJVDriver\r\n\u001b[31mred\ufffd",
         "base64": "JSVRSlZEcml2ZXINChtbMzFtcmVk/w=="}
    ])")) << json.out;
}

TEST(TicketShow, NamesTheFileAndTheReasonOnFailure) {
    TempDir dir;
    Write(dir / "odd", Xml({PropertyValue(81)}));
    std::filesystem::create_symlink(dir / "odd", dir / "link");
    const struct {
        std::vector<std::string> args;
        int status;
        std::string err;
    } rows[] = {
        {{"ticket", "show", (dir / "odd").string()}, 2,
         "kelvo-pde: " + (dir / "odd").string() + ": the array holds 1 elements; sites and pieces must pair up\n"},
        {{"ticket", "show", (dir / "link").string(), "--json"}, 2,
         "kelvo-pde: " + (dir / "link").string() + ": a symbolic link, which is not followed\n"},
        {{"ticket", "show", (dir / "none").string()}, 2,
         "kelvo-pde: " + (dir / "none").string() + ": No such file or directory\n"},
        {{"ticket", "show", "-"}, 2, "kelvo-pde: (standard input): not a property list (XML or binary)\n"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.args[2]);
        const FullRun run = RunToolFull(r.args);
        EXPECT_EQ(run.status, r.status);
        EXPECT_EQ(run.err, r.err);
        EXPECT_EQ(run.out, "");
    }
    for (const std::vector<std::string>& usage : {std::vector<std::string>{"ticket"},
                                                  std::vector<std::string>{"ticket", "show"},
                                                  std::vector<std::string>{"ticket", "show", "a", "b"}}) {
        const FullRun run = RunToolFull(usage);
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(run.err.starts_with("kelvo-pde: ")) << run.err;
    }
}
