// Starting helper programs detached, collecting them, and the poll loop's timers and watched descriptors.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/PollEventLoop.h"
#include "platform/unix/PosixProcessLauncher.h"
#include "platform/unix/UnixMessagePort.h"

using namespace std::chrono_literals;
using kelvo::platform::PollEventLoop;
using kelvo::platform::PosixProcessLauncher;
namespace fs = std::filesystem;

namespace {

/// Calls Reap until nothing is running; false after `limit`.
bool ReapAll(PosixProcessLauncher& launcher, std::chrono::milliseconds limit = 5s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (launcher.Reap(), launcher.Running() != 0) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

/// The command line of `pid`. The spawn returns once the program's image
/// replaced ours, a moment before the kernel records its arguments.
std::string CommandLine(pid_t pid) {
    std::string line;
    for (int tries = 0; tries < 500 && line.empty(); ++tries) {
        if (tries > 0)
            std::this_thread::sleep_for(2ms);
        line = kelvotest::ReadFile("/proc/" + std::to_string(pid) + "/cmdline");
    }
    return line;
}

std::string ReadLink(const fs::path& path) {
    std::error_code error;
    return fs::read_symlink(path, error).string();
}

} // namespace

TEST(ProcessLauncher, StartsAProgramAndReapsItWithoutAZombie) {
    PosixProcessLauncher launcher;
    pid_t pid = 0;
    ASSERT_EQ(launcher.Launch({"/bin/true"}, pid), 0);
    EXPECT_GT(pid, 0);
    EXPECT_EQ(launcher.Running(), 1u);
    ASSERT_TRUE(ReapAll(launcher));
    // Collected: no zombie left to wait for.
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    EXPECT_EQ(launcher.Reap(), 0u);
}

TEST(ProcessLauncher, FailuresComeBackAsErrorNumbers) {
    kelvotest::TempFile notExecutable("data", "plain.txt");
    ASSERT_EQ(chmod(notExecutable.Path().c_str(), 0644), 0);
    const struct {
        std::vector<std::string> arguments;
        int error;
    } rows[] = {
        {{"/nonexistent/QJV KD4toJP"}, ENOENT},
        {{notExecutable.PathString()}, EACCES},
        {{}, EINVAL},
        {{""}, EINVAL},
        // No search of PATH: a bare name is a file in the current folder.
        {{"true"}, ENOENT},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arguments.empty() ? "(none)" : row.arguments.front());
        PosixProcessLauncher launcher;
        pid_t pid = 0;
        EXPECT_EQ(launcher.Launch(row.arguments, pid), row.error);
        EXPECT_EQ(launcher.Running(), 0u);
    }
}

TEST(ProcessLauncher, TheProgramRunsDetachedWithItsPathAndArgumentsVerbatim) {
    // The helper's path holds blanks; quotes must not be taken as quoting.
    kelvotest::TempFile dir("", "placeholder");
    const fs::path program = dir.Path().parent_path() / "QJV KD4.4toJP \"it's\"";
    fs::create_symlink("/bin/sleep", program);

    // An inheritable descriptor of ours must not reach the helper.
    const int leaked = open("/dev/null", O_RDONLY);
    ASSERT_GE(leaked, 3);

    PosixProcessLauncher launcher;
    pid_t pid = 0;
    const int error = launcher.Launch({program.string(), "30"}, pid);
    close(leaked);
    ASSERT_EQ(error, 0);

    const fs::path proc = "/proc/" + std::to_string(pid);
    EXPECT_EQ(CommandLine(pid), program.string() + '\0' + "30" + '\0');
    EXPECT_EQ(getsid(pid), pid) << "not in a session of its own";
    std::vector<std::string> fds;
    for (const auto& entry : fs::directory_iterator(proc / "fd"))
        fds.push_back(entry.path().filename().string() + "=" + ReadLink(entry.path()));
    std::sort(fds.begin(), fds.end());
    EXPECT_EQ(fds, (std::vector<std::string>{"0=/dev/null", "1=/dev/null", "2=/dev/null"}));

    kill(pid, SIGTERM);
    EXPECT_TRUE(ReapAll(launcher));
}

TEST(PollEventLoop, OneShotTimersFireOnceInTheOrderTheyAreDue) {
    PollEventLoop loop;
    std::string fired;
    loop.InstallTimer(0.03, [&] { fired += "c"; });
    loop.InstallTimer(0.01, [&] { fired += "a"; });
    loop.InstallTimer(0.02, [&] { fired += "b"; });
    loop.InstallTimer(0, [&] { fired += "x"; });
    loop.InstallTimer(-1, [&] { fired += "y"; });
    const auto start = PollEventLoop::Clock::now();
    ASSERT_TRUE(loop.RunUntil([&] { return fired.size() == 5; }, 2s));
    EXPECT_GE(PollEventLoop::Clock::now() - start, 30ms) << "a timer fired early";
    loop.RunUntil([] { return false; }, 50ms);
    EXPECT_EQ(fired, "xyabc");
    EXPECT_EQ(loop.PendingTimers(), 0u);
}

TEST(PollEventLoop, RemovedTimersNeverFire) {
    PollEventLoop loop;
    std::string fired;
    const auto gone = loop.InstallTimer(0.01, [&] { fired += "gone"; });
    const auto kept = loop.InstallTimer(0.02, [&] { fired += "kept"; });
    EXPECT_TRUE(loop.RemoveTimer(gone));
    EXPECT_FALSE(loop.RemoveTimer(gone));
    EXPECT_FALSE(loop.RemoveTimer(0));

    // Due in the same turn: the first callback removes the second.
    kelvo::platform::TimerId second = 0;
    loop.InstallTimer(0, [&] { fired += "first,"; loop.RemoveTimer(second); });
    second = loop.InstallTimer(0, [&] { fired += "second,"; });

    ASSERT_TRUE(loop.RunUntil([&] { return loop.PendingTimers() == 0; }, 2s));
    EXPECT_EQ(fired, "first,kept");
    EXPECT_FALSE(loop.RemoveTimer(kept)) << "a fired timer is not removable";
}

TEST(PollEventLoop, ACallbackReArmsItselfAsAPoll) {
    // The panel's 100 Hz poll of the helper: each firing installs the next.
    PollEventLoop loop;
    int polls = 0;
    std::function<void()> poll = [&] {
        if (++polls < 5)
            loop.InstallTimer(0.01, poll);
    };
    loop.InstallTimer(0.01, poll);
    const auto start = PollEventLoop::Clock::now();
    ASSERT_TRUE(loop.RunUntil([&] { return polls == 5; }, 2s));
    EXPECT_GE(PollEventLoop::Clock::now() - start, 50ms);
    EXPECT_EQ(loop.PendingTimers(), 0u);

    // Re-armed with no delay it still runs once per turn, never in a loop.
    int spins = 0;
    std::function<void()> spin = [&] {
        ++spins;
        loop.InstallTimer(0, spin);
    };
    loop.InstallTimer(0, spin);
    EXPECT_TRUE(loop.RunOnce(0ms));
    EXPECT_EQ(spins, 1);
    EXPECT_TRUE(loop.RunOnce(0ms));
    EXPECT_EQ(spins, 2);
}

TEST(PollEventLoop, WatchedPortWakesTheLoop) {
    kelvo::platform::UnixMessagePorts ports;
    const std::string name = "kelvo-test.loop." + std::to_string(getpid());
    int error = 0;
    auto listener = ports.Listen(name, error);
    ASSERT_NE(listener, nullptr);

    PollEventLoop loop;
    std::vector<std::string> received;
    const auto watch = loop.WatchFd(listener->Fd(), [&](short) {
        std::string text;
        if (listener->Receive(0ms, text) == 0)
            received.push_back(text);
    });
    EXPECT_FALSE(loop.RunOnce(20ms)) << "nothing was ready";
    loop.InstallTimer(0.01, [&] { ports.SendToPort(name, "jpOpenMainUI"); });
    ASSERT_TRUE(loop.RunUntil([&] { return !received.empty(); }, 2s));
    EXPECT_EQ(received, std::vector<std::string>{"jpOpenMainUI"});

    EXPECT_TRUE(loop.UnwatchFd(watch));
    EXPECT_FALSE(loop.UnwatchFd(watch));
    ASSERT_EQ(ports.SendToPort(name, "jpOpenMainUI"), 0);
    EXPECT_FALSE(loop.RunUntil([&] { return received.size() > 1; }, 50ms));
}
