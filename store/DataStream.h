// Byte streams the settings store saves to and reads from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <vector>

#include "store/SettingsStatus.h"

/// A sequential byte stream: writes append, reads go on from the last read.
/// Failures are statuses; nothing throws.
class DataStream {
public:
    virtual ~DataStream() = default;
    virtual bool IsOpen() const = 0;
    /// Writes all of `bytes`; a status other than 0 when that fails.
    virtual SettingsStatus Write(std::span<const std::uint8_t> bytes) = 0;
    /// Reads up to `bytes.size()` bytes into `bytes` and sets `got` to the
    /// count read. Fewer than asked for at the end is kSettingsEndOfStream.
    virtual SettingsStatus Read(std::span<std::uint8_t> bytes, std::size_t& got) = 0;
    /// Bytes left to read from the current read position.
    virtual std::uint64_t Size() const = 0;
};

/// A stream over an owned byte vector, open from construction until Close().
class MemoryDataStream final : public DataStream {
public:
    MemoryDataStream() = default;
    /// A stream whose reads return a copy of `bytes`.
    explicit MemoryDataStream(std::span<const std::uint8_t> bytes) : mBytes(bytes.begin(), bytes.end()) {}

    bool IsOpen() const override { return mOpen; }
    SettingsStatus Write(std::span<const std::uint8_t> bytes) override;
    SettingsStatus Read(std::span<std::uint8_t> bytes, std::size_t& got) override;
    std::uint64_t Size() const override { return mOpen ? mBytes.size() - mReadAt : 0; }

    void Close() { mOpen = false; }
    /// Everything written so far (and the initial bytes).
    const std::vector<std::uint8_t>& Bytes() const { return mBytes; }

private:
    std::vector<std::uint8_t> mBytes;
    std::size_t mReadAt = 0;
    bool mOpen = true;
};

/// A stream over a file it opens and closes itself.
class FileDataStream final : public DataStream {
public:
    enum class Mode { Read, Write };
    FileDataStream() = default;
    ~FileDataStream() override { Close(); }
    FileDataStream(const FileDataStream&) = delete;
    FileDataStream& operator=(const FileDataStream&) = delete;

    /// Opens `path` for reading, or creates/truncates it for writing.
    /// Returns 0, or kSettingsIOErr when the file cannot be opened.
    SettingsStatus Open(const std::filesystem::path& path, Mode mode);
    /// Closes the file; a failed flush of written data gives kSettingsIOErr.
    SettingsStatus Close();

    bool IsOpen() const override { return mFile != nullptr; }
    SettingsStatus Write(std::span<const std::uint8_t> bytes) override;
    SettingsStatus Read(std::span<std::uint8_t> bytes, std::size_t& got) override;
    std::uint64_t Size() const override;

private:
    std::FILE* mFile = nullptr;
};
