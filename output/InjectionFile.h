// Reading the injection file: the pieces a job ticket wrote, checked before use.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output/JobTicket.h"

namespace kelvo::output {

/// Largest injection file read. A ticket holds a few KiB of PostScript (no
/// control piece exceeds 1024 bytes); the bound only keeps a hostile or
/// damaged file from costing memory.
inline constexpr std::size_t kMaxInjectionFileBytes = 16u << 20;

/// Why an injection file or list was refused.
enum class InjectionError {
    kNone,
    kSystem,           ///< opening or reading failed: `code` is the errno value
    kSymbolicLink,     ///< the path names a symbolic link (never followed)
    kNotAFile,         ///< not a regular file (a folder, a FIFO, a device...)
    kTooLarge,         ///< more than kMaxInjectionFileBytes
    kNotAPropertyList, ///< neither an XML nor a binary property list: `code` is the store::PlistStatus
    kRootNotArray,     ///< the root element is not an array
    kOddCount,         ///< the array holds an odd number of elements: `index` is the count
    kSiteNotInteger,   ///< element `index` (even) is not an integer
    kSiteOutOfRange,   ///< element `index` is an integer outside 32 bits
    kPieceNotData,     ///< element `index` (odd) is not data
    kWrongOwner,       ///< the file belongs to user id `code`, not to the required user (id `index`)
};

/// The outcome of a read: the error, with its errno or property-list status
/// (or, for an element of the wrong kind, its store::PropertyValue::Kind) and
/// the array index it concerns where that applies.
struct InjectionReadStatus {
    InjectionError error = InjectionError::kNone;
    int code = 0;
    std::size_t index = 0;

    bool ok() const { return error == InjectionError::kNone; }
    /// The reason in words, without the file name ("element 3 is a string,
    /// not data"), for a diagnostic line that names the file itself.
    std::string Text() const;
};

/// The pieces in file order, or the reason there are none.
struct InjectionReadResult {
    InjectionReadStatus status;
    std::vector<InjectionPiece> pieces; ///< empty unless status.ok()
    bool ok() const { return status.ok(); }
};

/// Reads the injection file at `path`. The last path component must be a
/// regular file and not a symbolic link (opened with O_NOFOLLOW and
/// O_NONBLOCK, checked with fstat on the open descriptor, so the file checked
/// is the file read), owned by `requiredOwner` when one is given; at most
/// kMaxInjectionFileBytes are read. The content is checked as
/// ParseInjectionList checks it.
InjectionReadResult ReadInjectionFile(const std::filesystem::path& path,
                                      std::optional<uid_t> requiredOwner = std::nullopt);

/// Parses an injection list held in memory: an XML or binary property list
/// whose root is an array of alternating integer (the site, within 32 bits)
/// and data (the piece). Sites the system does not know are kept: the one
/// applying the list decides what to do with them. The first fault found
/// is reported, with the index of the element at fault.
InjectionReadResult ParseInjectionList(std::string_view bytes);

/// The property-list XML the job ticket writes for `pieces` (an array of
/// alternating integer and data). Fails only when libplist cannot serialise
/// (the store::PlistStatus is returned, 0 on success).
int SerializeInjectionList(const std::vector<InjectionPiece>& pieces, std::string& xml);

} // namespace kelvo::output
