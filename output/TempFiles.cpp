// Safe creation of files in the shared temporary folder, the filter user's
// read access through a POSIX ACL, and the removal of stale files.
#include "output/TempFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/acl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "util/Log.h"
#include "util/FileDescriptor.h"

namespace kelvo::output {

namespace {

std::string EnvOr(const char* name, std::string_view fallback) {
    const char* value = std::getenv(name);
    return value && *value ? std::string(value) : std::string(fallback);
}

/// The user id of `name` from the password database, or nothing.
std::optional<uid_t> LookUpUser(const std::string& name) {
    const long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(hint > 0 ? static_cast<std::size_t>(hint) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return std::nullopt;
    return found->pw_uid;
}

/// Adds one entry of `tag` (with `uid` for ACL_USER) and the given read and
/// write permissions. Returns 0 or an errno value.
int AddEntry(acl_t& acl, acl_tag_t tag, const uid_t* uid, bool read, bool write) {
    acl_entry_t entry = nullptr;
    acl_permset_t perms = nullptr;
    errno = 0;
    if (acl_create_entry(&acl, &entry) != 0 || acl_set_tag_type(entry, tag) != 0 ||
        (uid && acl_set_qualifier(entry, uid) != 0) || acl_get_permset(entry, &perms) != 0 ||
        acl_clear_perms(perms) != 0 || (read && acl_add_perm(perms, ACL_READ) != 0) ||
        (write && acl_add_perm(perms, ACL_WRITE) != 0) || acl_set_permset(entry, perms) != 0)
        return errno ? errno : EINVAL;
    return 0;
}

/// Owner read-write, `reader` read, group and others nothing; the mask
/// (which the mode's group bits then show) is read. Returns 0 or errno.
int SetReaderACL(int fd, uid_t reader) {
    errno = 0;
    acl_t acl = acl_init(5);
    if (!acl)
        return errno ? errno : ENOMEM;
    // acl_create_entry may move the ACL; `acl` always holds where it is now.
    int status = AddEntry(acl, ACL_USER_OBJ, nullptr, true, true);
    if (status == 0)
        status = AddEntry(acl, ACL_USER, &reader, true, false);
    if (status == 0)
        status = AddEntry(acl, ACL_GROUP_OBJ, nullptr, false, false);
    if (status == 0)
        status = AddEntry(acl, ACL_MASK, nullptr, true, false);
    if (status == 0)
        status = AddEntry(acl, ACL_OTHER, nullptr, false, false);
    if (status == 0 && acl_valid(acl) != 0)
        status = EINVAL;
    if (status == 0 && acl_set_fd(fd, acl) != 0)
        status = errno;
    acl_free(acl);
    return status;
}

/// Opens a new file exclusively with mode 0600. Returns the descriptor, or
/// -1 with errno set.
int OpenNew(const std::filesystem::path& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

/// Writes, syncs and closes `fd`; removes `path` when anything failed.
int FinishFile(int fd, const std::filesystem::path& path, std::string_view bytes) {
    int status = WriteAll(fd, bytes);
    if (status == 0 && fsync(fd) != 0)
        status = errno;
    if (close(fd) != 0 && status == 0)
        status = errno;
    if (status != 0)
        unlink(path.c_str());
    return status;
}

} // namespace

std::filesystem::path TemporaryFolder() {
    return EnvOr("KELVO_TMPDIR", "/tmp");
}

std::string FilterUserName() {
    return EnvOr("KELVO_FILTER_USER", "lp");
}

int CreatePrivateFile(const std::filesystem::path& path, std::string_view bytes) {
    const int fd = OpenNew(path);
    if (fd < 0)
        return errno;
    return FinishFile(fd, path, bytes);
}

int CreateFileForFilter(const std::filesystem::path& path, std::string_view bytes, std::string_view filterUser,
                        FilterAccess* access) {
    const int fd = OpenNew(path);
    if (fd < 0)
        return errno;

    // The access is settled before the content is written, so the file
    // never holds the job's data under looser permissions than intended.
    FilterAccess granted = FilterAccess::kACL;
    std::string problem;
    const std::optional<uid_t> reader = LookUpUser(std::string(filterUser));
    if (!reader) {
        problem = "the printing system's user \"" + std::string(filterUser) + "\" does not exist";
    } else if (*reader == geteuid()) {
        granted = FilterAccess::kOwner;
    } else if (const int status = SetReaderACL(fd, *reader); status != 0) {
        problem = "no ACL for the printing system's user \"" + std::string(filterUser) +
                  "\": " + std::strerror(status);
    }
    if (!problem.empty()) {
        // Without an ACL the filter, which runs as another user, can only
        // read the file if everyone can; writing stays the owner's alone.
        granted = FilterAccess::kWorldReadable;
        if (fchmod(fd, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH) != 0) {
            const int status = errno;
            close(fd);
            unlink(path.c_str());
            return status;
        }
        Log("warning: " + path.string() + ": " + problem + "; the file is readable by every user (mode 0644)");
    }
    if (access)
        *access = granted;
    return FinishFile(fd, path, bytes);
}

std::size_t RemoveOwnStaleFiles(const std::filesystem::path& folder, std::string_view prefix,
                                std::chrono::seconds maxAge, std::chrono::system_clock::time_point now) {
    const int dirFd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd < 0) {
        Log("cannot clean up " + folder.string() + ": " + std::strerror(errno));
        return 0;
    }
    DIR* dir = fdopendir(dirFd);
    if (!dir) {
        Log("cannot clean up " + folder.string() + ": " + std::strerror(errno));
        close(dirFd);
        return 0;
    }
    const std::int64_t cutoff =
        std::chrono::duration_cast<std::chrono::seconds>((now - maxAge).time_since_epoch()).count();
    const uid_t me = geteuid();
    std::size_t removed = 0;
    // Entries are examined by name relative to the open folder and never
    // followed. In a sticky folder such as /tmp nobody else can replace an
    // entry we own between the look and the unlink; unlinking removes a
    // name, never what a link points to.
    while (const dirent* entry = readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (!name.starts_with(prefix))
            continue;
        struct stat st {};
        if (fstatat(dirFd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (!S_ISREG(st.st_mode) || st.st_uid != me || static_cast<std::int64_t>(st.st_mtime) >= cutoff)
            continue;
        if (unlinkat(dirFd, entry->d_name, 0) == 0)
            ++removed;
        else
            Log("cannot remove " + (folder / entry->d_name).string() + ": " + std::strerror(errno));
    }
    closedir(dir); // closes dirFd too
    if (removed > 0)
        Log("removed " + std::to_string(removed) + " stale file(s) " + std::string(prefix) + "* from " +
            folder.string());
    return removed;
}

std::size_t RemoveStaleInjectionFiles() {
    using namespace std::chrono_literals;
    return RemoveOwnStaleFiles(TemporaryFolder(), kInjectionFilePrefix, 24h, std::chrono::system_clock::now());
}

} // namespace kelvo::output
