// Message ports: the panel's requests to the job-properties helper, one short text per message.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace kelvo::platform {

/// Every port name starts with this; the helper's port is the prefix and
/// the shared segment's id in decimal, so one user's several dialogs never
/// meet on one name.
inline constexpr std::string_view kMessagePortPrefix = "kelvo-pde-jp.";

/// How long a send waits for room in a full queue before giving up.
inline constexpr std::chrono::milliseconds kMessagePortSendTimeout{10000};

/// The longest text a port carries. The requests are a few words; anything
/// longer is refused by the sender and dropped by the receiver.
inline constexpr std::size_t kMessagePortMaxText = 1024;

/// The helper's port for the shared segment `segmentId`.
inline std::string MessagePortName(int segmentId) {
    return std::string(kMessagePortPrefix) + std::to_string(segmentId);
}

/// The receiving end of a port, bound to its name for as long as it lives.
class MessagePortListener {
public:
    virtual ~MessagePortListener() = default;
    /// A descriptor that polls readable when a message may be waiting (for
    /// an event loop); Receive still decides whether it is one to accept.
    virtual int Fd() const = 0;
    /// Waits up to `timeout` for a message from a sender of our own user
    /// and puts its text (without the terminating NUL) into `text`. Messages
    /// from other users, without their NUL, with a NUL inside or longer
    /// than kMessagePortMaxText are dropped (and logged) and the wait goes
    /// on. 0; ETIMEDOUT when nothing acceptable came in time; or the errno
    /// value of a failed receive.
    virtual int Receive(std::chrono::milliseconds timeout, std::string& text) = 0;
};

/// Reaches ports by name, and opens them for listening.
class MessagePorts {
public:
    virtual ~MessagePorts() = default;
    /// Whether somebody listens on `name` now.
    virtual bool PortExists(std::string_view name) = 0;
    /// Sends `text` and its terminating NUL as one message, waiting up to
    /// `timeout` while the port's queue is full. No reply is awaited. 0; or
    /// an errno value: ECONNREFUSED when nobody listens, EAGAIN when the
    /// time-out passed, EMSGSIZE for a text longer than kMessagePortMaxText,
    /// EINVAL for a text holding a NUL or an unusable name.
    virtual int SendToPort(std::string_view name, std::string_view text,
                           std::chrono::milliseconds timeout = kMessagePortSendTimeout) = 0;
    /// Opens `name` for receiving. Null with `error` set on failure
    /// (EADDRINUSE when someone already listens on it).
    virtual std::unique_ptr<MessagePortListener> Listen(std::string_view name, int& error) = 0;
};

} // namespace kelvo::platform
