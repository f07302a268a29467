#include "platform/local_time.h"

#include "platform/windows_api.h"

namespace Orvane::Platform {

LocalTime CurrentLocalTime() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return {now.wYear, now.wMonth,  now.wDayOfWeek, now.wDay,
            now.wHour, now.wMinute, now.wSecond,    now.wMilliseconds};
}

}  // namespace Orvane::Platform
