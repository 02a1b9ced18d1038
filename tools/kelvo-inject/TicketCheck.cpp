// The checks the filter makes before it trusts an injection file.
#include "TicketCheck.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>

#include "output/InjectionFile.h"

namespace kelvo::inject {

namespace {

constexpr bool IsUpperHex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

/// The uid of the user named `name`, or nothing when there is no such user
/// (or the user database cannot be read: refusing is the safe side).
std::optional<uid_t> UserId(const std::string& name) {
    if (name.empty())
        return std::nullopt;
    long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::size_t size = hint > 0 ? static_cast<std::size_t>(hint) : 1024;
    // A record larger than the hint says (long member lists from a
    // directory service) asks for a larger buffer with ERANGE.
    for (int attempt = 0; attempt < 8; ++attempt, size *= 4) {
        const auto buffer = std::make_unique<char[]>(size);
        passwd entry{};
        passwd* found = nullptr;
        const int error = getpwnam_r(name.c_str(), &entry, buffer.get(), size, &found);
        if (error == ERANGE)
            continue;
        if (error != 0 || !found)
            return std::nullopt;
        return found->pw_uid;
    }
    return std::nullopt;
}

TicketCheck Refused(std::string reason) {
    TicketCheck check;
    check.reason = std::move(reason);
    return check;
}

} // namespace

bool IsTicketPath(std::string_view path) {
    static constexpr std::string_view kUuidForm = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
    if (!path.starts_with(kTicketPathPrefix))
        return false;
    const std::string_view uuid = path.substr(kTicketPathPrefix.size());
    if (uuid.size() != kUuidForm.size())
        return false;
    for (std::size_t i = 0; i < uuid.size(); ++i)
        if (kUuidForm[i] == '-' ? uuid[i] != '-' : !IsUpperHex(uuid[i]))
            return false;
    return true;
}

TicketCheck TicketForJob(std::string_view path, std::string_view user) {
    if (!IsTicketPath(path))
        return Refused("the path is not " + std::string(kTicketPathPrefix) +
                       " followed by a UUID in upper case, and no other path is read");
    const std::optional<uid_t> owner = UserId(std::string(user));
    if (!owner)
        return Refused("the job's user is not known on this system, so the file's owner cannot be checked");

    // Anyone may create a file under the prefix: only the job's own user's
    // file carries that user's settings, credentials included. Without the
    // owner check one user could print with another's ticket by naming its
    // path.
    output::InjectionReadResult list = output::ReadInjectionFile(std::string(path), owner);
    if (!list.ok())
        return Refused(list.status.Text());
    TicketCheck check;
    check.ok = true;
    check.pieces = std::move(list.pieces);
    return check;
}

} // namespace kelvo::inject
