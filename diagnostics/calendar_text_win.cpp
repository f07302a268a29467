#include "diagnostics/calendar_text.h"

#include <errno.h>
#include <time.h>

namespace {
// The runtime's documented last second (3000-12-31 23:59:59 UTC). Some runtimes fault on
// later values instead of refusing them, and this text is built while a crash dump is being
// written, so refuse them here.
constexpr std::int64_t kLastSecond = 32535215999;
}  // namespace

CalendarText ToCalendarText(std::int64_t secondsSince1970) {
    if (secondsSince1970 < 0 || secondsSince1970 > kLastSecond)
        return {false, {}, EINVAL};
    const __time64_t seconds = secondsSince1970;
    char buffer[26];
    const errno_t error = _ctime64_s(buffer, sizeof buffer, &seconds);
    if (error != 0)
        return {false, {}, error};
    return {true, buffer, 0};
}
