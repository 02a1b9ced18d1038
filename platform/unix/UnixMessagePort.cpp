// Message ports as Unix datagram sockets in the abstract namespace.
#include "platform/unix/UnixMessagePort.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

#include "util/Log.h"

namespace kelvo::platform {

namespace {

/// Closes the socket unless it is handed on.
class Socket {
public:
    Socket() : mFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (mFd >= 0)
            close(mFd);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int Get() const { return mFd; }
    int Release() {
        const int fd = mFd;
        mFd = -1;
        return fd;
    }

private:
    int mFd;
};

/// The abstract address of `name`: a NUL first, then the name, no
/// terminator (the length says where it ends). False for an empty name,
/// one with a NUL inside, or one too long for the address.
bool AbstractAddress(std::string_view name, sockaddr_un& address, socklen_t& length) {
    address = {};
    address.sun_family = AF_UNIX;
    if (name.empty() || name.find('\0') != std::string_view::npos || name.size() > sizeof address.sun_path - 1)
        return false;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return true;
}

/// Connects `fd` to the port `name`. 0 or an errno value.
int ConnectTo(int fd, std::string_view name) {
    sockaddr_un address;
    socklen_t length = 0;
    if (!AbstractAddress(name, address, length))
        return EINVAL;
    while (connect(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

/// The sender's user from the message's credentials; false when it came
/// without them.
bool SenderUser(msghdr& header, uid_t& user) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
        if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_CREDENTIALS &&
            part->cmsg_len >= CMSG_LEN(sizeof(ucred))) {
            ucred credentials;
            std::memcpy(&credentials, CMSG_DATA(part), sizeof credentials);
            user = credentials.uid;
            return true;
        }
    }
    return false;
}

} // namespace

UnixMessagePortListener::~UnixMessagePortListener() {
    close(mFd);
}

int UnixMessagePortListener::Receive(std::chrono::milliseconds timeout, std::string& text) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + timeout;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd watch{mFd, POLLIN, 0};
        const int ready = poll(&watch, 1, static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0)));
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        if (ready == 0)
            return ETIMEDOUT;

        // One byte more than the longest text and its NUL, so an overlong
        // message shows by its length (MSG_TRUNC reports the whole size).
        char buffer[kMessagePortMaxText + 2];
        iovec data{buffer, sizeof buffer};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
        msghdr header{};
        header.msg_iov = &data;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = sizeof control;
        const ssize_t got = recvmsg(mFd, &header, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
        if (got < 0) {
            if (errno == EINTR || errno == EAGAIN)
                continue;
            return errno;
        }

        // The kernel reports the sender's real user; our programs run with
        // the real user equal to the effective one, so either identifies us.
        uid_t sender = 0;
        const bool known = SenderUser(header, sender);
        if (!known || sender != geteuid()) {
            Log("message port: dropped a message from another user (" +
                (known ? std::to_string(sender) : std::string("no credentials")) + ")");
            continue;
        }
        const auto size = static_cast<std::size_t>(got);
        if (size == 0 || size > kMessagePortMaxText + 1 || buffer[size - 1] != '\0' ||
            std::memchr(buffer, '\0', size - 1) != nullptr) {
            Log("message port: dropped a message that is no text (" + std::to_string(size) + " bytes)");
            continue;
        }
        text.assign(buffer, size - 1);
        return 0;
    }
}

bool UnixMessagePorts::PortExists(std::string_view name) {
    Socket probe;
    return probe.Get() >= 0 && ConnectTo(probe.Get(), name) == 0;
}

int UnixMessagePorts::SendToPort(std::string_view name, std::string_view text, std::chrono::milliseconds timeout) {
    if (text.size() > kMessagePortMaxText)
        return EMSGSIZE;
    if (text.find('\0') != std::string_view::npos)
        return EINVAL;
    Socket sender;
    if (sender.Get() < 0)
        return errno;
    // A zero time-out would mean "wait for ever" to the kernel.
    const auto wait = std::max(timeout, std::chrono::milliseconds(1));
    timeval limit{};
    limit.tv_sec = static_cast<time_t>(wait.count() / 1000);
    limit.tv_usec = static_cast<suseconds_t>(wait.count() % 1000 * 1000);
    if (setsockopt(sender.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0)
        return errno;
    if (const int error = ConnectTo(sender.Get(), name); error != 0)
        return error;
    std::string message(text);
    message.push_back('\0');
    // An interrupted send sent nothing; a time-out (EAGAIN) is final.
    for (;;) {
        const ssize_t sent = send(sender.Get(), message.data(), message.size(), MSG_NOSIGNAL);
        if (sent >= 0)
            return 0;
        if (errno != EINTR)
            return errno == EWOULDBLOCK ? EAGAIN : errno;
    }
}

std::unique_ptr<MessagePortListener> UnixMessagePorts::Listen(std::string_view name, int& error) {
    sockaddr_un address;
    socklen_t length = 0;
    if (!AbstractAddress(name, address, length)) {
        error = EINVAL;
        return nullptr;
    }
    Socket listener;
    if (listener.Get() < 0) {
        error = errno;
        return nullptr;
    }
    const int on = 1;
    if (setsockopt(listener.Get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
        bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        error = errno;
        return nullptr;
    }
    error = 0;
    return std::make_unique<UnixMessagePortListener>(listener.Release());
}

} // namespace kelvo::platform
