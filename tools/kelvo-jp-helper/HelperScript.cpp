// The job-properties helper's script: parsing the file and applying its settings to a settings list.
#include "HelperScript.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <cwchar>

#include "util/FileDescriptor.h"

namespace kelvo::jphelper {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view SkipBlanks(std::string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    return text;
}

/// The leading word of `text` (up to a blank or the end); `text` keeps what
/// follows it.
std::string_view TakeWord(std::string_view& text) {
    std::size_t end = 0;
    while (end < text.size() && !IsBlank(text[end]))
        ++end;
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end);
    return word;
}

/// `text` as wide text in the thread's locale; nothing when a byte
/// sequence is no character of it (or a character is cut off at the end).
std::optional<std::wstring> Widen(std::string_view text) {
    std::wstring wide;
    std::mbstate_t state{};
    while (!text.empty()) {
        wchar_t c = 0;
        const std::size_t used = std::mbrtowc(&c, text.data(), text.size(), &state);
        if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2) || used == 0)
            return std::nullopt; // a NUL never reaches here: the caller refuses it first
        wide += c;
        text.remove_prefix(used);
    }
    return wide;
}

/// One command line (not blank, not a comment) into `script`; false with
/// `message` set when it is not a command we know, well formed.
bool ParseCommand(std::string_view rest, HelperScript& script, bool& statusSeen, std::string& message) {
    const std::string_view command = TakeWord(rest);
    if (command == "set") {
        rest = SkipBlanks(rest);
        const std::string_view key = TakeWord(rest);
        if (key.empty()) {
            message = "\"set\" needs a key";
            return false;
        }
        // One blank ends the key; whatever follows is the value, blanks
        // included, so a value may start or end with blanks.
        if (!rest.empty())
            rest.remove_prefix(1);
        const std::optional<std::wstring> wideKey = Widen(key);
        const std::optional<std::wstring> wideValue = Widen(rest);
        if (!wideKey || !wideValue) {
            message = "not valid text in the locale's character set";
            return false;
        }
        script.settings.push_back({*wideKey, *wideValue});
        return true;
    }
    if (command == "status") {
        rest = SkipBlanks(rest);
        const std::string_view number = TakeWord(rest);
        long status = 0;
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), status);
        if (number.empty() || error != std::errc() || end != number.data() + number.size() ||
            !SkipBlanks(rest).empty()) {
            message = "\"status\" needs one whole number";
            return false;
        }
        if (status < kMinScriptStatus || status > kMaxScriptStatus || status == -1) {
            message = "status " + std::string(number) + " is outside " + std::to_string(kMinScriptStatus) + ".." +
                      std::to_string(kMaxScriptStatus) + " or is -1 (the mark of a window still open)";
            return false;
        }
        if (statusSeen) {
            message = "a second \"status\" line";
            return false;
        }
        statusSeen = true;
        script.status = status;
        return true;
    }
    message = "unknown command \"" + std::string(command.substr(0, 40)) + "\" (expected \"set\" or \"status\")";
    return false;
}

} // namespace

std::string_view TakeScriptLine(std::string_view& text, std::size_t& line) {
    ++line;
    const std::size_t newline = text.find('\n');
    std::string_view current = text.substr(0, newline);
    text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
    if (current.ends_with('\r'))
        current.remove_suffix(1);
    return current;
}

std::optional<HelperScript> ParseHelperScript(std::string_view text, std::size_t& line, std::string& message) {
    HelperScript script;
    bool statusSeen = false;
    line = 0;
    while (!text.empty()) {
        const std::string_view current = TakeScriptLine(text, line);
        if (current.find('\0') != std::string_view::npos) {
            message = "a NUL byte inside the line";
            return std::nullopt;
        }
        const std::string_view rest = SkipBlanks(current);
        if (rest.empty() || rest.front() == '#')
            continue;
        if (!ParseCommand(rest, script, statusSeen, message))
            return std::nullopt;
    }
    return script;
}

std::optional<HelperScript> ReadHelperScript(const std::filesystem::path& path, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        error = path.string() + ": " + std::strerror(errno);
        return std::nullopt;
    }
    std::string text;
    const int status = ReadAllUpTo(fd, kMaxScriptBytes, text);
    ::close(fd);
    if (status != 0) {
        error = path.string() + ": " +
                (status == EFBIG ? "larger than " + std::to_string(kMaxScriptBytes) + " bytes" : std::strerror(status));
        return std::nullopt;
    }
    std::size_t line = 0;
    std::string message;
    std::optional<HelperScript> script = ParseHelperScript(text, line, message);
    if (!script)
        error = path.string() + ":" + std::to_string(line) + ": " + message;
    return script;
}

void ApplyHelperScript(const HelperScript& script, panel::SDMKeyValueList& list) {
    for (const panel::SDMKeyValue& setting : script.settings) {
        bool found = false;
        for (panel::SDMKeyValue& entry : list.entries) {
            if (entry.key == setting.key) {
                entry.value = setting.value;
                found = true;
                break;
            }
        }
        if (!found)
            list.entries.push_back(setting);
    }
}

} // namespace kelvo::jphelper
