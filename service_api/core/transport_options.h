// How the message window introduces itself to the service.
#pragma once

#include <array>
#include <cstdint>

namespace Quorvel::Lumo::Api {

struct LumoTransportOptions {
    std::uint8_t autoRegister;              // non-zero: register as soon as the service appears
    std::uint32_t clientType;               // goes into the registration request
    std::array<std::uint8_t, 8> clientKey;  // keys the registration time token
};

}  // namespace Quorvel::Lumo::Api
