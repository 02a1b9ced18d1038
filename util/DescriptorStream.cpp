// Descriptor-backed stream buffers and the plain copy.
#include "util/DescriptorStream.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace kelvo {

std::streamsize DescriptorReader::ReadSome(char* s, std::size_t n) {
    for (;;) {
        const ssize_t got = ::read(mFd, s, n);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            mError = errno;
        return got;
    }
}

void DescriptorReader::Keep(const char* s, std::size_t n) {
    mDelivered += n;
    if (mHead.size() < mHeadLimit)
        mHead.append(s, std::min(n, mHeadLimit - mHead.size()));
}

std::streamsize DescriptorReader::xsgetn(char* s, std::streamsize n) {
    if (n <= 0)
        return 0;
    std::streamsize done = 0;
    if (gptr() < egptr()) { // the byte underflow() read ahead, already kept
        *s = *gptr();
        gbump(1);
        ++done;
        if (done == n)
            return done;
    }
    // One read: what came is handed on at once and the caller asks again,
    // so a job on a pipe flows as its writer produces it.
    const std::streamsize got = ReadSome(s + done, static_cast<std::size_t>(n - done));
    if (got > 0) {
        Keep(s + done, static_cast<std::size_t>(got));
        done += got;
    }
    return done;
}

std::streambuf::int_type DescriptorReader::underflow() {
    if (gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    if (ReadSome(&mAhead, 1) != 1)
        return traits_type::eof();
    Keep(&mAhead, 1);
    setg(&mAhead, &mAhead, &mAhead + 1);
    return traits_type::to_int_type(mAhead);
}

DescriptorWriter::DescriptorWriter(int fd, std::size_t bufferBytes) : mFd(fd), mBuffer(std::max<std::size_t>(bufferBytes, 1)) {
    setp(mBuffer.data(), mBuffer.data() + mBuffer.size());
}

bool DescriptorWriter::WriteAll(const char* s, std::size_t n) {
    while (n > 0 && mError == 0) {
        const ssize_t put = ::write(mFd, s, n);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0) {
            mError = put < 0 ? errno : EIO;
            break;
        }
        s += put;
        n -= static_cast<std::size_t>(put);
    }
    return mError == 0;
}

bool DescriptorWriter::Flush() {
    const auto pending = static_cast<std::size_t>(pptr() - pbase());
    setp(mBuffer.data(), mBuffer.data() + mBuffer.size());
    return WriteAll(mBuffer.data(), pending);
}

bool DescriptorWriter::Put(std::string_view bytes) {
    return xsputn(bytes.data(), static_cast<std::streamsize>(bytes.size())) ==
           static_cast<std::streamsize>(bytes.size());
}

std::streambuf::int_type DescriptorWriter::overflow(int_type c) {
    if (!Flush())
        return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

std::streamsize DescriptorWriter::xsputn(const char* s, std::streamsize n) {
    if (mError != 0)
        return 0;
    if (n <= epptr() - pptr()) {
        std::memcpy(pptr(), s, static_cast<std::size_t>(n));
        pbump(static_cast<int>(n));
        return n;
    }
    // Too much for the room left: what is buffered goes first, then a block
    // at least as large as the buffer goes out directly, a smaller one is
    // buffered.
    if (!Flush())
        return 0;
    if (n < static_cast<std::streamsize>(mBuffer.size())) {
        std::memcpy(pptr(), s, static_cast<std::size_t>(n));
        pbump(static_cast<int>(n));
        return n;
    }
    return WriteAll(s, static_cast<std::size_t>(n)) ? n : 0;
}

bool CopyRest(DescriptorReader& reader, DescriptorWriter& writer) {
    constexpr std::size_t kBlock = 128u << 10;
    const auto block = std::make_unique<char[]>(kBlock);
    for (;;) {
        const std::streamsize got = reader.sgetn(block.get(), kBlock);
        if (got <= 0)
            break;
        if (!writer.Put({block.get(), static_cast<std::size_t>(got)}))
            return false;
    }
    return writer.Flush() && reader.Error() == 0;
}

} // namespace kelvo
