// Shared segments and message ports between real processes: sizes, modes, owners, removal, senders, time-outs.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/MessagePort.h"
#include "platform/memory/InMemorySharedSegments.h"
#include "platform/sysv/SysVSharedSegments.h"
#include "platform/unix/UnixMessagePort.h"
#include "util/Log.h"

using namespace std::chrono_literals;
using kelvo::platform::InMemorySharedSegments;
using kelvo::platform::SharedSegment;
using kelvo::platform::SharedSegments;
using kelvo::platform::SysVSharedSegments;
using kelvo::platform::UnixMessagePorts;

namespace {

/// Runs `body` in a forked child and returns its result as the child's exit
/// status; -1 when the child died or had to be killed after `limit`.
int InChild(const std::function<int()>& body, std::chrono::milliseconds limit = 5s) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    if (child < 0)
        return -1;
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(2ms);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// A port name no other test (or test process) uses.
std::string UniquePortName() {
    static int counter = 0;
    return "kelvo-test." + std::to_string(getpid()) + "." + std::to_string(++counter);
}

/// Sends `bytes` exactly as given, bypassing the port's own checks.
int RawSend(const std::string& name, const std::string& bytes) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    const int error = sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&address), length) < 0
                          ? errno
                          : 0;
    close(fd);
    return error;
}

/// Collects the library's log lines while alive.
class LogCapture {
public:
    LogCapture() : mPrevious(kelvo::SetLogSink([this](std::string_view line) { mLines.emplace_back(line); })) {}
    ~LogCapture() { kelvo::SetLogSink(std::move(mPrevious)); }
    std::string All() const {
        std::string all;
        for (const auto& line : mLines)
            all += line + "\n";
        return all;
    }

private:
    std::vector<std::string> mLines;
    kelvo::LogSink mPrevious;
};

/// Both implementations must agree on these.
void CheckCommonSegmentRules(SharedSegments& segments) {
    int error = -1;
    EXPECT_EQ(segments.Create(0, error), nullptr);
    EXPECT_EQ(error, EINVAL);

    auto created = segments.Create(5000, error);
    ASSERT_NE(created, nullptr) << error;
    ASSERT_EQ(created->Bytes().size(), 5000u);
    for (const std::uint8_t byte : created->Bytes())
        ASSERT_EQ(byte, 0);
    const int id = created->Id();

    // A second attachment sees the same bytes, with the size the segment has.
    auto attached = segments.Attach(id, error);
    ASSERT_NE(attached, nullptr) << error;
    ASSERT_EQ(attached->Bytes().size(), 5000u);
    created->Bytes()[4999] = 0x5A;
    EXPECT_EQ(attached->Bytes()[4999], 0x5A);

    // Marked for removal while attached: still there, still attachable,
    // gone once the last attachment is.
    EXPECT_TRUE(segments.Remove(id));
    created.reset();
    auto late = segments.Attach(id, error);
    ASSERT_NE(late, nullptr) << error;
    EXPECT_EQ(late->Bytes()[4999], 0x5A);
    late.reset();
    attached.reset();
    EXPECT_EQ(segments.Attach(id, error), nullptr);
    EXPECT_EQ(error, EINVAL);
    EXPECT_FALSE(segments.Remove(id));
    EXPECT_EQ(segments.Attach(-1, error), nullptr);
}

} // namespace

TEST(SharedSegments, BothKindsCreateShareAndRemoveAlike) {
    {
        SCOPED_TRACE("System V");
        SysVSharedSegments segments;
        CheckCommonSegmentRules(segments);
    }
    {
        SCOPED_TRACE("in memory");
        const std::size_t before = InMemorySharedSegments::Count();
        InMemorySharedSegments segments;
        CheckCommonSegmentRules(segments);
        EXPECT_EQ(InMemorySharedSegments::Count(), before);
    }
}

TEST(SharedSegments, AChildProcessWritesWhatTheCreatorReads) {
    SysVSharedSegments segments;
    int error = 0;
    auto segment = segments.Create(235610, error);
    ASSERT_NE(segment, nullptr) << error;
    const int id = segment->Id();

    shmid_ds status{};
    ASSERT_EQ(shmctl(id, IPC_STAT, &status), 0);
    EXPECT_EQ(status.shm_perm.mode & 0777, 0600u) << "no other user may read the settings";
    EXPECT_EQ(status.shm_perm.uid, geteuid());
    EXPECT_EQ(status.shm_segsz, 235610u);

    // Both sides attached, then marked: the segment cannot outlive a crash,
    // and a helper attaching later still gets in.
    const auto writeFromChild = [id](std::size_t offset, std::uint8_t value) {
        return InChild([id, offset, value] {
            SysVSharedSegments mine;
            int childError = 0;
            auto attached = mine.Attach(id, childError);
            if (attached == nullptr)
                return 10 + childError % 100;
            if (attached->Bytes().size() != 235610)
                return 2;
            attached->Bytes()[offset] = value;
            return 0;
        });
    };
    ASSERT_EQ(writeFromChild(0, 'K'), 0);
    EXPECT_TRUE(segments.Remove(id));
    ASSERT_EQ(writeFromChild(235609, 'z'), 0);
    EXPECT_EQ(segment->Bytes()[0], 'K');
    EXPECT_EQ(segment->Bytes()[235609], 'z');

    segment.reset();
    EXPECT_NE(shmctl(id, IPC_STAT, &status), 0) << "the marked segment outlived its last attachment";
}

TEST(SharedSegments, AnotherUsersSegmentIsNeitherAttachedNorRemoved) {
    // The creator may hand a segment to another owner; it stays the
    // creator's to remove through shmctl, but no longer ours to use.
    int foreign = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0666);
    ASSERT_GE(foreign, 0);
    shmid_ds status{};
    ASSERT_EQ(shmctl(foreign, IPC_STAT, &status), 0);
    status.shm_perm.uid = geteuid() == 65534 ? 65533 : 65534;
    ASSERT_EQ(shmctl(foreign, IPC_SET, &status), 0);

    SysVSharedSegments segments;
    int error = 0;
    EXPECT_EQ(segments.Attach(foreign, error), nullptr);
    EXPECT_EQ(error, EACCES);
    EXPECT_FALSE(segments.Remove(foreign));
    EXPECT_EQ(shmctl(foreign, IPC_STAT, &status), 0) << "a foreign segment was removed";
    shmctl(foreign, IPC_RMID, nullptr);

    // The table does the same by the user an instance acts for.
    InMemorySharedSegments ours;
    InMemorySharedSegments theirs(geteuid() + 1);
    auto segment = theirs.Create(16, error);
    ASSERT_NE(segment, nullptr);
    EXPECT_EQ(ours.Attach(segment->Id(), error), nullptr);
    EXPECT_EQ(error, EACCES);
    EXPECT_FALSE(ours.Remove(segment->Id()));
    EXPECT_TRUE(theirs.Remove(segment->Id()));
}

TEST(MessagePort, NameExistenceAndOneListenerPerName) {
    EXPECT_EQ(kelvo::platform::MessagePortName(1234567), "kelvo-pde-jp.1234567");

    UnixMessagePorts ports;
    const std::string name = UniquePortName();
    EXPECT_FALSE(ports.PortExists(name));
    int error = 0;
    auto listener = ports.Listen(name, error);
    ASSERT_NE(listener, nullptr) << error;
    EXPECT_TRUE(ports.PortExists(name));
    EXPECT_EQ(ports.Listen(name, error), nullptr);
    EXPECT_EQ(error, EADDRINUSE);
    listener.reset();
    EXPECT_FALSE(ports.PortExists(name)) << "the name outlived its listener";

    for (const std::string& bad : {std::string(), std::string("a\0b", 3), std::string(200, 'n')}) {
        EXPECT_FALSE(ports.PortExists(bad));
        EXPECT_EQ(ports.Listen(bad, error), nullptr);
        EXPECT_EQ(error, EINVAL);
    }
}

TEST(MessagePort, SendsTextFromAnotherProcessAndRefusesBadOnes) {
    UnixMessagePorts ports;
    const std::string name = UniquePortName();
    int error = 0;
    auto listener = ports.Listen(name, error);
    ASSERT_NE(listener, nullptr) << error;

    ASSERT_EQ(InChild([&] { return UnixMessagePorts().SendToPort(name, "jpOpenMixedMediaUI"); }), 0);
    std::string text;
    ASSERT_EQ(listener->Receive(2s, text), 0);
    EXPECT_EQ(text, "jpOpenMixedMediaUI");

    // Each good text is sent twice: once read through Receive, once raw, to
    // see that its NUL travels with it (the other side may be a C reader).
    const struct {
        std::string text;
        int error;
    } sends[] = {
        {"jpOpenMainUI", 0},
        {std::string("jp\0x", 4), EINVAL},
        {std::string(kelvo::platform::kMessagePortMaxText + 1, 'x'), EMSGSIZE},
        {std::string(kelvo::platform::kMessagePortMaxText, 'x'), 0},
    };
    for (const auto& row : sends) {
        SCOPED_TRACE(row.text.size());
        EXPECT_EQ(ports.SendToPort(name, row.text, 1s), row.error);
        if (row.error == 0) {
            char bytes[2048];
            ASSERT_EQ(ports.SendToPort(name, row.text), 0);
            ASSERT_EQ(listener->Receive(1s, text), 0);
            EXPECT_EQ(text, row.text);
            const ssize_t got = recv(listener->Fd(), bytes, sizeof bytes, MSG_DONTWAIT);
            ASSERT_EQ(got, static_cast<ssize_t>(row.text.size() + 1));
            EXPECT_EQ(bytes[got - 1], '\0');
        }
    }
    EXPECT_EQ(ports.SendToPort(UniquePortName(), "jpOpenMainUI", 1s), ECONNREFUSED);
}

TEST(MessagePort, DropsMessagesThatAreNoText) {
    UnixMessagePorts ports;
    const std::string name = UniquePortName();
    int error = 0;
    auto listener = ports.Listen(name, error);
    ASSERT_NE(listener, nullptr);
    LogCapture log;

    const std::string rows[] = {
        std::string("jpOpenMainUI"),                                          // no NUL
        std::string("jp\0OpenMainUI", 14),                                    // NUL inside
        std::string(kelvo::platform::kMessagePortMaxText + 1, 'x') + '\0',    // too long
        std::string(),                                                        // empty
    };
    for (const std::string& bytes : rows)
        ASSERT_EQ(RawSend(name, bytes), 0);
    ASSERT_EQ(RawSend(name, std::string("jpOpenChromaquaUI", 18)), 0);
    std::string text;
    ASSERT_EQ(listener->Receive(2s, text), 0);
    EXPECT_EQ(text, "jpOpenChromaquaUI");
    EXPECT_EQ(listener->Receive(20ms, text), ETIMEDOUT);
    EXPECT_NE(log.All().find("no text (1026 bytes)"), std::string::npos) << log.All();
}

TEST(MessagePort, DropsMessagesFromOtherUsers) {
    if (geteuid() != 0)
        GTEST_SKIP() << "sending as another user needs root";
    UnixMessagePorts ports;
    const std::string name = UniquePortName();
    int error = 0;
    auto listener = ports.Listen(name, error);
    ASSERT_NE(listener, nullptr);
    LogCapture log;

    ASSERT_EQ(InChild([&] {
                  if (setgid(65534) != 0 || setuid(65534) != 0)
                      return 99;
                  return UnixMessagePorts().SendToPort(name, "jpOpenMainUI");
              }),
              0);
    std::string text;
    EXPECT_EQ(listener->Receive(200ms, text), ETIMEDOUT);
    EXPECT_NE(log.All().find("another user (65534)"), std::string::npos) << log.All();

    // Dropping one does not stop the next from our own user.
    ASSERT_EQ(ports.SendToPort(name, "jpOpenMainUI"), 0);
    ASSERT_EQ(listener->Receive(1s, text), 0);
    EXPECT_EQ(text, "jpOpenMainUI");
}

TEST(MessagePort, SendToAFullQueueGivesUpAfterItsTimeOut) {
    UnixMessagePorts ports;
    const std::string name = UniquePortName();
    int error = 0;
    auto listener = ports.Listen(name, error);
    ASSERT_NE(listener, nullptr);

    // In a child, so a send that blocks for ever fails the test instead of
    // hanging it. Exit codes: 0 good, 1 never full, 2 wrong error, 3 gave
    // up too early, 4 too late.
    const int result = InChild(
        [&] {
            UnixMessagePorts sender;
            for (int sent = 0; sent < 1000; ++sent) {
                const auto start = std::chrono::steady_clock::now();
                const int sendError = sender.SendToPort(name, "jpOpenMainUI", 150ms);
                const auto took = std::chrono::steady_clock::now() - start;
                if (sendError == 0)
                    continue;
                if (sendError != EAGAIN || sent == 0)
                    return 2;
                if (took < 120ms)
                    return 3;
                return took > 1500ms ? 4 : 0;
            }
            return 1;
        },
        10s);
    EXPECT_EQ(result, 0);

    // The queue still holds what was sent before it filled.
    std::string text;
    EXPECT_EQ(listener->Receive(1s, text), 0);
    EXPECT_EQ(text, "jpOpenMainUI");
}
