// How the simulated service reads a block a client sent it, for its output line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "tools/common/json_line.h"

namespace LumoSim {

using LumoTools::JsonLine;

struct ReceivedMessage {
    std::uint32_t messageId;
    std::uint32_t clientWindow;  // from the sender block
    bool wellFormed;             // the request's layout fits its id
};

// Adds the decoded fields to `line`: size, messageId, argument1, argument2, dataSize,
// dataSizeMatches, chunkReservedZero, clientWindow, senderReservedZero, payloadSize; for a
// registration the API version, the token's bytes, client type and flag; for any other
// message the payload in hexadecimal, the request's fields as "request" and, when its
// layout is wrong for its id, "malformed" with the reason. Nothing is returned for a block
// shorter than a client's 60-byte header (the line then carries an "error").
std::optional<ReceivedMessage> DescribeReceived(JsonLine& line, const void* data, std::size_t size);

}  // namespace LumoSim
