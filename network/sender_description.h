// How the receiving operations hand back a datagram's sender.
#pragma once

#include "network/socket_types.h"

namespace Orvane::Network {

// The sender as dotted text, cut to fit `hostSize` and always terminated (nothing is
// written when `hostText` is null or `hostSize` 0), and its port in host order.
void DescribeSender(const SocketAddressV4& from, char* hostText, unsigned int hostSize,
                    unsigned short& port);

}  // namespace Orvane::Network
