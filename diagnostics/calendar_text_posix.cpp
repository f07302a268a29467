#include "diagnostics/calendar_text.h"

#include <cerrno>
#include <ctime>

CalendarText ToCalendarText(std::int64_t secondsSince1970) {
    const auto seconds = static_cast<std::time_t>(secondsSince1970);
    char buffer[64];
    errno = 0;
    if (ctime_r(&seconds, buffer) == nullptr)
        return {false, {}, errno};
    return {true, buffer, 0};
}
