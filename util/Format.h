// printf-style formatting into a std::string.
#pragma once

#include <cstdarg>
#include <string>

namespace kelvo {

/// The text `format` makes of the arguments, as snprintf would write it,
/// without a length limit. Empty when the format is wrong.
__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...);

} // namespace kelvo
