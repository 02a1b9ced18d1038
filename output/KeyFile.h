// The key file: the credentials master key and the note-encryption keys.
#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "output/UserAuth.h"

namespace kelvo::output {

/// Where the keys live when neither the caller nor KELVO_KEYS names a file.
inline constexpr std::string_view kDefaultKeyFile = "/etc/kelvo/keys";
/// The environment variable that names another key file (tests, sites
/// that keep their keys elsewhere).
inline constexpr std::string_view kKeyFileVariable = "KELVO_KEYS";
/// Largest key file read: a full one is eight short lines.
inline constexpr std::size_t kMaxKeyFileBytes = 64u << 10;
/// Numbers of the note keys, "note2" to "note7" (a PPD's "*UseSpecialKey").
inline constexpr int kFirstNoteKey = 2;
inline constexpr int kLastNoteKey = 7;

/// The keys a file gave. A file need not hold all of them; a missing one
/// is an error only where it is used.
struct KeySet {
    std::optional<Key256> master;
    std::array<std::optional<Key256>, kLastNoteKey - kFirstNoteKey + 1> notes;

    /// Key "noteN" for N in 2..7, or null when N is out of range or the
    /// file has no such key.
    const Key256* Note(int number) const;
};

/// What went wrong: the file, the line (0: the file as a whole) and why.
struct KeyFileError {
    std::string file;
    int line = 0;
    std::string reason;

    /// "FILE:LINE: REASON", or "FILE: REASON" without a line.
    std::string Text() const;
};

/// The key file to use: `given` when not empty (a --key-file option), else
/// $KELVO_KEYS when set and not empty, else /etc/kelvo/keys.
std::filesystem::path KeyFilePath(std::string_view given = {});

/// Parses key-file text. One key per line: NAME, white space, 64 hex
/// digits (either case). NAME is "master" or "note2".."note7", each at most
/// once. "#" starts a comment that runs to the end of the line; blank lines
/// and white space around the fields are fine. `file` only names the text
/// in errors. On failure `keys` is left unchanged.
bool ParseKeyFile(std::string_view text, std::string_view file, KeySet& keys, KeyFileError& error);

/// Reads and parses the key file at `path`. Refused before parsing: a file
/// that is not a regular file, is writable by its group or by others, is
/// owned by neither root nor the effective user, or is larger than
/// kMaxKeyFileBytes. Symbolic links are followed; the checks apply to the
/// file they lead to.
bool LoadKeyFile(const std::filesystem::path& path, KeySet& keys, KeyFileError& error);

/// LoadKeyFile(KeyFilePath(given)).
bool LoadKeys(std::string_view given, KeySet& keys, KeyFileError& error);

} // namespace kelvo::output
