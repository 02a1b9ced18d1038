// Whole reads and writes on file descriptors.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kelvo {

/// Writes all of `bytes`, retrying after interruptions and short writes.
/// 0, or the errno value of the failed write.
int WriteAll(int fd, std::string_view bytes);

/// Appends what `fd` has to `bytes` until its end, but never more than
/// `limit` bytes in all: reads to the end rather than trusting a size
/// taken before, since a file may grow while it is read. 0; EFBIG when
/// there was more than `limit`; or the errno value of the failed read.
int ReadAllUpTo(int fd, std::size_t limit, std::string& bytes);

} // namespace kelvo
