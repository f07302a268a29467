// Both socket backends hand IPv4 addresses to the system as the same sockaddr_in record;
// the two conversions live here once. The record type is the backend's own, so this
// header needs no system header.
#pragma once

#include <cstdint>

#include "network/socket_types.h"

namespace Orvane::Network {

template <class Record>
Record ToSystemRecord(const SocketAddressV4& address, decltype(Record::sin_family) family) {
    Record record{};
    record.sin_family = family;
    record.sin_port = address.port;
    record.sin_addr.s_addr = address.address;
    return record;
}

template <class Record>
SocketAddressV4 FromSystemRecord(const Record& record) {
    SocketAddressV4 address;
    address.family = static_cast<std::uint16_t>(record.sin_family);
    address.port = record.sin_port;
    address.address = record.sin_addr.s_addr;
    return address;
}

}  // namespace Orvane::Network
