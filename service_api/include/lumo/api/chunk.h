/// @file
/// The framing of the messages exchanged with the measuring-arm service. Every message
/// starts with the 32-byte chunk header; what the client sends carries a 28-byte sender
/// block after it (together the 60-byte message header), what the service sends carries
/// its payload directly after the chunk header. All values are little-endian.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Quorvel::Lumo::Api {

static_assert(std::endian::native == std::endian::little,
              "wire records are copied as they lie in memory");

/// The chunk header that opens every message, in both directions (32 bytes).
struct sLUMOChunk {
    std::uint32_t messageId;    ///< the message's code: a request's id, an event's, or 1004
    std::uint32_t argument1;    ///< a small value of the message; in a reply, the code answered
    std::uint32_t argument2;    ///< in a reply, the service's verdict (an XeLUMOResult)
    std::uint32_t dataSize;     ///< bytes after the chunk header
    std::uint8_t reserved[16];  ///< zero when the client sends; never read
};
static_assert(sizeof(sLUMOChunk) == 32);
static_assert(offsetof(sLUMOChunk, dataSize) == 12);

/// What a client's message carries after its chunk header (28 bytes).
struct LumoSenderBlock {
    /// The low 32 bits of the client's message window: the service answers there.
    std::uint32_t clientWindow;
    std::uint8_t reserved[24];  ///< zero
};
static_assert(sizeof(LumoSenderBlock) == 28);

/// The header of a client-to-service message (60 bytes); the payload follows it.
struct LumoMessageHeader {
    sLUMOChunk chunk;        ///< dataSize counts the sender block and the payload
    LumoSenderBlock sender;  ///< who sends
};
static_assert(sizeof(LumoMessageHeader) == 60);
static_assert(offsetof(LumoMessageHeader, sender) == 32);

/// The codes of the messages that the transport itself sends or looks at.
namespace MessageCode {
inline constexpr std::uint32_t kRegisterAlternate = 100;  ///< registration, alternate mode
inline constexpr std::uint32_t kInstrumentData = 1000;    ///< the attached instrument
inline constexpr std::uint32_t kMeasurement = 1002;       ///< a measurement
inline constexpr std::uint32_t kReply = 1004;             ///< a reply that names its request
inline constexpr std::uint32_t kServiceShutdown = 1005;   ///< the service is shutting down
inline constexpr std::uint32_t kRegister = 2000;          ///< registration
inline constexpr std::uint32_t kUnregister = 2001;        ///< unregistration
}  // namespace MessageCode

/// The largest payload a message can carry: its whole size, and the chunk's dataSize, are
/// 32-bit on the wire. A request with more is refused with LUMO_BAD_PARAMETER (5).
inline constexpr std::uint32_t kLargestPayload = UINT32_MAX - sizeof(LumoMessageHeader);

}  // namespace Quorvel::Lumo::Api
