// The flow log read back from its text, the form that an exit log and a crash dump's stream
// carry: two header lines, a separator, then each entry as a line of names and a line of
// numbers. The numbers are exact; the names are the ones the helper had registered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace LumoDump {

struct FlowRecord {
    std::int64_t microseconds;  // from the log's reference time
    std::int32_t event;
    std::uint32_t code;
    std::uint32_t extra;
    std::uint64_t object;
    std::uint32_t threadId;
    // Into the text.
    std::string_view eventName;     // "unknown event" for a code without a name
    std::string_view detail;        // an error's, state's or message's name; empty for others
    std::string_view className;     // "(unknown)" when the helper had not registered it
    std::string_view functionName;  // likewise, or "at_point N" for an unnamed point
    std::string_view threadName;    // "unknown" when the helper had not named the thread
    std::string_view text;          // the entry's first line, as the log gives it
};

struct FlowLog {
    std::string_view reference;       // the header's wall-clock reference, as the log gives it
    std::vector<FlowRecord> records;  // oldest first
    // Lines that are neither a header nor a whole entry: a log cut inside an entry, or
    // damaged, leaves some.
    std::size_t unreadLines = 0;
};

// Empty when the text does not begin as a flow log does.
std::optional<FlowLog> ReadFlowLog(std::string_view text);

}  // namespace LumoDump
