#include "platform/clock.h"

#include "platform/windows_api.h"

namespace Orvane::Platform {

std::int64_t PerformanceCounter() {
    LARGE_INTEGER value;
    QueryPerformanceCounter(&value);
    return value.QuadPart;
}

std::int64_t PerformanceFrequency() {
    LARGE_INTEGER value;
    QueryPerformanceFrequency(&value);
    return value.QuadPart;
}

std::uint32_t CurrentThreadId() {
    return GetCurrentThreadId();
}

WallClock CurrentWallClock() {
    FILETIME ft;
    GetSystemTimeAsFileTime(&ft);
    // 100 ns units since 1601-01-01; 11644473600 s separate that from 1970-01-01.
    const auto ticks = (static_cast<std::uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    const auto ms = static_cast<std::int64_t>(ticks / 10000) - 11644473600000LL;
    return {ms / 1000, static_cast<std::uint16_t>(ms % 1000)};
}

}  // namespace Orvane::Platform
