#include "network/socket_types.h"

#include <cstring>

namespace Orvane::Network {

std::uint16_t PortToNetworkOrder(std::uint16_t port) {
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(port >> 8),
                                   static_cast<std::uint8_t>(port & 0xFF)};
    std::uint16_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

std::uint16_t PortFromNetworkOrder(std::uint16_t port) {
    std::uint8_t bytes[2];
    std::memcpy(bytes, &port, sizeof bytes);
    return static_cast<std::uint16_t>((bytes[0] << 8) | bytes[1]);
}

}  // namespace Orvane::Network
