#include "tools/dds-listen/lib/announcement_decoder.h"

#include <gtest/gtest.h>

#include <vector>

namespace DdsListen {
namespace {

using Bytes = std::vector<unsigned char>;

// The example instrument's announcement with sequence number 2, byte by byte.
Bytes Example() {
    // clang-format off
    return {
        0x33, 0x00, 0x00, 0x00, 0x91, 0x13, 0x02, 0x00, 0x00, 0x00, 0x01, 0x00, 0x25, 0x00,
        'Z', 'e', 'n', 't', 'o', 0,
        'S', 'i', 'm', 'u', 'l', 'a', 't', 'o', 'r', 0,
        '2', '.', '1', 0, '1', '.', '0', 0,
        '0', 0, '2', '0', '0', '0', 0, '0', 0, 0, '0', 0, 0,
    };
    // clang-format on
}

DecodeResult Decode(const Bytes& bytes) {
    return DecodeAnnouncement(bytes.data(), bytes.size());
}

TEST(AnnouncementDecoder, ReadsTheExample) {
    const DecodeResult decoded = Decode(Example());
    ASSERT_TRUE(decoded.announcement) << decoded.problem;
    const Announcement& announcement = *decoded.announcement;
    EXPECT_EQ(announcement.messageType, 5009);
    EXPECT_FALSE(announcement.IsWithdrawal());
    EXPECT_EQ(announcement.sequence, 2);
    EXPECT_EQ(announcement.texts, (std::array<std::string, 9>{"Zento", "Simulator", "2.1", "1.0",
                                                              "0", "2000", "0", "", "0"}));
    EXPECT_EQ(announcement.IntervalMs(), 2000u);
}

TEST(AnnouncementDecoder, ReportsEachWayADatagramIsMalformed) {
    struct Case {
        const char* title;
        Bytes bytes;
        const char* problem;
    };
    auto edited = [](auto edit) {
        Bytes bytes = Example();
        edit(bytes);
        return bytes;
    };
    const Case cases[] = {
        {"empty", {}, "too short: 0 bytes, the header alone takes 14"},
        {"half a header",
         {0x33, 0, 0, 0, 0x91, 0x13},
         "too short: 6 bytes, the header alone takes 14"},
        {"cut short", edited([](Bytes& b) { b.pop_back(); }),
         "length field says 51 bytes, 50 arrived"},
        {"padded", edited([](Bytes& b) { b.push_back(0); }),
         "length field says 51 bytes, 52 arrived"},
        {"unknown type", edited([](Bytes& b) { b[4] = 0x93; }), "unknown message type 5011"},
        {"zero word", edited([](Bytes& b) { b[8] = 1; }), "zero word is 1"},
        {"one word", edited([](Bytes& b) { b[10] = 0; }), "one word is 0"},
        {"text length", edited([](Bytes& b) { b[12] = 0x24; }),
         "text length field says 36 bytes, 37 follow the header"},
        {"ninth text unterminated", edited([](Bytes& b) {
             b[b.size() - 3] = 'x';
             b[b.size() - 2] = 'y';
             b[b.size() - 1] = 'z';
         }),
         "text 9 (reserved2) has no terminator"},
        {"no text terminated", edited([](Bytes& b) {
             for (std::size_t i = 14; i < b.size(); ++i) {
                 b[i] = 'a';
             }
         }),
         "text 1 (model) has no terminator"},
        {"closing zero missing", edited([](Bytes& b) {
             b.pop_back();
             b[0] = 50;
             b[12] = 36;
         }),
         "the closing zero byte is missing"},
        {"a tenth text", edited([](Bytes& b) { b.back() = 'q'; }), "a tenth text follows the nine"},
        {"bytes after the closing zero", edited([](Bytes& b) {
             b.push_back(0);
             b.push_back(0);
             b[0] = 53;
             b[12] = 39;
         }),
         "2 bytes follow the closing zero byte"},
    };
    for (const auto& c : cases) {
        const DecodeResult decoded = Decode(c.bytes);
        EXPECT_FALSE(decoded.announcement) << c.title;
        EXPECT_EQ(decoded.problem, c.problem) << c.title;
    }
}

}  // namespace
}  // namespace DdsListen
