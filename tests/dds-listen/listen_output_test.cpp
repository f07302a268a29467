#include "tools/dds-listen/lib/listen_output.h"

#include <gtest/gtest.h>

namespace DdsListen {
namespace {

DecodeResult ExampleDecoded(std::uint16_t type) {
    Announcement announcement;
    announcement.messageType = type;
    announcement.sequence = 2;
    announcement.texts = {"Zento", "Simulator", "2.1", "1.0", "0", "2000", "0", "", "0"};
    return {announcement, {}};
}

TEST(ListenOutput, DatagramLines) {
    struct Case {
        OutputFormat format;
        DecodeResult decoded;
        const char* line;
    } const cases[] = {
        {OutputFormat::Text, ExampleDecoded(5009),
         "127.0.0.1:6000 announce seq=2 model=\"Zento\" name=\"Simulator\" version1=\"2.1\" "
         "version2=\"1.0\" state=\"0\" intervalMs=\"2000\" reserved1=\"0\" reservedText=\"\" "
         "reserved2=\"0\""},
        {OutputFormat::Json, ExampleDecoded(5010),
         "{\"source\":\"127.0.0.1:6000\",\"event\":\"withdraw\",\"sequence\":2,\"model\":\"Zento\","
         "\"name\":\"Simulator\",\"version1\":\"2.1\",\"version2\":\"1.0\",\"state\":\"0\","
         "\"intervalMs\":\"2000\",\"reserved1\":\"0\",\"reservedText\":\"\",\"reserved2\":\"0\"}"},
        {OutputFormat::Text,
         {std::nullopt, "unknown message type 7"},
         "127.0.0.1:6000 malformed (51 bytes): unknown message type 7"},
        {OutputFormat::Json,
         {std::nullopt, "unknown message type 7"},
         "{\"source\":\"127.0.0.1:6000\",\"event\":\"malformed\",\"size\":51,"
         "\"reason\":\"unknown message type 7\"}"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(DatagramLine(c.format, "127.0.0.1:6000", 51, c.decoded), c.line);
    }
}

TEST(ListenOutput, LivenessLines) {
    const LivenessEvent overdue{LivenessEvent::Kind::Overdue, "127.0.0.1:6000", 3100, 2000};
    const LivenessEvent back{LivenessEvent::Kind::Back, "127.0.0.1:6000", 4200, 2000};
    EXPECT_EQ(LivenessLine(OutputFormat::Text, overdue),
              "127.0.0.1:6000 overdue: silent for 3100 ms, interval 2000 ms");
    EXPECT_EQ(LivenessLine(OutputFormat::Text, back),
              "127.0.0.1:6000 back after 4200 ms of silence");
    EXPECT_EQ(LivenessLine(OutputFormat::Json, overdue),
              "{\"source\":\"127.0.0.1:6000\",\"event\":\"overdue\",\"silentMs\":3100,"
              "\"intervalMs\":2000}");
    EXPECT_EQ(LivenessLine(OutputFormat::Json, back),
              "{\"source\":\"127.0.0.1:6000\",\"event\":\"back\",\"silentMs\":4200,"
              "\"intervalMs\":2000}");
}

TEST(ListenOutput, ReceivedTextsAreShownSafely) {
    struct Case {
        std::string text;
        const char* asText;
        const char* asJson;
    } const cases[] = {
        {"plain 1.0", "plain 1.0", "plain 1.0"},
        {"say \"hi\" \\", "say \\\"hi\\\" \\\\", "say \\\"hi\\\" \\\\"},
        {"tab\tnl\n", "tab\\x09nl\\x0a", "tab\\u0009nl\\u000a"},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80",
         "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"bad \xC3 end", "bad \\xc3 end", "bad \\u00c3 end"},
        {"overlong \xC0\xAF", "overlong \\xc0\\xaf", "overlong \\u00c0\\u00af"},
        {"surrogate \xED\xA0\x80", "surrogate \\xed\\xa0\\x80", "surrogate \\u00ed\\u00a0\\u0080"},
        {"del \x7F", "del \\x7f", "del \\u007f"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Escaped(OutputFormat::Text, c.text), c.asText) << c.text;
        EXPECT_EQ(Escaped(OutputFormat::Json, c.text), c.asJson) << c.text;
    }
}

}  // namespace
}  // namespace DdsListen
