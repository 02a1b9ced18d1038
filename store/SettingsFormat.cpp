// The flattened byte form of a settings collection (docs/settings-format.md).
#include "store/ByteCursor.h"
#include "store/Settings.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <new>

namespace {

constexpr std::array<std::uint8_t, 4> kMagic = {'K', 'V', 'S', 'T'};
constexpr std::uint16_t kByteOrderMark = 0xFEFF;
constexpr std::uint16_t kFormatVersion = 1;
constexpr std::size_t kHeaderSize = 16;
constexpr std::size_t kRecordHeaderSize = 16;

/// Zero bytes that bring a value of `length` bytes to a multiple of 4, so
/// every record header starts aligned in the block.
constexpr std::size_t Padding(std::size_t length) { return (4 - length % 4) % 4; }

} // namespace

SettingsStatus FlattenSettings(const SettingsCollection& collection, std::vector<std::uint8_t>& out) {
    const auto& items = collection.Items();
    std::size_t body = 0;
    for (const SettingsItem& item : items)
        body += kRecordHeaderSize + item.value.size() + Padding(item.value.size());
    // The format's own lengths are 32-bit: a store that does not fit cannot
    // be written (no model comes near 4 GB).
    if (items.size() > UINT32_MAX || body > UINT32_MAX)
        return kSettingsMemFull;
    out.clear();
    try {
        out.reserve(kHeaderSize + body);
    } catch (const std::bad_alloc&) {
        return kSettingsMemFull;
    }
    // Nothing below allocates: the room is reserved.
    ByteWriter put(out);
    put.PutBytes(kMagic);
    put.PutU16(kByteOrderMark);
    put.PutU16(kFormatVersion);
    put.PutU32(static_cast<std::uint32_t>(items.size()));
    put.PutU32(static_cast<std::uint32_t>(body));
    for (const SettingsItem& item : items) {
        put.PutU32(item.tag);
        put.PutI32(item.id);
        put.PutU32(item.attributes);
        put.PutU32(static_cast<std::uint32_t>(item.value.size()));
        put.PutBytes(item.value);
        put.PutZeros(Padding(item.value.size()));
    }
    return kSettingsNoErr;
}

SettingsStatus UnflattenSettings(std::span<const std::uint8_t> block, SettingsCollection& out) {
    out.Clear();
    if (block.empty())
        return kSettingsParamErr;
    ByteCursor in(block);
    const auto magic = in.ReadBytes(kMagic.size());
    if (!in.Ok() || !std::equal(magic.begin(), magic.end(), kMagic.begin()))
        return kSettingsDamagedBlock;
    // The mark says in which order the writer put the format's own numbers;
    // the item values are left as they are (Settings::FixEndianness).
    const auto mark = in.ReadBytes(2);
    if (!in.Ok())
        return kSettingsDamagedBlock;
    if (mark[0] == 0xFE && mark[1] == 0xFF)
        in.SetOrder(std::endian::big);
    else if (mark[0] == 0xFF && mark[1] == 0xFE)
        in.SetOrder(std::endian::little);
    else
        return kSettingsDamagedBlock;

    std::uint16_t version = 0;
    std::uint32_t count = 0;
    std::uint32_t body = 0;
    in.ReadU16(version);
    in.ReadU32(count);
    in.ReadU32(body);
    if (!in.Ok())
        return kSettingsDamagedBlock;
    if (version != kFormatVersion)
        return kSettingsBadVersion;
    // Exactly the body must follow: a cut block or bytes after it both mean
    // the block is not what the writer wrote. Each record takes at least 16
    // bytes, so a count the body cannot hold is refused before any item is
    // allocated.
    if (body != in.Remaining() || count > body / kRecordHeaderSize)
        return kSettingsDamagedBlock;

    if (!out.Reserve(count))
        return kSettingsMemFull;
    for (std::uint32_t n = 0; n < count; ++n) {
        SettingsItem item;
        std::uint32_t length = 0;
        in.ReadU32(item.tag);
        in.ReadI32(item.id);
        in.ReadU32(item.attributes);
        in.ReadU32(length);
        const auto value = in.ReadBytes(length);
        const auto padding = in.ReadBytes(Padding(length));
        if (!in.Ok())
            return kSettingsDamagedBlock;
        for (std::uint8_t byte : padding)
            if (byte != 0)
                return kSettingsDamagedBlock;
        try {
            item.value.assign(value.begin(), value.end());
        } catch (const std::bad_alloc&) {
            return kSettingsMemFull;
        }
        // One item per address, as the store itself keeps them.
        const int appended = out.AppendNew(std::move(item));
        if (appended < 0)
            return kSettingsMemFull;
        if (appended == 0)
            return kSettingsDamagedBlock;
    }
    return in.Remaining() == 0 ? kSettingsNoErr : kSettingsDamagedBlock;
}
