// Facts about the user the host runs for.
#include "platform/Host.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace kelvo::platform {

std::optional<long long> NumberSetting(const PrintSettings& settings, std::string_view key) {
    const std::optional<PropertyValue> value = settings.Get(key);
    if (!value)
        return std::nullopt;
    if (const std::int64_t* number = value->AsInteger())
        return *number;
    if (const double* real = value->AsReal()) {
        if (std::isfinite(*real) && std::fabs(*real) < 1e15 && std::trunc(*real) == *real)
            return static_cast<long long>(*real);
        return std::nullopt;
    }
    if (const std::string* text = value->AsString()) {
        char* end = nullptr;
        errno = 0;
        const long long number = std::strtoll(text->c_str(), &end, 10);
        if (errno == 0 && end != text->c_str() && *end == '\0')
            return number;
    }
    return std::nullopt;
}

std::string CurrentLoginName() {
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_name)
        return found->pw_name;
    const char* user = std::getenv("USER");
    return user ? user : "";
}

} // namespace kelvo::platform
