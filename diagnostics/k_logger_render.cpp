// The text form of the flow log, the form that crash dumps and exit dumps carry.
#include "diagnostics/calendar_text.h"
#include "diagnostics/diagnostics_registry.h"
#include "diagnostics/flow_log_text.h"
#include "diagnostics/k_logger.h"

#include <ostream>

namespace {

bool IsNeverWritten(const FlowLogEntry& entry) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&entry);
    for (std::size_t i = 0; i < sizeof entry; ++i) {
        if (bytes[i] != 0)
            return false;
    }
    return true;
}

bool IsErrorEvent(std::int32_t event) {
    return event >= -105 && event <= -101;
}

constexpr std::int32_t kStateChange = -25;
constexpr std::int32_t kMessageSend = -21;
constexpr std::int32_t kTimingPoint = 0;

void AppendNameOr(std::string& out, std::optional<const char*> name, const char* fallback) {
    out += name ? *name : fallback;
}

}  // namespace

std::string KLogger::RenderEntry(std::size_t index,
                                 const MDiagnosticsRegistryImplementation& names) const {
    if (index >= kCapacity)
        return "*OUT OF BOUNDS*";
    std::string text;
    if (const FlowLogEntry* entry = Slot(index); entry && !IsNeverWritten(*entry))
        AppendEntryText(text, *entry, names);
    return text;
}

void KLogger::AppendEntryText(std::string& out, const FlowLogEntry& entry,
                              const MDiagnosticsRegistryImplementation& names) const {
    // Copy the packed fields once; the slot may be rewritten by a recording thread meanwhile.
    const std::int32_t event = entry.event;
    const std::uint32_t code = entry.code;
    const std::uint32_t extra = entry.extra;
    const std::uint32_t classKey = entry.classKey;
    const std::uint32_t functionKey = entry.functionKey;
    const std::uint64_t object = entry.object;
    const std::uint32_t threadId = entry.threadId;
    const std::int64_t timestamp = entry.timestamp;

    out += "% ";
    const char* eventName = EventName(event);
    out += eventName ? eventName : "unknown event";
    if (IsErrorEvent(event)) {
        out += ' ';
        AppendNameOr(out, names.FindName(code), "(unknown)");
    } else if (event == kStateChange) {
        if (const auto state = names.FindStateName(code)) {
            out += " to ";
            out += *state;
        } else {
            out += " to state_";
            AppendDecimal(out, std::uint64_t{code});
        }
    } else if (event == kMessageSend) {
        out += ' ';
        if (const auto value = names.FindStateName(code))
            out += *value;
        else
            AppendDecimal(out, std::uint64_t{code});
    } else if (event == kTimingPoint) {
        out += " (";
        AppendDecimal(out, std::uint64_t{code});
        out += ", ";
        AppendDecimal(out, std::uint64_t{extra});
        out += ')';
    }

    out += " in_class ";
    AppendNameOr(out, names.FindName(classKey), "(unknown)");

    const auto functionName = names.FindName(functionKey);
    if (event != kTimingPoint || functionName) {
        out += " at ";
        AppendNameOr(out, functionName, "(unknown)");
    } else {
        out += " at_point ";
        AppendDecimal(out, std::uint64_t{functionKey});
    }

    out += " for_object ";
    AppendPointer(out, object);
    out += " (";
    out += names.FindObjectName(object).value_or("unknown");
    out += ')';

    if (threadId != 0) {
        out += " in_thread ";
        AppendDecimal(out, std::uint64_t{threadId});
        out += " (";
        out += names.FindThreadName(threadId).value_or("unknown");
        out += ')';
    }

    out += "\n    ";
    AppendRelativeTime(out, timestamp - reference_.counter, reference_.frequency);
    for (const std::int64_t value : {std::int64_t{event}, std::int64_t{code}, std::int64_t{extra},
                                     std::int64_t{classKey}, std::int64_t{functionKey}}) {
        out += ", ";
        AppendDecimal(out, value);
    }
    out += ", ";
    AppendDecimal(out, object);
    out += ", ";
    AppendDecimal(out, std::uint64_t{threadId});
}

const FlowLogEntry* KLogger::OldestWrittenEntry() const {
    for (std::size_t n = 0; ring_ && n < kCapacity; ++n) {
        const FlowLogEntry* entry = Slot((OldestSlot() + n) & (kCapacity - 1));
        if (!IsNeverWritten(*entry))
            return entry;
    }
    return nullptr;
}

void KLogger::Render(std::ostream& out, const MDiagnosticsRegistryImplementation& names) const {
    const std::size_t oldest = OldestSlot();
    const FlowLogEntry* oldestEntry = OldestWrittenEntry();

    std::string text = "%% Reference time: ";
    AppendRelativeTime(text, reference_.counter - (oldestEntry ? oldestEntry->timestamp : 0),
                       reference_.frequency);
    const CalendarText calendar = ToCalendarText(reference_.wallClock.seconds);
    if (calendar.converted) {
        text += " is approximately ";
        AppendDecimal(text, std::uint64_t{reference_.wallClock.milliseconds});
        text += "ms past ";
        text += calendar.text;  // ends with the runtime's own line break
    } else {
        text += " is wrong.";
        AppendDecimal(text, std::int64_t{calendar.error});
        text += '\n';
    }
    text += "%% absolute reference timestamp: ";
    AppendRelativeTime(text, 0 - reference_.counter, reference_.frequency);
    text += "\n%%\n";
    out << text;

    if (!ring_)
        return;
    for (std::size_t n = 0; n < kCapacity; ++n) {
        const FlowLogEntry& entry = *Slot((oldest + n) & (kCapacity - 1));
        if (IsNeverWritten(entry))
            continue;
        text.clear();
        AppendEntryText(text, entry, names);
        text += '\n';
        out << text;
    }
}
