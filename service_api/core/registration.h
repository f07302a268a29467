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
#include <optional>

#include "platform/local_time.h"

namespace Quorvel::Lumo::Api {

inline constexpr std::uint32_t kLumoApiVersion = 0x06030000;  // "6.3.0.0"
inline constexpr std::size_t kRegistrationRequestSize = 272;

std::array<std::uint8_t, kRegistrationRequestSize> BuildRegistrationRequest(
    const Orvane::Platform::LocalTime& now, const std::array<std::uint8_t, 8>& clientKey,
    std::uint32_t clientType);

// The calendar fields of a deciphered time token.
struct RegistrationTime {
    std::uint8_t day;
    std::uint8_t month;
    std::uint8_t hour;
    std::uint8_t minute;
    bool paddingIsZero;  // the four bytes after the minute; a wrong key garbles them
};

// What the service reads from a registration payload with the key it expects.
struct RegistrationRequest {
    std::uint32_t apiVersion;
    RegistrationTime time;
    std::uint32_t clientType;
    std::uint8_t flag;
    bool reservedIsZero;
};

// Nothing when the payload is shorter than a registration request.
std::optional<RegistrationRequest> DecodeRegistrationRequest(
    const void* payload, std::size_t size, const std::array<std::uint8_t, 8>& clientKey);

// Whether a token names the same minute as `clock`, or the one before or after it (the
// token carries no year: a token across New Year still matches).
bool RegistrationTimeMatches(const RegistrationTime& token,
                             const Orvane::Platform::LocalTime& clock);

}  // namespace Quorvel::Lumo::Api
