// The helper window's script: edits made through the window's editors and
// the button pressed, so the real window can be driven in its own process.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvo::jphelper {

/// One step, run in order once the window is up.
struct WindowStep {
    enum class Kind { kSet, kScreenshot, kOK, kCancel };
    Kind kind = Kind::kOK;
    std::string keyword; ///< kSet: the control keyword, with its asterisk
    std::string value;   ///< kSet: the value text; kScreenshot: the PNG path
};

/// A whole script: any "set" and "screenshot" steps, ended by exactly one
/// "ok" or "cancel" (the last step).
struct WindowScript {
    std::vector<WindowStep> steps;
};

/// Parses a script's text (UTF-8). One command a line:
///   set KEYWORD VALUE   KEYWORD is one word (an asterisk is put before it
///                       when it has none); VALUE is the rest of the line
///                       after the one blank or tab that ends it
///   screenshot PATH     grabs the window as it is then into the PNG PATH
///   ok | cancel         presses that button; the last line, once
/// Blank lines and "#" comments are skipped; a "\r" before the newline is
/// dropped. Nothing on failure, with `line` (1-based) and `message` saying
/// where and why.
std::optional<WindowScript> ParseWindowScript(std::string_view text, std::size_t& line, std::string& message);

/// Reads and parses the file; nothing on failure, with `error` a whole
/// message ("FILE:LINE: why" or "FILE: why").
std::optional<WindowScript> ReadWindowScript(const std::filesystem::path& path, std::string& error);

} // namespace kelvo::jphelper
