// Reading the helper window's script.
#include "WindowScript.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "HelperScript.h"
#include "util/FileDescriptor.h"

namespace kelvo::jphelper {

namespace {

std::string_view TrimLeft(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    return text;
}

/// The command word and what follows the one blank or tab after it.
void SplitWord(std::string_view line, std::string_view& word, std::string_view& rest, bool& hasRest) {
    const std::size_t end = line.find_first_of(" \t");
    word = line.substr(0, end);
    hasRest = end != std::string_view::npos;
    rest = hasRest ? line.substr(end + 1) : std::string_view{};
}

} // namespace

std::optional<WindowScript> ParseWindowScript(std::string_view text, std::size_t& line, std::string& message) {
    WindowScript script;
    bool ended = false;
    line = 0;
    while (!text.empty()) {
        std::string_view current = TakeScriptLine(text, line);
        if (current.find('\0') != std::string_view::npos) {
            message = "a NUL byte";
            return std::nullopt;
        }
        current = TrimLeft(current);
        if (current.empty() || current.front() == '#')
            continue;
        if (ended) {
            message = "nothing may follow \"ok\" or \"cancel\"";
            return std::nullopt;
        }
        std::string_view word, rest;
        bool hasRest = false;
        SplitWord(current, word, rest, hasRest);
        WindowStep step;
        if (word == "set") {
            std::string_view keyword, value;
            bool hasValue = false;
            SplitWord(rest, keyword, value, hasValue);
            if (keyword.empty() || keyword == "*") {
                message = "\"set\" needs a keyword";
                return std::nullopt;
            }
            step.kind = WindowStep::Kind::kSet;
            step.keyword = keyword.front() == '*' ? std::string(keyword) : "*" + std::string(keyword);
            step.value = std::string(value);
        } else if (word == "screenshot") {
            if (!hasRest || rest.empty()) {
                message = "\"screenshot\" needs a file name";
                return std::nullopt;
            }
            step.kind = WindowStep::Kind::kScreenshot;
            step.value = std::string(rest);
        } else if ((word == "ok" || word == "cancel") && TrimLeft(rest).empty()) {
            step.kind = word == "ok" ? WindowStep::Kind::kOK : WindowStep::Kind::kCancel;
            ended = true;
        } else {
            message = "unknown command \"" + std::string(current.substr(0, 40)) + "\"";
            return std::nullopt;
        }
        script.steps.push_back(std::move(step));
    }
    if (!ended) {
        message = "the script must end with \"ok\" or \"cancel\"";
        return std::nullopt;
    }
    return script;
}

std::optional<WindowScript> ReadWindowScript(const std::filesystem::path& path, std::string& error) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        error = path.string() + ": " + std::strerror(errno);
        return std::nullopt;
    }
    std::string text;
    const int status = ReadAllUpTo(fd, kMaxScriptBytes, text);
    close(fd);
    if (status != 0) {
        error = path.string() + ": " + (status == EFBIG ? "larger than 1 MiB" : std::strerror(status));
        return std::nullopt;
    }
    std::size_t line = 0;
    std::string message;
    std::optional<WindowScript> script = ParseWindowScript(text, line, message);
    if (!script)
        error = path.string() + ":" + std::to_string(line) + ": " + message;
    return script;
}

} // namespace kelvo::jphelper
