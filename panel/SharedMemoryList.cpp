// The fixed layout of the segment the panel shares with the job-properties helper, and the list conversions over it.
#include "panel/SharedMemoryList.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>

namespace kelvo::panel {

namespace layout = segment_layout;

namespace {

static_assert(layout::kUnused.offset + layout::kUnused.size == kSharedMemoryListSize);
static_assert(layout::kValues.offset == layout::kKeys.offset + layout::kKeys.size);
static_assert(layout::kSettingsCount.offset == layout::kValues.offset + layout::kValues.size);
static_assert(layout::kWatermarkIndices.offset == layout::kSettingsCount.offset + layout::kSettingsCount.size);
static_assert(layout::kWatermarkDefinitions.offset ==
              layout::kWatermarkIndices.offset + layout::kWatermarkIndices.size);
static_assert(layout::kWatermarkCount.offset ==
              layout::kWatermarkDefinitions.offset + layout::kWatermarkDefinitions.size);
static_assert(layout::kBundleVersion.offset == layout::kBundleName.offset + layout::kBundleName.size);

constexpr std::size_t kWatermarkIndexSize = layout::kWatermarkIndices.size / kWatermarkSlots;

/// Bytes before the first NUL of `bytes`, or all of them.
std::size_t TextLength(std::span<const std::uint8_t> bytes) {
    if (bytes.empty())
        return 0;
    const void* nul = std::memchr(bytes.data(), 0, bytes.size());
    return nul ? static_cast<std::size_t>(static_cast<const std::uint8_t*>(nul) - bytes.data()) : bytes.size();
}

/// How much of UTF-8 `text` fits in `room` bytes without splitting a
/// character: a cut that lands on a continuation byte moves back to the
/// start of that character.
std::size_t Utf8Prefix(std::string_view text, std::size_t room) {
    if (text.size() <= room)
        return text.size();
    std::size_t cut = room;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
        --cut;
    return cut;
}

/// The multibyte form of one character in `state`'s shift state; nullopt
/// when the locale has no such character.
std::optional<std::size_t> EncodeOne(wchar_t c, std::mbstate_t& state, char* out) {
    std::mbstate_t trial = state;
    const std::size_t n = std::wcrtomb(out, c, &trial);
    if (n == static_cast<std::size_t>(-1))
        return std::nullopt;
    state = trial;
    return n;
}

/// Walks `wide` through the locale's encoding, calling `put(bytes, n)` for
/// each character as long as `fits(n, closing)` allows it, where `closing`
/// is what must follow to end the text (shift back to the initial state
/// and the NUL). Returns the closing sequence's length and writes it to
/// `closing`.
template <typename Fits, typename Put>
std::size_t WalkMultibyte(std::wstring_view wide, char (&closing)[MB_LEN_MAX * 2], Fits fits, Put put) {
    std::mbstate_t state{};
    std::size_t closingLength = 1;
    closing[0] = '\0';
    for (wchar_t c : wide) {
        if (c == L'\0')
            break;
        char bytes[MB_LEN_MAX];
        std::mbstate_t after = state;
        std::optional<std::size_t> n = EncodeOne(c, after, bytes);
        if (!n) {
            after = state;
            n = EncodeOne(L'?', after, bytes);
            if (!n)
                break; // a locale without "?": nothing sensible to write
        }
        char end[MB_LEN_MAX * 2];
        std::mbstate_t endState = after;
        const std::size_t endLength = std::wcrtomb(end, L'\0', &endState);
        if (endLength == static_cast<std::size_t>(-1) || !fits(*n, endLength))
            break;
        put(bytes, *n);
        state = after;
        std::memcpy(closing, end, endLength);
        closingLength = endLength;
    }
    return closingLength;
}

} // namespace

// ---- text and numbers ----

std::optional<long> ParseDecimalField(std::span<const std::uint8_t> field) {
    const std::size_t length = TextLength(field);
    if (length == field.size())
        return std::nullopt; // no terminator inside the field
    std::size_t at = 0;
    const bool negative = length > 0 && field[0] == '-';
    if (negative)
        ++at;
    if (at == length)
        return std::nullopt;
    long value = 0;
    for (; at < length; ++at) {
        const std::uint8_t c = field[at];
        if (c < '0' || c > '9')
            return std::nullopt;
        const int digit = c - '0';
        // Accumulate towards the sign so LONG_MIN is representable too.
        if (negative ? value < (LONG_MIN + digit) / 10 : value > (LONG_MAX - digit) / 10)
            return std::nullopt;
        value = value * 10 + (negative ? -digit : digit);
    }
    return value;
}

std::size_t EncodeMultibyte(std::wstring_view wide, std::span<std::uint8_t> out) {
    if (out.empty())
        return 0;
    std::size_t used = 0;
    char closing[MB_LEN_MAX * 2];
    const std::size_t closingLength = WalkMultibyte(
        wide, closing, [&](std::size_t n, std::size_t end) { return used + n + end <= out.size(); },
        [&](const char* bytes, std::size_t n) {
            std::memcpy(out.data() + used, bytes, n);
            used += n;
        });
    if (used + closingLength > out.size()) {
        // Only possible with room for less than an empty text in a stateful
        // encoding (which needs no shift when nothing was written): a bare NUL.
        out[0] = 0;
        return 1;
    }
    std::memcpy(out.data() + used, closing, closingLength);
    return used + closingLength;
}

std::size_t MultibyteLength(std::wstring_view wide) {
    std::size_t used = 0;
    char closing[MB_LEN_MAX * 2];
    const std::size_t closingLength = WalkMultibyte(
        wide, closing, [](std::size_t, std::size_t) { return true; },
        [&](const char*, std::size_t n) { used += n; });
    return used + closingLength - 1;
}

std::wstring DecodeMultibyte(std::span<const std::uint8_t> in) {
    const std::size_t length = TextLength(in);
    std::wstring wide;
    std::mbstate_t state{};
    std::size_t at = 0;
    while (at < length) {
        wchar_t c = 0;
        const std::size_t n =
            std::mbrtowc(&c, reinterpret_cast<const char*>(in.data()) + at, length - at, &state);
        if (n == static_cast<std::size_t>(-2)) {
            wide.push_back(L'\uFFFD'); // cut off at the field's end
            break;
        }
        if (n == static_cast<std::size_t>(-1)) {
            wide.push_back(L'\uFFFD');
            state = std::mbstate_t{};
            ++at;
            continue;
        }
        if (n == 0)
            break; // unreachable: the text holds no NUL before `length`
        wide.push_back(c);
        at += n;
    }
    return wide;
}

// ---- the view ----

std::optional<SharedMemoryList> SharedMemoryList::Over(std::span<std::uint8_t> bytes) {
    if (bytes.size() != kSharedMemoryListSize)
        return std::nullopt;
    return SharedMemoryList(bytes);
}

void SharedMemoryList::Clear() { std::memset(mBytes.data(), 0, mBytes.size()); }

std::optional<long> SharedMemoryList::Number(SegmentField field) const { return ParseDecimalField(Field(field)); }

void SharedMemoryList::SetNumber(SegmentField field, long number) {
    // A number whose text would not fit is written as the nearest one that
    // does: cutting its digits would write a different, smaller number.
    long highest = 0;
    for (std::size_t i = 1; i < field.size && i <= 18; ++i)
        highest = highest * 10 + 9;
    const long lowest = field.size > 2 ? -(highest / 10) : 0;
    number = number > highest ? highest : number < lowest ? lowest : number;
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%ld", number);
    SetText(field, std::string_view(text, static_cast<std::size_t>(length)));
}

std::string SharedMemoryList::Text(SegmentField field) const {
    const std::span<const std::uint8_t> bytes = Field(field);
    return std::string(reinterpret_cast<const char*>(bytes.data()), TextLength(bytes));
}

void SharedMemoryList::SetText(SegmentField field, std::string_view text) {
    const std::span<std::uint8_t> bytes = Field(field);
    const std::size_t n = Utf8Prefix(text.substr(0, text.find('\0')), bytes.size() - 1);
    std::memcpy(bytes.data(), text.data(), n);
    bytes[n] = 0;
}

std::wstring SharedMemoryList::Key(std::size_t index) const {
    if (index >= kSettingSlots)
        return {};
    return DecodeMultibyte(Field(layout::kKeys).subspan(index * kKeySlotSize, kKeySlotSize));
}

std::wstring SharedMemoryList::Value(std::size_t index) const {
    if (index >= kSettingSlots)
        return {};
    return DecodeMultibyte(Field(layout::kValues).subspan(index * kValueSlotSize, kValueSlotSize));
}

bool SharedMemoryList::SetKey(std::size_t index, std::wstring_view key) {
    if (index >= kSettingSlots)
        return false;
    EncodeMultibyte(key, Field(layout::kKeys).subspan(index * kKeySlotSize, kKeySlotSize));
    return true;
}

bool SharedMemoryList::SetValue(std::size_t index, std::wstring_view value) {
    if (index >= kSettingSlots)
        return false;
    EncodeMultibyte(value, Field(layout::kValues).subspan(index * kValueSlotSize, kValueSlotSize));
    return true;
}

std::optional<long> SharedMemoryList::RawSettingsCount() const { return Number(layout::kSettingsCount); }

std::size_t SharedMemoryList::SettingsCount() const {
    const long count = RawSettingsCount().value_or(0);
    return count < 0 ? 0 : std::min(static_cast<std::size_t>(count), kSettingSlots);
}

void SharedMemoryList::SetSettingsCount(long count) { SetNumber(layout::kSettingsCount, count); }

std::string SharedMemoryList::WatermarkIndex(std::size_t slot) const {
    if (slot >= kWatermarkSlots)
        return {};
    return Text({layout::kWatermarkIndices.offset + slot * kWatermarkIndexSize, kWatermarkIndexSize});
}

std::string SharedMemoryList::WatermarkDefinition(std::size_t slot) const {
    if (slot >= kWatermarkSlots)
        return {};
    return Text({layout::kWatermarkDefinitions.offset + slot * kWatermarkDefinitionSize, kWatermarkDefinitionSize});
}

std::size_t SharedMemoryList::WatermarkCount() const {
    const long count = Number(layout::kWatermarkCount).value_or(0);
    return count < 0 ? 0 : std::min(static_cast<std::size_t>(count), kWatermarkSlots);
}

std::size_t SharedMemoryList::SetWatermarks(std::span<const std::string> definitions) {
    const std::size_t count = std::min(definitions.size(), kWatermarkSlots);
    for (std::size_t slot = 0; slot < kWatermarkSlots; ++slot) {
        const SegmentField index{layout::kWatermarkIndices.offset + slot * kWatermarkIndexSize, kWatermarkIndexSize};
        const SegmentField definition{layout::kWatermarkDefinitions.offset + slot * kWatermarkDefinitionSize,
                                      kWatermarkDefinitionSize};
        if (slot < count) {
            SetNumber(index, static_cast<long>(slot));
            SetText(definition, definitions[slot]);
        } else {
            std::memset(Field(index).data(), 0, index.size);
            std::memset(Field(definition).data(), 0, definition.size);
        }
    }
    SetNumber(layout::kWatermarkCount, static_cast<long>(count));
    return count;
}

std::vector<std::string> SharedMemoryList::Watermarks() const {
    std::vector<std::string> definitions;
    const std::size_t count = WatermarkCount();
    for (std::size_t slot = 0; slot < count; ++slot)
        definitions.push_back(WatermarkDefinition(slot));
    return definitions;
}

std::optional<long> SharedMemoryList::Status() const { return Number(layout::kStatus); }
void SharedMemoryList::SetStatus(long status) { SetNumber(layout::kStatus, status); }

bool SharedMemoryList::BidiFlag() const { return Number(layout::kBidiFlag) == 1; }
void SharedMemoryList::SetBidiFlag(bool on) { SetNumber(layout::kBidiFlag, on ? 1 : 0); }

std::string SharedMemoryList::PPDCopyPath() const { return Text(layout::kPPDCopyPath); }
void SharedMemoryList::SetPPDCopyPath(std::string_view path) { SetText(layout::kPPDCopyPath, path); }

std::string SharedMemoryList::PrinterAddress() const { return Text(layout::kPrinterAddress); }
void SharedMemoryList::SetPrinterAddress(std::string_view address) { SetText(layout::kPrinterAddress, address); }

std::string SharedMemoryList::InstallablePositions() const { return Text(layout::kInstallablePositions); }

void SharedMemoryList::ClearInstallablePositions() {
    std::memset(Field(layout::kInstallablePositions).data(), 0, layout::kInstallablePositions.size);
}

bool SharedMemoryList::AppendInstallablePosition(long position) {
    if (position < 0)
        return false;
    const std::string now = InstallablePositions();
    const std::string next = now + std::to_string(position) + ",";
    if (next.size() + 1 > layout::kInstallablePositions.size)
        return false;
    SetText(layout::kInstallablePositions, next);
    return true;
}

std::size_t SharedMemoryList::OverflowCount() const {
    const long count = Number(layout::kOverflowCount).value_or(0);
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

void SharedMemoryList::SetOverflowCount(long count) { SetNumber(layout::kOverflowCount, count); }

std::optional<int> SharedMemoryList::OverflowId() const {
    const std::optional<long> id = Number(layout::kOverflowId);
    if (!id || *id <= 0 || *id > INT_MAX)
        return std::nullopt;
    return static_cast<int>(*id);
}

void SharedMemoryList::SetOverflowId(long id) { SetNumber(layout::kOverflowId, id); }

std::string SharedMemoryList::BundleName() const { return Text(layout::kBundleName); }

void SharedMemoryList::SetBundleNameFromPath(std::string_view bundlePath) {
    while (bundlePath.size() > 1 && bundlePath.back() == '/')
        bundlePath.remove_suffix(1);
    if (const std::size_t slash = bundlePath.rfind('/'); slash != std::string_view::npos)
        bundlePath.remove_prefix(slash + 1);
    SetText(layout::kBundleName, bundlePath.substr(0, bundlePath.find(' ')));
}

std::string SharedMemoryList::BundleVersion() const { return Text(layout::kBundleVersion); }
void SharedMemoryList::SetBundleVersion(std::string_view version) { SetText(layout::kBundleVersion, version); }

// ---- the list conversions ----

void RemoveOverflowSegment(SharedMemoryList& segment, platform::SharedSegments& segments, int keepId) {
    if (const std::optional<int> id = segment.OverflowId(); id && *id != keepId)
        segments.Remove(*id);
    segment.SetOverflowId(0);
    segment.SetOverflowCount(0);
}

SegmentWriteResult Create_SharedMemoryList_From_SDMList(SharedMemoryList& segment, const SDMKeyValueList& list,
                                                        platform::SharedSegments& segments, int keepId) {
    SegmentWriteResult result;
    const std::size_t count = list.count();
    result.inSlots = std::min(count, kSettingSlots);
    segment.SetSettingsCount(static_cast<long>(std::min<std::size_t>(count, LONG_MAX)));
    for (std::size_t i = 0; i < result.inSlots; ++i) {
        segment.SetKey(i, list.entries[i].key);
        segment.SetValue(i, list.entries[i].value);
    }
    RemoveOverflowSegment(segment, segments, keepId);
    if (count <= kSettingSlots)
        return result;

    segment.SetSettingsCount(static_cast<long>(kSettingSlots));
    const std::size_t extra = std::min(count - kSettingSlots, kMaxOverflowSettings);
    // Sized from the list's first entries, deliberately, not from the ones
    // it will hold; the writes below are clipped to that size.
    std::size_t size = 0;
    for (std::size_t i = 0; i < extra; ++i)
        size += MultibyteLength(list.entries[i].key) + 1 + MultibyteLength(list.entries[i].value) + 1;

    int error = 0;
    std::unique_ptr<platform::SharedSegment> overflow = segments.Create(size, error);
    if (!overflow) {
        result.overflowError = error ? error : EINVAL;
        return result;
    }
    const std::span<std::uint8_t> bytes = overflow->Bytes().first(std::min(size, overflow->Bytes().size()));
    std::size_t at = 0;
    for (std::size_t i = kSettingSlots; i < kSettingSlots + extra && at < bytes.size(); ++i) {
        at += EncodeMultibyte(list.entries[i].key, bytes.subspan(at));
        at += EncodeMultibyte(list.entries[i].value, bytes.subspan(at));
    }
    result.inOverflow = extra;
    result.overflowId = overflow->Id();
    segment.SetOverflowId(overflow->Id());
    segment.SetOverflowCount(static_cast<long>(extra));
    return result; // detached here; the segment stays for the helper
}

std::unique_ptr<SDMKeyValueList> Create_SDMList_From_SharedMemoryList(const SharedMemoryList& segment,
                                                                      platform::SharedSegments& segments) {
    auto list = std::make_unique<SDMKeyValueList>();
    const std::size_t count = segment.SettingsCount();
    const std::size_t extra = segment.OverflowCount();
    list->entries.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        list->entries.push_back({segment.Key(i), segment.Value(i)});

    const std::optional<int> id = segment.OverflowId();
    if (extra == 0 || !id)
        return list;
    int error = 0;
    std::unique_ptr<platform::SharedSegment> overflow = segments.Attach(*id, error);
    if (!overflow)
        return list;
    const std::span<const std::uint8_t> bytes = overflow->Bytes();
    std::size_t at = 0;
    for (std::size_t i = 0; i < extra; ++i) {
        const std::span<const std::uint8_t> rest = bytes.subspan(at);
        const std::size_t keyLength = TextLength(rest);
        if (keyLength == rest.size())
            break;
        const std::span<const std::uint8_t> valueBytes = rest.subspan(keyLength + 1);
        const std::size_t valueLength = TextLength(valueBytes);
        if (valueLength == valueBytes.size())
            break;
        list->entries.push_back({DecodeMultibyte(rest.first(keyLength)), DecodeMultibyte(valueBytes.first(valueLength))});
        at += keyLength + 1 + valueLength + 1;
    }
    return list;
}

} // namespace kelvo::panel
