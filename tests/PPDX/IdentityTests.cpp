// Whether a PPD is one the panel serves, and whether two documents are the same.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "ParseHelpers.h"

using kelvotest::TempFile;

namespace {

std::string WithPCFileName(const std::string& value, std::size_t paddingBefore = 0) {
    return "*PPD-Adobe: \"4.3\"\n" + std::string(paddingBefore, '%') + (paddingBefore ? "\n" : "") +
           "*PCFileName:\t \"" + value + "\"\n*ModelName: \"Kelvo Test\"\n";
}

bool Validate(const std::string& text, const std::optional<std::vector<std::string>>& names) {
    TempFile file(text);
    return PPDX::ValidateFileName(file.Path(), names);
}

} // namespace

TEST(Identity, PCFileNameValidation) {
    using Names = std::vector<std::string>;
    struct Row {
        std::string text;
        std::optional<Names> names;
        bool valid;
        const char* why;
    } rows[] = {
        {WithPCFileName("KPL9200.PPD"), std::nullopt, true, "no list restricts nothing"},
        {"not a PPD at all", std::nullopt, true, "...not even the file's content"},
        {WithPCFileName("KPL9200.PPD"), Names{"KPL9200.PPD"}, true, "the whole value"},
        {WithPCFileName("KPL9200.PPD"), Names{"KPL9200"}, true, "a leading part: names are substrings"},
        {WithPCFileName("KPL9200.PPD"), Names{"OTHER", "9200"}, true, "any name of the list"},
        {WithPCFileName("KPL9200.PPD"), Names{"kpl9200"}, false, "case counts"},
        {WithPCFileName("KPL9200.PPD"), Names{}, false, "an empty list admits nothing"},
        {WithPCFileName(std::string(40, 'X') + "KPL9200.PPD"), Names{"KPL9200"}, false, "beyond the 32-byte window"},
        {WithPCFileName("KPL9200.PPD", 4000), Names{"KPL9200"}, true, "keyword inside the first 4096 bytes"},
        {WithPCFileName("KPL9200.PPD", 4100), Names{"KPL9200"}, false, "keyword after byte 4096"},
        {"*PPD-Adobe: \"4.3\"\n*ModelName: \"KPL9200.PPD\"\n", Names{"KPL9200"}, false, "no *PCFileName"},
        {WithPCFileName("K\x8ALN.PPD"), Names{"KäLN"}, true, "names are matched as Mac Roman"},
    };
    for (const Row& r : rows)
        EXPECT_EQ(Validate(r.text, r.names), r.valid) << r.why;

    TempFile dir("x");
    EXPECT_FALSE(PPDX::ValidateFileName(dir.Path().parent_path(), std::vector<std::string>{"x"}));
    EXPECT_FALSE(PPDX::ValidateFileName("/nonexistent/x.ppd", std::vector<std::string>{"x"}));

    // A compressed PPD is validated on its text.
    TempFile plain(WithPCFileName("KPL9200.PPD"));
    ASSERT_EQ(std::system(("gzip -kf '" + plain.PathString() + "'").c_str()), 0);
    EXPECT_TRUE(PPDX::ValidateFileName(plain.PathString() + ".gz", std::vector<std::string>{"KPL9200"}));
}

TEST(Identity, DocumentsAreTheSameWhenTheirFileIs) {
    TempFile file(WithPCFileName("KPL9200.PPD"), "a.ppd");
    const std::filesystem::path dir = file.Path().parent_path();
    auto open = [](const std::filesystem::path& p) { return QJVPPDRef(new QJVPPD(p, kParseAll)); };

    QJVPPDRef a = open(file.Path());
    EXPECT_TRUE(*a == *open(file.Path()));
    EXPECT_TRUE(*a == *open(dir / "." / ".." / dir.filename() / "a.ppd")) << "another spelling of the path";

    std::filesystem::copy_file(file.Path(), dir / "b.ppd");
    EXPECT_FALSE(*a == *open(dir / "b.ppd")) << "a copy is another file";
    std::filesystem::create_hard_link(file.Path(), dir / "c.ppd");
    EXPECT_FALSE(*a == *open(dir / "c.ppd")) << "identity goes by directory and name";

    // Replaced by a new copy under the same name: still the printer's file.
    std::filesystem::remove(file.Path());
    std::filesystem::copy_file(dir / "b.ppd", file.Path());
    EXPECT_TRUE(*a == *open(file.Path()));

    QJVPPDRef memory = QJVPPD::FromBytes(WithPCFileName("KPL9200.PPD"), kParseAll);
    EXPECT_FALSE(*memory == *memory) << "no file, no identity";
}

TEST(Identity, FileRefRecordRoundTripsAndRefusesDamage) {
    TempFile file("x", "a-name-longer-than-the-thirty-nine-bytes-the-record-keeps.ppd");
    const std::optional<PPDFileRef> ref = PPDFileRef::FromPath(file.Path());
    ASSERT_TRUE(ref);
    const auto bytes = ref->Bytes();
    ASSERT_EQ(bytes.size(), 80u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), 4), "KvFR");
    const std::optional<PPDFileRef> back = PPDFileRef::FromBytes(bytes);
    ASSERT_TRUE(back);
    EXPECT_TRUE(back->SameFile(*ref));
    EXPECT_EQ(back->NamePrefix(), "a-name-longer-than-the-thirty-nine-byte");

    auto damaged = bytes;
    damaged[0] = 'X';
    EXPECT_FALSE(PPDFileRef::FromBytes(damaged));
    damaged = bytes;
    damaged[4] = 2; // a version this reader does not know
    EXPECT_FALSE(PPDFileRef::FromBytes(damaged));
    EXPECT_FALSE(PPDFileRef::FromBytes(std::span(bytes.data(), 79)));
    damaged = bytes;
    damaged[79] = 'Z'; // no terminator: the name still ends in the record
    ASSERT_TRUE(PPDFileRef::FromBytes(damaged));
    EXPECT_EQ(PPDFileRef::FromBytes(damaged)->NamePrefix().size(), 39u);
}
