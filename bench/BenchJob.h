// What the job benchmarks share: a generated PostScript job as pstops writes
// it, a timed child process with its peak memory, and the median of runs.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

extern char** environ;

#include "output/JobTicket.h"

namespace kelvobench {

/// A job as pstops writes it: header, prolog, a setup with wrapped and bare
/// feature code, then pages of short drawing lines with a line of image
/// data each, and now and then an embedded document. About `bytes` long.
inline bool WriteJob(const std::filesystem::path& path, std::uint64_t bytes) {
    std::ofstream out(path, std::ios::binary);
    out << "%!PS-Adobe-3.0\n%%Title: generated\n%%Creator: kelvo-bench\n%%Pages: (atend)\n%%EndComments\n"
           "%%BeginProlog\n/F { /Helvetica findfont exch scalefont setfont } bind def\n%%EndProlog\n"
           "%%BeginSetup\n[{\n%%BeginFeature: *Duplex DuplexNoTumble\n<</Duplex true>> setpagedevice\n"
           "%%EndFeature\n} stopped cleartomark\n%%BeginFeature: *InputSlot Tray2\n%%EndFeature\n%%EndSetup\n";
    const std::string image(2048, 'A');
    std::uint64_t page = 0;
    while (static_cast<std::uint64_t>(out.tellp()) < bytes && out) {
        ++page;
        out << "%%Page: " << page << ' ' << page << "\n%%BeginPageSetup\n%%EndPageSetup\n12 F\n";
        for (int line = 0; line < 60; ++line)
            out << "72 " << 700 - line * 10 << " moveto (Line " << line << " of page " << page << ") show\n";
        out << "<" << image << ">\n";
        if (page % 100 == 0)
            out << "save\n%%BeginDocument: inner.eps\n%!PS-Adobe-3.0 EPSF-3.0\n%%BeginSetup\n"
                   "%%BeginFeature: *Duplex None\n%%EndFeature\n%%EndSetup\n%%EndDocument\nrestore\n";
        out << "showpage\n";
    }
    out << "%%Trailer\n%%Pages: " << page << "\n%%EOF\n";
    return static_cast<bool>(out);
}

struct Run {
    double seconds = 0;    ///< wall time
    double cpuSeconds = 0; ///< user and system time of the child
    long maxRssKiB = 0;    ///< the child's peak resident memory
    int status = -1;       ///< exit status, -1 when it did not start or exit normally
};

/// Runs `argv` (looked up in PATH) with standard output sent to
/// `stdoutPath` (if any, created or truncated), standard input from
/// `stdinPath` (if any) and standard error to /dev/null; its wall time, CPU
/// time and peak memory.
inline Run Spawn(const std::vector<std::string>& argv, const std::string& stdoutPath = "",
                 const std::string& stdinPath = "") {
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!stdinPath.empty())
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, stdinPath.c_str(), O_RDONLY, 0);
    if (!stdoutPath.empty())
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    Run run;
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return run;
    }
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.maxRssKiB = usage.ru_maxrss;
    run.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                     static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    posix_spawn_file_actions_destroy(&actions);
    return run;
}

inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// The ticket both job benchmarks apply: a piece at every site the applier
/// places, and a suppression.
inline std::vector<kelvo::output::InjectionPiece> BenchTicket() {
    const auto bytes = [](std::string_view text) { return std::vector<std::uint8_t>(text.begin(), text.end()); };
    return {
        {-9, bytes("*Duplex")},
        {81, bytes("%%BeginFeature: *QJStaple One\n%%EndFeature\n")},
        {70, bytes("%%BeginFeature: *PageSize A4\n<</PageSize [595 842]>> setpagedevice\n%%EndFeature\n")},
        {71, bytes("%%EndKelvoPreparse1: True\n")},
        {501, bytes("%%QJVDriver\n")},
        {30, bytes("%%QJVCustom1: bench\n")},
    };
}

} // namespace kelvobench
