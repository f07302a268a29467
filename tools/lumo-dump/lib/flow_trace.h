// The flow log as a timeline in the Trace Event Format (JSON), which trace viewers read: one
// process named after the program, a track per thread, scopes as nested slices, every other
// entry as a mark carrying its exact text, a message sent and received as an arrow, and a
// crash's exception as the faulting thread's last mark. A log that was cut is drawn as far as
// it goes: a slice whose start or end the log lacks is drawn to the log's first entry, to the
// fault or to the log's end, and says so in its arguments. Every track's slices nest and its
// times never go back, so that no viewer drops a track.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/lumo-dump/lib/dump_report.h"
#include "tools/lumo-dump/lib/flow_log_reader.h"

namespace LumoDump {

struct TraceFrame {
    std::string function;  // as the program's symbols name it, empty when unknown
    std::string text;      // where it is: the function and line, or the module and offset
};

struct TraceFault {
    std::uint32_t threadId;
    std::uint32_t code;
    std::uint64_t address;
    std::string thrown;              // a C++ exception's type, when known
    std::vector<TraceFrame> frames;  // the faulting thread's stack, top first
};

std::string FlowTrace(const FlowLog& log, std::string_view program,
                      const std::optional<TraceFault>& fault);

// The trace of a crash dump (its flow log, exception and faulting stack), its process named
// after the dump's program.
std::string DumpTrace(const Minidump& dump, const Findings& findings);
// The trace of an exit log, its process named after the log's file; empty for a text that
// is none.
std::optional<std::string> ExitLogTrace(std::string_view text, std::string_view fileName);

}  // namespace LumoDump
