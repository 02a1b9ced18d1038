// Files the panel leaves in the shared temporary folder: created safely, shared
// with the printing system's filter user only, and removed when stale.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace kelvo::output {

/// The injection file's name is this prefix followed directly by a UUID.
inline constexpr std::string_view kInjectionFilePrefix = "Kelvo.temp";

/// Where the files for the printing side go: $KELVO_TMPDIR when it is set
/// and not empty (tests), otherwise "/tmp". The printing system's filter
/// must be able to reach the folder.
std::filesystem::path TemporaryFolder();

/// The user the printing system runs its filters as: $KELVO_FILTER_USER when
/// set and not empty, otherwise "lp" (CUPS's `User` on Debian).
std::string FilterUserName();

/// How the filter user can read a file made by CreateFileForFilter.
enum class FilterAccess {
    kOwner,         ///< the filter user is the file's owner: mode 0600 is enough
    kACL,           ///< mode 0600 plus an ACL entry granting the filter user read access
    kWorldReadable, ///< no ACL could be set (unknown user, no ACLs on the file system): mode 0644
};

/// Creates a new file at `path` holding `bytes`, readable by nobody but its
/// owner: O_CREAT|O_EXCL|O_NOFOLLOW with mode 0600, so an existing file or
/// symbolic link of that name (planted by another user in a shared folder)
/// is never opened, followed or truncated — that is EEXIST. Returns 0 or an
/// errno value; on failure after creation the new file is removed.
int CreatePrivateFile(const std::filesystem::path& path, std::string_view bytes);

/// As CreatePrivateFile, then grants `filterUser` read access through a
/// POSIX access ACL (owner rw, that user r, group and others nothing). When
/// the user does not exist or the file system refuses the ACL, the file
/// gets mode 0644 instead and one warning line goes to the log; it is
/// never writable by anyone but its owner. `access` (optional) tells which
/// of these happened. Returns 0 or an errno value.
int CreateFileForFilter(const std::filesystem::path& path, std::string_view bytes, std::string_view filterUser,
                        FilterAccess* access = nullptr);

/// Removes the effective user's own files named `prefix`... in `folder`
/// that were last modified more than `maxAge` before `now`. Only regular
/// files owned by the effective user are touched: symbolic links, folders
/// and other users' files are left alone (entries are examined without
/// following links). Returns how many were removed; failures are logged.
std::size_t RemoveOwnStaleFiles(const std::filesystem::path& folder, std::string_view prefix,
                                std::chrono::seconds maxAge, std::chrono::system_clock::time_point now);

/// The panel's start-up clean-up: its own injection files in
/// TemporaryFolder() older than a day.
std::size_t RemoveStaleInjectionFiles();

} // namespace kelvo::output
