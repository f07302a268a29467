#include "tools/lumo-sim/received_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service_api/core/chunk.h"
#include "service_api/core/registration.h"

namespace LumoSim {
namespace {

namespace Api = Quorvel::Lumo::Api;
using Orvane::Platform::LocalTime;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::array<std::uint8_t, 8> kZeroKey{};
constexpr std::array<std::uint8_t, 8> kClientKey{1, 2, 3, 4, 5, 6, 7, 8};

LocalTime At(int month, int day, int hour, int minute) {
    LocalTime t{};
    t.year = 2025;
    t.month = static_cast<std::uint16_t>(month);
    t.day = static_cast<std::uint16_t>(day);
    t.hour = static_cast<std::uint16_t>(hour);
    t.minute = static_cast<std::uint16_t>(minute);
    return t;
}

std::vector<std::uint8_t> Registration(std::uint32_t code, const std::array<std::uint8_t, 8>& key,
                                       const LocalTime& stamped) {
    const auto request = Api::BuildRegistrationRequest(stamped, key, 9);
    return Api::BuildOutgoingMessage(code, request.data(), 272, 0, 0, 0xABCD);
}

TEST(DescribeReceived, RegistrationTokenIsCheckedWithTheKeyAndTheClock) {
    struct Case {
        const char* name;
        std::uint32_t code;
        std::array<std::uint8_t, 8> clientKey;
        std::array<std::uint8_t, 8> serviceKey;
        LocalTime clock;
        const char* verdict;
    };
    const LocalTime stamped = At(6, 30, 23, 59);
    const Case cases[] = {
        {"same minute", 2000, kZeroKey, kZeroKey, stamped, "\"tokenMatches\":true"},
        {"alternate code, next minute", 100, kClientKey, kClientKey, At(7, 1, 0, 0),
         "\"tokenMatches\":true"},
        {"two minutes on", 2000, kZeroKey, kZeroKey, At(7, 1, 0, 1), "\"tokenMatches\":false"},
        {"wrong key", 2000, kClientKey, kZeroKey, stamped,
         "\"tokenPaddingZero\":false,\"tokenMatches\":false"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto block = Registration(c.code, c.clientKey, stamped);
        JsonLine line;
        const auto received =
            DescribeReceived(line, block.data(), block.size(), c.serviceKey, c.clock);
        ASSERT_TRUE(received.has_value());
        EXPECT_EQ(received->messageId, c.code);
        EXPECT_EQ(received->clientWindow, 0xABCDu);
        EXPECT_THAT(line.Text(), HasSubstr(c.verdict));
        EXPECT_THAT(line.Text(), HasSubstr("\"dataSize\":300,\"dataSizeMatches\":true,"
                                           "\"clientWindow\":43981,\"payloadSize\":272,"
                                           "\"apiVersion\":100859904,\"clientType\":9,\"flag\":1,"
                                           "\"reservedZero\":true"));
        EXPECT_THAT(line.Text(), Not(HasSubstr("\"payload\":")));
    }
    JsonLine line;
    const auto block = Registration(2000, kZeroKey, stamped);
    DescribeReceived(line, block.data(), block.size(), kZeroKey, stamped);
    EXPECT_THAT(line.Text(), HasSubstr("\"tokenDay\":30,\"tokenMonth\":6,\"tokenHour\":23,"
                                       "\"tokenMinute\":59,\"tokenPaddingZero\":true"));
}

TEST(DescribeReceived, ShortBlocksAreReportedNotRead) {
    std::vector<std::uint8_t> block = Api::BuildOutgoingMessage(2000, nullptr, 0, 0, 0, 5);
    struct Case {
        std::size_t size;
        bool decoded;
        const char* says;
    };
    const Case cases[] = {
        {0, false, "\"size\":0,\"error\":\"shorter than a chunk header\""},
        {31, false, "\"error\":\"shorter than a chunk header\""},
        {32, false, "\"dataSizeMatches\":false,\"error\":\"shorter than a client message header\""},
        {60, true, "\"payloadSize\":0,\"error\":\"registration payload shorter than 272 bytes\""},
    };
    for (const Case& c : cases) {
        JsonLine line;
        const auto received =
            DescribeReceived(line, block.data(), c.size, kZeroKey, At(1, 1, 0, 0));
        EXPECT_EQ(received.has_value(), c.decoded) << c.size;
        EXPECT_THAT(line.Text(), HasSubstr(c.says)) << c.size;
    }
}

TEST(DescribeReceived, OtherMessagesShowTheirPayloadInHex) {
    const std::uint8_t payload[] = {0x00, 0x7F, 0xA0, 0xFF};
    const auto block = Api::BuildOutgoingMessage(2065, payload, 4, 3, 0, 77);
    JsonLine line;
    const auto received =
        DescribeReceived(line, block.data(), block.size(), kZeroKey, At(1, 1, 0, 0));
    ASSERT_TRUE(received.has_value());
    EXPECT_EQ(line.Text(),
              "{\"size\":64,\"messageId\":2065,\"argument1\":3,\"argument2\":0,\"dataSize\":32,"
              "\"dataSizeMatches\":true,\"clientWindow\":77,\"payloadSize\":4,"
              "\"payload\":\"007fa0ff\"}");
}

}  // namespace
}  // namespace LumoSim
