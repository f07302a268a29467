#include "service_api/core/registration.h"

#include "service_api/core/des.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace Quorvel::Lumo::Api {
namespace {

using Orvane::Platform::LocalTime;
using ::testing::ElementsAreArray;
using Bytes = std::vector<std::uint8_t>;

constexpr std::array<std::uint8_t, 8> kZeroKey{};
constexpr std::array<std::uint8_t, 8> kOtherKey{0x3B, 0x5A, 0x0C, 0x8E, 0x11, 0xF2, 0xD4, 0xA7};

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

TEST(RegistrationDecode, RecoversTheFieldsWithTheRightKeyOnly) {
    const auto request = BuildRegistrationRequest(At(2024, 11, 30, 8, 41), kOtherKey, 77);
    const auto decoded = DecodeRegistrationRequest(request.data(), request.size(), kOtherKey);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->apiVersion, 0x06030000u);
    EXPECT_EQ(decoded->time.day, 30);
    EXPECT_EQ(decoded->time.month, 11);
    EXPECT_EQ(decoded->time.hour, 8);
    EXPECT_EQ(decoded->time.minute, 41);
    EXPECT_TRUE(decoded->time.paddingIsZero);
    EXPECT_EQ(decoded->clientType, 77u);
    EXPECT_EQ(decoded->flag, 1);
    EXPECT_TRUE(decoded->reservedIsZero);

    const auto wrongKey = DecodeRegistrationRequest(request.data(), request.size(), kZeroKey);
    ASSERT_TRUE(wrongKey.has_value());
    EXPECT_FALSE(wrongKey->time.paddingIsZero);

    for (const std::size_t reserved : {17, 271}) {
        auto dirty = request;
        dirty[reserved] = 1;
        EXPECT_FALSE(
            DecodeRegistrationRequest(dirty.data(), dirty.size(), kOtherKey)->reservedIsZero);
    }
    // A token whose first padding byte alone is not zero.
    auto padded = request;
    const DesBlock plain{30, 11, 8, 41, 1, 0, 0, 0};
    const DesBlock token = DesKeySchedule(kOtherKey).Encipher(plain);
    std::copy(token.begin(), token.end(), padded.begin() + 4);
    EXPECT_FALSE(
        DecodeRegistrationRequest(padded.data(), padded.size(), kOtherKey)->time.paddingIsZero);

    EXPECT_FALSE(DecodeRegistrationRequest(request.data(), 271, kOtherKey).has_value());
    EXPECT_FALSE(DecodeRegistrationRequest(nullptr, 272, kOtherKey).has_value());
}

TEST(RegistrationTime, MatchesTheClockWithinOneMinute) {
    struct Case {
        const char* name;
        RegistrationTime token;
        LocalTime clock;
        bool matches;
    };
    const Case cases[] = {
        {"same minute", {7, 3, 14, 5, true}, At(2024, 3, 7, 14, 5), true},
        {"a minute late", {7, 3, 14, 4, true}, At(2024, 3, 7, 14, 5), true},
        {"a minute early", {7, 3, 14, 6, true}, At(2024, 3, 7, 14, 5), true},
        {"two minutes", {7, 3, 14, 3, true}, At(2024, 3, 7, 14, 5), false},
        {"other hour", {7, 3, 13, 5, true}, At(2024, 3, 7, 14, 5), false},
        {"other day", {8, 3, 14, 5, true}, At(2024, 3, 7, 14, 5), false},
        {"across midnight", {29, 2, 23, 59, true}, At(2024, 3, 1, 0, 0), true},
        {"across new year", {31, 12, 23, 59, true}, At(2025, 1, 1, 0, 0), true},
        {"into new year", {1, 1, 0, 0, true}, At(2024, 12, 31, 23, 59), true},
        {"no such date", {30, 2, 14, 5, true}, At(2024, 3, 7, 14, 5), false},
        {"no such minute", {7, 3, 14, 60, true}, At(2024, 3, 7, 14, 59), false},
        {"garbage", {0xC1, 0x7E, 0x99, 0x05, false}, At(2024, 3, 7, 14, 5), false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(RegistrationTimeMatches(c.token, c.clock), c.matches) << c.name;
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
