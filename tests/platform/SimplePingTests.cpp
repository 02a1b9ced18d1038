// The printer reachability test: this machine answers, a port that keeps silent does not, bad text is refused.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <vector>

#include "platform/SimplePing.h"

using namespace std::chrono_literals;
using kelvo::platform::PingMethod;
using kelvo::platform::SimplePing;

TEST(SimplePing, ThisMachineAnswers) {
    // Nothing need listen on the printing ports: a refused connection is
    // this host's answer too.
    const struct {
        const char* address;
        PingMethod method;
    } rows[] = {
        {"127.0.0.1", PingMethod::kAuto},
        {"127.0.0.1", PingMethod::kConnect},
        {"localhost", PingMethod::kAuto},
        {"[127.0.0.1]", PingMethod::kConnect},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.address);
        EXPECT_EQ(SimplePing(row.address, 2, 2s, row.method), kelvo::platform::kPingReplied);
    }
}

TEST(SimplePing, EchoWhereTheSystemAllowsIt) {
    const int result = SimplePing("127.0.0.1", 1, 2s, PingMethod::kEcho);
    if (result == kelvo::platform::kPingUnavailable)
        GTEST_SKIP() << "this user's group is outside net.ipv4.ping_group_range";
    EXPECT_EQ(result, kelvo::platform::kPingReplied);
}

// A listener whose queue of finished handshakes is full: the kernel drops
// further connection requests without a word, as a host that is not there
// sends none. (A documentation address such as 192.0.2.1 would do on most
// networks, but sandboxes route it to a gateway or a proxy that answers.)
class SilentPort {
public:
    SilentPort() {
        mListener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (mListener < 0 || bind(mListener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            listen(mListener, 0) != 0 || getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            return;
        mPort = ntohs(address.sin_port);
        // Fill the queue until a request goes unanswered.
        for (int i = 0; i < 16; ++i) {
            const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            mClients.push_back(client);
            if (connect(client, reinterpret_cast<sockaddr*>(&address), length) == 0)
                continue;
            pollfd wait{client, POLLOUT, 0};
            if (errno == EINPROGRESS && poll(&wait, 1, 100) == 0) {
                mSilent = true;
                return;
            }
        }
    }
    ~SilentPort() {
        for (int fd : mClients)
            close(fd);
        if (mListener >= 0)
            close(mListener);
    }
    bool Silent() const { return mSilent; }
    std::uint16_t Port() const { return mPort; }

private:
    int mListener = -1;
    std::vector<int> mClients;
    std::uint16_t mPort = 0;
    bool mSilent = false;
};

TEST(SimplePing, SilenceIsNoReplyWithinTheTimeOut) {
    const SilentPort silent;
    ASSERT_TRUE(silent.Silent()) << "could not make a port that does not answer";
    const std::uint16_t ports[] = {silent.Port()};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SimplePing("127.0.0.1", 2, 200ms, PingMethod::kConnect, ports), kelvo::platform::kPingNoReply);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    // Both tries waited their time, and no longer.
    EXPECT_GE(elapsed, 400ms);
    EXPECT_LT(elapsed, 1500ms);
}

TEST(SimplePing, TextThatIsNoAddressIsRefusedUnasked) {
    const std::string rows[] = {"", "printer one", "10.0.0.1;reboot", "host\n", "\xC3\xA9.example",
                                std::string(256, 'a'), "[]"};
    for (const std::string& address : rows) {
        SCOPED_TRACE(address);
        EXPECT_EQ(SimplePing(address, 1, 100ms), kelvo::platform::kPingBadAddress);
    }
}
