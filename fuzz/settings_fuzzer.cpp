// Fuzz target: the flattened settings block reader, and the document model
// rebuilt from a snapshot held in such a block.
//
// Input: one flattened block. A block that reads must walk, answer every
// Get, and flatten back to a block that reads as the same store; a block
// in this machine's byte order must flatten back to exactly its own bytes.
// Then a document is rebuilt from the store and the store's values restored
// into it. A rebuilt document that is valid must save; its snapshot, read
// back and rebuilt, must save to exactly the same bytes again: whatever the
// first rebuild dropped or repaired, one round of save and rebuild reaches a
// fixed point.
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "PPDX/QJVPPD.h"
#include "store/Settings.h"

namespace {

// The seeds (snapshots of the project's PPDs) are under 64 KB; larger blocks
// only make each input slower, since rebuilding is linear in the items.
constexpr std::size_t kMaxBlock = 256 * 1024;

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

// Saves `doc` and flattens the store into `block`. False only when the
// model has more members than the snapshot numbering has ids for, which a
// rebuilt document can: the block may count as many members as it likes.
bool SaveFlattened(QJVPPD& doc, std::vector<std::uint8_t>& block) {
    Settings saved;
    if (!doc.Save(saved)) {
        Require(doc.SaveStatus() == kSettingsIdOverflow);
        return false;
    }
    Require(doc.SaveStatus() == kSettingsNoErr);
    Require(saved.GetSettingsHandle(block) == kSettingsNoErr);
    return true;
}

void CheckSnapshot(Settings& settings) {
    QJVPPDRef doc = QJVPPD::FromSettings(settings);
    Require(doc != nullptr);
    if (!doc->IsValidPPD())
        return;
    // The block's values set into the model built from it: the ids match,
    // the values may not fit the controls.
    doc->Restore(settings);
    std::vector<std::uint8_t> first;
    if (!SaveFlattened(*doc, first))
        return;

    Settings reread(first);
    Require(reread.Valid());
    QJVPPDRef again = QJVPPD::FromSettings(reread);
    Require(again != nullptr && again->IsValidPPD());
    // Not restored again before saving: a restored decimal is rounded through
    // its increment, which may move it by one unit in the last place.
    std::vector<std::uint8_t> second;
    Require(SaveFlattened(*again, second));
    Require(second == first);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > kMaxBlock)
        return 0;
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

    CheckSnapshot(settings);
    return 0;
}
