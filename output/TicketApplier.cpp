// Streaming a PostScript job through while putting a job ticket's pieces at
// their sites. docs/injection-sites.md describes the placement.
#include "output/TicketApplier.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string_view>

#include "util/CommentText.h"
#include "util/Log.h"

namespace kelvo::output {

namespace {

using std::string_view;

constexpr bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\f'; }
constexpr bool IsLineEnd(char c) { return c == '\n' || c == '\r'; }

string_view Trim(string_view s) {
    while (!s.empty() && IsBlank(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && IsBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

bool StartsWith(string_view s, string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

/// Whether `line` is the structure comment `keyword`. A keyword given with
/// its colon matches as a prefix; one without must be followed by the end
/// of the line, a blank or a colon ("%%EndSetup" is not "%%EndSetupX").
bool IsComment(string_view line, string_view keyword) {
    if (!StartsWith(line, keyword))
        return false;
    if (line.size() == keyword.size() || keyword.back() == ':')
        return true;
    const char next = line[keyword.size()];
    return IsBlank(next) || next == ':';
}

/// The first word after a comment's colon ("*Duplex" of
/// "%%BeginFeature: *Duplex DuplexNoTumble").
string_view FirstArgument(string_view line, string_view keyword) {
    string_view rest = line.substr(keyword.size());
    while (!rest.empty() && IsBlank(rest.front()))
        rest.remove_prefix(1);
    std::size_t end = 0;
    while (end < rest.size() && !IsBlank(rest[end]))
        ++end;
    return rest.substr(0, end);
}

/// "} stopped cleartomark", blanks between the words as they come.
bool IsWrapCloser(string_view line) {
    string_view rest = Trim(line);
    static constexpr string_view kWords[] = {"}", "stopped", "cleartomark"};
    for (string_view word : kWords) {
        if (!StartsWith(rest, word))
            return false;
        rest.remove_prefix(word.size());
        if (!rest.empty() && !IsBlank(rest.front()))
            return false;
        rest = Trim(rest);
    }
    return rest.empty();
}

/// A line that does not belong to the header any more. The document
/// structure rules end the header at a line that does not start with "%"
/// and a printable character other than a blank; section comments
/// ("%%BeginProlog", "%%Page:"...) end it too, as every reader treats them.
bool EndsHeader(string_view line) {
    if (line.size() < 2 || line[0] != '%')
        return true;
    const auto c = static_cast<unsigned char>(line[1]);
    if (c <= ' ' || c >= 0x7F)
        return true;
    return StartsWith(line, "%%Begin") || IsComment(line, "%%EndProlog") || IsComment(line, "%%EndSetup") ||
           IsComment(line, "%%Page:") || IsComment(line, "%%Trailer") || IsComment(line, "%%EOF");
}

/// The comments that start the pages or what follows them: a setup section
/// must have come before.
bool StartsPages(string_view line) {
    return IsComment(line, "%%Page:") || IsComment(line, "%%Trailer") || IsComment(line, "%%EOF");
}

/// Comments that cannot stand inside a feature block: meeting one before
/// "%%EndFeature" means the block's end comment is missing.
bool IsSectionComment(string_view line) {
    static constexpr string_view kSections[] = {
        "%%BeginFeature:", "%%EndFeature",  "%%BeginSetup",     "%%EndSetup",      "%%BeginProlog",
        "%%EndProlog",     "%%Page:",       "%%BeginPageSetup", "%%EndPageSetup",  "%%Trailer",
        "%%EOF",           "%%EndComments", "%%BeginDocument",  "%%EndDocument",
    };
    if (!StartsWith(line, "%%"))
        return false;
    for (string_view keyword : kSections)
        if (IsComment(line, keyword))
            return true;
    return false;
}

bool IsBlankLine(string_view line) { return Trim(line).empty(); }

/// A count of a "%%BeginData:" or "%%BeginBinary:" comment: decimal digits
/// that fit in 64 bits, else nothing.
bool ParseCount(string_view word, std::uint64_t& out) {
    if (word.empty())
        return false;
    std::uint64_t value = 0;
    for (char c : word) {
        if (c < '0' || c > '9')
            return false;
        const unsigned digit = static_cast<unsigned>(c - '0');
        if (value > (std::numeric_limits<std::uint64_t>::max() - digit) / 10)
            return false;
        value = value * 10 + digit;
    }
    out = value;
    return true;
}

/// One read of the job: a whole line with its line end, or, for a line
/// longer than the buffer, a part of it.
struct Segment {
    string_view bytes;
    bool lineStart = false; ///< the segment starts a line
    bool lineEnd = false;   ///< the segment ends its line (with a line end, or at the end of the job)

    /// The bytes without the line end.
    string_view Content() const {
        string_view s = bytes;
        if (lineEnd && !s.empty() && s.back() == '\n')
            s.remove_suffix(1);
        if (lineEnd && !s.empty() && s.back() == '\r')
            s.remove_suffix(1);
        return s;
    }
    /// The line end the segment closes with ("\n", "\r\n", "\r"), or "".
    string_view LineEnd() const { return bytes.substr(Content().size()); }
};

/// Reads the job through a fixed buffer and hands out lines. A line is cut
/// into parts only when it does not fit the buffer; CR LF is never split.
class JobReader {
public:
    JobReader(std::streambuf& in, std::size_t capacity)
        : mIn(in), mCapacity(capacity), mBuffer(std::make_unique<char[]>(capacity)) {}

    /// The next line or part of one; false at the end of the job.
    bool Next(Segment& segment) {
        for (;;) {
            const char* base = mBuffer.get() + mPos;
            const std::size_t avail = mEnd - mPos;
            std::size_t length = 0;
            bool ends = false;
            if (avail > 0) {
                const std::size_t lf = FindLf();
                const char* nl = lf < mEnd ? mBuffer.get() + lf : nullptr;
                const std::size_t limit = nl ? static_cast<std::size_t>(nl - base) : avail;
                const auto* cr = static_cast<const char*>(std::memchr(base, '\r', limit));
                if (cr) {
                    // A CR ends the line; an LF right after it belongs to it,
                    // so a CR at the end of the data waits for the next byte.
                    const auto at = static_cast<std::size_t>(cr - base);
                    if (at + 1 < avail) {
                        length = at + 1 + (base[at + 1] == '\n' ? 1 : 0);
                        ends = true;
                    } else if (mEof) {
                        length = at + 1;
                        ends = true;
                    }
                } else if (nl) {
                    length = limit + 1;
                    ends = true;
                } else if (mEof) {
                    length = avail; // the last line, without a line end
                    ends = true;
                }
            } else if (mEof) {
                return false;
            }
            if (length == 0) {
                if (Fill() || mEof)
                    continue;
                // The buffer is full of one line: pass on what is there,
                // leaving a final CR for the next part with its LF.
                base = mBuffer.get() + mPos;
                length = mEnd - mPos;
                if (base[length - 1] == '\r')
                    --length;
            }
            segment.bytes = string_view(base, length);
            segment.lineStart = mAtLineStart;
            segment.lineEnd = ends;
            mAtLineStart = ends;
            mPos += length;
            return true;
        }
    }

    /// Up to `limit` bytes as they come, lines or not; false at the end.
    bool NextRaw(std::uint64_t limit, Segment& segment) {
        if (mPos == mEnd && !Fill())
            return false;
        const std::size_t length = static_cast<std::size_t>(std::min<std::uint64_t>(mEnd - mPos, limit));
        segment.bytes = string_view(mBuffer.get() + mPos, length);
        segment.lineStart = mAtLineStart;
        segment.lineEnd = false;
        mAtLineStart = IsLineEnd(segment.bytes.back());
        mPos += length;
        return true;
    }

    std::uint64_t BytesRead() const { return mBytesRead; }

private:
    /// Where the next LF at or after mPos is, or mEnd when the buffer holds
    /// none. What a search found, or that the bytes read so far hold none, is
    /// kept: in a job whose lines end with CR alone the buffer would
    /// otherwise be searched to its end once for every line.
    std::size_t FindLf() {
        if (mLf != kNone && mLf >= mPos)
            return mLf;
        const std::size_t from = std::max(mPos, mLfScanned);
        const void* found = from < mEnd ? std::memchr(mBuffer.get() + from, '\n', mEnd - from) : nullptr;
        if (!found) {
            mLf = kNone;
            mLfScanned = mEnd; // more data may still bring one
            return mEnd;
        }
        mLf = static_cast<std::size_t>(static_cast<const char*>(found) - mBuffer.get());
        mLfScanned = mLf;
        return mLf;
    }

    /// Moves what is left to the front and reads more behind it. False when
    /// nothing came: the job ended (mEof) or the buffer is full.
    bool Fill() {
        if (mEof)
            return false;
        if (mPos > 0) {
            std::memmove(mBuffer.get(), mBuffer.get() + mPos, mEnd - mPos);
            mEnd -= mPos;
            mLf = mLf != kNone && mLf >= mPos ? mLf - mPos : kNone;
            mLfScanned = mLfScanned >= mPos ? mLfScanned - mPos : 0;
            mPos = 0;
        }
        if (mEnd == mCapacity)
            return false;
        const std::streamsize got =
            mIn.sgetn(mBuffer.get() + mEnd, static_cast<std::streamsize>(mCapacity - mEnd));
        if (got <= 0) {
            mEof = true;
            return false;
        }
        mEnd += static_cast<std::size_t>(got);
        mBytesRead += static_cast<std::uint64_t>(got);
        return true;
    }

    std::streambuf& mIn;
    const std::size_t mCapacity;
    std::unique_ptr<char[]> mBuffer;
    std::size_t mPos = 0;
    std::size_t mEnd = 0;
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::size_t mLf = kNone;    ///< the LF the last search found (see FindLf)
    std::size_t mLfScanned = 0; ///< no LF before this from where the last search began
    bool mEof = false;
    bool mAtLineStart = true;
    std::uint64_t mBytesRead = 0;
};

/// Writes to the output's stream buffer and remembers a short write.
class JobWriter {
public:
    explicit JobWriter(std::streambuf& out) : mOut(out) {}

    void Write(string_view bytes) {
        if (mFailed || bytes.empty())
            return;
        const std::streamsize put = mOut.sputn(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (put > 0)
            mWritten += static_cast<std::uint64_t>(put);
        if (put != static_cast<std::streamsize>(bytes.size())) {
            mFailed = true;
            return;
        }
        mAtLineStart = IsLineEnd(bytes.back());
    }
    bool AtLineStart() const { return mAtLineStart; }
    bool Failed() const { return mFailed; }
    std::uint64_t Written() const { return mWritten; }

private:
    std::streambuf& mOut;
    bool mFailed = false;
    bool mAtLineStart = true;
    std::uint64_t mWritten = 0;
};

/// The placement itself: sorts the ticket's pieces by where they go, then
/// follows the job's structure comments line by line.
class Applier {
public:
    Applier(std::span<const InjectionPiece> pieces, JobWriter& writer, ApplyResult& result)
        : mWriter(writer), mResult(result) {
        for (std::size_t i = 0; i < pieces.size(); ++i)
            Sort(i + 1, pieces[i]);
    }

    /// False once the first line showed that the job is not PostScript.
    bool Refused() const { return mRefused; }
    /// Bytes to pass on unread (the data of "%%BeginBinary:"/"%%BeginData:").
    std::uint64_t RawWanted() const { return mRawBytes; }

    void Raw(const Segment& segment) {
        mWriter.Write(segment.bytes);
        mRawBytes -= segment.bytes.size();
    }

    void Take(const Segment& segment) {
        if (segment.lineStart)
            mFate = StartLine(segment);
        else
            Continue(segment);
        if (segment.lineEnd)
            EndLine(segment);
    }

    /// The job ended: whatever is still held goes out, and whatever was
    /// not placed yet is placed at the end.
    void Finish() {
        // A last line that filled the buffer ends without a part that says
        // so: what waited for its end is done now.
        FinishLine();
        if (!mOpenLine.empty()) {
            mWriter.Write(mOpenLine);
            mOpenLine.clear();
        }
        if (mRemoving)
            AbortRemoval("the end of the job");
        if (!mWrapOpen.empty()) {
            mWriter.Write(mWrapOpen);
            mWrapOpen.clear();
        }
        switch (mPhase) {
        case Phase::kHeader:
            PlaceHeader();
            CreateSetup();
            break;
        case Phase::kBeforeSetup:
        case Phase::kAfterProlog:
            CreateSetup();
            break;
        case Phase::kSetup:
            CloseSetup();
            break;
        case Phase::kBody: break;
        }
        mPhase = Phase::kBody;
    }

private:
    /// Where the job stands, at the top level (outside embedded documents).
    enum class Phase {
        kHeader,      ///< in the header comments
        kBeforeSetup, ///< after the header; no setup section yet
        kAfterProlog, ///< right after "%%EndProlog": a setup section may follow
        kSetup,       ///< inside "%%BeginSetup" .. "%%EndSetup"
        kBody,        ///< the pieces of the setup are placed
    };
    /// What happens to the rest of the current line.
    enum class Fate { kPass, kDrop, kKeep };

    /// `number` counts the ticket's pieces from 1, as `ticket show` does.
    void Sort(std::size_t number, const InjectionPiece& piece) {
        switch (piece.site) {
        case kInjectHeaderComment:
        case kInjectLayoutComment:
        case kInjectJobNoteData: mHeader.push_back(&piece); break;
        case kInjectFeatureCode: mFeature.push_back(&piece); break;
        case kInjectBeforeEndSetup: mPageSize.push_back(&piece); break;
        case kInjectAfterEndSetup: mAfterSetup.push_back(&piece); break;
        case kInjectSuppressFeature: {
            // The keyword with its asterisk; blanks, line ends and NULs
            // around it are no part of it.
            string_view key(reinterpret_cast<const char*>(piece.bytes.data()), piece.bytes.size());
            while (!key.empty() && (IsBlank(key.back()) || IsLineEnd(key.back()) || key.back() == '\0'))
                key.remove_suffix(1);
            while (!key.empty() && (IsBlank(key.front()) || IsLineEnd(key.front())))
                key.remove_prefix(1);
            if (key.empty() || key.find_first_of(" \t\r\n") != string_view::npos) {
                Log("apply: piece " + std::to_string(number) + ": \"" + CommentSafe(key) +
                    "\" is no keyword to suppress; skipped");
                ++mResult.piecesSkipped;
                return;
            }
            mSuppressed.insert(key.front() == '*' ? std::string(key) : "*" + std::string(key));
            break;
        }
        case kInjectMailboxPath: {
            string_view path(reinterpret_cast<const char*>(piece.bytes.data()), piece.bytes.size());
            path = path.substr(0, path.find('\0'));
            mResult.mailboxPaths.emplace_back(path);
            Log("apply: mailbox path " + CommentSafe(path) + " (not written into the job)");
            break;
        }
        default:
            Log("apply: piece " + std::to_string(number) + " has the unknown site " + std::to_string(piece.site) +
                "; skipped");
            ++mResult.piecesSkipped;
            break;
        }
    }

    Fate StartLine(const Segment& segment) {
        const string_view line = segment.Content();
        if (mFirst)
            return FirstLine(segment);
        if (mSkipLines > 0) {
            --mSkipLines; // the lines of "%%BeginData: N ASCII Lines" are data
            return Pass(segment);
        }
        if (!mOpenLine.empty()) {
            // The "[{" held back: its block goes if it holds a suppressed feature.
            if (IsSuppressedBegin(line)) {
                mWrapOpen = std::move(mOpenLine);
                mOpenLine.clear();
                mRemoved = mWrapOpen;
                return StartRemoval(segment, line);
            }
            mWriter.Write(mOpenLine);
            mOpenLine.clear();
        }
        if (!mWrapOpen.empty() && !mRemoving) {
            // After a removed wrapped block: its closing line goes with it.
            // Anything else belongs inside the "[{", which then stays.
            if (IsWrapCloser(line)) {
                mWrapOpen.clear();
                return Fate::kDrop;
            }
            mWriter.Write(mWrapOpen);
            mWrapOpen.clear();
        }
        if (mRemoving) {
            if (IsComment(line, "%%EndFeature")) {
                mRemoving = false;
                mRemoved.clear();
                ++mResult.featuresRemoved;
                Log("apply: removed the job's feature code for " + mRemovedKey);
                return Fate::kDrop; // a wrapped block still waits for its closing line
            }
            if (!IsSectionComment(line))
                return Keep(segment);
            AbortRemoval(CommentSafe(line.substr(0, 64)));
        }
        return Structure(segment, line);
    }

    Fate FirstLine(const Segment& segment) {
        mFirst = false;
        const string_view line = segment.Content();
        if (!StartsWith(line, "%!")) {
            mRefused = true;
            return Fate::kDrop;
        }
        mResult.structured = StartsWith(line, "%!PS-Adobe-");
        if (mResult.structured)
            mPhase = Phase::kHeader;
        else
            mPrependAfterLine = true; // no structure to follow: everything right after this line
        return Pass(segment);
    }

    /// A line at the top level outside removal: the structure comments.
    Fate Structure(const Segment& segment, string_view line) {
        // Most lines of a job are code: only comments and "[{" matter, and
        // just after the prolog any line does.
        if (mPhase != Phase::kHeader && mPhase != Phase::kAfterProlog && !line.empty() && line[0] != '%' &&
            line[0] != '[' && !IsBlank(line[0]))
            return Pass(segment);
        if (mPhase == Phase::kHeader) {
            if (IsComment(line, "%%EndComments")) {
                PlaceHeader();
                mPhase = Phase::kBeforeSetup;
                return Pass(segment);
            }
            if (!EndsHeader(line))
                return Pass(segment);
            PlaceHeader();
            mPhase = Phase::kBeforeSetup;
        }
        if (mDepth > 0) {
            // An embedded document goes through untouched; only its nesting
            // and its data sections are followed.
            if (IsComment(line, "%%BeginDocument"))
                ++mDepth;
            else if (IsComment(line, "%%EndDocument"))
                --mDepth;
            else
                NoteData(line);
            return Pass(segment);
        }
        switch (mPhase) {
        case Phase::kBeforeSetup:
            if (IsComment(line, "%%BeginSetup")) {
                mPhase = Phase::kSetup;
                return Pass(segment);
            }
            if (IsComment(line, "%%EndProlog")) {
                mPhase = Phase::kAfterProlog;
                return Pass(segment);
            }
            if (StartsPages(line))
                CreateSetup();
            break;
        case Phase::kAfterProlog:
            if (IsBlankLine(line))
                return Pass(segment);
            if (IsComment(line, "%%BeginSetup")) {
                mPhase = Phase::kSetup;
                return Pass(segment);
            }
            CreateSetup();
            break;
        case Phase::kSetup:
            if (IsComment(line, "%%EndSetup")) {
                PlaceSetupCode();
                mAfterSetupAfterLine = true;
                mPhase = Phase::kBody;
                return Pass(segment);
            }
            if (StartsPages(line)) {
                Log("apply: the setup section has no %%EndSetup before the pages; one is written");
                CloseSetup();
            }
            break;
        case Phase::kHeader:
        case Phase::kBody: break;
        }

        if (IsComment(line, "%%BeginDocument")) {
            ++mDepth;
            return Pass(segment);
        }
        if (segment.lineEnd && Trim(line) == "[{" && !mSuppressed.empty()) {
            mOpenLine.assign(segment.bytes); // decided by the next line
            return Fate::kDrop;
        }
        if (IsSuppressedBegin(line))
            return StartRemoval(segment, line);
        if (IsComment(line, "%%IncludeFeature:") && mSuppressed.count(FirstArgument(line, "%%IncludeFeature:"))) {
            ++mResult.featuresRemoved;
            Log("apply: removed the job's %%IncludeFeature for " +
                CommentSafe(FirstArgument(line, "%%IncludeFeature:")));
            return Fate::kDrop;
        }
        NoteData(line);
        return Pass(segment);
    }

    bool IsSuppressedBegin(string_view line) const {
        return !mSuppressed.empty() && IsComment(line, "%%BeginFeature:") &&
               mSuppressed.count(FirstArgument(line, "%%BeginFeature:")) != 0;
    }

    Fate StartRemoval(const Segment& segment, string_view line) {
        mRemoving = true;
        mRemovedKey = CommentSafe(FirstArgument(line, "%%BeginFeature:"));
        return Keep(segment);
    }

    /// Holds a segment of a block being removed, until its end shows that
    /// the removal is sound; a block too long to hold is kept in the job.
    Fate Keep(const Segment& segment) {
        if (mRemoved.size() + segment.bytes.size() > kMaxRemovedFeatureBytes) {
            Log("apply: the feature block of " + mRemovedKey + " is longer than " +
                std::to_string(kMaxRemovedFeatureBytes) + " bytes; it is kept");
            mWriter.Write(mRemoved);
            mWriter.Write(segment.bytes);
            mRemoved.clear();
            mWrapOpen.clear();
            mRemoving = false;
            return Fate::kPass;
        }
        mRemoved.append(segment.bytes);
        return Fate::kKeep;
    }

    /// A block without its "%%EndFeature": nothing of it is removed.
    void AbortRemoval(const std::string& where) {
        Log("apply: the feature block of " + mRemovedKey + " has no %%EndFeature before " + where + "; it is kept");
        mWriter.Write(mRemoved);
        mRemoved.clear();
        mWrapOpen.clear();
        mRemoving = false;
    }

    void Continue(const Segment& segment) {
        switch (mFate) {
        case Fate::kPass: mWriter.Write(segment.bytes); break;
        case Fate::kDrop: break;
        case Fate::kKeep:
            if (mRemoving)
                mFate = Keep(segment);
            else
                mWriter.Write(segment.bytes); // the removal was given up on this line
            break;
        }
    }

    void EndLine(const Segment& segment) {
        if (mEol.empty() && !segment.LineEnd().empty())
            mEol = std::string(segment.LineEnd());
        FinishLine();
    }

    /// What waits for the end of the current line.
    void FinishLine() {
        if (mPrependAfterLine) {
            mPrependAfterLine = false;
            PlaceHeader();
            CreateSetup();
        }
        if (mAfterSetupAfterLine) {
            mAfterSetupAfterLine = false;
            PlaceAfterSetup();
        }
        if (mPendingRawBytes) {
            mRawBytes = *mPendingRawBytes;
            mPendingRawBytes.reset();
        }
    }

    Fate Pass(const Segment& segment) {
        mWriter.Write(segment.bytes);
        return Fate::kPass;
    }

    /// Data sections are passed on without looking at them: binary data may
    /// hold anything, lines that look like comments included.
    void NoteData(string_view line) {
        std::uint64_t count = 0;
        if (IsComment(line, "%%BeginBinary:")) {
            if (ParseCount(FirstArgument(line, "%%BeginBinary:"), count) && count > 0)
                mPendingRawBytes = count;
            return;
        }
        if (!IsComment(line, "%%BeginData:"))
            return;
        // %%BeginData: numberof [ type [ Bytes | Lines ] ]
        string_view rest = line.substr(std::strlen("%%BeginData:"));
        string_view words[3];
        for (string_view& word : words) {
            rest = Trim(rest);
            std::size_t end = 0;
            while (end < rest.size() && !IsBlank(rest[end]))
                ++end;
            word = rest.substr(0, end);
            rest.remove_prefix(end);
        }
        if (!ParseCount(words[0], count) || count == 0)
            return;
        if (words[2] == "Lines")
            mSkipLines = count;
        else
            mPendingRawBytes = count;
    }

    string_view Eol() const { return mEol.empty() ? string_view("\n") : string_view(mEol); }

    void EnsureLineStart() {
        if (!mWriter.AtLineStart())
            mWriter.Write(Eol());
    }

    /// A piece as it stands, on lines of its own.
    void WritePlain(const InjectionPiece& piece) {
        ++mResult.piecesPlaced;
        if (piece.bytes.empty())
            return;
        EnsureLineStart();
        mWriter.Write(string_view(reinterpret_cast<const char*>(piece.bytes.data()), piece.bytes.size()));
        EnsureLineStart();
    }

    /// Feature code wrapped as the printing system wraps the PPD's own, so
    /// that code a printer does not take cannot end the job.
    void WriteWrapped(const InjectionPiece& piece) {
        ++mResult.piecesPlaced;
        if (piece.bytes.empty())
            return;
        EnsureLineStart();
        mWriter.Write("[{");
        mWriter.Write(Eol());
        mWriter.Write(string_view(reinterpret_cast<const char*>(piece.bytes.data()), piece.bytes.size()));
        EnsureLineStart();
        mWriter.Write("} stopped cleartomark");
        mWriter.Write(Eol());
    }

    void PlaceHeader() {
        if (mHeaderPlaced)
            return;
        mHeaderPlaced = true;
        for (const InjectionPiece* piece : mHeader)
            WritePlain(*piece);
    }

    /// Feature code, then the page size, so that the ticket's page size is
    /// the last page-device request of the setup.
    void PlaceSetupCode() {
        if (mSetupPlaced)
            return;
        mSetupPlaced = true;
        for (const InjectionPiece* piece : mFeature)
            WriteWrapped(*piece);
        for (const InjectionPiece* piece : mPageSize)
            WriteWrapped(*piece);
    }

    void PlaceAfterSetup() {
        if (mAfterSetupPlaced)
            return;
        mAfterSetupPlaced = true;
        for (const InjectionPiece* piece : mAfterSetup)
            WritePlain(*piece);
    }

    bool HasSetupPieces() const { return !mFeature.empty() || !mPageSize.empty() || !mAfterSetup.empty(); }

    /// The setup section ends here without its own "%%EndSetup": one is
    /// written when the ticket has something to put before or after it.
    void CloseSetup() {
        mPhase = Phase::kBody;
        if (!HasSetupPieces())
            return;
        PlaceSetupCode();
        EnsureLineStart();
        mWriter.Write("%%EndSetup");
        mWriter.Write(Eol());
        PlaceAfterSetup();
    }

    /// A setup section of our own, when the job has none and the ticket has
    /// something for it.
    void CreateSetup() {
        mPhase = Phase::kBody;
        if (!HasSetupPieces())
            return;
        if (mResult.structured)
            Log("apply: the job has no setup section; one is written for the ticket's feature code");
        mResult.setupCreated = true;
        EnsureLineStart();
        mWriter.Write("%%BeginSetup");
        mWriter.Write(Eol());
        CloseSetup();
    }

    JobWriter& mWriter;
    ApplyResult& mResult;

    std::vector<const InjectionPiece*> mHeader;
    std::vector<const InjectionPiece*> mFeature;
    std::vector<const InjectionPiece*> mPageSize;
    std::vector<const InjectionPiece*> mAfterSetup;
    std::set<std::string, std::less<>> mSuppressed;

    bool mFirst = true;
    bool mRefused = false;
    Phase mPhase = Phase::kBody;
    Fate mFate = Fate::kPass;
    int mDepth = 0;
    std::string mEol;

    bool mHeaderPlaced = false;
    bool mSetupPlaced = false;
    bool mAfterSetupPlaced = false;
    bool mPrependAfterLine = false;
    bool mAfterSetupAfterLine = false;

    std::uint64_t mRawBytes = 0;
    std::optional<std::uint64_t> mPendingRawBytes;
    std::uint64_t mSkipLines = 0;

    std::string mOpenLine;   ///< a "[{" line waiting for the line after it
    std::string mWrapOpen;   ///< the "[{" of a wrapped block being (or just) removed
    bool mRemoving = false;  ///< inside a feature block of a suppressed keyword
    std::string mRemoved;    ///< what the removal holds back, "[{" line first
    std::string mRemovedKey; ///< its keyword, for the log
};

} // namespace

const char* ApplyStatusText(ApplyStatus status) {
    switch (status) {
    case ApplyStatus::kApplied: return "applied";
    case ApplyStatus::kNotPostScript: return "not a PostScript job (it does not start with %!)";
    case ApplyStatus::kReadFailed: return "the job cannot be read";
    case ApplyStatus::kWriteFailed: return "the output cannot be written";
    }
    return "unknown status";
}

ApplyResult ApplyTicket(std::span<const InjectionPiece> pieces, std::istream& job, std::ostream& out,
                        const ApplyOptions& options) {
    ApplyResult result;
    if (!job.good() || !job.rdbuf()) {
        result.status = ApplyStatus::kReadFailed;
        return result;
    }
    if (!out.good() || !out.rdbuf()) {
        result.status = ApplyStatus::kWriteFailed;
        return result;
    }
    JobReader reader(*job.rdbuf(), std::max(options.bufferBytes, kMinApplyBufferBytes));
    JobWriter writer(*out.rdbuf());
    Applier applier(pieces, writer, result);

    Segment segment;
    bool any = false;
    while (!writer.Failed()) {
        const std::uint64_t raw = applier.RawWanted();
        if (!(raw > 0 ? reader.NextRaw(raw, segment) : reader.Next(segment)))
            break;
        any = true;
        if (raw > 0) {
            applier.Raw(segment);
            continue;
        }
        applier.Take(segment);
        if (applier.Refused())
            break;
    }
    result.bytesRead = reader.BytesRead();
    if (!any || applier.Refused()) {
        result.status = ApplyStatus::kNotPostScript;
        result.piecesPlaced = 0;
        return result;
    }
    if (!writer.Failed())
        applier.Finish();
    if (out.rdbuf()->pubsync() != 0 || writer.Failed()) {
        out.setstate(std::ios::badbit);
        result.status = ApplyStatus::kWriteFailed;
    }
    result.bytesWritten = writer.Written();
    return result;
}

} // namespace kelvo::output
