#include "tools/dds-listen/lib/announcement_decoder.h"

#include <charconv>
#include <cstring>

namespace DdsListen {
namespace {

constexpr std::size_t kHeaderSize = 14;

std::uint32_t ReadU32(const unsigned char* at) {
    return static_cast<std::uint32_t>(at[0]) | (static_cast<std::uint32_t>(at[1]) << 8) |
           (static_cast<std::uint32_t>(at[2]) << 16) | (static_cast<std::uint32_t>(at[3]) << 24);
}

std::uint16_t ReadU16(const unsigned char* at) {
    return static_cast<std::uint16_t>(at[0] | (at[1] << 8));
}

DecodeResult Malformed(std::string problem) {
    return {std::nullopt, std::move(problem)};
}

}  // namespace

const std::array<const char*, kTextCount> kTextNames = {"model",     "name",         "version1",
                                                        "version2",  "state",        "intervalMs",
                                                        "reserved1", "reservedText", "reserved2"};

std::optional<std::uint32_t> Announcement::IntervalMs() const {
    const std::string& text = texts[5];
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

DecodeResult DecodeAnnouncement(const unsigned char* data, std::size_t size) {
    if (data == nullptr || size < kHeaderSize) {
        return Malformed("too short: " + std::to_string(size) +
                         " bytes, the header alone takes 14");
    }
    const std::uint32_t length = ReadU32(data);
    if (length != size) {
        return Malformed("length field says " + std::to_string(length) + " bytes, " +
                         std::to_string(size) + " arrived");
    }
    Announcement announcement;
    announcement.messageType = ReadU16(data + 4);
    announcement.sequence = ReadU16(data + 6);
    if (announcement.messageType != kAnnounceType && announcement.messageType != kWithdrawType) {
        return Malformed("unknown message type " + std::to_string(announcement.messageType));
    }
    if (const std::uint16_t zeroWord = ReadU16(data + 8); zeroWord != 0) {
        return Malformed("zero word is " + std::to_string(zeroWord));
    }
    if (const std::uint16_t oneWord = ReadU16(data + 10); oneWord != 1) {
        return Malformed("one word is " + std::to_string(oneWord));
    }
    const std::uint16_t textLength = ReadU16(data + 12);
    if (textLength + kHeaderSize != size) {
        return Malformed("text length field says " + std::to_string(textLength) + " bytes, " +
                         std::to_string(size - kHeaderSize) + " follow the header");
    }

    const auto* cursor = reinterpret_cast<const char*>(data + kHeaderSize);
    const auto* end = reinterpret_cast<const char*>(data + size);
    for (std::size_t i = 0; i < kTextCount; ++i) {
        const auto* terminator = static_cast<const char*>(
            std::memchr(cursor, '\0', static_cast<std::size_t>(end - cursor)));
        if (terminator == nullptr) {
            return Malformed(std::string("text ") + std::to_string(i + 1) + " (" + kTextNames[i] +
                             ") has no terminator");
        }
        announcement.texts[i].assign(cursor, terminator);
        cursor = terminator + 1;
    }
    if (cursor == end) {
        return Malformed("the closing zero byte is missing");
    }
    if (*cursor != '\0') {
        return Malformed("a tenth text follows the nine");
    }
    if (const auto extra = end - cursor - 1; extra > 0) {
        return Malformed(std::to_string(extra) + " bytes follow the closing zero byte");
    }
    return {std::move(announcement), {}};
}

}  // namespace DdsListen
