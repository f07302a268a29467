#include "announce/announcement_datagram.h"

#include <bit>
#include <charconv>
#include <cstring>

#include "announce/bounded_text.h"

static_assert(std::endian::native == std::endian::little,
              "the datagram's integers are written in host order");

namespace AnnouncementDatagram {
namespace {

constexpr std::size_t kLengthOffset = 0;
constexpr std::size_t kMessageTypeOffset = 4;
constexpr std::size_t kSequenceOffset = 6;
constexpr std::size_t kZeroWordOffset = 8;
constexpr std::size_t kOneWordOffset = 10;
constexpr std::size_t kTextLengthOffset = 12;
constexpr std::size_t kScratchSize = 64;

template <class Value>
void Store(Buffer& packet, std::size_t offset, Value value) {
    std::memcpy(packet + offset, &value, sizeof value);
}

}  // namespace

char* AppendText(char* cursor, const char* text, std::size_t bound, std::uint32_t& textLength) {
    CopyTextBounded(cursor, bound, text);
    const std::size_t length = std::strlen(text);
    textLength += static_cast<std::uint32_t>(length + 1);
    cursor[length + 1] = '\0';
    return cursor + length + 1;
}

char* AppendUnsigned(char* cursor, std::uint32_t value, std::uint32_t& textLength) {
    // Plain decimal digits, as printf's %u gives them, without its format parsing: the
    // datagram is built for every change of the instrument.
    char scratch[kScratchSize];
    *std::to_chars(scratch, scratch + sizeof scratch - 1, value).ptr = '\0';
    return AppendText(cursor, scratch, kTextBound, textLength);
}

char* AppendByte(char* cursor, std::uint8_t value, std::uint32_t& textLength) {
    return AppendUnsigned(cursor, value, textLength);
}

std::uint32_t Build(const DdsInstrumentInfo& info, Buffer& packet) {
    Store<std::uint16_t>(packet, kOneWordOffset, 1);
    char* cursor = reinterpret_cast<char*>(packet + kHeaderSize);
    std::uint32_t textLength = 0;
    cursor = AppendText(cursor, info.model, kTextBound, textLength);
    cursor = AppendText(cursor, info.name, kTextBound, textLength);
    cursor = AppendText(cursor, info.version1, kTextBound, textLength);
    cursor = AppendText(cursor, info.version2, kTextBound, textLength);
    cursor = AppendByte(cursor, info.state, textLength);
    cursor = AppendUnsigned(cursor, info.intervalMs, textLength);
    cursor = AppendByte(cursor, info.reserved1, textLength);
    cursor = AppendText(cursor, info.reservedText, kReservedTextBound, textLength);
    AppendByte(cursor, info.reserved2, textLength);
    // The zero that the last step wrote behind its terminator closes the text area.
    textLength += 1;

    const auto storedTextLength = static_cast<std::uint16_t>(textLength);
    const std::uint32_t length = storedTextLength + kHeaderSize;
    Store<std::uint32_t>(packet, kLengthOffset, length);
    Store<std::uint16_t>(packet, kMessageTypeOffset, kAnnounce);
    Store<std::uint16_t>(packet, kSequenceOffset, NextSequenceNumber());
    Store<std::uint16_t>(packet, kZeroWordOffset, 0);
    Store<std::uint16_t>(packet, kTextLengthOffset, storedTextLength);
    return length;
}

void SetMessageType(Buffer& packet, std::uint16_t messageType) {
    Store<std::uint16_t>(packet, kMessageTypeOffset, messageType);
}

}  // namespace AnnouncementDatagram

namespace {
// One thread uses it (the helper's loop), so it is a plain value.
std::uint16_t g_sequenceNumber = 1;
}  // namespace

std::uint16_t NextSequenceNumber() {
    ++g_sequenceNumber;
    if (g_sequenceNumber == 0) {
        g_sequenceNumber = 1;
    }
    return g_sequenceNumber;
}
