// What the simulated service makes of a client's request: the fields of its payload, read
// by the layout its message id has, or why the request is malformed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/common/json_line.h"

namespace LumoSim {

using LumoTools::JsonLine;

// Adds the request's fields to `fields`. Returns why the request is malformed when its
// size, its layout or its chunk value is wrong for `messageId`, or the id is not one the
// service takes; nothing when it is well formed.
std::optional<std::string> DescribeRequest(JsonLine& fields, std::uint32_t messageId,
                                           std::uint32_t chunkValue, const std::uint8_t* payload,
                                           std::size_t size);

}  // namespace LumoSim
