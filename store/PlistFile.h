// Reading and writing property-list files (XML and binary) through libplist.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "store/PropertyValue.h"

namespace kelvo::store {

/// Status of a property-list read or write: 0 on success, a positive errno
/// value when a system call failed, or one of the negative codes below.
using PlistStatus = std::int32_t;

inline constexpr PlistStatus kPlistOK = 0;
/// The value could not be serialised (the code the panel has always stored
/// for this case).
inline constexpr PlistStatus kPlistSerializeFailed = -108;
/// The bytes are neither an XML nor a binary property list.
inline constexpr PlistStatus kPlistMalformed = -1100;
/// Arrays and dictionaries nest deeper than kMaxPlistDepth.
inline constexpr PlistStatus kPlistTooDeep = -1101;
/// The file is larger than kMaxPlistFileBytes, or a binary list would
/// expand to more than kMaxPlistNodes values.
inline constexpr PlistStatus kPlistTooLarge = -1102;
/// An element this type does not hold (date, UID).
inline constexpr PlistStatus kPlistUnsupportedType = -1103;
/// A string or dictionary key holds a NUL byte, which property lists cannot carry.
inline constexpr PlistStatus kPlistBadString = -1104;
/// HOME (or the configuration folder) is not set, so a per-user path cannot be made.
inline constexpr PlistStatus kPlistNoHome = -1105;
/// The file is not a regular file.
inline constexpr PlistStatus kPlistNotAFile = -1106;
/// The file's root is not of the kind its reader expects.
inline constexpr PlistStatus kPlistWrongRoot = -1107;

/// Deepest nesting of arrays and dictionaries we convert. Our own files
/// nest two levels; the bound keeps the recursive conversion (and
/// libplist's own recursive binary reader) off the end of the stack.
inline constexpr int kMaxPlistDepth = 64;
/// Largest file we read. The address list with all its blobs is a few
/// hundred KiB at most.
inline constexpr std::size_t kMaxPlistFileBytes = 16u << 20;
/// Most values a binary list may expand to: its objects can be shared, so
/// a small file can stand for an exponentially large tree.
inline constexpr std::uint64_t kMaxPlistNodes = 1u << 20;

/// Words for a status: the system's text for an errno value, our own for
/// the negative codes.
std::string PlistStatusText(PlistStatus status);

/// Parses `bytes` as a property list: binary when it starts with
/// "bplist00", XML otherwise. On success fills `out`; on failure leaves
/// `out` unchanged and returns the reason.
PlistStatus ParsePropertyList(std::string_view bytes, PropertyValue& out);

/// Serialises `value` as an XML property list into `xml` (replacing its
/// contents). Fails with kPlistBadString for a string holding NUL,
/// kPlistTooDeep beyond kMaxPlistDepth, kPlistSerializeFailed otherwise.
PlistStatus SerializePropertyListXML(const PropertyValue& value, std::string& xml);

/// Serialises `value` as a binary property list (tests and seeds use it;
/// the system writes XML).
PlistStatus SerializePropertyListBinary(const PropertyValue& value, std::string& bytes);

/// Reads the file at `path` (at most kMaxPlistFileBytes, a regular file;
/// symbolic links are followed) and parses it.
PlistStatus ReadPropertyList(const std::filesystem::path& path, PropertyValue& out);

/// Writes `value` as XML to `path` without ever leaving half a file: the
/// text goes to a new temporary file in the same folder (created
/// exclusively, so an existing file or link of that name is never
/// followed), is synced, and is renamed over `path`. The file keeps the
/// permission bits of the one it replaces, or gets 0600. The folder must
/// exist. On failure `path` is untouched and the temporary file removed.
PlistStatus WritePropertyListXML(const std::filesystem::path& path, const PropertyValue& value);

/// Writes `bytes` to `path` the same way (shared with other file writers).
PlistStatus WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes);

} // namespace kelvo::store
