// Whole reads and writes on file descriptors.
#include "util/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace kelvo {

int WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = write(fd, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return 0;
}

int ReadAllUpTo(int fd, std::size_t limit, std::string& bytes) {
    char buffer[65536];
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n == 0)
            return 0;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        if (bytes.size() > limit || static_cast<std::size_t>(n) > limit - bytes.size())
            return EFBIG;
        bytes.append(buffer, static_cast<std::size_t>(n));
    }
}

} // namespace kelvo
