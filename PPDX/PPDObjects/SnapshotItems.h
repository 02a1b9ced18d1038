// Reading and writing the typed items of a model snapshot.
//
// Every reader here is given bytes that may come from anywhere: it takes a
// value only when the item has exactly the size its type needs, and turns
// numbers written on a machine of the other byte order. A value that does
// not fit leaves the caller's field as it was.
#pragma once

#include <cstdint>
#include <climits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "PPDX/PPDObjects/SnapshotTags.h"
#include "store/Settings.h"

namespace kelvo::snapshot {

/// Adds text without a terminator. An empty text is written as an empty
/// item, which readers keep apart from an absent one.
inline SettingsStatus AddText(Settings& settings, std::uint32_t tag, std::int32_t id, std::string_view text) {
    return settings.Add(tag, id, text);
}

/// Adds bytes as they are.
inline SettingsStatus AddBytes(Settings& settings, std::uint32_t tag, std::int32_t id,
                               const std::vector<unsigned char>& bytes) {
    return settings.Add(tag, id, std::span<const std::uint8_t>(bytes.data(), bytes.size()));
}

/// Adds a one-byte type marker: only its presence means something.
inline SettingsStatus AddMarker(Settings& settings, std::uint32_t tag, std::int32_t id) {
    const std::uint8_t marker = 1;
    return settings.Add(tag, id, std::span<const std::uint8_t>(&marker, 1));
}

/// Adds a collection's 8-byte member count.
inline SettingsStatus AddCount(Settings& settings, std::uint32_t tag, std::int32_t id, std::uint64_t count) {
    return settings.AddValue(tag, id, count);
}

/// The item's bytes as text: nullopt when absent, "" for an empty item.
std::optional<std::string> ReadText(Settings& settings, std::uint32_t tag, std::int32_t id);

/// The item's bytes; empty when absent.
std::vector<unsigned char> ReadBytes(Settings& settings, std::uint32_t tag, std::int32_t id);

/// The item read as 16-bit Unicode external form, as UTF-8; nullopt when
/// absent or not convertible.
std::optional<std::string> ReadUnicode(Settings& settings, std::uint32_t tag, std::int32_t id);

/// A 2- or 4-byte number in this machine's order: true and `value` set
/// only when the item has exactly sizeof(T) bytes.
template <class T>
    requires(std::is_arithmetic_v<T> && (sizeof(T) == 2 || sizeof(T) == 4))
bool ReadNumber(Settings& settings, std::uint32_t tag, std::int32_t id, T& value) {
    return settings.GetValue(tag, id, value, true) == kSettingsNoErr;
}

/// A signed whole number written as 8 bytes (the model's 64-bit fields) or
/// as 4: true and `value` set only for those two sizes. 8-byte values are
/// turned here for a foreign snapshot, like counts.
bool ReadWide(Settings& settings, std::uint32_t tag, std::int32_t id, std::int64_t& value);

/// A collection's 8-byte count. The store turns only 2-, 4- and 70-byte
/// values, so the count is turned here when the snapshot is foreign.
/// nullopt when the item is absent or not 8 bytes.
std::optional<std::uint64_t> ReadCount(Settings& settings, std::uint32_t tag, std::int32_t id);

/// Whether an item of this address exists.
bool Has(Settings& settings, std::uint32_t tag, std::int32_t id);

/// A member count made safe to loop over: every member writes at least one
/// item, so a count above the store's item count is damage, and is cut to
/// it.
std::uint64_t BoundedCount(Settings& settings, std::optional<std::uint64_t> count);

/// Writes a collection: its count under (countTag, countId), then each
/// member's Save with the next id from `firstId`. Stops at the first
/// failure; kSettingsIdOverflow when the ids would leave the 32-bit range.
template <class Member>
SettingsStatus SaveCollection(Settings& settings, std::uint32_t countTag, std::int32_t countId, std::int32_t firstId,
                              const std::vector<Member*>& members) {
    if (members.size() > static_cast<std::uint64_t>(INT32_MAX - firstId))
        return kSettingsIdOverflow;
    SettingsStatus status = AddCount(settings, countTag, countId, members.size());
    std::int32_t id = firstId;
    for (const Member* member : members) {
        if (status != kSettingsNoErr)
            break;
        status = member->Save(settings, id++);
    }
    return status;
}

/// The ids of the members a snapshot holds for a collection: its count
/// (bounded by BoundedCount) from `firstId`, skipping ids that have no
/// visibility item, which every element writes.
std::vector<std::int32_t> MemberIds(Settings& settings, std::uint32_t countTag, std::int32_t countId,
                                    std::int32_t firstId);

} // namespace kelvo::snapshot
