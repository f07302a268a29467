#include "tools/lumo-sim/received_message.h"

#include <string>

#include "service_api/core/chunk.h"
#include "service_api/core/registration.h"
#include "tools/common/words.h"
#include "tools/lumo-sim/request_decoder.h"
#include "tools/lumo-sim/wire_reader.h"

namespace LumoSim {
namespace {

namespace Api = Quorvel::Lumo::Api;
using LumoTools::Hex;

constexpr std::size_t kChunkSize = 32;
constexpr std::size_t kClientHeaderSize = 60;

void DescribeRegistration(JsonLine& line, const std::uint8_t* payload, std::size_t size,
                          const std::array<std::uint8_t, 8>& clientKey,
                          const Orvane::Platform::LocalTime& clock) {
    const auto request = Api::DecodeRegistrationRequest(payload, size, clientKey);
    if (!request) {
        line.Add("error", "registration payload shorter than 272 bytes");
        return;
    }
    const Api::RegistrationTime& token = request->time;
    line.Add("apiVersion", request->apiVersion)
        .Add("clientType", request->clientType)
        .Add("flag", request->flag)
        .Add("reservedZero", request->reservedIsZero)
        .Add("tokenDay", token.day)
        .Add("tokenMonth", token.month)
        .Add("tokenHour", token.hour)
        .Add("tokenMinute", token.minute)
        .Add("tokenPaddingZero", token.paddingIsZero)
        .Add("tokenMatches", token.paddingIsZero && Api::RegistrationTimeMatches(token, clock));
}

}  // namespace

std::optional<ReceivedMessage> DescribeReceived(JsonLine& line, const void* data, std::size_t size,
                                                const std::array<std::uint8_t, 8>& clientKey,
                                                const Orvane::Platform::LocalTime& clock) {
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
        DescribeRegistration(line, payload, payloadSize, clientKey, clock);
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
