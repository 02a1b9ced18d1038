// The terminal alert: plain text, and a wait for Enter only at a terminal.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/Alerts.h"

namespace {

std::string Drain(int fd) {
    std::string text;
    char buffer[256];
    ssize_t got = 0;
    while ((got = read(fd, buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<std::size_t>(got));
    return text;
}

} // namespace

TEST(Alerts, TerminalWritesPlainTextAndReturnsWithoutATerminal) {
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const int devNull = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(devNull, 0);
    {
        kelvo::platform::TerminalAlerts alerts(devNull, pipeFds[1]);
        alerts.ShowAlert("Bad \x1b[31maddress", "OK", "Line one\nline\ttwo\x07");
    }
    close(pipeFds[1]);
    EXPECT_EQ(Drain(pipeFds[0]), "Bad ?[31maddress\nLine one\nline\ttwo?\n[OK]\n");
    close(pipeFds[0]);
    close(devNull);
}

TEST(Alerts, TerminalWaitsForEnterAtATerminal) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        GTEST_SKIP() << "no pseudo-terminal here";
    const int slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(slave, 0);
    // The answer is typed before the alert asks: it returns after reading it,
    // and leaves what follows the line unread.
    ASSERT_EQ(write(master, "yes\nrest\n", 9), 9);
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    kelvo::platform::TerminalAlerts(slave, pipeFds[1]).ShowAlert("T", "OK", "x");
    close(pipeFds[1]);
    EXPECT_EQ(Drain(pipeFds[0]), "T\nx\n[OK] (press Enter) ");
    char rest[8] = {};
    EXPECT_EQ(read(slave, rest, sizeof rest), 5);
    EXPECT_EQ(std::string(rest, 5), "rest\n");
    close(pipeFds[0]);
    close(slave);
    close(master);
}
