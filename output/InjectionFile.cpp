// The injection file's reader and writer: a property-list array of
// alternating site numbers and PostScript pieces.
#include "output/InjectionFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>

#include "store/PlistFile.h"
#include "util/FileDescriptor.h"

namespace kelvo::output {

namespace {

using store::PropertyArray;
using store::PropertyValue;

InjectionReadResult Failure(InjectionError error, int code = 0, std::size_t index = 0) {
    InjectionReadResult result;
    result.status = {error, code, index};
    return result;
}

/// "a string", "an integer"... for the messages.
std::string WithArticle(PropertyValue::Kind kind) {
    const std::string name = store::KindName(kind);
    if (kind == PropertyValue::Kind::Data)
        return "data";
    return (name == "integer" || name == "array" ? "an " : "a ") + name;
}

} // namespace

std::string InjectionReadStatus::Text() const {
    switch (error) {
    case InjectionError::kNone: return "no error";
    case InjectionError::kSystem: return std::strerror(code);
    case InjectionError::kSymbolicLink: return "a symbolic link, which is not followed";
    case InjectionError::kNotAFile: return "not a regular file";
    case InjectionError::kTooLarge:
        return "larger than " + std::to_string(kMaxInjectionFileBytes >> 20) + " MiB";
    case InjectionError::kNotAPropertyList: return store::PlistStatusText(code);
    case InjectionError::kRootNotArray: return "the root element is not an array";
    case InjectionError::kOddCount:
        return "the array holds " + std::to_string(index) + " elements; sites and pieces must pair up";
    case InjectionError::kSiteNotInteger:
        return "element " + std::to_string(index) + " is " + WithArticle(static_cast<PropertyValue::Kind>(code)) +
               ", not a site (an integer)";
    case InjectionError::kSiteOutOfRange:
        return "element " + std::to_string(index) + " is a site outside 32 bits";
    case InjectionError::kWrongOwner:
        return "it belongs to user id " + std::to_string(static_cast<unsigned>(code)) + ", not to the job's user (id " +
               std::to_string(index) + ")";
    case InjectionError::kPieceNotData:
        return "element " + std::to_string(index) + " is " + WithArticle(static_cast<PropertyValue::Kind>(code)) +
               ", not a piece (data)";
    }
    return "unknown error";
}

InjectionReadResult ParseInjectionList(std::string_view bytes) {
    if (bytes.size() > kMaxInjectionFileBytes)
        return Failure(InjectionError::kTooLarge);
    PropertyValue root;
    if (const store::PlistStatus status = store::ParsePropertyList(bytes, root); status != store::kPlistOK) {
        if (status == store::kPlistTooLarge)
            return Failure(InjectionError::kTooLarge);
        return Failure(InjectionError::kNotAPropertyList, status);
    }
    const PropertyArray* items = root.AsArray();
    if (!items)
        return Failure(InjectionError::kRootNotArray);
    if (items->size() % 2 != 0)
        return Failure(InjectionError::kOddCount, 0, items->size());

    InjectionReadResult result;
    result.pieces.reserve(items->size() / 2);
    for (std::size_t i = 0; i < items->size(); i += 2) {
        const std::int64_t* site = (*items)[i].AsInteger();
        if (!site)
            return Failure(InjectionError::kSiteNotInteger, static_cast<int>((*items)[i].GetKind()), i);
        if (*site < std::numeric_limits<std::int32_t>::min() || *site > std::numeric_limits<std::int32_t>::max())
            return Failure(InjectionError::kSiteOutOfRange, 0, i);
        const store::PropertyData* data = (*items)[i + 1].AsData();
        if (!data)
            return Failure(InjectionError::kPieceNotData, static_cast<int>((*items)[i + 1].GetKind()), i + 1);
        result.pieces.push_back({static_cast<std::int32_t>(*site), *data});
    }
    return result;
}

InjectionReadResult ReadInjectionFile(const std::filesystem::path& path, std::optional<uid_t> requiredOwner) {
    // O_NONBLOCK keeps a FIFO planted under the name from blocking the
    // open; fstat then refuses it like any other non-regular file.
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return Failure(errno == ELOOP ? InjectionError::kSymbolicLink : InjectionError::kSystem, errno);
    struct stat st {};
    InjectionReadResult failure;
    std::string bytes;
    if (fstat(fd, &st) != 0) {
        failure = Failure(InjectionError::kSystem, errno);
    } else if (!S_ISREG(st.st_mode)) {
        failure = Failure(InjectionError::kNotAFile);
    } else if (requiredOwner && st.st_uid != *requiredOwner) {
        failure = Failure(InjectionError::kWrongOwner, static_cast<int>(st.st_uid), *requiredOwner);
    } else if (static_cast<std::uint64_t>(st.st_size) > kMaxInjectionFileBytes) {
        failure = Failure(InjectionError::kTooLarge);
    } else {
        // Read to the end rather than trusting the size (the file may grow
        // while it is read), stopping at the limit.
        bytes.reserve(static_cast<std::size_t>(st.st_size));
        if (const int readStatus = ReadAllUpTo(fd, kMaxInjectionFileBytes, bytes); readStatus != 0)
            failure = readStatus == EFBIG ? Failure(InjectionError::kTooLarge)
                                          : Failure(InjectionError::kSystem, readStatus);
    }
    close(fd);
    if (!failure.ok())
        return failure;
    return ParseInjectionList(bytes);
}

int SerializeInjectionList(const std::vector<InjectionPiece>& pieces, std::string& xml) {
    PropertyArray items;
    items.reserve(pieces.size() * 2);
    for (const InjectionPiece& piece : pieces) {
        items.emplace_back(static_cast<std::int64_t>(piece.site));
        items.emplace_back(piece.bytes);
    }
    return store::SerializePropertyListXML(PropertyValue(std::move(items)), xml);
}

} // namespace kelvo::output
