// The C runtime's 26-character calendar text of a time ("Www Mmm dd hh:mm:ss yyyy\n"), in
// the local time zone, the form the flow log's header shows.
#pragma once

#include <cstdint>
#include <string>

struct CalendarText {
    bool converted;
    std::string text;  // the runtime's text, line break included, when converted
    int error;         // the runtime's error code when not converted
};

CalendarText ToCalendarText(std::int64_t secondsSince1970);
