// The announcement datagram: a 14-byte header, then the record's nine fields as
// zero-terminated texts and one more zero byte. Integers are little-endian on the wire;
// they are stored in host order, which is little-endian on every platform this builds for.
//
//   offset 0  u32 length       14 + textLength
//          4  u16 messageType  5009 announce, 5010 withdraw
//          6  u16 sequence     never 0
//          8  u16 zeroWord     0
//         10  u16 oneWord      1
//         12  u16 textLength   text bytes, every terminator included
//         14  texts
#pragma once

#include <cstddef>
#include <cstdint>

#include "announce/dds_instrument_info.h"

namespace AnnouncementDatagram {

inline constexpr std::size_t kHeaderSize = 14;
inline constexpr std::size_t kCapacity = 4100;
inline constexpr std::uint16_t kAnnounce = 5009;
inline constexpr std::uint16_t kWithdraw = 5010;
// Copy bounds, terminator included: a longer text ends the process.
inline constexpr std::size_t kTextBound = 62;
inline constexpr std::size_t kReservedTextBound = 30;

using Buffer = unsigned char[kCapacity];

// Rebuilds the whole datagram from `info` with the next sequence number and returns its
// size (equal to the header's length field).
std::uint32_t Build(const DdsInstrumentInfo& info, Buffer& packet);

void SetMessageType(Buffer& packet, std::uint16_t messageType);

// The three steps the texts are made of. Each writes its text at `cursor`, adds the text's
// length plus one to `textLength`, writes a zero byte just behind the terminator and
// returns the cursor past the terminator.
char* AppendText(char* cursor, const char* text, std::size_t bound, std::uint32_t& textLength);
char* AppendByte(char* cursor, std::uint8_t value, std::uint32_t& textLength);       // "%d"
char* AppendUnsigned(char* cursor, std::uint32_t value, std::uint32_t& textLength);  // "%u"

}  // namespace AnnouncementDatagram

// The process-wide sequence counter, shared by every announcer: starts at 1, so the first
// datagram carries 2; after 65535 comes 1, never 0.
std::uint16_t NextSequenceNumber();
