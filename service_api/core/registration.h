// The payload of the registration message (272 bytes): API version, a time token that
// proves the client holds the key, the client type, a 1 and 255 reserved zero bytes.
//
//   offset 0   u32  API version 0x06030000
//   offset 4   8    DES(clientKey, day, month, hour, minute, 0, 0, 0, 0)
//   offset 12  u32  client type
//   offset 16  u8   1
//   offset 17  255  zero
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/local_time.h"

namespace Quorvel::Lumo::Api {

inline constexpr std::uint32_t kLumoApiVersion = 0x06030000;  // "6.3.0.0"
inline constexpr std::size_t kRegistrationRequestSize = 272;

std::array<std::uint8_t, kRegistrationRequestSize> BuildRegistrationRequest(
    const Orvane::Platform::LocalTime& now, const std::array<std::uint8_t, 8>& clientKey,
    std::uint32_t clientType);

}  // namespace Quorvel::Lumo::Api
