// Reading the key file: location, ownership and mode checks, and its lines.
#include "output/KeyFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kelvo::output {

namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::size_t kHexDigits = 64;

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

int HexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

/// The slot NAME stands for, or null for a name that is no key's.
std::optional<Key256>* Slot(KeySet& keys, std::string_view name) {
    if (name == "master")
        return &keys.master;
    if (name.size() == 5 && name.starts_with("note")) {
        const int number = name[4] - '0';
        if (number >= kFirstNoteKey && number <= kLastNoteKey)
            return &keys.notes[number - kFirstNoteKey];
    }
    return nullptr;
}

bool Refuse(KeyFileError& error, std::string_view file, int line, std::string reason) {
    error = {std::string(file), line, std::move(reason)};
    return false;
}

} // namespace

const Key256* KeySet::Note(int number) const {
    if (number < kFirstNoteKey || number > kLastNoteKey || !notes[number - kFirstNoteKey])
        return nullptr;
    return &*notes[number - kFirstNoteKey];
}

std::string KeyFileError::Text() const {
    std::string text = file;
    if (line > 0)
        text += ":" + std::to_string(line);
    return text + ": " + reason;
}

std::filesystem::path KeyFilePath(std::string_view given) {
    if (!given.empty())
        return std::filesystem::path(given);
    if (const char* env = std::getenv(std::string(kKeyFileVariable).c_str()); env && *env)
        return std::filesystem::path(env);
    return std::filesystem::path(kDefaultKeyFile);
}

bool ParseKeyFile(std::string_view text, std::string_view file, KeySet& keys, KeyFileError& error) {
    KeySet parsed;
    int lineNumber = 0;
    while (!text.empty()) {
        ++lineNumber;
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (const std::size_t hash = line.find('#'); hash != std::string_view::npos)
            line = line.substr(0, hash);
        line = Trim(line);
        if (line.empty())
            continue;

        const std::size_t gap = line.find_first_of(kBlanks);
        const std::string_view name = line.substr(0, gap);
        const std::string_view hex = gap == std::string_view::npos ? std::string_view() : Trim(line.substr(gap));
        std::optional<Key256>* slot = Slot(parsed, name);
        if (!slot)
            return Refuse(error, file, lineNumber,
                          "unknown key name \"" + std::string(name) + "\" (master, note2 .. note7)");
        if (*slot)
            return Refuse(error, file, lineNumber, "key " + std::string(name) + " given twice");
        if (hex.empty())
            return Refuse(error, file, lineNumber, "key " + std::string(name) + " has no value");
        if (hex.find_first_of(kBlanks) != std::string_view::npos)
            return Refuse(error, file, lineNumber, "more than one value after " + std::string(name));
        Key256 key{};
        for (std::size_t i = 0; i < hex.size(); ++i) {
            if (HexValue(hex[i]) < 0)
                return Refuse(error, file, lineNumber, "key " + std::string(name) + ": not a hex digit at column " +
                                                           std::to_string(hex.data() - line.data() + i + 1));
        }
        if (hex.size() != kHexDigits)
            return Refuse(error, file, lineNumber,
                          "key " + std::string(name) + " has " + std::to_string(hex.size()) +
                              " hex digits, not 64");
        for (std::size_t i = 0; i < key.size(); ++i)
            key[i] = static_cast<std::uint8_t>(HexValue(hex[2 * i]) << 4 | HexValue(hex[2 * i + 1]));
        *slot = key;
    }
    keys = parsed;
    return true;
}

bool LoadKeyFile(const std::filesystem::path& path, KeySet& keys, KeyFileError& error) {
    const std::string shown = path.string();
    // O_NONBLOCK: opening a FIFO must not wait for a writer; it is refused
    // below as no regular file, and reads of a regular file ignore the flag.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return Refuse(error, shown, 0, std::strerror(errno));
    // The checks look at the file that was opened, not at the name again.
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    struct stat st{};
    if (::fstat(fd, &st) != 0)
        return Refuse(error, shown, 0, std::strerror(errno));
    if (!S_ISREG(st.st_mode))
        return Refuse(error, shown, 0, "not a regular file");
    // Whoever may change the keys can read every user's credentials the
    // controller receives, or make it accept theirs.
    if (st.st_mode & (S_IWGRP | S_IWOTH))
        return Refuse(error, shown, 0, "writable by group or others (chmod go-w)");
    if (st.st_uid != 0 && st.st_uid != ::geteuid())
        return Refuse(error, shown, 0, "owned by user " + std::to_string(st.st_uid) + ", neither root nor you");
    if (static_cast<std::uintmax_t>(st.st_size) > kMaxKeyFileBytes)
        return Refuse(error, shown, 0, "larger than " + std::to_string(kMaxKeyFileBytes) + " bytes");

    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return Refuse(error, shown, 0, std::strerror(errno));
        }
        if (got == 0)
            break;
        text.append(buffer, static_cast<std::size_t>(got));
        // The file may have grown since fstat.
        if (text.size() > kMaxKeyFileBytes)
            return Refuse(error, shown, 0, "larger than " + std::to_string(kMaxKeyFileBytes) + " bytes");
    }
    return ParseKeyFile(text, shown, keys, error);
}

bool LoadKeys(std::string_view given, KeySet& keys, KeyFileError& error) {
    return LoadKeyFile(KeyFilePath(given), keys, error);
}

} // namespace kelvo::output
