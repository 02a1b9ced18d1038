// The physical floor both the benchmark and the memory driver measure:
// read a file through one block and count its line feeds with memchr.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <optional>

/// Lines of the file at `path`, read through `block` (`size` bytes), or
/// nullopt when it cannot be opened.
inline std::optional<std::size_t> CountLines(const char* path, char* block, std::size_t size) {
    const int fd = ::open(path, O_RDONLY);
    if (fd < 0)
        return std::nullopt;
    std::size_t lines = 0;
    ssize_t got;
    while ((got = ::read(fd, block, size)) > 0) {
        const char* p = block;
        const char* end = p + got;
        while ((p = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p))))) {
            ++lines;
            ++p;
        }
    }
    ::close(fd);
    return lines;
}
