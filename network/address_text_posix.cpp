#include "network/address_text.h"

#include <arpa/inet.h>
#include <netinet/in.h>

namespace Orvane::Network {

std::uint32_t AddressFromText(const char* text) {
    return text == nullptr ? INADDR_NONE : inet_addr(text);
}

std::string AddressToText(std::uint32_t address) {
    in_addr value{};
    value.s_addr = address;
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &value, text, sizeof text);
    return text;
}

}  // namespace Orvane::Network
