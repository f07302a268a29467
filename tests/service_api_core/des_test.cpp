#include "service_api/core/des.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace Quorvel::Lumo::Api {
namespace {

std::array<std::uint8_t, 8> FromHex(std::uint64_t value) {
    std::array<std::uint8_t, 8> bytes;
    for (int i = 0; i < 8; ++i) {
        bytes[i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
    }
    return bytes;
}

struct KnownAnswer {
    const char* source;
    std::uint64_t key;
    std::uint64_t plain;
    std::uint64_t cipher;
};

// Published known-answer vectors: the FIPS 81 example, rows of the NIST SP 800-17
// variable-plaintext, variable-key, permutation and substitution tables, and the
// classic worked example with key 133457799BBCDFF1; last, a registration token's block under
// a key of no table, from an independent implementation.
const KnownAnswer kKnownAnswers[] = {
    {"FIPS 81 'Now is t'", 0x0123456789ABCDEF, 0x4E6F772069732074, 0x3FA40E8A984D4815},
    {"variable plaintext 1", 0x0101010101010101, 0x8000000000000000, 0x95F8A5E5DD31D900},
    {"variable plaintext 2", 0x0101010101010101, 0x4000000000000000, 0xDD7F121CA5015619},
    {"variable plaintext 64", 0x0101010101010101, 0x0000000000000001, 0x166B40B44ABA4BD6},
    {"variable key 1", 0x8001010101010101, 0x0000000000000000, 0x95A8D72813DAA94D},
    {"variable key 2", 0x4001010101010101, 0x0000000000000000, 0x0EEC1487DD8C26D5},
    {"permutation", 0x1046913489980131, 0x0000000000000000, 0x88D55E54F54C97B4},
    {"substitution 1", 0x7CA110454A1A6E57, 0x01A1D6D039776742, 0x690F5B0D9A26939B},
    {"substitution 2", 0x0131D9619DC1376E, 0x5CD54CA83DEF57DA, 0x7A389D10354BD271},
    {"worked example", 0x133457799BBCDFF1, 0x0123456789ABCDEF, 0x85E813540F0AB405},
    {"token block", 0x3B5A0C8E11F2D4A7, 0x1F0C173B00000000, 0x74002A428854997B},
};

TEST(Des, KnownAnswers) {
    for (const KnownAnswer& v : kKnownAnswers) {
        EXPECT_EQ(DesKeySchedule(FromHex(v.key)).Encipher(FromHex(v.plain)), FromHex(v.cipher))
            << v.source;
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
