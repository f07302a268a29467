// What lumo-dump prints of a crash dump, as text or as JSON lines: the exception and what it
// threw, the time the dump was written, the stacks, and the flow log as the exit log shows
// it (the stream holds that very text).
#pragma once

#include <string>
#include <vector>

#include "tools/common/json_line.h"
#include "tools/lumo-dump/lib/minidump_file.h"
#include "tools/lumo-dump/lib/thread_stacks.h"

namespace LumoDump {

// What the files at hand add to the dump.
struct Findings {
    std::optional<ThrownType> thrown;
    std::vector<ThreadStack> stacks;
    std::vector<std::string> passedOver;  // module files not used, and why
};

// One frame as the text report prints it: "  #0 address module+offset function file:line\n".
std::string FrameText(std::size_t index, const StackFrame& frame);

std::string TextReport(const Minidump& dump, const Findings& findings);
std::vector<LumoTools::JsonLine> JsonReport(const Minidump& dump, const Findings& findings);

}  // namespace LumoDump
