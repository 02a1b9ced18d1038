// Temporary files and data paths for the unit tests.
#include "TestSupport.h"

#include <atomic>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

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

std::string ShellQuote(const std::string& s) {
    std::string quoted = "'";
    for (char c : s)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::filesystem::path SourcePath(std::string_view name) {
    return std::filesystem::path(KELVO_SAMPLES).parent_path() / name;
}

int RunShell(const std::string& command, std::string& out) {
    out.clear();
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return -1;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        out.append(buffer, n);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

namespace {

std::string ToolCommand(const std::vector<std::string>& args) {
    std::string command = ShellQuote(KELVO_PDE_BIN);
    for (const std::string& a : args)
        command += " " + ShellQuote(a);
    return command;
}

} // namespace

FullRun RunToolFull(const std::vector<std::string>& args, const std::string& stdinPath) {
    TempFile errFile("", "stderr.txt");
    FullRun run;
    run.status = RunShell(ToolCommand(args) + " <" + ShellQuote(stdinPath.empty() ? "/dev/null" : stdinPath) +
                              " 2>" + ShellQuote(errFile.PathString()),
                          run.out);
    run.err = ReadFile(errFile.Path());
    return run;
}

RunResult RunTool(const std::vector<std::string>& args, bool stderrOnly) {
    RunResult result;
    result.status = RunShell(ToolCommand(args) + (stderrOnly ? " 2>&1 >/dev/null" : " 2>/dev/null"), result.text);
    return result;
}

} // namespace kelvotest
