#include "announce/announcement_datagram.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tests/announce/example_instrument.h"

namespace {

using Bytes = std::vector<unsigned char>;
namespace Datagram = AnnouncementDatagram;

DdsInstrumentInfo ExampleInfo() {
    return ExampleInstrument();
}

Bytes Built(const DdsInstrumentInfo& info) {
    static Datagram::Buffer packet;
    const std::uint32_t length = Datagram::Build(info, packet);
    return Bytes(packet, packet + length);
}

std::uint16_t SequenceOf(const Bytes& datagram) {
    return ::SequenceOf(datagram.data());
}

Bytes Text(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const auto& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// The nine texts, each with its terminator, and the closing zero.
Bytes TextArea(std::vector<std::string> texts) {
    Bytes bytes;
    for (const std::string& text : texts) {
        bytes = Concat({bytes, Text(text)});
    }
    bytes.push_back(0);
    return bytes;
}

TEST(AnnouncementDatagram, TheExampleIs51BytesExactly) {
    const Bytes datagram = Built(ExampleInfo());
    const std::uint16_t sequence = SequenceOf(datagram);
    ASSERT_NE(sequence, 0);
    // length 51, type 5009, the sequence, zero word, one word, 37 text bytes
    const auto low = static_cast<unsigned char>(sequence & 0xFF);
    const auto high = static_cast<unsigned char>(sequence >> 8);
    const Bytes header = {0x33, 0, 0, 0, 0x91, 0x13, low, high, 0, 0, 1, 0, 0x25, 0};
    // Reserved fields zero and state 0: text 7, the empty text 8, text 9, the extra zero.
    EXPECT_EQ(datagram, Concat({header, TextArea({"Zento", "Simulator", "2.1", "1.0", "0", "2000",
                                                  "0", "", "0"})}));
}

TEST(AnnouncementDatagram, TextsFollowTheRecordsFields) {
    const std::string name61 = std::string(59, 'n') + "\xC3\xA9";
    const std::string reserved29 = "abcdefghijklmnopqrstuvwxyz012";
    const struct {
        const char* title;
        std::function<void(DdsInstrumentInfo&)> edit;
        Bytes texts;
    } cases[] = {
        {"empty model and name add one byte each",
         [](DdsInstrumentInfo& info) { info.model[0] = info.name[0] = '\0'; },
         TextArea({"", "", "2.1", "1.0", "0", "2000", "0", "", "0"})},
        {"numbers at their largest",
         [](DdsInstrumentInfo& info) {
             info.state = 255;
             info.intervalMs = 4294967295u;
             info.reserved1 = 128;
             info.reserved2 = 9;
         },
         TextArea({"Zento", "Simulator", "2.1", "1.0", "255", "4294967295", "128", "", "9"})},
        {"reserved text of 29 characters and a UTF-8 name of 61 bytes, sent whole",
         [&](DdsInstrumentInfo& info) {
             std::strcpy(info.reservedText, reserved29.c_str());
             std::strcpy(info.name, name61.c_str());
         },
         TextArea({"Zento", name61, "2.1", "1.0", "0", "2000", "0", reserved29, "0"})},
    };
    for (const auto& c : cases) {
        DdsInstrumentInfo info = ExampleInfo();
        c.edit(info);
        const Bytes datagram = Built(info);
        const auto textLength = static_cast<unsigned char>(c.texts.size());
        EXPECT_EQ(Bytes(datagram.begin() + 14, datagram.end()), c.texts) << c.title;
        EXPECT_EQ(Bytes(datagram.begin(), datagram.begin() + 4),
                  (Bytes{static_cast<unsigned char>(14 + textLength), 0, 0, 0}))
            << c.title;
        EXPECT_EQ(Bytes(datagram.begin() + 12, datagram.begin() + 14), (Bytes{textLength, 0}))
            << c.title;
    }
}

TEST(AnnouncementDatagram, AppendStepsWriteAZeroBehindTheTerminator) {
    struct Case {
        const char* title;
        char* (*append)(char*, std::uint32_t&);
        Bytes written;  // text, terminator and the zero behind it
    } const cases[] = {
        // clang-format off
        {"text", [](char* c, std::uint32_t& n) { return Datagram::AppendText(c, "ab", 62, n); }, {'a', 'b', 0, 0}},
        {"empty text", [](char* c, std::uint32_t& n) { return Datagram::AppendText(c, "", 30, n); }, {0, 0}},
        {"byte", [](char* c, std::uint32_t& n) { return Datagram::AppendByte(c, 200, n); }, {'2', '0', '0', 0, 0}},
        {"unsigned", [](char* c, std::uint32_t& n) { return Datagram::AppendUnsigned(c, 4000000000u, n); }, {'4', '0', '0', '0', '0', '0', '0', '0', '0', '0', 0, 0}},
        // clang-format on
    };
    for (const auto& c : cases) {
        char area[32];
        std::memset(area, 0x7F, sizeof area);
        std::uint32_t textLength = 5;
        char* next = c.append(area, textLength);
        EXPECT_EQ(next - area, static_cast<std::ptrdiff_t>(c.written.size() - 1)) << c.title;
        EXPECT_EQ(textLength, 5 + c.written.size() - 1) << c.title;
        EXPECT_EQ(Bytes(area, area + c.written.size()), c.written) << c.title;
        EXPECT_EQ(static_cast<unsigned char>(area[c.written.size()]), 0x7F) << c.title;
    }
}

TEST(AnnouncementDatagram, MessageTypeIsTheOnlyFieldASendChanges) {
    Datagram::Buffer packet;
    const std::uint32_t length = Datagram::Build(ExampleInfo(), packet);
    const Bytes before(packet, packet + length);
    Datagram::SetMessageType(packet, Datagram::kWithdraw);
    Bytes expected = before;
    expected[4] = 0x92;
    expected[5] = 0x13;
    EXPECT_EQ(Bytes(packet, packet + length), expected);
}

TEST(AnnouncementDatagram, EveryRebuildTakesTheNextSequenceNumberAfter65535ComesOne) {
    std::uint16_t last = SequenceOf(Built(ExampleInfo()));
    ASSERT_EQ(SequenceOf(Built(ExampleInfo())), last + 1);
    last = last + 1;
    while (last != 65535) {
        last = NextSequenceNumber();
        ASSERT_NE(last, 0);
    }
    EXPECT_EQ(SequenceOf(Built(ExampleInfo())), 1);
    EXPECT_EQ(SequenceOf(Built(ExampleInfo())), 2);
}

TEST(AnnouncementDatagramDeathTest, TheFirstDatagramOfAProcessCarriesTwo) {
    // A fresh process: the counter of this one has moved on.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(SequenceOf(Built(ExampleInfo()))), ::testing::ExitedWithCode(2), "");
}

TEST(AnnouncementDatagramDeathTest, TextsThatDoNotFitEndTheProcess) {
    struct Case {
        const char* title;
        void (*edit)(DdsInstrumentInfo&);
    } const cases[] = {
        // clang-format off
        {"name of 62 bytes", [](DdsInstrumentInfo& info) { std::memset(info.name, 'n', 62); }},
        {"name of 64 bytes without terminator", [](DdsInstrumentInfo& info) { std::memset(info.name, 'n', 64); }},
        {"model of 63 bytes", [](DdsInstrumentInfo& info) { std::memset(info.model, 'm', 63); }},
        {"reserved text of 30 bytes", [](DdsInstrumentInfo& info) { std::memset(info.reservedText, 'r', 30); }},
        // clang-format on
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const auto& c : cases) {
        DdsInstrumentInfo info = ExampleInfo();
        c.edit(info);
        EXPECT_DEATH(Built(info), "") << c.title;
    }
}

}  // namespace
