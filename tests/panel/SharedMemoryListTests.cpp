// The helper segment: field offsets, cuts, checked numbers, and the list conversions with their overflow segment.
#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstring>
#include <locale.h>

#include <unistd.h>

#include "panel/SharedMemoryList.h"
#include "platform/memory/InMemorySharedSegments.h"

using kelvo::panel::Create_SDMList_From_SharedMemoryList;
using kelvo::panel::Create_SharedMemoryList_From_SDMList;
using kelvo::panel::kSharedMemoryListSize;
using kelvo::panel::ParseDecimalField;
using kelvo::panel::SDMKeyValueList;
using kelvo::panel::SharedMemoryList;

namespace {

using kelvo::platform::InMemorySharedSegments;

/// A segment holding `bytes` (not empty), as the other side might leave it.
int PutSegment(InMemorySharedSegments& segments, std::string_view bytes) {
    int error = 0;
    auto segment = segments.Create(bytes.size(), error);
    std::memcpy(segment->Bytes().data(), bytes.data(), bytes.size());
    return segment->Id();
}

/// The bytes of segment `id`; nullopt when it cannot be attached.
std::optional<std::string> Contents(InMemorySharedSegments& segments, int id) {
    int error = 0;
    auto segment = segments.Attach(id, error);
    if (!segment)
        return std::nullopt;
    return std::string(segment->Bytes().begin(), segment->Bytes().end());
}

/// Segments that cannot be created.
struct FullSegments : kelvo::platform::SharedSegments {
    std::unique_ptr<kelvo::platform::SharedSegment> Create(std::size_t, int& error) override {
        error = ENOSPC;
        return nullptr;
    }
    std::unique_ptr<kelvo::platform::SharedSegment> Attach(int id, int& error) override {
        return table.Attach(id, error);
    }
    bool Remove(int id) override { return table.Remove(id); }
    InMemorySharedSegments table;
};

/// A zeroed segment image and its view.
struct Image {
    Image() : bytes(kSharedMemoryListSize, 0), view(*SharedMemoryList::Over(bytes)) {}
    /// The field at `offset` as text, up to its NUL or `size` bytes.
    std::string At(std::size_t offset, std::size_t size) const {
        const char* start = reinterpret_cast<const char*>(bytes.data()) + offset;
        return std::string(start, strnlen(start, size));
    }
    void Put(std::size_t offset, std::string_view text) { std::memcpy(bytes.data() + offset, text.data(), text.size()); }
    std::vector<std::uint8_t> bytes;
    SharedMemoryList view;
};

/// Switches the calling thread's character type to `name` for the scope.
struct ScopedCType {
    explicit ScopedCType(const char* name) : locale(newlocale(LC_CTYPE_MASK, name, locale_t{})) {
        if (locale)
            old = uselocale(locale);
    }
    ~ScopedCType() {
        if (locale) {
            uselocale(old);
            freelocale(locale);
        }
    }
    locale_t locale;
    locale_t old{};
};

/// `n` entries "Key<i>" = "Value<i>".
SDMKeyValueList Numbered(std::size_t n) {
    SDMKeyValueList list;
    for (std::size_t i = 0; i < n; ++i)
        list.entries.push_back({L"Key" + std::to_wstring(i), L"Value" + std::to_wstring(i)});
    return list;
}

/// `n` entries whose overflow part (from entry 300 on) is short enough for
/// the room the first entries size it with.
SDMKeyValueList ShortOverflow(std::size_t n) {
    SDMKeyValueList list = Numbered(n);
    for (std::size_t i = 300; i < n; ++i)
        list.entries[i] = {L"k" + std::to_wstring(i), L"v"};
    return list;
}

TEST(SharedMemoryList, RefusesAnyOtherSize) {
    for (std::size_t size : {std::size_t{0}, kSharedMemoryListSize - 1, kSharedMemoryListSize + 1}) {
        std::vector<std::uint8_t> bytes(size);
        EXPECT_FALSE(SharedMemoryList::Over(bytes)) << size;
    }
}

TEST(SharedMemoryList, FieldsLandAtTheirOffsets) {
    Image image;
    SharedMemoryList& s = image.view;
    s.SetKey(0, L"Duplex");
    s.SetKey(299, L"Last");
    s.SetValue(0, L"None");
    s.SetValue(299, L"End");
    s.SetSettingsCount(123);
    const std::string marks[] = {"a,b", "c"};
    s.SetWatermarks(marks);
    s.SetStatus(-1);
    s.SetBidiFlag(true);
    s.SetPPDCopyPath("/tmp/office.ppd");
    s.SetPrinterAddress("10.1.2.3");
    s.AppendInstallablePosition(3);
    s.SetOverflowCount(7);
    s.SetOverflowId(98304);
    s.SetBundleNameFromPath("/usr/lib/kelvo/KelvoFeatures.plugin");
    s.SetBundleVersion("4.4.1");
    const struct {
        std::size_t offset, size;
        std::string expected;
    } rows[] = {
        {0, 64, "Duplex"},         {299 * 64, 64, "Last"},      {19200, 700, "None"},
        {19200 + 299 * 700, 700, "End"}, {229200, 5, "123"},    {229205, 3, "0"},
        {229208, 3, "1"},          {229211, 3, ""},             {229265, 256, "a,b"},
        {229521, 256, "c"},        {234385, 3, "2"},            {234388, 4, "-1"},
        {234392, 2, "1"},          {234394, 512, "/tmp/office.ppd"}, {234906, 128, "10.1.2.3"},
        {235034, 64, "3,"},        {235098, 5, "7"},            {235103, 32, "98304"},
        {235135, 16, "KelvoFeatures.p"}, {235151, 15, "4.4.1"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(image.At(row.offset, row.size), row.expected) << "offset " << row.offset;
    // Nothing strays into the unused tail.
    for (std::size_t i = 235166; i < kSharedMemoryListSize; ++i)
        ASSERT_EQ(image.bytes[i], 0) << i;
}

TEST(SharedMemoryList, DecimalFieldsAreParsedStrictly) {
    const struct {
        std::string bytes; // the whole field
        std::optional<long> expected;
    } rows[] = {
        {std::string("300\0\0", 5), 300},
        {std::string("-1\0\0", 4), -1},
        {std::string("0\0", 2), 0},
        {std::string("\0\0\0", 3), std::nullopt},     // empty
        {std::string("12a\0", 4), std::nullopt},      // not a digit
        {std::string(" 12\0", 4), std::nullopt},      // blank
        {std::string("-\0\0", 3), std::nullopt},      // sign alone
        {std::string("12345", 5), std::nullopt},      // no terminator in the field
        {std::string("99999999999999999999\0", 21), std::nullopt}, // beyond a long
        {std::string("-9223372036854775808\0", 21), LONG_MIN},
    };
    for (const auto& row : rows) {
        const auto* data = reinterpret_cast<const std::uint8_t*>(row.bytes.data());
        EXPECT_EQ(ParseDecimalField({data, row.bytes.size()}), row.expected) << row.bytes;
    }
}

TEST(SharedMemoryList, WritesAreCutToTheirFields) {
    ScopedCType utf8("C.UTF-8");
    if (!utf8.locale)
        GTEST_SKIP() << "no C.UTF-8 locale";
    Image image;
    SharedMemoryList& s = image.view;
    // Numbers too long for their field become the nearest that fits.
    s.SetSettingsCount(123456);
    EXPECT_EQ(image.At(229200, 5), "9999");
    s.SetStatus(-5000);
    EXPECT_EQ(s.Status(), -99);

    const struct {
        std::wstring text;
        bool key;
        std::wstring expected;
    } rows[] = {
        {std::wstring(70, L'k'), true, std::wstring(63, L'k')},
        {std::wstring(750, L'v'), false, std::wstring(699, L'v')},
        // Two-byte characters: 31 of them (62 bytes) fit, the 32nd would split.
        {std::wstring(40, L'\u00E9'), true, std::wstring(31, L'\u00E9')},
        // Three-byte characters: 233 fit in 699 bytes exactly.
        {std::wstring(300, L'\u20AC'), false, std::wstring(233, L'\u20AC')},
        // The text ends at its first NUL character.
        {std::wstring(L"ab\0cd", 5), true, L"ab"},
    };
    for (const auto& row : rows) {
        std::memset(image.bytes.data(), 0xFF, 19200 + 700); // no stray terminator to help
        row.key ? s.SetKey(0, row.text) : s.SetValue(0, row.text);
        EXPECT_EQ(row.key ? s.Key(0) : s.Value(0), row.expected) << row.text.size();
    }
    EXPECT_FALSE(s.SetKey(300, L"x"));
    EXPECT_EQ(s.Key(300), L"");

    // UTF-8 fields are cut at whole characters too.
    s.SetPrinterAddress(std::string(126, 'a') + "\u00E9");
    EXPECT_EQ(s.PrinterAddress(), std::string(126, 'a'));
    s.SetBundleVersion("4.4.1-build-20240101");
    EXPECT_EQ(s.BundleVersion(), "4.4.1-build-20");
}

TEST(SharedMemoryList, UnrepresentableCharactersBecomeQuestionMarksInTheCLocale) {
    ScopedCType c("C");
    Image image;
    image.view.SetKey(0, L"Caf\u00E9");
    EXPECT_EQ(image.At(0, 64), "Caf?");
}

TEST(SharedMemoryList, SmallFieldsHoldWhatFits) {
    Image image;
    SharedMemoryList& s = image.view;
    // Installable positions: "N," appended while it fits with its NUL.
    std::string expected;
    for (long n = 10; n < 40; ++n) {
        const bool fits = expected.size() + 3 + 1 <= 64;
        EXPECT_EQ(s.AppendInstallablePosition(n), fits) << n;
        if (fits)
            expected += std::to_string(n) + ",";
    }
    EXPECT_EQ(s.InstallablePositions(), expected);
    EXPECT_EQ(expected.size(), 63u);
    s.ClearInstallablePositions();
    EXPECT_TRUE(s.AppendInstallablePosition(0));
    EXPECT_EQ(s.InstallablePositions(), "0,");

    const struct {
        std::string path, name;
    } bundles[] = {
        {"/usr/lib/kelvo/Kelvo Features.plugin", "Kelvo"},
        {"/usr/lib/kelvo/Panel.plugin/", "Panel.plugin"},
        {"Bare", "Bare"},
    };
    for (const auto& row : bundles) {
        s.SetBundleNameFromPath(row.path);
        EXPECT_EQ(s.BundleName(), row.name) << row.path;
    }

    const struct {
        std::string flag;
        bool on;
    } flags[] = {{std::string("1\0", 2), true}, {std::string("0\0", 2), false}, {"11", false}, {"x", false}};
    for (const auto& row : flags) {
        image.Put(234392, row.flag);
        EXPECT_EQ(s.BidiFlag(), row.on) << row.flag;
    }
}

TEST(SharedMemoryList, WatermarkSlots) {
    Image image;
    SharedMemoryList& s = image.view;
    std::vector<std::string> definitions;
    for (int i = 0; i < 22; ++i)
        definitions.push_back("0,0,0,0,0,0,0,False,0,0,0,0,36,Helvetica,Mark " + std::to_string(i));
    definitions[3] = std::string(254, 'x') + "\u00E9"; // the é would end past byte 255
    EXPECT_EQ(s.SetWatermarks(definitions), 20u);
    EXPECT_EQ(image.At(234385, 3), "20");
    EXPECT_EQ(s.WatermarkIndex(19), "19");
    EXPECT_EQ(s.WatermarkDefinition(19), definitions[19]);
    EXPECT_EQ(s.WatermarkDefinition(3), std::string(254, 'x'));
    EXPECT_EQ(s.Watermarks().size(), 20u);

    // Fewer watermarks clear the slots after them.
    EXPECT_EQ(s.SetWatermarks(std::span(definitions).first(2)), 2u);
    EXPECT_EQ(s.WatermarkIndex(2), "");
    EXPECT_EQ(s.WatermarkDefinition(2), "");
    EXPECT_EQ(s.Watermarks(), std::vector<std::string>(definitions.begin(), definitions.begin() + 2));

    // A count the other side got wrong reads within the slots.
    const struct {
        std::string count;
        std::size_t expected;
    } rows[] = {{std::string("50\0", 3), 20}, {std::string("-1\0", 3), 0}, {"999", 0}};
    for (const auto& row : rows) {
        image.Put(234385, row.count);
        EXPECT_EQ(s.Watermarks().size(), row.expected) << row.count;
    }
}

TEST(SharedMemoryListConversion, SlotsAndOverflowBoundaries) {
    const struct {
        std::size_t entries;
        std::size_t overflowCount;
    } rows[] = {{0, 0}, {299, 0}, {300, 0}, {301, 1}, {305, 5}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.entries);
        InMemorySharedSegments segments;
        Image image;
        const SDMKeyValueList list = ShortOverflow(row.entries);
        const auto result = Create_SharedMemoryList_From_SDMList(image.view, list, segments);
        EXPECT_EQ(image.At(229200, 5), std::to_string(std::min<std::size_t>(row.entries, 300)));
        EXPECT_EQ(image.At(235098, 5), std::to_string(row.overflowCount));
        EXPECT_EQ(result.overflowId != 0, row.overflowCount > 0);
        EXPECT_EQ(image.At(235103, 32), std::to_string(result.overflowId));
        EXPECT_EQ(*Create_SDMList_From_SharedMemoryList(image.view, segments), list);
        kelvo::panel::RemoveOverflowSegment(image.view, segments);
    }
}

TEST(SharedMemoryListConversion, OverflowIsSizedFromTheFirstEntries) {
    const struct {
        std::wstring key0, value0; // entry 0 sizes the overflow segment
        std::wstring key300, value300;
        std::string overflowBytes; // what the overflow segment then holds
        std::size_t entriesBack;
    } rows[] = {
        // Room to spare.
        {L"LongerKeyZero", L"LongerValueZero", L"K300", L"V300",
         std::string("K300\0V300\0", 10) + std::string(30 - 10, '\0'), 301},
        {L"Abcd", L"Vwxy", L"K300", L"V300", std::string("K300\0V300\0", 10), 301},
        // Too little: the key is clipped and the value dropped; reading
        // stops at the pair that does not fit.
        {L"A", L"bb", L"Key300", L"Value300", std::string("Key3\0", 5), 300},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.overflowBytes.size());
        InMemorySharedSegments segments;
        Image image;
        SDMKeyValueList list = Numbered(301);
        list.entries[0] = {row.key0, row.value0};
        list.entries[300] = {row.key300, row.value300};
        const auto result = Create_SharedMemoryList_From_SDMList(image.view, list, segments);
        // Still there after the write: the helper attaches it later.
        EXPECT_EQ(Contents(segments, result.overflowId), row.overflowBytes);
        const auto back = Create_SDMList_From_SharedMemoryList(image.view, segments);
        ASSERT_EQ(back->count(), row.entriesBack);
        if (row.entriesBack == 301) {
            EXPECT_EQ(back->entries[300], list.entries[300]);
        }
        kelvo::panel::RemoveOverflowSegment(image.view, segments);
    }
}

TEST(SharedMemoryListConversion, MultibyteTextRoundTrips) {
    ScopedCType utf8("C.UTF-8");
    if (!utf8.locale)
        GTEST_SKIP() << "no C.UTF-8 locale";
    InMemorySharedSegments segments;
    Image image;
    SDMKeyValueList list = Numbered(302);
    list.entries[0] = {L"QJ\u65E5\u672C\u8A9E", L"\u00C9t\u00E9 \U0001F600"};
    list.entries[301] = {L"Cl\u00E9", L"\u20AC 5"};
    const auto result = Create_SharedMemoryList_From_SDMList(image.view, list, segments);
    // The slot holds UTF-8; the overflow was sized in bytes, not characters.
    EXPECT_EQ(image.At(0, 64), "QJ\u65E5\u672C\u8A9E");
    EXPECT_EQ(Contents(segments, result.overflowId)->size(), 11u + 1 + 10 + 1 + 4 + 1 + 6 + 1);
    EXPECT_EQ(*Create_SDMList_From_SharedMemoryList(image.view, segments), list);
    kelvo::panel::RemoveOverflowSegment(image.view, segments);

    // Bytes that are no UTF-8 read as replacement characters, not as a
    // reason to stop or to read on.
    image.Put(64, "a\xFF" "b\xE2\x82");
    EXPECT_EQ(image.view.Key(1), L"a\uFFFDb\uFFFD");
}

TEST(SharedMemoryListConversion, ReplacingTheOverflowRemovesTheOldOne) {
    InMemorySharedSegments panel;
    InMemorySharedSegments helper;
    const std::size_t before = InMemorySharedSegments::Count();
    Image image;
    const auto first = Create_SharedMemoryList_From_SDMList(image.view, ShortOverflow(302), panel);
    const auto second = Create_SharedMemoryList_From_SDMList(image.view, ShortOverflow(303), panel);
    EXPECT_FALSE(Contents(helper, first.overflowId));
    EXPECT_TRUE(Contents(helper, second.overflowId));
    EXPECT_EQ(*Create_SDMList_From_SharedMemoryList(image.view, helper), ShortOverflow(303));
    // Another user's overflow segment is not ours to read.
    InMemorySharedSegments stranger(geteuid() + 1);
    EXPECT_EQ(Create_SDMList_From_SharedMemoryList(image.view, stranger)->count(), 300u);
    // Back to fewer settings: the overflow goes and the fields read "0".
    Create_SharedMemoryList_From_SDMList(image.view, Numbered(10), panel);
    EXPECT_FALSE(Contents(helper, second.overflowId));
    EXPECT_EQ(image.At(235103, 32), "0");
    EXPECT_EQ(image.At(235098, 5), "0");
    EXPECT_EQ(InMemorySharedSegments::Count(), before);

    // An id field naming the segment itself must not take it away.
    const int self = PutSegment(panel, std::string(kSharedMemoryListSize, '\0'));
    image.Put(235103, std::to_string(self) + '\0');
    Create_SharedMemoryList_From_SDMList(image.view, Numbered(1), panel, self);
    EXPECT_TRUE(Contents(panel, self));
    panel.Remove(self);

    // A failed overflow segment drops the extra settings, nothing else.
    FullSegments full;
    const auto failed = Create_SharedMemoryList_From_SDMList(image.view, Numbered(301), full);
    EXPECT_EQ(failed.overflowError, ENOSPC);
    EXPECT_EQ(image.At(235103, 32), "0");
    EXPECT_EQ(Create_SDMList_From_SharedMemoryList(image.view, full)->count(), 300u);
}

TEST(SharedMemoryListConversion, LyingSegmentsAreReadWithinBounds) {
    const struct {
        const char* what;
        std::string count, overflowCount, overflowId; // "@": the overflow below
        std::string overflow;
        std::size_t expected;
    } rows[] = {
        {"count beyond the slots", "9999", "0", "0", "", 300},
        {"negative count", "-3", "0", "0", "", 0},
        {"count without terminator", "12345", "0", "0", "", 0},
        {"count not a number", "3x", "0", "0", "", 0},
        {"overflow count beyond its pairs", "2", "9999", "@", std::string("a\0b\0c\0d\0", 8), 4},
        {"overflow without a final NUL", "2", "3", "@", std::string("a\0b\0cc", 6), 3},
        {"overflow key without value", "2", "3", "@", std::string("a\0", 2), 2},
        {"missing overflow segment", "2", "3", "999999999", std::string("a\0b\0", 4), 2},
        {"negative overflow id", "2", "3", "-@", std::string("a\0b\0", 4), 2},
        {"overflow id beyond int", "2", "1", "4294967297", std::string("a\0b\0", 4), 2},
        {"negative overflow count", "2", "-1", "@", std::string("a\0b\0", 4), 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        InMemorySharedSegments segments;
        const int overflow = row.overflow.empty() ? 0 : PutSegment(segments, row.overflow);
        std::string id = row.overflowId;
        if (const std::size_t at = id.find('@'); at != std::string::npos)
            id.replace(at, 1, std::to_string(overflow));
        Image image;
        std::memset(image.bytes.data(), 'z', image.bytes.size()); // no terminators anywhere
        image.Put(229200, row.count.size() < 5 ? row.count + '\0' : row.count);
        image.Put(235098, row.overflowCount.size() < 5 ? row.overflowCount + '\0' : row.overflowCount);
        image.Put(235103, id + '\0');
        const auto list = Create_SDMList_From_SharedMemoryList(image.view, segments);
        EXPECT_EQ(list->count(), row.expected);
        if (!list->entries.empty()) {
            EXPECT_EQ(list->entries[0].key, std::wstring(64, L'z')); // a full slot, no further
        }
        if (overflow)
            segments.Remove(overflow);
    }
}

} // namespace
