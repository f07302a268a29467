#include "announce/announcement_datagram.h"
#include "announce/bounded_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/announce/example_instrument.h"

namespace {

using Bytes = std::vector<unsigned char>;
namespace Datagram = AnnouncementDatagram;

Bytes Built(const DdsInstrumentInfo& info) {
    static Datagram::Buffer packet;
    const std::uint32_t length = Datagram::Build(info, packet);
    return Bytes(packet, packet + length);
}

// The nine texts, each with its terminator, and the closing zero.
Bytes TextArea(const std::vector<std::string>& texts) {
    Bytes bytes;
    for (const std::string& text : texts) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back(0);
    }
    bytes.push_back(0);
    return bytes;
}

TEST(AnnouncementDatagram, TextsFollowTheRecordsFieldsAndTheLengthsCountThem) {
    const std::string name61 = std::string(59, 'n') + "\xC3\xA9";
    const std::string reserved29 = "abcdefghijklmnopqrstuvwxyz012";
    const struct {
        const char* title;
        void (*edit)(DdsInstrumentInfo&, const std::string&, const std::string&);
        Bytes texts;
    } cases[] = {
        {"empty model and name add one byte each",
         [](DdsInstrumentInfo& info, const std::string&, const std::string&) {
             info.model[0] = info.name[0] = '\0';
         },
         TextArea({"", "", "2.1", "1.0", "0", "2000", "0", "", "0"})},
        {"numbers at their largest",
         [](DdsInstrumentInfo& info, const std::string&, const std::string&) {
             info.state = 255;
             info.intervalMs = 4294967295u;
             info.reserved1 = 128;
             info.reserved2 = 9;
         },
         TextArea({"Zento", "Simulator", "2.1", "1.0", "255", "4294967295", "128", "", "9"})},
        {"reserved text of 29 characters and a UTF-8 name of 61 bytes, sent whole",
         [](DdsInstrumentInfo& info, const std::string& name, const std::string& reserved) {
             std::strcpy(info.reservedText, reserved.c_str());
             std::strcpy(info.name, name.c_str());
         },
         TextArea({"Zento", name61, "2.1", "1.0", "0", "2000", "0", reserved29, "0"})},
    };
    for (const auto& c : cases) {
        DdsInstrumentInfo info = ExampleInstrument();
        c.edit(info, name61, reserved29);
        const Bytes datagram = Built(info);
        const auto textLength = static_cast<unsigned char>(c.texts.size());
        EXPECT_EQ(Bytes(datagram.begin() + 14, datagram.end()), c.texts) << c.title;
        EXPECT_EQ(datagram[0], 14 + textLength) << c.title;
        EXPECT_EQ(datagram[12], textLength) << c.title;
    }
}

TEST(AnnouncementDatagram, EveryRebuildTakesTheNextSequenceNumberAfter65535ComesOne) {
    std::uint16_t last = SequenceOf(Built(ExampleInstrument()).data());
    ASSERT_EQ(SequenceOf(Built(ExampleInstrument()).data()), last + 1);
    last = last + 1;
    while (last != 65535) {
        last = NextSequenceNumber();
        ASSERT_NE(last, 0);
    }
    EXPECT_EQ(SequenceOf(Built(ExampleInstrument()).data()), 1);
    EXPECT_EQ(SequenceOf(Built(ExampleInstrument()).data()), 2);
}

TEST(AnnouncementDatagramDeathTest, TheFirstDatagramOfAProcessCarriesTwo) {
    // A fresh process: the counter of this one has moved on.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(SequenceOf(Built(ExampleInstrument()).data())),
                ::testing::ExitedWithCode(2), "");
}

// A text one byte short of its capacity fits: it and its terminator, and nothing behind.
TEST(BoundedText, ATextThatJustFitsIsCopiedWithItsTerminatorOnly) {
    const char source[] = {'a', 'b', 'c', 0, 'x'};
    char field[5] = {'-', '-', '-', '-', '-'};
    CopyTextBounded(field, 4, source);
    EXPECT_EQ(std::string(field, 5), std::string("abc\0-", 5));
}

TEST(AnnouncementDatagramDeathTest, TextsThatDoNotFitEndTheProcess) {
    // clang-format off
    const std::pair<const char*, void (*)(DdsInstrumentInfo&)> cases[] = {
        {"name of 62 bytes", [](DdsInstrumentInfo& info) { std::memset(info.name, 'n', 62); }},
        {"name of 64 bytes without terminator", [](DdsInstrumentInfo& info) { std::memset(info.name, 'n', 64); }},
        {"model of 63 bytes", [](DdsInstrumentInfo& info) { std::memset(info.model, 'm', 63); }},
        {"reserved text of 30 bytes", [](DdsInstrumentInfo& info) { std::memset(info.reservedText, 'r', 30); }},
    };
    // clang-format on
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const auto& [title, edit] : cases) {
        DdsInstrumentInfo info = ExampleInstrument();
        edit(info);
        EXPECT_DEATH(Built(info), "") << title;
    }
}

}  // namespace
