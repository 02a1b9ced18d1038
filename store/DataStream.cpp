// Memory and file implementations of the settings data stream.
#include "store/DataStream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <sys/stat.h>

SettingsStatus MemoryDataStream::Write(std::span<const std::uint8_t> bytes) {
    if (!mOpen)
        return kSettingsStreamNotOpen;
    // A growing vector is the one allocation here that may fail; the store
    // reports that as a status instead of letting it escape.
    try {
        mBytes.insert(mBytes.end(), bytes.begin(), bytes.end());
    } catch (const std::bad_alloc&) {
        return kSettingsMemFull;
    }
    return kSettingsNoErr;
}

SettingsStatus MemoryDataStream::Read(std::span<std::uint8_t> bytes, std::size_t& got) {
    got = 0;
    if (!mOpen)
        return kSettingsStreamNotOpen;
    got = std::min(bytes.size(), mBytes.size() - mReadAt);
    if (got)
        std::memcpy(bytes.data(), mBytes.data() + mReadAt, got);
    mReadAt += got;
    return got == bytes.size() ? kSettingsNoErr : kSettingsEndOfStream;
}

SettingsStatus FileDataStream::Open(const std::filesystem::path& path, Mode mode) {
    Close();
    mFile = std::fopen(path.c_str(), mode == Mode::Read ? "rb" : "wb");
    return mFile ? kSettingsNoErr : kSettingsIOErr;
}

SettingsStatus FileDataStream::Close() {
    if (!mFile)
        return kSettingsNoErr;
    const int result = std::fclose(mFile);
    mFile = nullptr;
    return result == 0 ? kSettingsNoErr : kSettingsIOErr;
}

SettingsStatus FileDataStream::Write(std::span<const std::uint8_t> bytes) {
    if (!mFile)
        return kSettingsStreamNotOpen;
    if (bytes.empty())
        return kSettingsNoErr;
    return std::fwrite(bytes.data(), 1, bytes.size(), mFile) == bytes.size() ? kSettingsNoErr : kSettingsIOErr;
}

SettingsStatus FileDataStream::Read(std::span<std::uint8_t> bytes, std::size_t& got) {
    got = 0;
    if (!mFile)
        return kSettingsStreamNotOpen;
    if (bytes.empty())
        return kSettingsNoErr;
    got = std::fread(bytes.data(), 1, bytes.size(), mFile);
    if (got == bytes.size())
        return kSettingsNoErr;
    return std::ferror(mFile) ? kSettingsIOErr : kSettingsEndOfStream;
}

std::uint64_t FileDataStream::Size() const {
    if (!mFile)
        return 0;
    // The file's length less what has been read: the stream may be a file
    // another process is still writing, so ask each time.
    struct stat info {};
    const long at = std::ftell(mFile);
    if (fstat(fileno(mFile), &info) != 0 || at < 0 || info.st_size < at)
        return 0;
    return static_cast<std::uint64_t>(info.st_size - at);
}
