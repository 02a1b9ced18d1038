// Temporary files and data paths for the unit tests.
#include "TestSupport.h"

#include <atomic>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace kelvotest {

std::filesystem::path DataPath(std::string_view name) {
    return std::filesystem::path(KELVO_TEST_DATA) / name;
}

std::filesystem::path SamplePath(std::string_view name) {
    return std::filesystem::path(KELVO_SAMPLES) / name;
}

TempFile::TempFile(std::string_view contents, std::string_view name) {
    static std::atomic<int> counter{0};
    mDir = std::filesystem::temp_directory_path() /
           ("kelvo-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(mDir);
    mPath = mDir / name;
    std::ofstream out(mPath, std::ios::binary);
    out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

TempFile::~TempFile() {
    std::error_code ec;
    std::filesystem::remove_all(mDir, ec);
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

} // namespace kelvotest
