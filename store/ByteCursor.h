// Bounds-checked reading and plain appending of binary records.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

/// Reads integers and byte runs from a borrowed buffer in a chosen byte
/// order. Every read checks the bytes left first; the first read that does
/// not fit marks the cursor failed, and from then on every read fails and
/// yields zeros, so a caller may read a whole record and test Ok() once.
/// The cursor never owns the bytes: the buffer must outlive it.
class ByteCursor {
public:
    explicit ByteCursor(std::span<const std::uint8_t> bytes, std::endian order = std::endian::native)
        : mBytes(bytes), mOrder(order) {}

    void SetOrder(std::endian order) { mOrder = order; }
    std::endian Order() const { return mOrder; }

    bool Ok() const { return !mFailed; }
    /// Offset of the first read that did not fit (or of the Fail() call).
    std::size_t FailedAt() const { return mFailedAt; }
    std::size_t Offset() const { return mOffset; }
    std::size_t Remaining() const { return mFailed ? 0 : mBytes.size() - mOffset; }

    /// Marks the cursor failed, for a caller that found the bytes wrong in a
    /// way the cursor cannot see (a bad magic, a count that cannot fit).
    void Fail() {
        if (!mFailed)
            mFailedAt = mOffset;
        mFailed = true;
    }

    bool ReadU16(std::uint16_t& value) { return ReadInt(value); }
    bool ReadU32(std::uint32_t& value) { return ReadInt(value); }
    bool ReadI32(std::int32_t& value) {
        std::uint32_t raw = 0;
        const bool ok = ReadInt(raw);
        value = static_cast<std::int32_t>(raw);
        return ok;
    }

    /// Borrows the next `count` bytes; an empty span when they are not there.
    std::span<const std::uint8_t> ReadBytes(std::size_t count) {
        if (!Take(count))
            return {};
        return mBytes.subspan(mOffset - count, count);
    }
    bool Skip(std::size_t count) { return Take(count); }

private:
    /// Advances by `count` when that many bytes are left; fails otherwise.
    bool Take(std::size_t count) {
        if (mFailed)
            return false;
        if (count > mBytes.size() - mOffset) {
            Fail();
            return false;
        }
        mOffset += count;
        return true;
    }

    template <class T>
    bool ReadInt(T& value) {
        value = 0;
        if (!Take(sizeof(T)))
            return false;
        const std::uint8_t* at = mBytes.data() + mOffset - sizeof(T);
        for (std::size_t i = 0; i < sizeof(T); ++i) {
            const std::size_t shift = mOrder == std::endian::big ? 8 * (sizeof(T) - 1 - i) : 8 * i;
            value = static_cast<T>(value | static_cast<T>(static_cast<T>(at[i]) << shift));
        }
        return true;
    }

    std::span<const std::uint8_t> mBytes;
    std::endian mOrder;
    std::size_t mOffset = 0;
    std::size_t mFailedAt = 0;
    bool mFailed = false;
};

/// Appends integers in this machine's byte order, and raw bytes, to a
/// caller-owned vector. The caller reserves the room first when it wants
/// allocation failure reported before writing starts.
class ByteWriter {
public:
    explicit ByteWriter(std::vector<std::uint8_t>& out) : mOut(out) {}

    void PutU16(std::uint16_t value) { PutRaw(&value, sizeof value); }
    void PutU32(std::uint32_t value) { PutRaw(&value, sizeof value); }
    void PutI32(std::int32_t value) { PutRaw(&value, sizeof value); }
    void PutBytes(std::span<const std::uint8_t> bytes) { mOut.insert(mOut.end(), bytes.begin(), bytes.end()); }
    void PutZeros(std::size_t count) { mOut.insert(mOut.end(), count, std::uint8_t{0}); }

private:
    void PutRaw(const void* value, std::size_t size) {
        const auto* bytes = static_cast<const std::uint8_t*>(value);
        mOut.insert(mOut.end(), bytes, bytes + size);
    }

    std::vector<std::uint8_t>& mOut;
};
