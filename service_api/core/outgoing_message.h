// How the transport frames what the client sends: the 60-byte message header, then the
// payload.
#pragma once

#include "lumo/api/chunk.h"

#include <cstdint>
#include <vector>

namespace Quorvel::Lumo::Api {

// A client-to-service message into `message`, whatever it held before: header (dataSize =
// payloadSize + 28) then the payload, which is copied only when the pointer is not null
// (the bytes are zero otherwise). A buffer kept from one message to the next keeps its room.
void BuildOutgoingMessage(std::vector<std::uint8_t>& message, std::uint32_t messageCode,
                          const void* payload, std::uint32_t payloadSize, std::uint32_t argument1,
                          std::uint32_t argument2, std::uint32_t clientWindow);

}  // namespace Quorvel::Lumo::Api
