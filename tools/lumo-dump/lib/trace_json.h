// The text of a trace in the Trace Event Format's JSON object form, event by event, in the
// order they are given: the metadata that names the process and its threads, slices as
// begin and end events, marks as instant events, and the arrows of messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tools/lumo-dump/lib/flow_log_reader.h"

namespace LumoDump {

struct TraceFault;

struct TraceSlice {
    std::int64_t begin;
    std::int64_t end;
    std::string_view className;
    std::string_view functionName;
    const char* cut;  // why an end is not the log's own, or nullptr
};

struct TraceMark {
    std::int64_t at;
    const FlowRecord* record;  // null for the fault
    enum class Kind { Entry, ArrowStart, ArrowEnd, Fault } kind;
    std::size_t arrow;  // the arrow's id, for its ends
};

class TraceWriter {
  public:
    // `entries`: how many the log has, to size the text once.
    TraceWriter(std::string_view program, const TraceFault* fault, std::size_t entries);

    void ThreadName(std::uint32_t threadId, std::string_view name, std::size_t sortIndex);
    void Begin(std::uint32_t threadId, const TraceSlice& slice);
    void End(std::uint32_t threadId, const TraceSlice& slice);
    void Mark(std::uint32_t threadId, const TraceMark& mark);
    // The whole text, with what the log says of itself.
    std::string Finish(const FlowLog& log, bool ringFull);

  private:
    void Slice(std::string_view phase, std::uint32_t threadId, std::int64_t at,
               const TraceSlice& slice);
    void Open(std::string_view phase, std::uint32_t threadId, std::int64_t at);
    void Name(std::string_view prefix, std::string_view className, std::string_view function);
    void Text(std::string_view text);
    void TextBody(std::string_view text);
    void Number(std::uint64_t value);
    void Hex(std::uint64_t value, int digits);

    std::string m_out;
    std::string m_program;
    const TraceFault* m_fault;
};

}  // namespace LumoDump
