#include "network/address_text.h"

#include "platform/windows_api.h"

namespace Orvane::Network {

std::uint32_t AddressFromText(const char* text) {
    return text == nullptr ? INADDR_NONE : inet_addr(text);
}

std::string AddressToText(std::uint32_t address) {
    in_addr value{};
    value.s_addr = address;
    return inet_ntoa(value);
}

}  // namespace Orvane::Network
