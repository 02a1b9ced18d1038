// Substring search over raw bytes with a precomputed pattern.
#pragma once

#include <functional>
#include <string>
#include <string_view>

/// Boyer-Moore search for one pattern in many texts. The pattern is copied, so
/// the searcher outlives the caller's buffer. Texts may hold NUL bytes.
class BoyerMoore {
public:
    explicit BoyerMoore(std::string_view pattern);

    /// Position of the first occurrence in [begin, end), or nullptr. An empty
    /// pattern matches at begin.
    const char* Search(const char* begin, const char* end) const;
    /// Offset of the first occurrence at or after `from`, or npos.
    std::size_t Find(std::string_view text, std::size_t from = 0) const;
    std::size_t Length() const { return mPattern.size(); }

private:
    std::string mPattern;
    std::boyer_moore_searcher<std::string::const_iterator> mSearcher;
};

/// Replaces every non-overlapping occurrence of `from` in `text` with `to`.
std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to);
