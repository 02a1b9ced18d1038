// Item operations, statuses, streams and text helpers of the settings store.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "store/Settings.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes B(std::string_view text) { return Bytes(text.begin(), text.end()); }

/// The (tag, id) pairs of a store in walk order, through First/Next.
std::vector<std::pair<std::uint32_t, std::int32_t>> Walk(Settings& s) {
    std::vector<std::pair<std::uint32_t, std::int32_t>> seen;
    std::uint32_t tag = 0, attributes = 0;
    std::int32_t id = 0;
    std::size_t size = 0;
    for (SettingsStatus st = s.First(tag, id, size, attributes); st == kSettingsNoErr;
         st = s.Next(tag, id, size, attributes))
        seen.emplace_back(tag, id);
    return seen;
}

} // namespace

static_assert(FourCC("KyWd") == 0x4B795764);
static_assert(FourCC("StCt") == 0x53744374);

TEST(Settings, AddReplacesInPlaceAndWalkKeepsIndexOrder) {
    Settings s;
    ASSERT_EQ(s.Add(FourCC("KyWd"), 5001, "Staple"), kSettingsNoErr);
    ASSERT_EQ(s.AddValue<std::int32_t>(FourCC("isVs"), 5001, 7), kSettingsNoErr);
    ASSERT_EQ(s.AddValue<std::uint64_t>(5000, 5002, 3), kSettingsNoErr);
    ASSERT_EQ(s.Lock(FourCC("isVs"), 5001), kSettingsNoErr);
    // Same address again: new value, same position, attributes kept, so
    // it is still locked and a second replacement is refused.
    EXPECT_EQ(s.Add(FourCC("KyWd"), 5001, "Punch"), kSettingsNoErr);
    EXPECT_EQ(s.Add(FourCC("isVs"), 5001, "x"), kSettingsItemLocked);
    EXPECT_EQ(s.Count(), 3u);

    using P = std::pair<std::uint32_t, std::int32_t>;
    EXPECT_EQ(Walk(s), (std::vector<P>{{FourCC("KyWd"), 5001}, {FourCC("isVs"), 5001}, {5000, 5002}}));
    EXPECT_EQ(GetSettingsString(s, FourCC("KyWd"), 5001)->Str(), "Punch");

    std::uint32_t tag = 0, attributes = 0;
    std::int32_t id = 0;
    std::size_t size = 0;
    ASSERT_EQ(s.First(tag, id, size, attributes), kSettingsNoErr);
    ASSERT_EQ(s.Next(tag, id, size, attributes), kSettingsNoErr);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(attributes, kSettingsLockBit);
    ASSERT_EQ(s.Next(tag, id, size, attributes), kSettingsNoErr);
    EXPECT_EQ(s.Next(tag, id, size, attributes), kSettingsIndexRange);
    EXPECT_EQ(s.Next(tag, id, size, attributes), kSettingsIndexRange); // stays past the end

    // Removing the middle item keeps the others in order and findable.
    ASSERT_EQ(s.Unlock(FourCC("isVs"), 5001), kSettingsNoErr);
    ASSERT_EQ(s.Remove(FourCC("isVs"), 5001), kSettingsNoErr);
    EXPECT_EQ(Walk(s), (std::vector<P>{{FourCC("KyWd"), 5001}, {5000, 5002}}));
    std::uint64_t pages = 0;
    EXPECT_EQ(s.GetValue(5000, 5002, pages), kSettingsNoErr);
    EXPECT_EQ(pages, 3u);
}

TEST(Settings, StatusCodesTable) {
    constexpr std::uint32_t kTag = 1000;
    struct Row {
        const char* what;
        SettingsStatus (*run)(Settings&);
        SettingsStatus expected;
    } rows[] = {
        {"First on empty", [](Settings& s) { s.Empty(); std::uint32_t t, a; std::int32_t i; std::size_t n;
                                             return s.First(t, i, n, a); }, kSettingsEmpty},
        {"Get absent", [](Settings& s) { Bytes v; return s.Get(kTag, 99, v); }, kSettingsItemNotFound},
        {"Set absent", [](Settings& s) { return s.Set(kTag, 99, B("x")); }, kSettingsItemNotFound},
        {"Remove absent", [](Settings& s) { return s.Remove(kTag, 99); }, kSettingsItemNotFound},
        {"Lock absent", [](Settings& s) { return s.Lock(kTag, 99); }, kSettingsItemNotFound},
        {"Set locked", [](Settings& s) { s.Lock(kTag, 1001); return s.Set(kTag, 1001, B("x")); }, kSettingsItemLocked},
        {"Remove locked", [](Settings& s) { s.Lock(kTag, 1001); return s.Remove(kTag, 1001); }, kSettingsItemLocked},
        {"Set unlocked", [](Settings& s) { s.Lock(kTag, 1001); s.Unlock(kTag, 1001); return s.Set(kTag, 1001, B("x")); },
         kSettingsNoErr},
        {"Get into small buffer", [](Settings& s) { std::uint8_t b[2]; std::size_t n = 0; return s.Get(kTag, 1001, b, n); },
         kSettingsParamErr},
        {"GetValue wrong size", [](Settings& s) { std::uint16_t v; return s.GetValue(kTag, 1001, v); }, kSettingsParamErr},
        {"Get 8 bytes swapped", [](Settings& s) { std::uint64_t v; return s.GetValue(kTag, 1002, v, true); },
         kSettingsUnsupportedSize},
        {"Save null stream", [](Settings& s) { return s.Save(nullptr); }, kSettingsStreamNotOpen},
        {"Save closed stream", [](Settings& s) { MemoryDataStream m; m.Close(); return s.Save(&m); }, kSettingsStreamNotOpen},
        {"Read null stream", [](Settings& s) { return s.Read(nullptr, 0); }, kSettingsStreamNotOpen},
        {"Read empty stream", [](Settings& s) { MemoryDataStream m; return s.Read(&m, 0); }, kSettingsParamErr},
        {"Read beyond stream", [](Settings& s) { MemoryDataStream m(B("KVST")); return s.Read(&m, 1u << 30); },
         kSettingsEndOfStream},
    };
    for (const Row& row : rows) {
        Settings s;
        s.Add(kTag, 1001, "four");
        s.AddValue<std::uint64_t>(kTag, 1002, 1);
        EXPECT_EQ(row.run(s), row.expected) << row.what;
        EXPECT_EQ(s.LastError(), row.expected) << row.what;
    }
}

TEST(Settings, ConstructionStatusesAndNoCollection) {
    Settings null{std::span<const std::uint8_t>{}};
    EXPECT_EQ(null.LastError(), kSettingsParamErr);
    EXPECT_FALSE(null.Valid());

    Settings none{std::unique_ptr<SettingsCollection>()};
    EXPECT_EQ(none.LastError(), kSettingsNoCollection);
    std::uint32_t t = 0, a = 0;
    std::int32_t i = 0;
    std::size_t n = 0;
    Bytes handle;
    EXPECT_EQ(none.Add(1, 1, "x"), kSettingsNoCollection);
    EXPECT_EQ(none.First(t, i, n, a), kSettingsNoCollection);
    EXPECT_EQ(none.GetSettingsHandle(handle), kSettingsNoCollection);
    EXPECT_EQ(none.Count(), 0u);

    // An adopted collection is the store's; a copy is independent of it.
    auto owned = std::make_unique<SettingsCollection>();
    owned->Append({7, 8, 0, B("v")});
    Settings adopted(std::move(owned));
    Settings copy(adopted);
    copy.Set(7, 8, B("w"));
    EXPECT_EQ(GetSettingsString(adopted, 7, 8)->Str(), "v");
    EXPECT_EQ(GetSettingsString(copy, 7, 8)->Str(), "w");
}

TEST(Settings, RoundTripsThroughMemoryAndFileStreams) {
    Settings s;
    s.AddValue<std::int32_t>(1000, 1001, 1024);
    s.Add(1000, 1008, "Kelvo Model");
    s.Add(1000, 1003, ""); // empty values survive
    s.Add(FourCC("PSDt"), -3, std::string("a\0b\xff", 4));
    s.Lock(1000, 1008);

    MemoryDataStream memory;
    ASSERT_EQ(s.Save(&memory), kSettingsNoErr);
    Settings fromMemory;
    fromMemory.Add(9, 9, "replaced by Read");
    ASSERT_EQ(fromMemory.Read(&memory, 0), kSettingsNoErr);
    EXPECT_TRUE(fromMemory.Valid());
    EXPECT_EQ(*fromMemory.Collection(), *s.Collection());

    kelvotest::TempFile file("", "settings.bin");
    FileDataStream out;
    ASSERT_EQ(out.Open(file.Path(), FileDataStream::Mode::Write), kSettingsNoErr);
    ASSERT_EQ(s.Save(&out), kSettingsNoErr);
    ASSERT_EQ(out.Close(), kSettingsNoErr);
    EXPECT_EQ(s.Save(&out), kSettingsStreamNotOpen);

    FileDataStream in;
    ASSERT_EQ(in.Open(file.Path(), FileDataStream::Mode::Read), kSettingsNoErr);
    EXPECT_EQ(in.Size(), memory.Bytes().size());
    Settings fromFile;
    ASSERT_EQ(fromFile.Read(&in, 0), kSettingsNoErr);
    EXPECT_EQ(*fromFile.Collection(), *s.Collection());
    EXPECT_EQ(fromFile.Lock(1000, 1008), kSettingsNoErr);
    EXPECT_EQ(fromFile.Set(1000, 1008, B("x")), kSettingsItemLocked); // the lock bit was kept

    // A failed Read leaves the store as it was.
    MemoryDataStream junk(B("KVSTjunkjunkjunkjunk"));
    EXPECT_EQ(fromFile.Read(&junk, 0), kSettingsDamagedBlock);
    EXPECT_EQ(*fromFile.Collection(), *s.Collection());
}

TEST(SettingsText, GetSettingsStringTable) {
    Settings s;
    s.Add(1000, 1, "Kelvo");
    s.Add(1000, 2, "");
    s.Add(1000, 3, std::string("a\0b", 3));
    struct Row {
        std::int32_t id;
        std::optional<std::string> expected;
    } rows[] = {{1, "Kelvo"}, {2, std::nullopt}, {3, std::string("a\0b", 3)}, {4, std::nullopt}};
    for (const Row& row : rows) {
        const auto got = GetSettingsString(s, 1000, row.id);
        ASSERT_EQ(got.has_value(), row.expected.has_value()) << row.id;
        if (got) {
            EXPECT_EQ(got->Str(), *row.expected) << row.id;
        }
    }
}

TEST(SettingsText, ExternalRepresentationRoundTripsAndMarksHostOrder) {
    const std::string text = "Agrafe \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"; // é, €, an emoji (surrogate pair)
    const Bytes external = CFStringToExternal(text);
    ASSERT_GE(external.size(), 2u);
    std::uint16_t mark = 0, first = 0;
    std::memcpy(&mark, external.data(), 2);
    std::memcpy(&first, external.data() + 2, 2);
    EXPECT_EQ(mark, 0xFEFF);
    EXPECT_EQ(first, 'A');
    EXPECT_EQ(external.size(), 2 + 2 * (11 + 2)); // 11 BMP characters and one pair
    EXPECT_EQ(ExtenalToCFString(external), text);
    EXPECT_EQ(CFStringToExternal("").size(), 2u);

    Settings s;
    s.Add(FourCC("LcCF"), 5001, external);
    s.Add(FourCC("LcCF"), 5002, "");
    EXPECT_EQ(GetSettingsCFString(s, FourCC("LcCF"), 5001), text);
    EXPECT_EQ(GetSettingsCFString(s, FourCC("LcCF"), 5002), std::nullopt);
    EXPECT_EQ(GetSettingsCFString(s, FourCC("LcCF"), 5003), std::nullopt);
}

TEST(SettingsText, LossAndByteOrderMarkTable) {
    // Lossy encoding: bytes that are not UTF-8 become "?" each.
    EXPECT_EQ(ExtenalToCFString(CFStringToExternal("a\xFF" "b\xC3")), "a?b?");
    EXPECT_EQ(ExtenalToCFString(CFStringToExternal("\xED\xA0\x80")), "???"); // an encoded surrogate

    struct Row {
        Bytes bytes;
        std::optional<std::string> expected;
    } rows[] = {
        {{0xFE, 0xFF, 0x00, 0x41, 0x00, 0xE9}, "A\xC3\xA9"},
        {{0xFF, 0xFE, 0x41, 0x00, 0xE9, 0x00}, "A\xC3\xA9"},
        {{0x00, 0x41, 0x20, 0xAC}, "A\xE2\x82\xAC"},        // no mark: big-endian
        {{0xD8, 0x3D, 0xDE, 0x00}, "\xF0\x9F\x98\x80"},     // a pair
        {{0xD8, 0x00, 0x00, 0x41}, "?A"},                   // high surrogate alone
        {{0x00, 0x41, 0xDC, 0x00}, "A?"},                   // low surrogate alone
        {{0x00, 0x41, 0xD8, 0x00}, "A?"},                   // pair cut at the end
        {{0xFF, 0xFE}, ""},
        {{}, ""},
        {{0x00, 0x41, 0x00}, std::nullopt},                 // odd length
    };
    for (const Row& row : rows)
        EXPECT_EQ(ExtenalToCFString(row.bytes), row.expected) << testing::PrintToString(row.bytes);
}
