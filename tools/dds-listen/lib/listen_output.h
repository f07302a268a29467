// One line per event, as text for people or as one JSON object for programs.
#pragma once

#include <cstddef>
#include <string>

#include "tools/dds-listen/lib/announcement_decoder.h"
#include "tools/dds-listen/lib/announcer_liveness.h"

namespace DdsListen {

enum class OutputFormat { Text, Json };

std::string DatagramLine(OutputFormat format, const std::string& source, std::size_t size,
                         const DecodeResult& decoded);
std::string LivenessLine(OutputFormat format, const LivenessEvent& event);

// A received text shown safely: in Text form printable bytes and well-formed UTF-8 stay,
// quotes and backslashes are escaped, everything else is \xNN; in Json form a valid JSON
// string body, with bytes that are not well-formed UTF-8 as \u00NN.
std::string Escaped(OutputFormat format, const std::string& text);

}  // namespace DdsListen
