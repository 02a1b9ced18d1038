// kelvo-pde print end to end against a private print server: the
// save-for-print sequence and the submission, timed as the user waits for
// them, against `lp` of the same file to the same queue in the same run.
// The server's own work (spooling the job through the filters) runs after
// both return and is waited out between runs, untimed.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchJob.h"
#include "CupsServer.h"

namespace {

/// Wall time of one run of `args` in milliseconds; negative when it failed.
double TimeRun(const std::vector<std::string>& args) {
    const kelvobench::Run run = kelvobench::Spawn(args, "/dev/null");
    return run.status == 0 ? run.seconds * 1000 : -1;
}

} // namespace

int main(int argc, char** argv) {
    const int runs = argc > 1 ? std::max(3, std::atoi(argv[1])) : 15;
    std::string reason;
    auto server = kelvotest::CupsServer::Start(reason);
    if (!server) {
        std::fprintf(stderr, "kelvo-print-bench: cupsd did not start: %s\n", reason.c_str());
        return 1;
    }
    server->UseAsClient();
    const std::string pde = KELVO_PDE_BIN;
    const std::string job = KELVO_TEST_DATA "/jobs/two-pages.ps";
    const std::string out = (server->Root() / "bench.prn").string();
    if (TimeRun({pde, "queue", "add", "bench", "--ppd", KELVO_SAMPLES "/kelvo-sample.ppd", "--device",
                 "file://" + out}) < 0) {
        std::fprintf(stderr, "kelvo-print-bench: the queue could not be added\n");
        return 1;
    }

    std::vector<double> print, saveOnly, lp;
    const std::vector<std::string> choices = {"--set", "QJStaple=TopLeft", "--note", "Notes1=Bench"};
    for (int i = 0; i < runs; ++i) {
        std::vector<std::string> command = {pde, "print", "--queue", "bench", job};
        command.insert(command.end(), choices.begin(), choices.end());
        print.push_back(TimeRun(command));
        server->WaitForJobs();
        std::vector<std::string> save = {pde, "job", "--queue", "bench", "-o", (server->Root() / "bench.plist").string()};
        save.insert(save.end(), choices.begin(), choices.end());
        saveOnly.push_back(TimeRun(save));
        lp.push_back(TimeRun({"lp", "-d", "bench", job}));
        server->WaitForJobs();
    }
    for (const auto* series : {&print, &saveOnly, &lp})
        if (std::any_of(series->begin(), series->end(), [](double ms) { return ms < 0; })) {
            std::fprintf(stderr, "kelvo-print-bench: a run failed\n%s\n", server->ErrorLog().c_str());
            return 1;
        }

    const double p = kelvobench::Median(print), s = kelvobench::Median(saveOnly), l = kelvobench::Median(lp);
    std::printf("median of %d runs, sample PPD, a two-page PostScript job, private cupsd on this machine\n", runs);
    std::printf("  kelvo-pde print (save for print + submit) %8.1f ms\n", p);
    std::printf("  kelvo-pde job --queue (save for print)    %8.1f ms\n", s);
    std::printf("  lp (submit alone, reference)              %8.1f ms\n", l);
    std::printf("  print / lp %.2f   print - lp %.1f ms   (target: print under 100 ms)\n", p / l, p - l);
    return p < 100 ? 0 : 2;
}
