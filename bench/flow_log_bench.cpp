// Recording into the flow log against what the same work costs without it: an atomic
// counter bump with the same clock read, and one thread-id system call.
#include <benchmark/benchmark.h>

#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <cstdint>

#include "diagnostics/flow_point.h"
#include "platform/clock.h"

namespace {

std::atomic<std::uint64_t> baselineCounter{0};
std::int64_t baselineSink[64];

void FlowRecord(benchmark::State& state) {
    FLOW_POINT("FlowLogBench", "FlowRecord");
    int object = 0;
    for (auto _ : state) {
        FLOW_RECORD(&object, 7);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(FlowRecord)->Threads(1)->Threads(2)->UseRealTime();

void AtomicAddAndClock(benchmark::State& state) {
    for (auto _ : state) {
        const std::uint64_t slot = baselineCounter.fetch_add(2, std::memory_order_relaxed);
        baselineSink[(slot >> 1) & 63] = Orvane::Platform::PerformanceCounter();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(AtomicAddAndClock)->Threads(1)->UseRealTime();

void GettidSystemCall(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(syscall(SYS_gettid));
    }
}
BENCHMARK(GettidSystemCall);

}  // namespace
