// The job-properties helper's script: which settings it changes and what it answers, read from a small text file.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "panel/SDMKeyValueList.h"

namespace kelvo::jphelper {

/// Lowest and highest status a script may answer: the status field has
/// room for three characters and its NUL. -1 is refused: it is the mark of
/// a window still open, and a panel handed it back would wait for ever.
inline constexpr long kMinScriptStatus = -99;
inline constexpr long kMaxScriptStatus = 999;
/// Largest script file read; a script is a handful of lines.
inline constexpr std::size_t kMaxScriptBytes = 1024 * 1024;

/// What a script asks of every request: settings to change, in the order
/// written, and the status to answer.
struct HelperScript {
    std::vector<panel::SDMKeyValue> settings;
    long status = 0;
};

/// Takes the next line off `text`, without its line end (LF or CRLF), and
/// counts it in `line`: the scripts' common reading.
std::string_view TakeScriptLine(std::string_view& text, std::size_t& line);

/// Parses a script's text. One command a line:
///   set KEY VALUE   KEY is one word; VALUE is the rest of the line after the
///                   one blank or tab that ends KEY (it may be empty or hold
///                   blanks)
///   status N        the status to answer, kMinScriptStatus..kMaxScriptStatus
///                   except -1; once per script
/// Blank lines and lines whose first non-blank character is "#" are
/// skipped; a "\r" before the newline is dropped. Texts are multibyte in
/// the thread's locale and are turned into wide text here, so a line that
/// is not valid text in that locale is an error. Nothing on failure, with
/// `line` (1-based) and `message` saying where and why.
std::optional<HelperScript> ParseHelperScript(std::string_view text, std::size_t& line, std::string& message);

/// Reads and parses the script file `path`. Nothing on failure, with
/// `error` a whole message: "FILE:LINE: why" for a bad line, "FILE: why"
/// for a file that cannot be read.
std::optional<HelperScript> ReadHelperScript(const std::filesystem::path& path, std::string& error);

/// Applies the script's settings to `list`: each replaces the value of the
/// first entry with its key, or is appended when no entry has it.
void ApplyHelperScript(const HelperScript& script, panel::SDMKeyValueList& list);

} // namespace kelvo::jphelper
