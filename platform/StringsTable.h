// Localised texts of the bundle: one strings table per name and language.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo::platform {

/// Largest strings file read, in bytes. Ours are a few KiB.
inline constexpr std::size_t kMaxStringsFileBytes = 1u << 20;
/// The language every bundle ships and every lookup falls back to.
inline constexpr std::string_view kFallbackLanguage = "en";

/// Keys to texts, read from a file of lines `"key" = "value";`.
///
/// The text is UTF-8 (a leading byte-order mark is skipped). Between
/// entries stand blanks, line ends and comments (`/* ... */`, `// ...`).
/// Strings are in double quotes and stay on one line; inside them `\"`,
/// `\\`, `\n`, `\t`, `\r` and `\UXXXX` (or `\uXXXX`: a UTF-16 unit in hex,
/// surrogate pairs joined) are understood. `"key";` alone gives the key
/// itself as the text. An entry that breaks these rules is skipped up to
/// its line's end, with a log line giving the file and line; a later
/// entry of the same key replaces an earlier one. A hostile file costs at
/// most its bounded size and never more.
class StringsTable {
public:
    StringsTable() = default;

    /// Parses `text`; `origin` names it in log lines.
    static StringsTable Parse(std::string_view text, std::string_view origin);

    /// The table `table` of the bundle resources at `resources` for the
    /// first of `languages` that has one (`<lang>.lproj/<table>.strings`),
    /// then for kFallbackLanguage. A table found nowhere is empty, so every
    /// lookup answers its key; that is logged once here.
    static StringsTable Load(const std::filesystem::path& resources, std::string_view table,
                             const std::vector<std::string>& languages);

    /// The text for `key`, or `key` itself when the table lacks it (the
    /// user then sees the key, which is still better than nothing).
    std::string Lookup(std::string_view key) const;
    /// The text for `key`, or null.
    const std::string* Find(std::string_view key) const;

    std::size_t Size() const { return mEntries.size(); }
    /// Every entry, ordered by key.
    const std::map<std::string, std::string, std::less<>>& Entries() const { return mEntries; }
    /// The file the table came from; empty for a parsed text or when none
    /// was found.
    const std::filesystem::path& Source() const { return mSource; }

private:
    std::map<std::string, std::string, std::less<>> mEntries;
    std::filesystem::path mSource;
};

/// The user's languages for strings lookups, most preferred first, from the
/// values of LANGUAGE (a ":" list), LC_ALL, LC_MESSAGES and LANG (the first
/// that is set and not empty, as gettext does). "de_AT.UTF-8@euro" gives
/// "de_AT" then "de"; "C" and "POSIX" give nothing. Names that are not
/// letters, digits, "_" or "-" are dropped, so a value cannot lead the
/// lookup out of the resources folder.
std::vector<std::string> PreferredLanguages(const char* language, const char* lcAll, const char* lcMessages,
                                            const char* lang);
/// PreferredLanguages over the process environment.
std::vector<std::string> PreferredLanguages();

} // namespace kelvo::platform
