#include "service_api/client/sha256.h"

#include <bit>
#include <cstring>

namespace Quorvel::Lumo::Api {
namespace {

constexpr std::array<std::uint32_t, 64> kRoundConstants = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr std::array<std::uint32_t, 8> kInitialHash = {
    0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

constexpr std::size_t kBlockSize = 64;

void Compress(std::array<std::uint32_t, 8>& hash, const std::uint8_t* block) {
    std::uint32_t w[64];
    for (int t = 0; t < 16; ++t) {
        w[t] = std::uint32_t{block[4 * t]} << 24 | std::uint32_t{block[4 * t + 1]} << 16 |
               std::uint32_t{block[4 * t + 2]} << 8 | std::uint32_t{block[4 * t + 3]};
    }
    for (int t = 16; t < 64; ++t) {
        const std::uint32_t s0 =
            std::rotr(w[t - 15], 7) ^ std::rotr(w[t - 15], 18) ^ (w[t - 15] >> 3);
        const std::uint32_t s1 =
            std::rotr(w[t - 2], 17) ^ std::rotr(w[t - 2], 19) ^ (w[t - 2] >> 10);
        w[t] = w[t - 16] + s0 + w[t - 7] + s1;
    }
    auto [a, b, c, d, e, f, g, h] = hash;
    for (int t = 0; t < 64; ++t) {
        const std::uint32_t sum1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
        const std::uint32_t choose = (e & f) ^ (~e & g);
        const std::uint32_t t1 = h + sum1 + choose + kRoundConstants[t] + w[t];
        const std::uint32_t sum0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
        const std::uint32_t majority = (a & b) ^ (a & c) ^ (b & c);
        const std::uint32_t t2 = sum0 + majority;
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    const std::uint32_t worked[8] = {a, b, c, d, e, f, g, h};
    for (int i = 0; i < 8; ++i) {
        hash[i] += worked[i];
    }
}

}  // namespace

Sha256Digest Sha256(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    std::array<std::uint32_t, 8> hash = kInitialHash;
    std::size_t done = 0;
    for (; size - done >= kBlockSize; done += kBlockSize) {
        Compress(hash, bytes + done);
    }
    // The tail, the 0x80 marker and the message length in bits fill one block, or two
    // when fewer than 9 bytes are left after the tail.
    std::uint8_t tail[2 * kBlockSize] = {};
    const std::size_t tailSize = size - done;
    if (tailSize != 0) {
        std::memcpy(tail, bytes + done, tailSize);
    }
    tail[tailSize] = 0x80;
    const std::size_t tailBlocks = tailSize + 9 <= kBlockSize ? 1 : 2;
    const std::uint64_t bitLength = static_cast<std::uint64_t>(size) * 8;
    for (int i = 0; i < 8; ++i) {
        tail[tailBlocks * kBlockSize - 1 - i] = static_cast<std::uint8_t>(bitLength >> (8 * i));
    }
    for (std::size_t block = 0; block < tailBlocks; ++block) {
        Compress(hash, tail + block * kBlockSize);
    }
    Sha256Digest digest;
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < 4; ++j) {
            digest[4 * i + j] = static_cast<std::uint8_t>(hash[i] >> (24 - 8 * j));
        }
    }
    return digest;
}

std::string Sha256Hex(std::string_view text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(64);
    for (std::uint8_t byte : Sha256(text.data(), text.size())) {
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 0xF];
    }
    return hex;
}

}  // namespace Quorvel::Lumo::Api
