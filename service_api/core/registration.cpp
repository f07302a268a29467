#include "service_api/core/registration.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "service_api/core/des.h"

namespace Quorvel::Lumo::Api {
namespace {

constexpr std::size_t kVersionOffset = 0;
constexpr std::size_t kTokenOffset = 4;
constexpr std::size_t kClientTypeOffset = 12;
constexpr std::size_t kFlagOffset = 16;
constexpr std::size_t kReservedOffset = 17;

void StoreLittleEndian32(std::uint8_t* out, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        out[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint32_t LoadLittleEndian32(const std::uint8_t* in) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= std::uint32_t{in[i]} << (8 * i);
    }
    return value;
}

std::optional<std::chrono::sys_time<std::chrono::minutes>> MinuteOf(int year, unsigned month,
                                                                    unsigned day, unsigned hour,
                                                                    unsigned minute) {
    const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month},
                                           std::chrono::day{day}};
    if (!date.ok() || hour > 23 || minute > 59) {
        return std::nullopt;
    }
    return std::chrono::sys_days{date} + std::chrono::hours{hour} + std::chrono::minutes{minute};
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

std::optional<RegistrationRequest> DecodeRegistrationRequest(
    const void* payload, std::size_t size, const std::array<std::uint8_t, 8>& clientKey) {
    if (payload == nullptr || size < kRegistrationRequestSize) {
        return std::nullopt;
    }
    const auto* bytes = static_cast<const std::uint8_t*>(payload);
    DesBlock token;
    std::memcpy(token.data(), bytes + kTokenOffset, token.size());
    const DesBlock plain = DesKeySchedule(clientKey).Decipher(token);

    RegistrationRequest request{};
    request.apiVersion = LoadLittleEndian32(bytes + kVersionOffset);
    request.time = {plain[0], plain[1], plain[2], plain[3],
                    std::all_of(plain.begin() + 4, plain.end(), [](auto b) { return b == 0; })};
    request.clientType = LoadLittleEndian32(bytes + kClientTypeOffset);
    request.flag = bytes[kFlagOffset];
    request.reservedIsZero = std::all_of(bytes + kReservedOffset, bytes + kRegistrationRequestSize,
                                         [](auto b) { return b == 0; });
    return request;
}

bool RegistrationTimeMatches(const RegistrationTime& token,
                             const Orvane::Platform::LocalTime& clock) {
    const auto reference = MinuteOf(clock.year, clock.month, clock.day, clock.hour, clock.minute);
    if (!reference) {
        return false;
    }
    for (int year = clock.year - 1; year <= clock.year + 1; ++year) {
        const auto stamped = MinuteOf(year, token.month, token.day, token.hour, token.minute);
        if (stamped && std::chrono::abs(*stamped - *reference) <= std::chrono::minutes{1}) {
            return true;
        }
    }
    return false;
}

}  // namespace Quorvel::Lumo::Api
