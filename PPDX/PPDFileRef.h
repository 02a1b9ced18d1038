// The 80-byte record that identifies a PPD file on Linux, kept in snapshots.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

/// Which file a document was read from: the file-system device, the
/// directory holding it (its inode) and its name, the way the panel tells
/// whether two documents come from the same file. Written into a snapshot
/// as an 80-byte record (kSize), laid out little-endian whatever the host:
///
///   offset size  field
///        0    4  magic "KvFR"
///        4    2  record version, 1
///        6    2  flags: bit 0 set when the path named a directory
///        8    8  file-system device: st_dev of the parent directory
///       16    8  inode of the parent directory
///       24    8  inode of the file itself (0 when it did not exist)
///       32    8  FNV-1a 64-bit hash of the whole file name
///       40   40  the file name's first 39 bytes, NUL-padded
///
/// Two records name the same file when device, parent inode and name (hash
/// and leading bytes) agree; the file's own inode is kept for information,
/// since a file replaced by a new copy keeps its identity for the panel.
class PPDFileRef {
public:
    static constexpr std::size_t kSize = 80;
    static constexpr std::size_t kNameBytes = 40;

    /// The record of `path` as the file system has it now; nothing when the
    /// parent directory cannot be reached.
    static std::optional<PPDFileRef> FromPath(const std::filesystem::path& path);
    /// Reads a record; nothing when the size, magic or version is wrong.
    static std::optional<PPDFileRef> FromBytes(std::span<const std::uint8_t> bytes);
    std::array<std::uint8_t, kSize> Bytes() const;

    bool SameFile(const PPDFileRef& other) const;
    bool IsDirectory() const { return mDirectory; }
    /// The name as far as the record holds it (at most 39 bytes).
    std::string NamePrefix() const;

private:
    bool mDirectory = false;
    std::uint64_t mDevice = 0;
    std::uint64_t mParentInode = 0;
    std::uint64_t mInode = 0;
    std::uint64_t mNameHash = 0;
    std::array<char, kNameBytes> mName{};
};
