// The local calendar time as the system's local-time record gives it.
#pragma once

#include <cstdint>

namespace Orvane::Platform {

// Same fields, order and widths as the Windows SYSTEMTIME record (16 bytes).
struct LocalTime {
    std::uint16_t year;
    std::uint16_t month;      // 1 to 12
    std::uint16_t dayOfWeek;  // 0 = Sunday
    std::uint16_t day;        // 1 to 31
    std::uint16_t hour;
    std::uint16_t minute;
    std::uint16_t second;
    std::uint16_t milliseconds;
};
static_assert(sizeof(LocalTime) == 16);

LocalTime CurrentLocalTime();

}  // namespace Orvane::Platform
