// One line per event, as text for people or as one JSON object for programs.
#pragma once

#include <cstddef>
#include <string>

#include "tools/dds-listen/lib/announcement_decoder.h"
#include "tools/dds-listen/lib/announcer_liveness.h"

namespace DdsListen {

enum class OutputFormat { Text, Json };

// The JSON form carries `clockUs`, the machine's monotonic clock at receipt in microseconds,
// which other programs on the machine can compare with their own readings of it.
std::string DatagramLine(OutputFormat format, const std::string& source, std::size_t size,
                         const DecodeResult& decoded, std::int64_t clockUs);
std::string LivenessLine(OutputFormat format, const LivenessEvent& event);

// A received text shown safely in the text form: printable bytes and well-formed UTF-8
// stay, quotes and backslashes are escaped, everything else is \xNN. (The JSON form
// shows bytes that are not well-formed UTF-8 as U+FFFD.)
std::string Escaped(const std::string& text);

}  // namespace DdsListen
