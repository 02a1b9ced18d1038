// kelvo-pde print end to end against a private print server: the
// save-for-print sequence and the submission, timed as the user waits for
// them, against `lp` of the same file to the same queue in the same run.
// The server's own work (spooling the job through the filters) runs after
// both return and is waited out between runs, untimed.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "CupsServer.h"

extern char** environ;

namespace {

/// Wall time of one run of `args` in milliseconds, its output thrown away;
/// negative when it failed.
double TimeRun(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    const auto end = std::chrono::steady_clock::now();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return std::chrono::duration<double, std::milli>(end - start).count();
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
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

    const double p = Median(print), s = Median(saveOnly), l = Median(lp);
    std::printf("median of %d runs, sample PPD, a two-page PostScript job, private cupsd on this machine\n", runs);
    std::printf("  kelvo-pde print (save for print + submit) %8.1f ms\n", p);
    std::printf("  kelvo-pde job --queue (save for print)    %8.1f ms\n", s);
    std::printf("  lp (submit alone, reference)              %8.1f ms\n", l);
    std::printf("  print / lp %.2f   print - lp %.1f ms   (target: print under 100 ms)\n", p / l, p - l);
    return p < 100 ? 0 : 2;
}
