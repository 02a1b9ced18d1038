// Fuzz target: the helper segment as the other process might leave it, read into a settings list and written back.
//
// Input: the first 235610 bytes are the segment (a shorter input is padded
// with zeros); whatever follows, if anything, is an overflow segment, whose
// id is then written into the segment's overflow id field (without one the
// field keeps the input's bytes, so made-up ids are tried too). An odd byte
// at the start of the unused tail reads the texts in the C.UTF-8 locale
// instead of the C locale.
//
// Whatever the bytes, reading must stay inside both segments, the list must
// respect the counts' bounds, writing it back (into the damaged segment and
// into a clean one) must keep to the fields, and a list written and read
// once must come back the same from a second round in its slots.
#include <locale.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "panel/SharedMemoryList.h"
#include "platform/memory/InMemorySharedSegments.h"

using namespace kelvo::panel;
using kelvo::platform::InMemorySharedSegments;

namespace {

void Check(bool condition) {
    if (!condition)
        std::abort();
}

/// Reads every field; a text ends at its field's end at the latest.
void ReadAllFields(const SharedMemoryList& segment) {
    namespace layout = segment_layout;
    for (std::size_t i = 0; i < kSettingSlots; ++i) {
        Check(segment.Key(i).size() <= kKeySlotSize);
        Check(segment.Value(i).size() <= kValueSlotSize);
    }
    const std::vector<std::string> watermarks = segment.Watermarks();
    Check(watermarks.size() == segment.WatermarkCount() && watermarks.size() <= kWatermarkSlots);
    for (const std::string& definition : watermarks)
        Check(definition.size() <= kWatermarkDefinitionSize);
    for (std::size_t slot = 0; slot <= kWatermarkSlots; ++slot)
        Check(segment.WatermarkIndex(slot).size() <= 3);
    Check(segment.PPDCopyPath().size() <= layout::kPPDCopyPath.size);
    Check(segment.PrinterAddress().size() <= layout::kPrinterAddress.size);
    Check(segment.InstallablePositions().size() <= layout::kInstallablePositions.size);
    Check(segment.BundleName().size() <= layout::kBundleName.size);
    Check(segment.BundleVersion().size() <= layout::kBundleVersion.size);
    (void)segment.Status();
    (void)segment.BidiFlag();
    Check(segment.SettingsCount() <= kSettingSlots);
    Check(segment.OverflowCount() <= kMaxOverflowSettings);
}

/// A text read from a field and written back is the same text, or (when it
/// filled the field, leaving no room for the NUL) a shorter start of it.
void RewriteTexts(SharedMemoryList& segment) {
    namespace layout = segment_layout;
    const std::string address = segment.PrinterAddress();
    segment.SetPrinterAddress(address);
    const std::string addressBack = segment.PrinterAddress();
    Check(address.starts_with(addressBack) && addressBack.size() < layout::kPrinterAddress.size);
    Check(address.size() == layout::kPrinterAddress.size || addressBack == address);
    const std::string path = segment.PPDCopyPath();
    segment.SetPPDCopyPath(path);
    Check(path.starts_with(segment.PPDCopyPath()));
    const std::vector<std::string> watermarks = segment.Watermarks();
    Check(segment.SetWatermarks(watermarks) == watermarks.size());
    const std::vector<std::string> watermarksBack = segment.Watermarks();
    Check(watermarksBack.size() == watermarks.size());
    for (std::size_t i = 0; i < watermarks.size(); ++i)
        Check(watermarks[i].starts_with(watermarksBack[i]) && watermarksBack[i].size() < kWatermarkDefinitionSize);
    segment.AppendInstallablePosition(static_cast<long>(segment.InstallablePositions().size()));
    Check(segment.InstallablePositions().size() <= layout::kInstallablePositions.size);
}

locale_t Utf8() {
    static locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    return utf8;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    InMemorySharedSegments segments;
    const std::size_t segmentsBefore = InMemorySharedSegments::Count();

    std::vector<std::uint8_t> bytes(kSharedMemoryListSize, 0);
    std::memcpy(bytes.data(), data, std::min(size, kSharedMemoryListSize));
    SharedMemoryList segment = *SharedMemoryList::Over(bytes);

    int overflowId = 0;
    if (size > kSharedMemoryListSize) {
        int error = 0;
        std::unique_ptr<kelvo::platform::SharedSegment> overflow =
            segments.Create(size - kSharedMemoryListSize, error);
        Check(overflow != nullptr);
        std::memcpy(overflow->Bytes().data(), data + kSharedMemoryListSize, size - kSharedMemoryListSize);
        overflowId = overflow->Id();
        segment.SetOverflowId(overflowId);
    }

    const bool utf8 = (bytes[segment_layout::kUnused.offset] & 1) && Utf8();
    const locale_t before = utf8 ? uselocale(Utf8()) : locale_t{};

    ReadAllFields(segment);
    const std::unique_ptr<SDMKeyValueList> read = Create_SDMList_From_SharedMemoryList(segment, segments);
    Check(read->count() <= segment.SettingsCount() + segment.OverflowCount());
    Check(read->count() >= segment.SettingsCount());

    // Back into the damaged segment: its overflow id names whatever the
    // input said (removed first), and the fields it leaves must read sanely.
    RewriteTexts(segment);
    Create_SharedMemoryList_From_SDMList(segment, *read, segments);
    ReadAllFields(segment);
    const std::unique_ptr<SDMKeyValueList> again = Create_SDMList_From_SharedMemoryList(segment, segments);
    Check(again->count() >= std::min(read->count(), kSettingSlots));

    // A second round through a clean segment changes nothing in the slots:
    // what was read once is what the encoding can carry.
    std::vector<std::uint8_t> cleanBytes(kSharedMemoryListSize, 0);
    SharedMemoryList clean = *SharedMemoryList::Over(cleanBytes);
    Create_SharedMemoryList_From_SDMList(clean, *again, segments);
    const std::unique_ptr<SDMKeyValueList> third = Create_SDMList_From_SharedMemoryList(clean, segments);
    const std::size_t slots = std::min(again->count(), kSettingSlots);
    Check(third->count() >= slots);
    Check(std::equal(again->entries.begin(), again->entries.begin() + slots, third->entries.begin()));

    if (utf8)
        uselocale(before);
    RemoveOverflowSegment(segment, segments);
    RemoveOverflowSegment(clean, segments);
    if (overflowId)
        segments.Remove(overflowId);
    Check(InMemorySharedSegments::Count() == segmentsBefore);
    return 0;
}
