// What lumo-dump prints of a crash dump, as text or as JSON lines: the exception, the time
// the dump was written, and the flow log as the exit log shows it (the stream holds that
// very text).
#pragma once

#include <string>
#include <vector>

#include "tools/common/json_line.h"
#include "tools/lumo-dump/lib/minidump_file.h"

namespace LumoDump {

std::string TextReport(const Minidump& dump);
std::vector<LumoTools::JsonLine> JsonReport(const Minidump& dump);

}  // namespace LumoDump
