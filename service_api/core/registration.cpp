#include "service_api/core/registration.h"

#include <algorithm>

#include "service_api/core/des.h"

namespace Quorvel::Lumo::Api {
namespace {

constexpr std::size_t kVersionOffset = 0;
constexpr std::size_t kTokenOffset = 4;
constexpr std::size_t kClientTypeOffset = 12;
constexpr std::size_t kFlagOffset = 16;

void StoreLittleEndian32(std::uint8_t* out, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        out[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

}  // namespace

std::array<std::uint8_t, kRegistrationRequestSize> BuildRegistrationRequest(
    const Orvane::Platform::LocalTime& now, const std::array<std::uint8_t, 8>& clientKey,
    std::uint32_t clientType) {
    std::array<std::uint8_t, kRegistrationRequestSize> request{};
    StoreLittleEndian32(&request[kVersionOffset], kLumoApiVersion);
    const DesBlock plain{static_cast<std::uint8_t>(now.day),
                         static_cast<std::uint8_t>(now.month),
                         static_cast<std::uint8_t>(now.hour),
                         static_cast<std::uint8_t>(now.minute),
                         0,
                         0,
                         0,
                         0};
    const DesBlock token = DesKeySchedule(clientKey).Encipher(plain);
    std::copy(token.begin(), token.end(), &request[kTokenOffset]);
    StoreLittleEndian32(&request[kClientTypeOffset], clientType);
    request[kFlagOffset] = 1;
    return request;
}

}  // namespace Quorvel::Lumo::Api
