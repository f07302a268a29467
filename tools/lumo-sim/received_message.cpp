#include "tools/lumo-sim/received_message.h"

#include <string>

#include "service_api/core/chunk.h"
#include "tools/common/words.h"
#include "tools/lumo-sim/request_decoder.h"
#include "tools/lumo-sim/wire_reader.h"

namespace LumoSim {
namespace {

namespace Api = Quorvel::Lumo::Api;
using LumoTools::Hex;

constexpr std::size_t kChunkSize = 32;
constexpr std::size_t kRegistrationSize = 272;
constexpr std::uint32_t kApiVersion = 0x06030000;
constexpr std::size_t kClientHeaderSize = 60;

// Read as the service reads it: 272 bytes of version, token, client type, a 1 and zeros.
// The token is shown as it came: whoever judges it deciphers it with a DES of their own.
// Returns why a service would refuse the registration, or nothing.
std::optional<std::string> DescribeRegistration(JsonLine& line, const std::uint8_t* payload,
                                                std::size_t size) {
    if (size != kRegistrationSize) {
        line.Add("error", "a registration payload is 272 bytes");
        return "size";
    }
    WireReader in(payload, size);
    const std::uint32_t apiVersion = in.U32();
    const std::string token = in.Hex(8);
    const std::uint32_t clientType = in.U32();
    const auto flag = in.Unsigned(1);
    const bool reservedZero = in.Zeros(kRegistrationSize - 17);
    line.Add("apiVersion", apiVersion)
        .Add("token", token)
        .Add("clientType", clientType)
        .Add("flag", flag)
        .Add("reservedZero", reservedZero);
    if (apiVersion != kApiVersion) {
        return "API version";
    }
    if (flag != 1 || !reservedZero) {
        return "layout";
    }
    return std::nullopt;
}

}  // namespace

std::optional<ReceivedMessage> DescribeReceived(JsonLine& line, const void* data,
                                                std::size_t size) {
    line.Add("size", size);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    if (size < kChunkSize) {
        line.Add("error", "shorter than a chunk header");
        return std::nullopt;
    }
    WireReader chunk(bytes, kChunkSize);
    const std::uint32_t messageId = chunk.U32();
    const std::uint32_t argument1 = chunk.U32();
    const std::uint32_t argument2 = chunk.U32();
    const std::uint32_t dataSize = chunk.U32();
    line.Add("messageId", messageId)
        .Add("argument1", argument1)
        .Add("argument2", argument2)
        .Add("dataSize", dataSize)
        .Add("dataSizeMatches", dataSize == size - kChunkSize)
        .Add("chunkReservedZero", chunk.Zeros(16));
    if (size < kClientHeaderSize) {
        line.Add("error", "shorter than a client message header");
        return std::nullopt;
    }
    WireReader sender(bytes + kChunkSize, kClientHeaderSize - kChunkSize);
    const std::uint32_t clientWindow = sender.U32();
    const std::uint8_t* payload = bytes + kClientHeaderSize;
    const std::size_t payloadSize = size - kClientHeaderSize;
    line.Add("clientWindow", clientWindow)
        .Add("senderReservedZero", sender.Zeros(24))
        .Add("payloadSize", payloadSize);
    ReceivedMessage received{messageId, clientWindow, true};
    if (messageId == Api::MessageCode::kRegister ||
        messageId == Api::MessageCode::kRegisterAlternate) {
        if (const auto refused = DescribeRegistration(line, payload, payloadSize)) {
            line.Add("refused", *refused);
            received.wellFormed = false;
        }
        return received;
    }
    line.Add("payload", Hex(payload, payloadSize));
    JsonLine fields;
    auto malformed = DescribeRequest(fields, messageId, argument1, payload, payloadSize);
    if (!malformed && argument2 != 0) {
        malformed = "argument2 is not 0";
    }
    line.Add("request", fields);
    if (malformed) {
        line.Add("malformed", *malformed);
        received.wellFormed = false;
    }
    return received;
}

}  // namespace LumoSim
