// Dotted IPv4 texts, converted the way the system's inet_addr and inet_ntoa do (the same
// calls on both platforms: address_text_win.cpp, address_text_posix.cpp).
#pragma once

#include <cstdint>
#include <string>

namespace Orvane::Network {

// The address with its bytes in network order; 0xFFFFFFFF (255.255.255.255) for a text
// that does not parse, which callers do not tell apart from that address.
std::uint32_t AddressFromText(const char* text);

// "a.b.c.d" of an address with its bytes in network order.
std::string AddressToText(std::uint32_t address);

}  // namespace Orvane::Network
