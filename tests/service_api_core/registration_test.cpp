#include "service_api/core/registration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace Quorvel::Lumo::Api {
namespace {

using Orvane::Platform::LocalTime;
using ::testing::ElementsAreArray;
using Bytes = std::vector<std::uint8_t>;

constexpr std::array<std::uint8_t, 8> kZeroKey{};

LocalTime At(int year, int month, int day, int hour, int minute) {
    LocalTime t{};
    t.year = static_cast<std::uint16_t>(year);
    t.month = static_cast<std::uint16_t>(month);
    t.day = static_cast<std::uint16_t>(day);
    t.hour = static_cast<std::uint16_t>(hour);
    t.minute = static_cast<std::uint16_t>(minute);
    t.second = 42;
    t.milliseconds = 917;
    t.dayOfWeek = 4;
    return t;
}

Bytes ExpectedRequest(Bytes token, Bytes clientType) {
    Bytes expected{0x00, 0x00, 0x03, 0x06};  // 6.3.0.0
    expected.insert(expected.end(), token.begin(), token.end());
    expected.insert(expected.end(), clientType.begin(), clientType.end());
    expected.push_back(1);
    expected.resize(272, 0);
    return expected;
}

TEST(RegistrationRequest, CarriesVersionTokenClientTypeAndFlag) {
    struct Case {
        const char* name;
        std::array<std::uint8_t, 8> key;
        std::uint32_t clientType;
        Bytes token;  // DES of 07 03 0E 05 00 00 00 00 (7 March, 14:05) under the key
        Bytes clientTypeBytes;
    };
    const Case cases[] = {
        {"zero key", kZeroKey, 0, {0x89, 0x04, 0x21, 0x05, 0x0B, 0x84, 0x2B, 0x70}, {0, 0, 0, 0}},
        {"FIPS example key",
         {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF},
         0xA1B2C3D4,
         {0xFF, 0x42, 0x31, 0xDD, 0x21, 0x05, 0xD1, 0x9B},
         {0xD4, 0xC3, 0xB2, 0xA1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_THAT(BuildRegistrationRequest(At(2024, 3, 7, 14, 5), c.key, c.clientType),
                    ElementsAreArray(ExpectedRequest(c.token, c.clientTypeBytes)));
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
