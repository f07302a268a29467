// What the simulated service can be told to be, and the messages it sends from that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace LumoSim {

// The instrument record of message 1000 (700 bytes), little-endian:
//   0 u8 version1Minor, 1 u8 version2Major, 2 u8 version2Minor,
//   20 UTF-16 name (zero-terminated), 416 s32 type, 524 u32 version1Major, 534 u8 sub-type.
inline constexpr std::size_t kInstrumentRecordSize = 700;
inline constexpr std::size_t kInstrumentNameOffset = 20;
inline constexpr std::size_t kInstrumentTypeOffset = 416;
inline constexpr std::size_t kVersion1MajorOffset = 524;
inline constexpr std::size_t kSubTypeOffset = 534;
// Units a terminated name may take before it would run into the type field.
inline constexpr std::size_t kMaxNameUnits =
    (kInstrumentTypeOffset - kInstrumentNameOffset) / 2 - 1;

struct SimInstrument {
    std::int32_t type = 2;
    std::uint8_t subType = 0;
    std::u16string name = u"LUMO-SIM";
    // The name is repeated from its offset to the very end of the record, over the other
    // fields and with no terminator: a malformed record for the client's bounds.
    bool nameFillsRecord = false;
    std::uint32_t version1Major = 6;
    std::uint8_t version1Minor = 3;
    std::uint8_t version2Major = 1;
    std::uint8_t version2Minor = 0;
    // Bytes actually sent: shorter cuts the record, longer pads it with zeros.
    std::size_t recordSize = kInstrumentRecordSize;
};

// How the service answers a request: with message `replyId` (0: the request's own id),
// the result in argument2 and the payload.
struct Answer {
    std::uint32_t replyId = 0;
    std::uint32_t result = 0;
    std::vector<std::uint8_t> payload;
};

inline constexpr std::uint32_t kAnyRequest = 0;

struct SimSettings {
    SimInstrument instrument;
    std::uint32_t measurementStatus = 0x00200000;  // reliable
    bool acceptMessages = true;                    // what WM_COPYDATA answers
    bool answerInside = false;  // answers go out from inside the request's WM_COPYDATA
    // By request id; kAnyRequest for every request without an answer of its own.
    std::map<std::uint32_t, Answer> answers;
    // The title of the top-level window that sends go to; empty: the registered client.
    std::u16string recipient;
};

// A service-to-client message before framing.
struct ServiceMessage {
    std::uint32_t messageId = 0;
    std::uint32_t argument1 = 0;
    std::uint32_t argument2 = 0;
    std::vector<std::uint8_t> payload;
    // The payload is the whole block as it goes out, with no chunk header in front: for
    // blocks a service would never send.
    bool unframed = false;
};

inline constexpr std::size_t kMeasurementRecordSize = 64;

std::vector<std::uint8_t> BuildInstrumentRecord(const SimInstrument& instrument);

ServiceMessage InstrumentDataMessage(const SimInstrument& instrument);
// The status word, then zeros up to kMeasurementRecordSize.
ServiceMessage MeasurementMessage(std::uint32_t status);
ServiceMessage ReplyMessage(std::uint32_t answeredCode, std::uint32_t result,
                            std::vector<std::uint8_t> payload);
ServiceMessage ShutdownMessage();

// The block as the service sends it: the 32-byte chunk (id, argument1, argument2, payload
// size, 16 zero bytes) followed directly by the payload.
std::vector<std::uint8_t> Framed(const ServiceMessage& message);

}  // namespace LumoSim
