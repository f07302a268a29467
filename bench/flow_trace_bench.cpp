// A full ring turned into a trace for a viewer, against rendering the same ring as text, which
// every exit log and crash dump pays: a run's mix of points, timed scopes and errors on two
// threads, in a ring that wrapped.
#include <benchmark/benchmark.h>

#include <sstream>
#include <string>

#include "bench/taking_turns.h"
#include "diagnostics/diagnostics_registry.h"
#include "diagnostics/k_logger.h"
#include "tools/lumo-dump/lib/flow_trace.h"

namespace {

const char* const kClass = "LumoDiscoveryPluginHelper";
const char* const kFunctions[] = {"Run", "RunLoop", "OnInstrumentData", "Announce", "Beat"};

class FullRing {
  public:
    FullRing() {
        m_names.RegisterName(kClass);
        for (const char* function : kFunctions) {
            m_names.RegisterName(function);
        }
        m_logger.ResetForTesting(2 * (KLogger::kCapacity + 7) + 1);
        for (std::uint32_t i = 0; i < KLogger::kCapacity; ++i) {
            const std::int32_t event = i % 16 == 0 ? -8 : i % 64 == 1 ? -105 : 0;
            m_logger.SlotForTesting(i) = {1000000 + i * 37LL,
                                          event,
                                          i % 16 == 0 ? 300u : 0u,
                                          0,
                                          FlowKey(kClass),
                                          FlowKey(kFunctions[i % 5]),
                                          0x21E9D0,
                                          1452 + i % 2};
        }
    }
    std::string Text() const {
        std::ostringstream text;
        m_logger.Render(text, m_names);
        return std::move(text).str();
    }

  private:
    KLogger m_logger;
    MDiagnosticsRegistryImplementation m_names;
};

const FullRing& Ring() {
    static const FullRing ring;
    return ring;
}

void FlowLogTextOfAFullRing(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Ring().Text());
    }
}
BENCHMARK(FlowLogTextOfAFullRing)->UseRealTime();

// What lumo-dump --trace does with an exit log: read its text, write the trace.
void FlowLogTraceOfAFullRing(benchmark::State& state) {
    const std::string text = Ring().Text();
    for (auto _ : state) {
        benchmark::DoNotOptimize(LumoDump::ExitLogTrace(text, "LumoDiscoveryHelper_exit_.log"));
    }
}
BENCHMARK(FlowLogTraceOfAFullRing)->UseRealTime();

// The two in turns: the verdict's ratio.
void FlowLogTraceTakingTurnsWithText(benchmark::State& state) {
    const std::string text = Ring().Text();
    TakeTurns(state, {{"trace",
                       [&] {
                           benchmark::DoNotOptimize(
                               LumoDump::ExitLogTrace(text, "LumoDiscoveryHelper_exit_.log"));
                       }},
                      {"text", [] { benchmark::DoNotOptimize(Ring().Text()); }}});
}
BENCHMARK(FlowLogTraceTakingTurnsWithText)->UseRealTime();

}  // namespace
