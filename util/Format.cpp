// printf-style formatting into a std::string.
#include "util/Format.h"

#include <cstdio>

namespace kelvo {

std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    // First the length, then the text: one pass cannot know the size.
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string out;
    if (length > 0) {
        out.resize(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(out.data(), out.size(), format, again);
        out.resize(static_cast<std::size_t>(length));
    }
    va_end(again);
    return out;
}

} // namespace kelvo
