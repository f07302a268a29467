// The library's own DES and SHA-256 against OpenSSL's, which serves as the yardstick here
// and is never linked into the product.
#include <benchmark/benchmark.h>

#include <openssl/des.h>
#include <openssl/sha.h>

#include <cstring>
#include <string>

#include "service_api/client/sha256.h"
#include "service_api/core/des.h"

namespace {

using Quorvel::Lumo::Api::DesBlock;
using Quorvel::Lumo::Api::DesKey;
using Quorvel::Lumo::Api::DesKeySchedule;

const DesKey kKey{0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};
const DesBlock kBlock{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
// An access text of the length the client digests: within one SHA-256 block.
const std::string kAccessText = "2026-11-23 12:34:56 client 0123456789abcdef";

void DesKeyAndBlock(benchmark::State& state) {
    for (auto _ : state) {
        const DesKeySchedule schedule(kKey);
        benchmark::DoNotOptimize(schedule.Encipher(kBlock));
    }
}
BENCHMARK(DesKeyAndBlock);

void OpenSslDesKeyAndBlock(benchmark::State& state) {
    // The legacy one-block interface: the key schedule and one ECB block, nothing else.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    for (auto _ : state) {
        DES_cblock key, in, out;
        std::memcpy(key, kKey.data(), 8);
        std::memcpy(in, kBlock.data(), 8);
        DES_key_schedule schedule;
        DES_set_key_unchecked(&key, &schedule);
        DES_ecb_encrypt(&in, &out, &schedule, DES_ENCRYPT);
        benchmark::DoNotOptimize(out);
    }
#pragma GCC diagnostic pop
}
BENCHMARK(OpenSslDesKeyAndBlock);

void Sha256OfTheAccessText(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            Quorvel::Lumo::Api::Sha256(kAccessText.data(), kAccessText.size()));
    }
}
BENCHMARK(Sha256OfTheAccessText);

void OpenSslSha256OfTheAccessText(benchmark::State& state) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    for (auto _ : state) {
        SHA256(reinterpret_cast<const unsigned char*>(kAccessText.data()), kAccessText.size(),
               digest);
        benchmark::DoNotOptimize(digest);
    }
}
BENCHMARK(OpenSslSha256OfTheAccessText);

}  // namespace
