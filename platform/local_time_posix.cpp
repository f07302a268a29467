#include "platform/local_time.h"

#include <time.h>

namespace Orvane::Platform {

LocalTime CurrentLocalTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    auto field = [](int value) { return static_cast<std::uint16_t>(value); };
    return {field(local.tm_year + 1900), field(local.tm_mon + 1),
            field(local.tm_wday),        field(local.tm_mday),
            field(local.tm_hour),        field(local.tm_min),
            field(local.tm_sec),         field(static_cast<int>(now.tv_nsec / 1000000))};
}

}  // namespace Orvane::Platform
