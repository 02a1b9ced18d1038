// Message ports as Unix datagram sockets in the abstract namespace.
#pragma once

#include "platform/MessagePort.h"

namespace kelvo::platform {

/// A port is a datagram socket bound to the port's name in the abstract
/// namespace: nothing in the file system to create, clean up or race for,
/// and the name goes when the listener closes. The abstract namespace has
/// no permissions, so the listener asks the kernel for each sender's
/// credentials (SO_PASSCRED) and accepts our own user's messages only.
class UnixMessagePortListener final : public MessagePortListener {
public:
    /// Takes ownership of the bound socket `fd`.
    explicit UnixMessagePortListener(int fd) : mFd(fd) {}
    ~UnixMessagePortListener() override;
    UnixMessagePortListener(const UnixMessagePortListener&) = delete;
    UnixMessagePortListener& operator=(const UnixMessagePortListener&) = delete;

    int Fd() const override { return mFd; }
    int Receive(std::chrono::milliseconds timeout, std::string& text) override;

private:
    int mFd;
};

class UnixMessagePorts final : public MessagePorts {
public:
    /// A connect succeeds: somebody has the name bound.
    bool PortExists(std::string_view name) override;
    /// Connects and sends with SO_SNDTIMEO set to `timeout` (at least 1 ms).
    int SendToPort(std::string_view name, std::string_view text,
                   std::chrono::milliseconds timeout = kMessagePortSendTimeout) override;
    std::unique_ptr<MessagePortListener> Listen(std::string_view name, int& error) override;
};

} // namespace kelvo::platform
