// The flattened block: exact bytes, damaged input, and snapshots of the other byte order.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <vector>

#include "store/Settings.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::endian kForeign = std::endian::native == std::endian::little ? std::endian::big : std::endian::little;

/// Writes numbers in a chosen byte order, the way a writer on a machine of
/// that order lays them down in memory.
class Writer {
public:
    explicit Writer(std::endian order) : mOrder(order) {}
    Writer& Raw(Bytes bytes) {
        mOut.insert(mOut.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Writer& U(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            const int shift = mOrder == std::endian::big ? 8 * (size - 1 - i) : 8 * i;
            mOut.push_back(static_cast<std::uint8_t>(value >> shift));
        }
        return *this;
    }
    Bytes Take() { return mOut; }
    std::endian Order() const { return mOrder; }

private:
    std::endian mOrder;
    Bytes mOut;
};

/// A whole block as a writer of `order` would flatten these items, each
/// value given already in that writer's memory order.
struct RawItem {
    std::uint32_t tag;
    std::int32_t id;
    Bytes value;
};
Bytes BlockFrom(std::endian order, const std::vector<RawItem>& items) {
    Writer body(order);
    for (const RawItem& item : items) {
        body.U(item.tag, 4).U(static_cast<std::uint32_t>(item.id), 4).U(0, 4).U(item.value.size(), 4).Raw(item.value);
        body.Raw(Bytes((4 - item.value.size() % 4) % 4, 0));
    }
    const Bytes records = body.Take();
    Writer block(order);
    block.Raw({'K', 'V', 'S', 'T'}).U(0xFEFF, 2).U(1, 2).U(items.size(), 4).U(records.size(), 4).Raw(records);
    return block.Take();
}

/// A block header in this machine's order: magic, mark, version, count, length.
Writer Header(std::uint16_t version, std::uint32_t count, std::uint32_t length) {
    Writer w(std::endian::native);
    w.Raw({'K', 'V', 'S', 'T'}).U(0xFEFF, 2).U(version, 2).U(count, 4).U(length, 4);
    return w;
}

Bytes Number(std::endian order, std::uint64_t value, int size) { return Writer(order).U(value, size).Take(); }

/// A 70-byte value: a 16-bit and a 32-bit number, then 64 bytes 0..63.
Bytes Record70(std::endian order) {
    Bytes value = Writer(order).U(0x1234, 2).U(0x89ABCDEF, 4).Take();
    for (int i = 0; i < 64; ++i)
        value.push_back(static_cast<std::uint8_t>(i));
    return value;
}

Settings Sample() {
    Settings s;
    s.AddValue<std::uint64_t>(3000, 3002, 2);
    s.AddValue<std::int32_t>(1000, 1001, 1024);
    s.Add(FourCC("KyWd"), 3001, "QJPage");
    s.Add(FourCC("LcCF"), 3001, CFStringToExternal("Seite \xC3\xBC"));
    s.Add(1000, 1003, "");
    s.AddValue<std::int16_t>(FourCC("Ordr"), 5001, -2);
    s.Lock(FourCC("Ordr"), 5001);
    return s;
}

} // namespace

TEST(SettingsFormat, ExactBytesOfASmallBlock) {
    Settings s;
    s.Add(FourCC("KyWd"), -1, "abcde");
    Bytes block;
    ASSERT_EQ(s.GetSettingsHandle(block), kSettingsNoErr);
    Writer w = Header(1, 1, 24);
    w.U(FourCC("KyWd"), 4).U(0xFFFFFFFF, 4).U(0, 4).U(5, 4).Raw({'a', 'b', 'c', 'd', 'e', 0, 0, 0});
    EXPECT_EQ(block, w.Take());

    // A store with no items is a header alone, and reads back as valid.
    Settings empty;
    ASSERT_EQ(empty.GetSettingsHandle(block), kSettingsNoErr);
    EXPECT_EQ(block.size(), 16u);
    EXPECT_TRUE(Settings(block).Valid());
}

TEST(SettingsFormat, RoundTripIsExact) {
    Settings s = Sample();
    Bytes block;
    ASSERT_EQ(s.GetSettingsHandle(block), kSettingsNoErr);
    Settings back(block);
    ASSERT_TRUE(back.Valid());
    EXPECT_EQ(*back.Collection(), *s.Collection());
    Bytes again;
    ASSERT_EQ(back.GetSettingsHandle(again), kSettingsNoErr);
    EXPECT_EQ(again, block);
}

TEST(SettingsFormat, EveryCutGivesAStatus) {
    Bytes block;
    ASSERT_EQ(Sample().GetSettingsHandle(block), kSettingsNoErr);
    for (std::size_t length = 0; length < block.size(); ++length) {
        // A copy of exactly `length` bytes, so ASan sees any read past it.
        const Bytes cut(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(length));
        Settings s(cut);
        EXPECT_FALSE(s.Valid()) << length;
        EXPECT_EQ(s.LastError(), length == 0 ? kSettingsParamErr : kSettingsDamagedBlock) << length;
        EXPECT_EQ(s.Count(), 0u) << length;
    }
    // Bytes after the last record are refused too.
    Bytes longer = block;
    longer.push_back(0);
    EXPECT_EQ(Settings(longer).LastError(), kSettingsDamagedBlock);
}

TEST(SettingsFormat, FlippedBytesGiveAStatusOrAnExactStore) {
    Bytes block;
    ASSERT_EQ(Sample().GetSettingsHandle(block), kSettingsNoErr);
    for (std::size_t at = 0; at < block.size(); ++at) {
        for (std::uint8_t mask : {0x01, 0x10, 0x80, 0xFF}) {
            Bytes damaged = block;
            damaged[at] ^= mask;
            Settings s(damaged);
            // Every header byte is checked: magic, mark, version, count, length.
            if (at < 16) {
                EXPECT_NE(s.LastError(), kSettingsNoErr) << at << " " << int(mask);
            }
            if (!s.Valid())
                continue;
            Bytes again;
            ASSERT_EQ(s.GetSettingsHandle(again), kSettingsNoErr);
            EXPECT_EQ(again, damaged) << at << " " << int(mask);
        }
    }
}

TEST(SettingsFormat, DamagedBlocksTable) {
    const std::endian host = std::endian::native;
    struct Row {
        const char* what;
        Bytes block;
        SettingsStatus expected;
    } rows[] = {
        {"version 2", Header(2, 0, 0).Take(), kSettingsBadVersion},
        {"no mark", Writer(host).Raw({'K', 'V', 'S', 'T', 0, 0}).U(1, 2).U(0, 4).U(0, 4).Take(), kSettingsDamagedBlock},
        {"huge count", Header(1, 0xFFFFFFFF, 0).Take(), kSettingsDamagedBlock},
        {"huge value length", Header(1, 1, 16).U(1, 4).U(1, 4).U(0, 4).U(0xFFFFFFF0, 4).Take(), kSettingsDamagedBlock},
        {"padding not zero", Header(1, 1, 20).U(1, 4).U(1, 4).U(0, 4).U(1, 4).Raw({'x', 0, 7, 0}).Take(),
         kSettingsDamagedBlock},
        {"repeated address", BlockFrom(host, {{1, 1, {1}}, {1, 1, {2}}}), kSettingsDamagedBlock},
        {"too few records for the count",
         Header(1, 2, 32).U(1, 4).U(1, 4).U(0, 4).U(12, 4).Raw(Bytes(12, 0)).Take(), kSettingsDamagedBlock},
        {"other magic", Writer(host).Raw({'K', 'V', 'S', 'X'}).U(0xFEFF, 2).U(1, 2).U(0, 4).U(0, 4).Take(),
         kSettingsDamagedBlock},
        {"two distinct items", BlockFrom(host, {{1, 1, {1}}, {1, 2, {2}}}), kSettingsNoErr},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Settings(row.block).LastError(), row.expected) << row.what;
}

TEST(SettingsFormat, ForeignSnapshotReadsEveryNumberRight) {
    // Exactly what a writer of the other byte order produces: the format's
    // numbers and the values both in its order, page count 2 in 8 bytes.
    const Bytes block = BlockFrom(kForeign, {
                                                {3000, 3002, Number(kForeign, 2, 8)},
                                                {1000, 1001, Number(kForeign, 1024, 4)},
                                                {FourCC("Ordr"), 5001, Number(kForeign, 0xFFFE, 2)},
                                                {FourCC("LcCF"), 70, Record70(kForeign)},
                                                {FourCC("KyWd"), 5001, {'Q', 'J'}},
                                            });
    Settings s(block);
    ASSERT_TRUE(s.Valid()) << s.LastError();
    EXPECT_TRUE(s.IsForeign());
    // Tags and ids were read in the writer's order, so the items are found.
    std::int32_t memAlloc = 0;
    std::int16_t order = 0;
    ASSERT_EQ(s.GetValue(1000, 1001, memAlloc, true), kSettingsNoErr);
    ASSERT_EQ(s.GetValue(FourCC("Ordr"), 5001, order, true), kSettingsNoErr);
    EXPECT_EQ(memAlloc, 1024);
    EXPECT_EQ(order, -2);

    Bytes wide;
    ASSERT_EQ(s.Get(FourCC("LcCF"), 70, wide, true), kSettingsNoErr);
    ASSERT_EQ(wide.size(), 70u);
    std::uint16_t first = 0;
    std::uint32_t second = 0;
    std::memcpy(&first, wide.data(), 2);
    std::memcpy(&second, wide.data() + 2, 4);
    EXPECT_EQ(first, 0x1234);
    EXPECT_EQ(second, 0x89ABCDEFu);
    for (int i = 0; i < 64; ++i)
        ASSERT_EQ(wide[6 + i], i) << "the tail is bytes, not numbers";

    // Without swap the bytes come back as written; a 2-byte text is a
    // 2-byte value to the rule too, so text is read without swap.
    Bytes raw;
    ASSERT_EQ(s.Get(1000, 1001, raw), kSettingsNoErr);
    EXPECT_EQ(raw, Number(kForeign, 1024, 4));
    EXPECT_EQ(GetSettingsString(s, FourCC("KyWd"), 5001)->Str(), "QJ");

    // Re-flattened here, the block is in this machine's order but the values
    // stay as the foreign writer stored them: still foreign, still right.
    Bytes again;
    ASSERT_EQ(s.GetSettingsHandle(again), kSettingsNoErr);
    Settings local(again);
    ASSERT_TRUE(local.Valid());
    ASSERT_EQ(local.GetValue(1000, 1001, memAlloc, true), kSettingsNoErr);
    EXPECT_EQ(memAlloc, 1024);
}

TEST(SettingsFormat, FixEndiannessTable) {
    const std::endian host = std::endian::native;
    struct Row {
        const char* what;
        std::optional<Bytes> pageCount; // value of item (3000, 3002)
        std::size_t size;
        bool swap;
        SettingsStatus expected;
        bool swapped;
    } rows[] = {
        {"own 3 pages, 4 bytes", Number(host, 3, 8), 4, true, kSettingsNoErr, false},
        {"own 10000 pages", Number(host, 10000, 8), 2, true, kSettingsNoErr, false},
        {"own 10001 pages", Number(host, 10001, 8), 2, true, kSettingsNoErr, true},
        {"foreign 3 pages, 4 bytes", Number(kForeign, 3, 8), 4, true, kSettingsNoErr, true},
        {"foreign 128 pages", Number(kForeign, 128, 8), 4, true, kSettingsNoErr, true},
        {"foreign 70 bytes", Number(kForeign, 1, 8), 70, true, kSettingsNoErr, true},
        {"foreign, swap off", Number(kForeign, 1, 8), 4, false, kSettingsNoErr, false},
        {"foreign, 8 bytes", Number(kForeign, 1, 8), 8, true, kSettingsUnsupportedSize, false},
        {"foreign, 1 byte", Number(kForeign, 1, 8), 1, true, kSettingsUnsupportedSize, false},
        {"own, 3 bytes", Number(host, 1, 8), 3, true, kSettingsUnsupportedSize, false},
        {"own, swap off, 3 bytes", Number(host, 1, 8), 3, false, kSettingsNoErr, false},
        {"no page count", std::nullopt, 4, true, kSettingsNoErr, false},
        {"page count of 4 bytes", Number(kForeign, 1, 4), 4, true, kSettingsNoErr, false},
    };
    for (const Row& row : rows) {
        Settings s;
        if (row.pageCount)
            s.Add(kSettingsPageCountTag, kSettingsPageCountId, *row.pageCount);
        Bytes value(row.size);
        for (std::size_t i = 0; i < value.size(); ++i)
            value[i] = static_cast<std::uint8_t>(i + 1);
        Bytes fixed = value;
        EXPECT_EQ(s.FixEndianness(fixed, row.swap), row.expected) << row.what;
        Bytes expected = value;
        if (row.swapped) {
            const std::size_t whole = row.size == 70 ? 2 : row.size;
            std::reverse(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(whole));
            if (row.size == 70)
                std::reverse(expected.begin() + 2, expected.begin() + 6);
        }
        if (row.expected == kSettingsNoErr) {
            EXPECT_EQ(fixed, expected) << row.what;
        }
    }
}
