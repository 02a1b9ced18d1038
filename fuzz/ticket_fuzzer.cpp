// Fuzz target: injection lists, as the printing side's filter reads them.
//
// Input: the whole input is an injection file (XML or binary property list).
// A refused list must come with its reason and no pieces; an accepted list
// must come back piece for piece from the XML the job ticket would write for
// it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "output/InjectionFile.h"

using namespace kelvo::output;

namespace {

void Check(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const InjectionReadResult result = ParseInjectionList(bytes);
    if (!result.ok()) {
        Check(result.pieces.empty());
        Check(!result.status.Text().empty());
        return 0;
    }
    std::string xml;
    Check(SerializeInjectionList(result.pieces, xml) == 0);
    const InjectionReadResult again = ParseInjectionList(xml);
    Check(again.ok());
    Check(again.pieces == result.pieces);
    return 0;
}
