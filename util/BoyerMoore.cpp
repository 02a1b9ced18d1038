// Boyer-Moore substring search and replace-all built on it.
#include "util/BoyerMoore.h"

#include <algorithm>

BoyerMoore::BoyerMoore(std::string_view pattern)
    : mPattern(pattern), mSearcher(mPattern.cbegin(), mPattern.cend()) {}

const char* BoyerMoore::Search(const char* begin, const char* end) const {
    if (!begin || end < begin)
        return nullptr;
    if (mPattern.empty())
        return begin;
    if (static_cast<std::size_t>(end - begin) < mPattern.size())
        return nullptr;
    auto [first, last] = mSearcher(begin, end);
    return first == end ? nullptr : first;
}

std::size_t BoyerMoore::Find(std::string_view text, std::size_t from) const {
    if (from > text.size())
        return std::string::npos;
    const char* hit = Search(text.data() + from, text.data() + text.size());
    return hit ? static_cast<std::size_t>(hit - text.data()) : std::string::npos;
}

std::string ReplaceAll(std::string_view text, std::string_view from, std::string_view to) {
    if (from.empty())
        return std::string(text);
    BoyerMoore searcher(from);
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (true) {
        std::size_t hit = searcher.Find(text, pos);
        if (hit == std::string::npos)
            break;
        out.append(text.substr(pos, hit - pos));
        out.append(to);
        pos = hit + from.size();
    }
    out.append(text.substr(pos));
    return out;
}
