#include "tools/lumo-dump/lib/trace_json.h"

#include "tools/lumo-dump/lib/flow_trace.h"

#include <algorithm>
#include <charconv>

#include <nlohmann/json.hpp>

namespace LumoDump {
namespace {

constexpr std::int32_t kTimingPoint = 0;
constexpr std::int32_t kStateChange = -25;
constexpr std::int32_t kMessageSend = -21;
constexpr std::size_t kFramesShown = 12;
// About what an entry's mark takes, its text included: the text is sized once instead of
// grown as it goes, which for a full ring was a large part of the trace's time.
constexpr std::size_t kBytesPerEntry = 384;
// One process: the trace is of one run of one program.
constexpr std::string_view kProcess = R"("pid":1,"tid":)";

// The argument under which an entry's named value appears.
const char* DetailKey(std::int32_t event) {
    if (event == kStateChange) {
        return "state";
    }
    return event == kMessageSend ? "message" : "error";
}

}  // namespace

TraceWriter::TraceWriter(std::string_view program, const TraceFault* fault, std::size_t entries)
    : m_program(program), m_fault(fault) {
    m_out.reserve(entries * kBytesPerEntry);
    m_out += "{\"traceEvents\":[\n{\"ph\":\"M\",";
    m_out.append(kProcess).append("0,\"name\":\"process_name\",\"args\":{\"name\":");
    Text(program);
    m_out += "}}";
}

void TraceWriter::ThreadName(std::uint32_t threadId, std::string_view name, std::size_t sortIndex) {
    m_out += ",\n{\"ph\":\"M\",";
    m_out.append(kProcess);
    Number(threadId);
    m_out += ",\"name\":\"thread_name\",\"args\":{\"name\":";
    Text(name);
    m_out += "}},\n{\"ph\":\"M\",";
    m_out.append(kProcess);
    Number(threadId);
    m_out += ",\"name\":\"thread_sort_index\",\"args\":{\"sort_index\":";
    Number(sortIndex);
    m_out += "}}";
}

void TraceWriter::Begin(std::uint32_t threadId, const TraceSlice& slice) {
    Slice("B", threadId, slice.begin, slice);
}

void TraceWriter::End(std::uint32_t threadId, const TraceSlice& slice) {
    Slice("E", threadId, slice.end, slice);
}

// Both ends carry the same name and arguments: a viewer pairs them by name, and one that
// names a slice by both would otherwise see two.
void TraceWriter::Slice(std::string_view phase, std::uint32_t threadId, std::int64_t at,
                        const TraceSlice& slice) {
    Open(phase, threadId, at);
    m_out += R"(,"cat":"scope")";
    Name("", slice.className, slice.functionName);
    if (slice.cut) {
        m_out += ",\"args\":{\"cut\":";
        Text(slice.cut);
        m_out += '}';
    }
    m_out += '}';
}

void TraceWriter::Mark(std::uint32_t threadId, const TraceMark& mark) {
    using Kind = TraceMark::Kind;
    if (mark.kind == Kind::ArrowStart || mark.kind == Kind::ArrowEnd) {
        Open(mark.kind == Kind::ArrowStart ? "s" : "f", threadId, mark.at);
        m_out += mark.kind == Kind::ArrowEnd ? ",\"bp\":\"e\",\"id\":" : ",\"id\":";
        Number(mark.arrow);
        m_out += ",\"cat\":\"message\",\"name\":\"message ";
        Number(mark.record->code);
        m_out += "\"}";
        return;
    }
    Open("i", threadId, mark.at);
    m_out += ",\"s\":\"t\",\"cat\":";
    if (mark.kind == Kind::Fault) {
        const char* name = ExceptionName(m_fault->code);
        m_out += "\"exception\",\"name\":";
        Text(name ? name : "exception");
        m_out += ",\"args\":{\"code\":";
        Hex(m_fault->code, 8);
        m_out += ",\"address\":";
        Hex(m_fault->address, 16);
        if (!m_fault->thrown.empty()) {
            m_out += ",\"thrown\":";
            Text(m_fault->thrown);
        }
        m_out += ",\"frames\":[";
        const std::size_t shown = std::min(kFramesShown, m_fault->frames.size());
        for (std::size_t i = 0; i < shown; ++i) {
            m_out += i ? "," : "";
            Text(m_fault->frames[i].text);
        }
        m_out += "],\"time\":\"after the log's last entry, drawn at it\"}}";
        return;
    }
    const FlowRecord& record = *mark.record;
    Text(record.eventName);
    Name(record.event == kTimingPoint ? "" : record.eventName, record.className,
         record.functionName);
    m_out += ",\"args\":{\"code\":";
    Number(record.code);
    m_out += ",\"extra\":";
    Number(record.extra);
    m_out += ",\"object\":";
    Hex(record.object, 16);
    if (!record.detail.empty()) {
        m_out += ",\"";
        m_out += DetailKey(record.event);
        m_out += "\":";
        Text(record.detail);
    }
    m_out += ",\"entry\":";
    Text(record.text);
    m_out += "}}";
}

std::string TraceWriter::Finish(const FlowLog& log, bool ringFull) {
    m_out += "\n],\n\"displayTimeUnit\":\"ms\",\n\"otherData\":{\"program\":";
    Text(m_program);
    m_out += ",\"reference\":";
    Text(log.reference);
    m_out += ",\"entries\":";
    Number(log.records.size());
    m_out += ",\"unreadLines\":";
    Number(log.unreadLines);
    if (ringFull) {
        m_out += ",\"ring\":\"full: entries before the first were overwritten\"";
    }
    m_out += "}}\n";
    return std::move(m_out);
}

void TraceWriter::Open(std::string_view phase, std::uint32_t threadId, std::int64_t at) {
    m_out += ",\n{\"ph\":\"";
    m_out.append(phase).append("\",").append(kProcess);
    Number(threadId);
    m_out += ",\"ts\":";
    char text[24];
    m_out.append(text, std::to_chars(text, text + sizeof text, at).ptr);
}

// A slice's name, its class and function as the log names them, the same on its begin and
// end (a viewer pairs them by it); a mark's name has its event before it.
void TraceWriter::Name(std::string_view prefix, std::string_view className,
                       std::string_view function) {
    m_out += ",\"name\":\"";
    if (!prefix.empty()) {
        TextBody(prefix);
        m_out += ": ";
    }
    TextBody(className);
    m_out += "::";
    TextBody(function);
    m_out += '"';
}

void TraceWriter::Text(std::string_view text) {
    m_out += '"';
    TextBody(text);
    m_out += '"';
}

// A JSON string's characters. The log's names are bytes: any that are not UTF-8 become
// U+FFFD.
void TraceWriter::TextBody(std::string_view text) {
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
        return c >= 0x20 && c < 0x7F && c != '"' && c != '\\';
    });
    if (plain) {
        m_out += text;
        return;
    }
    const std::string quoted = nlohmann::json(std::string(text))
                                   .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    m_out.append(quoted, 1, quoted.size() - 2);
}

void TraceWriter::Number(std::uint64_t value) {
    char text[24];
    m_out.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

// Eight or sixteen digits, as Windows prints a code or an address.
void TraceWriter::Hex(std::uint64_t value, int digits) {
    char text[20] = "\"0x";
    for (int i = digits + 2; i > 2; --i, value >>= 4) {
        text[i] = "0123456789ABCDEF"[value & 0xF];
    }
    text[digits + 3] = '"';
    m_out.append(text, static_cast<std::size_t>(digits) + 4);
}

}  // namespace LumoDump
