// Stream buffers over file descriptors for jobs of any size: a job read
// straight into the caller's blocks (optionally keeping its first bytes),
// the result written through a buffer, both keeping the errno of a failure
// that an fstream would turn into a plain end of file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

/// Reads a descriptor straight into the caller's buffer (the applier asks
/// for large blocks). The first `headBytes` bytes handed out are kept as
/// well: when the applier turns the job down after reading into it, those
/// bytes are all it took, and the job can still be passed on exactly.
/// Does not own the descriptor.
class DescriptorReader : public std::streambuf {
public:
    explicit DescriptorReader(int fd, std::size_t headBytes = 0) : mFd(fd), mHeadLimit(headBytes) {}

    /// The errno value of a failed read, or 0.
    int Error() const { return mError; }
    /// Bytes handed out so far.
    std::uint64_t Delivered() const { return mDelivered; }
    /// The first bytes handed out (at most `headBytes` of them).
    std::string_view Head() const { return mHead; }
    /// Whether Head() holds every byte handed out.
    bool HeadComplete() const { return mDelivered == mHead.size(); }

protected:
    std::streamsize xsgetn(char* s, std::streamsize n) override;
    int_type underflow() override;

private:
    /// One read(2) into `s`, retried after an interruption; <= 0 at the end
    /// or on failure (then mError is set).
    std::streamsize ReadSome(char* s, std::size_t n);
    void Keep(const char* s, std::size_t n);

    int mFd;
    std::size_t mHeadLimit;
    std::string mHead;
    std::uint64_t mDelivered = 0;
    int mError = 0;
    char mAhead = 0;
};

/// Writes to a descriptor through a buffer of its own. After the first
/// failed write every further byte is refused and Error() tells why.
/// Does not own the descriptor; Flush() (or sync) before reading Error().
class DescriptorWriter : public std::streambuf {
public:
    explicit DescriptorWriter(int fd, std::size_t bufferBytes = 64u << 10);

    /// The errno value of the failed write, or 0.
    int Error() const { return mError; }
    /// Writes out what is buffered; false once a write failed.
    bool Flush();
    /// Writes `bytes` through the buffer; false once a write failed.
    bool Put(std::string_view bytes);

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* s, std::streamsize n) override;
    int sync() override { return Flush() ? 0 : -1; }

private:
    bool WriteAll(const char* s, std::size_t n);

    int mFd;
    int mError = 0;
    std::vector<char> mBuffer;
};

/// Copies what is left of `reader`'s descriptor to `writer`, through a
/// fixed buffer. False on a failed read (reader.Error()) or write
/// (writer.Error()); the writer is flushed.
bool CopyRest(DescriptorReader& reader, DescriptorWriter& writer);

} // namespace kelvo
