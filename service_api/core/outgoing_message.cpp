#include "service_api/core/outgoing_message.h"

#include <cstring>

namespace Quorvel::Lumo::Api {
namespace {

sLUMOChunk MakeChunk(std::uint32_t messageCode, std::uint32_t argument1, std::uint32_t argument2,
                     std::uint32_t dataSize) {
    sLUMOChunk chunk{};
    chunk.messageId = messageCode;
    chunk.argument1 = argument1;
    chunk.argument2 = argument2;
    chunk.dataSize = dataSize;
    return chunk;
}

}  // namespace

void BuildOutgoingMessage(std::vector<std::uint8_t>& message, std::uint32_t messageCode,
                          const void* payload, std::uint32_t payloadSize, std::uint32_t argument1,
                          std::uint32_t argument2, std::uint32_t clientWindow) {
    LumoMessageHeader header{};
    header.chunk = MakeChunk(messageCode, argument1, argument2,
                             payloadSize + static_cast<std::uint32_t>(sizeof(LumoSenderBlock)));
    header.sender.clientWindow = clientWindow;
    message.resize(sizeof header + payloadSize);
    std::memcpy(message.data(), &header, sizeof header);
    std::uint8_t* const body = message.data() + sizeof header;
    if (payload != nullptr && payloadSize != 0) {
        std::memcpy(body, payload, payloadSize);
    } else if (payloadSize != 0) {
        std::memset(body, 0, payloadSize);
    }
}

}  // namespace Quorvel::Lumo::Api
