// Fuzz target: property lists (XML or binary) into property values, and the
// printer address list operations over whatever array they hold.
//
// Input: the whole input is a property-list file. A value that parses must
// come back equal from its own XML; an array root is also taken as an
// address list and looked up, added to and given blobs under names taken
// from its own strings, and checked for the answers those operations
// promise whatever the file held.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "store/PlistFile.h"
#include "store/PrinterAddressList.h"

using namespace kelvo::store;

namespace {

void Check(bool condition) {
    if (!condition)
        std::abort();
}

/// The value written as XML and read back must be the same value.
void CheckXmlRoundTrip(const PropertyValue& value) {
    std::string xml;
    if (SerializePropertyListXML(value, xml) != kPlistOK)
        return; // a string with NUL, which no property list carries
    PropertyValue back;
    Check(ParsePropertyList(xml, back) == kPlistOK);
    Check(back == value);
}

/// Up to four distinct names: string elements of the list, and one of our own.
std::vector<std::string> NamesFrom(const PropertyArray& records) {
    std::vector<std::string> names{"Fuzz Printer"};
    for (const PropertyValue& item : records) {
        if (names.size() >= 4)
            break;
        if (const std::string* text = item.AsString(); text && text->size() < 256)
            names.push_back(*text);
    }
    return names;
}

void ExerciseAddressList(const PropertyValue& root) {
    QJVTessaryPrinterPList list("/nonexistent/fuzz.plist", root);
    std::vector<char> blocks(2 * QJVTessaryPrinterPList::kBlockSize, '\0');
    blocks[0] = 'b';
    blocks[QJVTessaryPrinterPList::kBlockSize] = 'c';

    for (const std::string& name : NamesFrom(list.Records())) {
        bool found = false;
        const std::size_t index = list.Exists(name, found);
        Check(found ? index < list.Records().size() : index == list.Records().size());
        const std::string address = list.Find(name);
        Check(found || address.empty());
        Check(found || !list.getIPEnabled(name));
        std::vector<std::string> blob;
        for (int id = 0; id < 3; ++id)
            list.GetDataBlob(name, id, blob);

        list.Add(name, "fuzz-address", true);
        Check(list.Find(name) == "fuzz-address");
        Check(list.getIPEnabled(name));
        Check(list.AddDataBlob(name, 2, 1, blocks));
        const std::size_t at = list.Exists(name, found);
        Check(found);
        // The blob just written is the first one of its id, unless the
        // record's version element itself looks like a header.
        const std::string* version = at + 3 < list.Records().size() ? list.Records()[at + 3].AsString() : nullptr;
        if (version && *version == "2") {
            std::vector<std::string> back;
            Check(list.GetDataBlob(name, 1, back));
            Check(back == (std::vector<std::string>{"b", "c"}));
        }
        Check(list.AddDataBlob(name, 0, 7, {}));
    }
    for (const PrinterRecordSummary& printer : list.Printers())
        Check(printer.index < list.Records().size());
    CheckXmlRoundTrip(PropertyValue(list.Records()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    PropertyValue value;
    if (ParsePropertyList(bytes, value) != kPlistOK)
        return 0;
    CheckXmlRoundTrip(value);
    ExerciseAddressList(value);
    return 0;
}
