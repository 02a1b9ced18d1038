// The keyed binary settings store: items by (tag, id) and their flattened form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "store/DataStream.h"
#include "store/SettingsStatus.h"
#include "util/CString.h"

/// The big-endian value of a four-character code: FourCC("KyWd") is
/// 0x4B795764 on every machine, which is how such tags are stored.
constexpr std::uint32_t FourCC(const char (&code)[5]) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(code[3]));
}

/// Attribute bit set by Lock(): a locked item refuses Set, Remove and a
/// replacing Add (kSettingsItemLocked) until Unlock(). Get, SetAttribute
/// and Empty() still work on it. The other bits are kept but mean nothing
/// to the store.
inline constexpr std::uint32_t kSettingsLockBit = 1u << 0;

/// The page-count item whose size and value tell a foreign snapshot.
inline constexpr std::uint32_t kSettingsPageCountTag = 3000;
inline constexpr std::int32_t kSettingsPageCountId = 3002;

/// One item: its address, attribute bits and untyped value bytes.
struct SettingsItem {
    std::uint32_t tag = 0;
    std::int32_t id = 0;
    std::uint32_t attributes = 0;
    std::vector<std::uint8_t> value;
    bool operator==(const SettingsItem&) const = default;
};

/// The ordered item set a Settings owns. Items keep their index (insertion
/// order); a lookup table gives the index of a (tag, id).
class SettingsCollection {
public:
    const std::vector<SettingsItem>& Items() const { return mItems; }
    /// The item with this address, or null.
    SettingsItem* Find(std::uint32_t tag, std::int32_t id);
    /// The same, without moving the hint Find keeps for readers that go in
    /// order (for look-ups on the side, such as the page-count test).
    const SettingsItem* Lookup(std::uint32_t tag, std::int32_t id) const;
    /// Appends an item whose address is not present yet. False when the
    /// allocation failed (the collection is then unchanged).
    bool Append(SettingsItem item);
    /// Makes room for `count` items; false when memory runs out.
    bool Reserve(std::size_t count);
    /// Appends unless the address is taken: 1 appended, 0 taken (the
    /// collection is unchanged), -1 out of memory.
    int AppendNew(SettingsItem item);
    /// Removes the item with this address, if any; later items move up.
    void Remove(std::uint32_t tag, std::int32_t id);
    void Clear();
    bool operator==(const SettingsCollection& other) const { return mItems == other.mItems; }

private:
    static std::uint64_t Key(std::uint32_t tag, std::int32_t id) {
        return (std::uint64_t{tag} << 32) | static_cast<std::uint32_t>(id);
    }
    std::vector<SettingsItem> mItems;
    std::unordered_map<std::uint64_t, std::size_t> mIndex;
    std::size_t mHint = 0; ///< index of the item Find found last
};

/// The settings store. It owns its collection (none only when it adopted a
/// null one; then every operation answers kSettingsNoCollection). Each
/// operation returns a status and also keeps it as LastError().
///
/// Values are bytes as the caller gave them: numbers are in the byte order
/// of the machine that wrote them, and Get with `swap` set turns 2-, 4- and
/// 70-byte values of a snapshot from the other byte order (FixEndianness).
class Settings {
public:
    /// An empty store with a collection.
    Settings();
    /// Adopts `collection`; a null one makes a store without a collection.
    explicit Settings(std::unique_ptr<SettingsCollection> collection);
    /// Unflattens a block (see docs/settings-format.md). An empty block is a
    /// null handle (kSettingsParamErr); a damaged one leaves the store empty
    /// with that status. Valid() is true only after success.
    explicit Settings(std::span<const std::uint8_t> flattened);
    Settings(const Settings& other);
    Settings& operator=(const Settings& other);
    Settings(Settings&&) noexcept = default;
    Settings& operator=(Settings&&) noexcept = default;
    ~Settings() = default;

    /// Adds an item with no attribute bits. An item with the same address
    /// already there gets the new value in place, keeping its index and
    /// attributes (so a re-saved model keeps its order); a locked one
    /// refuses with kSettingsItemLocked.
    SettingsStatus Add(std::uint32_t tag, std::int32_t id, std::span<const std::uint8_t> data);
    SettingsStatus Add(std::uint32_t tag, std::int32_t id, std::string_view text) {
        return Add(tag, id, AsBytes(text));
    }
    /// Adds a number (or any plain value) as its bytes in this machine's order.
    template <class T>
        requires std::is_arithmetic_v<T>
    SettingsStatus AddValue(std::uint32_t tag, std::int32_t id, T value) {
        return Add(tag, id, std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(&value), sizeof value));
    }

    /// With an empty `buffer`, sets `size` to the value's size only.
    /// Otherwise copies the value into `buffer` (which must hold `size`
    /// bytes: kSettingsParamErr and nothing copied when it does not), sets
    /// `size`, and with `swap` applies FixEndianness to the copy. An absent
    /// item is kSettingsItemNotFound with `size` 0.
    SettingsStatus Get(std::uint32_t tag, std::int32_t id, std::span<std::uint8_t> buffer, std::size_t& size,
                       bool swap = false);
    /// The whole value into `value` (resized to fit).
    SettingsStatus Get(std::uint32_t tag, std::int32_t id, std::vector<std::uint8_t>& value, bool swap = false);
    /// A value of exactly sizeof(T) bytes; another size is kSettingsParamErr.
    template <class T>
        requires std::is_arithmetic_v<T>
    SettingsStatus GetValue(std::uint32_t tag, std::int32_t id, T& value, bool swap = false) {
        std::size_t size = 0;
        if (const SettingsStatus status = Get(tag, id, {}, size); status != kSettingsNoErr)
            return status;
        if (size != sizeof(T))
            return Done(kSettingsParamErr);
        T read{};
        const SettingsStatus status = Get(tag, id, {reinterpret_cast<std::uint8_t*>(&read), sizeof read}, size, swap);
        if (status == kSettingsNoErr)
            value = read;
        return status;
    }

    /// Replaces an existing item's value: kSettingsItemNotFound when absent,
    /// kSettingsItemLocked when locked.
    SettingsStatus Set(std::uint32_t tag, std::int32_t id, std::span<const std::uint8_t> data);
    /// Removes an item: kSettingsItemNotFound when absent, kSettingsItemLocked when locked.
    SettingsStatus Remove(std::uint32_t tag, std::int32_t id);
    /// Sets (`on`) or clears the bits of `mask` in an item's attributes.
    SettingsStatus SetAttribute(std::uint32_t tag, std::int32_t id, std::uint32_t mask, bool on);
    SettingsStatus Lock(std::uint32_t tag, std::int32_t id) { return SetAttribute(tag, id, kSettingsLockBit, true); }
    SettingsStatus Unlock(std::uint32_t tag, std::int32_t id) { return SetAttribute(tag, id, kSettingsLockBit, false); }
    /// Number of items (0 without a collection).
    std::uint32_t Count() const;
    /// Removes every item, locked ones included, as disposing the store would.
    SettingsStatus Empty();

    /// Walk in index order: First gives the first item (kSettingsEmpty when
    /// there is none), Next the following one (kSettingsIndexRange past the
    /// last). Adding or removing items during a walk moves what Next sees.
    SettingsStatus First(std::uint32_t& tag, std::int32_t& id, std::size_t& size, std::uint32_t& attributes);
    SettingsStatus Next(std::uint32_t& tag, std::int32_t& id, std::size_t& size, std::uint32_t& attributes);

    /// Flattens the store and writes the block to `stream`
    /// (kSettingsStreamNotOpen when it is null or closed).
    SettingsStatus Save(DataStream* stream);
    /// Reads `size` bytes (0: all the stream has left) and unflattens them.
    /// On success the store holds exactly the block's items and is Valid();
    /// on failure it is left as it was. The size is checked against the
    /// stream before anything is allocated.
    SettingsStatus Read(DataStream* stream, std::uint64_t size);
    /// A new flattened block of the store in `handle` (replacing its bytes).
    SettingsStatus GetSettingsHandle(std::vector<std::uint8_t>& handle);

    /// Puts a number read from the store into this machine's order. With
    /// `swap` false it does nothing. Otherwise the store is foreign when its
    /// page-count item (3000, 3002) is 8 bytes whose value, read here as an
    /// unsigned 64-bit number, exceeds 10000; then a 2- or 4-byte value is
    /// reversed, and a 70-byte value has its first 2 bytes reversed as one
    /// number and the next 4 as another. Sizes other than 2, 4 and 70 are
    /// kSettingsUnsupportedSize whichever way the store was written.
    SettingsStatus FixEndianness(std::span<std::uint8_t> value, bool swap);
    /// Whether the page-count test says the snapshot came from a machine of
    /// the other byte order.
    bool IsForeign();

    bool Valid() const { return mValid; }
    SettingsStatus LastError() const { return mLastError; }
    /// The items, for callers that compare or list stores; null without a collection.
    const SettingsCollection* Collection() const { return mCollection.get(); }

private:
    static std::span<const std::uint8_t> AsBytes(std::string_view text) {
        return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
    }
    SettingsStatus Done(SettingsStatus status) {
        mLastError = status;
        return status;
    }
    SettingsStatus ItemAt(std::uint32_t index, std::uint32_t& tag, std::int32_t& id, std::size_t& size,
                          std::uint32_t& attributes);

    std::unique_ptr<SettingsCollection> mCollection;
    SettingsStatus mLastError = kSettingsNoErr;
    bool mValid = false;
    std::uint32_t mIndex = 0; ///< 1-based index of the item the walk is on
};

/// Writes the flattened form of `collection` into `out` (replaced).
/// kSettingsMemFull when the block cannot be allocated.
SettingsStatus FlattenSettings(const SettingsCollection& collection, std::vector<std::uint8_t>& out);
/// Reads a flattened block into `out` (replaced). Returns kSettingsParamErr
/// for an empty block, kSettingsBadVersion, kSettingsDamagedBlock or
/// kSettingsMemFull; `out` is only meaningful on success.
SettingsStatus UnflattenSettings(std::span<const std::uint8_t> block, SettingsCollection& out);

/// The item's bytes as text, or nullopt when it is absent, empty or cannot
/// be read. The bytes are kept whole (NULs included).
std::optional<CString> GetSettingsString(Settings& settings, std::uint32_t tag, std::int32_t id);
/// The item read as 16-bit Unicode external representation (see
/// ExtenalToCFString), as UTF-8; nullopt when absent, empty or unreadable.
std::optional<std::string> GetSettingsCFString(Settings& settings, std::uint32_t tag, std::int32_t id);
/// UTF-8 text as 16-bit Unicode external representation: a byte-order mark
/// then the UTF-16 units, both in this machine's order. Each byte that is
/// not part of valid UTF-8 becomes "?". Empty only when the conversion
/// itself failed (an empty text still gives the 2-byte mark).
std::vector<std::uint8_t> CFStringToExternal(std::string_view utf8);
/// The inverse of CFStringToExternal: honours a leading byte-order mark of
/// either order and reads big-endian without one. An unpaired surrogate
/// becomes "?". nullopt for an odd byte count or a failed conversion; no
/// bytes give "".
std::optional<std::string> ExtenalToCFString(std::span<const std::uint8_t> bytes);
