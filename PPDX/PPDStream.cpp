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

bool PPDStream::GetChar(char& c) {
    if (mCursor >= mEnd) {
        c = static_cast<char>(-1);
        mStatus = kEndOfFile;
        return false;
    }
    c = *mCursor++;
    mStatus = kGood;
    return true;
}

int PPDStream::PeekChar() const {
    return mCursor < mEnd ? static_cast<int>(static_cast<signed char>(*mCursor)) : -1;
}

int PPDStream::PrevChar() const {
    return mCursor && mCursor > mBegin ? static_cast<int>(static_cast<signed char>(mCursor[-1])) : -1;
}

void PPDStream::SkipWhiteSpace() {
    while (mCursor < mEnd && (*mCursor == ' ' || *mCursor == '\t'))
        ++mCursor;
}

bool PPDStream::GetLine(char* buf) {
    long stored = 0;
    while (true) {
        if (mCursor >= mEnd) {
            mStatus = kEndOfFile;
            buf[stored] = '\0';
            return false;
        }
        char c = *mCursor++;
        mStatus = kGood;
        if (c == '\n') {
            buf[stored] = '\0';
            return true;
        }
        if (static_cast<unsigned char>(c) == 0xFF) {
            buf[stored] = '\0';
            return false;
        }
        if (c == '\r') {
            if (mCursor < mEnd && *mCursor == '\n')
                ++mCursor;
            buf[stored] = '\0';
            return true;
        }
        buf[stored++] = c;
        if (stored == kLineSizeLimit - 1) {
            buf[stored] = '\0';
            return false;
        }
    }
}

bool PPDFile::Open() {
    if (mFile)
        return true;
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
        mBlock.resize(kChunkSize);
        Setup();
    }
}

void PPDFileStream::Setup() {
    if (mBlock.empty() || !mFile)
        return;
    if (!mFile->IsOpen() && !mFile->Open()) {
        mStatus = kBad;
        return;
    }
    long got = mFile->Read(mBlock.data(), mBlock.size());
    if (got < 0) {
        mStatus = kBad;
        return;
    }
    // Nothing read: the range stays as it was (already consumed), so the
    // next read reports the end of the file.
    PPDStream::Setup(mBlock.data(), got);
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
