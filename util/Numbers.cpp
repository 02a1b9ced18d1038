// Checked number reading.
#include "util/Numbers.h"

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace kelvo {

std::optional<std::int32_t> LeadingInt32(const char* text) {
    if (!text)
        return 0;
    errno = 0;
    const long long value = std::strtoll(text, nullptr, 10);
    if (errno == ERANGE || value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return static_cast<std::int32_t>(value);
}

std::optional<float> LeadingFiniteFloat(const char* text) {
    if (!text)
        return 0.0f;
    const double value = std::strtod(text, nullptr);
    if (!std::isfinite(value) || std::fabs(value) > FLT_MAX)
        return std::nullopt;
    return static_cast<float>(value);
}

float SaturatingFloat(double value) {
    if (std::isnan(value))
        return 0.0f;
    if (value > FLT_MAX)
        return FLT_MAX;
    if (value < -FLT_MAX)
        return -FLT_MAX;
    return static_cast<float>(value);
}

} // namespace kelvo
