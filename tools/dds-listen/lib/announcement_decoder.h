// Reads an announcement datagram as a listener receives it, trusting nothing: every
// length is checked against the bytes that arrived, and a datagram that breaks the format
// is reported with the reason instead of being decoded.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace DdsListen {

inline constexpr std::uint16_t kAnnounceType = 5009;
inline constexpr std::uint16_t kWithdrawType = 5010;
inline constexpr std::size_t kTextCount = 9;

// The nine texts' names, in datagram order.
extern const std::array<const char*, kTextCount> kTextNames;

struct Announcement {
    std::uint16_t messageType = 0;
    std::uint16_t sequence = 0;
    std::array<std::string, kTextCount> texts;

    bool IsWithdrawal() const { return messageType == kWithdrawType; }
    // The interval field as a number; empty when the text is not a decimal number that fits.
    std::optional<std::uint32_t> IntervalMs() const;
};

struct DecodeResult {
    std::optional<Announcement> announcement;
    std::string problem;  // why the datagram is malformed, when there is no announcement
};

DecodeResult DecodeAnnouncement(const unsigned char* data, std::size_t size);

}  // namespace DdsListen
