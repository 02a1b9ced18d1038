// The fixed layout of the segment the panel shares with the job-properties helper, and the list conversions over it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "panel/SDMKeyValueList.h"
#include "platform/SharedSegment.h"

namespace kelvo::panel {

/// Bytes of the segment; a segment of any other size is refused.
inline constexpr std::size_t kSharedMemoryListSize = 235610;
/// Settings that fit in the segment's own slots; the rest go to an
/// overflow segment.
inline constexpr std::size_t kSettingSlots = 300;
/// Bytes of a key slot and of a value slot, terminator included.
inline constexpr std::size_t kKeySlotSize = 64;
inline constexpr std::size_t kValueSlotSize = 700;
/// Watermark slots, and bytes of a definition slot (terminator included).
inline constexpr std::size_t kWatermarkSlots = 20;
inline constexpr std::size_t kWatermarkDefinitionSize = 256;

/// One field of the layout: where it starts and how many bytes it has.
struct SegmentField {
    std::size_t offset;
    std::size_t size;
};

/// The fields, in the order they lie in the segment (docs/shared-segment.md).
namespace segment_layout {
inline constexpr SegmentField kKeys{0, kSettingSlots * kKeySlotSize};
inline constexpr SegmentField kValues{19200, kSettingSlots * kValueSlotSize};
inline constexpr SegmentField kSettingsCount{229200, 5};
inline constexpr SegmentField kWatermarkIndices{229205, kWatermarkSlots * 3};
inline constexpr SegmentField kWatermarkDefinitions{229265, kWatermarkSlots * kWatermarkDefinitionSize};
inline constexpr SegmentField kWatermarkCount{234385, 3};
inline constexpr SegmentField kStatus{234388, 4};
inline constexpr SegmentField kBidiFlag{234392, 2};
inline constexpr SegmentField kPPDCopyPath{234394, 512};
inline constexpr SegmentField kPrinterAddress{234906, 128};
inline constexpr SegmentField kInstallablePositions{235034, 64};
inline constexpr SegmentField kOverflowCount{235098, 5};
inline constexpr SegmentField kOverflowId{235103, 32};
inline constexpr SegmentField kBundleName{235135, 16};
inline constexpr SegmentField kBundleVersion{235151, 15};
inline constexpr SegmentField kUnused{235166, 444};
} // namespace segment_layout

/// Reads a field holding "%d" text: an optional "-", one or more decimal
/// digits, then a NUL inside the field. Anything else (no NUL, other
/// characters, blanks, a number beyond a long) is nullopt: the other side
/// may write garbage and we must not guess.
std::optional<long> ParseDecimalField(std::span<const std::uint8_t> field);

/// Writes `wide` as multibyte text in the calling thread's locale (LC_CTYPE,
/// as wcrtomb sees it) into `out`, followed by a NUL, and returns the bytes
/// used, NUL included (0 only when `out` is empty). The text ends at its
/// first NUL character. A character is written whole or not at all, and a
/// stateful encoding is always shifted back before the NUL, so the text is
/// cut at the last character that fits. A character the locale cannot
/// represent is written as "?". Bytes after the NUL are left as they were.
std::size_t EncodeMultibyte(std::wstring_view wide, std::span<std::uint8_t> out);
/// Bytes `wide` takes as multibyte text in the thread's locale, without
/// the NUL (what EncodeMultibyte writes given room enough, less one).
std::size_t MultibyteLength(std::wstring_view wide);
/// Reads multibyte text in the thread's locale from `in`, up to its first
/// NUL or its end. A byte sequence that is no character of the locale
/// becomes U+FFFD and reading goes on after its first byte; a character
/// cut off by the end of `in` becomes U+FFFD and ends the text.
std::wstring DecodeMultibyte(std::span<const std::uint8_t> in);

/// A typed view over the bytes of one shared segment: every field of the
/// layout, read and written in place. The view borrows the bytes; the
/// segment must stay attached while it is used.
///
/// Every write is cut to its field with a NUL at the end (texts at the last
/// whole character); every read stops at its field's end, whatever the
/// bytes hold, since the helper (another process) writes them too.
class SharedMemoryList {
public:
    /// A view over `bytes`; nullopt unless there are exactly
    /// kSharedMemoryListSize of them.
    static std::optional<SharedMemoryList> Over(std::span<std::uint8_t> bytes);

    std::span<std::uint8_t> Bytes() const { return mBytes; }
    /// Zero-fills the whole segment (done once after creating it).
    void Clear();

    // ---- settings slots ----

    /// Key and value of slot `index` (< kSettingSlots), as wide text; an
    /// index out of range reads as empty and writes nothing (false).
    std::wstring Key(std::size_t index) const;
    std::wstring Value(std::size_t index) const;
    bool SetKey(std::size_t index, std::wstring_view key);
    bool SetValue(std::size_t index, std::wstring_view value);
    /// The count field as written (nullopt: garbage), and the number of
    /// slots a reader may use: the field clamped to 0..kSettingSlots, 0 when
    /// it is garbage or negative.
    std::optional<long> RawSettingsCount() const;
    std::size_t SettingsCount() const;
    void SetSettingsCount(long count);

    // ---- watermarks ----

    /// The index text of slot `slot` and its definition; empty out of range.
    std::string WatermarkIndex(std::size_t slot) const;
    std::string WatermarkDefinition(std::size_t slot) const;
    /// The watermark count clamped to 0..kWatermarkSlots (0 for garbage).
    std::size_t WatermarkCount() const;
    /// Writes up to kWatermarkSlots definitions (UTF-8, each cut to 255
    /// bytes at a whole character): slot i gets index text "i" and the
    /// i-th definition, the slots after them are zeroed, and the count is
    /// the number written, which is returned.
    std::size_t SetWatermarks(std::span<const std::string> definitions);
    /// The definitions of the first WatermarkCount() slots.
    std::vector<std::string> Watermarks() const;

    // ---- hand-over status and printer ----

    /// The helper status: -1 while its window is open, 0 accepted, 1 redraw
    /// only, other numbers an invalid printer address. nullopt: garbage.
    std::optional<long> Status() const;
    void SetStatus(long status);
    /// True only when the flag field reads "1".
    bool BidiFlag() const;
    void SetBidiFlag(bool on);
    std::string PPDCopyPath() const;
    void SetPPDCopyPath(std::string_view path);
    std::string PrinterAddress() const;
    void SetPrinterAddress(std::string_view address);

    // ---- installable options ----

    std::string InstallablePositions() const;
    void ClearInstallablePositions();
    /// Appends "N," when it fits whole with the NUL; false (and nothing
    /// written) otherwise, or for a negative position.
    bool AppendInstallablePosition(long position);

    // ---- overflow segment ----

    /// The overflow count clamped to 0 and up (0 for garbage or negative).
    std::size_t OverflowCount() const;
    void SetOverflowCount(long count);
    /// The overflow segment's id; nullopt for "0", garbage, or an id no
    /// segment can have (negative, beyond int).
    std::optional<int> OverflowId() const;
    /// Writes the id as "%ld"; 0 means none.
    void SetOverflowId(long id);

    // ---- the panel bundle ----

    std::string BundleName() const;
    /// Writes the bundle's name: the last component of `bundlePath`, cut at
    /// its first blank.
    void SetBundleNameFromPath(std::string_view bundlePath);
    std::string BundleVersion() const;
    void SetBundleVersion(std::string_view version);

private:
    explicit SharedMemoryList(std::span<std::uint8_t> bytes) : mBytes(bytes) {}
    std::span<std::uint8_t> Field(SegmentField field) const { return mBytes.subspan(field.offset, field.size); }
    std::optional<long> Number(SegmentField field) const;
    void SetNumber(SegmentField field, long number);
    std::string Text(SegmentField field) const;
    void SetText(SegmentField field, std::string_view text);

    std::span<std::uint8_t> mBytes;
};

/// What Create_SharedMemoryList_From_SDMList did.
struct SegmentWriteResult {
    /// Entries in the slots and in the overflow segment (the count field
    /// values; an overflow entry may be clipped or dropped by its segment's
    /// size, see the function).
    std::size_t inSlots = 0;
    std::size_t inOverflow = 0;
    /// The overflow segment's id, or 0 when none was made.
    int overflowId = 0;
    /// errno of a failed overflow segment (its settings are then dropped).
    int overflowError = 0;
};

/// Most settings one overflow segment is written with: its count field has
/// room for four digits.
inline constexpr std::size_t kMaxOverflowSettings = 9999;

/// Removes the overflow segment the segment names (never `keepId`, the
/// segment's own id) and sets the overflow id and count fields to "0".
/// Nothing is removed when the id field holds no valid id.
void RemoveOverflowSegment(SharedMemoryList& segment, platform::SharedSegments& segments, int keepId = -1);

/// Writes `list` into the segment: the count, the first 300 entries into
/// their slots (each cut at its slot), then the entries beyond 300 into a
/// new private overflow segment. The previous overflow segment (the one
/// the id field names, unless it is `keepId`) is removed first.
///
/// The overflow segment is sized from the FIRST (count - 300) entries of
/// the list (key and value in multibyte form, each with its NUL), and the
/// entries from 300 on are written into it as key NUL value NUL, each cut
/// to the room left, so it never overruns. It stays attached only while
/// written and is not marked for removal: the helper attaches it later.
/// At most kMaxOverflowSettings entries go there.
SegmentWriteResult Create_SharedMemoryList_From_SDMList(SharedMemoryList& segment, const SDMKeyValueList& list,
                                                        platform::SharedSegments& segments, int keepId = -1);

/// Reads the settings back: the slot entries (count clamped to 300), then,
/// when the overflow count is positive, the pairs of the overflow segment
/// the id field names, in order, up to that count and strictly within the
/// attached size; reading stops at the first pair whose key or value has
/// no NUL inside the segment. An overflow segment that cannot be attached
/// adds nothing. Never null.
std::unique_ptr<SDMKeyValueList> Create_SDMList_From_SharedMemoryList(const SharedMemoryList& segment,
                                                                      platform::SharedSegments& segments);

} // namespace kelvo::panel
