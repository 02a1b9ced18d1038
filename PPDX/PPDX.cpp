// Document base: tokenizer, header keywords, validity and reference counting.
#include "PPDX/PPDX.h"

#include <cstring>
#include <string_view>

PPDX::PPDX(const std::optional<std::filesystem::path>& path, _PARSE_OPTIONS_ options,
           std::vector<std::string> printerNames, PPDHostInfo host)
    : mErrors(std::make_unique<PPDXErrors>()),
      mAllErrorsFatal(host.allErrorsFatal),
      mPrinterNames(std::move(printerNames)),
      mParseOptions(options),
      mPath(path),
      mHost(std::move(host)) {
    if (path) {
        mFile = std::make_unique<PPDFile>(*path);
        mFileRef = PPDFileRef::FromPath(*path);
    }
}

PPDX::~PPDX() = default;

void PPDX::Release() {
    if (--mRefCount == 0)
        delete this;
}

namespace {

// Bytes that can stop a token: every byte of the parser's delimiter sets
// plus the line ends. Anything else is copied without further tests.
constexpr std::string_view kStopBytes = " \t:/|\";()\n\r";

struct StopTable {
    bool stops[256] = {};
    constexpr StopTable() {
        for (char c : kStopBytes)
            stops[static_cast<unsigned char>(c)] = true;
    }
    bool operator[](char c) const { return stops[static_cast<unsigned char>(c)]; }
};
constexpr StopTable kStops;

} // namespace

bool PPDX::NextToken(PPDStream& stream, char* out, const char* delimiters, bool strip) {
    if (!out)
        return false;
    // The delimiter sets hold at most four bytes, all of them stop bytes; a
    // line feed pads the unused slots (it ends a token anyway). Other sets
    // take the general path.
    char d[4] = {'\n', '\n', '\n', '\n'};
    if (delimiters) {
        for (int i = 0; delimiters[i]; ++i) {
            if (i == 4 || !kStops[delimiters[i]])
                return NextTokenAnySet(stream, out, delimiters, strip);
            d[i] = delimiters[i];
        }
    }

    const char* p = stream.Cursor();
    const char* const end = stream.End();
    long stored = 0;
    bool endedByLF = false;
    bool pastEnd = false;
    while (true) {
        // Copy the run up to the next stop byte in one go.
        const long room = kLineSizeLimit - 1 - stored;
        const char* const limit = end - p > room ? p + room : end;
        const char* q = p;
        while (q < limit && !kStops[*q])
            ++q;
        // An empty line's stream has no range at all: p may be null here.
        if (q != p)
            std::memcpy(out + stored, p, static_cast<std::size_t>(q - p));
        stored += q - p;
        p = q;
        if (stored == kLineSizeLimit - 1)
            break;
        if (p >= end) {
            pastEnd = true;
            break;
        }
        const char c = *p++;
        if (c == '\n') {
            endedByLF = true;
            break;
        }
        // A CR ends the line unless an LF follows; then the LF does, and the
        // CR is dropped below.
        if (c == '\r' && !(p < end && *p == '\n'))
            break;
        if (c == d[0] || c == d[1] || c == d[2] || c == d[3])
            break;
        out[stored++] = c;
    }
    stream.MoveTo(p, pastEnd);
    return FinishToken(out, stored, endedByLF, strip);
}

bool PPDX::NextTokenAnySet(PPDStream& stream, char* out, const char* delimiters, bool strip) {
    long stored = 0;
    bool endedByLF = false;
    char c;
    while (stored < kLineSizeLimit - 1) {
        if (!stream.GetChar(c))
            break;
        if (c == '\n') {
            endedByLF = true;
            break;
        }
        if (c == '\r' && stream.PeekChar() != '\n')
            break;
        if (c != '\0' && std::strchr(delimiters, c))
            break;
        out[stored++] = c;
    }
    return FinishToken(out, stored, endedByLF, strip);
}

bool PPDX::FinishToken(char* out, long stored, bool endedByLF, bool strip) {
    if (endedByLF && stored > 0 && out[stored - 1] == '\r')
        --stored;
    out[stored] = '\0';
    if (stored == 0)
        return false;
    if (strip) {
        while (stored > 0 && (out[stored - 1] == ' ' || out[stored - 1] == '\t'))
            out[--stored] = '\0';
        long lead = 0;
        while (lead < stored && (out[lead] == ' ' || out[lead] == '\t'))
            ++lead;
        if (lead)
            std::memmove(out, out + lead, static_cast<std::size_t>(stored - lead + 1));
    }
    return true;
}

bool PPDX::ReadLine(char* buf) {
    buf[0] = '\0';
    if (!mFileStream)
        return false;
    if (mFileStream->GetLine(buf)) {
        // The rest of a cut line is the same physical line.
        if (!mInCutLine)
            ++mLineNumber;
        mInCutLine = false;
        return true;
    }
    if (mFileStream->Bad()) {
        mReadFailed = true;
    } else if (!mFileStream->EndOfFile()) {
        // Stopped inside a line: 255 bytes without a line end, or a 0xFF byte.
        if (!mInCutLine) {
            ++mLineNumber;
            if (!mFirstCutLine)
                mFirstCutLine = mLineNumber;
        }
        mInCutLine = true;
    }
    return false;
}

long PPDX::GetQuotedString(PPDStream& stream, char* out, unsigned& limit) {
    if (!out || limit < 2)
        return 0;
    const long cut = static_cast<long>(limit) - 1;
    char c;
    bool opened = false;
    while (stream.GetChar(c)) {
        if (c == '"') {
            opened = true;
            break;
        }
    }
    long count = 0;
    if (opened) {
        while (stream.GetChar(c)) {
            if (c == '"') {
                out[count] = '\0';
                return count > 0 ? count + 1 : 0;
            }
            out[count++] = c;
            if (count == cut) {
                out[cut] = '\0';
                return count;
            }
        }
    }
    // The value goes on over the following lines. Each further line is
    // stored behind a NUL, so a reader of the C string sees the first line
    // only while the count covers them all.
    char line[kJoinedLineSize];
    while (true) {
        if (!ReadLine(line)) {
            out[count] = '\0';
            return 0;
        }
        if (line[0] == '\0')
            continue;
        out[count++] = '\0';
        if (count == cut) {
            out[cut] = '\0';
            return count;
        }
        if (line[0] == '*') {
            out[count] = '\0';
            return count;
        }
        for (const char* p = line; *p; ++p) {
            if (*p == '"') {
                out[count] = '\0';
                return count + 1;
            }
            out[count++] = *p;
            if (count == cut) {
                out[cut] = '\0';
                return count;
            }
        }
    }
}

long PPDX::GetPostscriptString(PPDStream& stream, char* out, unsigned& limit) {
    if (!out || limit < 2)
        return 0;
    const long cut = static_cast<long>(limit) - 1;
    char c;
    bool opened = false;
    while (stream.GetChar(c)) {
        if (c == '"') {
            opened = true;
            break;
        }
    }
    // Code must open on its statement line.
    if (!opened)
        return 0;
    long count = 0;
    bool closed = false;
    while (stream.GetChar(c)) {
        if (c == '"') {
            closed = true;
            break;
        }
        out[count++] = c;
        if (count == cut) {
            out[cut] = '\n';
            return count + 1;
        }
    }
    if (closed) {
        if (count > 0 && out[0] != '\0') {
            out[count] = '\n';
            return count + 1;
        }
        return 0;
    }
    // Continuation lines: blank ones vanish, "*%" lines carry code, and any
    // other keyword line ends the code (and is consumed with it).
    char line[kJoinedLineSize];
    bool full = false;
    while (true) {
        if (!ReadLine(line)) {
            if (full)
                return limit;
            out[count] = '\n';
            return count + 1;
        }
        if (line[0] == '\0')
            continue;
        const char* p = line;
        if (line[0] == '*') {
            if (line[1] != '%') {
                if (full)
                    return limit;
                out[count++] = '\n';
                if (count == cut) {
                    out[cut] = '\n';
                    return limit;
                }
                out[count] = '\n';
                return count + 1;
            }
            p = line + 2;
        }
        if (full) {
            // Past the limit: keep consuming the code up to its closing quote
            // so that it does not reach the statement loop.
            if (std::strchr(p, '"'))
                return limit;
            continue;
        }
        out[count++] = '\n';
        if (count == cut) {
            out[cut] = '\n';
            full = true;
            if (std::strchr(p, '"'))
                return limit;
            continue;
        }
        for (; *p; ++p) {
            if (*p == '"') {
                out[count] = '\n';
                return count + 1;
            }
            out[count++] = *p;
            if (count == cut) {
                out[cut] = '\n';
                full = true;
                break;
            }
        }
        if (full && std::strchr(p, '"'))
            return limit;
    }
}

long PPDX::ParseMainKeyword(const char* text, char* out) {
    if (!out)
        return 0;
    out[0] = '\0';
    if (!text)
        return 0;
    const char* slash = std::strchr(text, '/');
    if (slash)
        std::strcpy(out, slash + 1);
    return 0;
}

void PPDX::StripLeadingWhiteSpace(char* text) {
    if (!text)
        return;
    char* p = text;
    while (*p == ' ' || *p == '\t')
        ++p;
    if (p != text)
        std::memmove(text, p, std::strlen(p) + 1);
}

void PPDX::StripTrailingWhiteSpace(char* text) {
    if (!text)
        return;
    std::size_t n = std::strlen(text);
    while (n > 0 && (text[n - 1] == ' ' || text[n - 1] == '\t'))
        text[--n] = '\0';
}

std::string PPDX::ConvertTranslation(const char* text) const {
    if (!text)
        return {};
    if (mTextConverter)
        return mTextConverter->ConvertToCFString(text, kLineSizeLimit);
    return text;
}

bool PPDX::IsValidPPD() const {
    if (!mValid)
        return false;
    if (!mErrors)
        return true;
    if (mAllErrorsFatal)
        return mErrors->Empty();
    return !mErrors->HasFatal();
}

std::optional<CString> PPDX::RestOfLine(PPDStream& stream) {
    char token[kLineSizeLimit];
    if (!NextToken(stream, token, kEndofLineDelimiters, true))
        return std::nullopt;
    return CString(token);
}

std::optional<CString> PPDX::QuotedValue(PPDStream& stream) {
    char value[kLineSizeLimit];
    unsigned limit = kLineSizeLimit;
    long count = GetQuotedString(stream, value, limit);
    if (count <= 0)
        return std::nullopt;
    return CString(value);
}

void PPDX::RebuildTextConverter() {
    if (mLanguageVersion && mLanguageEncoding)
        mTextConverter = std::make_unique<TextConverter>(mLanguageEncoding->c_str(), mLanguageVersion->c_str());
}

PPDXErrorPtr PPDX::ParsePSKeywords(PPDStream& stream, const char* keyword) {
    struct QuotedHeader {
        const char* keyword;
        std::optional<CString> PPDX::*field;
    };
    static const QuotedHeader kQuoted[] = {
        {"*PCFileName", &PPDX::mPCFileName},   {"*FormatVersion", &PPDX::mFormatVersion},
        {"*FileVersion", &PPDX::mFileVersion}, {"*ModelName", &PPDX::mModelName},
        {"*APDialogExtension", &PPDX::mPathToPDE},
    };
    for (const auto& header : kQuoted) {
        if (TextEquals(keyword, header.keyword)) {
            this->*header.field = QuotedValue(stream);
            return nullptr;
        }
    }
    if (TextEquals(keyword, "*LanguageVersion") || TextEquals(keyword, "*LanguageEncoding")) {
        auto& field = keyword[9] == 'V' ? mLanguageVersion : mLanguageEncoding;
        field = RestOfLine(stream);
        RebuildTextConverter();
        return nullptr;
    }
    if (TextEquals(keyword, "*%QJVersion")) {
        mBaseQJVersion = RestOfLine(stream);
        return nullptr;
    }
    if (TextEquals(keyword, "*%QJVersionMac")) {
        mBasePlatformVersion = RestOfLine(stream);
        return nullptr;
    }
    return nullptr;
}
