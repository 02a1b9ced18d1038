// Reading strings tables: a small, defensive reader of `"key" = "value";` files.
#include "platform/StringsTable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "util/FileDescriptor.h"
#include "util/Log.h"

namespace kelvo::platform {

namespace {

/// Log lines one file may produce; a file of garbage says the rest in one
/// summary line instead of flooding the log.
constexpr int kMaxLoggedProblems = 20;

bool IsHex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

unsigned HexValue(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    return static_cast<unsigned>(c - 'A' + 10);
}

void AppendUTF8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

/// Whether `text` is well-formed UTF-8: no overlong forms, no surrogates,
/// nothing beyond U+10FFFF.
bool IsValidUTF8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        char32_t code = 0;
        char32_t least = 0;
        if (lead < 0x80) {
            ++i;
            continue;
        } else if ((lead & 0xE0) == 0xC0) {
            length = 2, code = lead & 0x1F, least = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3, code = lead & 0x0F, least = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4, code = lead & 0x07, least = 0x10000;
        } else {
            return false;
        }
        if (text.size() - i < length)
            return false;
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80)
                return false;
            code = (code << 6) | (next & 0x3F);
        }
        if (code < least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            return false;
        i += length;
    }
    return true;
}

/// One pass over a strings file. Each method that reads a piece either
/// succeeds and moves past it, or sets `problem` and leaves the position
/// where the fault is, from which the caller skips to the line's end.
class StringsReader {
public:
    StringsReader(std::string_view text, std::string_view origin) : mText(text), mOrigin(origin) {}

    void Run(std::map<std::string, std::string, std::less<>>& entries) {
        if (mText.starts_with("\xEF\xBB\xBF"))
            mPos = 3;
        else if (mText.starts_with("\xFF\xFE") || mText.starts_with("\xFE\xFF")) {
            Report("UTF-16 text is not read; save the file as UTF-8", mLine);
            Finish();
            return;
        }
        while (SkipSpaceAndComments()) {
            std::string key;
            std::string value;
            const int entryLine = mLine;
            if (ReadEntry(key, value)) {
                entries[std::move(key)] = std::move(value);
                continue;
            }
            Report(mProblem, entryLine);
            // A fault found on a later line than the entry began (a missing
            // ";") stands at the start of what may be the next entry: go on
            // from there rather than lose that line too.
            if (mLine == entryLine)
                SkipLine();
        }
        Finish();
    }

private:
    bool AtEnd() const { return mPos >= mText.size(); }
    char Peek() const { return mText[mPos]; }

    /// Moves past blanks, line ends and comments. False at the end of the
    /// text (or in an unclosed comment, which is reported).
    bool SkipSpaceAndComments() {
        while (!AtEnd()) {
            const char c = Peek();
            if (c == '\n') {
                ++mLine;
                ++mPos;
            } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
                ++mPos;
            } else if (mText.substr(mPos).starts_with("//")) {
                SkipLine();
            } else if (mText.substr(mPos).starts_with("/*")) {
                const std::size_t close = mText.find("*/", mPos + 2);
                if (close == std::string_view::npos) {
                    Report("comment not closed", mLine);
                    mPos = mText.size();
                    return false;
                }
                for (std::size_t i = mPos; i < close; ++i)
                    mLine += mText[i] == '\n';
                mPos = close + 2;
            } else {
                return true;
            }
        }
        return false;
    }

    void SkipLine() {
        const std::size_t end = mText.find('\n', mPos);
        mPos = end == std::string_view::npos ? mText.size() : end;
    }

    bool Fail(const char* why) {
        mProblem = why;
        return false;
    }

    bool ReadEntry(std::string& key, std::string& value) {
        if (Peek() != '"')
            return Fail("expected a quoted key");
        if (!ReadString(key))
            return false;
        if (!SkipSpaceAndComments())
            return Fail("entry not ended by \";\"");
        if (Peek() == ';') {
            ++mPos;
            value = key;
            return true;
        }
        if (Peek() != '=')
            return Fail("expected \"=\" after the key");
        ++mPos;
        if (!SkipSpaceAndComments() || Peek() != '"')
            return Fail("expected a quoted value after \"=\"");
        if (!ReadString(value))
            return false;
        if (!SkipSpaceAndComments() || Peek() != ';')
            return Fail("entry not ended by \";\"");
        ++mPos;
        return true;
    }

    /// Four hex digits after "\U" at mPos; moves past them.
    std::optional<char32_t> ReadHexUnit() {
        if (mText.size() - mPos < 4)
            return std::nullopt;
        char32_t unit = 0;
        for (int k = 0; k < 4; ++k) {
            const char c = mText[mPos + static_cast<std::size_t>(k)];
            if (!IsHex(c))
                return std::nullopt;
            unit = (unit << 4) | HexValue(c);
        }
        mPos += 4;
        return unit;
    }

    /// A quoted string at mPos (on its opening quote), escapes resolved.
    bool ReadString(std::string& out) {
        ++mPos;
        out.clear();
        while (true) {
            if (AtEnd() || Peek() == '\n')
                return Fail("string not closed on its line");
            const char c = mText[mPos++];
            if (c == '"')
                break;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (AtEnd())
                return Fail("string not closed on its line");
            const char escape = mText[mPos++];
            switch (escape) {
            case '"': out += '"'; break;
            case '\\': out += '\\'; break;
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case 'r': out += '\r'; break;
            case 'U':
            case 'u': {
                const std::optional<char32_t> unit = ReadHexUnit();
                if (!unit)
                    return Fail("\\U needs four hexadecimal digits");
                char32_t code = *unit;
                if (code >= 0xDC00 && code <= 0xDFFF)
                    return Fail("\\U low surrogate without its high one");
                if (code >= 0xD800 && code <= 0xDBFF) {
                    if (mText.size() - mPos < 2 || mText[mPos] != '\\' ||
                        (mText[mPos + 1] != 'U' && mText[mPos + 1] != 'u'))
                        return Fail("\\U high surrogate without its low one");
                    mPos += 2;
                    const std::optional<char32_t> low = ReadHexUnit();
                    if (!low || *low < 0xDC00 || *low > 0xDFFF)
                        return Fail("\\U high surrogate without its low one");
                    code = 0x10000 + ((code - 0xD800) << 10) + (*low - 0xDC00);
                }
                if (code == 0)
                    return Fail("\\U0000 would end the text early");
                AppendUTF8(out, code);
                break;
            }
            default:
                --mPos;
                return Fail("unknown escape");
            }
        }
        if (out.find('\0') != std::string::npos)
            return Fail("NUL byte in a string");
        if (!IsValidUTF8(out))
            return Fail("string is not UTF-8");
        return true;
    }

    void Report(const std::string& why, int line) {
        ++mProblems;
        if (mProblems <= kMaxLoggedProblems)
            Log(std::string(mOrigin) + ":" + std::to_string(line) + ": " + why + "; entry skipped");
    }

    void Finish() {
        if (mProblems > kMaxLoggedProblems)
            Log(std::string(mOrigin) + ": " + std::to_string(mProblems - kMaxLoggedProblems) +
                " more bad entries skipped");
    }

    std::string_view mText;
    std::string_view mOrigin;
    std::size_t mPos = 0;
    int mLine = 1;
    int mProblems = 0;
    std::string mProblem;
};

/// Reads a whole strings file of at most kMaxStringsFileBytes. False with a
/// log line when it cannot be read; false silently when it does not exist.
bool ReadStringsFile(const std::filesystem::path& path, std::string& text) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        if (errno != ENOENT && errno != ENOTDIR)
            Log(path.string() + ": " + std::strerror(errno));
        return false;
    }
    // A FIFO or device would block or never end; only plain files count.
    struct stat info {};
    int status = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) ? 0 : EINVAL;
    if (status == 0)
        status = ReadAllUpTo(fd, kMaxStringsFileBytes, text);
    close(fd);
    if (status != 0) {
        Log(path.string() + ": " + (status == EFBIG ? std::string("larger than 1 MiB, not read")
                                                     : status == EINVAL ? std::string("not a regular file")
                                                                        : std::string(std::strerror(status))));
        return false;
    }
    return true;
}

/// Letters, digits, "_" and "-" only: a language name becomes a folder name.
bool IsLanguageName(std::string_view name) {
    if (name.empty() || name.size() > 32)
        return false;
    for (char c : name) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                        c == '-';
        if (!ok)
            return false;
    }
    return true;
}

void AddLanguage(std::vector<std::string>& out, std::string_view name) {
    if (!IsLanguageName(name))
        return;
    for (const std::string& known : out) {
        if (known == name)
            return;
    }
    out.emplace_back(name);
}

/// "de_AT.UTF-8@euro" → "de_AT", "de".
void AddLocale(std::vector<std::string>& out, std::string_view locale) {
    const std::size_t cut = locale.find_first_of(".@");
    if (cut != std::string_view::npos)
        locale = locale.substr(0, cut);
    if (locale == "C" || locale == "POSIX")
        return;
    AddLanguage(out, locale);
    const std::size_t region = locale.find('_');
    if (region != std::string_view::npos)
        AddLanguage(out, locale.substr(0, region));
}

} // namespace

StringsTable StringsTable::Parse(std::string_view text, std::string_view origin) {
    StringsTable table;
    StringsReader(text, origin).Run(table.mEntries);
    return table;
}

StringsTable StringsTable::Load(const std::filesystem::path& resources, std::string_view table,
                                const std::vector<std::string>& languages) {
    std::vector<std::string> order;
    for (const std::string& language : languages)
        AddLanguage(order, language);
    AddLanguage(order, kFallbackLanguage);

    const std::string fileName = std::string(table) + ".strings";
    // The table name is ours, never the user's, but a slash would still
    // lead out of the language folder.
    if (table.empty() || table.find('/') != std::string_view::npos || table.starts_with(".")) {
        Log("strings table \"" + std::string(table) + "\": not a table name");
        return {};
    }
    for (const std::string& language : order) {
        const std::filesystem::path path = resources / (language + ".lproj") / fileName;
        std::string text;
        if (!ReadStringsFile(path, text))
            continue;
        StringsTable found = Parse(text, path.string());
        found.mSource = path;
        return found;
    }
    Log("strings table " + fileName + " not found under " + resources.string() + "; keys shown as they are");
    return {};
}

std::string StringsTable::Lookup(std::string_view key) const {
    const std::string* text = Find(key);
    return text ? *text : std::string(key);
}

const std::string* StringsTable::Find(std::string_view key) const {
    const auto it = mEntries.find(key);
    return it == mEntries.end() ? nullptr : &it->second;
}

std::vector<std::string> PreferredLanguages(const char* language, const char* lcAll, const char* lcMessages,
                                            const char* lang) {
    std::vector<std::string> out;
    if (language && *language) {
        std::string_view list(language);
        while (!list.empty()) {
            const std::size_t colon = list.find(':');
            AddLocale(out, list.substr(0, colon));
            list = colon == std::string_view::npos ? std::string_view() : list.substr(colon + 1);
        }
    }
    for (const char* locale : {lcAll, lcMessages, lang}) {
        if (locale && *locale) {
            AddLocale(out, locale);
            break;
        }
    }
    return out;
}

std::vector<std::string> PreferredLanguages() {
    return PreferredLanguages(std::getenv("LANGUAGE"), std::getenv("LC_ALL"), std::getenv("LC_MESSAGES"),
                              std::getenv("LANG"));
}

} // namespace kelvo::platform
