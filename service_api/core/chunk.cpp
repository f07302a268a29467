#include "service_api/core/chunk.h"

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

std::vector<std::uint8_t> Frame(const void* header, std::size_t headerSize, const void* payload,
                                std::uint32_t payloadSize) {
    std::vector<std::uint8_t> message(headerSize + payloadSize);
    std::memcpy(message.data(), header, headerSize);
    if (payload != nullptr && payloadSize != 0) {
        std::memcpy(message.data() + headerSize, payload, payloadSize);
    }
    return message;
}

}  // namespace

std::vector<std::uint8_t> BuildOutgoingMessage(std::uint32_t messageCode, const void* payload,
                                               std::uint32_t payloadSize, std::uint32_t argument1,
                                               std::uint32_t argument2,
                                               std::uint32_t clientWindow) {
    LumoMessageHeader header{};
    header.chunk = MakeChunk(messageCode, argument1, argument2,
                             payloadSize + static_cast<std::uint32_t>(sizeof(LumoSenderBlock)));
    header.sender.clientWindow = clientWindow;
    return Frame(&header, sizeof header, payload, payloadSize);
}

}  // namespace Quorvel::Lumo::Api
