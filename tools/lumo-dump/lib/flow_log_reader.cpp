#include "tools/lumo-dump/lib/flow_log_reader.h"

#include "diagnostics/k_logger.h"

#include <charconv>
#include <limits>
#include <string>

namespace LumoDump {
namespace {

constexpr std::string_view kReference = "%% Reference time: ";
constexpr std::string_view kHeader = "%%";
constexpr std::string_view kEntry = "% ";
constexpr std::string_view kNumbers = "    ";

constexpr std::int32_t kStateChange = -25;
constexpr std::int32_t kMessageSend = -21;
// Any time the log can print fits in 64 bits as microseconds.
constexpr std::uint64_t kMaxSeconds = std::numeric_limits<std::int64_t>::max() / 1000000;

bool IsErrorEvent(std::int32_t event) {
    return event >= -105 && event <= -101;
}

// The next line without its line end (an exit log is a Windows text file).
std::string_view NextLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

// Reads one number and the separator after it, if any.
template <class Number>
bool TakeNumber(std::string_view& text, Number& value, std::string_view separator) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{}) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (!text.starts_with(separator)) {
        return false;
    }
    text.remove_prefix(separator.size());
    return true;
}

// "[-]seconds.microseconds", six digits after the point, as the log prints a time.
bool TakeTime(std::string_view& text, std::int64_t& microseconds) {
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative ? 1 : 0);
    std::uint64_t seconds = 0;
    std::uint32_t fraction = 0;
    if (!TakeNumber(text, seconds, ".") || text.size() < 6 || text.find(',') != 6 ||
        !TakeNumber(text, fraction, "") || seconds >= kMaxSeconds) {
        return false;
    }
    const auto magnitude = static_cast<std::int64_t>(seconds * 1000000 + fraction);
    microseconds = negative ? -magnitude : magnitude;
    return true;
}

// The entry's second line: its time, then event, code, extra, class key, function key,
// object and thread id in decimal.
bool ReadNumbers(std::string_view line, FlowRecord& record) {
    if (!line.starts_with(kNumbers)) {
        return false;
    }
    line.remove_prefix(kNumbers.size());
    std::uint32_t classKey = 0;
    std::uint32_t functionKey = 0;
    return TakeTime(line, record.microseconds) && line.starts_with(", ") &&
           TakeNumber(line = line.substr(2), record.event, ", ") &&
           TakeNumber(line, record.code, ", ") && TakeNumber(line, record.extra, ", ") &&
           TakeNumber(line, classKey, ", ") && TakeNumber(line, functionKey, ", ") &&
           TakeNumber(line, record.object, ", ") && TakeNumber(line, record.threadId, "") &&
           line.empty();
}

// The text between `from` and the first `marker` after it; `from` moves past the marker.
std::optional<std::string_view> Until(std::string_view& from, std::string_view marker) {
    const std::size_t at = from.find(marker);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view before = from.substr(0, at);
    from.remove_prefix(at + marker.size());
    return before;
}

// The names of the entry's first line, read by the numbers of its second.
bool ReadNames(std::string_view line, FlowRecord& record) {
    const char* name = KLogger::EventName(record.event);
    record.eventName = name ? name : "unknown event";
    record.text = line;
    if (!line.starts_with(kEntry) || !line.substr(kEntry.size()).starts_with(record.eventName)) {
        return false;
    }
    line.remove_prefix(kEntry.size() + record.eventName.size());
    const auto detail = Until(line, " in_class ");
    if (!detail) {
        return false;
    }
    if (IsErrorEvent(record.event) || record.event == kMessageSend) {
        record.detail = detail->substr(detail->empty() ? 0 : 1);
    } else if (record.event == kStateChange) {
        record.detail = detail->substr(detail->starts_with(" to ") ? 4 : 0);
    }
    const std::size_t named = line.find(" at ");
    const std::size_t unnamed = line.find(" at_point ");
    if (named == std::string_view::npos && unnamed == std::string_view::npos) {
        return false;
    }
    const std::size_t at = std::min(named, unnamed);
    record.className = line.substr(0, at);
    line.remove_prefix(at + (at == named ? 4 : 1));
    const auto function = Until(line, " for_object ");
    if (!function) {
        return false;
    }
    record.functionName = *function;
    record.threadName = "";
    if (record.threadId != 0) {
        std::string thread = " in_thread ";
        thread.append(std::to_string(record.threadId)).append(" (");
        const std::size_t at = line.rfind(thread);
        if (at == std::string_view::npos || !line.ends_with(')')) {
            return false;
        }
        record.threadName = line.substr(at + thread.size());
        record.threadName.remove_suffix(1);
    }
    return true;
}

}  // namespace

std::optional<FlowLog> ReadFlowLog(std::string_view text) {
    if (!text.starts_with(kReference)) {
        return std::nullopt;
    }
    FlowLog log;
    log.reference = NextLine(text).substr(kReference.size());
    // A text that does not end with a line end was cut inside its last line.
    const std::size_t whole = text.rfind('\n') + 1;
    log.unreadLines += whole < text.size() ? 1 : 0;
    text = text.substr(0, whole);
    std::string_view pending;  // a first line waiting for its second
    while (!text.empty()) {
        const std::string_view line = NextLine(text);
        FlowRecord record{};
        if (!pending.empty() && ReadNumbers(line, record) && ReadNames(pending, record)) {
            log.records.push_back(record);
            pending = {};
            continue;
        }
        log.unreadLines += pending.empty() ? 0 : 1;
        pending = {};
        if (line.starts_with(kEntry)) {
            pending = line;
        } else if (!line.starts_with(kHeader) && !line.empty()) {
            ++log.unreadLines;
        }
    }
    log.unreadLines += pending.empty() ? 0 : 1;
    return log;
}

}  // namespace LumoDump
