#include "tools/lumo-sim/received_message.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <utility>

#include "lumo/api/chunk.h"
#include "service_api/core/des.h"
#include "tools/common/words.h"
#include "tools/lumo-sim/request_decoder.h"
#include "tools/lumo-sim/wire_reader.h"

namespace LumoSim {
namespace {

namespace Api = Quorvel::Lumo::Api;
using LumoTools::Hex;

// The token is the client's minute (day, month, hour, minute, four zeros) enciphered under
// its key: a service takes its own minute, or the one before for a token made as the minute
// turned. lumo-sim knows the key of a client given none, eight zero bytes, which is what the
// helper and lumo-client use.
bool TokenOfNow(const std::uint8_t* token, const Orvane::Platform::LocalTime& now) {
    using namespace std::chrono;
    const sys_days date = year_month_day{year{now.year}, month{now.month}, day{now.day}};
    const sys_time<minutes> thisMinute = date + hours{now.hour} + minutes{now.minute};
    const Api::DesKeySchedule zeroKey(Api::DesKey{});
    for (const sys_time<minutes> at : {thisMinute, thisMinute - minutes{1}}) {
        const sys_days atDate = floor<days>(at);
        const year_month_day calendar{atDate};
        const hh_mm_ss time{at - atDate};
        const Api::DesBlock plain = {static_cast<std::uint8_t>(unsigned{calendar.day()}),
                                     static_cast<std::uint8_t>(unsigned{calendar.month()}),
                                     static_cast<std::uint8_t>(time.hours().count()),
                                     static_cast<std::uint8_t>(time.minutes().count())};
        const Api::DesBlock expected = zeroKey.Encipher(plain);
        if (std::equal(expected.begin(), expected.end(), token)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool IsRegistration(std::uint32_t messageId) {
    return messageId == Api::MessageCode::kRegister ||
           messageId == Api::MessageCode::kRegisterAlternate;
}

std::optional<ReceivedMessage> DescribeReceived(JsonLine& line, std::uint64_t dwData,
                                                const void* data, std::size_t size,
                                                const Orvane::Platform::LocalTime& now) {
    constexpr std::size_t kChunkSize = 32;
    constexpr std::size_t kClientHeaderSize = 60;
    line.Add("dwData", dwData).Add("size", size);
    if (size < kClientHeaderSize) {
        line.Add("error", "shorter than a client message header");
        return std::nullopt;
    }
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    WireReader header(bytes, kClientHeaderSize);
    const std::uint32_t messageId = header.U32();
    const std::uint32_t argument1 = header.U32();
    const std::uint32_t argument2 = header.U32();
    const std::uint32_t dataSize = header.U32();
    const bool chunkReservedZero = header.Zeros(16);
    const std::uint32_t clientWindow = header.U32();
    const bool senderReservedZero = header.Zeros(24);
    const std::uint8_t* payload = bytes + kClientHeaderSize;
    const std::size_t payloadSize = size - kClientHeaderSize;
    line.Add("messageId", messageId)
        .Add("argument1", argument1)
        .Add("argument2", argument2)
        .Add("dataSize", dataSize)
        .Add("clientWindow", clientWindow)
        .Add("payloadSize", payloadSize)
        .Add("payload", Hex(payload, payloadSize));
    JsonLine fields;
    auto malformed = DescribeRequest(fields, messageId, argument1, payload, payloadSize);
    if (!malformed && IsRegistration(messageId) && !TokenOfNow(payload + 4, now)) {
        malformed = "the registration's token is not of this minute";
    }
    // What every client's header holds, whatever its request; a fault here comes first, as
    // a service reads the header before the payload.
    const std::pair<bool, const char*> headerRules[] = {
        {dwData == 0, "dwData is not 0"},
        {dataSize == size - kChunkSize, "dataSize is not the payload size + 28"},
        {argument2 == 0, "argument2 is not 0"},
        {chunkReservedZero, "the chunk's reserved bytes are not 0"},
        {senderReservedZero, "the sender block's reserved bytes are not 0"},
    };
    const auto broken = std::find_if(std::begin(headerRules), std::end(headerRules),
                                     [](const auto& rule) { return !rule.first; });
    if (broken != std::end(headerRules)) {
        malformed = broken->second;
    }
    line.Add("request", fields);
    if (malformed) {
        line.Add("malformed", *malformed);
    }
    return ReceivedMessage{messageId, clientWindow, !malformed};
}

}  // namespace LumoSim
