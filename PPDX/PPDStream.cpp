// Line reading over byte ranges and the chunked PPD file.
#include "PPDX/PPDStream.h"

#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

void PPDStream::Setup(const char* text, long length) {
    if (!text || length < 1) {
        mStatus = kBad;
        return;
    }
    mBegin = mCursor = text;
    mEnd = text + length;
    mStatus = kGood;
}

void PPDStream::Initialize() {
    mBegin = mEnd = mCursor = nullptr;
    mStatus = kGood;
}

bool PPDStream::GetLine(char* buf) {
    if (mCursor >= mEnd) { // also an empty stream, whose range may be null
        buf[0] = '\0';
        mStatus = kEndOfFile;
        return false;
    }
    // Copy the run of ordinary bytes in one go, then decide on the byte that
    // stopped it: a line end, 0xFF, the end of the range or a full buffer.
    const long room = kLineSizeLimit - 1;
    const char* stop = mEnd - mCursor > room ? mCursor + room : mEnd;
    // memchr scans many bytes per step; CR and 0xFF are rare, so looking for
    // each within what is left is cheaper than testing every byte thrice.
    const char* p = stop;
    for (const int special : {int{'\n'}, int{'\r'}, 0xFF}) {
        if (const void* hit = std::memchr(mCursor, special, static_cast<std::size_t>(p - mCursor)))
            p = static_cast<const char*>(hit);
    }
    const long stored = static_cast<long>(p - mCursor);
    std::memcpy(buf, mCursor, static_cast<std::size_t>(stored));
    buf[stored] = '\0';
    mCursor = p;
    if (stored == room) { // full: the rest of the line comes next call
        mStatus = kGood;
        return false;
    }
    if (p == mEnd) {
        mStatus = kEndOfFile;
        return false;
    }
    const char c = *mCursor++;
    mStatus = kGood;
    if (c == '\r' && mCursor < mEnd && *mCursor == '\n')
        ++mCursor;
    return c != static_cast<char>(0xFF);
}

struct PPDFile::Inflater {
    z_stream z{};
    bool initialised = false;
    bool ended = false; // a member ended and no further input followed
    std::unique_ptr<unsigned char[]> input = std::make_unique<unsigned char[]>(kInputSize);
    static constexpr std::size_t kInputSize = 64 * 1024;

    ~Inflater() {
        if (initialised)
            inflateEnd(&z);
    }
};

PPDFile::PPDFile(std::filesystem::path path) : mPath(std::move(path)) {}

PPDFile::~PPDFile() { Close(); }

std::unique_ptr<PPDFile> PPDFile::FromBytes(std::string_view bytes) {
    auto file = std::make_unique<PPDFile>(std::filesystem::path());
    file->mBytes.emplace(bytes);
    return file;
}

bool PPDFile::Open() {
    if (mOpen)
        return true;
    mErrorText.clear();
    if (!mBytes) {
        // Say why in the system's own words: stat first, so that a directory
        // or a device is named as such rather than failing later on read.
        struct stat info {};
        if (::stat(mPath.c_str(), &info) != 0) {
            mErrorText = std::strerror(errno);
            return false;
        }
        if (S_ISDIR(info.st_mode)) {
            mErrorText = std::strerror(EISDIR);
            return false;
        }
        if (!S_ISREG(info.st_mode)) {
            mErrorText = "not a regular file";
            return false;
        }
        mFile = std::fopen(mPath.c_str(), "rb");
        if (!mFile) {
            mErrorText = std::strerror(errno);
            return false;
        }
    }
    mBytesPos = 0;
    mOpen = true;

    // Gzip data starts with 1F 8B; peek at it and put it back.
    unsigned char magic[2] = {0, 0};
    long got = ReadRaw(reinterpret_cast<char*>(magic), 2);
    if (got < 0) {
        Close();
        return false;
    }
    if (mFile)
        std::rewind(mFile);
    mBytesPos = 0;
    mCompressed = got == 2 && magic[0] == 0x1F && magic[1] == 0x8B;
    if (mCompressed) {
        mInflater = std::make_unique<Inflater>();
        // 15 + 16: a gzip wrapper (not zlib, not raw deflate) with the largest window.
        if (inflateInit2(&mInflater->z, 15 + 16) != Z_OK) {
            mErrorText = "cannot start gzip decompression";
            Close();
            return false;
        }
        mInflater->initialised = true;
    }
    return true;
}

void PPDFile::Close() {
    if (mFile) {
        std::fclose(mFile);
        mFile = nullptr;
    }
    mInflater.reset();
    mOpen = false;
}

long PPDFile::ReadRaw(char* buffer, std::size_t size) {
    if (mBytes) {
        const std::size_t n = std::min(size, mBytes->size() - mBytesPos);
        if (n)
            std::memcpy(buffer, mBytes->data() + mBytesPos, n);
        mBytesPos += n;
        return static_cast<long>(n);
    }
    if (!mFile)
        return -1;
    const std::size_t got = std::fread(buffer, 1, size, mFile);
    if (got < size && std::ferror(mFile)) {
        mErrorText = std::strerror(errno ? errno : EIO);
        return -1;
    }
    return static_cast<long>(got);
}

long PPDFile::Read(char* buffer, std::size_t size) {
    if (!mOpen)
        return -1;
    return mCompressed ? ReadInflated(buffer, size) : ReadRaw(buffer, size);
}

long PPDFile::ReadInflated(char* buffer, std::size_t size) {
    Inflater& inf = *mInflater;
    z_stream& z = inf.z;
    // zlib counts in 32-bit units; a chunk is far below that.
    z.next_out = reinterpret_cast<Bytef*>(buffer);
    z.avail_out = static_cast<uInt>(std::min<std::size_t>(size, 1u << 30));
    const uInt wanted = z.avail_out;
    while (z.avail_out > 0 && !inf.ended) {
        if (z.avail_in == 0) {
            const long got = ReadRaw(reinterpret_cast<char*>(inf.input.get()), Inflater::kInputSize);
            if (got < 0)
                return -1;
            if (got == 0) {
                // Input ran out inside a member: the file was cut short.
                mErrorText = "bad gzip data: unexpected end of file";
                return -1;
            }
            z.next_in = inf.input.get();
            z.avail_in = static_cast<uInt>(got);
        }
        const int rc = inflate(&z, Z_NO_FLUSH);
        if (rc == Z_STREAM_END) {
            // Another member may follow (gzip allows concatenation).
            if (z.avail_in == 0) {
                const long got = ReadRaw(reinterpret_cast<char*>(inf.input.get()), Inflater::kInputSize);
                if (got < 0)
                    return -1;
                z.next_in = inf.input.get();
                z.avail_in = static_cast<uInt>(got);
            }
            if (z.avail_in == 0)
                inf.ended = true;
            else if (inflateReset(&z) != Z_OK)
                inf.ended = true;
            continue;
        }
        if (rc != Z_OK && rc != Z_BUF_ERROR) {
            mErrorText = std::string("bad gzip data: ") + (z.msg ? z.msg : "inflate failed");
            return -1;
        }
    }
    return static_cast<long>(wanted - z.avail_out);
}

PPDFileStream::PPDFileStream(PPDFile* file, bool buffered) : mFile(file), mBuffered(buffered) {
    if (!file) {
        mStatus = kBad;
        return;
    }
    if (buffered) {
        mBlock = std::make_unique_for_overwrite<char[]>(kChunkSize);
        Setup();
    }
}

void PPDFileStream::Setup() {
    if (!mBlock || !mFile)
        return;
    if (!mFile->IsOpen() && !mFile->Open()) {
        mStatus = kBad;
        return;
    }
    long got = mFile->Read(mBlock.get(), kChunkSize);
    if (got < 0) {
        mStatus = kBad;
        return;
    }
    // Nothing read: the range stays as it was (already consumed), so the
    // next read reports the end of the file.
    PPDStream::Setup(mBlock.get(), got);
}

bool PPDFileStream::GetLine(char* buf) {
    if (!mBuffered)
        return PPDStream::GetLine(buf);
    if (PPDStream::GetLine(buf))
        return true;
    if (!EndOfFile())
        return false;
    Setup();
    return FixLine(buf);
}

bool PPDFileStream::FixLine(char* buf) {
    char rest[kLineSizeLimit];
    if (!PPDStream::GetLine(rest))
        return false;
    std::strcat(buf, rest);
    return true;
}
