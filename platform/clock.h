// High-resolution counter and thread identity for recording paths that must stay cheap:
// no allocation, no lock, no formatting.
#pragma once

#include <cstdint>

namespace Orvane::Platform {

// Monotonic counter value; ticks per second are PerformanceFrequency().
std::int64_t PerformanceCounter();
std::int64_t PerformanceFrequency();

// Identifier of the calling thread, as the system numbers threads.
std::uint32_t CurrentThreadId();

// Wall-clock time as seconds since 1970-01-01 UTC and the milliseconds within them.
struct WallClock {
    std::int64_t seconds;
    std::uint16_t milliseconds;
};
WallClock CurrentWallClock();

}  // namespace Orvane::Platform
