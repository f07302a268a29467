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

// The code, the two arguments, the payload's size + 28, 16 zero bytes, the client window and
// 24 zero bytes, then the payload at 60 (zeros for a size without bytes). Each is built into
// a buffer that held other bytes: nothing of them may remain.
TEST(OutgoingMessage, HeaderThenThePayloadAtSixty) {
    const std::uint8_t payload[] = {0xAA, 0xBB, 0xCC};
    const struct {
        std::uint32_t code;
        const void* payload;
        std::uint32_t size, argument1, argument2, window;
        Bytes expected;
    } cases[] = {
        // clang-format off
        {2001, nullptr, 0, 0, 0, 0x12345678, Concat({{0xD1, 0x07, 0, 0}, Zeros(8), {28, 0, 0, 0}, Zeros(16), {0x78, 0x56, 0x34, 0x12}, Zeros(24)})},
        {1989, payload, 3, 0x01020304, 0xFFFFFFFF, 0x80000001, Concat({{0xC5, 0x07, 0, 0}, {4, 3, 2, 1}, {0xFF, 0xFF, 0xFF, 0xFF}, {31, 0, 0, 0}, Zeros(16), {1, 0, 0, 0x80}, Zeros(24), {0xAA, 0xBB, 0xCC}})},
        {2065, nullptr, 5, 0, 0, 1, Concat({{0x11, 0x08, 0, 0}, Zeros(8), {33, 0, 0, 0}, Zeros(16), {1, 0, 0, 0}, Zeros(24 + 5)})},
        // clang-format on
    };
    for (const auto& c : cases) {
        Bytes message(c.expected.size(), 0xEE);
        BuildOutgoingMessage(message.data(), c.code, c.payload, c.size, c.argument1, c.argument2,
                             c.window);
        EXPECT_THAT(message, ElementsAreArray(c.expected)) << c.code;
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
