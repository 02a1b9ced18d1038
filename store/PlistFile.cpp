// Property-list files through libplist's C API: conversion to and from
// PropertyValue, bounds checks before libplist sees hostile bytes, and the
// write-to-temporary-then-rename file update.
#include "store/PlistFile.h"
#include "util/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <plist/plist.h>

namespace kelvo::store {

namespace {

constexpr std::string_view kBinaryMagic = "bplist00";

struct PlistDeleter {
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
/// Owns one libplist tree (a root; children belong to their parent).
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// ---------------------------------------------------------------------------
// Bounds before parsing. libplist 2.2 reads binary lists recursively and
// copies shared objects, and frees any tree recursively: a hostile file could
// exhaust the stack or memory inside the library, before our own depth check
// runs. These scans look at the bytes first.

/// Deepest element nesting of XML text, counting every element that is not
/// self-closing. Unbalanced or odd markup can only make the count larger
/// than libplist's own nesting, never smaller.
bool XmlNestingWithin(std::string_view text, int limit) {
    int depth = 0;
    std::size_t i = 0;
    auto skipPast = [&](std::string_view end) {
        std::size_t at = text.find(end, i);
        i = at == std::string_view::npos ? text.size() : at + end.size();
    };
    while ((i = text.find('<', i)) != std::string_view::npos) {
        std::string_view rest = text.substr(i);
        if (rest.starts_with("<!--")) {
            i += 4;
            skipPast("-->");
        } else if (rest.starts_with("<![CDATA[")) {
            i += 9;
            skipPast("]]>");
        } else if (rest.starts_with("<?") || rest.starts_with("<!")) {
            ++i;
            skipPast(">");
        } else if (rest.starts_with("</")) {
            if (depth > 0)
                --depth;
            ++i;
            skipPast(">");
        } else {
            std::size_t close = text.find('>', i);
            if (close == std::string_view::npos)
                return true; // an unclosed tag: libplist refuses it
            if (text[close - 1] != '/' && ++depth > limit)
                return false;
            i = close + 1;
        }
    }
    return true;
}

/// Big-endian unsigned integer of `size` (1..8) bytes at `at`; the caller
/// has checked the range.
std::uint64_t ReadBigEndian(std::string_view bytes, std::size_t at, unsigned size) {
    std::uint64_t v = 0;
    for (unsigned k = 0; k < size; ++k)
        v = (v << 8) | static_cast<unsigned char>(bytes[at + k]);
    return v;
}

/// Checks the object graph of a binary property list: every offset and
/// reference in range, no cycles, the tree below the root no deeper than
/// kMaxPlistDepth and no larger than kMaxPlistNodes once shared objects are
/// counted as often as they are referenced.
PlistStatus CheckBinaryShape(std::string_view bytes) {
    constexpr std::size_t kTrailer = 32;
    if (bytes.size() < kBinaryMagic.size() + kTrailer)
        return kPlistMalformed;
    const std::size_t trailer = bytes.size() - kTrailer;
    const unsigned offsetSize = static_cast<unsigned char>(bytes[trailer + 6]);
    const unsigned refSize = static_cast<unsigned char>(bytes[trailer + 7]);
    const std::uint64_t count = ReadBigEndian(bytes, trailer + 8, 8);
    const std::uint64_t top = ReadBigEndian(bytes, trailer + 16, 8);
    const std::uint64_t table = ReadBigEndian(bytes, trailer + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8 || count == 0 || top >= count)
        return kPlistMalformed;
    if (count > kMaxPlistNodes)
        return kPlistTooLarge;
    if (table < kBinaryMagic.size() || table > trailer || count > (trailer - table) / offsetSize)
        return kPlistMalformed;

    // Where an object's references start and how many it has (0 for a leaf).
    struct Shape {
        std::size_t refs = 0;
        std::uint64_t refCount = 0;
        std::uint64_t keys = 0; // the first `keys` references of a dictionary
    };
    // A dictionary key must be a string without NUL: libplist asserts (and
    // so aborts the process) when it hands out any other key.
    auto isCleanKey = [&](std::uint64_t object) {
        const std::uint64_t offset = ReadBigEndian(bytes, table + object * offsetSize, offsetSize);
        if (offset < kBinaryMagic.size() || offset >= table)
            return false;
        std::size_t at = offset;
        const unsigned marker = static_cast<unsigned char>(bytes[at++]);
        const unsigned type = marker >> 4;
        if (type != 0x5 && type != 0x6 && type != 0x7) // ASCII, UTF-16, UTF-8
            return false;
        std::uint64_t length = marker & 0xF;
        if (length == 0xF) {
            if (at >= table)
                return false;
            const unsigned intMarker = static_cast<unsigned char>(bytes[at++]);
            const unsigned width = 1u << (intMarker & 0xF);
            if ((intMarker >> 4) != 1 || width > 8 || width > table - at)
                return false;
            length = ReadBigEndian(bytes, at, width);
            at += width;
        }
        const std::size_t unit = type == 0x6 ? 2 : 1;
        if (length > (table - at) / unit)
            return false;
        for (std::size_t k = 0; k < length; ++k) {
            bool nul = bytes[at + k * unit] == '\0';
            if (unit == 2)
                nul = nul && bytes[at + k * unit + 1] == '\0';
            if (nul)
                return false;
        }
        return true;
    };
    auto shapeOf = [&](std::uint64_t object, Shape& shape) -> bool {
        const std::uint64_t offset = ReadBigEndian(bytes, table + object * offsetSize, offsetSize);
        if (offset < kBinaryMagic.size() || offset >= table)
            return false;
        std::size_t at = offset;
        const unsigned marker = static_cast<unsigned char>(bytes[at++]);
        const unsigned type = marker >> 4;
        if (type != 0xA && type != 0xC && type != 0xD) {
            shape = Shape{};
            return true;
        }
        std::uint64_t n = marker & 0xF;
        if (n == 0xF) {
            // The count follows as an integer object: marker 0x1k, then 2^k bytes.
            if (at >= table)
                return false;
            const unsigned intMarker = static_cast<unsigned char>(bytes[at++]);
            const unsigned width = 1u << (intMarker & 0xF);
            if ((intMarker >> 4) != 1 || width > 8 || width > table - at)
                return false;
            n = ReadBigEndian(bytes, at, width);
            at += width;
        }
        const std::uint64_t refs = type == 0xD ? n * 2 : n;
        if (n > table || refs > (table - at) / refSize)
            return false;
        shape = Shape{at, refs, type == 0xD ? n : 0};
        return true;
    };

    // Depth-first walk with memoised subtree sizes; the explicit stack is
    // bounded by the depth limit.
    enum : std::uint8_t { kUnseen, kOpen, kDone };
    std::vector<std::uint8_t> state(count, kUnseen);
    std::vector<std::uint64_t> nodes(count, 0);
    struct Frame {
        std::uint64_t object;
        Shape shape;
        std::uint64_t next;
        std::uint64_t total;
    };
    std::vector<Frame> stack;
    Shape rootShape;
    if (!shapeOf(top, rootShape))
        return kPlistMalformed;
    stack.push_back({top, rootShape, 0, 1});
    state[top] = kOpen;
    while (!stack.empty()) {
        Frame& f = stack.back();
        if (f.next == f.shape.refCount) {
            state[f.object] = kDone;
            nodes[f.object] = f.total;
            const std::uint64_t total = f.total;
            stack.pop_back();
            if (!stack.empty()) {
                Frame& parent = stack.back();
                parent.total += total;
                if (parent.total > kMaxPlistNodes)
                    return kPlistTooLarge;
            }
            continue;
        }
        const bool isKey = f.shape.keys > f.next;
        const std::uint64_t child = ReadBigEndian(bytes, f.shape.refs + f.next * refSize, refSize);
        ++f.next;
        if (child >= count)
            return kPlistMalformed;
        if (isKey && !isCleanKey(child))
            return kPlistMalformed;
        if (state[child] == kOpen)
            return kPlistMalformed; // a cycle
        if (state[child] == kDone) {
            f.total += nodes[child];
            if (f.total > kMaxPlistNodes)
                return kPlistTooLarge;
            continue;
        }
        Shape shape;
        if (!shapeOf(child, shape))
            return kPlistMalformed;
        if (stack.size() > static_cast<std::size_t>(kMaxPlistDepth))
            return kPlistTooDeep;
        state[child] = kOpen;
        stack.push_back({child, shape, 0, 1});
    }
    return kPlistOK;
}

// ---------------------------------------------------------------------------
// Conversion. Both directions recurse, one level per array or dictionary,
// and stop at kMaxPlistDepth.

PlistStatus FromNode(plist_t node, int depth, PropertyValue& out) {
    if (depth > kMaxPlistDepth)
        return kPlistTooDeep;
    switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        out = PropertyValue(text ? std::string(text, length) : std::string());
        return kPlistOK;
    }
    case PLIST_UINT: {
        // libplist keeps every integer as 64 unsigned bits; negative numbers
        // are their two's complement.
        std::uint64_t v = 0;
        plist_get_uint_val(node, &v);
        out = PropertyValue(static_cast<std::int64_t>(v));
        return kPlistOK;
    }
    case PLIST_REAL: {
        double v = 0;
        plist_get_real_val(node, &v);
        out = PropertyValue(v);
        return kPlistOK;
    }
    case PLIST_BOOLEAN: {
        std::uint8_t v = 0;
        plist_get_bool_val(node, &v);
        out = PropertyValue(v != 0);
        return kPlistOK;
    }
    case PLIST_DATA: {
        // Empty data comes back as length 0 with a null pointer.
        std::uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        PropertyData data;
        if (bytes && length > 0)
            data.assign(reinterpret_cast<const std::uint8_t*>(bytes),
                        reinterpret_cast<const std::uint8_t*>(bytes) + length);
        out = PropertyValue(std::move(data));
        return kPlistOK;
    }
    case PLIST_ARRAY: {
        PropertyArray items;
        items.reserve(plist_array_get_size(node));
        plist_array_iter iter = nullptr;
        plist_array_new_iter(node, &iter);
        PlistStatus status = kPlistOK;
        for (;;) {
            plist_t item = nullptr;
            plist_array_next_item(node, iter, &item);
            if (!item)
                break;
            PropertyValue value;
            status = FromNode(item, depth + 1, value);
            if (status != kPlistOK)
                break;
            items.push_back(std::move(value));
        }
        std::free(iter);
        if (status == kPlistOK)
            out = PropertyValue(std::move(items));
        return status;
    }
    case PLIST_DICT: {
        PropertyDictionary entries;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        PlistStatus status = kPlistOK;
        for (;;) {
            char* key = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, iter, &key, &item);
            if (!item) {
                std::free(key);
                break;
            }
            std::string name = key ? key : "";
            std::free(key);
            PropertyValue value;
            status = FromNode(item, depth + 1, value);
            if (status != kPlistOK)
                break;
            // A key given twice: the later one wins, as with plist_dict_set_item.
            entries.insert_or_assign(std::move(name), std::move(value));
        }
        std::free(iter);
        if (status == kPlistOK)
            out = PropertyValue(std::move(entries));
        return status;
    }
    default:
        return kPlistUnsupportedType;
    }
}

bool HasNul(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

PlistStatus ToNode(const PropertyValue& value, int depth, PlistPtr& out) {
    if (depth > kMaxPlistDepth)
        return kPlistTooDeep;
    plist_t node = nullptr;
    switch (value.GetKind()) {
    case PropertyValue::Kind::String:
        if (HasNul(*value.AsString()))
            return kPlistBadString;
        node = plist_new_string(value.AsString()->c_str());
        break;
    case PropertyValue::Kind::Integer:
        // No signed integers in libplist 2.2: the bits go through unsigned
        // and the XML writer prints them back as a negative number.
        node = plist_new_uint(static_cast<std::uint64_t>(*value.AsInteger()));
        break;
    case PropertyValue::Kind::Real:
        node = plist_new_real(*value.AsReal());
        break;
    case PropertyValue::Kind::Boolean:
        node = plist_new_bool(*value.AsBoolean() ? 1 : 0);
        break;
    case PropertyValue::Kind::Data: {
        const PropertyData& data = *value.AsData();
        node = plist_new_data(reinterpret_cast<const char*>(data.data()), data.size());
        break;
    }
    case PropertyValue::Kind::Array: {
        PlistPtr array(plist_new_array());
        if (!array)
            return kPlistSerializeFailed;
        for (const PropertyValue& item : *value.AsArray()) {
            PlistPtr child;
            if (PlistStatus status = ToNode(item, depth + 1, child); status != kPlistOK)
                return status;
            plist_array_append_item(array.get(), child.release()); // the array takes it
        }
        node = array.release();
        break;
    }
    case PropertyValue::Kind::Dictionary: {
        PlistPtr dict(plist_new_dict());
        if (!dict)
            return kPlistSerializeFailed;
        for (const auto& [key, item] : *value.AsDictionary()) {
            if (HasNul(key))
                return kPlistBadString;
            PlistPtr child;
            if (PlistStatus status = ToNode(item, depth + 1, child); status != kPlistOK)
                return status;
            plist_dict_set_item(dict.get(), key.c_str(), child.release());
        }
        node = dict.release();
        break;
    }
    }
    if (!node)
        return kPlistSerializeFailed;
    out.reset(node);
    return kPlistOK;
}

} // namespace

std::string PlistStatusText(PlistStatus status) {
    switch (status) {
    case kPlistOK: return "no error";
    case kPlistSerializeFailed: return "the value cannot be written as a property list";
    case kPlistMalformed: return "not a property list (XML or binary)";
    case kPlistTooDeep: return "arrays and dictionaries nest more than " + std::to_string(kMaxPlistDepth) + " deep";
    case kPlistTooLarge: return "the property list is too large";
    case kPlistUnsupportedType: return "the property list holds a date or UID, which are not supported";
    case kPlistBadString: return "a string holds a NUL character";
    case kPlistNoHome: return "HOME is not set";
    case kPlistNotAFile: return "not a regular file";
    case kPlistWrongRoot: return "the root element is not of the expected kind";
    default: break;
    }
    if (status > 0)
        return std::strerror(status);
    return "error " + std::to_string(status);
}

PlistStatus ParsePropertyList(std::string_view bytes, PropertyValue& out) {
    if (bytes.size() > kMaxPlistFileBytes)
        return kPlistTooLarge;
    plist_t root = nullptr;
    if (bytes.starts_with(kBinaryMagic)) {
        if (PlistStatus status = CheckBinaryShape(bytes); status != kPlistOK)
            return status;
        plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    } else {
        // Our own files hold few levels besides the arrays and dictionaries:
        // <plist> and the leaf element.
        if (!XmlNestingWithin(bytes, kMaxPlistDepth + 2))
            return kPlistTooDeep;
        plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    }
    if (!root)
        return kPlistMalformed;
    PlistPtr owner(root);
    PropertyValue value;
    if (PlistStatus status = FromNode(root, 0, value); status != kPlistOK)
        return status;
    out = std::move(value);
    return kPlistOK;
}

namespace {

/// Builds the libplist tree of `value` and hands it to one of libplist's
/// writers (`plist_to_xml`/`plist_to_bin` and their matching free).
PlistStatus Serialize(const PropertyValue& value, std::string& out,
                      void (*write)(plist_t, char**, std::uint32_t*), void (*release)(char*)) {
    PlistPtr root;
    if (PlistStatus status = ToNode(value, 0, root); status != kPlistOK)
        return status;
    char* text = nullptr;
    std::uint32_t length = 0;
    write(root.get(), &text, &length);
    if (!text)
        return kPlistSerializeFailed;
    out.assign(text, length);
    release(text);
    return kPlistOK;
}

} // namespace

PlistStatus SerializePropertyListXML(const PropertyValue& value, std::string& xml) {
    return Serialize(value, xml, plist_to_xml, plist_to_xml_free);
}

PlistStatus SerializePropertyListBinary(const PropertyValue& value, std::string& bytes) {
    return Serialize(value, bytes, plist_to_bin, plist_to_bin_free);
}

PlistStatus ReadPropertyList(const std::filesystem::path& path, PropertyValue& out) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    struct stat st {};
    PlistStatus status = kPlistOK;
    std::string bytes;
    if (fstat(fd, &st) != 0) {
        status = errno;
    } else if (!S_ISREG(st.st_mode)) {
        status = kPlistNotAFile;
    } else if (static_cast<std::uint64_t>(st.st_size) > kMaxPlistFileBytes) {
        status = kPlistTooLarge;
    } else {
        const int readStatus = ReadAllUpTo(fd, kMaxPlistFileBytes, bytes);
        status = readStatus == EFBIG ? kPlistTooLarge : readStatus;
    }
    close(fd);
    if (status != kPlistOK)
        return status;
    return ParsePropertyList(bytes, out);
}

PlistStatus WriteFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    if (path.empty() || !path.has_filename())
        return EINVAL;
    std::filesystem::path folder = path.parent_path();
    if (folder.empty())
        folder = ".";

    // Keep the permissions of the file being replaced; a new file is private.
    mode_t mode = S_IRUSR | S_IWUSR;
    struct stat st {};
    if (stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
        mode = st.st_mode & 07777;

    // mkostemp creates the file exclusively with mode 0600: a file or link
    // that someone placed under the name makes it pick another name.
    std::string temporary = (folder / ("." + path.filename().string() + ".XXXXXX")).string();
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return errno;
    PlistStatus status = WriteAll(fd, bytes);
    if (status == kPlistOK && mode != (S_IRUSR | S_IWUSR) && fchmod(fd, mode) != 0)
        status = errno;
    if (status == kPlistOK && fsync(fd) != 0)
        status = errno;
    if (close(fd) != 0 && status == kPlistOK)
        status = errno;
    if (status == kPlistOK && rename(temporary.c_str(), path.c_str()) != 0)
        status = errno;
    if (status != kPlistOK) {
        unlink(temporary.c_str());
        return status;
    }
    // The rename itself is durable once the folder is synced; a failure
    // here does not undo the write, so it is not reported.
    const int dirFd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0) {
        fsync(dirFd);
        close(dirFd);
    }
    return kPlistOK;
}

PlistStatus WritePropertyListXML(const std::filesystem::path& path, const PropertyValue& value) {
    std::string xml;
    if (PlistStatus status = SerializePropertyListXML(value, xml); status != kPlistOK)
        return status;
    return WriteFileAtomically(path, xml);
}

} // namespace kelvo::store
