// Reading numbers from PPD and value text without overflow or wrap-around.
#pragma once

#include <cstdint>
#include <optional>

namespace kelvo {

/// The integer at the start of `text`, read as `atol` reads it (leading
/// blanks, a sign, digits; no digits gives 0), or nothing when it does not
/// fit in 32 bits. Range values are written into PostScript as 32-bit
/// integers, so a bound beyond that would be printed wrapped.
std::optional<std::int32_t> LeadingInt32(const char* text);

/// The decimal number at the start of `text`, read as `atof` reads it, or
/// nothing when it is not finite ("nan", "inf") or beyond a float's range.
std::optional<float> LeadingFiniteFloat(const char* text);

/// `value` as a float: NaN gives 0, and values beyond a float's range
/// saturate to its largest magnitude (a plain cast would be undefined).
float SaturatingFloat(double value);

} // namespace kelvo
