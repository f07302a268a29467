#include "network/sender_description.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "network/address_text.h"

namespace Orvane::Network {

void DescribeSender(const SocketAddressV4& from, char* hostText, unsigned int hostSize,
                    unsigned short& port) {
    if (hostText != nullptr && hostSize > 0) {
        const std::string text = AddressToText(from.address);
        const std::size_t length = std::min<std::size_t>(text.size(), hostSize - 1);
        std::memcpy(hostText, text.data(), length);
        hostText[length] = '\0';
    }
    port = PortFromNetworkOrder(from.port);
}

}  // namespace Orvane::Network
