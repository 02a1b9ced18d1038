// Typed snapshot items over the settings store.
#include "PPDX/PPDObjects/SnapshotItems.h"

#include <algorithm>

namespace kelvo::snapshot {

namespace {
std::uint64_t Swap64(std::uint64_t v) { return __builtin_bswap64(v); }
} // namespace

std::optional<std::string> ReadText(Settings& settings, std::uint32_t tag, std::int32_t id) {
    std::vector<std::uint8_t> bytes;
    if (settings.Get(tag, id, bytes) != kSettingsNoErr)
        return std::nullopt;
    return std::string(bytes.begin(), bytes.end());
}

std::vector<unsigned char> ReadBytes(Settings& settings, std::uint32_t tag, std::int32_t id) {
    std::vector<std::uint8_t> bytes;
    if (settings.Get(tag, id, bytes) != kSettingsNoErr)
        bytes.clear();
    return bytes;
}

std::optional<std::string> ReadUnicode(Settings& settings, std::uint32_t tag, std::int32_t id) {
    std::vector<std::uint8_t> bytes;
    if (settings.Get(tag, id, bytes) != kSettingsNoErr)
        return std::nullopt;
    return ExtenalToCFString(bytes);
}

std::optional<std::uint64_t> ReadCount(Settings& settings, std::uint32_t tag, std::int32_t id) {
    std::uint64_t count = 0;
    if (settings.GetValue(tag, id, count) != kSettingsNoErr)
        return std::nullopt;
    if (settings.IsForeign())
        count = Swap64(count);
    return count;
}

bool ReadWide(Settings& settings, std::uint32_t tag, std::int32_t id, std::int64_t& value) {
    std::size_t size = 0;
    if (settings.Get(tag, id, {}, size) != kSettingsNoErr)
        return false;
    if (size == sizeof(std::int32_t)) {
        std::int32_t narrow = 0;
        if (!ReadNumber(settings, tag, id, narrow))
            return false;
        value = narrow;
        return true;
    }
    if (size != sizeof(std::int64_t) || settings.GetValue(tag, id, value) != kSettingsNoErr)
        return false;
    if (settings.IsForeign())
        value = static_cast<std::int64_t>(Swap64(static_cast<std::uint64_t>(value)));
    return true;
}

bool Has(Settings& settings, std::uint32_t tag, std::int32_t id) {
    std::size_t size = 0;
    return settings.Get(tag, id, {}, size) == kSettingsNoErr;
}

std::uint64_t BoundedCount(Settings& settings, std::optional<std::uint64_t> count) {
    return count ? std::min<std::uint64_t>(*count, settings.Count()) : 0;
}

std::vector<std::int32_t> MemberIds(Settings& settings, std::uint32_t countTag, std::int32_t countId,
                                    std::int32_t firstId) {
    std::uint64_t count = BoundedCount(settings, ReadCount(settings, countTag, countId));
    count = std::min<std::uint64_t>(count, static_cast<std::uint64_t>(INT32_MAX - firstId));
    std::vector<std::int32_t> ids;
    for (std::uint64_t k = 0; k < count; ++k) {
        const auto id = static_cast<std::int32_t>(firstId + static_cast<std::int64_t>(k));
        if (Has(settings, tagVisState, id))
            ids.push_back(id);
    }
    return ids;
}

} // namespace kelvo::snapshot
