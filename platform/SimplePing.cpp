// The printer reachability test: an unprivileged ICMP echo, or connection attempts to the printing ports.
#include "platform/SimplePing.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "util/Log.h"

namespace kelvo::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxAddresses = 4;
constexpr std::size_t kMaxPorts = 8;
constexpr std::size_t kMaxNameBytes = 255;
constexpr std::uint8_t kEchoRequestV4 = 8;
constexpr std::uint8_t kEchoReplyV4 = 0;
constexpr std::uint8_t kEchoRequestV6 = 128;
constexpr std::uint8_t kEchoReplyV6 = 129;
constexpr std::size_t kEchoHeaderBytes = 8;
constexpr char kEchoPayload[] = "kelvo-printer-ok";
constexpr std::size_t kEchoPayloadBytes = sizeof kEchoPayload - 1;

/// A socket closed when the object goes.
class Socket {
public:
    explicit Socket(int fd = -1) : mFd(fd) {}
    ~Socket() {
        if (mFd >= 0)
            close(mFd);
    }
    Socket(Socket&& other) noexcept : mFd(other.mFd) { other.mFd = -1; }
    Socket& operator=(Socket&&) = delete;
    Socket(const Socket&) = delete;
    int Fd() const { return mFd; }

private:
    int mFd;
};

/// One resolved address of the printer.
struct Target {
    sockaddr_storage address{};
    socklen_t length = 0;
    int family = AF_UNSPEC;
};

/// What one socket of an attempt is waiting for.
struct Probe {
    Socket socket;
    bool echo = false;
};

/// Host names and address literals only: letters, digits and the
/// punctuation of names ("-", ".", "_") and of IPv6 literals (":", "%" for
/// the zone). Anything else would mean the user typed something that is
/// not an address, and getaddrinfo need not see it.
bool IsAddressText(std::string_view text) {
    if (text.empty() || text.size() > kMaxNameBytes)
        return false;
    return std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
               c == '_' || c == ':' || c == '%';
    });
}

/// The addresses `host` stands for, at most kMaxAddresses, without
/// repeats. getaddrinfo's error code in `error` when none.
std::vector<Target> Resolve(const std::string& host, int& error) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    error = getaddrinfo(host.c_str(), nullptr, &hints, &list);
    std::vector<Target> targets;
    if (error != 0)
        return targets;
    for (const addrinfo* item = list; item && targets.size() < kMaxAddresses; item = item->ai_next) {
        if ((item->ai_family != AF_INET && item->ai_family != AF_INET6) || !item->ai_addr ||
            item->ai_addrlen > sizeof(sockaddr_storage))
            continue;
        Target target;
        std::memcpy(&target.address, item->ai_addr, item->ai_addrlen);
        target.length = item->ai_addrlen;
        target.family = item->ai_family;
        const bool seen = std::any_of(targets.begin(), targets.end(), [&](const Target& known) {
            return known.length == target.length && std::memcmp(&known.address, &target.address, target.length) == 0;
        });
        if (!seen)
            targets.push_back(target);
    }
    freeaddrinfo(list);
    return targets;
}

Target WithPort(const Target& target, std::uint16_t port) {
    Target copy = target;
    if (copy.family == AF_INET)
        reinterpret_cast<sockaddr_in*>(&copy.address)->sin_port = htons(port);
    else
        reinterpret_cast<sockaddr_in6*>(&copy.address)->sin6_port = htons(port);
    return copy;
}

std::uint16_t InternetChecksum(const std::uint8_t* bytes, std::size_t length) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < length; i += 2)
        sum += static_cast<std::uint32_t>(bytes[i] << 8 | bytes[i + 1]);
    if (length % 2)
        sum += static_cast<std::uint32_t>(bytes[length - 1] << 8);
    while (sum >> 16)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

/// Opens a datagram ICMP socket to `target` and sends one echo request
/// with `sequence`. The kernel fills in the identifier and delivers to
/// this socket only the replies that carry it. Sets `unavailable` when the
/// system refuses the socket itself (our group is not admitted).
std::optional<Probe> SendEcho(const Target& target, std::uint16_t sequence, bool& unavailable) {
    const bool v6 = target.family == AF_INET6;
    const int protocol = v6 ? static_cast<int>(IPPROTO_ICMPV6) : static_cast<int>(IPPROTO_ICMP);
    Socket socket(::socket(target.family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol));
    if (socket.Fd() < 0) {
        unavailable = true;
        return std::nullopt;
    }
    if (connect(socket.Fd(), reinterpret_cast<const sockaddr*>(&target.address), target.length) != 0)
        return std::nullopt;
    std::uint8_t packet[kEchoHeaderBytes + kEchoPayloadBytes] = {};
    packet[0] = v6 ? kEchoRequestV6 : kEchoRequestV4;
    packet[6] = static_cast<std::uint8_t>(sequence >> 8);
    packet[7] = static_cast<std::uint8_t>(sequence);
    std::memcpy(packet + kEchoHeaderBytes, kEchoPayload, kEchoPayloadBytes);
    if (!v6) {
        // The kernel computes the ICMPv6 sum; for IPv4 a correct one is
        // sent as given.
        const std::uint16_t sum = InternetChecksum(packet, sizeof packet);
        packet[2] = static_cast<std::uint8_t>(sum >> 8);
        packet[3] = static_cast<std::uint8_t>(sum);
    }
    if (send(socket.Fd(), packet, sizeof packet, MSG_NOSIGNAL) != static_cast<ssize_t>(sizeof packet))
        return std::nullopt;
    return Probe{std::move(socket), true};
}

/// Whether a datagram on an echo socket is our reply.
bool IsEchoReply(int fd, int family, std::uint16_t sequence) {
    std::uint8_t reply[kEchoHeaderBytes + kEchoPayloadBytes + 64];
    while (true) {
        const ssize_t got = recv(fd, reply, sizeof reply, MSG_DONTWAIT);
        if (got < 0)
            return false;
        if (static_cast<std::size_t>(got) < kEchoHeaderBytes + kEchoPayloadBytes)
            continue;
        const std::uint8_t type = family == AF_INET6 ? kEchoReplyV6 : kEchoReplyV4;
        const std::uint16_t seq = static_cast<std::uint16_t>(reply[6] << 8 | reply[7]);
        if (reply[0] == type && seq == sequence &&
            std::memcmp(reply + kEchoHeaderBytes, kEchoPayload, kEchoPayloadBytes) == 0)
            return true;
    }
}

/// Starts a connection attempt to `target`. Sets `answered` when it was
/// settled at once by an answer (a local address can accept or refuse at
/// once); returns a probe to wait on when the attempt is under way.
std::optional<Probe> StartConnect(const Target& target, bool& answered) {
    Socket socket(::socket(target.family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.Fd() < 0)
        return std::nullopt;
    if (connect(socket.Fd(), reinterpret_cast<const sockaddr*>(&target.address), target.length) == 0 ||
        errno == ECONNREFUSED) {
        answered = true;
        return std::nullopt;
    }
    if (errno != EINPROGRESS)
        return std::nullopt;
    return Probe{std::move(socket), false};
}

/// A finished connection attempt: accepted or refused means the host is
/// there.
bool ConnectAnswered(int fd) {
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0)
        return false;
    return error == 0 || error == ECONNREFUSED;
}

enum class Attempt { kReplied, kNoReply, kUnavailable };

/// One attempt against every target, all probes in flight at once, until
/// an answer or the deadline.
Attempt RunAttempt(const std::vector<Target>& targets, PingMethod method, std::span<const std::uint16_t> ports,
                   std::uint16_t sequence, std::chrono::milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    std::vector<Probe> probes;
    std::vector<int> families;
    bool anyMethod = false;
    for (const Target& target : targets) {
        bool useConnect = method == PingMethod::kConnect;
        if (!useConnect) {
            bool unavailable = false;
            if (std::optional<Probe> probe = SendEcho(target, sequence, unavailable)) {
                probes.push_back(std::move(*probe));
                families.push_back(target.family);
            }
            anyMethod = anyMethod || !unavailable;
            useConnect = unavailable && method == PingMethod::kAuto;
        }
        if (!useConnect)
            continue;
        anyMethod = true;
        for (std::uint16_t port : ports) {
            bool answered = false;
            if (std::optional<Probe> probe = StartConnect(WithPort(target, port), answered)) {
                probes.push_back(std::move(*probe));
                families.push_back(target.family);
            }
            if (answered)
                return Attempt::kReplied;
        }
    }
    if (!anyMethod)
        return Attempt::kUnavailable;

    std::vector<pollfd> waiting(probes.size());
    std::vector<bool> done(probes.size(), false);
    while (true) {
        std::size_t count = 0;
        std::vector<std::size_t> index;
        for (std::size_t i = 0; i < probes.size(); ++i) {
            if (done[i])
                continue;
            waiting[count] = {probes[i].socket.Fd(), static_cast<short>(probes[i].echo ? POLLIN : POLLOUT), 0};
            index.push_back(i);
            ++count;
        }
        if (count == 0)
            return Attempt::kNoReply;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return Attempt::kNoReply;
        const int ready = poll(waiting.data(), count, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR)
            return Attempt::kNoReply;
        for (std::size_t k = 0; ready > 0 && k < count; ++k) {
            if (waiting[k].revents == 0)
                continue;
            const std::size_t i = index[k];
            if (probes[i].echo) {
                if (IsEchoReply(probes[i].socket.Fd(), families[i], sequence))
                    return Attempt::kReplied;
                // An error report (unreachable) ends this probe; a stray
                // datagram does not.
                if (waiting[k].revents & (POLLERR | POLLHUP | POLLNVAL))
                    done[i] = true;
            } else {
                if (ConnectAnswered(probes[i].socket.Fd()))
                    return Attempt::kReplied;
                done[i] = true;
            }
        }
    }
}

} // namespace

int SimplePing(std::string_view address, int tries, std::chrono::milliseconds timeout, PingMethod method,
               std::span<const std::uint16_t> ports) {
    // A user may type an IPv6 literal as it stands in a URL.
    if (address.size() >= 2 && address.front() == '[' && address.back() == ']')
        address = address.substr(1, address.size() - 2);
    if (!IsAddressText(address)) {
        Log("SimplePing: \"" + std::string(address.substr(0, 64)) + "\" is not an address");
        return kPingBadAddress;
    }
    tries = std::clamp(tries, 1, 10);
    ports = ports.first(std::min<std::size_t>(ports.size(), kMaxPorts));
    timeout = std::clamp(timeout, std::chrono::milliseconds(10), std::chrono::milliseconds(30000));

    int error = 0;
    const std::vector<Target> targets = Resolve(std::string(address), error);
    if (targets.empty()) {
        Log("SimplePing: " + std::string(address) + ": " + (error ? gai_strerror(error) : "no IP address"));
        return kPingUnresolved;
    }
    for (int attempt = 0; attempt < tries; ++attempt) {
        switch (RunAttempt(targets, method, ports, static_cast<std::uint16_t>(attempt + 1), timeout)) {
        case Attempt::kReplied:
            return kPingReplied;
        case Attempt::kUnavailable:
            Log("SimplePing: no echo socket for this user (net.ipv4.ping_group_range)");
            return kPingUnavailable;
        case Attempt::kNoReply:
            break;
        }
    }
    Log("SimplePing: " + std::string(address) + ": no answer");
    return kPingNoReply;
}

} // namespace kelvo::platform
