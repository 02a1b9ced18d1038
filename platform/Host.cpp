// Facts about the user the host runs for.
#include "platform/Host.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace kelvo::platform {

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
