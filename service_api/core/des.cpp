#include "service_api/core/des.h"

#include <array>
#include <cstddef>

namespace Quorvel::Lumo::Api {
namespace {

// The standard's tables number bits from 1 at the most significant end.
constexpr std::uint8_t kInitialPermutation[64] = {
    58, 50, 42, 34, 26, 18, 10, 2,  60, 52, 44, 36, 28, 20, 12, 4,  62, 54, 46, 38, 30, 22,
    14, 6,  64, 56, 48, 40, 32, 24, 16, 8,  57, 49, 41, 33, 25, 17, 9,  1,  59, 51, 43, 35,
    27, 19, 11, 3,  61, 53, 45, 37, 29, 21, 13, 5,  63, 55, 47, 39, 31, 23, 15, 7};

constexpr std::uint8_t kFinalPermutation[64] = {
    40, 8,  48, 16, 56, 24, 64, 32, 39, 7,  47, 15, 55, 23, 63, 31, 38, 6,  46, 14, 54, 22,
    62, 30, 37, 5,  45, 13, 53, 21, 61, 29, 36, 4,  44, 12, 52, 20, 60, 28, 35, 3,  43, 11,
    51, 19, 59, 27, 34, 2,  42, 10, 50, 18, 58, 26, 33, 1,  41, 9,  49, 17, 57, 25};

constexpr std::uint8_t kExpansion[48] = {
    32, 1,  2,  3,  4,  5,  4,  5,  6,  7,  8,  9,  8,  9,  10, 11, 12, 13, 12, 13, 14, 15, 16, 17,
    16, 17, 18, 19, 20, 21, 20, 21, 22, 23, 24, 25, 24, 25, 26, 27, 28, 29, 28, 29, 30, 31, 32, 1};

constexpr std::uint8_t kRoundPermutation[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23,
                                                26, 5, 18, 31, 10, 2,  8,  24, 14, 32, 27,
                                                3,  9, 19, 13, 30, 6,  22, 11, 4,  25};

constexpr std::uint8_t kKeyChoice1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                          10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                          63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                          14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr std::uint8_t kKeyChoice2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr std::uint8_t kKeyRotations[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

// Row (outer bits of the six) by column (inner four bits).
constexpr std::uint8_t kSubstitution[8][4][16] = {
    {{14, 4, 13, 1, 2, 15, 11, 8, 3, 10, 6, 12, 5, 9, 0, 7},
     {0, 15, 7, 4, 14, 2, 13, 1, 10, 6, 12, 11, 9, 5, 3, 8},
     {4, 1, 14, 8, 13, 6, 2, 11, 15, 12, 9, 7, 3, 10, 5, 0},
     {15, 12, 8, 2, 4, 9, 1, 7, 5, 11, 3, 14, 10, 0, 6, 13}},
    {{15, 1, 8, 14, 6, 11, 3, 4, 9, 7, 2, 13, 12, 0, 5, 10},
     {3, 13, 4, 7, 15, 2, 8, 14, 12, 0, 1, 10, 6, 9, 11, 5},
     {0, 14, 7, 11, 10, 4, 13, 1, 5, 8, 12, 6, 9, 3, 2, 15},
     {13, 8, 10, 1, 3, 15, 4, 2, 11, 6, 7, 12, 0, 5, 14, 9}},
    {{10, 0, 9, 14, 6, 3, 15, 5, 1, 13, 12, 7, 11, 4, 2, 8},
     {13, 7, 0, 9, 3, 4, 6, 10, 2, 8, 5, 14, 12, 11, 15, 1},
     {13, 6, 4, 9, 8, 15, 3, 0, 11, 1, 2, 12, 5, 10, 14, 7},
     {1, 10, 13, 0, 6, 9, 8, 7, 4, 15, 14, 3, 11, 5, 2, 12}},
    {{7, 13, 14, 3, 0, 6, 9, 10, 1, 2, 8, 5, 11, 12, 4, 15},
     {13, 8, 11, 5, 6, 15, 0, 3, 4, 7, 2, 12, 1, 10, 14, 9},
     {10, 6, 9, 0, 12, 11, 7, 13, 15, 1, 3, 14, 5, 2, 8, 4},
     {3, 15, 0, 6, 10, 1, 13, 8, 9, 4, 5, 11, 12, 7, 2, 14}},
    {{2, 12, 4, 1, 7, 10, 11, 6, 8, 5, 3, 15, 13, 0, 14, 9},
     {14, 11, 2, 12, 4, 7, 13, 1, 5, 0, 15, 10, 3, 9, 8, 6},
     {4, 2, 1, 11, 10, 13, 7, 8, 15, 9, 12, 5, 6, 3, 0, 14},
     {11, 8, 12, 7, 1, 14, 2, 13, 6, 15, 0, 9, 10, 4, 5, 3}},
    {{12, 1, 10, 15, 9, 2, 6, 8, 0, 13, 3, 4, 14, 7, 5, 11},
     {10, 15, 4, 2, 7, 12, 9, 5, 6, 1, 13, 14, 0, 11, 3, 8},
     {9, 14, 15, 5, 2, 8, 12, 3, 7, 0, 4, 10, 1, 13, 11, 6},
     {4, 3, 2, 12, 9, 5, 15, 10, 11, 14, 1, 7, 6, 0, 8, 13}},
    {{4, 11, 2, 14, 15, 0, 8, 13, 3, 12, 9, 7, 5, 10, 6, 1},
     {13, 0, 11, 7, 4, 9, 1, 10, 14, 3, 5, 12, 2, 15, 8, 6},
     {1, 4, 11, 13, 12, 3, 7, 14, 10, 15, 6, 8, 0, 5, 9, 2},
     {6, 11, 13, 8, 1, 4, 10, 7, 9, 5, 0, 15, 14, 2, 3, 12}},
    {{13, 2, 8, 4, 6, 15, 11, 1, 10, 9, 3, 14, 5, 0, 12, 7},
     {1, 15, 13, 8, 10, 3, 7, 4, 12, 5, 6, 11, 0, 14, 9, 2},
     {7, 11, 4, 1, 9, 12, 14, 2, 0, 6, 10, 13, 15, 3, 5, 8},
     {2, 1, 14, 7, 4, 10, 8, 13, 15, 12, 9, 0, 3, 5, 6, 11}}};

// Output bit i (from the top) is input bit table[i] of an input `inputWidth` bits wide.
template <std::size_t OutputWidth>
constexpr std::uint64_t PermuteBitByBit(std::uint64_t input, unsigned inputWidth,
                                        const std::uint8_t (&table)[OutputWidth]) {
    std::uint64_t output = 0;
    for (std::uint8_t position : table) {
        output = (output << 1) | ((input >> (inputWidth - position)) & 1);
    }
    return output;
}

// The same permutation looked up a byte of input at a time: for each input byte and value,
// the output bits it sets, computed when the program is compiled.
template <unsigned InputWidth, std::size_t OutputWidth>
class BytePermutation {
  public:
    static constexpr unsigned kInputBytes = InputWidth / 8;

    constexpr explicit BytePermutation(const std::uint8_t (&table)[OutputWidth]) {
        for (std::size_t i = 0; i < OutputWidth; ++i) {
            const unsigned from = table[i] - 1u;
            const std::uint64_t bit = std::uint64_t{1} << (OutputWidth - 1 - i);
            for (unsigned value = 0; value < 256; ++value) {
                if ((value >> (7 - from % 8)) & 1) {
                    m_byByte[from / 8][value] |= bit;
                }
            }
        }
    }

    constexpr std::uint64_t operator()(std::uint64_t input) const {
        std::uint64_t output = 0;
        for (unsigned b = 0; b < kInputBytes; ++b) {
            output |= m_byByte[b][(input >> (InputWidth - 8 * (b + 1))) & 0xFF];
        }
        return output;
    }

  private:
    std::uint64_t m_byByte[kInputBytes][256]{};
};

constexpr BytePermutation<64, 64> kInitial(kInitialPermutation);
constexpr BytePermutation<64, 64> kFinal(kFinalPermutation);
constexpr BytePermutation<32, 48> kExpand(kExpansion);
constexpr BytePermutation<64, 56> kChoice1(kKeyChoice1);
constexpr BytePermutation<56, 48> kChoice2(kKeyChoice2);

// Each S-box's four output bits already moved by the round permutation, by the six bits in.
constexpr auto kSubstituteAndPermute = [] {
    std::array<std::array<std::uint32_t, 64>, 8> table{};
    for (unsigned box = 0; box < 8; ++box) {
        for (unsigned six = 0; six < 64; ++six) {
            const unsigned row = ((six >> 4) & 2) | (six & 1);
            const unsigned column = (six >> 1) & 0xF;
            const std::uint32_t placed = std::uint32_t{kSubstitution[box][row][column]}
                                         << (28 - 4 * box);
            table[box][six] =
                static_cast<std::uint32_t>(PermuteBitByBit(placed, 32, kRoundPermutation));
        }
    }
    return table;
}();

std::uint64_t LoadBigEndian(const std::array<std::uint8_t, 8>& bytes) {
    std::uint64_t value = 0;
    for (std::uint8_t byte : bytes) {
        value = (value << 8) | byte;
    }
    return value;
}

DesBlock StoreBigEndian(std::uint64_t value) {
    DesBlock bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(value >> (56 - 8 * i));
    }
    return bytes;
}

std::uint32_t RotateLeft28(std::uint32_t half, unsigned count) {
    return ((half << count) | (half >> (28 - count))) & 0x0FFFFFFF;
}

std::uint32_t Feistel(std::uint32_t right, std::uint64_t subkey) {
    const std::uint64_t mixed = kExpand(right) ^ subkey;
    std::uint32_t result = 0;
    for (unsigned box = 0; box < 8; ++box) {
        result |= kSubstituteAndPermute[box][(mixed >> (42 - 6 * box)) & 0x3F];
    }
    return result;
}

}  // namespace

DesKeySchedule::DesKeySchedule(const DesKey& key) {
    const std::uint64_t chosen = kChoice1(LoadBigEndian(key));
    auto c = static_cast<std::uint32_t>(chosen >> 28);
    auto d = static_cast<std::uint32_t>(chosen & 0x0FFFFFFF);
    for (unsigned round = 0; round < 16; ++round) {
        c = RotateLeft28(c, kKeyRotations[round]);
        d = RotateLeft28(d, kKeyRotations[round]);
        subkeys_[round] = kChoice2((std::uint64_t{c} << 28) | d);
    }
}

DesBlock DesKeySchedule::Encipher(const DesBlock& plain) const {
    const std::uint64_t permuted = kInitial(LoadBigEndian(plain));
    auto left = static_cast<std::uint32_t>(permuted >> 32);
    auto right = static_cast<std::uint32_t>(permuted);
    for (const std::uint64_t subkey : subkeys_) {
        const std::uint32_t next = left ^ Feistel(right, subkey);
        left = right;
        right = next;
    }
    // The halves are not swapped after the last round.
    const std::uint64_t joined = (std::uint64_t{right} << 32) | left;
    return StoreBigEndian(kFinal(joined));
}

}  // namespace Quorvel::Lumo::Api
