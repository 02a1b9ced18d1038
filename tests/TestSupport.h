// Shared helpers for the unit tests: temporary PPD files and data paths.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace kelvotest {

/// Path of a file under tests/data.
std::filesystem::path DataPath(std::string_view name);
/// Path of a file under samples/.
std::filesystem::path SamplePath(std::string_view name);

/// A file in a fresh temporary directory, removed with the object.
class TempFile {
public:
    explicit TempFile(std::string_view contents, std::string_view name = "test.ppd");
    ~TempFile();
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    const std::filesystem::path& Path() const { return mPath; }
    std::string PathString() const { return mPath.string(); }

private:
    std::filesystem::path mDir;
    std::filesystem::path mPath;
};

/// Reads a whole file as bytes.
std::string ReadFile(const std::filesystem::path& path);

/// What a run of the kelvo-pde tool gave back.
struct RunResult {
    int status = -1;  ///< exit status, -1 when the tool did not exit normally
    std::string text; ///< standard output, or standard error when asked for
};

/// Runs the built kelvo-pde with `args` (no shell interpretation of them);
/// captures standard output, or with `stderrOnly` standard error.
RunResult RunTool(const std::vector<std::string>& args, bool stderrOnly = false);

/// Path of a file of the source tree (docs/, tools/...).
std::filesystem::path SourcePath(std::string_view name);

/// A run of the tool with both outputs kept apart.
struct FullRun {
    int status = -1; ///< exit status, -1 when the tool did not exit normally
    std::string out; ///< standard output
    std::string err; ///< standard error
};

/// Runs the built kelvo-pde with `args`, standard input read from
/// `stdinPath` (/dev/null when empty), capturing both outputs.
FullRun RunToolFull(const std::vector<std::string>& args, const std::string& stdinPath = "");

/// Runs a shell command line; returns its exit status (-1 when it did not
/// exit normally) and fills `out` with its standard output.
int RunShell(const std::string& command, std::string& out);

/// `text` quoted for the shell.
std::string ShellQuote(const std::string& text);

} // namespace kelvotest
