// File identity records: built from the file system, written and read as 80 bytes.
#include "PPDX/PPDFileRef.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr char kMagic[4] = {'K', 'v', 'F', 'R'};
constexpr std::uint16_t kVersion = 1;

std::uint64_t Fnv1a(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325ull;
    for (unsigned char c : text) {
        hash ^= c;
        hash *= 0x100000001b3ull;
    }
    return hash;
}

void PutLE(std::uint8_t* out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint64_t GetLE(const std::uint8_t* in, int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value |= static_cast<std::uint64_t>(in[i]) << (8 * i);
    return value;
}

} // namespace

std::optional<PPDFileRef> PPDFileRef::FromPath(const std::filesystem::path& path) {
    if (path.empty())
        return std::nullopt;
    std::error_code ec;
    const std::filesystem::path absolute = std::filesystem::absolute(path, ec);
    if (ec)
        return std::nullopt;
    // "dir/" names dir itself: identify it by its own name in its parent.
    std::filesystem::path normal = absolute.lexically_normal();
    if (!normal.has_filename() && normal.has_parent_path() && normal != normal.root_path())
        normal = normal.parent_path();
    const std::filesystem::path parent = normal.parent_path();
    struct stat parentInfo {};
    if (::stat(parent.empty() ? "/" : parent.c_str(), &parentInfo) != 0)
        return std::nullopt;

    PPDFileRef ref;
    ref.mDevice = static_cast<std::uint64_t>(parentInfo.st_dev);
    ref.mParentInode = static_cast<std::uint64_t>(parentInfo.st_ino);
    struct stat info {};
    if (::stat(normal.c_str(), &info) == 0) {
        ref.mInode = static_cast<std::uint64_t>(info.st_ino);
        ref.mDirectory = S_ISDIR(info.st_mode);
    }
    const std::string name = normal.filename().string();
    ref.mNameHash = Fnv1a(name);
    std::memcpy(ref.mName.data(), name.data(), std::min(name.size(), kNameBytes - 1));
    return ref;
}

std::optional<PPDFileRef> PPDFileRef::FromBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != kSize || std::memcmp(bytes.data(), kMagic, 4) != 0 || GetLE(bytes.data() + 4, 2) != kVersion)
        return std::nullopt;
    PPDFileRef ref;
    ref.mDirectory = (GetLE(bytes.data() + 6, 2) & 1) != 0;
    ref.mDevice = GetLE(bytes.data() + 8, 8);
    ref.mParentInode = GetLE(bytes.data() + 16, 8);
    ref.mInode = GetLE(bytes.data() + 24, 8);
    ref.mNameHash = GetLE(bytes.data() + 32, 8);
    std::memcpy(ref.mName.data(), bytes.data() + 40, kNameBytes);
    ref.mName[kNameBytes - 1] = '\0'; // whatever the record held, the name ends
    return ref;
}

std::array<std::uint8_t, PPDFileRef::kSize> PPDFileRef::Bytes() const {
    std::array<std::uint8_t, kSize> out{};
    std::memcpy(out.data(), kMagic, 4);
    PutLE(out.data() + 4, kVersion, 2);
    PutLE(out.data() + 6, mDirectory ? 1 : 0, 2);
    PutLE(out.data() + 8, mDevice, 8);
    PutLE(out.data() + 16, mParentInode, 8);
    PutLE(out.data() + 24, mInode, 8);
    PutLE(out.data() + 32, mNameHash, 8);
    std::memcpy(out.data() + 40, mName.data(), kNameBytes);
    return out;
}

bool PPDFileRef::SameFile(const PPDFileRef& other) const {
    return mDevice == other.mDevice && mParentInode == other.mParentInode && mNameHash == other.mNameHash &&
           mName == other.mName;
}

std::string PPDFileRef::NamePrefix() const { return std::string(mName.data(), ::strnlen(mName.data(), kNameBytes)); }
