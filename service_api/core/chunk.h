// The framing of the messages exchanged with the measuring-arm service. Every message
// starts with the 32-byte chunk header; what the client sends carries a 28-byte sender
// block after it (together the 60-byte message header), what the service sends carries
// its payload directly after the chunk header. All values are little-endian.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Quorvel::Lumo::Api {

static_assert(std::endian::native == std::endian::little,
              "wire records are copied as they lie in memory");

struct sLUMOChunk {
    std::uint32_t messageId;
    std::uint32_t argument1;  // in a reply: the code of the request answered
    std::uint32_t argument2;
    std::uint32_t dataSize;  // bytes after the chunk header
    std::uint8_t reserved[16];
};
static_assert(sizeof(sLUMOChunk) == 32);
static_assert(offsetof(sLUMOChunk, dataSize) == 12);

struct LumoSenderBlock {
    std::uint32_t clientWindow;  // low 32 bits of the client's window: the service answers there
    std::uint8_t reserved[24];
};
static_assert(sizeof(LumoSenderBlock) == 28);

struct LumoMessageHeader {
    sLUMOChunk chunk;
    LumoSenderBlock sender;
};
static_assert(sizeof(LumoMessageHeader) == 60);
static_assert(offsetof(LumoMessageHeader, sender) == 32);

namespace MessageCode {
inline constexpr std::uint32_t kRegisterAlternate = 100;
inline constexpr std::uint32_t kInstrumentData = 1000;
inline constexpr std::uint32_t kMeasurement = 1002;
inline constexpr std::uint32_t kReply = 1004;
inline constexpr std::uint32_t kServiceShutdown = 1005;
inline constexpr std::uint32_t kRegister = 2000;
inline constexpr std::uint32_t kUnregister = 2001;
}  // namespace MessageCode

// The largest payload a message can carry: its whole size, and the chunk's dataSize, are
// 32-bit on the wire.
inline constexpr std::uint32_t kLargestPayload = UINT32_MAX - sizeof(LumoMessageHeader);

// A client-to-service message into the sizeof(LumoMessageHeader) + payloadSize bytes at
// `message`: header (dataSize = payloadSize + 28) then the payload, which is copied only when
// the pointer is not null (the bytes are zero otherwise).
void BuildOutgoingMessage(std::uint8_t* message, std::uint32_t messageCode, const void* payload,
                          std::uint32_t payloadSize, std::uint32_t argument1,
                          std::uint32_t argument2, std::uint32_t clientWindow);

}  // namespace Quorvel::Lumo::Api
