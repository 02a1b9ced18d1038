// kelvo-filter-bench: the kelvo-inject filter on a large generated job against
// `cat` of the same file, both into /dev/null, and the filter's peak memory on
// a small and a large job.
//
//   kelvo-filter-bench [--size-mb N] [--repetitions R] [--dir DIR] [--kelvo-inject PATH]
//
// The jobs go into a fresh folder under DIR (default $TMPDIR or /tmp), removed
// at the end; the ticket goes where the filter reads tickets from
// (/tmp/Kelvo.temp + a UUID), owned by the user running the benchmark, who is
// also the job's user.
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "BenchJob.h"
#include "output/InjectionFile.h"
#include "output/JobTicket.h"
#include "output/TempFiles.h"

#ifndef KELVO_INJECT_BIN
#define KELVO_INJECT_BIN "kelvo-inject"
#endif

namespace {

namespace fs = std::filesystem;
using kelvo::output::InjectionPiece;
using kelvobench::Median;
using kelvobench::Run;
using kelvobench::Spawn;

/// The targets the filter is held to.
constexpr double kMaxTimeOverCat = 3.0;
constexpr long kMaxPeakKiB = 20 << 10;

/// The filter's arguments for a job read from `job` (argv[0] is the queue).
std::vector<std::string> FilterArgs(const std::string& filter, const std::string& user, const std::string& options,
                                    const fs::path& job) {
    return {filter, "1", user, "bench", "1", options, job.string()};
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"Times the kelvo-inject filter against cat on a generated job and measures its peak memory"};
    std::uint64_t sizeMiB = 200;
    int repetitions = 3;
    std::string dir = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp";
    std::string filter = KELVO_INJECT_BIN;
    app.add_option("--size-mb", sizeMiB, "size of the large job in MiB")->check(CLI::Range(1, 100000));
    app.add_option("--repetitions", repetitions, "runs of each, the median is reported")->check(CLI::Range(1, 99));
    app.add_option("--dir", dir, "folder for the jobs");
    app.add_option("--kelvo-inject", filter, "the filter to measure");
    CLI11_PARSE(app, argc, argv);

    const passwd* me = getpwuid(geteuid());
    if (!me) {
        std::cerr << "the current user has no name; the filter needs one\n";
        return 2;
    }
    const std::string user = me->pw_name;

    std::string pattern = (fs::path(dir) / "kelvo-filter-bench-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        std::perror(pattern.c_str());
        return 2;
    }
    const fs::path work(pattern);
    const std::vector<InjectionPiece> ticket = kelvobench::BenchTicket();
    const std::string ticketPath = kelvo::output::CreateRandomFileName("/tmp/Kelvo.temp");
    const auto cleanup = [&] {
        std::error_code ec;
        fs::remove_all(work, ec);
        fs::remove(ticketPath, ec);
    };
    std::string xml;
    if (kelvo::output::SerializeInjectionList(ticket, xml) != 0 ||
        kelvo::output::CreatePrivateFile(ticketPath, xml) != 0) {
        std::cerr << "cannot write the ticket " << ticketPath << "\n";
        cleanup();
        return 2;
    }
    const std::string withTicket = std::string(kelvo::output::kInjectionFileKey) + "=" + ticketPath;

    const fs::path large = work / "large.ps", small = work / "small.ps", empty = work / "empty.ps";
    const std::uint64_t smallMiB = std::max<std::uint64_t>(1, sizeMiB / 10);
    std::cout << "writing a " << sizeMiB << " MiB job and a " << smallMiB << " MiB one in " << work << "\n";
    if (!kelvobench::WriteJob(large, sizeMiB << 20) || !kelvobench::WriteJob(small, smallMiB << 20) ||
        !kelvobench::WriteJob(empty, 0)) {
        std::cerr << "cannot write the jobs in " << work << "\n";
        cleanup();
        return 2;
    }

    // One run first, so that every run reads the job from the page cache.
    Spawn({"cat", large.string()}, "/dev/null");
    std::vector<double> catTimes, injectTimes, passTimes, catCpu, injectCpu, passCpu;
    long largeRss = 0;
    for (int i = 0; i < repetitions; ++i) {
        const Run c = Spawn({"cat", large.string()}, "/dev/null");
        const Run a = Spawn(FilterArgs(filter, user, withTicket, large), "/dev/null");
        const Run p = Spawn(FilterArgs(filter, user, "", large), "/dev/null");
        if (c.status != 0 || a.status != 0 || p.status != 0) {
            std::cerr << "a run failed: cat " << c.status << ", filter " << a.status << ", pass-through " << p.status
                      << "\n";
            cleanup();
            return 1;
        }
        catTimes.push_back(c.seconds);
        injectTimes.push_back(a.seconds);
        passTimes.push_back(p.seconds);
        catCpu.push_back(c.cpuSeconds);
        injectCpu.push_back(a.cpuSeconds);
        passCpu.push_back(p.cpuSeconds);
        largeRss = std::max(largeRss, a.maxRssKiB);
    }
    const long smallRss = Spawn(FilterArgs(filter, user, withTicket, small), "/dev/null").maxRssKiB;
    // The process with its libraries and nothing read: what the job adds is the rest.
    const long baseRss = Spawn(FilterArgs(filter, user, withTicket, empty), "/dev/null").maxRssKiB;

    const double mib = static_cast<double>(fs::file_size(large)) / (1 << 20);
    const double catTime = Median(catTimes), injectTime = Median(injectTimes), passTime = Median(passTimes);
    std::printf("job %.0f MiB into /dev/null, median of %d runs: wall time, CPU time (user + system)\n", mib,
                repetitions);
    std::printf("  cat                  %7.3f s  %7.0f MiB/s  CPU %7.3f s\n", catTime, mib / catTime,
                Median(catCpu));
    std::printf("  filter with ticket   %7.3f s  %7.0f MiB/s  CPU %7.3f s  %5.2fx cat\n", injectTime,
                mib / injectTime, Median(injectCpu), injectTime / catTime);
    std::printf("  filter, no ticket    %7.3f s  %7.0f MiB/s  CPU %7.3f s  %5.2fx cat\n", passTime, mib / passTime,
                Median(passCpu), passTime / catTime);
    std::printf("peak memory of the filter with ticket: %ld KiB on an empty job, %ld KiB on %llu MiB, %ld KiB on "
                "%.0f MiB\n",
                baseRss, smallRss, static_cast<unsigned long long>(smallMiB), largeRss, mib);
    const bool fast = injectTime <= kMaxTimeOverCat * catTime;
    const bool small_ = std::max(smallRss, largeRss) <= kMaxPeakKiB;
    std::printf("targets: time <= %.0fx cat: %s; peak <= %ld KiB: %s\n", kMaxTimeOverCat, fast ? "met" : "MISSED",
                kMaxPeakKiB, small_ ? "met" : "MISSED");
    cleanup();
    return 0;
}
