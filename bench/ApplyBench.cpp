// kelvo-apply-bench: `kelvo-pde apply` on a large generated job against `cat`
// of the same file, and the applier's peak memory on a small and a large job.
//
//   kelvo-apply-bench [--size-mb N] [--repetitions R] [--dir DIR] [--kelvo-pde PATH]
//
// Everything it writes goes into a fresh folder under DIR (default $TMPDIR or
// /tmp), removed at the end.
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "BenchJob.h"
#include "output/InjectionFile.h"

#ifndef KELVO_PDE_BIN
#define KELVO_PDE_BIN "kelvo-pde"
#endif

namespace {

namespace fs = std::filesystem;
using kelvo::output::InjectionPiece;

using kelvobench::Median;
using kelvobench::Run;
using kelvobench::Spawn;
using kelvobench::WriteJob;

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

    const std::vector<InjectionPiece> ticket = kelvobench::BenchTicket();
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
