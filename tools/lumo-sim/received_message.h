// How the simulated service reads a block a client sent it, for its output line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/local_time.h"
#include "tools/common/json_line.h"

namespace LumoSim {

using LumoTools::JsonLine;

struct ReceivedMessage {
    std::uint32_t messageId;
    std::uint32_t clientWindow;  // from the sender block
    bool wellFormed;             // a service would act on it
};

// 2000 or 100.
bool IsRegistration(std::uint32_t messageId);

// Adds the decoded fields to `line`: dwData, size, messageId, argument1, argument2,
// dataSize, clientWindow, payloadSize, the payload in hexadecimal, the request's fields as
// "request" and, when the header or the request's layout is not what the protocol fixes,
// "malformed" with the field that is wrong; a registration's token must name `now`'s minute
// or the one before. Nothing is returned for a block shorter than a client's 60-byte header
// (the line then carries an "error").
std::optional<ReceivedMessage> DescribeReceived(JsonLine& line, std::uint64_t dwData,
                                                const void* data, std::size_t size,
                                                const Orvane::Platform::LocalTime& now);

}  // namespace LumoSim
