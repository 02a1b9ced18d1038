// Status codes of the settings store and its data streams.
#pragma once

#include <cstdint>

/// Every store operation answers with one of these signed 16-bit values.
/// The numbers are fixed: snapshots and callers written against the
/// original dialog compare them literally.
using SettingsStatus = std::int16_t;

inline constexpr SettingsStatus kSettingsNoErr = 0;
/// The data stream is missing or not open.
inline constexpr SettingsStatus kSettingsStreamNotOpen = 201;
/// The store has no collection, or FixEndianness met a value size it does
/// not know how to turn.
inline constexpr SettingsStatus kSettingsNoCollection = 1000;
inline constexpr SettingsStatus kSettingsUnsupportedSize = 1000;
/// First() on a store without items.
inline constexpr SettingsStatus kSettingsEmpty = 1001;
/// An allocation for a value or a flattened block failed.
inline constexpr SettingsStatus kSettingsMemFull = -108;
/// A null (empty) flattened block, or a caller's buffer too small for Get.
inline constexpr SettingsStatus kSettingsParamErr = -50;
/// A stream ended before the bytes asked for.
inline constexpr SettingsStatus kSettingsEndOfStream = -39;
/// A file stream's read or write failed (errno is not kept).
inline constexpr SettingsStatus kSettingsIOErr = -36;

// The collection layer's own codes, passed through unchanged like any
// platform status.
/// Set, Remove or a replacing Add on an item whose lock bit is set.
inline constexpr SettingsStatus kSettingsItemLocked = -5750;
/// Next() walked past the last item.
inline constexpr SettingsStatus kSettingsIndexRange = -5751;
/// No item has this (tag, id).
inline constexpr SettingsStatus kSettingsItemNotFound = -5752;
/// A flattened block of a format version this reader does not know.
inline constexpr SettingsStatus kSettingsBadVersion = -5753;
/// A flattened block that is cut, damaged or not a block at all: a wrong
/// magic or byte-order mark, a length or count beyond the bytes there,
/// non-zero padding, a repeated (tag, id), or bytes after the last item.
inline constexpr SettingsStatus kSettingsDamagedBlock = -5754;
/// A model has more members than the snapshot numbering has ids for (over
/// 1000 pages or groups, or a popup of over 100 choices before another
/// control): saving it would overwrite another member's items.
inline constexpr SettingsStatus kSettingsIdOverflow = -5755;
