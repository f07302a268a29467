// A service message whose record layout belongs to the service: its chunk header and a
// copy of its payload, for an application that knows the layout to read with the payload
// archive.
#pragma once

#include "lumo/api/chunk.h"
#include "service_api/core/icore.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace Quorvel::Lumo::Api {

struct ServiceRecord {
    sLUMOChunk header;
    std::vector<std::uint8_t> payload;
};

// A message handler that hands each message to `deliver` as a ServiceRecord.
LumoMessageHandler ForwardRecord(std::function<void(const ServiceRecord&)> deliver);

}  // namespace Quorvel::Lumo::Api
