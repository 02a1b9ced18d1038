// Line reading over byte ranges and the chunked PPD file.
#include "PPDX/PPDStream.h"

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

std::unique_ptr<PPDFile> PPDFile::FromBytes(std::string_view bytes) {
    auto file = std::make_unique<PPDFile>(std::filesystem::path());
    file->mBytes.emplace(bytes);
    return file;
}

bool PPDFile::Open() {
    if (mFile)
        return true;
    if (mBytes) {
        mFile = fmemopen(mBytes->data(), mBytes->size(), "rb");
        return mFile != nullptr;
    }
    std::error_code ec;
    if (!std::filesystem::is_regular_file(mPath, ec))
        return false;
    mFile = std::fopen(mPath.c_str(), "rb");
    return mFile != nullptr;
}

void PPDFile::Close() {
    if (mFile) {
        std::fclose(mFile);
        mFile = nullptr;
    }
}

long PPDFile::Read(char* buffer, std::size_t size) {
    if (!mFile)
        return -1;
    std::size_t got = std::fread(buffer, 1, size, mFile);
    if (got < size && std::ferror(mFile))
        return -1;
    return static_cast<long>(got);
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
