// A reachability test of a printer's address that needs no privileges.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <span>
#include <string_view>

namespace kelvo::platform {

/// Results of SimplePing. Zero means the printer answered.
inline constexpr int kPingReplied = 0;
/// Nothing answered within the time allowed.
inline constexpr int kPingNoReply = 1;
/// The name could not be resolved to an address.
inline constexpr int kPingUnresolved = 2;
/// The text is no address or host name (empty, too long, blanks, control
/// characters...).
inline constexpr int kPingBadAddress = 3;
/// The chosen method cannot be used here (no socket of that kind).
inline constexpr int kPingUnavailable = 4;

/// How SimplePing asks.
enum class PingMethod {
    /// An echo request where the system lets us send one, else a connection
    /// attempt.
    kAuto,
    /// Only an ICMP echo request through an unprivileged datagram ICMP
    /// socket, which Linux grants to the groups in net.ipv4.ping_group_range.
    kEcho,
    /// Only TCP connection attempts to kPrinterPorts.
    kConnect,
};

/// The ports a printer usually listens on: IPP, raw printing, LPD, HTTP.
/// A connection attempt to any of them that is accepted or refused proves
/// the host is there (a refusal is the host's own answer); one that is
/// never answered, or that a router reports unreachable, proves nothing.
inline constexpr std::array<std::uint16_t, 4> kPrinterPorts = {631, 9100, 515, 80};

/// Tests whether the printer at `address` (an IPv4 or IPv6 address, the
/// latter also in brackets, or a DNS name resolved with getaddrinfo)
/// answers. Each of `tries` attempts (at least 1, at most 10) waits up to
/// `timeout` (clamped to 10 ms .. 30 s) for an answer from any address the
/// name resolves to (the first four); an attempt that fails at once is
/// followed by the next at once. Name resolution itself is not bounded by
/// `timeout`: it waits as long as the system's resolver does.
/// Returns kPingReplied (0) when an answer came, otherwise one of the
/// codes above. Opens sockets only for the duration of the call.
/// `ports` replaces kPrinterPorts for the connection attempts (at most
/// eight are used), for a printer that listens elsewhere.
int SimplePing(std::string_view address, int tries, std::chrono::milliseconds timeout,
               PingMethod method = PingMethod::kAuto, std::span<const std::uint16_t> ports = kPrinterPorts);

} // namespace kelvo::platform
