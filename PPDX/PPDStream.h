// Byte cursors over PPD text: a range stream, the PPD file, and the chunked file stream.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Sizes of the fixed buffers that every line, token and string goes through.
inline constexpr long kLineSizeLimit = 256;
inline constexpr long kQuotesStringSizeLimit = 4096;
/// A line joined across a chunk boundary can hold two cut lines.
inline constexpr long kJoinedLineSize = 2 * kLineSizeLimit;
inline constexpr std::size_t kChunkSize = 1000000;

inline constexpr char kMainKeywordDelimiters[] = " \t:";
inline constexpr char kEndofLineDelimiters[] = "\n\r";
inline constexpr char kOptionKeywordDelimiters[] = "/:";
inline constexpr char kTranslationStringDelimiters[] = ":";
inline constexpr char kFlagKeywordDelimiters[] = "|:\"";
inline constexpr char kConstraintDelimiters[] = " \t";
inline constexpr char kRangeStringDelimiters[] = ";(;)";
inline constexpr char kFloatRangeStringDelimiters[] = ";(;)";
inline constexpr char kSpecialOptionKeywordDelimiter[] = ":";
inline constexpr char kEndUIString[] = "*EndUI";

/// A cursor over a borrowed byte range. Used for a whole chunk of the file
/// and, throughout the parser, for the text of one line.
class PPDStream {
public:
    enum Status : std::int32_t { kGood = 0, kBad = 1, kEndOfFile = 2 };

    PPDStream() = default;
    PPDStream(const char* text, long length) { Setup(text, length); }
    PPDStream(const PPDStream&) = default;
    PPDStream& operator=(const PPDStream&) = default;
    virtual ~PPDStream() = default;

    /// Points the stream at [text, text + length). A null text or a length
    /// below 1 makes the stream bad and leaves the range as it was.
    void Setup(const char* text, long length);
    void Initialize();

    // The per-byte calls are defined here so that the tokenizer's loops
    // compile to plain pointer walks.

    /// Next byte into c; at the end c = 0xFF, status end-of-file, false.
    bool GetChar(char& c) {
        if (mCursor >= mEnd) {
            c = static_cast<char>(-1);
            mStatus = kEndOfFile;
            return false;
        }
        c = *mCursor++;
        mStatus = kGood;
        return true;
    }
    /// The byte at the cursor, sign-extended, or -1 at the end.
    int PeekChar() const { return mCursor < mEnd ? static_cast<int>(static_cast<signed char>(*mCursor)) : -1; }
    /// The byte just before the cursor (the delimiter a token stopped at), or -1.
    int PrevChar() const {
        return mCursor && mCursor > mBegin ? static_cast<int>(static_cast<signed char>(mCursor[-1])) : -1;
    }
    /// Puts the cursor at `p`, a position in the range reached by a scan.
    /// The status becomes what GetChar would have left: end-of-file when the
    /// scan tried to read past the end, good otherwise.
    void MoveTo(const char* p, bool triedPastEnd) {
        mCursor = p;
        mStatus = triedPastEnd ? kEndOfFile : kGood;
    }
    void SkipWhiteSpace() {
        while (mCursor < mEnd && (*mCursor == ' ' || *mCursor == '\t'))
            ++mCursor;
    }

    /// Reads one line (without its end) into buf, which holds kLineSizeLimit
    /// bytes. False at the end of the range, at a 0xFF byte, or when 255
    /// bytes were stored before the line ended (the rest comes next call).
    virtual bool GetLine(char* buf);

    std::int32_t Status() const { return mStatus; }
    bool Good() const { return mStatus == kGood; }
    bool Bad() const { return mStatus == kBad; }
    bool EndOfFile() const { return mStatus == kEndOfFile; }
    const char* Cursor() const { return mCursor; }
    const char* End() const { return mEnd; }
    long Remaining() const { return static_cast<long>(mEnd - mCursor); }

protected:
    void SetStatus(std::int32_t status) { mStatus = status; }

    const char* mBegin = nullptr;
    const char* mEnd = nullptr;
    const char* mCursor = nullptr;
    std::int32_t mStatus = kGood;
};

/// The PPD file on disk, or PPD bytes held in memory. Opened lazily,
/// read-only, closed with the object. Gzip-compressed data (as CUPS ships
/// PPDs, ".ppd.gz") is recognised by its magic bytes and inflated as it is
/// read, a chunk at a time, so a compressed file costs no more memory than a
/// plain one.
class PPDFile {
public:
    explicit PPDFile(std::filesystem::path path);
    /// PPD text held in memory (copied), read through the same calls as a
    /// file on disk, so it is parsed exactly as those bytes in a file would be.
    static std::unique_ptr<PPDFile> FromBytes(std::string_view bytes);
    ~PPDFile();
    PPDFile(const PPDFile&) = delete;
    PPDFile& operator=(const PPDFile&) = delete;

    const std::filesystem::path& Path() const { return mPath; }
    bool IsOpen() const { return mOpen; }
    /// Opens for reading; false when the path is missing, not a regular file
    /// or unreadable. ErrorText() then says why.
    bool Open();
    void Close();
    /// Reads up to `size` bytes at the current position; returns the count
    /// read, or -1 on a read error (ErrorText() says which).
    long Read(char* buffer, std::size_t size);
    /// Why the last Open or Read failed, in the system's words ("No such
    /// file or directory", "Is a directory", "not a regular file", "bad
    /// gzip data: ..."); empty when nothing failed.
    const std::string& ErrorText() const { return mErrorText; }
    /// Whether the data being read is gzip-compressed (known once open).
    bool IsCompressed() const { return mCompressed; }

private:
    struct Inflater; // zlib state, kept out of this header

    long ReadPlain(char* buffer, std::size_t size);
    long ReadInflated(char* buffer, std::size_t size);
    /// Fills mRaw from the source; -1 on a read error.
    long ReadRaw(char* buffer, std::size_t size);

    std::filesystem::path mPath;
    std::optional<std::string> mBytes;
    std::size_t mBytesPos = 0;
    std::FILE* mFile = nullptr;
    bool mOpen = false;
    bool mCompressed = false;
    std::unique_ptr<Inflater> mInflater;
    std::string mErrorText;
};

/// Hands out the lines of a PPDFile, reading it through one 1,000,000-byte
/// block that is reloaded in place. A line that straddles two chunks is
/// joined, so callers pass buffers of kJoinedLineSize bytes.
class PPDFileStream : public PPDStream {
public:
    PPDFileStream(PPDFile* file, bool buffered);

    /// Loads the next chunk from the file's current position.
    void Setup();
    bool GetLine(char* buf) override;
    /// Appends the first line of a freshly loaded chunk to buf.
    bool FixLine(char* buf);

private:
    PPDFile* mFile;
    // Filled by each read before anything looks at it, so never initialised:
    // zeroing a whole chunk would cost more than reading a typical file.
    std::unique_ptr<char[]> mBlock;
    bool mBuffered;
};
