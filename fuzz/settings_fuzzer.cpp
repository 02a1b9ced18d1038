// Fuzz target: the flattened settings block reader.
//
// Input: one flattened block. A block that reads must walk, answer every
// Get, and flatten back to a block that reads as the same store; a block
// in this machine's byte order must flatten back to exactly its own bytes.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "store/Settings.h"

namespace {

void Require(bool condition) {
    if (!condition)
        std::abort();
}

// Whether the block's byte-order mark says this machine's order.
bool WrittenHere(std::span<const std::uint8_t> block) {
    if (block.size() < 6)
        return false;
    const bool big = block[4] == 0xFE && block[5] == 0xFF;
    const bool little = block[4] == 0xFF && block[5] == 0xFE;
    return std::endian::native == std::endian::big ? big : little;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> block(data, size);
    Settings settings(block);
    if (!settings.Valid()) {
        Require(settings.LastError() != kSettingsNoErr && settings.Count() == 0);
        return 0;
    }

    // Walk: as many items as Count(), each one found by its address with
    // the size the walk gave.
    std::uint32_t tag = 0, attributes = 0;
    std::int32_t id = 0;
    std::size_t itemSize = 0;
    std::uint32_t walked = 0;
    for (SettingsStatus status = settings.First(tag, id, itemSize, attributes); status == kSettingsNoErr;
         status = settings.Next(tag, id, itemSize, attributes)) {
        ++walked;
        std::size_t reported = 0;
        Require(settings.Get(tag, id, {}, reported) == kSettingsNoErr && reported == itemSize);
        std::vector<std::uint8_t> plain, swapped;
        Require(settings.Get(tag, id, plain) == kSettingsNoErr && plain.size() == itemSize);
        const SettingsStatus swap = settings.Get(tag, id, swapped, true);
        const bool turnable = itemSize == 2 || itemSize == 4 || itemSize == 70;
        Require(swap == (turnable ? kSettingsNoErr : kSettingsUnsupportedSize));
        Require(swapped.size() == itemSize);
        GetSettingsString(settings, tag, id);
        GetSettingsCFString(settings, tag, id);
    }
    Require(walked == settings.Count());
    Require(walked == 0 || settings.LastError() == kSettingsIndexRange);

    // Flatten, read back, flatten again: the same store and the same bytes.
    std::vector<std::uint8_t> first;
    Require(settings.GetSettingsHandle(first) == kSettingsNoErr);
    if (WrittenHere(block))
        Require(std::equal(first.begin(), first.end(), block.begin(), block.end()));
    Settings again(first);
    Require(again.Valid());
    Require(*again.Collection() == *settings.Collection());
    std::vector<std::uint8_t> second;
    Require(again.GetSettingsHandle(second) == kSettingsNoErr);
    Require(second == first);
    return 0;
}
