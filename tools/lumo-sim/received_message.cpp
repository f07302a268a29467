#include "tools/lumo-sim/received_message.h"

#include <string>

#include "service_api/core/chunk.h"
#include "service_api/core/registration.h"

namespace LumoSim {
namespace {

namespace Api = Quorvel::Lumo::Api;

std::string Hex(const std::uint8_t* bytes, std::size_t size) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * size);
    for (std::size_t i = 0; i < size; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xF];
    }
    return text;
}

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
    const auto chunk = Api::ReadChunk(data, size);
    if (!chunk) {
        line.Add("error", "shorter than a chunk header");
        return std::nullopt;
    }
    line.Add("messageId", chunk->messageId)
        .Add("argument1", chunk->argument1)
        .Add("argument2", chunk->argument2)
        .Add("dataSize", chunk->dataSize)
        .Add("dataSizeMatches", chunk->dataSize == size - sizeof(Api::sLUMOChunk));
    const auto header = Api::ReadMessageHeader(data, size);
    if (!header) {
        line.Add("error", "shorter than a client message header");
        return std::nullopt;
    }
    const auto* payload = static_cast<const std::uint8_t*>(data) + sizeof(Api::LumoMessageHeader);
    const std::size_t payloadSize = size - sizeof(Api::LumoMessageHeader);
    line.Add("clientWindow", header->sender.clientWindow).Add("payloadSize", payloadSize);
    if (chunk->messageId == Api::MessageCode::kRegister ||
        chunk->messageId == Api::MessageCode::kRegisterAlternate) {
        DescribeRegistration(line, payload, payloadSize, clientKey, clock);
    } else {
        line.Add("payload", Hex(payload, payloadSize));
    }
    return ReceivedMessage{chunk->messageId, header->sender.clientWindow};
}

}  // namespace LumoSim
