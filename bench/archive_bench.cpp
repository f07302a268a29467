// The payload archive on a million 32-bit values against copying the same 4 MB.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "lumo/api/archive.h"

namespace {

using Quorvel::Lumo::Api::InputArchive;
using Quorvel::Lumo::Api::OutputArchive;

constexpr std::size_t kCount = 1 << 20;

std::vector<std::uint32_t> Values() {
    std::vector<std::uint32_t> values(kCount);
    std::iota(values.begin(), values.end(), 0x01020304u);
    return values;
}

void ArchiveEncode(benchmark::State& state) {
    const auto values = Values();
    for (auto _ : state) {
        OutputArchive archive;
        archive(values);
        benchmark::DoNotOptimize(archive.Finish());
    }
    state.SetBytesProcessed(state.iterations() * kCount * 4);
}
BENCHMARK(ArchiveEncode);

void ArchiveDecode(benchmark::State& state) {
    OutputArchive archive;
    archive(Values());
    const std::vector<std::uint8_t> bytes = archive.Finish();
    for (auto _ : state) {
        std::vector<std::uint32_t> decoded;
        InputArchive input(bytes.data(), bytes.size());
        input(decoded);
        benchmark::DoNotOptimize(decoded.data());
    }
    state.SetBytesProcessed(state.iterations() * kCount * 4);
}
BENCHMARK(ArchiveDecode);

// Only the copy: the destination exists already, which encoding and decoding must allocate.
void MemcpyOfTheSameBytes(benchmark::State& state) {
    const auto values = Values();
    std::vector<std::uint8_t> copy(kCount * 4);
    for (auto _ : state) {
        std::memcpy(copy.data(), values.data(), kCount * 4);
        benchmark::DoNotOptimize(copy.data());
    }
    state.SetBytesProcessed(state.iterations() * kCount * 4);
}
BENCHMARK(MemcpyOfTheSameBytes);

}  // namespace
