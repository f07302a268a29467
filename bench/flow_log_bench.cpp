// Recording into the flow log against what the same work costs without it: an atomic
// counter bump with the same clock read, and one thread-id system call.
#include <benchmark/benchmark.h>

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <cstdint>

#include "diagnostics/flow_point.h"
#include "platform/clock.h"

namespace {

// What two threads pay for sharing a cache line depends on where they run (two cores, or two
// threads of one core): each benchmark thread runs on the processor of its index, the same
// in every benchmark here, so that the two-thread figures compare.
void PinToProcessor(int index) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(index % sysconf(_SC_NPROCESSORS_ONLN), &set);
    pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

std::atomic<std::uint64_t> baselineCounter{0};
std::int64_t baselineSink[64];

// Each thread runs a function of its own, as the helper's threads do (the loop, the console
// handler): one ring and one counter shared, each flow point written by one thread.
template <int Thread>
void RecordAtOwnPoint(const int& object) {
    FLOW_POINT("FlowLogBench", Thread == 0 ? "First" : "Second");
    FLOW_RECORD(&object, 7);
}

void FlowRecord(benchmark::State& state) {
    int object = 0;
    const auto record = state.thread_index() == 0 ? RecordAtOwnPoint<0> : RecordAtOwnPoint<1>;
    PinToProcessor(state.thread_index());
    for (auto _ : state) {
        record(object);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(FlowRecord)->Threads(1)->Threads(2)->UseRealTime();

// Both threads in the same function: they also share the point's object and line.
void FlowRecordSamePoint(benchmark::State& state) {
    int object = 0;
    PinToProcessor(state.thread_index());
    for (auto _ : state) {
        RecordAtOwnPoint<0>(object);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(FlowRecordSamePoint)->Threads(2)->UseRealTime();

void AtomicAddAndClock(benchmark::State& state) {
    PinToProcessor(state.thread_index());
    for (auto _ : state) {
        const std::uint64_t slot = baselineCounter.fetch_add(2, std::memory_order_relaxed);
        baselineSink[(slot >> 1) & 63] = Orvane::Platform::PerformanceCounter();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(AtomicAddAndClock)->Threads(1)->Threads(2)->UseRealTime();

// The floor of a ring that threads share: the same packed 40-byte entries written after one
// atomic add, nothing else. Two threads take neighbouring slots, so they write to the same
// cache lines in turn.
struct PackedEntry {
    std::int64_t timestamp;
    std::uint32_t words[5];
    unsigned char object[8];
    std::uint32_t threadId;
};
static_assert(sizeof(PackedEntry) == 40);
constexpr std::uint32_t kRingSize = 1 << 17;
std::atomic<std::uint32_t> ringCounter{1};
PackedEntry* const ring = new PackedEntry[kRingSize]();

inline void WriteToTheRing(const PackedEntry& entry) {
    const std::uint32_t slot = ringCounter.fetch_add(2, std::memory_order_relaxed) >> 1;
    PackedEntry& target = ring[slot & (kRingSize - 1)];
    target = entry;
    target.timestamp = Orvane::Platform::PerformanceCounter();
}

void SharedRingOfTheSameEntries(benchmark::State& state) {
    const PackedEntry entry{};
    PinToProcessor(state.thread_index());
    for (auto _ : state) {
        WriteToTheRing(entry);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SharedRingOfTheSameEntries)->Threads(1)->Threads(2)->UseRealTime();

// Where the host runs the two threads (two cores, or two threads of one core) changes within a
// run, and what sharing the ring's lines costs changes with it, by up to three times. So the
// flow record and the bare ring also take turns in short slices, each between the same two
// barriers, and their ratio is taken over the same slices: the placement cancels out.
class SpinBarrier {
  public:
    void Wait(unsigned parties) {
        const unsigned generation = m_generation.load(std::memory_order_acquire);
        if (m_waiting.fetch_add(1, std::memory_order_acq_rel) + 1 == parties) {
            m_waiting.store(0, std::memory_order_relaxed);
            m_generation.fetch_add(1, std::memory_order_release);
            return;
        }
        while (m_generation.load(std::memory_order_acquire) == generation) {
        }
    }

  private:
    std::atomic<unsigned> m_waiting{0};
    std::atomic<unsigned> m_generation{0};
};
SpinBarrier turnBarrier;
constexpr int kSlice = 4096;

template <typename Work>
double TimedSlice(const benchmark::State& state, Work work) {
    turnBarrier.Wait(static_cast<unsigned>(state.threads()));
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kSlice; ++i) {
        work();
    }
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
        .count();
}

void FlowRecordTakingTurnsWithTheRing(benchmark::State& state) {
    int object = 0;
    const auto record = state.thread_index() == 0 ? RecordAtOwnPoint<0> : RecordAtOwnPoint<1>;
    const PackedEntry entry{};
    PinToProcessor(state.thread_index());
    double flowNs = 0, ringNs = 0;
    for (auto _ : state) {
        flowNs += TimedSlice(state, [&] { record(object); });
        ringNs += TimedSlice(state, [&] { WriteToTheRing(entry); });
    }
    state.counters["flow_ns"] = flowNs;
    state.counters["ring_ns"] = ringNs;
}
BENCHMARK(FlowRecordTakingTurnsWithTheRing)->Threads(1)->Threads(2)->UseRealTime();

void GettidSystemCall(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(syscall(SYS_gettid));
    }
}
BENCHMARK(GettidSystemCall);

}  // namespace
