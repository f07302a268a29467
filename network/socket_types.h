// Plain values shared by the socket classes and the socket system under them. Nothing here
// depends on the operating system's headers.
#pragma once

#include <cstdint>
#include <vector>

namespace Orvane::Network {

// Kept in 32 bits although the Windows type is wider; all bits set means no socket.
using SocketHandle = std::uint32_t;
inline constexpr SocketHandle kNoSocket = 0xFFFFFFFFu;

// A platform event object; all bits set means none (null is a value like any other).
using EventHandle = std::uintptr_t;
inline constexpr EventHandle kNoEvent = ~EventHandle{0};

inline constexpr std::uint16_t kAddressFamilyIpv4 = 2;

// Same fields, widths and order as the system's IPv4 socket address record (16 bytes).
// `port` and `address` hold their bytes in network order.
struct SocketAddressV4 {
    std::uint16_t family = kAddressFamilyIpv4;
    std::uint16_t port = 0;
    std::uint32_t address = 0;
    std::uint8_t zero[8] = {};
};
static_assert(sizeof(SocketAddressV4) == 16);

enum class SocketKind { Stream, Datagram };

enum class WaitFor { Readable, Writable, ReadableOrError };

enum class MembershipChange { Join, Leave };

// Network events an event object can be told about.
enum NetworkEvents : unsigned { kNoNetworkEvents = 0, kReadEvent = 1, kCloseEvent = 2 };

struct WaitTime {
    long seconds = 0;
    long microseconds = 0;
};

// What a host-name look-up found: its IPv4 addresses in the resolver's order, each with
// its bytes in network order.
struct HostEntry {
    std::vector<std::uint32_t> addresses;
};

// Bytes in network order for a port number, whatever the host's byte order.
std::uint16_t PortToNetworkOrder(std::uint16_t port);
std::uint16_t PortFromNetworkOrder(std::uint16_t port);

}  // namespace Orvane::Network
