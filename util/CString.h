// Owned 8-bit text, the storage type of every text field of the model.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// An owned, NUL-terminated byte string. Bytes are not interpreted: PPD text
/// stays in the file's encoding until TextConverter turns it into UTF-8.
/// A field that may be absent is held as std::optional<CString>.
class CString {
public:
    CString() = default;
    /// Copies a C string; a null pointer gives the empty string.
    explicit CString(const char* text) : mText(text ? text : "") {}
    CString(const char* bytes, std::size_t length) : mText(bytes, length) {}
    explicit CString(std::string text) : mText(std::move(text)) {}
    explicit CString(std::string_view text) : mText(text) {}

    const char* c_str() const { return mText.c_str(); }
    std::size_t Length() const { return mText.size(); }
    bool Empty() const { return mText.empty(); }
    std::string_view View() const { return mText; }
    const std::string& Str() const { return mText; }

    void Assign(const char* text) { mText = text ? text : ""; }
    void Append(std::string_view more) { mText.append(more); }

    bool operator==(const CString& other) const { return mText == other.mText; }
    /// Byte comparison with a C string; never equal to a null pointer.
    bool operator==(const char* text) const { return text && mText == text; }
    bool Contains(std::string_view part) const { return mText.find(part) != std::string::npos; }
    bool StartsWith(std::string_view prefix) const { return mText.compare(0, prefix.size(), prefix) == 0; }

private:
    std::string mText;
};

/// Byte equality of two C strings; false when either is null. The parser
/// tries a keyword against a chain of literals that all begin with '*', so
/// the first two bytes are compared inline before any call.
inline bool TextEquals(const char* a, const char* b) {
    if (!a || !b || a[0] != b[0])
        return false;
    return a[0] == '\0' || (a[1] == b[1] && std::strcmp(a, b) == 0);
}
/// Whether `text` begins with `prefix` (both non-null).
inline bool TextStartsWith(const char* text, const char* prefix) {
    return text && prefix && std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}
/// The collections' keyword test: equal when `exact`, else `wanted` is a part of `own`.
inline bool KeywordMatches(const char* own, const char* wanted, bool exact) {
    if (!own || !wanted)
        return false;
    return exact ? std::strcmp(own, wanted) == 0 : std::strstr(own, wanted) != nullptr;
}
