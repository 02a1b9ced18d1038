// Cutting UTF-8 text to a byte limit.
#pragma once

#include <cstddef>
#include <string_view>

namespace kelvo {

/// `text` cut to at most `limit` bytes, moved back to the start of a
/// character so that no UTF-8 sequence is split. Bytes that are not UTF-8
/// are counted as they stand.
inline std::string_view CutUTF8(std::string_view text, std::size_t limit) {
    if (text.size() <= limit)
        return text;
    std::size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

} // namespace kelvo
