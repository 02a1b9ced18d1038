// kelvo-apply-bench: `kelvo-pde apply` on a large generated job against `cat`
// of the same file, and the applier's peak memory on a small and a large job.
//
//   kelvo-apply-bench [--size-mb N] [--repetitions R] [--dir DIR] [--kelvo-pde PATH]
//
// Everything it writes goes into a fresh folder under DIR (default $TMPDIR or
// /tmp), removed at the end.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "output/InjectionFile.h"

#ifndef KELVO_PDE_BIN
#define KELVO_PDE_BIN "kelvo-pde"
#endif

extern char** environ;

namespace {

namespace fs = std::filesystem;
using kelvo::output::InjectionPiece;

std::vector<std::uint8_t> Bytes(std::string_view text) { return {text.begin(), text.end()}; }

/// A job as pstops writes it: header, prolog, a setup with wrapped and bare
/// feature code, then pages of short drawing lines with a line of image
/// data each, and now and then an embedded document. About `bytes` long.
bool WriteJob(const fs::path& path, std::uint64_t bytes) {
    std::ofstream out(path, std::ios::binary);
    out << "%!PS-Adobe-3.0\n%%Title: generated\n%%Creator: kelvo-apply-bench\n%%Pages: (atend)\n%%EndComments\n"
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
    long maxRssKiB = 0;
    int status = -1;
};

/// Runs `argv` with standard output sent to `stdoutPath` (if any) and
/// standard error to /dev/null; wall time and the child's peak memory.
Run Spawn(const std::vector<std::string>& argv, const std::string& stdoutPath = "") {
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
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

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Times kelvo-pde apply against cat on a generated job and measures its peak memory"};
    std::uint64_t sizeMiB = 200;
    int repetitions = 3;
    std::string dir = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp";
    std::string tool = KELVO_PDE_BIN;
    app.add_option("--size-mb", sizeMiB, "size of the large job in MiB")->check(CLI::Range(1, 100000));
    app.add_option("--repetitions", repetitions, "runs of each, the median is reported")->check(CLI::Range(1, 99));
    app.add_option("--dir", dir, "folder for the temporary files");
    app.add_option("--kelvo-pde", tool, "the kelvo-pde to measure");
    CLI11_PARSE(app, argc, argv);

    std::string pattern = (fs::path(dir) / "kelvo-apply-bench-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        std::perror(pattern.c_str());
        return 2;
    }
    const fs::path work(pattern);
    const auto cleanup = [&work] {
        std::error_code ec;
        fs::remove_all(work, ec);
    };

    // The ticket: a piece at every site the applier places, and a suppression.
    const std::vector<InjectionPiece> ticket = {
        {-9, Bytes("*Duplex")},
        {81, Bytes("%%BeginFeature: *QJStaple One\n%%EndFeature\n")},
        {70, Bytes("%%BeginFeature: *PageSize A4\n<</PageSize [595 842]>> setpagedevice\n%%EndFeature\n")},
        {71, Bytes("%%EndKelvoPreparse1: True\n")},
        {501, Bytes("%%QJVDriver\n")},
        {30, Bytes("%%QJVCustom1: bench\n")},
    };
    std::string xml;
    if (kelvo::output::SerializeInjectionList(ticket, xml) != 0) {
        std::cerr << "cannot serialise the ticket\n";
        cleanup();
        return 2;
    }
    const fs::path ticketPath = work / "Kelvo.temp";
    std::ofstream(ticketPath, std::ios::binary) << xml;

    const fs::path large = work / "large.ps", small = work / "small.ps";
    const std::uint64_t smallMiB = std::max<std::uint64_t>(1, sizeMiB / 100);
    std::cout << "writing a " << sizeMiB << " MiB job and a " << smallMiB << " MiB one in " << work << "\n";
    if (!WriteJob(large, sizeMiB << 20) || !WriteJob(small, smallMiB << 20)) {
        std::cerr << "cannot write the jobs in " << work << "\n";
        cleanup();
        return 2;
    }
    const fs::path catOut = work / "cat.out", applyOut = work / "apply.out";

    // One run of each first, so that both read the job from the page cache.
    Spawn({"cat", large.string()}, catOut.string());
    std::vector<double> catTimes, applyTimes, catCpu, applyCpu;
    long catRss = 0, applyRss = 0, smallRss = 0;
    for (int i = 0; i < repetitions; ++i) {
        const Run c = Spawn({"cat", large.string()}, catOut.string());
        const Run a = Spawn({tool, "apply", ticketPath.string(), large.string(), "-o", applyOut.string()});
        if (c.status != 0 || a.status != 0) {
            std::cerr << "a run failed: cat " << c.status << ", apply " << a.status << "\n";
            cleanup();
            return 1;
        }
        catTimes.push_back(c.seconds);
        applyTimes.push_back(a.seconds);
        catCpu.push_back(c.cpuSeconds);
        applyCpu.push_back(a.cpuSeconds);
        catRss = std::max(catRss, c.maxRssKiB);
        applyRss = std::max(applyRss, a.maxRssKiB);
    }
    const Run s = Spawn({tool, "apply", ticketPath.string(), small.string(), "-o", applyOut.string()});
    smallRss = s.maxRssKiB;

    const double catTime = Median(catTimes), applyTime = Median(applyTimes);
    const double mib = static_cast<double>(fs::file_size(large)) / (1 << 20);
    const double catCpuTime = Median(catCpu), applyCpuTime = Median(applyCpu);
    std::printf("job %.0f MiB, median of %d runs: wall time, CPU time (user + system)\n", mib, repetitions);
    std::printf("  cat        %7.3f s  %7.0f MiB/s  CPU %7.3f s  peak %6ld KiB\n", catTime, mib / catTime, catCpuTime,
                catRss);
    std::printf("  apply      %7.3f s  %7.0f MiB/s  CPU %7.3f s  peak %6ld KiB\n", applyTime, mib / applyTime,
                applyCpuTime, applyRss);
    std::printf("  apply/cat  %7.2fx                CPU %7.2fx\n", applyTime / catTime, applyCpuTime / catCpuTime);
    std::printf("peak memory of apply: %ld KiB on %llu MiB, %ld KiB on %.0f MiB\n", smallRss,
                static_cast<unsigned long long>(smallMiB), applyRss, mib);
    cleanup();
    return 0;
}
