#include "service_api/core/outgoing_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace Quorvel::Lumo::Api {
namespace {

using Bytes = std::vector<std::uint8_t>;
using ::testing::ElementsAreArray;

Bytes Zeros(std::size_t count) {
    return Bytes(count, 0);
}

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// Built into a buffer that held a longer message: nothing of it may remain.
Bytes Built(std::uint32_t code, const void* payload, std::uint32_t size, std::uint32_t argument1,
            std::uint32_t argument2, std::uint32_t window) {
    Bytes message(100, 0xEE);
    BuildOutgoingMessage(message, code, payload, size, argument1, argument2, window);
    return message;
}

TEST(OutgoingMessage, CommandWithoutPayloadIsSixtyBytesWithDataSize28) {
    const Bytes expected = Concat({{0xD1, 0x07, 0, 0},  // 2001
                                   Zeros(8),
                                   {28, 0, 0, 0},
                                   Zeros(16),
                                   {0x78, 0x56, 0x34, 0x12},  // client window
                                   Zeros(24)});
    EXPECT_THAT(Built(2001, nullptr, 0, 0, 0, 0x12345678), ElementsAreArray(expected));
}

TEST(OutgoingMessage, HeaderCarriesArgumentsAndPayloadFollowsAtSixty) {
    const std::uint8_t payload[] = {0xAA, 0xBB, 0xCC};
    const Bytes expected = Concat({{0xC5, 0x07, 0, 0},  // 1989
                                   {0x04, 0x03, 0x02, 0x01},
                                   {0xFF, 0xFF, 0xFF, 0xFF},
                                   {31, 0, 0, 0},
                                   Zeros(16),
                                   {0x01, 0, 0, 0x80},
                                   Zeros(24),
                                   {0xAA, 0xBB, 0xCC}});
    EXPECT_THAT(Built(1989, payload, 3, 0x01020304, 0xFFFFFFFF, 0x80000001),
                ElementsAreArray(expected));
}

TEST(OutgoingMessage, NullPayloadKeepsItsSizeAndStaysZero) {
    const Bytes message = Built(2065, nullptr, 5, 0, 0, 1);
    ASSERT_EQ(message.size(), 65u);
    EXPECT_EQ(message[12], 33);
    EXPECT_THAT(Bytes(message.begin() + 60, message.end()), ElementsAreArray(Zeros(5)));
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
